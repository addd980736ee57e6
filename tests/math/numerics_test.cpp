// The numeric tools: the inverse-square-root table and its two estimates, the upward
// conversion of the array sizes, the 16-bit float, the scoped floating-point control and
// the random floats.
#include "klmfc/math/numerics.h"
#include "math/math_test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfenv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <tuple>
#include <utility>

namespace {

using namespace klmfc::test;

TEST(NumericsInverseSqrtLUT, HoldsTheKnownEntriesAndIsRebuiltAlike) {
    // The library is up, so M_MathInit has built the table already.
    int const indices[] = {0, 1, 2, 3, 4, 5, 6, 7, 127, 128, 129, 255};
    int const entries[] = {105, 104, 102, 101, 100, 98, 97, 96, 0, 255, 253, 106};
    for (std::size_t i = 0; i < std::size(indices); ++i) {
        EXPECT_EQ(entries[i], M_LUTInverseSqrt[indices[i]]) << "entry " << indices[i];
    }
    unsigned char before[256];
    std::memcpy(before, M_LUTInverseSqrt, sizeof before);
    std::memset(M_LUTInverseSqrt, 0, sizeof M_LUTInverseSqrt);
    M_funcMakeInverseSqrtLUT();
    EXPECT_EQ(0, std::memcmp(before, M_LUTInverseSqrt, sizeof before));
}

TEST(NumericsInverseSqrt, EstimateAndRefinedStepGiveTheKnownValuesAndStayInTheirBounds) {
    EXPECT_EQ(0x3F7F8000u, bitsOf(M_invSqrtEstimate(1.0f))); // 0.998046875
    EXPECT_EQ(0.705078125f, M_invSqrtEstimate(2.0f));
    EXPECT_EQ(0.4990234375f, M_invSqrtEstimate(4.0f));
    EXPECT_EQ(0x3F7FFFA0u, bitsOf(M_invSqrtRefined(1.0f))); // 0.99999428
    // Relative errors below 0.4 and 0.003 percent over the normal range, with both parities
    // of the exponent and every table entry visited.
    for (std::uint32_t bits = 0x00800000u; bits < 0x7F800000u; bits += 10007) {
        float const x = fromBits(bits);
        double const exact = 1.0 / std::sqrt(static_cast<double>(x));
        ASSERT_LT(std::fabs(M_invSqrtEstimate(x) - exact) / exact, 0.004) << x;
        ASSERT_LT(std::fabs(M_invSqrtRefined(x) - exact) / exact, 0.00003) << x;
    }
}

// Puts the thread's rounding mode back when the test ends.
struct RoundingScope {
    int saved = std::fegetround();
    ~RoundingScope() { std::fesetround(saved); }
};

TEST(NumericsCeilToInt, RoundsUpwardUnderEveryModeAndRestoresIt) {
    RoundingScope restore;
    std::pair<float, int> const cases[] = {{0.0f, 0},    {-0.0f, 0},      {0.25f, 1},
                                           {2.0f, 2},    {2.5f, 3},       {-0.5f, 0},
                                           {-1.25f, -1}, {2.0000002f, 3}, {8388607.5f, 8388608}};
    for (int mode : {FE_TONEAREST, FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO}) {
        ASSERT_EQ(0, std::fesetround(mode));
        for (auto const& [value, expected] : cases) {
            EXPECT_EQ(expected, M_ceilToInt(value)) << "mode " << mode << ", " << value;
            EXPECT_EQ(mode, std::fegetround()) << "mode " << mode << ", " << value;
        }
    }
}

TEST(NumericsFloat16, PacksByCuttingTheMantissaWithNoZeroOrInfinity) {
    float const twoToMinus15 = 0.000030517578125f;
    std::tuple<float, std::uint16_t, float> const cases[] = {
        {0.0f, 0x0000, twoToMinus15}, // no zero: code 0 is 2^-15
        {-0.0f, 0x8000, -twoToMinus15},
        {1.0f, 0x3C00, 1.0f},
        {-2.0f, 0xC000, -2.0f},
        {65536.0f, 0x7C00, 65536.0f}, // exponent field 31 is an ordinary number
        {131008.0f, 0x7FFF, 131008.0f},
        {1.0009765625f, 0x3C01, 1.0009765625f}, // 1 + 2^-10
        {1.00048828125f, 0x3C00, 1.0f},         // 1 + 2^-11 is cut, not rounded
        {-3.14159f, 0xC248, -3.140625f},
        {1.0e-6f, 0x0031, 0.00003197789192199707f}, // raised into [2^-15, 2^-14)
    };
    for (auto const& [value, code, readBack] : cases) {
        M_Float16 const packed(value);
        EXPECT_EQ(code, packed.getPacked()) << value;
        EXPECT_EQ(readBack, static_cast<float>(packed)) << value;
    }
    EXPECT_EQ(0, M_Float16().getPacked());
    EXPECT_EQ(twoToMinus15, static_cast<float>(M_Float16()));
    EXPECT_EQ(65536.0f, M_Float16::getAbsoluteMaximumValue());
}

// 1/3 and -1/3 in float, and 1/3 in double and in long double, out of the compiler's sight.
std::tuple<std::uint32_t, std::uint32_t, double, long double> thirds() {
    volatile float three = 3.0f;
    volatile long double threeLong = 3.0L;
    return {bitsOf(1.0f / three), bitsOf(-1.0f / three), 1.0 / three, 1.0L / threeLong};
}

TEST(NumericsFPUControl, RoundingAndPrecisionReachTheArithmeticAndTheWholeWordComesBack) {
    RoundingScope restore;
    ASSERT_EQ(0, std::fesetround(FE_TONEAREST));
    // The rounding, its value, the mode <cfenv> reports, and 1/3 and -1/3 in float.
    std::tuple<M_FPUControl::Rounding, int, int, std::uint32_t, std::uint32_t> const cases[] = {
        {M_FPUControl::ROUNDING_NEAREST, 0x000, FE_TONEAREST, 0x3EAAAAABu, 0xBEAAAAABu},
        {M_FPUControl::ROUNDING_DOWN, 0x400, FE_DOWNWARD, 0x3EAAAAAAu, 0xBEAAAAABu},
        {M_FPUControl::ROUNDING_UP, 0x800, FE_UPWARD, 0x3EAAAAABu, 0xBEAAAAAAu},
        {M_FPUControl::ROUNDING_ZERO, 0xC00, FE_TOWARDZERO, 0x3EAAAAAAu, 0xBEAAAAAAu},
    };
    for (auto const& [rounding, value, mode, positive, negative] : cases) {
        EXPECT_EQ(value, static_cast<int>(rounding));
        {
            M_FPUControl control(rounding);
            EXPECT_EQ(rounding, control.getRounding());
            EXPECT_EQ(mode, std::fegetround());
            EXPECT_EQ(positive, std::get<0>(thirds())) << value;
            EXPECT_EQ(negative, std::get<1>(thirds())) << value;
        }
        EXPECT_EQ(FE_TONEAREST, std::fegetround());
        EXPECT_EQ(0x3EAAAAABu, std::get<0>(thirds()));
        EXPECT_EQ(0xBEAAAAABu, std::get<1>(thirds()));
    }

    // The precision governs the x87 arithmetic, long double here.
    M_FPUControl outer;
    M_FPUControl::Precision const initial = outer.getPrecision();
    {
        M_FPUControl control(M_FPUControl::ROUNDING_UP, M_FPUControl::PRECISION_24);
        EXPECT_EQ(M_FPUControl::ROUNDING_UP, control.getRounding());
        EXPECT_EQ(0x000, control.getPrecision());
        control.setRounding(M_FPUControl::ROUNDING_NEAREST);
        EXPECT_EQ(M_FPUControl::ROUNDING_NEAREST, control.getRounding());
        EXPECT_EQ(fromBits(0x3EAAAAABu), std::get<3>(thirds())); // 1/3 cut to 24 bits
        // What others change after construction goes too: the whole word comes back.
        std::fesetround(FE_DOWNWARD);
        control.setPrecision(M_FPUControl::PRECISION_53);
        EXPECT_EQ(0x200, control.getPrecision());
        EXPECT_EQ(std::get<2>(thirds()), std::get<3>(thirds()));
    }
    EXPECT_EQ(initial, outer.getPrecision());
    EXPECT_EQ(FE_TONEAREST, std::fegetround());
    EXPECT_EQ(0x3EAAAAABu, std::get<0>(thirds()));
}

TEST(NumericsRandom, DrawsStayInTheirRangesAndReachBothEnds) {
    std::srand(12345);
    float low01 = 1.0f;
    float high01 = 0.0f;
    float low = 1.0f;
    float high = 0.0f;
    // Draws of 0 to 32767 each: a fixed seed meets both ends well within the limit.
    for (int i = 0; i < 4000000 && (low01 > 0 || high01 < 1 || low > -1 || high < 1); ++i) {
        float const unit = M_RAND_01();
        float const signed_ = M_RAND();
        ASSERT_TRUE(unit >= 0.0f && unit <= 1.0f) << unit;
        ASSERT_TRUE(signed_ >= -1.0f && signed_ <= 1.0001f) << signed_;
        low01 = std::min(low01, unit);
        high01 = std::max(high01, unit);
        low = std::min(low, signed_);
        high = std::max(high, signed_);
    }
    EXPECT_EQ(0.0f, low01);
    EXPECT_EQ(1.0f, high01); // 32767 times the factor 0x38000100
    EXPECT_EQ(-1.0f, low);
    EXPECT_EQ(1.00006103515625f, high); // 1 + 2^-14
    std::srand(1);
}

} // namespace
