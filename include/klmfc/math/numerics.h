// Numeric tools beneath the array kernels and beside them: the inverse-square-root table
// and the two estimates built on it, the 16-bit float, the scoped floating-point control
// and the random helpers.
#pragma once

#include <cstdint>
#include <cstring>

// The inverse-square-root table. The index is bits 23 to 16 of a float (the lowest
// exponent bit and the top seven mantissa bits); entry i holds the top eight mantissa
// bits of the inverse square root of the middle of that interval. Entries 0 to 127
// serve even biased exponents, 128 to 255 odd ones. All zero until
// M_funcMakeInverseSqrtLUT has run (M_MathInit does it), then only read.
extern unsigned char M_LUTInverseSqrt[256];

// Fills M_LUTInverseSqrt. Running it again gives the same contents.
void M_funcMakeInverseSqrtLUT();

// Converts to int rounding towards positive infinity, whatever the thread's rounding
// mode: switches the mode to upward for the conversion and puts it back.
int M_ceilToInt(float value);

// 1 / sqrt(x) from the table alone: one lookup and integer operations, a relative error
// below 0.4 percent. Meaningful for positive normal x only; nothing is tested.
inline float M_invSqrtEstimate(float x) {
    std::uint32_t bits;
    std::memcpy(&bits, &x, sizeof bits);
    std::uint32_t const index = (bits >> 16) & 255u;
    // Halving the exponent and changing its sign in one subtraction; the borrow out of
    // the mantissa is masked off.
    std::uint32_t const exponent = ((0xBE7FFFFFu - bits) >> 1) & 0xFF800000u;
    std::uint32_t const result =
        exponent | (static_cast<std::uint32_t>(M_LUTInverseSqrt[index]) << 15);
    float estimate;
    std::memcpy(&estimate, &result, sizeof estimate);
    return estimate;
}

// The estimate after one Newton-Raphson step, a relative error below 0.003 percent.
// Meaningful for positive normal x only.
inline float M_invSqrtRefined(float x) {
    double const y = M_invSqrtEstimate(x);
    return static_cast<float>(1.5 * y - 0.5 * static_cast<double>(x) * y * y * y);
}

// Random floats from the C library's rand(): M_RAND from -1.0 to about 1.00006,
// M_RAND_01 from 0.0 to 1.0, both ends included. They draw 15 bits per call, 0 to 32767,
// whatever the C library's RAND_MAX, and share its state and its seed.
float M_RAND();
float M_RAND_01();

// A 16-bit float: 1 sign bit, 5 exponent bits, 10 mantissa bits, from the top. Every code
// is an ordinary number with an implied leading mantissa bit: exponent field e means
// 2^(e - 15), for e from 0 to 31. There is no zero (code 0 reads back as 2^-15), no
// denormal, no infinity and no NaN. Packing cuts the mantissa without rounding and
// raises magnitudes below 2^-15 into [2^-15, 2^-14); magnitudes of 2^17 and more,
// infinities and NaNs give codes of no meaning.
class M_Float16 {
public:
    static constexpr int sm_iSignBit = 1;
    static constexpr int sm_iOldExponentBits = 8;
    static constexpr int sm_iOldMantissaBits = 23;
    static constexpr int sm_iNewExponentBits = 5;
    static constexpr int sm_iNewMantissaBits = 10;
    // The smallest number with exponent field 31: the limit the caller keeps to.
    static constexpr float sm_fAbsoluteMaximum = 65536.0f;

    M_Float16() : m_uiPacked(0) {}
    M_Float16(float value) { *this = value; }
    M_Float16(M_Float16 const& other) = default;

    M_Float16& operator=(float value);
    M_Float16& operator=(M_Float16 const& other) = default;
    operator float() const;

    static float getAbsoluteMaximumValue() { return sm_fAbsoluteMaximum; }

    // The packed bits, as the streams move them.
    std::uint16_t getPacked() const { return m_uiPacked; }
    void setPacked(std::uint16_t packed) { m_uiPacked = packed; }

private:
    std::uint16_t m_uiPacked;
};

static_assert(sizeof(M_Float16) == 2, "one 16-bit field");

// Changes the rounding mode or the working precision of the calling thread for a scope
// and puts back the whole control word, as it was at construction, when it ends (also
// undoing what others changed in between). Construct and destroy on one thread.
//
// The values are those of the x87 control word. Where floats are computed by SSE (every
// x86-64 build) a rounding change reaches the SSE unit too; the precision governs the
// x87 unit, that is long double arithmetic there.
class M_FPUControl {
public:
    enum Rounding {
        ROUNDING_NEAREST = 0x000,
        ROUNDING_DOWN = 0x400,
        ROUNDING_UP = 0x800,
        ROUNDING_ZERO = 0xC00,
    };
    enum Precision {
        PRECISION_24 = 0x000,
        PRECISION_53 = 0x200,
        PRECISION_64 = 0x300,
    };

    M_FPUControl();
    explicit M_FPUControl(Rounding rounding);
    explicit M_FPUControl(Precision precision);
    M_FPUControl(Rounding rounding, Precision precision);
    ~M_FPUControl();

    Rounding getRounding() const;
    Precision getPrecision() const;
    // Write the control word only when the field changes.
    void setRounding(Rounding rounding);
    void setPrecision(Precision precision);

private:
    M_FPUControl(M_FPUControl const&) = delete;
    M_FPUControl& operator=(M_FPUControl const&) = delete;

    int readState() const;
    void storeState(int state);

    int m_iSavedState;
};
