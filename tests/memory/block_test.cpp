// Block fill, copy and compare: every alignment, with guard bytes that show exactly the
// bytes touched, on both block routes; the signed counts; the word order of compare; the
// memory report.
#include "core/system_services_access.h"
#include "klmfc/memory/memory.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

// Guard bytes all round, aligned to 64 so that an offset is an exact alignment.
struct alignas(64) Arena {
    Arena() { std::memset(bytes, 0xA5, sizeof bytes); }
    bool operator==(Arena const& other) const {
        return std::memcmp(bytes, other.bytes, sizeof bytes) == 0;
    }
    unsigned char bytes[4096 + 256];
};

Arena patterned() {
    Arena arena;
    for (unsigned int i = 0; i < sizeof arena.bytes; ++i) {
        arena.bytes[i] = static_cast<unsigned char>(i * 7 + i / 256); // repeats nowhere near
    }
    return arena;
}

// Around the words, the 32-byte blocks and the runs of blocks that copy hands to the
// processor's own block move (from 1 KiB on).
unsigned int const kCounts[] = {0,   1,    2,    3,    4,    5,    7,    8,   27,  28,  29,
                                31,  32,   33,   35,   36,   37,   60,   63,  64,  65,  95,
                                96,  97,   127,  128,  129,  159,  160,  161, 255, 256, 257,
                                991, 1023, 1024, 1025, 1061, 2048, 2079, 4000};

// The capability bit of the wide block route, on or off for the length of a test.
class MemoryBlock : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        unsigned int const caps = Sys->getProcessorCaps() & ~K_System::CAPS_MMX;
        K_SystemServicesTestAccess::setCaps(GetParam() ? caps | K_System::CAPS_MMX : caps);
    }
    klmfc::test::SystemStateScope m_state;
};

TEST_P(MemoryBlock, SetAndCopyTouchExactlyTheirRangeAtEveryAlignment) {
    Arena const source = patterned();
    for (unsigned int count : kCounts) {
        for (unsigned int at = 0; at < 64; ++at) { // set: at % 32; copy: from at / 8 to at % 8
            for (char const value : {char(0x5A), char(0), char(-1)}) {
                Arena got, want;
                unsigned char* const dest = got.bytes + 64 + at % 32;
                std::memset(want.bytes + 64 + at % 32, value, count);
                ASSERT_EQ(dest, K_Memory::set(dest, value, count));
                ASSERT_TRUE(want == got) << "set at " << at % 32 << " count " << count;
            }
            Arena got, want;
            unsigned char* const dest = got.bytes + 64 + at % 8;
            std::memcpy(want.bytes + 64 + at % 8, source.bytes + 32 + at / 8, count);
            ASSERT_EQ(dest, K_Memory::copy(dest, source.bytes + 32 + at / 8, count));
            ASSERT_TRUE(want == got) << "copy at " << at << " count " << count;
        }
    }
}

// The count of copy and compare is a signed number: a "negative" count makes no blocks,
// and its low bits still choose the words and bytes.
TEST_P(MemoryBlock, CountsAreTakenAsSignedNumbers) {
    Arena const source = patterned();
    struct Case {
        unsigned int count, copied;
    };
    for (Case const c : {Case{0xFFFFFFFFu, 31}, Case{0xFFFFFFE1u, 1}, Case{0xFFFFFFE4u, 4},
                         Case{0x80000000u, 0}, Case{0x8000003Fu, 31}}) {
        Arena got, want;
        std::memcpy(want.bytes + 64, source.bytes + 64, c.copied);
        K_Memory::copy(got.bytes + 64, source.bytes + 64, c.count);
        EXPECT_TRUE(want == got) << c.count;
    }
    // Only the three bytes that the low bits of -1 name are compared.
    unsigned char const a[8] = {1, 2, 3, 4, 5, 6, 7, 8}, b[8] = {1, 2, 3, 9, 9, 9, 9, 9};
    EXPECT_EQ(0, K_Memory::compare(a, b, 0xFFFFFFFFu));
    EXPECT_EQ(0, K_Memory::compare(a, b, 0xFFFFFFFCu));
    EXPECT_EQ(-1, K_Memory::compare(a, b, 8u)); // positive: words first
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
    // clang-format off
    Case const cases[] = {
        {{1, 0, 0, 0}, {0, 0, 0, 1}, -1}, // memcmp says 1: the last byte weighs most
        {{0, 0, 0, 1}, {1, 0, 0, 0}, 1},
        {{0xFF, 0, 0, 0}, {0, 1, 0, 0}, -1},
        {{0, 0, 0, 0x80}, {0xFF, 0xFF, 0xFF, 0x7F}, 1}, // unsigned words
        {{9, 0, 0, 0, 0, 0, 0, 0}, {1, 0, 0, 0, 0, 0, 0, 9}, 1}, // the first unequal word
        {{1, 2, 3, 4, 0x80}, {1, 2, 3, 4, 0x7F}, 1}, // unsigned bytes
        {{1, 2, 3, 4, 1, 2}, {1, 2, 3, 4, 1, 3}, -1}, // the tail byte by byte
        {{1, 2, 3, 4, 2, 1}, {1, 2, 3, 4, 1, 3}, 1},
    };
    // clang-format on
    for (Case const& c : cases) {
        EXPECT_EQ(c.result, K_Memory::compare(c.a.data(), c.b.data(), unsigned(c.a.size())));
    }
    // Wherever the first difference lies, it decides, even against a later one in a more
    // significant byte; before it the blocks are equal at every length.
    Arena const x = patterned();
    for (unsigned int k = 0; k < 203; ++k) {
        Arena lower = x, higher = x;
        lower.bytes[k] = 0;
        higher.bytes[k] = 1;
        lower.bytes[(k / 4 + 1) * 4 + 3] = 0xFF;
        higher.bytes[(k / 4 + 1) * 4 + 3] = 0;
        EXPECT_EQ(-1, K_Memory::compare(lower.bytes, higher.bytes, 203)) << "byte " << k;
        EXPECT_EQ(1, K_Memory::compare(higher.bytes, lower.bytes, 203)) << "byte " << k;
        EXPECT_EQ(0, K_Memory::compare(lower.bytes, higher.bytes, k));
    }
}

TEST(MemoryDump, WritesItsNoteWhateverItIsAsked) {
    static std::string s_logged;
    Sys->verbose("%s", ""); // the log's header, if it is not there yet, comes before
    K_System::VerboseCallback const previous =
        Sys->setVerboseCallback([](char const* text) { s_logged += text; });
    s_logged.clear();
    K_Memory::dump(K_Memory::MEMORYDUMP_SUMMARY, false, false);
    K_Memory::dump(K_Memory::MEMORYDUMP_FULL, true, true);
    Sys->setVerboseCallback(previous);
    EXPECT_EQ("Memory dump only available in debug builds\n\n"
              "Memory dump only available in debug builds\n\n",
              s_logged);
}

} // namespace
