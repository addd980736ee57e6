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
    // Below two huge pages a block of the C library rarely holds a whole aligned one.
    constexpr std::size_t kLarge = 4u << 20;
    if (bytes < kLarge) {
        return;
    }
#if defined(MADV_HUGEPAGE)
    static std::uintptr_t const page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    std::uintptr_t const first = (reinterpret_cast<std::uintptr_t>(block) + page - 1) & ~(page - 1);
    std::uintptr_t const end = (reinterpret_cast<std::uintptr_t>(block) + bytes) & ~(page - 1);
    // Refused where huge pages are switched off or unknown: the pages then come one at a
    // time, as without the hint. Asking for all pages at once as well (MADV_POPULATE_WRITE)
    // was tried and costs more than it saves, much more when the block is memory that the
    // C library kept and whose pages are there already.
    ::madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
#else
    (void)block;
    (void)bytes;
#endif
}

} // namespace klmfc::platform
