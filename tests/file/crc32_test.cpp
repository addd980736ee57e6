// CRC32: the standard check values, and the result of the bit-by-bit definition for
// every length and alignment.
#include "file/crc32.h"
#include "file/file_test_access.h"

#include <gtest/gtest.h>

namespace {

using namespace klmfc::test;

// The definition itself: reflected, polynomial 0xEDB88320, one bit at a time.
std::uint32_t bitwiseCrc(unsigned char const* p, std::size_t n) {
    std::uint32_t crc = 0xffffffffu;
    for (std::size_t i = 0; i < n; ++i) {
        crc ^= p[i];
        for (int k = 0; k < 8; ++k) {
            crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1)));
        }
    }
    return ~crc;
}

TEST(Crc32, GivesTheStandardCheckValuesAndZeroForNoBytes) {
    Bytes counting(1024);
    for (std::size_t i = 0; i < counting.size(); ++i) {
        counting[i] = static_cast<unsigned char>(i);
    }
    std::pair<Bytes, unsigned> const rows[] = {{bytesOf("123456789"), 0xCBF43926u},
                                               {bytesOf("a"), 0xE8B7BE43u},
                                               {Bytes(32, 0xff), 0xFF6CAB0Bu},
                                               {counting, 0xB70B4C26u}};
    for (auto const& [data, crc] : rows) {
        EXPECT_EQ(crc, K_File::CRC32(data.data(), static_cast<unsigned>(data.size())));
    }
    EXPECT_EQ(0u, K_File::CRC32(nullptr, 0));
}

TEST(Crc32, AgreesWithTheBitwiseDefinitionAtEveryLengthAndAlignment) {
    // Sizes across the 16- and 64-byte steps and their tails, from every start within 16
    // bytes; each run is a vector of its own size so that a read past it is caught.
    Bytes const source = randomBytes(1 << 20, 111);
    for (std::size_t offset = 0; offset < 16; ++offset) {
        for (std::size_t size = 0; size <= 1200; size += size < 80 ? 1 : 37) {
            Bytes const run(source.begin() + offset, source.begin() + offset + size);
            std::uint32_t const expected = bitwiseCrc(run.data(), size);
            ASSERT_EQ(expected, K_File::CRC32(run.data(), static_cast<unsigned>(size))) << size;
            // The tables alone, which serve processors without carry-less multiplication.
            ASSERT_EQ(expected, klmfc::crc32::withTables(run.data(), size)) << size;
        }
    }
    EXPECT_EQ(bitwiseCrc(source.data(), source.size()), K_File::CRC32(source.data(), 1u << 20));
    EXPECT_EQ(bitwiseCrc(source.data(), source.size()),
              klmfc::crc32::withTables(source.data(), 1u << 20));
}

} // namespace
