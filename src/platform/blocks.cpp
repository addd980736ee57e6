#include "platform/blocks.h"

#include <cstring>

namespace klmfc::platform {

void copyForward(void* dest, void const* src, std::size_t bytes) {
#if defined(__i386__) || defined(__x86_64__)
    // The direction flag is clear at every call by the ABI: the move goes upward.
    __asm__ volatile("rep movsb" : "+D"(dest), "+S"(src), "+c"(bytes) : : "memory");
#else
    std::memcpy(dest, src, bytes);
#endif
}

} // namespace klmfc::platform
