// Long block moves by the processor's own means.
#pragma once

#include <cstddef>

namespace klmfc::platform {

// Copies `bytes` bytes from `src` to `dest`, from low addresses to high; the two must
// not overlap. On x86 this is the processor's string move, which outruns any loop of
// register moves on long runs but costs a start-up of some cycles: worth it from about
// a kilobyte on.
void copyForward(void* dest, void const* src, std::size_t bytes);

// Tells the system that a fresh block of `bytes` bytes is about to be written from end to
// end, so that it may back a large one with huge pages and take one page fault where it
// would take 512. Only a hint: it changes no byte, and a system that does not take it
// ignores it.
void prepareForWriting(void* block, std::size_t bytes);

} // namespace klmfc::platform
