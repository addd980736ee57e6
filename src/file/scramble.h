// The byte scrambler's rules, shared by the archive reader and the "KC->" container.
//
// A generator of one signed 32-bit seed changes before each byte: seed * 171 -
// (seed / 177) * 30269, wrapping at 32 bits, the division rounding toward zero. This is
// the first generator of Wichmann and Hill, except that a negative result stays negative.
// Byte i of a run (i from 0) is stored as: plain - (seed & 0xff), XOR ((i + 3) * 6) & 0xff,
// rotated right by i mod 5; reading undoes the three steps in reverse order.
#pragma once

#include <cstddef>
#include <cstdint>

namespace klmfc::scramble {

// One step of the generator.
inline std::int32_t step(std::int32_t seed) {
    std::uint32_t const product = static_cast<std::uint32_t>(seed) * 171u;
    std::uint32_t const fold = static_cast<std::uint32_t>(seed / 177) * 30269u;
    return static_cast<std::int32_t>(product - fold);
}

// Descrambles `size` bytes from `in` to `out` (which may be the same), byte 0 of the run
// first, starting from `seed`. Returns the seed after the last byte.
inline std::int32_t descramble(unsigned char const* in, unsigned char* out, std::size_t size,
                               std::int32_t seed) {
    unsigned rotation = 0; // i mod 5
    unsigned pattern = 18; // ((i + 3) * 6) & 0xff
    for (std::size_t i = 0; i < size; ++i) {
        unsigned b = in[i];
        b = ((b << rotation) | (b >> (8 - rotation))) & 0xff;
        b ^= pattern;
        seed = step(seed);
        out[i] = static_cast<unsigned char>(b + static_cast<unsigned>(seed));
        rotation = rotation == 4 ? 0 : rotation + 1;
        pattern = (pattern + 6) & 0xff;
    }
    return seed;
}

// The exact inverse of descramble for the same seed.
inline std::int32_t scramble(unsigned char const* in, unsigned char* out, std::size_t size,
                             std::int32_t seed) {
    unsigned rotation = 0;
    unsigned pattern = 18;
    for (std::size_t i = 0; i < size; ++i) {
        seed = step(seed);
        unsigned b = (in[i] - static_cast<unsigned>(seed)) & 0xff;
        b ^= pattern;
        b = ((b >> rotation) | (b << (8 - rotation))) & 0xff;
        out[i] = static_cast<unsigned char>(b);
        rotation = rotation == 4 ? 0 : rotation + 1;
        pattern = (pattern + 6) & 0xff;
    }
    return seed;
}

} // namespace klmfc::scramble
