// LZSS compression: the "KA->" container byte for byte, the encoder against the classic
// tree encoder, round trips, and containers that are not what they say.
#include "file/file_test_access.h"
#include "file/lzss_parallel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

namespace {

using namespace klmfc::test;

// The container that compress gives, in a vector of exactly its size.
Bytes compressed(Bytes const& data) {
    auto* block = static_cast<unsigned char*>(
        K_File::compress(data.data(), static_cast<unsigned>(data.size())));
    Bytes out(block, block + 12 + le32(block + 8));
    releaseBlock(block);
    return out;
}

Bytes container(Bytes const& code, std::size_t size) {
    Bytes out = bytesOf("KA->........");
    putLE32(out.data() + 4, static_cast<std::uint32_t>(size));
    putLE32(out.data() + 8, static_cast<std::uint32_t>(code.size()));
    out.insert(out.end(), code.begin(), code.end());
    return out;
}

// What decompress gives; the private form, into a buffer of exactly the header's size,
// must give the same.
Bytes decompressed(Bytes const& c) {
    auto* block = static_cast<unsigned char*>(K_File::decompress(c.data()));
    Bytes out(block, block + le32(c.data() + 4));
    releaseBlock(block);
    Bytes into(out.size());
    EXPECT_EQ(into.data(), K_FileTestAccess::decompressInto(into.data(), c.data()));
    EXPECT_EQ(out, into);
    return out;
}

// The classic tree encoder of 1989, as plainly as it was first written: fresh, zeroed
// tables for every call, byte-by-byte compares. The library's encoder must give its bytes.
class ClassicEncoder {
    static constexpr int N = 4096, F = 18, NIL = N;
    std::vector<unsigned char> text = std::vector<unsigned char>(N + F - 1, 0);
    std::vector<int> lson = std::vector<int>(N + 1), rson = std::vector<int>(N + 257, NIL),
                     dad = std::vector<int>(N + 1, NIL);
    int matchPosition = 0, matchLength = 0;

    int& link(int p) { return rson[dad[p]] == p ? rson[dad[p]] : lson[dad[p]]; }

    void insert(int r) {
        int cmp = 1, p = N + 1 + text[r];
        rson[r] = lson[r] = NIL;
        matchLength = 0;
        for (;;) {
            int& child = cmp >= 0 ? rson[p] : lson[p];
            if (child == NIL) {
                child = r, dad[r] = p;
                return;
            }
            p = child;
            int i = 1;
            while (i < F && (cmp = text[r + i] - text[p + i]) == 0) {
                ++i;
            }
            if (i > matchLength && (matchPosition = p, matchLength = i) >= F) {
                break;
            }
        }
        dad[r] = dad[p], lson[r] = lson[p], rson[r] = rson[p];
        dad[lson[p]] = r, dad[rson[p]] = r, link(p) = r, dad[p] = NIL;
    }

    void erase(int p) {
        if (dad[p] == NIL) {
            return;
        }
        int q = rson[p] == NIL ? lson[p] : lson[p] == NIL ? rson[p] : NIL;
        if (q == NIL) {
            q = lson[p];
            if (rson[q] != NIL) {
                do {
                    q = rson[q];
                } while (rson[q] != NIL);
                rson[dad[q]] = lson[q], dad[lson[q]] = dad[q];
                lson[q] = lson[p], dad[lson[p]] = q;
            }
            rson[q] = rson[p], dad[rson[p]] = q;
        }
        dad[q] = dad[p], link(p) = q, dad[p] = NIL;
    }

public:
    Bytes encode(Bytes const& input) {
        Bytes out, group{0};
        std::size_t next = 0;
        int len = 0, s = 0, r = N - F, mask = 1;
        std::fill(text.begin(), text.begin() + r, ' ');
        for (; len < F && next < input.size(); ++len) {
            text[r + len] = input[next++];
        }
        for (int i = 1; i <= F; i++) {
            insert(r - i);
        }
        insert(r);
        while (len > 0) {
            matchLength = std::min(matchLength, len);
            if (matchLength <= 2) {
                matchLength = 1, group[0] |= mask, group.push_back(text[r]);
            } else {
                group.push_back(static_cast<unsigned char>(matchPosition));
                group.push_back(((matchPosition >> 4) & 0xf0) | (matchLength - 3));
            }
            if ((mask = (mask << 1) & 0xff) == 0) {
                out.insert(out.end(), group.begin(), group.end());
                group = {0}, mask = 1;
            }
            for (int i = 0, last = matchLength; i < last; ++i) {
                erase(s);
                if (next == input.size()) {
                    --len;
                } else if ((text[s] = input[next++], s < F - 1)) {
                    text[s + N] = text[s];
                }
                s = (s + 1) & (N - 1), r = (r + 1) & (N - 1);
                if (len > 0) {
                    insert(r);
                }
            }
        }
        if (group.size() > 1) {
            out.insert(out.end(), group.begin(), group.end());
        }
        return out;
    }
};

TEST(LzssContainer, CodeStreamsFollowTheRulesByteForByte) {
    struct Row {
        char const* code;
        Bytes data;
        bool encoded; // what compress gives, or only what decoding must make of it
    } const rows[] = {
        {"07 61 62 63", bytesOf("abc"), true},
        {"00 DC FF", Bytes(18, ' '), true}, // the ring's blanks: position 4060, length 18
        // A match at the ring's start index that overlaps what it writes.
        {"07 61 62 63 EE F6", bytesOf("abcabcabcabc"), true},
        {"FF 61 62 63 64 65 66 67 68", bytesOf("abcdefgh"), true},        // a full group
        {"FF 61 62 63 64 65 66 67 68 01 69", bytesOf("abcdefghi"), true}, // the ninth opens one
        {"", Bytes(), true},                                              // nothing
        {"00 F0 F0", Bytes(3, 0), false}, // positions 4078 on, not yet written, read 0
        // From 4076: two blanks, then the two bytes the match itself has just written.
        {"00 EC F1", Bytes(4, ' '), false},
        {"00 FE F2", Bytes{0, 0, ' ', ' ', ' '}, false}, // over the ring's end to its start
        {"01 78 EE FF", Bytes(19, 'x'), false}, // a literal, then a match repeating it 18 times
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.code);
        Bytes const code = hexBytes(row.code);
        if (row.encoded) {
            EXPECT_EQ(container(code, row.data.size()), compressed(row.data));
        }
        EXPECT_EQ(row.data, decompressed(container(code, row.data.size())));
        K_LZSSStreamState state; // the resumable decoder, given the whole stream at once
        Bytes out(row.data.size());
        int left = static_cast<int>(code.size());
        EXPECT_EQ(out.size(), state.decode(code.data(), out.data(), static_cast<int>(out.size()),
                                           &left, false));
        EXPECT_EQ(row.data, out);
        EXPECT_EQ(0, left);
    }
    EXPECT_STREQ("KA->", K_File::CMPHEADER);
}

TEST(LzssEncoder, GivesTheClassicTreeEncodersBytes) {
    // Short inputs: their code streams depend on the bytes behind the look-ahead, which
    // must start the same on every call whatever ran before; the last three differ when
    // those bytes start as 0x55 or as blanks.
    std::vector<Bytes> inputs = {hexBytes("61 61 61 55 20 20 61 55 20 00 20 20 61"),
                                 hexBytes("61 55 20 61 61 20 20 20"),
                                 hexBytes("20 00 61 61 20 55 55 20 20 00 20 20 00")};
    for (std::size_t size : {1u, 2u, 17u, 18u, 19u, 40u}) {
        inputs.insert(inputs.end(),
                      {textBytes(size, 3 + size), Bytes(size, 'a'), Bytes(size, ' ')});
    }
    for (std::size_t size : {4096u, 4113u, 9000u}) {
        inputs.insert(inputs.end(), {textBytes(size, 11), randomBytes(size, 12)});
    }
    Bytes mixed = textBytes(70000, 13); // with runs, many times round the ring
    for (std::size_t i = 0; i + 40 < mixed.size(); i += 1500) {
        std::fill_n(mixed.begin() + static_cast<std::ptrdiff_t>(i), 40, i % 3 ? ' ' : 0);
    }
    inputs.push_back(mixed);
    // Four symbols make deep trees and long matches; strings that come back at the
    // window's full length make the oldest string often start like the one going in.
    std::mt19937 engine(14);
    for (unsigned alphabet : {4u, 3u, 6u}) {
        Bytes echo(40000);
        for (std::size_t i = 0; i < echo.size(); ++i) {
            echo[i] = alphabet != 4 && i >= 4078 && engine() % 3 != 0
                          ? echo[i - 4078 + engine() % 2]
                          : static_cast<unsigned char>("ab \n"[engine() % alphabet]);
        }
        inputs.push_back(echo);
    }
    // One byte value only: one half of the trees has no work. Blanks outweighed by
    // another byte: the blanks in front of the input go to the second half.
    inputs.push_back(Bytes(20000, 'q'));
    inputs.push_back(textBytes(40000, 15));
    std::replace(inputs.back().begin(), inputs.back().end(), 'e', ' ');
    std::replace(inputs.back().begin(), inputs.back().end(), 'a', 'x');
    for (Bytes const& input : inputs) {
        Bytes const reference = ClassicEncoder().encode(input);
        // The library runs after other compressions that leave its tables full of
        // something else.
        for (unsigned char filler : {0x55, 0x20}) {
            compressed(Bytes(5000, filler));
            Bytes const result = compressed(input);
            ASSERT_EQ(reference, Bytes(result.begin() + 12, result.end()))
                << input.size() << " bytes after " << int(filler);
            ASSERT_EQ(input, decompressed(result));
        }
        // The encoder on two processors, whatever this machine has, and on one thread.
        if (!input.empty()) {
            for (bool secondThread : {true, false}) {
                Bytes code(input.size() * 2 + 64);
                std::size_t const length = klmfc::file::lzss::encodeTwoSided(
                    input.data(), input.size(), code.data(), secondThread);
                code.resize(length);
                ASSERT_EQ(reference, code) << input.size() << " bytes, " << secondThread;
            }
        }
    }
    // All bytes but the blank, once each: nothing to match, 9 bytes of code for each 8.
    Bytes distinct(255);
    std::iota(distinct.begin(), distinct.end(), 1);
    distinct.erase(distinct.begin() + (' ' - 1));
    EXPECT_EQ(254u + 32u, compressed(distinct).size() - 12);
}

TEST(LzssRoundTrip, EverySizeFromZeroTo5000AndOneMebibyte) {
    Bytes const text = textBytes(5000, 31), random = randomBytes(5000, 32);
    for (std::size_t size = 0; size <= 5000; ++size) {
        Bytes const& source = size % 2 == 0 ? text : random;
        Bytes const input(source.begin(), source.begin() + static_cast<std::ptrdiff_t>(size));
        ASSERT_EQ(input, decompressed(compressed(input))) << size << " bytes";
    }
    for (Bytes const& input : {randomBytes(1 << 20, 41), textBytes(1 << 20, 42)}) {
        EXPECT_EQ(input, decompressed(compressed(input)));
    }
    // Every block is counted; compress shrinks its first block to the container's size.
    K_Memory::resetNewDeleteCounts();
    void* packed = K_File::compress(text.data(), 5000);
    EXPECT_EQ(2, K_Memory::getNewCount());
    releaseBlock(K_File::decompress(packed));
    releaseBlock(packed);
    EXPECT_EQ(3, K_Memory::getNewCount());
    EXPECT_EQ(3, K_Memory::getDeleteCount());
}

TEST(LzssMalformed, ContainersThatLieRaiseWithAClearMessage) {
    Bytes const good = compressed(textBytes(2000, 51));
    std::uint32_t const size = le32(good.data() + 4), code = le32(good.data() + 8);
    auto withSize = [&](std::uint32_t newSize) {
        Bytes c = good;
        putLE32(c.data() + 4, newSize);
        return c;
    };
    Bytes wrongMark = good;
    wrongMark[2] = '=';
    // Two zero bytes more: a match where the last group has room, else a flag byte and a byte.
    Bytes trailing(good.begin() + 12, good.end());
    trailing.resize(trailing.size() + 2);
    trailing = container(trailing, size);
    std::string const early = "the code stream ends before the uncompressed size",
                      past = "the code stream runs past the uncompressed size",
                      more = "the uncompressed size is more than the code stream can give";
    std::pair<Bytes, std::string> const rows[] = {{wrongMark, "it does not start with KA->"},
                                                  {withSize(size + 1), early},
                                                  {withSize(size - 1), past},
                                                  {trailing, past},
                                                  {withSize(9 * code + 1), more},
                                                  {withSize(0xffffffffu), more}};
    for (auto const& [c, reason] : rows) {
        K_Memory::resetNewDeleteCounts();
        try {
            releaseBlock(K_File::decompress(c.data()));
            ADD_FAILURE() << "no exception: " << reason;
        } catch (K_FileException_ContainerCorrupted* e) {
            EXPECT_EQ("Container \"KA->\" is corrupted: " + reason, e->getErrorMessage());
        }
        EXPECT_EQ(K_Memory::getNewCount(), K_Memory::getDeleteCount()) << reason;
        // The private form raises the same, writing only inside a buffer of the header's
        // size (when that is small enough to have).
        Bytes out(std::min(le32(c.data() + 4), 1u << 20));
        EXPECT_THROW(K_FileTestAccess::decompressInto(out.data(), c.data()),
                     K_FileException_ContainerCorrupted*)
            << reason;
    }
}

TEST(LzssMalformed, RandomContainersStayInsideTheirBuffers) {
    // Run under the sanitizers: every buffer has exactly its size, so a read past the code
    // stream or a write past the output is caught.
    std::mt19937 engine(61);
    Bytes const valid = compressed(textBytes(600, 62));
    int decoded = 0;
    for (unsigned round = 0; round < 4000; ++round) {
        // Random code bytes, or a sound container with a few changed, and a possible size.
        Bytes c = round % 2 ? valid : container(randomBytes(engine() % 200, round), 0);
        for (int k = 0; round % 2 && k < 3; ++k) {
            c[12 + engine() % (c.size() - 12)] = static_cast<unsigned char>(engine());
        }
        if (round % 4 != 1) {
            putLE32(c.data() + 4, engine() % (9 * le32(c.data() + 8) + 1));
        }
        try {
            decompressed(c);
            ++decoded;
        } catch (K_FileException_ContainerCorrupted*) {
        }
        // The resumable decoder, as the last input or with more to come: never more than
        // asked, never past its input.
        K_LZSSStreamState state;
        Bytes const code(c.begin() + 12, c.end());
        Bytes out(le32(c.data() + 4));
        int left = static_cast<int>(code.size());
        EXPECT_LE(state.decode(code.data(), out.data(), static_cast<int>(out.size()), &left,
                               round % 3 == 0),
                  out.size());
        EXPECT_GE(left, 0);
    }
    EXPECT_GT(decoded, 0);
    EXPECT_LT(decoded, 4000);
}

} // namespace
