// LZSS compression: the "KA->" container byte for byte, the encoder against the classic
// tree encoder, round trips, and containers that are not what they say.
#include "file/file_test_access.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <string>
#include <vector>

namespace {

using klmfc::test::Bytes;
using klmfc::test::bytesOf;
using klmfc::test::hexBytes;
using klmfc::test::le32;
using klmfc::test::putLE32;
using klmfc::test::randomBytes;
using klmfc::test::releaseBlock;
using klmfc::test::textBytes;

// The container that compress gives, copied out of the block into a vector of exactly
// its size, and the block released.
Bytes compressed(Bytes const& data) {
    auto* block = static_cast<unsigned char*>(K_File::compress(data.data(), data.size()));
    Bytes container(block, block + 12 + le32(block + 8));
    releaseBlock(block);
    return container;
}

Bytes codeStreamOf(Bytes const& container) {
    return Bytes(container.begin() + 12, container.end());
}

Bytes container(Bytes const& code, std::uint32_t size) {
    Bytes out(12 + code.size());
    std::memcpy(out.data(), "KA->", 4);
    putLE32(out.data() + 4, size);
    putLE32(out.data() + 8, static_cast<std::uint32_t>(code.size()));
    std::copy(code.begin(), code.end(), out.begin() + 12);
    return out;
}

// The public decoder's result, copied into a vector of the header's size.
Bytes decompressed(Bytes const& containerBytes) {
    std::uint32_t const size = le32(containerBytes.data() + 4);
    auto* block = static_cast<unsigned char*>(K_File::decompress(containerBytes.data()));
    Bytes out(block, block + size);
    releaseBlock(block);
    return out;
}

// The private decoder into a buffer of exactly the header's size.
Bytes decompressedInto(Bytes const& containerBytes) {
    Bytes out(le32(containerBytes.data() + 4));
    EXPECT_EQ(out.data(), K_FileTestAccess::decompressInto(out.data(), containerBytes.data()));
    return out;
}

// ---- the classic tree encoder, as plainly as it was first written --------------------
// Fresh, zeroed tables for every call, byte-by-byte compares and a group buffer of 17
// bytes: what the library's encoder must give byte for byte.
class ClassicEncoder {
    static constexpr int N = 4096, F = 18, NIL = N;
    std::vector<unsigned char> text = std::vector<unsigned char>(N + F - 1, 0);
    std::vector<int> lson = std::vector<int>(N + 1), rson = std::vector<int>(N + 257, NIL),
                     dad = std::vector<int>(N + 1, NIL);
    int matchPosition = 0, matchLength = 0;

    void insert(int r) {
        int cmp = 1, p = N + 1 + text[r];
        rson[r] = lson[r] = NIL;
        matchLength = 0;
        for (;;) {
            int& child = cmp >= 0 ? rson[p] : lson[p];
            if (child == NIL) {
                child = r;
                dad[r] = p;
                return;
            }
            p = child;
            int i = 1;
            while (i < F && (cmp = text[r + i] - text[p + i]) == 0) {
                ++i;
            }
            if (i > matchLength) {
                matchPosition = p;
                if ((matchLength = i) >= F) {
                    break;
                }
            }
        }
        dad[r] = dad[p], lson[r] = lson[p], rson[r] = rson[p];
        dad[lson[p]] = r, dad[rson[p]] = r;
        (rson[dad[p]] == p ? rson[dad[p]] : lson[dad[p]]) = r;
        dad[p] = NIL;
    }

    void erase(int p) {
        if (dad[p] == NIL) {
            return;
        }
        int q = rson[p] == NIL ? lson[p] : lson[p] == NIL ? rson[p] : NIL;
        if (q == NIL && rson[p] != NIL) {
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
        dad[q] = dad[p];
        (rson[dad[p]] == p ? rson[dad[p]] : lson[dad[p]]) = q;
        dad[p] = NIL;
    }

public:
    Bytes encode(Bytes const& input) {
        Bytes out;
        std::size_t next = 0;
        int c, len, s = 0, r = N - F, codePtr = 1;
        auto getc = [&] { return next < input.size() ? int(input[next++]) : -1; };
        unsigned char code[17] = {0}, mask = 1;
        std::fill(text.begin(), text.begin() + r, ' ');
        for (len = 0; len < F && (c = getc()) != -1; len++) {
            text[r + len] = static_cast<unsigned char>(c);
        }
        if (len == 0) {
            return out;
        }
        for (int i = 1; i <= F; i++) {
            insert(r - i);
        }
        insert(r);
        do {
            matchLength = std::min(matchLength, len);
            if (matchLength <= 2) {
                matchLength = 1;
                code[0] |= mask;
                code[codePtr++] = text[r];
            } else {
                code[codePtr++] = static_cast<unsigned char>(matchPosition);
                code[codePtr++] =
                    static_cast<unsigned char>(((matchPosition >> 4) & 0xf0) | (matchLength - 3));
            }
            if ((mask <<= 1) == 0) {
                out.insert(out.end(), code, code + codePtr);
                code[0] = 0;
                codePtr = mask = 1;
            }
            int const last = matchLength;
            int i;
            for (i = 0; i < last && (c = getc()) != -1; i++) {
                erase(s);
                text[s] = static_cast<unsigned char>(c);
                if (s < F - 1) {
                    text[s + N] = static_cast<unsigned char>(c);
                }
                s = (s + 1) & (N - 1), r = (r + 1) & (N - 1);
                insert(r);
            }
            while (i++ < last) {
                erase(s);
                s = (s + 1) & (N - 1), r = (r + 1) & (N - 1);
                if (--len) {
                    insert(r);
                }
            }
        } while (len > 0);
        if (codePtr > 1) {
            out.insert(out.end(), code, code + codePtr);
        }
        return out;
    }
};

// Bytes in which no 3-byte string comes twice and no blank stands: nothing to match,
// neither in the data nor in the blanks the ring starts with.
Bytes withoutRepeats(std::size_t size) {
    std::mt19937 engine(7);
    std::set<std::uint32_t> seen;
    Bytes out;
    while (out.size() < size) {
        auto const b = static_cast<unsigned char>(engine());
        if (b == ' ') {
            continue;
        }
        if (out.size() >= 2) {
            std::uint32_t const key = out[out.size() - 2] << 16 | out[out.size() - 1] << 8 | b;
            if (!seen.insert(key).second) {
                continue;
            }
        }
        out.push_back(b);
    }
    return out;
}

// ---- the container byte for byte --------------------------------------------------------

TEST(LzssContainer, CodeStreamsFollowTheRulesByteForByte) {
    struct Row {
        char const* name;
        Bytes input;
        char const* code;
    };
    Row const rows[] = {
        {"three literals", bytesOf("abc"), "07 61 62 63"},
        // The ring's blanks supply the whole input: position 4060, length 18.
        {"eighteen blanks", Bytes(18, ' '), "00 DC FF"},
        // A match at the ring's start index that overlaps what it writes.
        {"abc four times", bytesOf("abcabcabcabc"), "07 61 62 63 EE F6"},
        {"eight literals, a full group", bytesOf("abcdefgh"), "FF 61 62 63 64 65 66 67 68"},
        {"the ninth item opens a group", bytesOf("abcdefghi"), "FF 61 62 63 64 65 66 67 68 01 69"},
        {"nothing", Bytes(), ""},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.name);
        Bytes const result = compressed(row.input);
        ASSERT_GE(result.size(), 12u);
        EXPECT_EQ(0, std::memcmp(result.data(), "KA->", 4));
        EXPECT_EQ(row.input.size(), le32(result.data() + 4));
        EXPECT_EQ(hexBytes(row.code), codeStreamOf(result));
        EXPECT_EQ(row.input, decompressed(result));
        EXPECT_EQ(row.input, decompressedInto(result));
    }
    EXPECT_STREQ("KA->", K_File::CMPHEADER);
}

TEST(LzssContainer, HandBuiltStreamsDecodeAsTheRingSays) {
    struct Row {
        char const* name;
        char const* code;
        Bytes output;
    };
    Row const rows[] = {
        {"literals", "07 61 62 63", bytesOf("abc")},
        {"blanks of the ring", "00 DC FF", Bytes(18, ' ')},
        {"a match running into what it writes", "07 61 62 63 EE F6", bytesOf("abcabcabcabc")},
        // Positions 4078 on have not been written yet: they read 0.
        {"unwritten ring", "00 F0 F0", Bytes(3, 0)},
        // From 4076: two blanks, then the two bytes the match itself has just written.
        {"blanks carried on", "00 EC F1", Bytes(4, ' ')},
        // From 4094 over the end of the ring to its start.
        {"round the ring", "00 FE F2", Bytes{0, 0, ' ', ' ', ' '}},
        // A literal, then a match of 18 repeating it: position 4078, length 18.
        {"one byte repeated", "01 78 EE FF", Bytes(19, 'x')},
        // The last group may hold fewer items; its unused bits are 0.
        {"a short last group", "FF 31 32 33 34 35 36 37 38 01 39", bytesOf("123456789")},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.name);
        Bytes const c =
            container(hexBytes(row.code), static_cast<std::uint32_t>(row.output.size()));
        EXPECT_EQ(row.output, decompressed(c));
        EXPECT_EQ(row.output, decompressedInto(c));

        K_LZSSStreamState state;
        Bytes const code = hexBytes(row.code);
        Bytes out(row.output.size());
        int left = static_cast<int>(code.size());
        EXPECT_EQ(out.size(), state.decode(code.data(), out.data(), static_cast<int>(out.size()),
                                           &left, false));
        EXPECT_EQ(row.output, out);
        EXPECT_EQ(0, left);
    }
}

// ---- the encoder ------------------------------------------------------------------------

TEST(LzssEncoder, GivesTheClassicTreeEncodersBytes) {
    struct Row {
        char const* kind;
        Bytes input;
    };
    std::vector<Row> rows;
    // Short inputs first: their code streams depend on the bytes behind the look-ahead,
    // which must start the same on every call whatever ran before.
    for (std::size_t size : {1u, 2u, 5u, 17u, 18u, 19u, 30u, 40u}) {
        rows.push_back({"short text", textBytes(size, 3 + size)});
        rows.push_back({"short runs", Bytes(size, 'a')});
        rows.push_back({"short blanks", Bytes(size, ' ')});
    }
    // Inputs whose code streams differ when those bytes start as 0x55 or as blanks.
    rows.push_back({"short, behind it counts", hexBytes("61 61 61 55 20 20 61 55 20 00 20 20 61")});
    rows.push_back({"short, behind it counts", hexBytes("61 55 20 61 61 20 20 20")});
    rows.push_back({"short, behind it counts", hexBytes("20 00 61 61 20 55 55 20 20 00 20 20 00")});
    for (std::size_t size : {100u, 4077u, 4078u, 4096u, 4097u, 4113u, 9000u}) {
        rows.push_back({"text", textBytes(size, 11)});
        rows.push_back({"random", randomBytes(size, 12)});
    }
    Bytes mixed = textBytes(70000, 13);
    for (std::size_t i = 0; i < mixed.size(); i += 1500) {
        std::fill_n(mixed.begin() + i, std::min<std::size_t>(40, mixed.size() - i),
                    i % 3 ? ' ' : 0);
    }
    rows.push_back({"text with runs, many times round the ring", mixed});
    Bytes few(50000);
    std::mt19937 engine(14);
    for (auto& b : few) {
        b = static_cast<unsigned char>("ab \n"[engine() % 4]); // deep trees, long matches
    }
    rows.push_back({"four symbols", few});
    // Strings that come back at the window's full length: the oldest string in the window
    // often starts like the one that goes in.
    for (unsigned alphabet : {3u, 6u}) {
        Bytes echo(20000);
        for (std::size_t i = 0; i < echo.size(); ++i) {
            echo[i] = i >= 4078 && engine() % 3 != 0
                          ? echo[i - 4078 + engine() % 2]
                          : static_cast<unsigned char>('a' + engine() % alphabet);
        }
        rows.push_back({"echoes at the window's length", echo});
    }

    for (Row const& row : rows) {
        SCOPED_TRACE(std::string(row.kind) + ", " + std::to_string(row.input.size()) + " bytes");
        Bytes const reference = ClassicEncoder().encode(row.input);
        // The reference starts fresh each time; the library runs after other compressions
        // that leave its tables full of something else.
        for (unsigned char filler : {0x55, 0x20}) {
            compressed(Bytes(5000, filler));
            Bytes const result = compressed(row.input);
            ASSERT_EQ(reference, codeStreamOf(result));
            ASSERT_EQ(row.input, decompressed(result));
        }
    }
}

TEST(LzssEncoder, DataWithNothingToMatchCostsNineBytesForEight) {
    for (std::size_t size : {1u, 7u, 8u, 9u, 16u, 17u, 1000u, 4096u}) {
        SCOPED_TRACE(size);
        Bytes const input = withoutRepeats(size);
        Bytes const result = compressed(input);
        EXPECT_EQ(size + (size + 7) / 8, le32(result.data() + 8));
        EXPECT_EQ(input, decompressed(result));
    }
}

// ---- round trips --------------------------------------------------------------------------

TEST(LzssRoundTrip, EverySizeFromZeroTo5000) {
    Bytes const text = textBytes(5000, 31);
    Bytes const random = randomBytes(5000, 32);
    for (std::size_t size = 0; size <= 5000; ++size) {
        Bytes const& source = size % 2 == 0 ? text : random;
        Bytes const input(source.begin(), source.begin() + size);
        Bytes const result = compressed(input);
        ASSERT_EQ(input, decompressed(result)) << size << " bytes";
        if (size % 7 == 0) {
            ASSERT_EQ(input, decompressedInto(result)) << size << " bytes";
        }
    }
}

TEST(LzssRoundTrip, OneMebibyteOfRandomBytesAndOfText) {
    for (Bytes const& input : {randomBytes(1 << 20, 41), textBytes(1 << 20, 42)}) {
        Bytes const result = compressed(input);
        EXPECT_EQ(input, decompressed(result));
        EXPECT_EQ(input, decompressedInto(result));
    }
}

// ---- containers that are not what they say ----------------------------------------------

TEST(LzssMalformed, ContainersThatLieRaiseWithAClearMessage) {
    Bytes const input = textBytes(2000, 51);
    Bytes const good = compressed(input);
    std::uint32_t const size = le32(good.data() + 4);
    std::uint32_t const code = le32(good.data() + 8);

    struct Row {
        char const* name;
        Bytes container;
        char const* message;
    };
    auto withSize = [&](std::uint32_t newSize) {
        Bytes c = good;
        putLE32(c.data() + 4, newSize);
        return c;
    };
    auto cutTo = [&](std::uint32_t newCode) {
        Bytes c(good.begin(), good.begin() + 12 + newCode);
        putLE32(c.data() + 8, newCode);
        return c;
    };
    Bytes wrongMark = good;
    wrongMark[2] = '=';
    // Two more bytes: a match where the last group has room, else a flag byte and a byte.
    Bytes trailing = good;
    trailing.push_back(0x00);
    trailing.push_back(0x00);
    putLE32(trailing.data() + 8, code + 2);
    Row const rows[] = {
        {"wrong mark", wrongMark, "Container \"KA->\" is corrupted: it does not start with KA->"},
        {"size one more", withSize(size + 1),
         "Container \"KA->\" is corrupted: the code stream ends before the uncompressed size"},
        {"size one less", withSize(size - 1),
         "Container \"KA->\" is corrupted: the code stream runs past the uncompressed size"},
        {"stream cut short", cutTo(code - 5),
         "Container \"KA->\" is corrupted: the code stream ends before the uncompressed size"},
        {"no stream at all", cutTo(0),
         "Container \"KA->\" is corrupted: the uncompressed size is more than the code stream "
         "can give"},
        {"bytes behind the last item", trailing,
         "Container \"KA->\" is corrupted: the code stream runs past the uncompressed size"},
        {"size beyond what the stream can give", withSize(9 * code + 1),
         "Container \"KA->\" is corrupted: the uncompressed size is more than the code stream "
         "can give"},
        {"size of 4 GiB", withSize(0xffffffffu),
         "Container \"KA->\" is corrupted: the uncompressed size is more than the code stream "
         "can give"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.name);
        int const news = K_Memory::getNewCount();
        int const deletes = K_Memory::getDeleteCount();
        try {
            void* block = K_File::decompress(row.container.data());
            releaseBlock(block);
            ADD_FAILURE() << "no exception";
        } catch (K_FileException_ContainerCorrupted* e) {
            EXPECT_STREQ(row.message, e->getErrorMessage());
        }
        // Whatever was allocated has been released again.
        EXPECT_EQ(K_Memory::getNewCount() - news, K_Memory::getDeleteCount() - deletes);

        // The private form raises the same, and writes only inside a buffer of the
        // header's size (when that is small enough to have).
        if (le32(row.container.data() + 4) <= 1u << 20) {
            Bytes out(le32(row.container.data() + 4));
            EXPECT_THROW(K_FileTestAccess::decompressInto(out.data(), row.container.data()),
                         K_FileException*);
        }
    }
}

TEST(LzssMalformed, RandomContainersStayInsideTheirBuffers) {
    // Run under the sanitizers: every buffer has exactly its size, so a read past the code
    // stream or a write past the output is caught.
    std::mt19937 engine(61);
    Bytes const valid = compressed(textBytes(600, 62));
    int decoded = 0;
    int refused = 0;
    for (int round = 0; round < 4000; ++round) {
        Bytes c;
        if (round % 2 == 0) {
            // Random code bytes under a header of random, possible sizes.
            std::uint32_t const code = engine() % 200;
            c = container(randomBytes(code, static_cast<unsigned>(round)), 0);
            putLE32(c.data() + 4, static_cast<std::uint32_t>(engine() % (9 * code + 1)));
        } else {
            // A sound container with a few bytes changed.
            c = valid;
            for (int k = 0; k < 3; ++k) {
                c[12 + engine() % (c.size() - 12)] = static_cast<unsigned char>(engine());
            }
            if (round % 5 == 1) {
                putLE32(c.data() + 4, le32(c.data() + 4) + engine() % 40 - 20);
            }
        }
        try {
            Bytes const out = decompressed(c);
            Bytes const into = decompressedInto(c);
            EXPECT_EQ(out, into);
            ++decoded;
        } catch (K_FileException_ContainerCorrupted*) {
            ++refused;
        }

        // The streaming decoder on the same code stream, as the last input or with more
        // to come: never more than asked, never past its input.
        K_LZSSStreamState state;
        Bytes code(c.begin() + 12, c.end());
        Bytes out(le32(c.data() + 4));
        int left = static_cast<int>(code.size());
        unsigned const got = state.decode(code.data(), out.data(), static_cast<int>(out.size()),
                                          &left, round % 3 == 0);
        EXPECT_LE(got, out.size());
        EXPECT_GE(left, 0);
    }
    EXPECT_GT(decoded, 0);
    EXPECT_GT(refused, 0);
}

TEST(LzssMemory, EveryBlockIsCountedAndReleasedByFree) {
    Bytes const input = textBytes(10000, 71);
    int const news = K_Memory::getNewCount();
    int const deletes = K_Memory::getDeleteCount();
    void* packed = K_File::compress(input.data(), 10000);
    // The first block is shrunk to the container's size: one more allocation, one release.
    EXPECT_EQ(2, K_Memory::getNewCount() - news);
    EXPECT_EQ(1, K_Memory::getDeleteCount() - deletes);
    void* unpacked = K_File::decompress(packed);
    EXPECT_EQ(3, K_Memory::getNewCount() - news);
    releaseBlock(unpacked);
    releaseBlock(packed);
    EXPECT_EQ(3, K_Memory::getDeleteCount() - deletes);
}

} // namespace
