// The resumable LZSS decoder: its start state, every way of cutting the requests and the
// input, and input that runs out.
#include "file/file_test_access.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace {

using klmfc::test::Bytes;
using klmfc::test::hexBytes;
using klmfc::test::le32;
using klmfc::test::randomBytes;
using klmfc::test::releaseBlock;
using klmfc::test::textBytes;

struct Coded {
    char const* name;
    Bytes data;
    Bytes code; // the code stream alone, as a compressed stream reads it
};

Coded coded(char const* name, Bytes const& data) {
    auto* block = static_cast<unsigned char*>(K_File::compress(data.data(), data.size()));
    Coded out{name, data, Bytes(block + 12, block + 12 + le32(block + 8))};
    releaseBlock(block);
    return out;
}

// Feeds the code stream the way a compressed file stream does: a read buffer of
// `bufferSize` bytes, refilled when fewer than 4 are at hand and the file still holds
// input, and the decoder told whether more can come. `request` gives the size of each
// read.
struct StreamReader {
    StreamReader(Bytes const& codeStream, int size) : code(codeStream), bufferSize(size) {}

    Bytes const& code;
    int bufferSize;
    Bytes buffer = Bytes(static_cast<std::size_t>(bufferSize));
    std::size_t taken = 0; // code bytes moved into the buffer so far
    unsigned char* readPointer = buffer.data();
    int available = 0;
    bool moreData = true;
    K_LZSSStreamState state;
    bool carriedMatch = false; // a call ended with a match under way

    // Returns the bytes delivered; fewer than asked only when the input is used up.
    std::size_t read(unsigned char* out, int size) {
        std::size_t delivered = 0;
        while (size > 0) {
            if (available < 4 && moreData) {
                std::memmove(buffer.data(), readPointer, static_cast<std::size_t>(available));
                std::size_t const room = static_cast<std::size_t>(bufferSize - available);
                std::size_t count = room;
                if (code.size() - taken <= room) {
                    count = code.size() - taken;
                    moreData = false;
                }
                std::copy_n(code.begin() + static_cast<std::ptrdiff_t>(taken), count,
                            buffer.begin() + available);
                taken += count;
                available += static_cast<int>(count);
                readPointer = buffer.data();
            }
            int const before = available;
            unsigned const got = state.decode(readPointer, out, size, &available, moreData);
            EXPECT_LE(available, before);
            EXPECT_GE(available, 0);
            readPointer += before - available;
            out += got;
            delivered += got;
            size -= static_cast<int>(got);
            if (state.matchIndex <= state.matchLength) {
                carriedMatch = true;
            }
            if (got == 0 && !moreData) {
                break;
            }
        }
        return delivered;
    }
};

std::vector<Coded> const& samples() {
    static std::vector<Coded> const all = [] {
        Bytes runs(20000);
        for (std::size_t i = 0; i < runs.size(); ++i) {
            runs[i] = static_cast<unsigned char>((i / 700) % 2 == 0 ? 'z' : i % 251);
        }
        return std::vector<Coded>{coded("text", textBytes(60000, 81)),
                                  coded("random", randomBytes(9000, 82)), coded("runs", runs),
                                  coded("blanks", Bytes(40, ' '))};
    }();
    return all;
}

TEST(LzssStream, StartsBlankAtTheRingsStartIndexWithNothingUnderWay) {
    K_LZSSStreamState state;
    for (int i = 0; i < 4078; ++i) {
        ASSERT_EQ(' ', state.ring[i]) << i;
    }
    EXPECT_EQ(4078, state.writeIndex);
    EXPECT_EQ(0, state.matchPosition);
    EXPECT_EQ(0, state.matchLength);
    EXPECT_EQ(1, state.matchIndex);
    EXPECT_EQ(0u, state.flags);
}

TEST(LzssStream, EveryCuttingOfRequestsAndInputGivesTheWholeBufferBytes) {
    struct Cutting {
        char const* name;
        int bufferSize;
        std::function<int(std::mt19937&)> request;
        bool oneByte;
    };
    Cutting const cuttings[] = {
        {"one byte at a time, all input at hand", 1 << 20, [](std::mt19937&) { return 1; }, true},
        {"one byte at a time, 4-byte input buffer", 4, [](std::mt19937&) { return 1; }, true},
        {"random sizes, 4-byte input buffer", 4,
         [](std::mt19937& e) { return 1 + static_cast<int>(e() % 40); }, false},
        {"random sizes, 5-byte input buffer", 5,
         [](std::mt19937& e) { return 1 + static_cast<int>(e() % 7); }, false},
        {"random sizes, 37-byte input buffer", 37,
         [](std::mt19937& e) { return 1 + static_cast<int>(e() % 300); }, false},
        {"large reads, 64 KiB input buffer", 1 << 16,
         [](std::mt19937& e) { return 1000 + static_cast<int>(e() % 9000); }, false},
    };
    for (Cutting const& cutting : cuttings) {
        for (Coded const& sample : samples()) {
            SCOPED_TRACE(std::string(cutting.name) + ", " + sample.name);
            std::mt19937 engine(91);
            StreamReader reader(sample.code, cutting.bufferSize);
            Bytes out(sample.data.size());
            std::size_t at = 0;
            while (at < out.size()) {
                int const size =
                    std::min(cutting.request(engine), static_cast<int>(out.size() - at));
                std::size_t const got = reader.read(out.data() + at, size);
                ASSERT_EQ(static_cast<std::size_t>(size), got) << "at " << at;
                at += got;
            }
            EXPECT_EQ(sample.data, out);
            if (cutting.oneByte && std::string(sample.name) != "random") {
                EXPECT_TRUE(reader.carriedMatch); // a match went on from one call to the next
            }
        }
    }
}

TEST(LzssStream, EightLiteralsUpToTheRingsEndWrapTheWriteIndex) {
    // Ten bytes out put the write index at 4088; eight literals fill the ring to its end;
    // the next literal goes to position 0, and a match from there repeats it. Enough
    // literals behind make every group one that is decoded whole.
    std::string code = "7F 41 42 43 44 45 46 47 DC F0 FF 48 49 4A 4B 4C 4D 4E 4F FD 5A 00 00 "
                       "61 62 63 64 65 66";
    std::string expected = "ABCDEFG   HIJKLMNOZZZZabcdef";
    for (int group = 0; group < 18; ++group) {
        code += " FF 30 31 32 33 34 35 36 37";
        expected += "01234567";
    }
    Bytes const codeBytes = hexBytes(code);
    K_LZSSStreamState state;
    Bytes out(expected.size());
    int left = static_cast<int>(codeBytes.size());
    EXPECT_EQ(out.size(), state.decode(codeBytes.data(), out.data(), static_cast<int>(out.size()),
                                       &left, false));
    EXPECT_EQ(Bytes(expected.begin(), expected.end()), out);
    EXPECT_EQ(0, left);
    EXPECT_EQ((4078 + static_cast<int>(expected.size())) & 0xfff, state.writeIndex);
}

TEST(LzssStream, WhileMoreInputCanComeItStopsShortOfThreeBytes) {
    // A match of 18 under way, and two input bytes at hand: the decoder waits for more.
    Bytes const code = hexBytes("02 DC FF 41 41 41");
    K_LZSSStreamState state;
    unsigned char out[40] = {};
    int left = 6;
    EXPECT_EQ(4u, state.decode(code.data(), out, 4, &left, true));
    EXPECT_EQ(3, left);
    EXPECT_EQ(0, std::memcmp(out, "    ", 4));
    left = 2; // as if only two bytes were in the buffer now
    EXPECT_EQ(0u, state.decode(code.data() + 3, out, 10, &left, true));
    EXPECT_EQ(2, left);
    // The last of the input: the match goes on, then the literal.
    left = 3;
    EXPECT_EQ(14u, state.decode(code.data() + 3, out, 14, &left, false));
    EXPECT_EQ(Bytes(14, ' '), Bytes(out, out + 14));
    EXPECT_EQ(3, left);
    EXPECT_EQ(1u, state.decode(code.data() + 3, out, 1, &left, false));
    EXPECT_EQ('A', out[0]);
    EXPECT_EQ(2, left);
}

TEST(LzssStream, LastInputShortOfAnItemIsLeftUntaken) {
    struct Row {
        char const* name;
        char const* code;
        unsigned produced;
        int left; // of the code, untaken
    };
    Row const rows[] = {
        {"a flag byte with no literal", "01", 0, 1},
        {"a flag byte and half a match", "00 DC", 0, 2},
        {"a literal, then half a match", "01 61 DC", 1, 1},
        {"nothing", "", 0, 0},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.name);
        Bytes const code = hexBytes(row.code);
        K_LZSSStreamState state;
        Bytes out(50);
        int left = static_cast<int>(code.size());
        EXPECT_EQ(row.produced, state.decode(code.data(), out.data(), 50, &left, false));
        EXPECT_EQ(row.left, left);
        // Asked again, it neither moves nor hangs.
        EXPECT_EQ(0u, state.decode(code.data() + code.size() - left, out.data(), 50, &left, false));
        EXPECT_EQ(row.left, left);
    }
}

} // namespace
