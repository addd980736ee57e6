#pragma once

#include "klmfc/file/file.h"
#include "klmfc/memory/memory.h"

#include <cstdint>
#include <random>
#include <string>
#include <vector>

// Reaches the private parts of K_File that the tests observe.
class K_FileTestAccess {
public:
    static void* decompressInto(void* buffer, void const* container) {
        return K_File::decompress(buffer, container);
    }
    static void decryptWithSeed(unsigned char* data, int size, int seed) {
        K_File::decryptWithSeed(data, size, seed);
    }
};

namespace klmfc::test {

using Bytes = std::vector<unsigned char>;

// Releases a block that compress, decompress, encrypt or decrypt gave.
inline void releaseBlock(void* block) {
    K_REALLOCATE_DELETE_implementation(block);
}

inline Bytes bytesOf(std::string const& text) {
    return Bytes(text.begin(), text.end());
}

// "07 61 62" -> {0x07, 0x61, 0x62}
inline Bytes hexBytes(std::string const& hex) {
    Bytes out;
    for (std::size_t i = 0; i < hex.size();) {
        if (hex[i] == ' ') {
            ++i;
            continue;
        }
        out.push_back(static_cast<unsigned char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
        i += 2;
    }
    return out;
}

inline std::uint32_t le32(unsigned char const* p) {
    return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
           static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}

inline void putLE32(unsigned char* p, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) {
        p[i] = static_cast<unsigned char>(value >> (8 * i));
    }
}

// Deterministic test data of three kinds.
inline Bytes randomBytes(std::size_t size, unsigned seed) {
    std::mt19937 engine(seed);
    Bytes out(size);
    for (auto& b : out) {
        b = static_cast<unsigned char>(engine());
    }
    return out;
}

// Words, blanks, punctuation and line feeds, with the repeats of real text.
inline Bytes textBytes(std::size_t size, unsigned seed) {
    static char const* const words[] = {
        "the",    "of",     "and",   "to",      "in",     "archive", "file",    "stream",
        "buffer", "window", "match", "literal", "script", "block",   "profile", "memory",
        "vector", "matrix", "frame", "driver",  "system", "is",      "a",       "with",
        "that",   "for",    "on",    "as",      "by",     "from",    "which",   "compressed"};
    std::mt19937 engine(seed);
    Bytes out;
    out.reserve(size + 16);
    while (out.size() < size) {
        char const* word = words[engine() % (sizeof words / sizeof words[0])];
        out.insert(out.end(), word, word + std::char_traits<char>::length(word));
        unsigned const r = engine() % 16;
        out.push_back(r == 0 ? '\n' : r == 1 ? ',' : ' ');
    }
    out.resize(size);
    return out;
}

} // namespace klmfc::test
