// The maths arrays: a run of floats and three arrays of 2, 3 and 4 component vectors.
//
// An array holds memory and two sizes and nothing else. Every operation fetches the
// active driver from Sys and hands it the raw memory or the array objects; nothing
// caches the driver, so a new active driver takes effect at the next operation. Nothing
// is checked: not an index, not a size, not a pointer, and no operation resizes its
// destination. The element count of an operation is the destination's current size.
//
// Storage. Capacities are rounded up to a multiple of the driver's structure
// granularity and the memory starts on a multiple of its alignment, so the driver can
// run every kernel in whole groups of four floats. A fresh block is all zeros; a block
// that replaces a live one keeps the current elements and clears everything behind
// them. Shrinking by resize alone keeps the floats behind the new size.
//
// The vector arrays keep vectors in the driver's layout (blocks of four vectors with the
// components in planes, for the reference driver); a single vector goes in and out only
// through the driver.
#pragma once

#include "klmfc/math/types.h"

struct M_ArrayStorage;
class M_Vector2Array;
class M_Vector3Array;
class M_Vector4Array;

class M_ScalarArray {
public:
    // A zero-filled array of `size` floats rounded up to the granularity; the current
    // size is the rounded one.
    explicit M_ScalarArray(int size = 0);
    // The copy's current size is other's rounded up to the granularity.
    M_ScalarArray(M_ScalarArray const& other);
    ~M_ScalarArray();
    // The size after assignment is exactly other's; the capacity never shrinks.
    M_ScalarArray& operator=(M_ScalarArray const& other);

    // Gives the array a capacity of `size` rounded up, keeping what fits of the old
    // contents. May raise K_MemoryException_Allocation; the array is then unchanged.
    void allocate(int size);
    // Grows the capacity when `size` exceeds it; the current size becomes `size`.
    void resize(int size);
    // Takes `memory` as the array's block, `size` floats of capacity and current size.
    // The array releases it as its own: it must come from the counted path, be aligned
    // for the driver and hold `size` rounded up to a multiple of four floats.
    void setMemory(float* memory, int size);

    float* getMemory() const { return m_pfMemory; }
    int getAllocatedSize() const { return m_iAllocatedSize; }
    int getCurrentSize() const { return m_iCurrentSize; }

    float get(int index) const { return m_pfMemory[index]; }
    void set(int index, float value) { m_pfMemory[index] = value; }
    // Zeroes the current elements.
    void null();

    // ---- arithmetic; this is the destination and its current size the count ----
    // this = a op b
    void add(M_ScalarArray const& a, M_ScalarArray const& b);
    void subtract(M_ScalarArray const& a, M_ScalarArray const& b);
    void multiply(M_ScalarArray const& a, M_ScalarArray const& b);
    void divide(M_ScalarArray const& a, M_ScalarArray const& b);
    void divide_lo(M_ScalarArray const& a, M_ScalarArray const& b);
    // this = a op value; divide forms 1 / value once and multiplies. divide_lo with a
    // float is the exact divide.
    void add(M_ScalarArray const& a, float value);
    void subtract(M_ScalarArray const& a, float value);
    void multiply(M_ScalarArray const& a, float value);
    void divide(M_ScalarArray const& a, float value);
    void divide_lo(M_ScalarArray const& a, float value);
    M_ScalarArray& operator+=(M_ScalarArray const& src);
    M_ScalarArray& operator-=(M_ScalarArray const& src);
    M_ScalarArray& operator*=(M_ScalarArray const& src);
    M_ScalarArray& operator/=(M_ScalarArray const& src);
    M_ScalarArray& operator+=(float value);
    M_ScalarArray& operator-=(float value);
    M_ScalarArray& operator*=(float value);
    M_ScalarArray& operator/=(float value);

    // 1 / x, and 0 for a zero of either sign; in place or from src.
    void reciprocal_0();
    void reciprocal_lo_0();
    void reciprocal_hi_0();
    void reciprocal_0(M_ScalarArray const& src);
    void reciprocal_lo_0(M_ScalarArray const& src);
    void reciprocal_hi_0(M_ScalarArray const& src);
    // Square roots and 1 / sqrt(x) (a zero gives an infinity); in place or from src.
    void sqrt();
    void sqrt_lo();
    void sqrt_hi();
    void sqrt(M_ScalarArray const& src);
    void sqrt_lo(M_ScalarArray const& src);
    void sqrt_hi(M_ScalarArray const& src);
    void invsqrt();
    void invsqrt_lo();
    void invsqrt_hi();
    void invsqrt(M_ScalarArray const& src);
    void invsqrt_lo(M_ScalarArray const& src);
    void invsqrt_hi(M_ScalarArray const& src);
    // The sign bit flipped or cleared.
    void negate();
    void abs();
    // Below low gives low, else above high gives high (tested in that order); a NaN
    // passes through.
    void clamp(float low, float high);
    void clampMin(float limit);
    void clampMax(float limit);
    // Lane by lane; on a tie or a NaN the last operand wins (a, or b).
    void minimum(M_ScalarArray const& a);
    void maximum(M_ScalarArray const& a);
    void minimum(M_ScalarArray const& a, M_ScalarArray const& b);
    void maximum(M_ScalarArray const& a, M_ScalarArray const& b);

    // The dot products of the vectors of a and b, as many as this array's current size.
    void dotProduct(M_Vector2Array const& a, M_Vector2Array const& b);
    void dotProduct(M_Vector3Array const& a, M_Vector3Array const& b);
    void dotProduct(M_Vector4Array const& a, M_Vector4Array const& b);
    // The lengths of the vectors of v, as many as v's current size.
    void length(M_Vector2Array const& v);
    void length(M_Vector3Array const& v);
    void length(M_Vector4Array const& v);
    void length_lo(M_Vector2Array const& v);
    void length_lo(M_Vector3Array const& v);
    void length_lo(M_Vector4Array const& v);
    void length_hi(M_Vector2Array const& v);
    void length_hi(M_Vector3Array const& v);
    void length_hi(M_Vector4Array const& v);

protected:
    friend struct M_ArrayStorage;

    int m_iAllocatedSize;
    int m_iCurrentSize;
    float* m_pfMemory;
    float* m_pfAllocation;
    bool m_bOwnsMemory;
};

// The three vector arrays are one design in three sizes. Sizes count vectors. The flat
// operations treat the array as a run of floats and work on its whole blocks: every
// block that holds a current vector, lanes behind the current size included. The vector
// operations take their count from the destination and also run over whole blocks. A
// float `value` or limit applies to every component alike.
class M_Vector2Array {
public:
    explicit M_Vector2Array(int size = 0);
    // Copies vector by vector through the driver; the copy's current size is other's
    // rounded up to the granularity.
    M_Vector2Array(M_Vector2Array const& other);
    ~M_Vector2Array();
    // A flat copy of the whole blocks; the size after assignment is exactly other's.
    M_Vector2Array& operator=(M_Vector2Array const& other);

    void allocate(int size);
    void resize(int size);
    void setMemory(float* memory, int size);

    float* getMemory() const { return m_pfMemory; }
    int getAllocatedSize() const { return m_iAllocatedSize; }
    int getCurrentSize() const { return m_iCurrentSize; }

    void set(int index, M_Vector2Template<float> const& value);
    void get(M_Vector2Template<float>& value, int index) const;
    M_Vector2Template<float> get(int index) const;
    // Zeroes the current vectors, one by one through the driver.
    void null();

    // ---- per vector ----
    // Each vector times, or divided by, the float of its lane in the scalar array.
    void multiply(M_Vector2Array const& src, M_ScalarArray const& factors);
    void divide(M_Vector2Array const& src, M_ScalarArray const& divisors);
    void divide_lo(M_Vector2Array const& src, M_ScalarArray const& divisors);
    M_Vector2Array& operator*=(M_ScalarArray const& factors);
    M_Vector2Array& operator/=(M_ScalarArray const& divisors);
    // Each vector, as a row on the left, times the matrix.
    void multiply(M_Vector2Array const& src, M_Matrix2Template<float> const& m);
    M_Vector2Array& operator*=(M_Matrix2Template<float> const& m);
    // To unit length; a zero vector stays zero. In place or from src.
    void normalize_0();
    void normalize_lo_0();
    void normalize_hi_0();
    void normalize_0(M_Vector2Array const& src);
    void normalize_lo_0(M_Vector2Array const& src);
    void normalize_hi_0(M_Vector2Array const& src);
    // dst = the dot products, as many as dst's current size.
    static void dotProduct(M_ScalarArray& dst, M_Vector2Array const& a, M_Vector2Array const& b);
    // dst = the lengths, as many as v's current size.
    static void length(M_ScalarArray& dst, M_Vector2Array const& v);
    static void length_lo(M_ScalarArray& dst, M_Vector2Array const& v);
    static void length_hi(M_ScalarArray& dst, M_Vector2Array const& v);

    // ---- flat, on the whole blocks ----
    void add(M_Vector2Array const& a, M_Vector2Array const& b);
    void subtract(M_Vector2Array const& a, M_Vector2Array const& b);
    M_Vector2Array& operator+=(M_Vector2Array const& src);
    M_Vector2Array& operator-=(M_Vector2Array const& src);
    void multiply(M_Vector2Array const& src, float value);
    void divide(M_Vector2Array const& src, float value);
    void divide_lo(M_Vector2Array const& src, float value);
    M_Vector2Array& operator*=(float value);
    M_Vector2Array& operator/=(float value);
    void negate();
    void clamp(float low, float high);
    void clampMin(float limit);
    void clampMax(float limit);
    void minimum(M_Vector2Array const& a);
    void maximum(M_Vector2Array const& a);
    void minimum(M_Vector2Array const& a, M_Vector2Array const& b);
    void maximum(M_Vector2Array const& a, M_Vector2Array const& b);

protected:
    friend struct M_ArrayStorage;

    int m_iAllocatedSize;
    int m_iCurrentSize;
    float* m_pfMemory;
    float* m_pfAllocation;
    bool m_bOwnsMemory;
};

class M_Vector3Array {
public:
    explicit M_Vector3Array(int size = 0);
    M_Vector3Array(M_Vector3Array const& other);
    ~M_Vector3Array();
    M_Vector3Array& operator=(M_Vector3Array const& other);

    void allocate(int size);
    void resize(int size);
    void setMemory(float* memory, int size);

    float* getMemory() const { return m_pfMemory; }
    int getAllocatedSize() const { return m_iAllocatedSize; }
    int getCurrentSize() const { return m_iCurrentSize; }

    void set(int index, M_Vector3Template<float> const& value);
    void get(M_Vector3Template<float>& value, int index) const;
    M_Vector3Template<float> get(int index) const;
    // Zeroes the current vectors, one by one through the driver.
    void null();

    // ---- per vector ----
    // Each vector times, or divided by, the float of its lane in the scalar array.
    void multiply(M_Vector3Array const& src, M_ScalarArray const& factors);
    void divide(M_Vector3Array const& src, M_ScalarArray const& divisors);
    void divide_lo(M_Vector3Array const& src, M_ScalarArray const& divisors);
    M_Vector3Array& operator*=(M_ScalarArray const& factors);
    M_Vector3Array& operator/=(M_ScalarArray const& divisors);
    // Each vector, as a row on the left, times the matrix.
    void multiply(M_Vector3Array const& src, M_Matrix3Template<float> const& m);
    M_Vector3Array& operator*=(M_Matrix3Template<float> const& m);
    void multiply(M_Vector3Array const& src, M_Matrix4x3Template<float> const& m);
    M_Vector3Array& operator*=(M_Matrix4x3Template<float> const& m);
    // To unit length; a zero vector stays zero. In place or from src.
    void normalize_0();
    void normalize_lo_0();
    void normalize_hi_0();
    void normalize_0(M_Vector3Array const& src);
    void normalize_lo_0(M_Vector3Array const& src);
    void normalize_hi_0(M_Vector3Array const& src);
    // this = a cross b; this must be neither a nor b.
    void vectorProduct(M_Vector3Array const& a, M_Vector3Array const& b);
    // dst = the dot products, as many as dst's current size.
    static void dotProduct(M_ScalarArray& dst, M_Vector3Array const& a, M_Vector3Array const& b);
    // dst = the lengths, as many as v's current size.
    static void length(M_ScalarArray& dst, M_Vector3Array const& v);
    static void length_lo(M_ScalarArray& dst, M_Vector3Array const& v);
    static void length_hi(M_ScalarArray& dst, M_Vector3Array const& v);

    // ---- flat, on the whole blocks ----
    void add(M_Vector3Array const& a, M_Vector3Array const& b);
    void subtract(M_Vector3Array const& a, M_Vector3Array const& b);
    M_Vector3Array& operator+=(M_Vector3Array const& src);
    M_Vector3Array& operator-=(M_Vector3Array const& src);
    void multiply(M_Vector3Array const& src, float value);
    void divide(M_Vector3Array const& src, float value);
    void divide_lo(M_Vector3Array const& src, float value);
    M_Vector3Array& operator*=(float value);
    M_Vector3Array& operator/=(float value);
    void negate();
    void clamp(float low, float high);
    void clampMin(float limit);
    void clampMax(float limit);
    void minimum(M_Vector3Array const& a);
    void maximum(M_Vector3Array const& a);
    void minimum(M_Vector3Array const& a, M_Vector3Array const& b);
    void maximum(M_Vector3Array const& a, M_Vector3Array const& b);

protected:
    friend struct M_ArrayStorage;

    int m_iAllocatedSize;
    int m_iCurrentSize;
    float* m_pfMemory;
    float* m_pfAllocation;
    bool m_bOwnsMemory;
};

class M_Vector4Array {
public:
    explicit M_Vector4Array(int size = 0);
    M_Vector4Array(M_Vector4Array const& other);
    ~M_Vector4Array();
    M_Vector4Array& operator=(M_Vector4Array const& other);

    void allocate(int size);
    void resize(int size);
    void setMemory(float* memory, int size);

    float* getMemory() const { return m_pfMemory; }
    int getAllocatedSize() const { return m_iAllocatedSize; }
    int getCurrentSize() const { return m_iCurrentSize; }

    void set(int index, M_Vector4Template<float> const& value);
    void get(M_Vector4Template<float>& value, int index) const;
    M_Vector4Template<float> get(int index) const;
    // Zeroes the current vectors, one by one through the driver.
    void null();

    // ---- per vector ----
    // Each vector times, or divided by, the float of its lane in the scalar array.
    void multiply(M_Vector4Array const& src, M_ScalarArray const& factors);
    void divide(M_Vector4Array const& src, M_ScalarArray const& divisors);
    void divide_lo(M_Vector4Array const& src, M_ScalarArray const& divisors);
    M_Vector4Array& operator*=(M_ScalarArray const& factors);
    M_Vector4Array& operator/=(M_ScalarArray const& divisors);
    // Each vector, as a row on the left, times the matrix.
    void multiply(M_Vector4Array const& src, M_Matrix4Template<float> const& m);
    M_Vector4Array& operator*=(M_Matrix4Template<float> const& m);
    // To unit length; a zero vector stays zero. In place or from src.
    void normalize_0();
    void normalize_lo_0();
    void normalize_hi_0();
    void normalize_0(M_Vector4Array const& src);
    void normalize_lo_0(M_Vector4Array const& src);
    void normalize_hi_0(M_Vector4Array const& src);
    // dst = the dot products, as many as dst's current size.
    static void dotProduct(M_ScalarArray& dst, M_Vector4Array const& a, M_Vector4Array const& b);
    // dst = the lengths, as many as v's current size.
    static void length(M_ScalarArray& dst, M_Vector4Array const& v);
    static void length_lo(M_ScalarArray& dst, M_Vector4Array const& v);
    static void length_hi(M_ScalarArray& dst, M_Vector4Array const& v);

    // ---- flat, on the whole blocks ----
    void add(M_Vector4Array const& a, M_Vector4Array const& b);
    void subtract(M_Vector4Array const& a, M_Vector4Array const& b);
    M_Vector4Array& operator+=(M_Vector4Array const& src);
    M_Vector4Array& operator-=(M_Vector4Array const& src);
    void multiply(M_Vector4Array const& src, float value);
    void divide(M_Vector4Array const& src, float value);
    void divide_lo(M_Vector4Array const& src, float value);
    M_Vector4Array& operator*=(float value);
    M_Vector4Array& operator/=(float value);
    void negate();
    void clamp(float low, float high);
    void clampMin(float limit);
    void clampMax(float limit);
    void minimum(M_Vector4Array const& a);
    void maximum(M_Vector4Array const& a);
    void minimum(M_Vector4Array const& a, M_Vector4Array const& b);
    void maximum(M_Vector4Array const& a, M_Vector4Array const& b);

protected:
    friend struct M_ArrayStorage;

    int m_iAllocatedSize;
    int m_iCurrentSize;
    float* m_pfMemory;
    float* m_pfAllocation;
    bool m_bOwnsMemory;
};
