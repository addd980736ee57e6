// The LZSS encoder on two processors: the trees of one half of the first bytes on each,
// giving the code stream of the encoder on one, byte for byte.
#pragma once

#include <cstddef>

namespace klmfc::file::lzss {

// From this many input bytes on, the work is worth a second thread.
constexpr std::size_t kTwoSidedFrom = 4096;

// True when the process may run on more than one processor.
bool twoSidedWorthIt();

// What encodeTwoSided gives when it has no memory for its copy of the input.
constexpr std::size_t kNotEncoded = ~std::size_t{0};

// Encodes `size` bytes (at least 1; `compress` hands over kTwoSidedFrom or more) from `in`
// into `code`, which has room for the worst case, and returns the length of the code stream, or
// kNotEncoded. With `secondThread` one half of the trees is worked on another thread; without, or
// when no thread can be had, the calling thread does both, block by block. Uses static state: one
// call at a time.
std::size_t encodeTwoSided(unsigned char const* in, std::size_t size, unsigned char* code,
                           bool secondThread);

} // namespace klmfc::file::lzss
