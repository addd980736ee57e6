// Scrambling: the generator's sequence, the per-byte rule at fixed points, the "KC->"
// container byte for byte, and containers that are not what they say.
#include "file/file_test_access.h"
#include "file/scramble.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using klmfc::test::Bytes;
using klmfc::test::hexBytes;
using klmfc::test::le32;
using klmfc::test::putLE32;
using klmfc::test::randomBytes;
using klmfc::test::releaseBlock;

Bytes decryptWithSeed(Bytes data, int seed) {
    K_FileTestAccess::decryptWithSeed(data.data(), static_cast<int>(data.size()), seed);
    return data;
}

// The container that encrypt gives, in a vector of exactly its size.
Bytes encrypted(Bytes const& data) {
    auto* block = static_cast<unsigned char*>(
        K_File::encrypt(data.data(), static_cast<unsigned>(data.size())));
    Bytes out(block, block + 16 + data.size());
    releaseBlock(block);
    return out;
}

Bytes decrypted(Bytes const& container) {
    auto* block = static_cast<unsigned char*>(K_File::decrypt(container.data()));
    Bytes out(block, block + le32(container.data() + 4));
    releaseBlock(block);
    return out;
}

Bytes kcContainer(Bytes const& stored, std::int32_t seed) {
    Bytes out(16 + stored.size());
    std::memcpy(out.data(), "KC->", 4);
    putLE32(out.data() + 4, static_cast<std::uint32_t>(stored.size()));
    putLE32(out.data() + 8, static_cast<std::uint32_t>(stored.size() + 16));
    putLE32(out.data() + 12, static_cast<std::uint32_t>(seed));
    std::copy(stored.begin(), stored.end(), out.begin() + 16);
    return out;
}

TEST(ScrambleGenerator, FollowsWichmannHillButStaysNegative) {
    std::int32_t seed = 1;
    for (std::int32_t expected : {171, 29241, 5826, 27638, 4134, 10727}) {
        seed = klmfc::scramble::step(seed);
        EXPECT_EQ(expected, seed);
    }
    struct Row {
        std::int32_t from;
        std::int32_t to;
    };
    Row const rows[] = {
        {177, -2},
        {-2, -342},
        {-342, -28213},
        {0, 0},
        {30269, 0},
        // Wraps at 32 bits: 0x7fffffff * 171 - 12132675 * 30269 modulo 2 to the 32.
        {0x7fffffff, static_cast<std::int32_t>(0x7fffffffu * 171u - 12132675u * 30269u)},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(row.to, klmfc::scramble::step(row.from)) << row.from;
    }
}

TEST(ScrambleBytes, DescramblingGivesTheRulesBytes) {
    struct Row {
        char const* name;
        int seed;
        char const* stored;
        char const* plain;
    };
    Row const rows[] = {
        // Zeros: the XOR values 18, 24, 30, ... plus the low bytes of 171, 29241, 5826, ...
        {"zeros from seed 1", 1, "00 00 00 00 00 00", "BD 51 E0 1A 50 17"},
        // 0x81 rotated left by 0 to 4, then the XOR, then the generator.
        {"rotations", 1, "81 81 81 81 81", "3E 54 DA 1E 58"},
        // -2 steps to -342 (low byte 0xAA), then -28213 (0xCB).
        {"negative seed", -2, "00 00", "BC E3"},
        {"seed 0 is seed 1", 0, "00 00 00 00 00 00", "BD 51 E0 1A 50 17"},
        {"nothing", 5, "", ""},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(hexBytes(row.plain), decryptWithSeed(hexBytes(row.stored), row.seed));
    }

    // A negative size does nothing.
    unsigned char byte = 0x5A;
    K_FileTestAccess::decryptWithSeed(&byte, -3, 1);
    EXPECT_EQ(0x5A, byte);
}

TEST(ScrambleBytes, RotationAndXorAtFixedPointsOfTheRun) {
    // Before the generator's byte is added, stored byte b at index i reads
    // rotl(b, i mod 5) ^ ((i + 3) * 6 & 0xff).
    struct Row {
        int index;
        unsigned char stored;
        unsigned char beforeAdd;
    };
    Row const rows[] = {
        {0, 0x00, 18},     // rotation 0, XOR 18
        {3, 0x01, 0x2C},   // 0x08 ^ 0x24
        {4, 0x80, 0x22},   // 0x08 ^ 0x2A
        {5, 0x80, 0xB0},   // rotations repeat every 5: 0x80 ^ 0x30
        {253, 0x00, 0},    // (253 + 3) * 6 = 1536: XOR 0
        {381, 0x00, 0},    // XOR values repeat every 128
        {254, 0x01, 0x16}, // rotation 4: 0x10 ^ 0x06
    };
    int const seed = 12345;
    std::vector<std::int32_t> seeds; // the generator after each byte
    std::int32_t s = seed;
    for (int i = 0; i < 400; ++i) {
        seeds.push_back(s = klmfc::scramble::step(s));
    }
    for (Row const& row : rows) {
        SCOPED_TRACE(row.index);
        Bytes stored(400, 0);
        stored[static_cast<std::size_t>(row.index)] = row.stored;
        Bytes const plain = decryptWithSeed(stored, seed);
        auto const expected =
            static_cast<unsigned char>(row.beforeAdd + static_cast<unsigned>(seeds[row.index]));
        EXPECT_EQ(expected, plain[static_cast<std::size_t>(row.index)]);
    }
}

TEST(ScrambleContainer, EncryptWritesTheHeaderAndASeedFromRand) {
    Bytes const data = hexBytes("00 01 02 03 04 05 06 07 08 09");
    std::srand(4242);
    auto const expectedSeed = static_cast<std::uint32_t>(std::rand()) * 0x20004u;
    std::srand(4242);
    Bytes const c = encrypted(data);
    ASSERT_EQ(26u, c.size());
    EXPECT_EQ(0, std::memcmp(c.data(), "KC->", 4));
    EXPECT_EQ(10u, le32(c.data() + 4));
    EXPECT_EQ(26u, le32(c.data() + 8));
    EXPECT_EQ(expectedSeed, le32(c.data() + 12));
    EXPECT_STREQ("KC->", K_File::CRYPTHEADER);
    // The stored bytes are what descrambling from that seed turns back into the data
    // (the seed is not 0, so decryptWithSeed reads it as it is).
    ASSERT_NE(0u, expectedSeed);
    EXPECT_EQ(data,
              decryptWithSeed(Bytes(c.begin() + 16, c.end()), static_cast<int>(expectedSeed)));
    EXPECT_EQ(data, decrypted(c));
}

TEST(ScrambleContainer, SeedZeroLeavesOnlyXorAndRotation) {
    // The generator stays at 0: zeros are stored as rotr((i + 3) * 6, i mod 5).
    Bytes const c = kcContainer(hexBytes("12 0C 87 84 A2 30"), 0);
    EXPECT_EQ(Bytes(6, 0), decrypted(c));
}

TEST(ScrambleContainer, RoundTripsEverySizeAndNothing) {
    Bytes const source = randomBytes(2000, 121);
    for (std::size_t size = 0; size <= 2000; size += size < 300 ? 1 : 97) {
        Bytes const data(source.begin(), source.begin() + size);
        Bytes const c = encrypted(data);
        ASSERT_EQ(size + 16, le32(c.data() + 8));
        ASSERT_EQ(data, decrypted(c)) << size;
    }
    // No data: a 16-byte container, and an empty allocation back.
    Bytes const empty = encrypted(Bytes());
    EXPECT_EQ(0u, le32(empty.data() + 4));
    EXPECT_EQ(16u, le32(empty.data() + 8));
    void* block = K_File::decrypt("Test label", empty.data());
    EXPECT_NE(nullptr, block);
    releaseBlock(block);
}

TEST(ScrambleContainer, ContainersThatLieRaiseWithAClearMessage) {
    Bytes const good = kcContainer(hexBytes("01 02 03"), 99);
    Bytes wrongMark = good;
    wrongMark[1] = 'A';
    Bytes longer = good;
    putLE32(longer.data() + 4, 1000); // would read far past the container
    Bytes wrapped = good;
    putLE32(wrapped.data() + 4, 0xfffffff8u);
    putLE32(wrapped.data() + 8, 8u); // 0xfffffff8 + 16 in 32 bits
    struct Row {
        char const* name;
        Bytes container;
        char const* message;
    };
    Row const rows[] = {
        {"wrong mark", wrongMark, "Container \"KC->\" is corrupted: it does not start with KC->"},
        {"plain size too large", longer,
         "Container \"KC->\" is corrupted: its whole size is not the plain size plus 16"},
        {"sizes that wrap", wrapped,
         "Container \"KC->\" is corrupted: its whole size is not the plain size plus 16"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.name);
        int const news = K_Memory::getNewCount();
        try {
            releaseBlock(K_File::decrypt(row.container.data()));
            ADD_FAILURE() << "no exception";
        } catch (K_FileException_ContainerCorrupted* e) {
            EXPECT_STREQ(row.message, e->getErrorMessage());
        }
        EXPECT_EQ(news, K_Memory::getNewCount()); // refused before allocating
    }
}

} // namespace
