// Every arithmetic member of the four array classes, at every current size from 0 to 17,
// writes up to the last float of the last group of four (or block of four vectors) that
// its count reaches, and not one float further.
#include "klmfc/math/arrays.h"
#include "math/math_test_support.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using namespace klmfc::test;

constexpr int kCapacity = 24;

// What a destination holds before each operation: negative and small, while a is positive
// and b negative and larger, so that every operation below changes every float it writes.
float before(int i) {
    return -(2.0f + 0.125f * static_cast<float>(i));
}

template <class Array> struct Trio {
    Array d{kCapacity};
    Array a{kCapacity};
    Array b{kCapacity};

    void prepare(int floatsPerElement, int size) {
        for (int i = 0; i < floatsPerElement * kCapacity; ++i) {
            d.getMemory()[i] = before(i);
            a.getMemory()[i] = 3.0f + 0.125f * static_cast<float>(i);
            b.getMemory()[i] = -(10.0f + 0.25f * static_cast<float>(i));
        }
        d.resize(size);
        a.resize(size);
        b.resize(size);
    }
};
using S = Trio<M_ScalarArray>;

// Calls on the trio t of one array type and the scalar trio s, each with its own text.
template <class T> using Calls = std::vector<std::pair<char const*, void (*)(T&, S&)>>;
// clang-format off
#define KLMFC_CALL(call) {#call, []([[maybe_unused]] T& t, [[maybe_unused]] S& s) { call; }}
// clang-format on

// Runs each call at every size on fresh operands of `floats` floats per element and checks
// the destination: t.d, or s.d with `toScalar`.
template <class T> void expectStops(int floats, bool toScalar, Calls<T> const& calls) {
    T t;
    S s;
    for (int size = 0; size <= 17; ++size) {
        for (auto const& [text, call] : calls) {
            SCOPED_TRACE(std::string(text) + " on " + std::to_string(floats) +
                         " floats per element, current size " + std::to_string(size));
            t.prepare(floats, size);
            s.prepare(1, size);
            call(t, s);
            float const* const memory = toScalar ? s.d.getMemory() : t.d.getMemory();
            int const perElement = toScalar ? 1 : floats;
            int const end = perElement * ((size + 3) / 4 * 4);
            if (size > 0) {
                EXPECT_NE(bitsOf(before(end - 1)), bitsOf(memory[end - 1]));
            }
            for (int i = end; i < perElement * kCapacity; ++i) {
                ASSERT_EQ(bitsOf(before(i)), bitsOf(memory[i])) << "guard float " << i;
            }
        }
    }
}

TEST(ArrayOperations, EveryScalarOperationStopsAtTheEndOfItsLastGroup) {
    using T = S;
    // clang-format off
    expectStops<T>(1, false, {
        KLMFC_CALL(t.d.add(t.a, t.b)), KLMFC_CALL(t.d.subtract(t.a, t.b)),
        KLMFC_CALL(t.d.multiply(t.a, t.b)), KLMFC_CALL(t.d.divide(t.a, t.b)),
        KLMFC_CALL(t.d.divide_lo(t.a, t.b)), KLMFC_CALL(t.d.add(t.a, 0.5f)),
        KLMFC_CALL(t.d.subtract(t.a, 0.5f)), KLMFC_CALL(t.d.multiply(t.a, 3.0f)),
        KLMFC_CALL(t.d.divide(t.a, 3.0f)), KLMFC_CALL(t.d.divide_lo(t.a, 3.0f)),
        KLMFC_CALL(t.d += t.a), KLMFC_CALL(t.d -= t.a), KLMFC_CALL(t.d *= t.a),
        KLMFC_CALL(t.d /= t.a), KLMFC_CALL(t.d += 0.5f), KLMFC_CALL(t.d -= 0.5f),
        KLMFC_CALL(t.d *= 3.0f), KLMFC_CALL(t.d /= 3.0f), KLMFC_CALL(t.d.reciprocal_0()),
        KLMFC_CALL(t.d.reciprocal_lo_0()), KLMFC_CALL(t.d.reciprocal_hi_0()),
        KLMFC_CALL(t.d.reciprocal_0(t.a)), KLMFC_CALL(t.d.reciprocal_lo_0(t.a)),
        KLMFC_CALL(t.d.reciprocal_hi_0(t.a)), KLMFC_CALL(t.d.sqrt()), KLMFC_CALL(t.d.sqrt_lo()),
        KLMFC_CALL(t.d.sqrt_hi()), KLMFC_CALL(t.d.sqrt(t.a)), KLMFC_CALL(t.d.sqrt_lo(t.a)),
        KLMFC_CALL(t.d.sqrt_hi(t.a)), KLMFC_CALL(t.d.invsqrt()), KLMFC_CALL(t.d.invsqrt_lo()),
        KLMFC_CALL(t.d.invsqrt_hi()), KLMFC_CALL(t.d.invsqrt(t.a)),
        KLMFC_CALL(t.d.invsqrt_lo(t.a)), KLMFC_CALL(t.d.invsqrt_hi(t.a)),
        KLMFC_CALL(t.d.negate()), KLMFC_CALL(t.d.abs()), KLMFC_CALL(t.d.clamp(0.0f, 1.0f)),
        KLMFC_CALL(t.d.clampMin(100.0f)), KLMFC_CALL(t.d.clampMax(-100.0f)),
        KLMFC_CALL(t.d.minimum(t.b)), KLMFC_CALL(t.d.maximum(t.a)),
        KLMFC_CALL(t.d.minimum(t.a, t.b)), KLMFC_CALL(t.d.maximum(t.a, t.b))});
    // clang-format on
}

M_Matrix2Template<float> const kM2 = {{0.5f, 0.75f, -1, 2}};
M_Matrix3Template<float> const kM3 = {{0.5f, 0.75f, -1, 2, 3, 0.25f, 1, 1.5f, 2.5f}};
M_Matrix4x3Template<float> const kM43 = {{0.5f, 0.75f, -1, 2, 3, 0.25f, 1, 1.5f, 2.5f, 5, 6, 7}};
M_Matrix4Template<float> const kM4 = {
    {0.5f, 0.75f, -1, 2, 3, 0.25f, 1, 1.5f, 2.5f, 5, 6, 7, 1, 2, 3, 4}};

// The members common to the vector arrays, `own` for those of one array type, and the
// members that fill a scalar array from vectors: the dot product counts by the scalar
// array, the lengths by the vectors.
template <class Array> void expectEveryVectorOperationStops(Calls<Trio<Array>> const& own) {
    using T = Trio<Array>;
    int const D = Shape<Array>::D;
    expectStops<T>(D, false, own);
    // clang-format off
    expectStops<T>(D, false, {
        KLMFC_CALL(t.d.multiply(t.a, s.a)), KLMFC_CALL(t.d.divide(t.a, s.a)),
        KLMFC_CALL(t.d.divide_lo(t.a, s.a)), KLMFC_CALL(t.d *= s.a), KLMFC_CALL(t.d /= s.a),
        KLMFC_CALL(t.d.normalize_0()), KLMFC_CALL(t.d.normalize_lo_0()),
        KLMFC_CALL(t.d.normalize_hi_0()), KLMFC_CALL(t.d.normalize_0(t.a)),
        KLMFC_CALL(t.d.normalize_lo_0(t.a)), KLMFC_CALL(t.d.normalize_hi_0(t.a)),
        KLMFC_CALL(t.d.add(t.a, t.b)), KLMFC_CALL(t.d.subtract(t.a, t.b)),
        KLMFC_CALL(t.d += t.a), KLMFC_CALL(t.d -= t.a), KLMFC_CALL(t.d.multiply(t.a, 3.0f)),
        KLMFC_CALL(t.d.divide(t.a, 3.0f)), KLMFC_CALL(t.d.divide_lo(t.a, 3.0f)),
        KLMFC_CALL(t.d *= 3.0f), KLMFC_CALL(t.d /= 3.0f), KLMFC_CALL(t.d.negate()),
        KLMFC_CALL(t.d.clamp(0.0f, 1.0f)), KLMFC_CALL(t.d.clampMin(100.0f)),
        KLMFC_CALL(t.d.clampMax(-100.0f)), KLMFC_CALL(t.d.minimum(t.b)),
        KLMFC_CALL(t.d.maximum(t.a)), KLMFC_CALL(t.d.minimum(t.a, t.b)),
        KLMFC_CALL(t.d.maximum(t.a, t.b))});
    expectStops<T>(D, true, {
        KLMFC_CALL(s.d.dotProduct(t.a, t.b)), KLMFC_CALL(Array::dotProduct(s.d, t.a, t.b)),
        KLMFC_CALL(s.d.length(t.a)), KLMFC_CALL(s.d.length_lo(t.a)),
        KLMFC_CALL(s.d.length_hi(t.a)), KLMFC_CALL(Array::length(s.d, t.a)),
        KLMFC_CALL(Array::length_lo(s.d, t.a)), KLMFC_CALL(Array::length_hi(s.d, t.a))});
    // clang-format on
}

TEST(ArrayOperations, EveryVectorOperationStopsAtTheEndOfItsLastBlock) {
    {
        using T = Trio<M_Vector2Array>;
        expectEveryVectorOperationStops<M_Vector2Array>(
            {KLMFC_CALL(t.d.multiply(t.a, kM2)), KLMFC_CALL(t.d *= kM2)});
    }
    {
        using T = Trio<M_Vector3Array>;
        expectEveryVectorOperationStops<M_Vector3Array>(
            {KLMFC_CALL(t.d.multiply(t.a, kM3)), KLMFC_CALL(t.d *= kM3),
             KLMFC_CALL(t.d.multiply(t.a, kM43)), KLMFC_CALL(t.d *= kM43),
             KLMFC_CALL(t.d.vectorProduct(t.a, t.b))});
    }
    {
        using T = Trio<M_Vector4Array>;
        expectEveryVectorOperationStops<M_Vector4Array>(
            {KLMFC_CALL(t.d.multiply(t.a, kM4)), KLMFC_CALL(t.d *= kM4)});
    }
}

} // namespace
