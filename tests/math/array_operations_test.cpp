// Every arithmetic member of the four array classes, at every current size from 0 to 17,
// writes up to the last float of the last group of four (or block of four vectors) that
// its count reaches, and not one float further.
#include "klmfc/math/arrays.h"
#include "math/math_test_support.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using namespace klmfc::test;

constexpr int kCapacity = 24;

template <class Array> struct Trio {
    Array d{kCapacity}; // the destination
    Array a{kCapacity};
    Array b{kCapacity};
};

// The destination negative and small, a positive, b negative and larger, so that every
// operation below changes every float it writes.
float destinationFloat(int i) {
    return -(2.0f + 0.125f * static_cast<float>(i));
}

template <class Array> void prepare(Trio<Array>& t, int floatsPerElement, int size) {
    for (int i = 0; i < floatsPerElement * kCapacity; ++i) {
        t.d.getMemory()[i] = destinationFloat(i);
        t.a.getMemory()[i] = 3.0f + 0.125f * static_cast<float>(i);
        t.b.getMemory()[i] = -(10.0f + 0.25f * static_cast<float>(i));
    }
    t.d.resize(size);
    t.a.resize(size);
    t.b.resize(size);
}

struct Operands {
    Trio<M_ScalarArray> s;
    Trio<M_Vector2Array> v2;
    Trio<M_Vector3Array> v3;
    Trio<M_Vector4Array> v4;
    M_Matrix2Template<float> m2 = {{0.5f, 0.75f, -1.0f, 2.0f}};
    M_Matrix3Template<float> m3 = {{0.5f, 0.75f, -1.0f, 2.0f, 3.0f, 0.25f, 1.0f, 1.5f, 2.5f}};
    M_Matrix4x3Template<float> m43 = {
        {0.5f, 0.75f, -1.0f, 2.0f, 3.0f, 0.25f, 1.0f, 1.5f, 2.5f, 5.0f, 6.0f, 7.0f}};
    M_Matrix4Template<float> m4 = {
        {0.5f, 0.75f, -1.0f, 2.0f, 3.0f, 0.25f, 1.0f, 1.5f, 2.5f, 5.0f, 6.0f, 7.0f, 1, 2, 3, 4}};

    void prepareAll(int size) {
        prepare(s, 1, size);
        prepare(v2, 2, size);
        prepare(v3, 3, size);
        prepare(v4, 4, size);
    }
    Trio<M_Vector2Array>& trio(M_Vector2Array*) { return v2; }
    Trio<M_Vector3Array>& trio(M_Vector3Array*) { return v3; }
    Trio<M_Vector4Array>& trio(M_Vector4Array*) { return v4; }
};

struct Row {
    std::string member;
    int floatsPerElement; // of the checked destination: 1 for the scalar array
    std::function<float*(Operands&)> destination;
    std::function<void(Operands&)> run;
};

void addScalarRows(std::vector<Row>& rows) {
    using T = Trio<M_ScalarArray>;
    std::vector<std::pair<char const*, std::function<void(T&)>>> const members = {
        {"add(a, b)", [](T& t) { t.d.add(t.a, t.b); }},
        {"subtract(a, b)", [](T& t) { t.d.subtract(t.a, t.b); }},
        {"multiply(a, b)", [](T& t) { t.d.multiply(t.a, t.b); }},
        {"divide(a, b)", [](T& t) { t.d.divide(t.a, t.b); }},
        {"divide_lo(a, b)", [](T& t) { t.d.divide_lo(t.a, t.b); }},
        {"add(a, value)", [](T& t) { t.d.add(t.a, 0.5f); }},
        {"subtract(a, value)", [](T& t) { t.d.subtract(t.a, 0.5f); }},
        {"multiply(a, value)", [](T& t) { t.d.multiply(t.a, 3.0f); }},
        {"divide(a, value)", [](T& t) { t.d.divide(t.a, 3.0f); }},
        {"divide_lo(a, value)", [](T& t) { t.d.divide_lo(t.a, 3.0f); }},
        {"+= a", [](T& t) { t.d += t.a; }},
        {"-= a", [](T& t) { t.d -= t.a; }},
        {"*= a", [](T& t) { t.d *= t.a; }},
        {"/= a", [](T& t) { t.d /= t.a; }},
        {"+= value", [](T& t) { t.d += 0.5f; }},
        {"-= value", [](T& t) { t.d -= 0.5f; }},
        {"*= value", [](T& t) { t.d *= 3.0f; }},
        {"/= value", [](T& t) { t.d /= 3.0f; }},
        {"reciprocal_0()", [](T& t) { t.d.reciprocal_0(); }},
        {"reciprocal_lo_0()", [](T& t) { t.d.reciprocal_lo_0(); }},
        {"reciprocal_hi_0()", [](T& t) { t.d.reciprocal_hi_0(); }},
        {"reciprocal_0(a)", [](T& t) { t.d.reciprocal_0(t.a); }},
        {"reciprocal_lo_0(a)", [](T& t) { t.d.reciprocal_lo_0(t.a); }},
        {"reciprocal_hi_0(a)", [](T& t) { t.d.reciprocal_hi_0(t.a); }},
        {"sqrt()", [](T& t) { t.d.sqrt(); }},
        {"sqrt_lo()", [](T& t) { t.d.sqrt_lo(); }},
        {"sqrt_hi()", [](T& t) { t.d.sqrt_hi(); }},
        {"sqrt(a)", [](T& t) { t.d.sqrt(t.a); }},
        {"sqrt_lo(a)", [](T& t) { t.d.sqrt_lo(t.a); }},
        {"sqrt_hi(a)", [](T& t) { t.d.sqrt_hi(t.a); }},
        {"invsqrt()", [](T& t) { t.d.invsqrt(); }},
        {"invsqrt_lo()", [](T& t) { t.d.invsqrt_lo(); }},
        {"invsqrt_hi()", [](T& t) { t.d.invsqrt_hi(); }},
        {"invsqrt(a)", [](T& t) { t.d.invsqrt(t.a); }},
        {"invsqrt_lo(a)", [](T& t) { t.d.invsqrt_lo(t.a); }},
        {"invsqrt_hi(a)", [](T& t) { t.d.invsqrt_hi(t.a); }},
        {"negate()", [](T& t) { t.d.negate(); }},
        {"abs()", [](T& t) { t.d.abs(); }},
        {"clamp", [](T& t) { t.d.clamp(0.0f, 1.0f); }},
        {"clampMin", [](T& t) { t.d.clampMin(100.0f); }},
        {"clampMax", [](T& t) { t.d.clampMax(-100.0f); }},
        {"minimum(b)", [](T& t) { t.d.minimum(t.b); }},
        {"maximum(a)", [](T& t) { t.d.maximum(t.a); }},
        {"minimum(a, b)", [](T& t) { t.d.minimum(t.a, t.b); }},
        {"maximum(a, b)", [](T& t) { t.d.maximum(t.a, t.b); }},
    };
    for (auto const& m : members) {
        auto const run = m.second;
        rows.push_back({std::string("scalar ") + m.first, 1,
                        [](Operands& o) { return o.s.d.getMemory(); },
                        [run](Operands& o) { run(o.s); }});
    }
}

// The members of a vector array, and those that fill a scalar array from its vectors:
// the dot product counts by the scalar array, the lengths by the vectors.
template <class Array> void addVectorRows(std::vector<Row>& rows) {
    using T = Trio<Array>;
    int const dims = Shape<Array>::D;
    std::string const type = "vector " + std::to_string(dims) + " ";
    std::vector<std::pair<char const*, std::function<void(T&, Operands&)>>> const members = {
        {"multiply(a, factors)", [](T& t, Operands& o) { t.d.multiply(t.a, o.s.a); }},
        {"divide(a, divisors)", [](T& t, Operands& o) { t.d.divide(t.a, o.s.a); }},
        {"divide_lo(a, divisors)", [](T& t, Operands& o) { t.d.divide_lo(t.a, o.s.a); }},
        {"*= factors", [](T& t, Operands& o) { t.d *= o.s.a; }},
        {"/= divisors", [](T& t, Operands& o) { t.d /= o.s.a; }},
        {"normalize_0()", [](T& t, Operands&) { t.d.normalize_0(); }},
        {"normalize_lo_0()", [](T& t, Operands&) { t.d.normalize_lo_0(); }},
        {"normalize_hi_0()", [](T& t, Operands&) { t.d.normalize_hi_0(); }},
        {"normalize_0(a)", [](T& t, Operands&) { t.d.normalize_0(t.a); }},
        {"normalize_lo_0(a)", [](T& t, Operands&) { t.d.normalize_lo_0(t.a); }},
        {"normalize_hi_0(a)", [](T& t, Operands&) { t.d.normalize_hi_0(t.a); }},
        {"add(a, b)", [](T& t, Operands&) { t.d.add(t.a, t.b); }},
        {"subtract(a, b)", [](T& t, Operands&) { t.d.subtract(t.a, t.b); }},
        {"+= a", [](T& t, Operands&) { t.d += t.a; }},
        {"-= a", [](T& t, Operands&) { t.d -= t.a; }},
        {"multiply(a, value)", [](T& t, Operands&) { t.d.multiply(t.a, 3.0f); }},
        {"divide(a, value)", [](T& t, Operands&) { t.d.divide(t.a, 3.0f); }},
        {"divide_lo(a, value)", [](T& t, Operands&) { t.d.divide_lo(t.a, 3.0f); }},
        {"*= value", [](T& t, Operands&) { t.d *= 3.0f; }},
        {"/= value", [](T& t, Operands&) { t.d /= 3.0f; }},
        {"negate()", [](T& t, Operands&) { t.d.negate(); }},
        {"clamp", [](T& t, Operands&) { t.d.clamp(0.0f, 1.0f); }},
        {"clampMin", [](T& t, Operands&) { t.d.clampMin(100.0f); }},
        {"clampMax", [](T& t, Operands&) { t.d.clampMax(-100.0f); }},
        {"minimum(b)", [](T& t, Operands&) { t.d.minimum(t.b); }},
        {"maximum(a)", [](T& t, Operands&) { t.d.maximum(t.a); }},
        {"minimum(a, b)", [](T& t, Operands&) { t.d.minimum(t.a, t.b); }},
        {"maximum(a, b)", [](T& t, Operands&) { t.d.maximum(t.a, t.b); }},
    };
    std::vector<std::pair<char const*, std::function<void(T&, Operands&)>>> const toScalars = {
        {"scalar dotProduct", [](T& t, Operands& o) { o.s.d.dotProduct(t.a, t.b); }},
        {"static dotProduct", [](T& t, Operands& o) { Array::dotProduct(o.s.d, t.a, t.b); }},
        {"scalar length", [](T& t, Operands& o) { o.s.d.length(t.a); }},
        {"scalar length_lo", [](T& t, Operands& o) { o.s.d.length_lo(t.a); }},
        {"scalar length_hi", [](T& t, Operands& o) { o.s.d.length_hi(t.a); }},
        {"static length", [](T& t, Operands& o) { Array::length(o.s.d, t.a); }},
        {"static length_lo", [](T& t, Operands& o) { Array::length_lo(o.s.d, t.a); }},
        {"static length_hi", [](T& t, Operands& o) { Array::length_hi(o.s.d, t.a); }},
    };
    for (auto const& m : members) {
        auto const run = m.second;
        rows.push_back(
            {type + m.first, dims,
             [](Operands& o) { return o.trio(static_cast<Array*>(nullptr)).d.getMemory(); },
             [run](Operands& o) { run(o.trio(static_cast<Array*>(nullptr)), o); }});
    }
    for (auto const& m : toScalars) {
        auto const run = m.second;
        rows.push_back({type + m.first, 1, [](Operands& o) { return o.s.d.getMemory(); },
                        [run](Operands& o) { run(o.trio(static_cast<Array*>(nullptr)), o); }});
    }
}

std::vector<Row> everyOperation() {
    std::vector<Row> rows;
    addScalarRows(rows);
    addVectorRows<M_Vector2Array>(rows);
    addVectorRows<M_Vector3Array>(rows);
    addVectorRows<M_Vector4Array>(rows);
    auto v2 = [](Operands& o) { return o.v2.d.getMemory(); };
    auto v3 = [](Operands& o) { return o.v3.d.getMemory(); };
    auto v4 = [](Operands& o) { return o.v4.d.getMemory(); };
    rows.push_back(
        {"vector 2 multiply(a, 2x2)", 2, v2, [](Operands& o) { o.v2.d.multiply(o.v2.a, o.m2); }});
    rows.push_back({"vector 2 *= 2x2", 2, v2, [](Operands& o) { o.v2.d *= o.m2; }});
    rows.push_back(
        {"vector 3 multiply(a, 3x3)", 3, v3, [](Operands& o) { o.v3.d.multiply(o.v3.a, o.m3); }});
    rows.push_back({"vector 3 *= 3x3", 3, v3, [](Operands& o) { o.v3.d *= o.m3; }});
    rows.push_back(
        {"vector 3 multiply(a, 4x3)", 3, v3, [](Operands& o) { o.v3.d.multiply(o.v3.a, o.m43); }});
    rows.push_back({"vector 3 *= 4x3", 3, v3, [](Operands& o) { o.v3.d *= o.m43; }});
    rows.push_back({"vector 3 vectorProduct", 3, v3,
                    [](Operands& o) { o.v3.d.vectorProduct(o.v3.a, o.v3.b); }});
    rows.push_back(
        {"vector 4 multiply(a, 4x4)", 4, v4, [](Operands& o) { o.v4.d.multiply(o.v4.a, o.m4); }});
    rows.push_back({"vector 4 *= 4x4", 4, v4, [](Operands& o) { o.v4.d *= o.m4; }});
    return rows;
}

TEST(ArrayOperations, EveryOperationStopsAtTheEndOfItsLastGroup) {
    std::vector<Row> const rows = everyOperation();
    Operands operands;
    for (int size = 0; size <= 17; ++size) {
        SCOPED_TRACE("current size " + std::to_string(size));
        for (Row const& row : rows) {
            SCOPED_TRACE(row.member);
            operands.prepareAll(size);
            row.run(operands);
            float const* const memory = row.destination(operands);
            int const end = row.floatsPerElement * ((size + 3) / 4 * 4);
            if (size > 0) {
                EXPECT_NE(bitsOf(destinationFloat(end - 1)), bitsOf(memory[end - 1]));
            }
            for (int i = end; i < row.floatsPerElement * kCapacity; ++i) {
                ASSERT_EQ(bitsOf(destinationFloat(i)), bitsOf(memory[i])) << "guard float " << i;
            }
        }
    }
}

} // namespace
