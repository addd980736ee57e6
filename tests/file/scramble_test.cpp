// Scrambling: the generator's sequence, the per-byte rule at fixed points, the "KC->"
// container byte for byte, and containers that are not what they say.
#include "file/file_test_access.h"
#include "file/scramble.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

using namespace klmfc::test;

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
        EXPECT_EQ(expected, seed = klmfc::scramble::step(seed));
    }
    std::pair<std::int32_t, std::int32_t> const steps[] = {
        {177, -2}, {-2, -342}, {-342, -28213}, {0, 0}, {30269, 0}};
    for (auto const& [from, to] : steps) {
        EXPECT_EQ(to, klmfc::scramble::step(from)) << from;
    }
    // Wraps at 32 bits: 0x7fffffff * 171 - 12132675 * 30269 modulo 2 to the 32.
    EXPECT_EQ(static_cast<std::int32_t>(0x7fffffffu * 171u - 12132675u * 30269u),
              klmfc::scramble::step(0x7fffffff));
}

TEST(ScrambleBytes, DescramblingGivesTheRulesBytes) {
    struct Row {
        int seed;
        char const* stored;
        char const* plain;
    } const rows[] = {
        // Zeros: the XOR values 18, 24, 30, ... plus the low bytes of 171, 29241, 5826, ...
        {1, "00 00 00 00 00 00", "BD 51 E0 1A 50 17"},
        {0, "00 00 00 00 00 00", "BD 51 E0 1A 50 17"}, // seed 0 is seed 1
        {1, "81 81 81 81 81", "3E 54 DA 1E 58"},       // 0x81 rotated left by 0 to 4
        {-2, "00 00", "BC E3"}, // -2 steps to -342 (low byte 0xAA), then -28213 (0xCB)
        {5, "", ""}};
    for (Row const& row : rows) {
        EXPECT_EQ(hexBytes(row.plain), decryptWithSeed(hexBytes(row.stored), row.seed))
            << row.plain;
    }
    unsigned char byte = 0x5A;
    K_FileTestAccess::decryptWithSeed(&byte, -3, 1); // a negative size does nothing
    EXPECT_EQ(0x5A, byte);

    // The container takes a seed of 0 as it is: the generator stays at 0, and stored byte b
    // at index i reads rotl(b, i mod 5) ^ ((i + 3) * 6 & 0xff).
    Bytes stored(400, 0);
    stored[3] = 0x01;   // 0x08 ^ 0x24
    stored[4] = 0x80;   // 0x08 ^ 0x2A
    stored[5] = 0x80;   // rotations repeat every 5: 0x80 ^ 0x30
    stored[254] = 0x01; // rotation 4: 0x10 ^ 0x06
    Bytes const plain = decrypted(kcContainer(stored, 0));
    std::pair<int, int> const points[] = {{0, 18},   {1, 24},  {3, 0x2C}, {4, 0x22},
                                          {5, 0xB0}, {253, 0}, {381, 0},  {254, 0x16}};
    for (auto const& [index, value] : points) {
        EXPECT_EQ(value, plain[static_cast<std::size_t>(index)]) << index;
    }
}

TEST(ScrambleContainer, EncryptWritesTheHeaderAndASeedFromRand) {
    Bytes const data = hexBytes("00 01 02 03 04 05 06 07 08 09");
    std::srand(4242);
    auto const expectedSeed = static_cast<std::uint32_t>(std::rand()) * 0x20004u;
    std::srand(4242);
    Bytes const c = encrypted(data);
    EXPECT_EQ(kcContainer(Bytes(c.begin() + 16, c.end()), static_cast<std::int32_t>(expectedSeed)),
              c);
    EXPECT_STREQ("KC->", K_File::CRYPTHEADER);
}

TEST(ScrambleContainer, RoundTripsEverySizeAndNothing) {
    Bytes const source = randomBytes(2000, 121);
    for (std::size_t size = 0; size <= 2000; size += size < 300 ? 1 : 97) {
        Bytes const data(source.begin(), source.begin() + static_cast<std::ptrdiff_t>(size));
        ASSERT_EQ(data, decrypted(encrypted(data))) << size;
    }
    // No data: a 16-byte container, and an empty allocation back.
    Bytes const empty = encrypted(Bytes());
    EXPECT_EQ(kcContainer(Bytes(), static_cast<std::int32_t>(le32(empty.data() + 12))), empty);
    void* block = K_File::decrypt("Test label", empty.data());
    EXPECT_NE(nullptr, block);
    releaseBlock(block);
}

TEST(ScrambleContainer, ContainersThatLieRaiseWithAClearMessage) {
    Bytes const good = kcContainer(hexBytes("01 02 03"), 99);
    Bytes wrongMark = good, longer = good, wrapped = good;
    wrongMark[1] = 'A';
    putLE32(longer.data() + 4, 1000); // would read far past the container
    putLE32(wrapped.data() + 4, 0xfffffff8u);
    putLE32(wrapped.data() + 8, 8u); // 0xfffffff8 + 16 in 32 bits
    std::string const sizes = "its whole size is not the plain size plus 16";
    std::pair<Bytes, std::string> const rows[] = {
        {wrongMark, "it does not start with KC->"}, {longer, sizes}, {wrapped, sizes}};
    for (auto const& [container, reason] : rows) {
        int const news = K_Memory::getNewCount();
        try {
            releaseBlock(K_File::decrypt(container.data()));
            ADD_FAILURE() << "no exception for " << reason;
        } catch (K_FileException_ContainerCorrupted* e) {
            EXPECT_EQ("Container \"KC->\" is corrupted: " + reason, e->getErrorMessage());
        }
        EXPECT_EQ(news, K_Memory::getNewCount());
    }
}

} // namespace
