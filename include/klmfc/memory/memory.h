// Counted allocation: the library's dynamic memory comes from the system allocator
// through a thin layer that counts allocations and releases and turns exhaustion into
// K_MemoryException_Allocation.
#pragma once

#include "klmfc/core/exception.h"

#include <cstddef>
#include <limits>
#include <string>
#include <type_traits>

class K_MemoryException_Allocation : public K_MemoryException {
    K_EXCEPTION_CLASS_BODY(K_MemoryException_Allocation, K_MemoryException)
    K_MemoryException_Allocation();
};

// Static counters and, elsewhere, the block operations. No objects.
class K_Memory {
public:
    // How much a memory report tells; the report takes no notice of it.
    enum MemoryDumpDetail { MEMORYDUMP_SUMMARY, MEMORYDUMP_BLOCKS, MEMORYDUMP_FULL };

    // Fills `count` bytes with `value` in 32-byte blocks, from the highest block down;
    // returns `dest`. Needs Sys.
    static void* set(void* dest, char value, unsigned int count);
    // Copies `count` bytes from low addresses to high; the blocks must not overlap.
    // Returns `dest`. Needs Sys. The count is taken as a signed number.
    static void* copy(void* dest, void const* src, unsigned int count);
    // -1, 0 or 1, comparing little-endian 32-bit words as unsigned numbers, then the
    // remaining bytes: not the order of memcmp, but the same equality.
    static int compare(void const* a, void const* b, unsigned int count);
    // Writes a one-line note to the log; the arguments change nothing.
    static void dump(MemoryDumpDetail detail, bool a, bool b);

    static int getNewCount() { return sm_iNewCount; }
    static int getDeleteCount() { return sm_iDeleteCount; }
    static void resetNewDeleteCounts() {
        sm_iNewCount = 0;
        sm_iDeleteCount = 0;
    }

    static int sm_iNewCount;
    static int sm_iDeleteCount;

private:
    K_Memory() {}
    ~K_Memory() {}
    K_Memory& operator=(K_Memory const&);
};

// Counted allocation of `bytes` with plain new: counts first, then raises
// K_MemoryException_Allocation when the block could not be had.
void* K_CountedAllocate(std::size_t bytes);

// Moves a block to a new allocation of `newSize` bytes, keeping the smaller of the two
// sizes' worth of bytes. A null `old` just allocates. The block always moves.
void* K_REALLOCATE_implementation(void* old, int oldSize, int newSize);

// Counted release; a null block does nothing and is not counted.
void K_REALLOCATE_DELETE_implementation(void* block);

// Raises K_MemoryException_Allocation the library's way.
[[noreturn]] void K_RaiseAllocationFailure();

// Marks a stretch of code for memory accounting. It does nothing with the name.
class K_MemoryScope {
public:
    explicit K_MemoryScope(char const*) {}
    ~K_MemoryScope() {}

private:
    K_MemoryScope() {}
    K_MemoryScope(K_MemoryScope const&);
    K_MemoryScope& operator=(K_MemoryScope const&);
};

// The standard allocator interface over the counted paths. Stateless; all are equal.
template <class T> class K_Allocator {
public:
    using value_type = T;
    using pointer = T*;
    using const_pointer = T const*;
    using reference = T&;
    using const_reference = T const&;
    using size_type = std::size_t;
    using difference_type = std::ptrdiff_t;
    using propagate_on_container_move_assignment = std::true_type;
    using is_always_equal = std::true_type;
    template <class U> struct rebind { using other = K_Allocator<U>; };

    K_Allocator() noexcept = default;
    template <class U> K_Allocator(K_Allocator<U> const&) noexcept {}

    T* allocate(size_type n, void const* /*hint*/ = nullptr) {
        if (n > max_size()) {
            // The byte count would overflow: a failed attempt, counted like any other.
            ++K_Memory::sm_iNewCount;
            K_RaiseAllocationFailure();
        }
        return static_cast<T*>(K_CountedAllocate(n * sizeof(T)));
    }
    void deallocate(T* p, size_type) noexcept { K_REALLOCATE_DELETE_implementation(p); }
    size_type max_size() const noexcept {
        return std::numeric_limits<size_type>::max() / sizeof(T);
    }

    template <class U> bool operator==(K_Allocator<U> const&) const noexcept { return true; }
    template <class U> bool operator!=(K_Allocator<U> const&) const noexcept { return false; }
};

// The library's string.
using K_String = std::basic_string<char, std::char_traits<char>, K_Allocator<char>>;
