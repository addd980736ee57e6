// The reference driver: its queries, every forwarding form, the cross product, the
// single-vector accesses and the memory operations; the kernels are in
// cpu_reference_scalar.cpp, cpu_reference_vector.cpp and cpu_reference_matrix.cpp.
// Short forms call the longest form of their family through the interface (this->), so
// a derived driver that overrides a long form changes the short ones with it.
#include "klmfc/math/arrays.h"
#include "klmfc/math/cpudriver.h"

#include <cstring>

namespace {

// Float index of component 0 of vector `index` in a block layout of D components: the
// start of its block plus its lane. Component c lies 4 * c floats further on.
int blockIndex(int index, int components) {
    return (index >> 2) * 4 * components + (index & 3);
}

} // namespace

// ---- what the driver says of itself ----

char const* K_CPUReference::getName() const {
    return "Reference CPU";
}

K_CPUDriver::CPUID K_CPUReference::getID() const {
    return CPUID_REFERENCE;
}

int K_CPUReference::getPriority() const {
    return 0;
}

int K_CPUReference::getSIMDSize() const {
    return 1;
}

int K_CPUReference::getStructureGranularity() const {
    return 4;
}

int K_CPUReference::getMemoryAlignment() const {
    return 16;
}

// ---- add: forwarding ----

void K_CPUReference::add(float* dst, float value, int count) const {
    this->add(dst, dst, value, count, 1);
}

void K_CPUReference::add(float* dst, float value, int count, int stride) const {
    this->add(dst, dst, value, count, stride);
}

void K_CPUReference::add(float* dst, float const* src, float value, int count) const {
    this->add(dst, src, value, count, 1);
}

void K_CPUReference::add(float* dst, float const* src, int count) const {
    this->add(dst, dst, src, count, 1);
}

void K_CPUReference::add(float* dst, float const* src, int count, int stride) const {
    this->add(dst, dst, src, count, stride);
}

void K_CPUReference::add(float* dst, float const* a, float const* b, int count) const {
    this->add(dst, a, b, count, 1);
}

// ---- subtract: forwarding ----

void K_CPUReference::subtract(float* dst, float value, int count) const {
    this->subtract(dst, dst, value, count, 1);
}

void K_CPUReference::subtract(float* dst, float value, int count, int stride) const {
    this->subtract(dst, dst, value, count, stride);
}

void K_CPUReference::subtract(float* dst, float const* src, float value, int count) const {
    this->subtract(dst, src, value, count, 1);
}

void K_CPUReference::subtract(float* dst, float const* src, int count) const {
    this->subtract(dst, dst, src, count, 1);
}

void K_CPUReference::subtract(float* dst, float const* src, int count, int stride) const {
    this->subtract(dst, dst, src, count, stride);
}

void K_CPUReference::subtract(float* dst, float const* a, float const* b, int count) const {
    this->subtract(dst, a, b, count, 1);
}

// ---- multiply on floats: forwarding ----

void K_CPUReference::multiply(float* dst, float value, int count) const {
    this->multiply(dst, dst, value, count, 1);
}

void K_CPUReference::multiply(float* dst, float value, int count, int stride) const {
    this->multiply(dst, dst, value, count, stride);
}

void K_CPUReference::multiply(float* dst, float const* src, float value, int count) const {
    this->multiply(dst, src, value, count, 1);
}

void K_CPUReference::multiply(float* dst, float const* src, int count) const {
    this->multiply(dst, dst, src, count, 1);
}

void K_CPUReference::multiply(float* dst, float const* src, int count, int stride) const {
    this->multiply(dst, dst, src, count, stride);
}

void K_CPUReference::multiply(float* dst, float const* a, float const* b, int count) const {
    this->multiply(dst, a, b, count, 1);
}

// ---- divide on floats: forwarding ----

void K_CPUReference::divide(float* dst, float value, int count) const {
    this->divide(dst, dst, value, count, 1);
}

void K_CPUReference::divide(float* dst, float value, int count, int stride) const {
    this->divide(dst, dst, value, count, stride);
}

void K_CPUReference::divide(float* dst, float const* src, float value, int count) const {
    this->divide(dst, src, value, count, 1);
}

void K_CPUReference::divide(float* dst, float const* src, int count) const {
    this->divide(dst, dst, src, count, 1);
}

void K_CPUReference::divide(float* dst, float const* src, int count, int stride) const {
    this->divide(dst, dst, src, count, stride);
}

void K_CPUReference::divide(float* dst, float const* a, float const* b, int count) const {
    this->divide(dst, a, b, count, 1);
}

// ---- divide_lo: the reference divides exactly. The short forms pass through the long
// forms of divide_lo, which call divide with the same arguments. ----

void K_CPUReference::divide_lo(M_Vector4Array& dst, M_Vector4Array const& src,
                               M_ScalarArray const& divisors) const {
    this->divide(dst, src, divisors);
}

void K_CPUReference::divide_lo(M_Vector3Array& dst, M_Vector3Array const& src,
                               M_ScalarArray const& divisors) const {
    this->divide(dst, src, divisors);
}

void K_CPUReference::divide_lo(M_Vector2Array& dst, M_Vector2Array const& src,
                               M_ScalarArray const& divisors) const {
    this->divide(dst, src, divisors);
}

void K_CPUReference::divide_lo(float* dst, float value, int count) const {
    this->divide_lo(dst, dst, value, count, 1);
}

void K_CPUReference::divide_lo(float* dst, float value, int count, int stride) const {
    this->divide_lo(dst, dst, value, count, stride);
}

void K_CPUReference::divide_lo(float* dst, float const* src, float value, int count) const {
    this->divide_lo(dst, src, value, count, 1);
}

void K_CPUReference::divide_lo(float* dst, float const* src, float value, int count,
                               int stride) const {
    this->divide(dst, src, value, count, stride);
}

void K_CPUReference::divide_lo(float* dst, float const* src, int count) const {
    this->divide_lo(dst, dst, src, count, 1);
}

void K_CPUReference::divide_lo(float* dst, float const* src, int count, int stride) const {
    this->divide_lo(dst, dst, src, count, stride);
}

void K_CPUReference::divide_lo(float* dst, float const* a, float const* b, int count) const {
    this->divide_lo(dst, a, b, count, 1);
}

void K_CPUReference::divide_lo(float* dst, float const* a, float const* b, int count,
                               int stride) const {
    this->divide(dst, a, b, count, stride);
}

// ---- reciprocals, roots and inverse roots: the in-place forms take dst as source.
// The _lo and _hi tiers compute what the plain operation does. ----

void K_CPUReference::reciprocal_0(float* dst, int count) const {
    this->reciprocal_0(dst, dst, count);
}

void K_CPUReference::reciprocal_lo_0(float* dst, int count) const {
    this->reciprocal_0(dst, dst, count);
}

void K_CPUReference::reciprocal_lo_0(float* dst, float const* src, int count) const {
    this->reciprocal_0(dst, src, count);
}

void K_CPUReference::reciprocal_hi_0(float* dst, int count) const {
    this->reciprocal_0(dst, dst, count);
}

void K_CPUReference::reciprocal_hi_0(float* dst, float const* src, int count) const {
    this->reciprocal_0(dst, src, count);
}

void K_CPUReference::sqrt(float* dst, int count) const {
    this->sqrt(dst, dst, count);
}

void K_CPUReference::sqrt_lo(float* dst, int count) const {
    this->sqrt_lo(dst, dst, count);
}

void K_CPUReference::sqrt_lo(float* dst, float const* src, int count) const {
    this->sqrt(dst, src, count);
}

void K_CPUReference::sqrt_hi(float* dst, int count) const {
    this->sqrt_hi(dst, dst, count);
}

void K_CPUReference::sqrt_hi(float* dst, float const* src, int count) const {
    this->sqrt(dst, src, count);
}

void K_CPUReference::invsqrt(float* dst, int count) const {
    this->invsqrt(dst, dst, count);
}

void K_CPUReference::invsqrt_lo(float* dst, int count) const {
    this->invsqrt_lo(dst, dst, count);
}

void K_CPUReference::invsqrt_lo(float* dst, float const* src, int count) const {
    this->invsqrt(dst, src, count);
}

void K_CPUReference::invsqrt_hi(float* dst, int count) const {
    this->invsqrt_hi(dst, dst, count);
}

void K_CPUReference::invsqrt_hi(float* dst, float const* src, int count) const {
    this->invsqrt(dst, src, count);
}

// ---- sign, clamps, minimum and maximum: forwarding ----

void K_CPUReference::negate(float* dst, int count) const {
    this->negate(dst, dst, count);
}

void K_CPUReference::abs(float* dst, int count) const {
    this->abs(dst, dst, count);
}

void K_CPUReference::clamp(float* dst, float low, float high, int count) const {
    this->clamp(dst, dst, low, high, count);
}

void K_CPUReference::clampMin(float* dst, float limit, int count) const {
    this->clampMin(dst, dst, limit, count);
}

void K_CPUReference::clampMax(float* dst, float limit, int count) const {
    this->clampMax(dst, dst, limit, count);
}

void K_CPUReference::minimum(float* dst, float* a, int count) const {
    this->minimum(dst, dst, a, count);
}

void K_CPUReference::maximum(float* dst, float* a, int count) const {
    this->maximum(dst, dst, a, count);
}

// ---- cross product: six strided passes, one plane of every block each ----

void K_CPUReference::vectorProduct(M_Vector3Array& dst, M_Vector3Array const& a,
                                   M_Vector3Array const& b) const {
    int const count = dst.getCurrentSize();
    float* const dx = dst.getMemory();
    float* const dy = dx + 4;
    float* const dz = dx + 8;
    float const* const ax = a.getMemory();
    float const* const ay = ax + 4;
    float const* const az = ax + 8;
    float const* const bx = b.getMemory();
    float const* const by = bx + 4;
    float const* const bz = bx + 8;
    this->multiply(dx, ay, bz, count, 3);
    this->multiply_then_subtract(dx, az, by, count, 3);
    this->multiply(dy, az, bx, count, 3);
    this->multiply_then_subtract(dy, ax, bz, count, 3);
    this->multiply(dz, ax, by, count, 3);
    this->multiply_then_subtract(dz, ay, bx, count, 3);
}

// ---- single vectors in the block layout ----

void K_CPUReference::set(M_Vector4Array& array, int index,
                         M_Vector4Template<float> const& value) const {
    float* const at = array.getMemory() + blockIndex(index, 4);
    at[0] = value.x;
    at[4] = value.y;
    at[8] = value.z;
    at[12] = value.w;
}

void K_CPUReference::set(M_Vector3Array& array, int index,
                         M_Vector3Template<float> const& value) const {
    float* const at = array.getMemory() + blockIndex(index, 3);
    at[0] = value.x;
    at[4] = value.y;
    at[8] = value.z;
}

void K_CPUReference::set(M_Vector2Array& array, int index,
                         M_Vector2Template<float> const& value) const {
    float* const at = array.getMemory() + blockIndex(index, 2);
    at[0] = value.x;
    at[4] = value.y;
}

void K_CPUReference::get(M_Vector4Array const& array, M_Vector4Template<float>& value,
                         int index) const {
    float const* const at = array.getMemory() + blockIndex(index, 4);
    value.x = at[0];
    value.y = at[4];
    value.z = at[8];
    value.w = at[12];
}

void K_CPUReference::get(M_Vector3Array const& array, M_Vector3Template<float>& value,
                         int index) const {
    float const* const at = array.getMemory() + blockIndex(index, 3);
    value.x = at[0];
    value.y = at[4];
    value.z = at[8];
}

void K_CPUReference::get(M_Vector2Array const& array, M_Vector2Template<float>& value,
                         int index) const {
    float const* const at = array.getMemory() + blockIndex(index, 2);
    value.x = at[0];
    value.y = at[4];
}

// ---- raw memory: exactly the given bytes, no rounding to groups ----

void K_CPUReference::memcpy(void* dst, void const* src, int bytes) const {
    if (bytes > 0) {
        std::memcpy(dst, src, static_cast<std::size_t>(bytes));
    }
}

void K_CPUReference::memset(void* dst, char value, int bytes) const {
    if (bytes > 0) {
        std::memset(dst, static_cast<unsigned char>(value), static_cast<std::size_t>(bytes));
    }
}
