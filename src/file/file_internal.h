// What the parts of the file manager share: the comparison of archive names, the
// lookups in sorted tables, and small guards for files and blocks.
#pragma once

#include "klmfc/file/file.h"
#include "klmfc/memory/memory.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace klmfc::file {

inline unsigned char foldCase(char c) {
    unsigned char const u = static_cast<unsigned char>(c);
    return u >= 'A' && u <= 'Z' ? static_cast<unsigned char>(u - 'A' + 'a') : u;
}

// The order of archive tables: bytes compared with ASCII letters folded to lower case.
inline int compareNoCase(char const* a, char const* b) {
    for (;; ++a, ++b) {
        unsigned char const ca = foldCase(*a);
        unsigned char const cb = foldCase(*b);
        if (ca != cb) {
            return ca < cb ? -1 : 1;
        }
        if (ca == 0) {
            return 0;
        }
    }
}

// Sorting order: without regard to case, and names equal but for case in byte order, so
// that the first of them is the one a lookup finds.
inline bool sortsBefore(char const* a, char const* b) {
    int const c = compareNoCase(a, b);
    return c != 0 ? c < 0 : std::strcmp(a, b) < 0;
}

// The first element of a sorted table whose name is not below `name`.
template <class T, class Name> T* lowerBound(T* first, int count, char const* name, Name nameOf) {
    return std::lower_bound(first, first + count, name, [&](T const& element, char const* key) {
        return compareNoCase(nameOf(element), key) < 0;
    });
}

inline char const* keyOf(K_File::K_KASFileInfo const& file) {
    return file.key;
}
inline char const* nameOf(K_File::K_KASDirInfo const& directory) {
    return directory.name;
}

// ---- the hash index of an archive -----------------------------------------------------
// Each table has a power of two of slots, at least twice the entries. A slot is two words:
// a position in the sorted table, or kEmptySlot, and the name's hash, so that a probe that
// misses touches no record.

unsigned int const kEmptySlot = 0xffffffffu;

inline std::size_t slotsFor(int count) {
    std::size_t slots = 2;
    while (slots < 2 * static_cast<std::size_t>(count)) {
        slots *= 2;
    }
    return slots;
}

// FNV-1a over the name with ASCII letters folded to lower case.
inline unsigned int hashNoCase(char const* name) {
    unsigned int hash = 2166136261u;
    for (; *name != 0; ++name) {
        hash = (hash ^ foldCase(*name)) * 16777619u;
    }
    return hash;
}

// Fills the `size` slots at `slots` with the positions of a sorted table; names equal but
// for case keep the order of the table, so the first of them is found first.
template <class T, class Name>
void buildIndex(unsigned int* slots, std::size_t size, T const* table, int count, Name nameOf) {
    std::fill(slots, slots + 2 * size, kEmptySlot);
    for (int i = 0; i < count; ++i) {
        unsigned int const hash = hashNoCase(nameOf(table[i]));
        std::size_t at = hash & (size - 1);
        while (slots[2 * at] != kEmptySlot) {
            at = (at + 1) & (size - 1);
        }
        slots[2 * at] = static_cast<unsigned int>(i);
        slots[2 * at + 1] = hash;
    }
}

// The element whose name equals `name` without regard to case, or null.
template <class T, class Name>
T* findIndexed(unsigned int const* slots, std::size_t size, T* table, char const* name,
               Name nameOf) {
    unsigned int const hash = hashNoCase(name);
    for (std::size_t at = hash & (size - 1); slots[2 * at] != kEmptySlot;
         at = (at + 1) & (size - 1)) {
        if (slots[2 * at + 1] == hash && compareNoCase(nameOf(table[slots[2 * at]]), name) == 0) {
            return &table[slots[2 * at]];
        }
    }
    return nullptr;
}

// The file and directory tables of an archive's index.
inline std::size_t indexWords(K_File::K_KASHeader const& header) {
    return 2 * (slotsFor(header.fileCount) + slotsFor(header.directoryCount));
}
inline unsigned int* fileSlots(K_File::K_KASArchive const& a) {
    return a.index;
}
inline unsigned int* directorySlots(K_File::K_KASArchive const& a) {
    return a.index + 2 * slotsFor(a.header.fileCount);
}

// Closes a file when the scope ends.
class FileGuard {
public:
    explicit FileGuard(std::FILE* file) : m_file(file) {}
    ~FileGuard() {
        if (m_file != nullptr) {
            std::fclose(m_file);
        }
    }
    FileGuard(FileGuard const&) = delete;
    FileGuard& operator=(FileGuard const&) = delete;
    std::FILE* get() const { return m_file; }

private:
    std::FILE* m_file;
};

// A counted block released when the scope ends.
class BlockGuard {
public:
    explicit BlockGuard(std::size_t size) : m_block(K_CountedAllocate(size == 0 ? 1 : size)) {}
    ~BlockGuard() { K_REALLOCATE_DELETE_implementation(m_block); }
    BlockGuard(BlockGuard const&) = delete;
    BlockGuard& operator=(BlockGuard const&) = delete;
    unsigned char* get() const { return static_cast<unsigned char*>(m_block); }

private:
    void* m_block;
};

inline unsigned int readLE32(unsigned char const* p) {
    return static_cast<unsigned int>(p[0]) | static_cast<unsigned int>(p[1]) << 8 |
           static_cast<unsigned int>(p[2]) << 16 | static_cast<unsigned int>(p[3]) << 24;
}

inline void writeLE32(unsigned char* p, unsigned int value) {
    p[0] = static_cast<unsigned char>(value);
    p[1] = static_cast<unsigned char>(value >> 8);
    p[2] = static_cast<unsigned char>(value >> 16);
    p[3] = static_cast<unsigned char>(value >> 24);
}

inline unsigned short readLE16(unsigned char const* p) {
    return static_cast<unsigned short>(p[0] | p[1] << 8);
}

// Copies at most 255 characters of `text` into a 256-byte buffer.
inline void copyName(char* out, char const* text) {
    std::size_t n = 0;
    while (n < 255 && text[n] != 0) {
        out[n] = text[n];
        ++n;
    }
    out[n] = 0;
}

} // namespace klmfc::file
