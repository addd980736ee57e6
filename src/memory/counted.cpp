#include "klmfc/memory/memory.h"

#include "platform/blocks.h"

#include <algorithm>
#include <cstring>
#include <new>

int K_Memory::sm_iNewCount = 0;
int K_Memory::sm_iDeleteCount = 0;

K_MemoryException_Allocation::K_MemoryException_Allocation() {
    setError("Out of system memory resources");
}

void K_RaiseAllocationFailure() {
    K_Raise<K_MemoryException_Allocation>();
}

void* K_CountedAllocate(std::size_t bytes) {
    void* block = ::operator new(bytes, std::nothrow);
    ++K_Memory::sm_iNewCount;
    if (block == nullptr) {
        K_RaiseAllocationFailure();
    }
    return block;
}

void* K_REALLOCATE_implementation(void* old, int oldSize, int newSize) {
    std::size_t const bytes = static_cast<std::size_t>(std::max(newSize, 0));
    void* block = K_CountedAllocate(bytes);
    // A reallocated block is filled by its owner, the copy below first: the system hears
    // of a large one before anything touches it, so that it may back it with huge pages.
    klmfc::platform::prepareForWriting(block, bytes);
    if (old == nullptr) {
        return block;
    }
    int const keep = std::min(oldSize, newSize);
    if (keep > 0) {
        std::memcpy(block, old, static_cast<std::size_t>(keep));
    }
    K_REALLOCATE_DELETE_implementation(old);
    return block;
}

void K_REALLOCATE_DELETE_implementation(void* block) {
    if (block != nullptr) {
        ::operator delete(block);
        ++K_Memory::sm_iDeleteCount;
    }
}
