// What the memory file tests share: the bytes of a file as hex, and a peek at the fields.
#pragma once

#include "file/file_fixture.h"
#include "klmfc/memoryfile/memoryfile.h"

#include <cstdio>
#include <string>

namespace klmfc::test {

// "0D 14 03": the bytes of a string, upper-case hex, one blank between bytes.
inline std::string hexOf(void const* data, std::size_t size) {
    std::string out;
    auto const* p = static_cast<unsigned char const*>(data);
    for (std::size_t i = 0; i < size; ++i) {
        char byte[4];
        std::snprintf(byte, sizeof byte, i == 0 ? "%02X" : " %02X", p[i]);
        out += byte;
    }
    return out;
}
inline std::string hexOf(std::string const& bytes) {
    return hexOf(bytes.data(), bytes.size());
}
inline std::string hexOf(K_MemoryFile const& file) {
    return hexOf(file.getAddress(), file.getSize());
}

struct MemoryFilePeek : K_MemoryFile {
    using K_MemoryFile::K_MemoryFile;
    unsigned int capacity() const { return m_uiCapacity; }
};

} // namespace klmfc::test
