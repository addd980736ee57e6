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

// Records every call that reaches an overridden long form, and does nothing else.
class RecordingDriver : public K_CPUReference {
public:
    struct Call {
        std::string op;
        void const* dst;
        void const* a;
        void const* b;
        float value;
        int count;
        int stride;
        bool operator==(Call const& o) const {
            return op == o.op && dst == o.dst && a == o.a && b == o.b && value == o.value &&
                   count == o.count && stride == o.stride;
        }
    };
    mutable std::vector<Call> calls;

    using K_CPUReference::add;
    using K_CPUReference::clamp;
    using K_CPUReference::divide;
    using K_CPUReference::minimum;
    using K_CPUReference::multiply;
    using K_CPUReference::reciprocal_0;
    using K_CPUReference::sqrt;

    void add(float* d, float const* s, float v, int n, int st) const override {
        calls.push_back({"add value", d, s, nullptr, v, n, st});
    }
    void add(float* d, float const* a, float const* b, int n, int st) const override {
        calls.push_back({"add", d, a, b, 0, n, st});
    }
    void multiply(float* d, float const* a, float const* b, int n, int st) const override {
        calls.push_back({"multiply", d, a, b, 0, n, st});
    }
    void multiply_then_subtract(float* d, float const* a, float const* b, int n,
                                int st) const override {
        calls.push_back({"multiply_then_subtract", d, a, b, 0, n, st});
    }
    void divide(float* d, float const* s, float v, int n, int st) const override {
        calls.push_back({"divide value", d, s, nullptr, v, n, st});
    }
    void divide(float* d, float const* a, float const* b, int n, int st) const override {
        calls.push_back({"divide", d, a, b, 0, n, st});
    }
    void reciprocal_0(float* d, float const* s, int n) const override {
        calls.push_back({"reciprocal_0", d, s, nullptr, 0, n, 0});
    }
    void sqrt(float* d, float const* s, int n) const override {
        calls.push_back({"sqrt", d, s, nullptr, 0, n, 0});
    }
    void clamp(float* d, float const* s, float lo, float, int n) const override {
        calls.push_back({"clamp", d, s, nullptr, lo, n, 0});
    }
    void minimum(float* d, float* a, float* b, int n) const override {
        calls.push_back({"minimum", d, a, b, 0, n, 0});
    }
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
        char const* form;
        std::function<void()> run;
        Call expected;
    };
    Row const rows[] = {
        {"add (dst, value, count)",
         [&] { x.add(d, 2.0f, 9); },
         {"add value", d, d, nullptr, 2, 9, 1}},
        {"add (dst, value, count, stride)",
         [&] { x.add(d, 2.0f, 9, 3); },
         {"add value", d, d, nullptr, 2, 9, 3}},
        {"add (dst, src, value, count)",
         [&] { x.add(d, s, 2.0f, 9); },
         {"add value", d, s, nullptr, 2, 9, 1}},
        {"add (dst, src, count)", [&] { x.add(d, s, 9); }, {"add", d, d, s, 0, 9, 1}},
        {"add (dst, src, count, stride)", [&] { x.add(d, s, 9, 3); }, {"add", d, d, s, 0, 9, 3}},
        {"add (dst, a, b, count)", [&] { x.add(d, s, o, 9); }, {"add", d, s, o, 0, 9, 1}},
        // divide_lo divides exactly: through its own long form into divide.
        {"divide_lo (dst, value, count, stride)",
         [&] { x.divide_lo(d, 2.0f, 9, 3); },
         {"divide value", d, d, nullptr, 2, 9, 3}},
        {"divide_lo (dst, a, b, count, stride)",
         [&] { x.divide_lo(d, s, o, 9, 2); },
         {"divide", d, s, o, 0, 9, 2}},
        {"sqrt (dst, count)", [&] { x.sqrt(d, 9); }, {"sqrt", d, d, nullptr, 0, 9, 0}},
        {"sqrt_lo (dst, count)", [&] { x.sqrt_lo(d, 9); }, {"sqrt", d, d, nullptr, 0, 9, 0}},
        {"sqrt_hi (dst, src, count)",
         [&] { x.sqrt_hi(d, s, 9); },
         {"sqrt", d, s, nullptr, 0, 9, 0}},
        {"reciprocal_lo_0 (dst, count)",
         [&] { x.reciprocal_lo_0(d, 9); },
         {"reciprocal_0", d, d, 0, 0, 9, 0}},
        {"reciprocal_hi_0 (dst, src, count)",
         [&] { x.reciprocal_hi_0(d, s, 9); },
         {"reciprocal_0", d, s, 0, 0, 9, 0}},
        {"clamp (dst, low, high, count)",
         [&] { x.clamp(d, 1.0f, 2.0f, 9); },
         {"clamp", d, d, nullptr, 1, 9, 0}},
        {"minimum (dst, a, count)", [&] { x.minimum(d, s, 9); }, {"minimum", d, d, s, 0, 9, 0}},
    };
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
        {"multiply", p + 0, pa + 4, pb + 8, 0, 6, 3},
        {"multiply_then_subtract", p + 0, pa + 8, pb + 4, 0, 6, 3},
        {"multiply", p + 4, pa + 8, pb + 0, 0, 6, 3},
        {"multiply_then_subtract", p + 4, pa + 0, pb + 8, 0, 6, 3},
        {"multiply", p + 8, pa + 0, pb + 4, 0, 6, 3},
        {"multiply_then_subtract", p + 8, pa + 4, pb + 0, 0, 6, 3},
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
