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

    // The file manager's name forms, lookups and archive set.
    static std::string absolute(char const* name) {
        char out[256];
        K_File::relativeToAbsolutePath(out, name);
        return out;
    }
    static std::string disk(char const* absolute) {
        char out[256];
        K_File::absolutePathToDirStructure(out, absolute);
        return out;
    }
    static int xstricmp(char const* pattern, char const* text) {
        return K_File::xstricmp(pattern, text);
    }
    static K_File::K_KASFind searchFile(char const* name) {
        K_File::K_KASFind find;
        K_File::searchFile(&find, name);
        return find;
    }
    static K_File::K_KASFind searchDir(char const* name) {
        K_File::K_KASFind find;
        K_File::searchDir(&find, name);
        return find;
    }
    static K_DLList<K_File::K_KASArchive>* archives() { return K_File::KASArchiveList; }
    static K_DLList<K_File::K_KASArchive>* swappedArchives() { return K_File::KASArchiveListSwap; }
    // Takes the secondary directory out of use without reloading anything.
    static void forgetSecondaryPath() { K_File::sm_strSecondaryArchiveSearchPath[0] = 0; }
};

namespace klmfc::test {

using Bytes = std::vector<unsigned char>;

// Releases a block that compress, decompress, encrypt or decrypt gave.
inline void releaseBlock(void* block) {
    K_File::free(block);
}

inline Bytes bytesOf(std::string const& text) {
    return Bytes(text.begin(), text.end());
}

// "07 61 62" -> {0x07, 0x61, 0x62}
inline Bytes hexBytes(std::string const& hex) {
    Bytes out;
    for (std::size_t i = hex.find_first_not_of(' '); i < hex.size();
         i = hex.find_first_not_of(' ', i + 2)) {
        out.push_back(static_cast<unsigned char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    }
    return out;
}

inline std::uint32_t le32(unsigned char const* p) {
    return p[0] | p[1] << 8 | p[2] << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}

inline void putLE32(unsigned char* p, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) {
        p[i] = static_cast<unsigned char>(value >> (8 * i));
    }
}

inline Bytes randomBytes(std::size_t size, unsigned seed) {
    std::mt19937 engine(seed);
    Bytes out(size);
    for (auto& b : out) {
        b = static_cast<unsigned char>(engine());
    }
    return out;
}

// Words, blanks and line feeds, with the repeats of real text.
inline Bytes textBytes(std::size_t size, unsigned seed) {
    static char const* const words[] = {"the",   "of",      "and",    "to",     "in",
                                        "file",  "archive", "stream", "buffer", "window",
                                        "match", "literal", "script", "block",  "compressed",
                                        "is",    "a",       "with",   "that",   "memory"};
    std::mt19937 engine(seed);
    Bytes out;
    while (out.size() < size) {
        std::string const word = std::string(words[engine() % 20]) + (engine() % 16 ? " " : "\n");
        out.insert(out.end(), word.begin(), word.end());
    }
    out.resize(size);
    return out;
}

} // namespace klmfc::test
