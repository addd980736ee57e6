// The driver interface and the reference driver: the order of the operations towards
// modules, the queries, the add kernels, the forwarding of the short forms and the raw
// memory operations.
#include "klmfc/core/system.h"
#include "klmfc/math/arrays.h"
#include "klmfc/math/cpudriver.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace {

using D = K_CPUDriver;

// The vtable slot of a virtual member function in the Itanium C++ ABI (the ABI of the
// library's targets): a pointer to a virtual member holds 1 + the slot's byte offset.
template <class Member> std::ptrdiff_t slotOf(Member member) {
    static_assert(sizeof(Member) == 2 * sizeof(std::ptrdiff_t), "Itanium member pointer");
    std::ptrdiff_t words[2];
    std::memcpy(words, &member, sizeof words);
    return (words[0] - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

using ValueForm = void (D::*)(float*, float, int) const;
using BinaryLongForm = void (D::*)(float*, float const*, float const*, int, int) const;
using InPlaceForm = void (D::*)(float*, int) const;
using ScaleV4 = void (D::*)(M_Vector4Array&, M_Vector4Array const&, M_ScalarArray const&) const;

TEST(CPUDriverInterface, OperationsSitInTheirFixedSlots) {
    struct Row {
        char const* what;
        std::ptrdiff_t slot;
        std::ptrdiff_t expected;
    };
    Row const rows[] = {
        {"getName", slotOf(&D::getName), 0},
        {"add first", slotOf(static_cast<ValueForm>(&D::add)), 6},
        {"add last", slotOf(static_cast<BinaryLongForm>(&D::add)), 13},
        {"multiply first", slotOf(static_cast<ScaleV4>(&D::multiply)), 22},
        {"divide_lo first", slotOf(static_cast<ScaleV4>(&D::divide_lo)), 56},
        {"reciprocal_0 first", slotOf(static_cast<InPlaceForm>(&D::reciprocal_0)), 69},
        {"clamp first",
         slotOf(static_cast<void (D::*)(float*, float, float, int) const>(&D::clamp)), 91},
        {"invert first",
         slotOf(static_cast<void (D::*)(M_Matrix4Template<float>&) const>(&D::invert)), 101},
        {"length first",
         slotOf(static_cast<void (D::*)(float*, M_Vector4Array const&) const>(&D::length)), 114},
        {"set first",
         slotOf(
             static_cast<void (D::*)(M_Vector4Array&, int, M_Vector4Template<float> const&) const>(
                 &D::set)),
         127},
        {"memcpy", slotOf(&D::memcpy), 133},
        {"convertToInt", slotOf(&D::convertToInt), 135},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(row.expected, row.slot) << row.what;
    }
}

TEST(CPUDriverReference, ReportsItsFixedValues) {
    K_CPUReference reference;
    K_CPUDriver const& driver = reference;
    EXPECT_STREQ("Reference CPU", driver.getName());
    EXPECT_EQ(0, static_cast<int>(driver.getID()));
    EXPECT_EQ(0, driver.getPriority());
    EXPECT_EQ(1, driver.getSIMDSize());
    EXPECT_EQ(4, driver.getStructureGranularity());
    EXPECT_EQ(16, driver.getMemoryAlignment());
    // The library comes up on it.
    EXPECT_STREQ("Reference CPU", Sys->getCPU()->getName());
}

// ---- the add kernels ----

constexpr float kUntouched = -7.0f;

std::vector<float> counting(int size, float scale) {
    std::vector<float> values(size);
    for (int i = 0; i < size; ++i) {
        values[i] = scale * static_cast<float>(i + 1);
    }
    return values;
}

TEST(CPUDriverReferenceAdd, WorksInWholeGroupsOfFourStridedOrNot) {
    struct Case {
        int count;
        int stride;
        std::vector<int> written; // the floats of the destination that change
    };
    Case const cases[] = {
        {-1, 1, {}},
        {0, 1, {}},
        {1, 1, {0, 1, 2, 3}},
        {5, 1, {0, 1, 2, 3, 4, 5, 6, 7}},
        {8, 3, {0, 1, 2, 3, 12, 13, 14, 15}}, // one plane of a vector array of three
    };
    K_CPUReference reference;
    K_CPUDriver const& driver = reference;
    std::vector<float> const a = counting(32, 1.0f);
    std::vector<float> const b = counting(32, 100.0f);
    for (Case const& c : cases) {
        SCOPED_TRACE("count " + std::to_string(c.count) + " stride " + std::to_string(c.stride));
        std::vector<float> sum(32, kUntouched);
        std::vector<float> shifted(32, kUntouched);
        driver.add(sum.data(), a.data(), b.data(), c.count, c.stride);
        driver.add(shifted.data(), a.data(), 0.5f, c.count, c.stride);
        std::vector<float> expectedSum(32, kUntouched);
        std::vector<float> expectedShifted(32, kUntouched);
        for (int i : c.written) {
            expectedSum[i] = a[i] + b[i];
            expectedShifted[i] = 0.5f + a[i];
        }
        EXPECT_EQ(expectedSum, sum);
        EXPECT_EQ(expectedShifted, shifted);
    }

    // The destination may be every source at once.
    std::vector<float> values = counting(8, 1.0f);
    driver.add(values.data(), values.data(), values.data(), 8, 1);
    EXPECT_EQ(counting(8, 2.0f), values);
}

// ---- forwarding of the short forms ----

// Records every call that reaches an overridden long form, and does nothing else. It
// overrides the longest form of every family that has shorter ones, and the plain
// operations that the tiers call.
class RecordingDriver : public K_CPUReference {
public:
    struct Call {
        std::string op;
        void const* dst;
        void const* a;
        void const* b;
        float value;
        float high;
        int count;
        int stride;
        bool operator==(Call const& o) const {
            return op == o.op && dst == o.dst && a == o.a && b == o.b && value == o.value &&
                   high == o.high && count == o.count && stride == o.stride;
        }
    };
    mutable std::vector<Call> calls;

    using K_CPUReference::abs;
    using K_CPUReference::add;
    using K_CPUReference::clamp;
    using K_CPUReference::clampMax;
    using K_CPUReference::clampMin;
    using K_CPUReference::divide;
    using K_CPUReference::invsqrt;
    using K_CPUReference::maximum;
    using K_CPUReference::minimum;
    using K_CPUReference::multiply;
    using K_CPUReference::negate;
    using K_CPUReference::reciprocal_0;
    using K_CPUReference::sqrt;
    using K_CPUReference::subtract;

    void add(float* d, float const* s, float v, int n, int st) const override {
        calls.push_back({"add value", d, s, nullptr, v, 0, n, st});
    }
    void add(float* d, float const* a, float const* b, int n, int st) const override {
        calls.push_back({"add", d, a, b, 0, 0, n, st});
    }
    void subtract(float* d, float const* s, float v, int n, int st) const override {
        calls.push_back({"subtract value", d, s, nullptr, v, 0, n, st});
    }
    void subtract(float* d, float const* a, float const* b, int n, int st) const override {
        calls.push_back({"subtract", d, a, b, 0, 0, n, st});
    }
    void multiply(float* d, float const* s, float v, int n, int st) const override {
        calls.push_back({"multiply value", d, s, nullptr, v, 0, n, st});
    }
    void multiply(float* d, float const* a, float const* b, int n, int st) const override {
        calls.push_back({"multiply", d, a, b, 0, 0, n, st});
    }
    void multiply_then_subtract(float* d, float const* a, float const* b, int n,
                                int st) const override {
        calls.push_back({"multiply_then_subtract", d, a, b, 0, 0, n, st});
    }
    void divide(float* d, float const* s, float v, int n, int st) const override {
        calls.push_back({"divide value", d, s, nullptr, v, 0, n, st});
    }
    void divide(float* d, float const* a, float const* b, int n, int st) const override {
        calls.push_back({"divide", d, a, b, 0, 0, n, st});
    }
    void divide(M_Vector4Array& d, M_Vector4Array const& s, M_ScalarArray const& f) const override {
        calls.push_back({"divide 4", &d, &s, &f, 0, 0, 0, 0});
    }
    void divide(M_Vector3Array& d, M_Vector3Array const& s, M_ScalarArray const& f) const override {
        calls.push_back({"divide 3", &d, &s, &f, 0, 0, 0, 0});
    }
    void divide(M_Vector2Array& d, M_Vector2Array const& s, M_ScalarArray const& f) const override {
        calls.push_back({"divide 2", &d, &s, &f, 0, 0, 0, 0});
    }
    void reciprocal_0(float* d, float const* s, int n) const override {
        calls.push_back({"reciprocal_0", d, s, nullptr, 0, 0, n, 0});
    }
    void sqrt(float* d, float const* s, int n) const override {
        calls.push_back({"sqrt", d, s, nullptr, 0, 0, n, 0});
    }
    void invsqrt(float* d, float const* s, int n) const override {
        calls.push_back({"invsqrt", d, s, nullptr, 0, 0, n, 0});
    }
    void negate(float* d, float const* s, int n) const override {
        calls.push_back({"negate", d, s, nullptr, 0, 0, n, 0});
    }
    void abs(float* d, float const* s, int n) const override {
        calls.push_back({"abs", d, s, nullptr, 0, 0, n, 0});
    }
    void clamp(float* d, float const* s, float lo, float hi, int n) const override {
        calls.push_back({"clamp", d, s, nullptr, lo, hi, n, 0});
    }
    void clampMin(float* d, float const* s, float v, int n) const override {
        calls.push_back({"clampMin", d, s, nullptr, v, 0, n, 0});
    }
    void clampMax(float* d, float const* s, float v, int n) const override {
        calls.push_back({"clampMax", d, s, nullptr, v, 0, n, 0});
    }
    void minimum(float* d, float* a, float* b, int n) const override {
        calls.push_back({"minimum", d, a, b, 0, 0, n, 0});
    }
    void maximum(float* d, float* a, float* b, int n) const override {
        calls.push_back({"maximum", d, a, b, 0, 0, n, 0});
    }
};

// The six shorter forms of add, subtract, multiply, divide and divide_lo on floats.
struct SixForms {
    char const* family;
    char const* valueOp; // where the forms with a float arrive
    char const* runOp;   // where the forms with a second run arrive
    void (D::*value)(float*, float, int) const;
    void (D::*valueStrided)(float*, float, int, int) const;
    void (D::*sourceValue)(float*, float const*, float, int) const;
    void (D::*source)(float*, float const*, int) const;
    void (D::*sourceStrided)(float*, float const*, int, int) const;
    void (D::*twoSources)(float*, float const*, float const*, int) const;
};

TEST(CPUDriverReferenceForwarding, ShortFormsReachTheLongestFormThroughTheInterface) {
    RecordingDriver recorder;
    K_CPUDriver const& x = recorder;
    float dst[4];
    float src[4];
    float other[4];
    float* const d = dst;
    float* const s = src;
    float* const o = other;
    using Call = RecordingDriver::Call;
    struct Row {
        std::string form;
        std::function<void()> run;
        Call expected;
    };
    std::vector<Row> rows;

    SixForms const families[] = {
        {"add", "add value", "add", &D::add, &D::add, &D::add, &D::add, &D::add, &D::add},
        {"subtract", "subtract value", "subtract", &D::subtract, &D::subtract, &D::subtract,
         &D::subtract, &D::subtract, &D::subtract},
        {"multiply", "multiply value", "multiply", &D::multiply, &D::multiply, &D::multiply,
         &D::multiply, &D::multiply, &D::multiply},
        {"divide", "divide value", "divide", &D::divide, &D::divide, &D::divide, &D::divide,
         &D::divide, &D::divide},
        // The exact division: through divide_lo's own long forms into divide.
        {"divide_lo", "divide value", "divide", &D::divide_lo, &D::divide_lo, &D::divide_lo,
         &D::divide_lo, &D::divide_lo, &D::divide_lo},
    };
    for (SixForms const& f : families) {
        std::string const name = f.family;
        rows.push_back({name + " (dst, value, count)",
                        [&x, d, f] { (x.*f.value)(d, 2.0f, 9); },
                        {f.valueOp, d, d, nullptr, 2, 0, 9, 1}});
        rows.push_back({name + " (dst, value, count, stride)",
                        [&x, d, f] { (x.*f.valueStrided)(d, 2.0f, 9, 3); },
                        {f.valueOp, d, d, nullptr, 2, 0, 9, 3}});
        rows.push_back({name + " (dst, src, value, count)",
                        [&x, d, s, f] { (x.*f.sourceValue)(d, s, 2.0f, 9); },
                        {f.valueOp, d, s, nullptr, 2, 0, 9, 1}});
        rows.push_back({name + " (dst, src, count)",
                        [&x, d, s, f] { (x.*f.source)(d, s, 9); },
                        {f.runOp, d, d, s, 0, 0, 9, 1}});
        rows.push_back({name + " (dst, src, count, stride)",
                        [&x, d, s, f] { (x.*f.sourceStrided)(d, s, 9, 3); },
                        {f.runOp, d, d, s, 0, 0, 9, 3}});
        rows.push_back({name + " (dst, a, b, count)",
                        [&x, d, s, o, f] { (x.*f.twoSources)(d, s, o, 9); },
                        {f.runOp, d, s, o, 0, 0, 9, 1}});
    }
    rows.push_back({"divide_lo (dst, src, value, count, stride)",
                    [&] { x.divide_lo(d, s, 2.0f, 9, 3); },
                    {"divide value", d, s, nullptr, 2, 0, 9, 3}});
    rows.push_back({"divide_lo (dst, a, b, count, stride)",
                    [&] { x.divide_lo(d, s, o, 9, 2); },
                    {"divide", d, s, o, 0, 0, 9, 2}});

    // divide_lo of vector arrays calls divide with the same arrays.
    M_ScalarArray divisors(4);
    M_Vector2Array v2(4);
    M_Vector3Array v3(4);
    M_Vector4Array v4(4);
    rows.push_back({"divide_lo 2",
                    [&] { x.divide_lo(v2, v2, divisors); },
                    {"divide 2", &v2, &v2, &divisors, 0, 0, 0, 0}});
    rows.push_back({"divide_lo 3",
                    [&] { x.divide_lo(v3, v3, divisors); },
                    {"divide 3", &v3, &v3, &divisors, 0, 0, 0, 0}});
    rows.push_back({"divide_lo 4",
                    [&] { x.divide_lo(v4, v4, divisors); },
                    {"divide 4", &v4, &v4, &divisors, 0, 0, 0, 0}});

    // Unary families: the in-place form takes dst as its source; the tiers that compute
    // as plain call the plain long form.
    struct Unary {
        char const* form;
        void (D::*inPlace)(float*, int) const;
        void (D::*fromSource)(float*, float const*, int) const;
        char const* op;
    };
    Unary const unaries[] = {
        {"reciprocal_0", &D::reciprocal_0, nullptr, "reciprocal_0"},
        {"reciprocal_lo_0", &D::reciprocal_lo_0, &D::reciprocal_lo_0, "reciprocal_0"},
        {"reciprocal_hi_0", &D::reciprocal_hi_0, &D::reciprocal_hi_0, "reciprocal_0"},
        {"sqrt", &D::sqrt, nullptr, "sqrt"},
        {"sqrt_lo", &D::sqrt_lo, &D::sqrt_lo, "sqrt"},
        {"sqrt_hi", &D::sqrt_hi, &D::sqrt_hi, "sqrt"},
        {"invsqrt", &D::invsqrt, nullptr, "invsqrt"},
        {"invsqrt_lo", &D::invsqrt_lo, &D::invsqrt_lo, "invsqrt"},
        {"invsqrt_hi", &D::invsqrt_hi, &D::invsqrt_hi, "invsqrt"},
        {"negate", &D::negate, nullptr, "negate"},
        {"abs", &D::abs, nullptr, "abs"},
    };
    for (Unary const& u : unaries) {
        std::string const name = u.form;
        rows.push_back({name + " (dst, count)",
                        [&x, d, u] { (x.*u.inPlace)(d, 9); },
                        {u.op, d, d, nullptr, 0, 0, 9, 0}});
        if (u.fromSource != nullptr) {
            rows.push_back({name + " (dst, src, count)",
                            [&x, d, s, u] { (x.*u.fromSource)(d, s, 9); },
                            {u.op, d, s, nullptr, 0, 0, 9, 0}});
        }
    }

    rows.push_back({"clamp (dst, low, high, count)",
                    [&] { x.clamp(d, 1.0f, 2.0f, 9); },
                    {"clamp", d, d, nullptr, 1, 2, 9, 0}});
    rows.push_back({"clampMin (dst, limit, count)",
                    [&] { x.clampMin(d, 1.5f, 9); },
                    {"clampMin", d, d, nullptr, 1.5f, 0, 9, 0}});
    rows.push_back({"clampMax (dst, limit, count)",
                    [&] { x.clampMax(d, 1.5f, 9); },
                    {"clampMax", d, d, nullptr, 1.5f, 0, 9, 0}});
    rows.push_back(
        {"minimum (dst, a, count)", [&] { x.minimum(d, s, 9); }, {"minimum", d, d, s, 0, 0, 9, 0}});
    rows.push_back(
        {"maximum (dst, a, count)", [&] { x.maximum(d, s, 9); }, {"maximum", d, d, s, 0, 0, 9, 0}});

    for (Row const& row : rows) {
        SCOPED_TRACE(row.form);
        recorder.calls.clear();
        row.run();
        ASSERT_EQ(1u, recorder.calls.size());
        Call const& got = recorder.calls[0];
        EXPECT_EQ(row.expected.op, got.op);
        EXPECT_TRUE(row.expected == got) << "count " << got.count << " stride " << got.stride;
    }

    // The cross product is six strided passes over the planes X, Y, Z (+0, +4, +8).
    recorder.calls.clear();
    M_Vector3Array product(8);
    M_Vector3Array a(8);
    M_Vector3Array b(8);
    product.resize(6);
    x.vectorProduct(product, a, b);
    float* const p = product.getMemory();
    float* const pa = a.getMemory();
    float* const pb = b.getMemory();
    std::vector<Call> const passes = {
        {"multiply", p + 0, pa + 4, pb + 8, 0, 0, 6, 3},
        {"multiply_then_subtract", p + 0, pa + 8, pb + 4, 0, 0, 6, 3},
        {"multiply", p + 4, pa + 8, pb + 0, 0, 0, 6, 3},
        {"multiply_then_subtract", p + 4, pa + 0, pb + 8, 0, 0, 6, 3},
        {"multiply", p + 8, pa + 0, pb + 4, 0, 0, 6, 3},
        {"multiply_then_subtract", p + 8, pa + 4, pb + 0, 0, 0, 6, 3},
    };
    EXPECT_TRUE(passes == recorder.calls);
}

// ---- raw memory ----

TEST(CPUDriverReferenceMemory, CopyAndFillTouchExactlyTheirBytes) {
    K_CPUReference reference;
    K_CPUDriver const& driver = reference;
    unsigned char source[16];
    for (int i = 0; i < 16; ++i) {
        source[i] = static_cast<unsigned char>(0x40 + i);
    }
    for (int bytes : {-3, 0, 1, 4, 5, 7, 13}) {
        SCOPED_TRACE("bytes " + std::to_string(bytes));
        unsigned char copied[16];
        unsigned char filled[16];
        std::memset(copied, 0xEE, sizeof copied);
        std::memset(filled, 0xEE, sizeof filled);
        driver.memcpy(copied, source, bytes);
        driver.memset(filled, static_cast<char>(0x5A), bytes);
        for (int i = 0; i < 16; ++i) {
            EXPECT_EQ(i < bytes ? source[i] : 0xEE, copied[i]) << "byte " << i;
            EXPECT_EQ(i < bytes ? 0x5A : 0xEE, filled[i]) << "byte " << i;
        }
    }
}

} // namespace
