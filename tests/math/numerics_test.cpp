// The inverse-square-root table and the upward conversion of the array sizes.
#include "klmfc/math/numerics.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <cstring>
#include <string>

namespace {

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

} // namespace
