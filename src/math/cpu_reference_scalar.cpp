// The reference driver's kernels on runs of floats. Each holds the loop of its family;
// the shorter forms in cpu_reference.cpp come here through the interface.
//
// Lanes compute on 32-bit floats and store 32-bit results. The driver never touches the
// floating-point control: every result follows the rounding mode of the calling thread,
// except convertToInt, which truncates.
#include "flat_loop.h"
#include "klmfc/math/cpudriver.h"

#include <cmath>

// ---- add, subtract, multiply, divide ----

void K_CPUReference::add(float* dst, float const* src, float value, int count, int stride) const {
    M_forEachLane(count, stride, dst, [=](std::ptrdiff_t i) { return value + src[i]; });
}

void K_CPUReference::add(float* dst, float const* a, float const* b, int count, int stride) const {
    M_forEachLane(count, stride, dst, [=](std::ptrdiff_t i) { return a[i] + b[i]; });
}

void K_CPUReference::subtract(float* dst, float const* src, float value, int count,
                              int stride) const {
    M_forEachLane(count, stride, dst, [=](std::ptrdiff_t i) { return src[i] - value; });
}

void K_CPUReference::subtract(float* dst, float const* a, float const* b, int count,
                              int stride) const {
    M_forEachLane(count, stride, dst, [=](std::ptrdiff_t i) { return a[i] - b[i]; });
}

void K_CPUReference::multiply(float* dst, float const* src, float value, int count,
                              int stride) const {
    M_forEachLane(count, stride, dst, [=](std::ptrdiff_t i) { return value * src[i]; });
}

void K_CPUReference::multiply(float* dst, float const* a, float const* b, int count,
                              int stride) const {
    M_forEachLane(count, stride, dst, [=](std::ptrdiff_t i) { return a[i] * b[i]; });
}

// One reciprocal before the loop, then a multiplication per lane: a value of 0 gives
// infinities and NaNs.
void K_CPUReference::divide(float* dst, float const* src, float value, int count,
                            int stride) const {
    float const reciprocal = 1.0f / value;
    M_forEachLane(count, stride, dst, [=](std::ptrdiff_t i) { return reciprocal * src[i]; });
}

// A true division in every lane; a zero divisor gives what the floating-point unit gives.
void K_CPUReference::divide(float* dst, float const* a, float const* b, int count,
                            int stride) const {
    M_forEachLane(count, stride, dst, [=](std::ptrdiff_t i) { return a[i] / b[i]; });
}

void K_CPUReference::multiply_then_add(float* dst, float const* a, float const* b, int count,
                                       int stride) const {
    M_forEachLane(count, stride, dst, [=](std::ptrdiff_t i) { return dst[i] + a[i] * b[i]; });
}

void K_CPUReference::multiply_then_subtract(float* dst, float const* a, float const* b, int count,
                                            int stride) const {
    M_forEachLane(count, stride, dst, [=](std::ptrdiff_t i) { return dst[i] - a[i] * b[i]; });
}

// ---- unary, always contiguous ----

void K_CPUReference::reciprocal_0(float* dst, float const* src, int count) const {
    M_forEachLane(count, 1, dst, [=](std::ptrdiff_t i) {
        float const x = src[i];
        return x == 0.0f ? 0.0f : 1.0f / x;
    });
}

void K_CPUReference::sqrt(float* dst, float const* src, int count) const {
    M_forEachLane(count, 1, dst, [=](std::ptrdiff_t i) { return std::sqrt(src[i]); });
}

// No test of zero: a zero gives an infinity.
void K_CPUReference::invsqrt(float* dst, float const* src, int count) const {
    M_forEachLane(count, 1, dst, [=](std::ptrdiff_t i) { return 1.0f / std::sqrt(src[i]); });
}

// The sign bit flipped: 0.0 becomes -0.0, and a NaN changes sign too.
void K_CPUReference::negate(float* dst, float const* src, int count) const {
    M_forEachLane(count, 1, dst, [=](std::ptrdiff_t i) { return -src[i]; });
}

void K_CPUReference::abs(float* dst, float const* src, int count) const {
    M_forEachLane(count, 1, dst, [=](std::ptrdiff_t i) { return std::fabs(src[i]); });
}

// ---- clamps, minimum and maximum: comparisons that a NaN fails ----

// The test against low comes first, so with low above high everything below low becomes
// low and everything else high.
void K_CPUReference::clamp(float* dst, float const* src, float low, float high, int count) const {
    M_forEachLane(count, 1, dst, [=](std::ptrdiff_t i) {
        float const x = src[i];
        return x < low ? low : (x > high ? high : x);
    });
}

void K_CPUReference::clampMin(float* dst, float const* src, float limit, int count) const {
    M_forEachLane(count, 1, dst, [=](std::ptrdiff_t i) {
        float const x = src[i];
        return x < limit ? limit : x;
    });
}

void K_CPUReference::clampMax(float* dst, float const* src, float limit, int count) const {
    M_forEachLane(count, 1, dst, [=](std::ptrdiff_t i) {
        float const x = src[i];
        return x > limit ? limit : x;
    });
}

// On a tie or a NaN the result is b.
void K_CPUReference::minimum(float* dst, float* a, float* b, int count) const {
    M_forEachLane(count, 1, dst, [=](std::ptrdiff_t i) {
        float const x = a[i];
        float const y = b[i];
        return x < y ? x : y;
    });
}

void K_CPUReference::maximum(float* dst, float* a, float* b, int count) const {
    M_forEachLane(count, 1, dst, [=](std::ptrdiff_t i) {
        float const x = a[i];
        float const y = b[i];
        return x > y ? x : y;
    });
}

// ---- conversion ----

// The language's conversion truncates towards zero whatever the rounding mode.
void K_CPUReference::convertToInt(int* dst, float const* src, int count) const {
    M_forEachLane(count, 1, dst, [=](std::ptrdiff_t i) { return static_cast<int>(src[i]); });
}
