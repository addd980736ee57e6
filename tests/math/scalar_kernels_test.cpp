// The reference driver's kernels on runs of floats, from a source and in place: arithmetic,
// division by zero, the one-run kernels and their tiers, clamps, minimum and maximum, and
// the conversion to integers.
#include "klmfc/math/cpudriver.h"
#include "klmfc/math/numerics.h"
#include "math/math_test_support.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <vector>

namespace {

using namespace klmfc::test;

float const kInf = std::numeric_limits<float>::infinity();
float const kNaN = std::numeric_limits<float>::quiet_NaN();

// Bit for bit, so that -0.0 and 0.0 differ; an expected kNaN matches any NaN.
void expectSame(std::vector<float> const& expected, float const* actual) {
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_TRUE(bitsOf(expected[i]) == bitsOf(kNaN) ? std::isnan(actual[i])
                                                        : bitsOf(expected[i]) == bitsOf(actual[i]))
            << "float " << i << ": expected " << expected[i] << ", got " << actual[i];
    }
}

TEST(ScalarKernels, ArithmeticOnTwoRunsOrOnARunAndAFloat) {
    K_CPUReference x;
    std::vector<float> const a = {1.5f, -2.0f, 8.0f, 0.25f, 3.0f, 5.0f, -7.0f, 10.0f};
    std::vector<float> const b = {0.5f, 4.0f, -3.0f, 2.0f, 6.0f, 3.0f, 0.125f, -10.0f};
    std::vector<float> const before = {1, 1, 1, 1, 2, 2, 2, 2};
    // A kernel on (dst, a, b), and on (dst, a, 3), against the lane it computes from
    // (dst, a, b), from a source and in place.
    auto check = [&](auto kernel, auto lane) {
        std::vector<float> dst = before;
        std::vector<float> inPlace = a;
        kernel(dst.data(), a.data());
        kernel(inPlace.data(), inPlace.data());
        for (int i = 0; i < 8; ++i) {
            EXPECT_EQ(bitsOf(lane(before[i], a[i], b[i])), bitsOf(dst[i])) << "float " << i;
            EXPECT_EQ(bitsOf(lane(a[i], a[i], b[i])), bitsOf(inPlace[i])) << "float " << i;
        }
    };
    auto runs = [&](auto form, auto lane) {
        check([&](float* d, float const* p) { form(d, p, b.data(), 8, 1); }, lane);
    };
    auto withThree = [&](auto form, auto lane) {
        check([&](float* d, float const* p) { form(d, p, 3.0f, 8, 1); },
              [&](float, float p, float) { return lane(p); });
    };
    runs([&](auto... r) { x.add(r...); }, [](float, float p, float q) { return p + q; });
    runs([&](auto... r) { x.subtract(r...); }, [](float, float p, float q) { return p - q; });
    runs([&](auto... r) { x.multiply(r...); }, [](float, float p, float q) { return p * q; });
    // A true division in each lane: 5 / 3 is 0x3FD55555, where (1 / 3) * 5 is 0x3FD55556.
    runs([&](auto... r) { x.divide(r...); }, [](float, float p, float q) { return p / q; });
    runs([&](auto... r) { x.divide_lo(r...); }, [](float, float p, float q) { return p / q; });
    runs([&](auto... r) { x.multiply_then_add(r...); },
         [](float d, float p, float q) { return d + p * q; });
    runs([&](auto... r) { x.multiply_then_subtract(r...); },
         [](float d, float p, float q) { return d - p * q; });
    withThree([&](auto... r) { x.add(r...); }, [](float p) { return 3.0f + p; });
    withThree([&](auto... r) { x.subtract(r...); }, [](float p) { return p - 3.0f; });
    withThree([&](auto... r) { x.multiply(r...); }, [](float p) { return 3.0f * p; });
    // One reciprocal of the float, then a multiplication in each lane.
    withThree([&](auto... r) { x.divide(r...); }, [](float p) { return (1.0f / 3.0f) * p; });
    withThree([&](auto... r) { x.divide_lo(r...); }, [](float p) { return (1.0f / 3.0f) * p; });

    // Division by zero is not guarded.
    float const src[4] = {1.0f, -1.0f, 0.0f, 2.0f};
    float const divisors[4] = {0.0f, 0.0f, 0.0f, -0.0f};
    float out[4];
    x.divide(out, src, 0.0f, 4);
    expectSame({kInf, -kInf, kNaN, kInf}, out);
    x.divide(out, src, divisors, 4);
    expectSame({kInf, -kInf, kNaN, -kInf}, out);
}

TEST(ScalarKernels, OneRunKernelsTheirTiersClampsMinimumAndMaximum) {
    K_CPUReference x;
    // The long form from a source into dst and the short form in place, with `extra`
    // between the runs and the count.
    auto check = [](auto form, std::vector<float> run, std::vector<float> const& expected,
                    auto... extra) {
        SCOPED_TRACE("expected " + ::testing::PrintToString(expected));
        std::vector<float> dst(run.size());
        form(dst.data(), run.data(), extra..., static_cast<int>(run.size()));
        expectSame(expected, dst.data());
        form(run.data(), extra..., static_cast<int>(run.size()));
        expectSame(expected, run.data());
    };
    std::vector<float> const nonZero = {0.0f, -0.0f, 2.0f, -4.0f};
    std::vector<float> const reciprocals = {0.0f, 0.0f, 0.5f, -0.25f};
    check([&](auto... r) { x.reciprocal_0(r...); }, nonZero, reciprocals);
    check([&](auto... r) { x.reciprocal_lo_0(r...); }, nonZero, reciprocals);
    check([&](auto... r) { x.reciprocal_hi_0(r...); }, nonZero, reciprocals);
    std::vector<float> const squares = {4.0f, 2.25f, 0.0f, -1.0f};
    check([&](auto... r) { x.sqrt(r...); }, squares, {2.0f, 1.5f, 0.0f, kNaN});
    check([&](auto... r) { x.sqrt_lo(r...); }, squares, {2.0f, 1.5f, 0.0f, kNaN});
    check([&](auto... r) { x.sqrt_hi(r...); }, squares, {2.0f, 1.5f, 0.0f, kNaN});
    check([&](auto... r) { x.invsqrt(r...); }, squares, {0.5f, fromBits(0x3F2AAAABu), kInf, kNaN});
    check([&](auto... r) { x.invsqrt_lo(r...); }, squares,
          {0.5f, fromBits(0x3F2AAAABu), kInf, kNaN});
    check([&](auto... r) { x.invsqrt_hi(r...); }, squares,
          {0.5f, fromBits(0x3F2AAAABu), kInf, kNaN});
    // The sign bit flipped or cleared, that of a NaN too.
    std::vector<float> const signs = {0.0f, -kInf, fromBits(0x7FC00000u), fromBits(0xFFC00001u)};
    check([&](auto... r) { x.negate(r...); }, signs,
          {-0.0f, kInf, fromBits(0xFFC00000u), fromBits(0x7FC00001u)});
    check([&](auto... r) { x.abs(r...); }, signs, {0.0f, kInf, kNaN, fromBits(0x7FC00001u)});

    // Comparisons that a NaN fails; the test against low comes first, and the last operand
    // wins ties and NaNs.
    std::vector<float> const c = {-1.0f, 0.5f, 2.0f, kNaN, 0.0f, 1.0f, -0.0f, 1.5f};
    check([&](auto... r) { x.clamp(r...); }, c, {0, 0.5f, 1, kNaN, 0, 1, -0.0f, 1}, 0.0f, 1.0f);
    check([&](auto... r) { x.clamp(r...); }, c, {1, 1, 0, kNaN, 1, 0, 1, 0}, 1.0f, 0.0f);
    check([&](auto... r) { x.clampMin(r...); }, c, {1, 1, 2, kNaN, 1, 1, 1, 1.5f}, 1.0f);
    check([&](auto... r) { x.clampMax(r...); }, c, {-1, 0.5f, 1, kNaN, 0, 1, -0.0f, 1}, 1.0f);
    std::vector<float> const a = {1.0f, kNaN, 2.0f, -0.0f, 3.0f, 5.0f, -1.0f, 7.0f};
    std::vector<float> b = {kNaN, 1.0f, 2.0f, 0.0f, 4.0f, 4.0f, -2.0f, 7.0f};
    check([&](auto... r) { x.minimum(r...); }, a, {kNaN, 1, 2, 0, 3, 4, -2, 7}, b.data());
    check([&](auto... r) { x.maximum(r...); }, a, {kNaN, 1, 2, 0, 4, 5, -1, 7}, b.data());
}

TEST(ScalarKernels, ConvertToIntTruncatesUnderEveryRoundingModeInGroupsOfFour) {
    K_CPUReference reference;
    float const src[8] = {2.9f, -2.9f, 2.5f, -0.5f, 0.999f, -1.5f, 1.0e9f, -2147483648.0f};
    std::vector<int> const expected = {2, -2, 2, 0, 0, -1, 1000000000, INT_MIN, 77};
    for (M_FPUControl::Rounding rounding :
         {M_FPUControl::ROUNDING_NEAREST, M_FPUControl::ROUNDING_DOWN, M_FPUControl::ROUNDING_UP,
          M_FPUControl::ROUNDING_ZERO}) {
        M_FPUControl control(rounding);
        std::vector<int> dst(9, 77);
        reference.convertToInt(dst.data(), src, 5); // two groups
        EXPECT_EQ(expected, dst) << "rounding " << rounding;
    }
}

} // namespace
