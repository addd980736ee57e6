// The reference driver's kernels on runs of floats, family by family, with the exact
// values they give: arithmetic, division by zero, the unary kernels and their tiers,
// clamps, minimum and maximum, and the conversion to integers.
#include "klmfc/math/cpudriver.h"
#include "klmfc/math/numerics.h"
#include "math/math_test_support.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace {

using namespace klmfc::test;

using D = K_CPUDriver;

float const kInf = std::numeric_limits<float>::infinity();
float const kNaN = fromBits(0x7FC00000u);
// Stands for "some NaN" in an expected run: the sign and payload are the unit's affair.
std::uint32_t const kAnyNaN = 0x7FFFFFFFu;

// Compares bit for bit, so that -0.0 and 0.0 differ; kAnyNaN matches every NaN.
void expectSameFloats(std::vector<std::uint32_t> const& expected, float const* actual) {
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (expected[i] == kAnyNaN) {
            EXPECT_TRUE(std::isnan(actual[i])) << "float " << i << " is " << actual[i];
        } else {
            EXPECT_EQ(expected[i], bitsOf(actual[i]))
                << "float " << i << ": expected " << fromBits(expected[i]) << ", got " << actual[i];
        }
    }
}

std::vector<std::uint32_t> patterns(std::vector<float> const& values) {
    std::vector<std::uint32_t> out;
    for (float v : values) {
        out.push_back(std::isnan(v) ? kAnyNaN : bitsOf(v));
    }
    return out;
}

TEST(ScalarKernels, ArithmeticOnTwoRunsOrOnARunAndAFloat) {
    K_CPUReference reference;
    D const& driver = reference;
    std::vector<float> const a = {1.5f, -2.0f, 8.0f, 0.25f, 3.0f, 5.0f, -7.0f, 10.0f};
    std::vector<float> const b = {0.5f, 4.0f, -3.0f, 2.0f, 6.0f, 3.0f, 0.125f, -10.0f};
    std::vector<float> const before = {1.0f, 1.0f, 1.0f, 1.0f, 2.0f, 2.0f, 2.0f, 2.0f};
    struct Row {
        char const* kernel;
        std::function<void(float*, float const*, float const*)> run;
        std::vector<std::uint32_t> expected;
        bool dstIsInput; // multiply_then_add and _subtract read dst
    };
    Row const rows[] = {
        {"add (dst, a, b)",
         [&](float* d, float const* x, float const* y) { driver.add(d, x, y, 8, 1); },
         patterns({2, 2, 5, 2.25f, 9, 8, -6.875f, 0}), false},
        {"subtract (dst, a, b)",
         [&](float* d, float const* x, float const* y) { driver.subtract(d, x, y, 8, 1); },
         patterns({1, -6, 11, -1.75f, -3, 2, -7.125f, 20}), false},
        {"multiply (dst, a, b)",
         [&](float* d, float const* x, float const* y) { driver.multiply(d, x, y, 8, 1); },
         patterns({0.75f, -8, -24, 0.5f, 18, 15, -0.875f, -100}), false},
        // A true division in every lane.
        {"divide (dst, a, b)",
         [&](float* d, float const* x, float const* y) { driver.divide(d, x, y, 8, 1); },
         {bitsOf(3), bitsOf(-0.5f), 0xC02AAAABu, bitsOf(0.125f), bitsOf(0.5f), 0x3FD55555u,
          bitsOf(-56), bitsOf(-1)},
         false},
        {"add (dst, src, 0.5)",
         [&](float* d, float const* x, float const*) { driver.add(d, x, 0.5f, 8, 1); },
         patterns({2, -1.5f, 8.5f, 0.75f, 3.5f, 5.5f, -6.5f, 10.5f}), false},
        {"subtract (dst, src, 0.5)",
         [&](float* d, float const* x, float const*) { driver.subtract(d, x, 0.5f, 8, 1); },
         patterns({1, -2.5f, 7.5f, -0.25f, 2.5f, 4.5f, -7.5f, 9.5f}), false},
        {"multiply (dst, src, 3)",
         [&](float* d, float const* x, float const*) { driver.multiply(d, x, 3.0f, 8, 1); },
         patterns({4.5f, -6, 24, 0.75f, 9, 15, -21, 30}), false},
        // (1 / 3) * x: 5 gives 0x3FD55556 where 5 / 3 is 0x3FD55555.
        {"divide (dst, src, 3)",
         [&](float* d, float const* x, float const*) { driver.divide(d, x, 3.0f, 8, 1); },
         {0x3F000000u, 0xBF2AAAABu, 0x402AAAABu, 0x3DAAAAABu, 0x3F800000u, 0x3FD55556u, 0xC0155556u,
          0x40555556u},
         false},
        {"divide_lo (dst, src, 3)",
         [&](float* d, float const* x, float const*) { driver.divide_lo(d, x, 3.0f, 8, 1); },
         {0x3F000000u, 0xBF2AAAABu, 0x402AAAABu, 0x3DAAAAABu, 0x3F800000u, 0x3FD55556u, 0xC0155556u,
          0x40555556u},
         false},
        {"multiply_then_add",
         [&](float* d, float const* x, float const* y) { driver.multiply_then_add(d, x, y, 8, 1); },
         patterns({1.75f, -7, -23, 1.5f, 20, 17, 1.125f, -98}), true},
        {"multiply_then_subtract",
         [&](float* d, float const* x, float const* y) {
             driver.multiply_then_subtract(d, x, y, 8, 1);
         },
         patterns({0.25f, 9, 25, 0.5f, -16, -13, 2.875f, 102}), true},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.kernel);
        std::vector<float> dst = before;
        row.run(dst.data(), a.data(), b.data());
        expectSameFloats(row.expected, dst.data());
        if (!row.dstIsInput) {
            // The destination may be the first source.
            std::vector<float> inPlace = a;
            row.run(inPlace.data(), inPlace.data(), b.data());
            expectSameFloats(row.expected, inPlace.data());
        }
    }
}

TEST(ScalarKernels, DivisionByZeroIsNotGuarded) {
    K_CPUReference reference;
    D const& driver = reference;
    float const src[4] = {1.0f, -1.0f, 0.0f, 2.0f};
    float const divisors[4] = {0.0f, 0.0f, 0.0f, -0.0f};
    float byFloat[4];
    float byRun[4];
    driver.divide(byFloat, src, 0.0f, 4);
    driver.divide(byRun, src, divisors, 4);
    expectSameFloats({bitsOf(kInf), bitsOf(-kInf), kAnyNaN, bitsOf(kInf)}, byFloat);
    expectSameFloats({bitsOf(kInf), bitsOf(-kInf), kAnyNaN, bitsOf(-kInf)}, byRun);
}

TEST(ScalarKernels, UnaryKernelsAndTheirTiers) {
    K_CPUReference reference;
    D const& driver = reference;
    using Long = void (D::*)(float*, float const*, int) const;
    using Short = void (D::*)(float*, int) const;
    struct Row {
        char const* kernel;
        Long fromSource;
        Short inPlace;
        std::vector<float> input;
        std::vector<std::uint32_t> expected;
    };
    std::vector<float> const reciprocalIn = {0.0f, -0.0f, 2.0f, -4.0f};
    std::vector<std::uint32_t> const reciprocalOut = patterns({0.0f, 0.0f, 0.5f, -0.25f});
    std::vector<float> const sqrtIn = {4.0f, 2.25f, 0.0f, -1.0f};
    std::vector<std::uint32_t> const sqrtOut = patterns({2.0f, 1.5f, 0.0f, kNaN});
    std::vector<float> const invsqrtIn = {4.0f, 0.25f, 0.0f, 16.0f};
    std::vector<std::uint32_t> const invsqrtOut = patterns({0.5f, 2.0f, kInf, 0.25f});
    Row const rows[] = {
        {"reciprocal_0", &D::reciprocal_0, &D::reciprocal_0, reciprocalIn, reciprocalOut},
        {"reciprocal_lo_0", &D::reciprocal_lo_0, &D::reciprocal_lo_0, reciprocalIn, reciprocalOut},
        {"reciprocal_hi_0", &D::reciprocal_hi_0, &D::reciprocal_hi_0, reciprocalIn, reciprocalOut},
        {"sqrt", &D::sqrt, &D::sqrt, sqrtIn, sqrtOut},
        {"sqrt_lo", &D::sqrt_lo, &D::sqrt_lo, sqrtIn, sqrtOut},
        {"sqrt_hi", &D::sqrt_hi, &D::sqrt_hi, sqrtIn, sqrtOut},
        {"invsqrt", &D::invsqrt, &D::invsqrt, invsqrtIn, invsqrtOut},
        {"invsqrt_lo", &D::invsqrt_lo, &D::invsqrt_lo, invsqrtIn, invsqrtOut},
        {"invsqrt_hi", &D::invsqrt_hi, &D::invsqrt_hi, invsqrtIn, invsqrtOut},
        // The sign bit flipped or cleared, NaNs included.
        {"negate",
         &D::negate,
         &D::negate,
         {0.0f, -0.0f, 1.5f, -kInf},
         patterns({-0.0f, 0.0f, -1.5f, kInf})},
        {"negate of a NaN",
         &D::negate,
         &D::negate,
         {kNaN, fromBits(0xFFC00001u), 3.0f, -3.0f},
         {0xFFC00000u, 0x7FC00001u, bitsOf(-3.0f), bitsOf(3.0f)}},
        {"abs",
         &D::abs,
         &D::abs,
         {-0.0f, -2.0f, 3.0f, fromBits(0xFFC00000u)},
         {bitsOf(0.0f), bitsOf(2.0f), bitsOf(3.0f), 0x7FC00000u}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.kernel);
        float dst[4];
        (driver.*row.fromSource)(dst, row.input.data(), 4);
        expectSameFloats(row.expected, dst);
        std::vector<float> inPlace = row.input;
        (driver.*row.inPlace)(inPlace.data(), 4);
        expectSameFloats(row.expected, inPlace.data());
    }
}

TEST(ScalarKernels, ClampsMinimumAndMaximumLetTheLastOperandWinTiesAndNaNs) {
    K_CPUReference reference;
    D const& driver = reference;
    std::vector<float> const a = {1.0f, kNaN, 2.0f, -0.0f, 3.0f, 5.0f, -1.0f, 7.0f};
    std::vector<float> const b = {kNaN, 1.0f, 2.0f, 0.0f, 4.0f, 4.0f, -2.0f, 7.0f};
    std::vector<float> const c = {-1.0f, 0.5f, 2.0f, kNaN, 0.0f, 1.0f, -0.0f, 1.5f};
    struct Row {
        char const* kernel;
        std::function<void(float*, float*)> fromSource; // (dst, a [, b]) into dst
        std::function<void(float*)> inPlace;            // the short form on dst = a
        std::vector<float> input;
        std::vector<std::uint32_t> expected;
    };
    std::vector<float> bCopy = b;
    Row const rows[] = {
        {"clamp (0, 1)", [&](float* d, float* x) { driver.clamp(d, x, 0.0f, 1.0f, 8); },
         [&](float* d) { driver.clamp(d, 0.0f, 1.0f, 8); }, c,
         patterns({0.0f, 0.5f, 1.0f, kNaN, 0.0f, 1.0f, -0.0f, 1.0f})},
        // low above high: below 1 gives 1, 1 and more give 0.
        {"clamp (1, 0)", [&](float* d, float* x) { driver.clamp(d, x, 1.0f, 0.0f, 8); },
         [&](float* d) { driver.clamp(d, 1.0f, 0.0f, 8); }, c,
         patterns({1.0f, 1.0f, 0.0f, kNaN, 1.0f, 0.0f, 1.0f, 0.0f})},
        {"clampMin (1)", [&](float* d, float* x) { driver.clampMin(d, x, 1.0f, 8); },
         [&](float* d) { driver.clampMin(d, 1.0f, 8); }, c,
         patterns({1.0f, 1.0f, 2.0f, kNaN, 1.0f, 1.0f, 1.0f, 1.5f})},
        {"clampMax (1)", [&](float* d, float* x) { driver.clampMax(d, x, 1.0f, 8); },
         [&](float* d) { driver.clampMax(d, 1.0f, 8); }, c,
         patterns({-1.0f, 0.5f, 1.0f, kNaN, 0.0f, 1.0f, -0.0f, 1.0f})},
        {"minimum (a, b)", [&](float* d, float* x) { driver.minimum(d, x, bCopy.data(), 8); },
         [&](float* d) { driver.minimum(d, bCopy.data(), 8); }, a,
         patterns({kNaN, 1.0f, 2.0f, 0.0f, 3.0f, 4.0f, -2.0f, 7.0f})},
        {"maximum (a, b)", [&](float* d, float* x) { driver.maximum(d, x, bCopy.data(), 8); },
         [&](float* d) { driver.maximum(d, bCopy.data(), 8); }, a,
         patterns({kNaN, 1.0f, 2.0f, 0.0f, 4.0f, 5.0f, -1.0f, 7.0f})},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.kernel);
        float dst[8];
        std::vector<float> source = row.input;
        row.fromSource(dst, source.data());
        expectSameFloats(row.expected, dst);
        std::vector<float> inPlace = row.input;
        row.inPlace(inPlace.data());
        expectSameFloats(row.expected, inPlace.data());
    }
}

TEST(ScalarKernels, ConvertToIntTruncatesUnderEveryRoundingModeInGroupsOfFour) {
    K_CPUReference reference;
    D const& driver = reference;
    float const src[8] = {2.9f, -2.9f, 2.5f, -0.5f, 0.999f, -1.5f, 1.0e9f, -2147483648.0f};
    int const expected[8] = {2, -2, 2, 0, 0, -1, 1000000000, INT_MIN};
    M_FPUControl::Rounding const roundings[] = {
        M_FPUControl::ROUNDING_NEAREST, M_FPUControl::ROUNDING_DOWN, M_FPUControl::ROUNDING_UP,
        M_FPUControl::ROUNDING_ZERO};
    for (M_FPUControl::Rounding rounding : roundings) {
        SCOPED_TRACE("rounding " + std::to_string(static_cast<int>(rounding)));
        M_FPUControl control(rounding);
        int dst[12];
        std::fill(dst, dst + 12, 77);
        driver.convertToInt(dst, src, 5); // two groups
        for (int i = 0; i < 8; ++i) {
            EXPECT_EQ(expected[i], dst[i]) << "int " << i;
        }
        EXPECT_EQ(77, dst[8]);
    }
}

} // namespace
