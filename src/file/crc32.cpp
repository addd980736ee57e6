// CRC-32 of ISO 3309 and IEEE 802.3: reflected, polynomial 0xEDB88320, start value and
// final XOR 0xFFFFFFFF. The bytes go through sixteen tables at a time ("slicing by 16");
// the first table is the standard byte-at-a-time table, and the result is the same.
#include "klmfc/file/file.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

struct CrcTables {
    std::uint32_t entry[16][256];
};

constexpr CrcTables makeTables() {
    CrcTables tables{};
    for (std::uint32_t n = 0; n < 256; ++n) {
        std::uint32_t c = n;
        for (int k = 0; k < 8; ++k) {
            c = (c & 1) != 0 ? 0xEDB88320u ^ (c >> 1) : c >> 1;
        }
        tables.entry[0][n] = c;
    }
    // entry[k][n]: the CRC of byte n followed by k zero bytes.
    for (int k = 1; k < 16; ++k) {
        for (std::uint32_t n = 0; n < 256; ++n) {
            std::uint32_t const previous = tables.entry[k - 1][n];
            tables.entry[k][n] = (previous >> 8) ^ tables.entry[0][previous & 0xff];
        }
    }
    return tables;
}

constexpr CrcTables kTables = makeTables();
static_assert(kTables.entry[0][1] == 0x77073096u, "standard CRC-32 table");
static_assert(kTables.entry[0][255] == 0x2D02EF8Du, "standard CRC-32 table");

std::uint32_t load32(unsigned char const* p) {
    std::uint32_t value;
    std::memcpy(&value, p, sizeof value);
    return value;
}

} // namespace

unsigned int K_File::CRC32(void const* data, unsigned int size) {
    if (size == 0) {
        return 0;
    }
    auto const& t = kTables.entry;
    auto const* p = static_cast<unsigned char const*>(data);
    std::size_t n = size;
    std::uint32_t crc = 0xffffffffu;
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    while (n >= 16) {
        std::uint32_t const a = load32(p) ^ crc;
        std::uint32_t const b = load32(p + 4);
        std::uint32_t const c = load32(p + 8);
        std::uint32_t const d = load32(p + 12);
        crc = t[15][a & 0xff] ^ t[14][(a >> 8) & 0xff] ^ t[13][(a >> 16) & 0xff] ^ t[12][a >> 24] ^
              t[11][b & 0xff] ^ t[10][(b >> 8) & 0xff] ^ t[9][(b >> 16) & 0xff] ^ t[8][b >> 24] ^
              t[7][c & 0xff] ^ t[6][(c >> 8) & 0xff] ^ t[5][(c >> 16) & 0xff] ^ t[4][c >> 24] ^
              t[3][d & 0xff] ^ t[2][(d >> 8) & 0xff] ^ t[1][(d >> 16) & 0xff] ^ t[0][d >> 24];
        p += 16;
        n -= 16;
    }
#endif
    while (n-- > 0) {
        crc = t[0][(crc ^ *p++) & 0xff] ^ (crc >> 8);
    }
    return crc ^ 0xffffffffu;
}
