// Little-endian encoding of the values that memory files put on the wire, the same bytes
// on every processor.
#pragma once

#include <cstdint>
#include <cstring>

namespace klmfc::wire {

inline void put16(unsigned char* p, std::uint16_t v) {
    p[0] = static_cast<unsigned char>(v);
    p[1] = static_cast<unsigned char>(v >> 8);
}
inline void put32(unsigned char* p, std::uint32_t v) {
    p[0] = static_cast<unsigned char>(v);
    p[1] = static_cast<unsigned char>(v >> 8);
    p[2] = static_cast<unsigned char>(v >> 16);
    p[3] = static_cast<unsigned char>(v >> 24);
}
inline void put64(unsigned char* p, std::uint64_t v) {
    put32(p, static_cast<std::uint32_t>(v));
    put32(p + 4, static_cast<std::uint32_t>(v >> 32));
}
inline std::uint16_t get16(unsigned char const* p) {
    return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}
inline std::uint32_t get32(unsigned char const* p) {
    return std::uint32_t{p[0]} | (std::uint32_t{p[1]} << 8) | (std::uint32_t{p[2]} << 16) |
           (std::uint32_t{p[3]} << 24);
}
inline std::uint64_t get64(unsigned char const* p) {
    return std::uint64_t{get32(p)} | (std::uint64_t{get32(p + 4)} << 32);
}

inline void putFloat(unsigned char* p, float f) {
    std::uint32_t bits;
    std::memcpy(&bits, &f, 4);
    put32(p, bits);
}
inline float getFloat(unsigned char const* p) {
    std::uint32_t const bits = get32(p);
    float f;
    std::memcpy(&f, &bits, 4);
    return f;
}

// `count` floats, one after the other.
inline void putFloats(unsigned char* p, float const* f, int count) {
    for (int i = 0; i < count; ++i) {
        putFloat(p + 4 * i, f[i]);
    }
}
inline void getFloats(float* f, unsigned char const* p, int count) {
    for (int i = 0; i < count; ++i) {
        f[i] = getFloat(p + 4 * i);
    }
}

} // namespace klmfc::wire
