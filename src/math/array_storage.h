// Storage management shared by the four array classes. They have no common base but the
// same five fields, so the rules live here once, as templates over the array type.
#pragma once

#include "klmfc/core/system.h"
#include "klmfc/math/arrays.h"
#include "klmfc/math/cpudriver.h"
#include "klmfc/math/numerics.h"
#include "klmfc/memory/memory.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

// Floats per element, and where the elements in use end: a scalar array uses its
// current size exactly, a vector array every block that holds a current vector.
template <class Array> struct M_ArrayShape;

template <> struct M_ArrayShape<M_ScalarArray> {
    static constexpr int sm_iComponents = 1;
    static constexpr bool sm_bWholeBlocks = false;
};

template <> struct M_ArrayShape<M_Vector2Array> {
    using Vector = M_Vector2Template<float>;
    static constexpr int sm_iComponents = 2;
    static constexpr bool sm_bWholeBlocks = true;
};

template <> struct M_ArrayShape<M_Vector3Array> {
    using Vector = M_Vector3Template<float>;
    static constexpr int sm_iComponents = 3;
    static constexpr bool sm_bWholeBlocks = true;
};

template <> struct M_ArrayShape<M_Vector4Array> {
    using Vector = M_Vector4Template<float>;
    static constexpr int sm_iComponents = 4;
    static constexpr bool sm_bWholeBlocks = true;
};

struct M_ArrayStorage {
    // `count` rounded up to a multiple of `granularity`; 0 for no elements.
    static int roundUp(int count, int granularity) {
        if (count <= 0) {
            return 0;
        }
        return (count + granularity - 1) / granularity * granularity;
    }

    // The floats of the whole blocks of a vector array: the count of its flat operations.
    template <class Array> static int wholeBlockFloats(Array const& array, K_CPUDriver* driver) {
        return M_ArrayShape<Array>::sm_iComponents *
               roundUp(array.m_iCurrentSize, driver->getStructureGranularity());
    }

    // An empty owning array, then a block of `size` elements.
    template <class Array> static void construct(Array& array, int size) {
        array.m_iAllocatedSize = 0;
        array.m_iCurrentSize = 0;
        array.m_pfMemory = nullptr;
        array.m_pfAllocation = nullptr;
        array.m_bOwnsMemory = true;
        array.allocate(size);
    }

    // The copy takes other's current size rounded up, and that many elements of it.
    template <class Array> static void copyConstruct(Array& array, Array const& other) {
        construct(array, other.getCurrentSize());
        for (int i = 0; i < array.getCurrentSize(); ++i) {
            array.set(i, other.get(i));
        }
    }

    template <class Array> static void destroy(Array& array) {
        if (array.m_pfAllocation != nullptr && array.m_bOwnsMemory) {
            K_REALLOCATE_DELETE_implementation(array.m_pfAllocation);
        }
        array.m_pfAllocation = nullptr;
        array.m_pfMemory = nullptr;
    }

    template <class Array> static void allocate(Array& array, int size) {
        constexpr int components = M_ArrayShape<Array>::sm_iComponents;
        K_CPUDriver* driver = Sys->getCPU();
        int const granularity = driver->getStructureGranularity();
        int const alignment = driver->getMemoryAlignment();
        int const capacity =
            M_ceilToInt(static_cast<float>(size) / static_cast<float>(granularity)) * granularity;
        // The alignment in floats: room to move the start up to the next aligned address.
        int const extra = M_ceilToInt(static_cast<float>(alignment) * 0.25f);

        // Raises before any field changes, so a growing array stays as it was.
        void* block = K_CountedAllocate(static_cast<std::size_t>(capacity * components + extra) *
                                        sizeof(float));
        std::uintptr_t const address = reinterpret_cast<std::uintptr_t>(block);
        std::uintptr_t const mask = static_cast<std::uintptr_t>(alignment) - 1;
        float* const aligned = reinterpret_cast<float*>((address + mask) & ~mask);

        if (array.m_pfAllocation == nullptr) {
            array.m_pfAllocation = static_cast<float*>(block);
            array.m_pfMemory = aligned;
            array.m_iCurrentSize = capacity;
            array.null();
        } else {
            int const keep = std::min(array.m_iAllocatedSize, capacity) * components;
            if (keep > 0) {
                std::memcpy(aligned, array.m_pfMemory,
                            static_cast<std::size_t>(keep) * sizeof(float));
            }
            K_REALLOCATE_DELETE_implementation(array.m_pfAllocation);
            array.m_pfAllocation = static_cast<float*>(block);
            array.m_pfMemory = aligned;
        }

        array.m_iAllocatedSize = capacity;
        if (array.m_iCurrentSize > capacity) {
            array.m_iCurrentSize = capacity;
        }

        // Everything behind the elements in use is cleared up to the end of the capacity.
        int const inUse = M_ArrayShape<Array>::sm_bWholeBlocks
                              ? components * roundUp(array.m_iCurrentSize, granularity)
                              : array.m_iCurrentSize;
        int const end = capacity * components;
        if (inUse < end) {
            std::fill(aligned + inUse, aligned + end, 0.0f);
        }
    }

    template <class Array> static void resize(Array& array, int size) {
        if (size > array.m_iAllocatedSize) {
            array.allocate(size);
        }
        array.m_iCurrentSize = size;
    }

    template <class Array> static void setMemory(Array& array, float* memory, int size) {
        if (array.m_pfAllocation != nullptr && array.m_bOwnsMemory) {
            K_REALLOCATE_DELETE_implementation(array.m_pfAllocation);
        }
        array.m_pfMemory = memory;
        array.m_pfAllocation = memory;
        array.m_iAllocatedSize = size;
        array.m_iCurrentSize = size;
    }

    // ---- the vector arrays ----

    template <class Array> static void nullVectors(Array& array) {
        typename M_ArrayShape<Array>::Vector const zero{};
        for (int i = 0; i < array.m_iCurrentSize; ++i) {
            array.set(i, zero);
        }
    }

    // Resizes to other's current size when it differs, then copies the whole blocks as
    // a run of floats, past the driver.
    template <class Array> static void assignVectors(Array& array, Array const& other) {
        if (&array == &other) {
            return;
        }
        if (array.m_iCurrentSize != other.m_iCurrentSize) {
            array.resize(other.getCurrentSize());
        }
        int const floats = wholeBlockFloats(array, Sys->getCPU());
        if (floats > 0) {
            std::memcpy(array.m_pfMemory, other.m_pfMemory,
                        static_cast<std::size_t>(floats) * sizeof(float));
        }
    }
};
