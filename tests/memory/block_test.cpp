// Block fill, copy and compare: every alignment, with guard bytes that show exactly the
// bytes touched, on both block routes; the signed counts; the word order of compare; the
// memory report.
#include "core/system_services_access.h"
#include "klmfc/memory/memory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr unsigned char kGuard = 0xA5;

// Buffers aligned to 64 bytes, so that an offset is an exact alignment.
struct alignas(64) Arena {
    unsigned char bytes[4096 + 256];
};

// Index of the first byte where `got` differs from `want`, or -1.
int firstDifference(unsigned char const* want, unsigned char const* got, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        if (want[i] != got[i]) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

// The capability bit of the wide block route, on or off for the length of a test.
class MemoryBlock : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        unsigned int const caps = Sys->getProcessorCaps() & ~K_System::CAPS_MMX;
        K_SystemServicesTestAccess::setCaps(GetParam() ? caps | K_System::CAPS_MMX : caps);
    }
    klmfc::test::SystemStateScope m_state;
};

// Around the words, the 32-byte blocks and the runs of blocks that copy hands to the
// processor's own block move (from 1 KiB on).
unsigned int const kCounts[] = {0,   1,   2,    3,    4,    5,    7,    8,    27,  28,  29,
                                31,  32,  33,   35,   36,   37,   60,   63,   64,  65,  95,
                                96,  97,  127,  128,  129,  131,  159,  160,  161, 255, 256,
                                257, 991, 1023, 1024, 1025, 1061, 2048, 2079, 4000};

TEST_P(MemoryBlock, SetWritesExactlyItsRangeAtEveryAlignment) {
    for (char const value : {char(0x5A), char(0), char(-1)}) {
        for (unsigned int offset = 0; offset < 32; ++offset) {
            for (unsigned int count : kCounts) {
                Arena arena;
                std::memset(arena.bytes, kGuard, sizeof arena.bytes);
                Arena want = arena;
                std::memset(want.bytes + 64 + offset, value, count);
                unsigned char* dest = arena.bytes + 64 + offset;
                ASSERT_EQ(dest, K_Memory::set(dest, value, count));
                ASSERT_EQ(-1, firstDifference(want.bytes, arena.bytes, sizeof arena.bytes))
                    << "value " << int(static_cast<unsigned char>(value)) << " offset " << offset
                    << " count " << count;
            }
        }
    }
}

TEST_P(MemoryBlock, CopyMovesExactlyItsRangeAtEveryAlignmentOfBoth) {
    Arena source;
    for (unsigned int i = 0; i < sizeof source.bytes; ++i) {
        source.bytes[i] = static_cast<unsigned char>(i * 7 + i / 256); // repeats nowhere near
    }
    for (unsigned int from = 0; from < 8; ++from) {
        for (unsigned int to = 0; to < 8; ++to) {
            for (unsigned int count : kCounts) {
                Arena arena;
                std::memset(arena.bytes, kGuard, sizeof arena.bytes);
                Arena want = arena;
                unsigned char* dest = arena.bytes + 64 + to;
                unsigned char const* src = source.bytes + 32 + from;
                std::memcpy(want.bytes + 64 + to, src, count);
                ASSERT_EQ(dest, K_Memory::copy(dest, src, count));
                ASSERT_EQ(-1, firstDifference(want.bytes, arena.bytes, sizeof arena.bytes))
                    << "from " << from << " to " << to << " count " << count;
            }
        }
    }
}

// The count of copy and compare is a signed number: a "negative" count makes no blocks,
// and its low bits still choose the words and bytes.
TEST_P(MemoryBlock, CountsAreTakenAsSignedNumbers) {
    struct Case {
        unsigned int count;
        unsigned int copied;
    };
    Case const cases[] = {
        {0xFFFFFFFFu, 31}, {0xFFFFFFE1u, 1}, {0xFFFFFFE4u, 4}, {0x80000000u, 0}, {0x8000003Fu, 31}};
    Arena source;
    for (unsigned int i = 0; i < sizeof source.bytes; ++i) {
        source.bytes[i] = static_cast<unsigned char>(i + 1);
    }
    for (Case const& c : cases) {
        SCOPED_TRACE(c.count);
        Arena arena;
        std::memset(arena.bytes, kGuard, sizeof arena.bytes);
        K_Memory::copy(arena.bytes + 64, source.bytes + 64, c.count);
        for (unsigned int i = 0; i < sizeof arena.bytes; ++i) {
            bool const inside = i >= 64 && i < 64 + c.copied;
            ASSERT_EQ(inside ? source.bytes[i] : kGuard, arena.bytes[i]) << "byte " << i;
        }
    }

    // Only the three bytes that the low bits of -1 name are compared.
    unsigned char const a[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    unsigned char const b[8] = {1, 2, 3, 9, 9, 9, 9, 9};
    EXPECT_EQ(0, K_Memory::compare(a, b, 0xFFFFFFFFu));
    EXPECT_EQ(0, K_Memory::compare(a, b, 0xFFFFFFFCu));
    EXPECT_EQ(-1, K_Memory::compare(a, b, 0x7FFFFFFFu)); // positive: words first
}

INSTANTIATE_TEST_SUITE_P(Routes, MemoryBlock, ::testing::Values(true, false),
                         [](::testing::TestParamInfo<bool> const& info) {
                             return info.param ? "Wide" : "EightBytes";
                         });

TEST(MemoryCompare, WordsCompareAsLittleEndianNumbersThenBytes) {
    struct Case {
        std::vector<unsigned char> a, b;
        int result;
    };
    Case const cases[] = {
        {{1, 0, 0, 0}, {0, 0, 0, 1}, -1}, // memcmp says 1: the last byte weighs most
        {{0, 0, 0, 1}, {1, 0, 0, 0}, 1},
        {{0xFF, 0, 0, 0}, {0, 1, 0, 0}, -1},
        {{0, 0, 0, 0x80}, {0xFF, 0xFF, 0xFF, 0x7F}, 1}, // unsigned words
        {{5, 5, 5, 5, 1, 0, 0, 0}, {5, 5, 5, 5, 0, 0, 0, 1}, -1},
        {{9, 0, 0, 0, 0, 0, 0, 0}, {1, 0, 0, 0, 0, 0, 0, 9}, 1}, // the first unequal word
        {{1, 2, 3, 4, 0x80}, {1, 2, 3, 4, 0x7F}, 1},             // unsigned bytes
        {{1, 2, 3, 4, 1, 2}, {1, 2, 3, 4, 1, 3}, -1},            // the tail byte by byte
        {{1, 2, 3, 4, 2, 1}, {1, 2, 3, 4, 1, 3}, 1},
        {{7, 7, 7}, {7, 7, 7}, 0},
    };
    for (Case const& c : cases) {
        EXPECT_EQ(c.result,
                  K_Memory::compare(c.a.data(), c.b.data(), static_cast<unsigned int>(c.a.size())));
    }
    EXPECT_GT(std::memcmp("\x01\0\0\0", "\0\0\0\x01", 4), 0);

    // Equal blocks are equal at every length, at every alignment.
    Arena x;
    Arena y;
    for (unsigned int i = 0; i < sizeof x.bytes; ++i) {
        x.bytes[i] = y.bytes[i] = static_cast<unsigned char>(i * 13);
    }
    for (unsigned int offset = 0; offset < 4; ++offset) {
        for (unsigned int count = 0; count <= 70; ++count) {
            EXPECT_EQ(0, K_Memory::compare(x.bytes + offset, y.bytes + offset, count));
        }
    }
    // Wherever the first difference lies, it decides, even against a later one in a more
    // significant byte.
    for (unsigned int k = 0; k < 203; ++k) {
        Arena lower = x;
        Arena higher = x;
        lower.bytes[k] = 0;
        higher.bytes[k] = 1;
        unsigned int const later = (k / 4 + 1) * 4 + 3;
        lower.bytes[later] = 0xFF;
        higher.bytes[later] = 0;
        EXPECT_EQ(-1, K_Memory::compare(lower.bytes, higher.bytes, 203)) << "byte " << k;
        EXPECT_EQ(1, K_Memory::compare(higher.bytes, lower.bytes, 203)) << "byte " << k;
    }

    // A difference just past the count is not seen.
    y.bytes[10] ^= 1;
    EXPECT_EQ(0, K_Memory::compare(x.bytes, y.bytes, 10));
    EXPECT_NE(0, K_Memory::compare(x.bytes, y.bytes, 11));
}

std::string s_logged;

TEST(MemoryDump, WritesItsNoteWhateverItIsAsked) {
    Sys->verbose("%s", ""); // the log's header, if it is not there yet, comes before
    K_System::VerboseCallback const previous =
        Sys->setVerboseCallback([](char const* text) { s_logged += text; });
    s_logged.clear();
    K_Memory::dump(K_Memory::MEMORYDUMP_SUMMARY, false, false);
    std::string const once = s_logged;
    K_Memory::dump(K_Memory::MEMORYDUMP_FULL, true, true);
    Sys->setVerboseCallback(previous);
    EXPECT_EQ("Memory dump only available in debug builds\n\n", once);
    EXPECT_EQ(once + once, s_logged);
}

} // namespace
