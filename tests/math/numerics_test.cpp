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
#include <string>

namespace {

using namespace klmfc::test;

TEST(NumericsInverseSqrtLUT, HoldsTheKnownEntriesAndIsRebuiltAlike) {
    // The library is up, so M_MathInit has built the table already.
    struct Entry {
        int index;
        int value;
    };
    Entry const entries[] = {{0, 105}, {1, 104}, {2, 102}, {3, 101},   {4, 100},   {5, 98},
                             {6, 97},  {7, 96},  {127, 0}, {128, 255}, {129, 253}, {255, 106}};
    for (Entry const& e : entries) {
        EXPECT_EQ(e.value, M_LUTInverseSqrt[e.index]) << "entry " << e.index;
    }

    // Within each half the root falls as the mantissa grows.
    for (int i = 1; i < 128; ++i) {
        EXPECT_LE(M_LUTInverseSqrt[i], M_LUTInverseSqrt[i - 1]) << "entry " << i;
    }
    for (int i = 129; i < 256; ++i) {
        EXPECT_LE(M_LUTInverseSqrt[i], M_LUTInverseSqrt[i - 1]) << "entry " << i;
    }

    unsigned char before[256];
    std::memcpy(before, M_LUTInverseSqrt, sizeof before);
    std::memset(M_LUTInverseSqrt, 0, sizeof M_LUTInverseSqrt);
    M_funcMakeInverseSqrtLUT();
    EXPECT_EQ(0, std::memcmp(before, M_LUTInverseSqrt, sizeof before));
}

// Puts the thread's rounding mode back when the test ends.
class RoundingScope {
public:
    RoundingScope() : m_saved(std::fegetround()) {}
    ~RoundingScope() { std::fesetround(m_saved); }

private:
    int m_saved;
};

TEST(NumericsCeilToInt, RoundsUpwardUnderEveryModeAndRestoresIt) {
    RoundingScope restore;
    struct Mode {
        int mode;
        char const* name;
    };
    Mode const modes[] = {{FE_TONEAREST, "to nearest"},
                          {FE_DOWNWARD, "downward"},
                          {FE_UPWARD, "upward"},
                          {FE_TOWARDZERO, "towards zero"}};
    struct Case {
        float value;
        int expected;
    };
    Case const cases[] = {{0.0f, 0},  {-0.0f, 0},      {0.25f, 1},         {0.5f, 1},
                          {1.25f, 2}, {2.0f, 2},       {2.5f, 3},          {1.75f, 2},
                          {-0.5f, 0}, {-1.25f, -1},    {-2.5f, -2},        {-2.0f, -2},
                          {4.0f, 4},  {2.0000002f, 3}, {1.25e6f, 1250000}, {8388607.5f, 8388608}};
    for (Mode const& m : modes) {
        SCOPED_TRACE(m.name);
        ASSERT_EQ(0, std::fesetround(m.mode));
        for (Case const& c : cases) {
            EXPECT_EQ(c.expected, M_ceilToInt(c.value)) << "value " << c.value;
            EXPECT_EQ(m.mode, std::fegetround()) << "value " << c.value;
        }
    }
}

TEST(NumericsInverseSqrt, EstimateAndRefinedStepGiveTheKnownValuesAndStayInTheirBounds) {
    struct Case {
        float x;
        std::uint32_t estimate;
    };
    Case const cases[] = {
        {1.0f, 0x3F7F8000u}, // 0.998046875
        {2.0f, 0x3F348000u}, // 0.705078125
        {4.0f, 0x3EFF8000u}, // 0.4990234375
    };
    for (Case const& c : cases) {
        EXPECT_EQ(c.estimate, bitsOf(M_invSqrtEstimate(c.x))) << "x " << c.x;
    }
    EXPECT_EQ(0.998046875f, M_invSqrtEstimate(1.0f));
    EXPECT_EQ(0.705078125f, M_invSqrtEstimate(2.0f));
    EXPECT_EQ(0.4990234375f, M_invSqrtEstimate(4.0f));
    EXPECT_EQ(0x3F7FFFA0u, bitsOf(M_invSqrtRefined(1.0f))); // 0.99999428

    // Relative errors below 0.4 and 0.003 percent over the whole normal range, with both
    // parities of the exponent and every table entry visited.
    double worstEstimate = 0.0;
    double worstRefined = 0.0;
    for (std::uint32_t exponent = 1; exponent < 255; exponent += 3) {
        for (std::uint32_t mantissa = 0; mantissa < (1u << 23); mantissa += 4099) {
            float const x = fromBits((exponent << 23) | mantissa);
            double const exact = 1.0 / std::sqrt(static_cast<double>(x));
            worstEstimate =
                std::max(worstEstimate, std::fabs(M_invSqrtEstimate(x) - exact) / exact);
            worstRefined = std::max(worstRefined, std::fabs(M_invSqrtRefined(x) - exact) / exact);
        }
    }
    EXPECT_LT(worstEstimate, 0.004);
    EXPECT_LT(worstRefined, 0.00003);
}

TEST(NumericsFloat16, PacksByCuttingTheMantissaWithNoZeroOrInfinity) {
    struct Case {
        float value;
        std::uint16_t code;
        float readBack;
    };
    float const twoToMinus15 = 0.000030517578125f;
    Case const cases[] = {
        {0.0f, 0x0000, twoToMinus15}, // no zero: code 0 is 2^-15
        {-0.0f, 0x8000, -twoToMinus15},
        {1.0f, 0x3C00, 1.0f},
        {-2.0f, 0xC000, -2.0f},
        {1.5f, 0x3E00, 1.5f},
        {65536.0f, 0x7C00, 65536.0f}, // exponent field 31 is an ordinary number
        {131008.0f, 0x7FFF, 131008.0f},
        {1.0009765625f, 0x3C01, 1.0009765625f}, // 1 + 2^-10
        {1.00048828125f, 0x3C00, 1.0f},         // 1 + 2^-11 is cut, not rounded
        {0.1f, 0x2E66, 0.0999755859375f},
        {-3.14159f, 0xC248, -3.140625f},
        {twoToMinus15, 0x0000, twoToMinus15},
        {1.0e-6f, 0x0031, 0.00003197789192199707f}, // raised into [2^-15, 2^-14)
    };
    for (Case const& c : cases) {
        SCOPED_TRACE("value " + std::to_string(c.value));
        M_Float16 const packed(c.value);
        EXPECT_EQ(c.code, packed.getPacked());
        EXPECT_EQ(c.readBack, static_cast<float>(packed));
        M_Float16 assigned;
        assigned = c.value;
        EXPECT_EQ(c.code, assigned.getPacked());
        M_Float16 copied;
        copied = packed;
        EXPECT_EQ(c.code, copied.getPacked());
    }
    EXPECT_EQ(0, M_Float16().getPacked());
    EXPECT_EQ(twoToMinus15, static_cast<float>(M_Float16()));

    EXPECT_EQ(65536.0f, M_Float16::getAbsoluteMaximumValue());
    EXPECT_EQ(65536.0f, M_Float16::sm_fAbsoluteMaximum);
    EXPECT_EQ(1, M_Float16::sm_iSignBit);
    EXPECT_EQ(8, M_Float16::sm_iOldExponentBits);
    EXPECT_EQ(23, M_Float16::sm_iOldMantissaBits);
    EXPECT_EQ(5, M_Float16::sm_iNewExponentBits);
    EXPECT_EQ(10, M_Float16::sm_iNewMantissaBits);
}

// 1/3 and -1/3 in float, double and long double arithmetic, out of the compiler's sight.
struct Thirds {
    float positive;
    float negative;
    double positiveDouble;
    long double positiveLong;
};

Thirds thirds() {
    volatile float one = 1.0f;
    volatile float three = 3.0f;
    volatile double oneDouble = 1.0;
    volatile double threeDouble = 3.0;
    volatile long double oneLong = 1.0L;
    volatile long double threeLong = 3.0L;
    Thirds t;
    t.positive = one / three;
    t.negative = -one / three;
    t.positiveDouble = oneDouble / threeDouble;
    t.positiveLong = oneLong / threeLong;
    return t;
}

TEST(NumericsFPUControl, RoundingReachesEveryFloatArithmeticAndIsUndoneAtScopeEnd) {
    RoundingScope restore;
    ASSERT_EQ(0, std::fesetround(FE_TONEAREST));
    struct Case {
        M_FPUControl::Rounding rounding;
        int value;
        int mode; // as <cfenv> reports it
        std::uint32_t positive;
        std::uint32_t negative;
    };
    Case const cases[] = {
        {M_FPUControl::ROUNDING_NEAREST, 0x000, FE_TONEAREST, 0x3EAAAAABu, 0xBEAAAAABu},
        {M_FPUControl::ROUNDING_DOWN, 0x400, FE_DOWNWARD, 0x3EAAAAAAu, 0xBEAAAAABu},
        {M_FPUControl::ROUNDING_UP, 0x800, FE_UPWARD, 0x3EAAAAABu, 0xBEAAAAAAu},
        {M_FPUControl::ROUNDING_ZERO, 0xC00, FE_TOWARDZERO, 0x3EAAAAAAu, 0xBEAAAAAAu},
    };
    double const nearestDouble = thirds().positiveDouble;
    for (Case const& c : cases) {
        SCOPED_TRACE("rounding " + std::to_string(c.value));
        EXPECT_EQ(c.value, static_cast<int>(c.rounding));
        {
            M_FPUControl control(c.rounding);
            EXPECT_EQ(c.rounding, control.getRounding());
            EXPECT_EQ(c.mode, std::fegetround());
            Thirds const t = thirds();
            EXPECT_EQ(c.positive, bitsOf(t.positive));
            EXPECT_EQ(c.negative, bitsOf(t.negative));
            // 1/3 in double lies just above the nearest double below it.
            EXPECT_EQ(c.rounding == M_FPUControl::ROUNDING_UP, t.positiveDouble > nearestDouble);

            // The present mode again: nothing changes.
            M_FPUControl::Precision const precision = control.getPrecision();
            control.setRounding(c.rounding);
            EXPECT_EQ(c.rounding, control.getRounding());
            EXPECT_EQ(precision, control.getPrecision());
        }
        EXPECT_EQ(FE_TONEAREST, std::fegetround());
        EXPECT_EQ(0x3EAAAAABu, bitsOf(thirds().positive));
        EXPECT_EQ(0xBEAAAAABu, bitsOf(thirds().negative));
    }
}

TEST(NumericsFPUControl, PrecisionGovernsTheWideArithmeticAndTheWholeWordComesBack) {
    RoundingScope restore;
    ASSERT_EQ(0, std::fesetround(FE_TONEAREST));
    M_FPUControl outer;
    M_FPUControl::Precision const initialPrecision = outer.getPrecision();
    EXPECT_EQ(M_FPUControl::ROUNDING_NEAREST, outer.getRounding());

    struct Case {
        M_FPUControl::Precision precision;
        int value;
        long double third; // 1/3 at that precision
    };
    Case const cases[] = {
        {M_FPUControl::PRECISION_24, 0x000, static_cast<long double>(thirds().positive)},
        {M_FPUControl::PRECISION_53, 0x200, static_cast<long double>(thirds().positiveDouble)},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE("precision " + std::to_string(c.value));
        EXPECT_EQ(c.value, static_cast<int>(c.precision));
        {
            M_FPUControl control(M_FPUControl::ROUNDING_UP, c.precision);
            EXPECT_EQ(c.precision, control.getPrecision());
            EXPECT_EQ(M_FPUControl::ROUNDING_UP, control.getRounding());
            control.setRounding(M_FPUControl::ROUNDING_NEAREST);
            EXPECT_EQ(c.third, thirds().positiveLong);
        }
        EXPECT_EQ(initialPrecision, outer.getPrecision());
        EXPECT_EQ(M_FPUControl::ROUNDING_NEAREST, outer.getRounding());
    }

    // What others change after construction goes too: the whole saved word comes back.
    {
        M_FPUControl scope(M_FPUControl::PRECISION_24);
        std::fesetround(FE_DOWNWARD);
        scope.setPrecision(M_FPUControl::PRECISION_53);
        EXPECT_EQ(M_FPUControl::PRECISION_53, scope.getPrecision());
        EXPECT_EQ(M_FPUControl::ROUNDING_DOWN, scope.getRounding());
    }
    EXPECT_EQ(initialPrecision, outer.getPrecision());
    EXPECT_EQ(FE_TONEAREST, std::fegetround());
    EXPECT_EQ(0x3EAAAAABu, bitsOf(thirds().positive));
}

TEST(NumericsRandom, DrawsStayInTheirRangesAndReachBothEnds) {
    std::srand(12345);
    float low01 = 1.0f;
    float high01 = 0.0f;
    float low = 1.0f;
    float high = 0.0f;
    // Draws from 0 to 32767 each: a fixed seed meets both ends well within the limit.
    for (int i = 0; i < 4000000 &&
                    (low01 != 0.0f || high01 != 1.0f || low != -1.0f || high != 1.00006103515625f);
         ++i) {
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
