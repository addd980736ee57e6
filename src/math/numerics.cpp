#include "klmfc/math/numerics.h"

#include "platform/fpu.h"

#include <cfenv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
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

// ---- random floats ----

namespace {

// The number of value bits of rand(): 15 for a C library with RAND_MAX 32767, 31 for one
// with 2^31 - 1.
constexpr int randomBits() {
    int bits = 0;
    for (unsigned long long top = RAND_MAX; top != 0; top >>= 1) {
        ++bits;
    }
    return bits;
}

// The top 15 bits of rand(): 0 to 32767, the range the factors below are made for.
int random15() {
    constexpr int shift = randomBits() > 15 ? randomBits() - 15 : 0;
    return std::rand() >> shift;
}

} // namespace

float M_RAND_01() {
    // 2^-15 * (1 + 2^-15), bit pattern 0x38000100: about 1/32767 rather than 1/32768,
    // so that 32767 gives 1.0.
    constexpr float factor = 0x1.0002p-15f;
    return static_cast<float>(random15()) * factor;
}

float M_RAND() {
    // 2^-14 * (1 + 2^-14), bit pattern 0x38800200: about 1/16383 rather than 1/16384, so
    // the range runs from -1.0 to 1 + 2^-14.
    constexpr float factor = 0x1.0004p-14f;
    return static_cast<float>(random15()) * factor - 1.0f;
}

// ---- the 16-bit float ----

namespace {

// The difference of the exponent biases, 127 - 15.
constexpr int kBiasDifference =
    (1 << (M_Float16::sm_iOldExponentBits - 1)) - (1 << (M_Float16::sm_iNewExponentBits - 1));
constexpr int kDroppedMantissaBits =
    M_Float16::sm_iOldMantissaBits - M_Float16::sm_iNewMantissaBits;
constexpr std::uint32_t kNewMantissaMask = (1u << M_Float16::sm_iNewMantissaBits) - 1;
constexpr std::uint32_t kNewExponentMask = (1u << M_Float16::sm_iNewExponentBits) - 1;
constexpr std::uint32_t kOldExponentMask = (1u << M_Float16::sm_iOldExponentBits) - 1;
constexpr int kNewSignShift = M_Float16::sm_iNewExponentBits + M_Float16::sm_iNewMantissaBits;
constexpr int kOldSignShift = M_Float16::sm_iOldExponentBits + M_Float16::sm_iOldMantissaBits;

} // namespace

M_Float16& M_Float16::operator=(float value) {
    std::uint32_t const bits = bitsOfFloat(value);
    int exponent =
        static_cast<int>((bits >> sm_iOldMantissaBits) & kOldExponentMask) - kBiasDifference;
    if (exponent < 0) {
        exponent = 0;
    }
    std::uint32_t const mantissa = (bits >> kDroppedMantissaBits) & kNewMantissaMask;
    std::uint32_t const sign = (bits >> kOldSignShift) << kNewSignShift;
    m_uiPacked = static_cast<std::uint16_t>(
        (static_cast<std::uint32_t>(exponent) << sm_iNewMantissaBits) | sign | mantissa);
    return *this;
}

M_Float16::operator float() const {
    std::uint32_t const packed = m_uiPacked;
    std::uint32_t const sign = (packed >> kNewSignShift) << kOldSignShift;
    std::uint32_t const exponent =
        ((packed >> sm_iNewMantissaBits) & kNewExponentMask) + kBiasDifference;
    std::uint32_t const mantissa = (packed & kNewMantissaMask) << kDroppedMantissaBits;
    return floatFromBits(sign | (exponent << sm_iOldMantissaBits) | mantissa);
}

// ---- the scoped floating-point control ----

namespace {

constexpr int kRoundingMask = 0xC00;
constexpr int kPrecisionMask = 0x300;

} // namespace

M_FPUControl::M_FPUControl() : m_iSavedState(readState()) {}

M_FPUControl::M_FPUControl(Rounding rounding) : m_iSavedState(readState()) {
    setRounding(rounding);
}

M_FPUControl::M_FPUControl(Precision precision) : m_iSavedState(readState()) {
    setPrecision(precision);
}

M_FPUControl::M_FPUControl(Rounding rounding, Precision precision) : m_iSavedState(readState()) {
    setRounding(rounding);
    setPrecision(precision);
}

M_FPUControl::~M_FPUControl() {
    storeState(m_iSavedState);
}

M_FPUControl::Rounding M_FPUControl::getRounding() const {
    return static_cast<Rounding>(readState() & kRoundingMask);
}

M_FPUControl::Precision M_FPUControl::getPrecision() const {
    return static_cast<Precision>(readState() & kPrecisionMask);
}

void M_FPUControl::setRounding(Rounding rounding) {
    if (getRounding() != rounding) {
        storeState((readState() & ~kRoundingMask) | rounding);
    }
}

void M_FPUControl::setPrecision(Precision precision) {
    if (getPrecision() != precision) {
        storeState((readState() & ~kPrecisionMask) | precision);
    }
}

int M_FPUControl::readState() const {
    return klmfc::platform::floatControlWord();
}

void M_FPUControl::storeState(int state) {
    klmfc::platform::setFloatControlWord(state);
}
