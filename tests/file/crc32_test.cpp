// CRC32: the standard check values, and the result of the bit-by-bit definition for
// every length and alignment.
#include "file/crc32.h"
#include "file/file_test_access.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using klmfc::test::Bytes;
using klmfc::test::bytesOf;
using klmfc::test::randomBytes;

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

TEST(Crc32, GivesTheStandardCheckValues) {
    Bytes counting(1024);
    for (std::size_t i = 0; i < counting.size(); ++i) {
        counting[i] = static_cast<unsigned char>(i);
    }
    struct Row {
        char const* name;
        Bytes data;
        unsigned int crc;
    };
    Row const rows[] = {
        {"the nine digits", bytesOf("123456789"), 0xCBF43926u},
        {"a", bytesOf("a"), 0xE8B7BE43u},
        {"abc", bytesOf("abc"), 0x352441C2u},
        {"the quick brown fox", bytesOf("The quick brown fox jumps over the lazy dog"),
         0x414FA339u},
        {"32 zero bytes", Bytes(32, 0x00), 0x190A55ADu},
        {"32 bytes of 0xFF", Bytes(32, 0xff), 0xFF6CAB0Bu},
        {"0 to 31", Bytes(counting.begin(), counting.begin() + 32), 0x91267E8Au},
        {"0 to 255 four times", counting, 0xB70B4C26u},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.crc, K_File::CRC32(row.data.data(), static_cast<unsigned>(row.data.size())));
    }
}

TEST(Crc32, NoBytesGiveZeroWithoutReadingData) {
    EXPECT_EQ(0u, K_File::CRC32(nullptr, 0));
    unsigned char const one = 0x41;
    EXPECT_EQ(0u, K_File::CRC32(&one, 0));
}

TEST(Crc32, AgreesWithTheBitwiseDefinitionAtEveryLengthAndAlignment) {
    // Sizes across the 16-byte steps and their tails, from every start within 16 bytes;
    // each run is copied to a vector of its own size so that a read past it is caught.
    Bytes const source = randomBytes(1200 + 16, 111);
    for (std::size_t offset = 0; offset < 16; ++offset) {
        for (std::size_t size = 0; size <= 1200; size += size < 80 ? 1 : 37) {
            Bytes const run(source.begin() + offset, source.begin() + offset + size);
            std::uint32_t const expected = bitwiseCrc(run.data(), size);
            ASSERT_EQ(expected, K_File::CRC32(run.data(), static_cast<unsigned>(size)))
                << "size " << size << ", offset " << offset;
            // The tables alone, which serve processors without carry-less multiplication.
            ASSERT_EQ(expected, klmfc::crc32::withTables(run.data(), size))
                << "size " << size << ", offset " << offset;
        }
    }
    Bytes const big = randomBytes(1 << 20, 112);
    EXPECT_EQ(bitwiseCrc(big.data(), big.size()), K_File::CRC32(big.data(), 1u << 20));
    EXPECT_EQ(bitwiseCrc(big.data(), big.size()), klmfc::crc32::withTables(big.data(), 1u << 20));
}

} // namespace
