#include "platform/blocks.h"

#include <cstdint>
#include <cstring>

#include <sys/mman.h>
#include <unistd.h>

namespace klmfc::platform {

void copyForward(void* dest, void const* src, std::size_t bytes) {
#if defined(__i386__) || defined(__x86_64__)
    // The direction flag is clear at every call by the ABI: the move goes upward.
    __asm__ volatile("rep movsb" : "+D"(dest), "+S"(src), "+c"(bytes) : : "memory");
#else
    std::memcpy(dest, src, bytes);
#endif
}

void prepareForWriting(void* block, std::size_t bytes) {
    // Below a few huge pages the pages come one at a time whatever is asked, and a
    // request costs more than it saves.
    constexpr std::size_t kLarge = 4u << 20;
    if (bytes < kLarge) {
        return;
    }
    static std::uintptr_t const page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    std::uintptr_t const first = (reinterpret_cast<std::uintptr_t>(block) + page - 1) & ~(page - 1);
    std::uintptr_t const end = (reinterpret_cast<std::uintptr_t>(block) + bytes) & ~(page - 1);
    void* const start = reinterpret_cast<void*>(first);
    // Huge pages where the system gives them on request, then all the pages at once.
    // Either request may be refused (older kernels, huge pages switched off): the pages
    // then come one fault at a time, as without the hint.
#if defined(MADV_HUGEPAGE)
    ::madvise(start, end - first, MADV_HUGEPAGE);
#endif
#if defined(MADV_POPULATE_WRITE)
    ::madvise(start, end - first, MADV_POPULATE_WRITE);
#endif
}

} // namespace klmfc::platform
