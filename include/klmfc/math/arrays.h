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

    // ---- arithmetic: this = a + b, this = a + value, this += ... ----
    void add(M_ScalarArray const& a, M_ScalarArray const& b);
    void add(M_ScalarArray const& a, float value);
    M_ScalarArray& operator+=(M_ScalarArray const& src);
    M_ScalarArray& operator+=(float value);

protected:
    friend struct M_ArrayStorage;

    int m_iAllocatedSize;
    int m_iCurrentSize;
    float* m_pfMemory;
    float* m_pfAllocation;
    bool m_bOwnsMemory;
};

// The three vector arrays are one design in three sizes. Sizes count vectors. The flat
// operations work on the whole blocks: every block that holds a current vector, lanes
// behind the current size included.
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
    void null();

    // ---- flat arithmetic on the whole blocks ----
    void add(M_Vector2Array const& a, M_Vector2Array const& b);
    M_Vector2Array& operator+=(M_Vector2Array const& src);

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
    void null();

    void add(M_Vector3Array const& a, M_Vector3Array const& b);
    M_Vector3Array& operator+=(M_Vector3Array const& src);

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
    void null();

    void add(M_Vector4Array const& a, M_Vector4Array const& b);
    M_Vector4Array& operator+=(M_Vector4Array const& src);

protected:
    friend struct M_ArrayStorage;

    int m_iAllocatedSize;
    int m_iCurrentSize;
    float* m_pfMemory;
    float* m_pfAllocation;
    bool m_bOwnsMemory;
};
