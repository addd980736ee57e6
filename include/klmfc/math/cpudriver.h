// The processor driver: every piece of bulk arithmetic of the library runs behind
// K_CPUDriver. The arrays hold memory and sizes; each of their operations fetches the
// active driver from Sys and makes one virtual call on it.
//
// The order of the 136 operations below is the binary interface towards driver modules:
// new operations go nowhere but the end, and none moves.
//
// Conventions of the flat kernels: they work in whole groups of four floats, so `count`
// is rounded up to a multiple of four and up to three floats past it are read and
// written. `stride` counts groups of four floats: after each group every pointer moves
// 4 * stride floats, so stride 1 is a contiguous run and stride 3 walks one component
// plane of a vector array of three. `dst` may be any of the sources (not partly
// overlapping), except in vectorProduct.
#pragma once

#include "klmfc/math/types.h"

class M_ScalarArray;
class M_Vector2Array;
class M_Vector3Array;
class M_Vector4Array;

// The drivers are polymorphic without a virtual destructor, by design; keep hosts that
// build with -Wnon-virtual-dtor quiet about it.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// Drivers hold no state, so one object serves every caller. There is deliberately no
// virtual destructor: the object that creates a driver destroys it as its own type.
class K_CPUDriver {
public:
    // Names a driver kind. Value 0 is the reference driver; modules define the others.
    enum CPUID : int { CPUID_REFERENCE = 0 };

    K_CPUDriver() {}
    K_CPUDriver(K_CPUDriver const&) {}
    K_CPUDriver& operator=(K_CPUDriver const&) { return *this; }

    // ---- what the driver says of itself ----
    virtual char const* getName() const = 0;
    virtual CPUID getID() const = 0;
    virtual int getPriority() const = 0;
    virtual int getSIMDSize() const = 0;
    // Vectors per storage block; array sizes are rounded up to a multiple of it.
    virtual int getStructureGranularity() const = 0;
    // Alignment in bytes of the memory of every array.
    virtual int getMemoryAlignment() const = 0;

    // ---- add: value + x, or a + b ----
    virtual void add(float* dst, float value, int count) const = 0;
    virtual void add(float* dst, float value, int count, int stride) const = 0;
    virtual void add(float* dst, float const* src, float value, int count) const = 0;
    virtual void add(float* dst, float const* src, float value, int count, int stride) const = 0;
    virtual void add(float* dst, float const* src, int count) const = 0;
    virtual void add(float* dst, float const* src, int count, int stride) const = 0;
    virtual void add(float* dst, float const* a, float const* b, int count) const = 0;
    virtual void add(float* dst, float const* a, float const* b, int count, int stride) const = 0;

    // ---- subtract: x - value, or a - b ----
    virtual void subtract(float* dst, float value, int count) const = 0;
    virtual void subtract(float* dst, float value, int count, int stride) const = 0;
    virtual void subtract(float* dst, float const* src, float value, int count) const = 0;
    virtual void subtract(float* dst, float const* src, float value, int count,
                          int stride) const = 0;
    virtual void subtract(float* dst, float const* src, int count) const = 0;
    virtual void subtract(float* dst, float const* src, int count, int stride) const = 0;
    virtual void subtract(float* dst, float const* a, float const* b, int count) const = 0;
    virtual void subtract(float* dst, float const* a, float const* b, int count,
                          int stride) const = 0;

    // ---- multiply: vectors by lane scalars, vectors and matrices by matrices, floats ----
    virtual void multiply(M_Vector4Array& dst, M_Vector4Array const& src,
                          M_ScalarArray const& factors) const = 0;
    virtual void multiply(M_Vector3Array& dst, M_Vector3Array const& src,
                          M_ScalarArray const& factors) const = 0;
    virtual void multiply(M_Vector2Array& dst, M_Vector2Array const& src,
                          M_ScalarArray const& factors) const = 0;
    virtual void multiply(M_Vector4Array& dst, M_Vector4Array const& src,
                          M_Matrix4Template<float> const& m) const = 0;
    virtual void multiply(M_Vector3Array& dst, M_Vector3Array const& src,
                          M_Matrix4x3Template<float> const& m) const = 0;
    virtual void multiply(M_Vector3Array& dst, M_Vector3Array const& src,
                          M_Matrix3Template<float> const& m) const = 0;
    virtual void multiply(M_Vector2Array& dst, M_Vector2Array const& src,
                          M_Matrix2Template<float> const& m) const = 0;
    virtual void multiply(M_Vector4Template<float>& dst, M_Vector4Template<float> const& src,
                          M_Matrix4Template<float> const& m) const = 0;
    virtual void multiply(M_Vector3Template<float>& dst, M_Vector3Template<float> const& src,
                          M_Matrix4x3Template<float> const& m) const = 0;
    virtual void multiply(M_Vector3Template<float>& dst, M_Vector3Template<float> const& src,
                          M_Matrix3Template<float> const& m) const = 0;
    virtual void multiply(M_Vector2Template<float>& dst, M_Vector2Template<float> const& src,
                          M_Matrix2Template<float> const& m) const = 0;
    virtual void multiply(M_Matrix4Template<float>& a, M_Matrix4Template<float> const& b) const = 0;
    virtual void multiply(M_Matrix4x3Template<float>& a,
                          M_Matrix4x3Template<float> const& b) const = 0;
    virtual void multiply(M_Matrix3Template<float>& a, M_Matrix3Template<float> const& b) const = 0;
    virtual void multiply(M_Matrix2Template<float>& a, M_Matrix2Template<float> const& b) const = 0;
    virtual void multiply(float* dst, float value, int count) const = 0;
    virtual void multiply(float* dst, float value, int count, int stride) const = 0;
    virtual void multiply(float* dst, float const* src, float value, int count) const = 0;
    virtual void multiply(float* dst, float const* src, float value, int count,
                          int stride) const = 0;
    virtual void multiply(float* dst, float const* src, int count) const = 0;
    virtual void multiply(float* dst, float const* src, int count, int stride) const = 0;
    virtual void multiply(float* dst, float const* a, float const* b, int count) const = 0;
    virtual void multiply(float* dst, float const* a, float const* b, int count,
                          int stride) const = 0;

    // ---- divide: vectors by lane scalars, floats ----
    virtual void divide(M_Vector4Array& dst, M_Vector4Array const& src,
                        M_ScalarArray const& divisors) const = 0;
    virtual void divide(M_Vector3Array& dst, M_Vector3Array const& src,
                        M_ScalarArray const& divisors) const = 0;
    virtual void divide(M_Vector2Array& dst, M_Vector2Array const& src,
                        M_ScalarArray const& divisors) const = 0;
    virtual void divide(float* dst, float value, int count) const = 0;
    virtual void divide(float* dst, float value, int count, int stride) const = 0;
    virtual void divide(float* dst, float const* src, float value, int count) const = 0;
    virtual void divide(float* dst, float const* src, float value, int count, int stride) const = 0;
    virtual void divide(float* dst, float const* src, int count) const = 0;
    virtual void divide(float* dst, float const* src, int count, int stride) const = 0;
    virtual void divide(float* dst, float const* a, float const* b, int count) const = 0;
    virtual void divide(float* dst, float const* a, float const* b, int count,
                        int stride) const = 0;

    // ---- divide_lo: the same eleven ----
    virtual void divide_lo(M_Vector4Array& dst, M_Vector4Array const& src,
                           M_ScalarArray const& divisors) const = 0;
    virtual void divide_lo(M_Vector3Array& dst, M_Vector3Array const& src,
                           M_ScalarArray const& divisors) const = 0;
    virtual void divide_lo(M_Vector2Array& dst, M_Vector2Array const& src,
                           M_ScalarArray const& divisors) const = 0;
    virtual void divide_lo(float* dst, float value, int count) const = 0;
    virtual void divide_lo(float* dst, float value, int count, int stride) const = 0;
    virtual void divide_lo(float* dst, float const* src, float value, int count) const = 0;
    virtual void divide_lo(float* dst, float const* src, float value, int count,
                           int stride) const = 0;
    virtual void divide_lo(float* dst, float const* src, int count) const = 0;
    virtual void divide_lo(float* dst, float const* src, int count, int stride) const = 0;
    virtual void divide_lo(float* dst, float const* a, float const* b, int count) const = 0;
    virtual void divide_lo(float* dst, float const* a, float const* b, int count,
                           int stride) const = 0;

    // ---- dst + a * b and dst - a * b ----
    virtual void multiply_then_add(float* dst, float const* a, float const* b, int count,
                                   int stride) const = 0;
    virtual void multiply_then_subtract(float* dst, float const* a, float const* b, int count,
                                        int stride) const = 0;

    // ---- reciprocals, roots and inverse roots, in place or from a source ----
    virtual void reciprocal_0(float* dst, int count) const = 0;
    virtual void reciprocal_0(float* dst, float const* src, int count) const = 0;
    virtual void reciprocal_lo_0(float* dst, int count) const = 0;
    virtual void reciprocal_lo_0(float* dst, float const* src, int count) const = 0;
    virtual void reciprocal_hi_0(float* dst, int count) const = 0;
    virtual void reciprocal_hi_0(float* dst, float const* src, int count) const = 0;
    virtual void sqrt(float* dst, int count) const = 0;
    virtual void sqrt(float* dst, float const* src, int count) const = 0;
    virtual void sqrt_lo(float* dst, int count) const = 0;
    virtual void sqrt_lo(float* dst, float const* src, int count) const = 0;
    virtual void sqrt_hi(float* dst, int count) const = 0;
    virtual void sqrt_hi(float* dst, float const* src, int count) const = 0;
    virtual void invsqrt(float* dst, int count) const = 0;
    virtual void invsqrt(float* dst, float const* src, int count) const = 0;
    virtual void invsqrt_lo(float* dst, int count) const = 0;
    virtual void invsqrt_lo(float* dst, float const* src, int count) const = 0;
    virtual void invsqrt_hi(float* dst, int count) const = 0;
    virtual void invsqrt_hi(float* dst, float const* src, int count) const = 0;

    // ---- sign ----
    virtual void negate(float* dst, int count) const = 0;
    virtual void negate(float* dst, float const* src, int count) const = 0;
    virtual void abs(float* dst, int count) const = 0;
    virtual void abs(float* dst, float const* src, int count) const = 0;

    // ---- clamps ----
    virtual void clamp(float* dst, float low, float high, int count) const = 0;
    virtual void clamp(float* dst, float const* src, float low, float high, int count) const = 0;
    virtual void clampMin(float* dst, float limit, int count) const = 0;
    virtual void clampMin(float* dst, float const* src, float limit, int count) const = 0;
    virtual void clampMax(float* dst, float limit, int count) const = 0;
    virtual void clampMax(float* dst, float const* src, float limit, int count) const = 0;

    // ---- lane-wise minimum and maximum ----
    virtual void minimum(float* dst, float* a, int count) const = 0;
    virtual void minimum(float* dst, float* a, float* b, int count) const = 0;
    virtual void maximum(float* dst, float* a, int count) const = 0;
    virtual void maximum(float* dst, float* a, float* b, int count) const = 0;

    // ---- matrix inversion in place ----
    virtual void invert(M_Matrix4Template<float>& m) const = 0;
    virtual void invert(M_Matrix4x3Template<float>& m) const = 0;
    virtual void invert(M_Matrix3Template<float>& m) const = 0;
    virtual void invert(M_Matrix2Template<float>& m) const = 0;

    // ---- normalisation; a zero vector stays zero ----
    virtual void normalize_0(M_Vector4Array& dst, M_Vector4Array const& src) const = 0;
    virtual void normalize_0(M_Vector3Array& dst, M_Vector3Array const& src) const = 0;
    virtual void normalize_0(M_Vector2Array& dst, M_Vector2Array const& src) const = 0;
    virtual void normalize_lo_0(M_Vector4Array& dst, M_Vector4Array const& src) const = 0;
    virtual void normalize_lo_0(M_Vector3Array& dst, M_Vector3Array const& src) const = 0;
    virtual void normalize_lo_0(M_Vector2Array& dst, M_Vector2Array const& src) const = 0;
    virtual void normalize_hi_0(M_Vector4Array& dst, M_Vector4Array const& src) const = 0;
    virtual void normalize_hi_0(M_Vector3Array& dst, M_Vector3Array const& src) const = 0;
    virtual void normalize_hi_0(M_Vector2Array& dst, M_Vector2Array const& src) const = 0;

    // ---- lengths into a run of floats; the count is that of the source ----
    virtual void length(float* dst, M_Vector4Array const& src) const = 0;
    virtual void length(float* dst, M_Vector3Array const& src) const = 0;
    virtual void length(float* dst, M_Vector2Array const& src) const = 0;
    virtual void length_lo(float* dst, M_Vector4Array const& src) const = 0;
    virtual void length_lo(float* dst, M_Vector3Array const& src) const = 0;
    virtual void length_lo(float* dst, M_Vector2Array const& src) const = 0;
    virtual void length_hi(float* dst, M_Vector4Array const& src) const = 0;
    virtual void length_hi(float* dst, M_Vector3Array const& src) const = 0;
    virtual void length_hi(float* dst, M_Vector2Array const& src) const = 0;

    // ---- products; vectorProduct takes three distinct arrays ----
    virtual void vectorProduct(M_Vector3Array& dst, M_Vector3Array const& a,
                               M_Vector3Array const& b) const = 0;
    virtual void dotProduct(M_ScalarArray& dst, M_Vector4Array const& a,
                            M_Vector4Array const& b) const = 0;
    virtual void dotProduct(M_ScalarArray& dst, M_Vector3Array const& a,
                            M_Vector3Array const& b) const = 0;
    virtual void dotProduct(M_ScalarArray& dst, M_Vector2Array const& a,
                            M_Vector2Array const& b) const = 0;

    // ---- single vectors in the driver's storage layout ----
    virtual void set(M_Vector4Array& array, int index,
                     M_Vector4Template<float> const& value) const = 0;
    virtual void set(M_Vector3Array& array, int index,
                     M_Vector3Template<float> const& value) const = 0;
    virtual void set(M_Vector2Array& array, int index,
                     M_Vector2Template<float> const& value) const = 0;
    virtual void get(M_Vector4Array const& array, M_Vector4Template<float>& value,
                     int index) const = 0;
    virtual void get(M_Vector3Array const& array, M_Vector3Template<float>& value,
                     int index) const = 0;
    virtual void get(M_Vector2Array const& array, M_Vector2Template<float>& value,
                     int index) const = 0;

    // ---- raw memory, exactly `bytes` bytes; the buffers do not overlap ----
    virtual void memcpy(void* dst, void const* src, int bytes) const = 0;
    virtual void memset(void* dst, char value, int bytes) const = 0;

    // ---- floats truncated towards zero to ints, under any rounding mode ----
    virtual void convertToInt(int* dst, float const* src, int count) const = 0;
};

// The driver built into the library. Its results are the meaning of every operation
// for all other drivers. Vector arrays are stored in blocks of four vectors with the
// components in planes: vector i, component c of a D-component array lies at float
// (i >> 2) * 4 * D + c * 4 + (i & 3).
//
// Only the longest overload of a family holds a loop; every shorter one calls it through
// the interface, so a driver derived from this one that overrides a long form changes
// the short forms with it. Of the reduced tiers only length and normalize are computed
// apart, from the inverse-square-root table (_lo) and one Newton-Raphson step on it
// (_hi); every other _lo and _hi form calls its plain operation through the interface.
class K_CPUReference : public K_CPUDriver {
public:
    K_CPUReference() {}

    char const* getName() const override;
    CPUID getID() const override;
    int getPriority() const override;
    int getSIMDSize() const override;
    int getStructureGranularity() const override;
    int getMemoryAlignment() const override;

    void add(float* dst, float value, int count) const override;
    void add(float* dst, float value, int count, int stride) const override;
    void add(float* dst, float const* src, float value, int count) const override;
    void add(float* dst, float const* src, float value, int count, int stride) const override;
    void add(float* dst, float const* src, int count) const override;
    void add(float* dst, float const* src, int count, int stride) const override;
    void add(float* dst, float const* a, float const* b, int count) const override;
    void add(float* dst, float const* a, float const* b, int count, int stride) const override;

    void subtract(float* dst, float value, int count) const override;
    void subtract(float* dst, float value, int count, int stride) const override;
    void subtract(float* dst, float const* src, float value, int count) const override;
    void subtract(float* dst, float const* src, float value, int count, int stride) const override;
    void subtract(float* dst, float const* src, int count) const override;
    void subtract(float* dst, float const* src, int count, int stride) const override;
    void subtract(float* dst, float const* a, float const* b, int count) const override;
    void subtract(float* dst, float const* a, float const* b, int count, int stride) const override;

    void multiply(M_Vector4Array& dst, M_Vector4Array const& src,
                  M_ScalarArray const& factors) const override;
    void multiply(M_Vector3Array& dst, M_Vector3Array const& src,
                  M_ScalarArray const& factors) const override;
    void multiply(M_Vector2Array& dst, M_Vector2Array const& src,
                  M_ScalarArray const& factors) const override;
    void multiply(M_Vector4Array& dst, M_Vector4Array const& src,
                  M_Matrix4Template<float> const& m) const override;
    void multiply(M_Vector3Array& dst, M_Vector3Array const& src,
                  M_Matrix4x3Template<float> const& m) const override;
    void multiply(M_Vector3Array& dst, M_Vector3Array const& src,
                  M_Matrix3Template<float> const& m) const override;
    void multiply(M_Vector2Array& dst, M_Vector2Array const& src,
                  M_Matrix2Template<float> const& m) const override;
    void multiply(M_Vector4Template<float>& dst, M_Vector4Template<float> const& src,
                  M_Matrix4Template<float> const& m) const override;
    void multiply(M_Vector3Template<float>& dst, M_Vector3Template<float> const& src,
                  M_Matrix4x3Template<float> const& m) const override;
    void multiply(M_Vector3Template<float>& dst, M_Vector3Template<float> const& src,
                  M_Matrix3Template<float> const& m) const override;
    void multiply(M_Vector2Template<float>& dst, M_Vector2Template<float> const& src,
                  M_Matrix2Template<float> const& m) const override;
    void multiply(M_Matrix4Template<float>& a, M_Matrix4Template<float> const& b) const override;
    void multiply(M_Matrix4x3Template<float>& a,
                  M_Matrix4x3Template<float> const& b) const override;
    void multiply(M_Matrix3Template<float>& a, M_Matrix3Template<float> const& b) const override;
    void multiply(M_Matrix2Template<float>& a, M_Matrix2Template<float> const& b) const override;
    void multiply(float* dst, float value, int count) const override;
    void multiply(float* dst, float value, int count, int stride) const override;
    void multiply(float* dst, float const* src, float value, int count) const override;
    void multiply(float* dst, float const* src, float value, int count, int stride) const override;
    void multiply(float* dst, float const* src, int count) const override;
    void multiply(float* dst, float const* src, int count, int stride) const override;
    void multiply(float* dst, float const* a, float const* b, int count) const override;
    void multiply(float* dst, float const* a, float const* b, int count, int stride) const override;

    void divide(M_Vector4Array& dst, M_Vector4Array const& src,
                M_ScalarArray const& divisors) const override;
    void divide(M_Vector3Array& dst, M_Vector3Array const& src,
                M_ScalarArray const& divisors) const override;
    void divide(M_Vector2Array& dst, M_Vector2Array const& src,
                M_ScalarArray const& divisors) const override;
    void divide(float* dst, float value, int count) const override;
    void divide(float* dst, float value, int count, int stride) const override;
    void divide(float* dst, float const* src, float value, int count) const override;
    void divide(float* dst, float const* src, float value, int count, int stride) const override;
    void divide(float* dst, float const* src, int count) const override;
    void divide(float* dst, float const* src, int count, int stride) const override;
    void divide(float* dst, float const* a, float const* b, int count) const override;
    void divide(float* dst, float const* a, float const* b, int count, int stride) const override;

    void divide_lo(M_Vector4Array& dst, M_Vector4Array const& src,
                   M_ScalarArray const& divisors) const override;
    void divide_lo(M_Vector3Array& dst, M_Vector3Array const& src,
                   M_ScalarArray const& divisors) const override;
    void divide_lo(M_Vector2Array& dst, M_Vector2Array const& src,
                   M_ScalarArray const& divisors) const override;
    void divide_lo(float* dst, float value, int count) const override;
    void divide_lo(float* dst, float value, int count, int stride) const override;
    void divide_lo(float* dst, float const* src, float value, int count) const override;
    void divide_lo(float* dst, float const* src, float value, int count, int stride) const override;
    void divide_lo(float* dst, float const* src, int count) const override;
    void divide_lo(float* dst, float const* src, int count, int stride) const override;
    void divide_lo(float* dst, float const* a, float const* b, int count) const override;
    void divide_lo(float* dst, float const* a, float const* b, int count,
                   int stride) const override;

    void multiply_then_add(float* dst, float const* a, float const* b, int count,
                           int stride) const override;
    void multiply_then_subtract(float* dst, float const* a, float const* b, int count,
                                int stride) const override;

    void reciprocal_0(float* dst, int count) const override;
    void reciprocal_0(float* dst, float const* src, int count) const override;
    void reciprocal_lo_0(float* dst, int count) const override;
    void reciprocal_lo_0(float* dst, float const* src, int count) const override;
    void reciprocal_hi_0(float* dst, int count) const override;
    void reciprocal_hi_0(float* dst, float const* src, int count) const override;
    void sqrt(float* dst, int count) const override;
    void sqrt(float* dst, float const* src, int count) const override;
    void sqrt_lo(float* dst, int count) const override;
    void sqrt_lo(float* dst, float const* src, int count) const override;
    void sqrt_hi(float* dst, int count) const override;
    void sqrt_hi(float* dst, float const* src, int count) const override;
    void invsqrt(float* dst, int count) const override;
    void invsqrt(float* dst, float const* src, int count) const override;
    void invsqrt_lo(float* dst, int count) const override;
    void invsqrt_lo(float* dst, float const* src, int count) const override;
    void invsqrt_hi(float* dst, int count) const override;
    void invsqrt_hi(float* dst, float const* src, int count) const override;

    void negate(float* dst, int count) const override;
    void negate(float* dst, float const* src, int count) const override;
    void abs(float* dst, int count) const override;
    void abs(float* dst, float const* src, int count) const override;

    void clamp(float* dst, float low, float high, int count) const override;
    void clamp(float* dst, float const* src, float low, float high, int count) const override;
    void clampMin(float* dst, float limit, int count) const override;
    void clampMin(float* dst, float const* src, float limit, int count) const override;
    void clampMax(float* dst, float limit, int count) const override;
    void clampMax(float* dst, float const* src, float limit, int count) const override;

    void minimum(float* dst, float* a, int count) const override;
    void minimum(float* dst, float* a, float* b, int count) const override;
    void maximum(float* dst, float* a, int count) const override;
    void maximum(float* dst, float* a, float* b, int count) const override;

    void invert(M_Matrix4Template<float>& m) const override;
    void invert(M_Matrix4x3Template<float>& m) const override;
    void invert(M_Matrix3Template<float>& m) const override;
    void invert(M_Matrix2Template<float>& m) const override;

    void normalize_0(M_Vector4Array& dst, M_Vector4Array const& src) const override;
    void normalize_0(M_Vector3Array& dst, M_Vector3Array const& src) const override;
    void normalize_0(M_Vector2Array& dst, M_Vector2Array const& src) const override;
    void normalize_lo_0(M_Vector4Array& dst, M_Vector4Array const& src) const override;
    void normalize_lo_0(M_Vector3Array& dst, M_Vector3Array const& src) const override;
    void normalize_lo_0(M_Vector2Array& dst, M_Vector2Array const& src) const override;
    void normalize_hi_0(M_Vector4Array& dst, M_Vector4Array const& src) const override;
    void normalize_hi_0(M_Vector3Array& dst, M_Vector3Array const& src) const override;
    void normalize_hi_0(M_Vector2Array& dst, M_Vector2Array const& src) const override;

    void length(float* dst, M_Vector4Array const& src) const override;
    void length(float* dst, M_Vector3Array const& src) const override;
    void length(float* dst, M_Vector2Array const& src) const override;
    void length_lo(float* dst, M_Vector4Array const& src) const override;
    void length_lo(float* dst, M_Vector3Array const& src) const override;
    void length_lo(float* dst, M_Vector2Array const& src) const override;
    void length_hi(float* dst, M_Vector4Array const& src) const override;
    void length_hi(float* dst, M_Vector3Array const& src) const override;
    void length_hi(float* dst, M_Vector2Array const& src) const override;

    void vectorProduct(M_Vector3Array& dst, M_Vector3Array const& a,
                       M_Vector3Array const& b) const override;
    void dotProduct(M_ScalarArray& dst, M_Vector4Array const& a,
                    M_Vector4Array const& b) const override;
    void dotProduct(M_ScalarArray& dst, M_Vector3Array const& a,
                    M_Vector3Array const& b) const override;
    void dotProduct(M_ScalarArray& dst, M_Vector2Array const& a,
                    M_Vector2Array const& b) const override;

    void set(M_Vector4Array& array, int index,
             M_Vector4Template<float> const& value) const override;
    void set(M_Vector3Array& array, int index,
             M_Vector3Template<float> const& value) const override;
    void set(M_Vector2Array& array, int index,
             M_Vector2Template<float> const& value) const override;
    void get(M_Vector4Array const& array, M_Vector4Template<float>& value,
             int index) const override;
    void get(M_Vector3Array const& array, M_Vector3Template<float>& value,
             int index) const override;
    void get(M_Vector2Array const& array, M_Vector2Template<float>& value,
             int index) const override;

    void memcpy(void* dst, void const* src, int bytes) const override;
    void memset(void* dst, char value, int bytes) const override;

    void convertToInt(int* dst, float const* src, int count) const override;
};

#pragma GCC diagnostic pop
