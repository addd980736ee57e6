#include "klmfc/math/numerics.h"

#include <cfenv>
#include <cmath>
#include <cstdint>
#include <cstring>

unsigned char M_LUTInverseSqrt[256];

namespace {

float floatFromBits(std::uint32_t bits) {
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

std::uint32_t bitsOfFloat(float value) {
    std::uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

} // namespace

void M_funcMakeInverseSqrtLUT() {
    for (std::uint32_t i = 0; i < 256; ++i) {
        // The middle of interval i: its lower bound plus half the width of an interval.
        // The exponent is 126 below 128 and 127 from 128 on.
        float const x = floatFromBits((i << 16) | 0x3F008000u);
        float const y = static_cast<float>(1.0 / std::sqrt(static_cast<double>(x)));
        // The top eight mantissa bits (22 to 15) of y, with 0x2000 added first.
        M_LUTInverseSqrt[i] = static_cast<unsigned char>((bitsOfFloat(y) + 0x2000u) >> 15);
    }
    // The root for the interval just above 1.0 lies just below 1.0; rounding it up would
    // carry into the exponent and leave 0 in the entry, so it is pinned to the top.
    M_LUTInverseSqrt[128] = 255;
}

int M_ceilToInt(float value) {
    // The volatile accesses keep the conversion between the two mode switches: the
    // compiler does not otherwise know that the conversion depends on the mode.
    volatile float input = value;
    int const mode = std::fegetround();
    if (mode == FE_UPWARD) {
        return static_cast<int>(std::lrint(input));
    }
    std::fesetround(FE_UPWARD);
    volatile long result = std::lrint(input);
    std::fesetround(mode);
    return static_cast<int>(result);
}
