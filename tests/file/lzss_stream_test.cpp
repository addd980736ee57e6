// The resumable LZSS decoder: every way of cutting the requests and the input, the ring's
// end, and input that runs out.
#include "file/file_test_access.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace {

using namespace klmfc::test;

// Decodes `code` to `size` bytes the way a compressed file stream does: reads of 1 to
// `requestMax` bytes, a read buffer of `bufferSize` bytes refilled when fewer than 4 are
// at hand, and the decoder told whether more input can come. Notes in `carried` whether a
// call ended with a match under way.
Bytes streamed(Bytes const& code, std::size_t size, int bufferSize, int requestMax, bool& carried) {
    std::mt19937 engine(91);
    K_LZSSStreamState state;
    Bytes buffer(static_cast<std::size_t>(bufferSize)), out(size);
    std::size_t taken = 0, done = 0; // code bytes moved into the buffer, bytes decoded
    int at = 0, available = 0, request = 0;
    while (done < size) {
        if (request == 0) {
            request = std::min(1 + static_cast<int>(engine() % requestMax),
                               static_cast<int>(size - done));
        }
        if (available < 4 && taken < code.size()) {
            std::memmove(buffer.data(), buffer.data() + at, static_cast<std::size_t>(available));
            std::size_t const count = std::min(buffer.size() - available, code.size() - taken);
            std::copy_n(code.begin() + taken, count, buffer.begin() + available);
            taken += count, available += static_cast<int>(count), at = 0;
        }
        int const before = available;
        bool const more = taken < code.size();
        unsigned const got =
            state.decode(buffer.data() + at, out.data() + done, request, &available, more);
        EXPECT_TRUE(available >= 0 && available <= before);
        at += before - available, done += got, request -= static_cast<int>(got);
        carried = carried || state.matchIndex <= state.matchLength;
        if (got == 0 && !more) {
            ADD_FAILURE() << "the input ran out at " << done;
            break;
        }
    }
    return out;
}

TEST(LzssStream, EveryCuttingOfRequestsAndInputGivesTheWholeBufferBytes) {
    Bytes runs(20000);
    for (std::size_t i = 0; i < runs.size(); ++i) {
        runs[i] = static_cast<unsigned char>((i / 700) % 2 == 0 ? 'z' : i % 251);
    }
    // Read buffer size and longest request.
    std::pair<int, int> const cuttings[] = {{1 << 20, 1}, {4, 1},    {4, 40},
                                            {5, 7},       {37, 300}, {1 << 16, 9000}};
    for (Bytes const& data : {textBytes(60000, 81), randomBytes(9000, 82), runs, Bytes(40, ' ')}) {
        auto* block = static_cast<unsigned char*>(
            K_File::compress(data.data(), static_cast<unsigned>(data.size())));
        Bytes const code(block + 12, block + 12 + le32(block + 8));
        releaseBlock(block);
        for (auto const& [bufferSize, requestMax] : cuttings) {
            bool carried = false;
            EXPECT_EQ(data, streamed(code, data.size(), bufferSize, requestMax, carried))
                << data.size() << " bytes, buffer of " << bufferSize << ", requests up to "
                << requestMax;
            // One byte at a time, a match goes on from one call to the next.
            EXPECT_TRUE(carried || requestMax > 1 || data.size() == 9000);
        }
    }
}

TEST(LzssStream, EightLiteralsUpToTheRingsEndWrapTheWriteIndex) {
    // Seven literals and a match of 3 or 4 blanks put the write index at 4088 or 4089; eight
    // literals then fill the ring to its end or one past it, and a match from position 0
    // reads what went there. Enough literals behind make every group one decoded whole.
    for (int blanks : {3, 4}) {
        std::string code = "7F 41 42 43 44 45 46 47 DC F" + std::to_string(blanks - 3) +
                           " FF 48 49 4A 4B 4C 4D 4E 4F FD 5A 00 00 61 62 63 64 65 66";
        std::string expected = "ABCDEFG" + std::string(blanks, ' ') + "HIJKLMNO" +
                               (blanks == 3 ? "ZZZZ" : "ZOZO") + "abcdef";
        for (int group = 0; group < 18; ++group) {
            code += " FF 30 31 32 33 34 35 36 37";
            expected += "01234567";
        }
        Bytes const codeBytes = hexBytes(code);
        K_LZSSStreamState state;
        Bytes out(expected.size());
        int left = static_cast<int>(codeBytes.size());
        EXPECT_EQ(out.size(), state.decode(codeBytes.data(), out.data(),
                                           static_cast<int>(out.size()), &left, false));
        EXPECT_EQ(Bytes(expected.begin(), expected.end()), out);
        EXPECT_EQ((4078 + static_cast<int>(expected.size())) & 0xfff, state.writeIndex);
    }
}

TEST(LzssStream, LastInputShortOfAnItemIsLeftUntaken) {
    // While more can come, decoding stops with fewer than 3 bytes at hand; at the last of
    // the input, it stops before an item that the bytes left do not hold whole.
    struct Row {
        char const* code;
        bool more;
        unsigned produced;
        int left;
    } const rows[] = {
        {"02 DC FF 41 41", true, 0, 2}, {"00 DC FF 41", false, 18, 1}, {"01", false, 0, 1},
        {"00 DC", false, 0, 2},         {"01 61 DC", false, 1, 1},     {"", false, 0, 0}};
    for (Row const& row : rows) {
        SCOPED_TRACE(row.code);
        Bytes const code = hexBytes(row.code);
        K_LZSSStreamState state;
        Bytes out(50);
        int left = static_cast<int>(code.size());
        EXPECT_EQ(row.produced, state.decode(code.data(), out.data(), 50, &left, row.more));
        EXPECT_EQ(row.left, left);
        // Asked again, it neither moves nor hangs.
        EXPECT_EQ(0u,
                  state.decode(code.data() + code.size() - left, out.data(), 50, &left, row.more));
        EXPECT_EQ(row.left, left);
    }
}

} // namespace
