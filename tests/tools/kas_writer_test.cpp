// The archive writer and the tool's reader: the layout byte for byte, the three storage
// methods, and the names and files that are refused.
#include "kas/kas_reader.h"
#include "kas/kas_writer.h"

#include "klmfc/file/file.h"
#include "klmfc/memory/memory.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

namespace {

using namespace klmfc::kas;
using Bytes = std::vector<unsigned char>;

Bytes bytesOf(std::string const& text) {
    return Bytes(text.begin(), text.end());
}

Bytes slice(Bytes const& b, std::size_t from, std::size_t size) {
    return Bytes(b.begin() + static_cast<long>(from), b.begin() + static_cast<long>(from + size));
}

// The library's descrambler, reached through a "KC->" container of the given seed.
Bytes descrambled(Bytes const& area, std::int32_t seed) {
    Bytes container(16);
    std::memcpy(container.data(), "KC->", 4);
    putLE32(container.data() + 4, static_cast<std::uint32_t>(area.size()));
    putLE32(container.data() + 8, static_cast<std::uint32_t>(area.size() + 16));
    putLE32(container.data() + 12, static_cast<std::uint32_t>(seed));
    container.insert(container.end(), area.begin(), area.end());
    auto* plain = static_cast<unsigned char*>(K_File::decrypt(container.data()));
    Bytes out(plain, plain + area.size());
    K_REALLOCATE_DELETE_implementation(plain);
    return out;
}

Bytes compressed(Bytes const& data) {
    auto* block = static_cast<unsigned char*>(K_File::compress(data.data(), data.size()));
    Bytes out(block, block + 12 + getLE32(block + 8));
    K_REALLOCATE_DELETE_implementation(block);
    return out;
}

void put32(Bytes& b, std::uint32_t v) {
    b.resize(b.size() + 4);
    putLE32(b.data() + b.size() - 4, v);
}

SystemTime const kTime{2024, 5, 3, 1, 12, 30, 45, 250};

// The archive of one root directory and one stored file a.txt of 3 bytes.
TEST(KasWriter, OneStoredFileIsTheHundredAndElevenByteArchive) {
    for (std::int32_t const seed : {0x1234, -5, 0}) {
        SCOPED_TRACE(seed);
        Writer writer(seed, 77);
        writer.addFile("a.txt", bytesOf("abc"), MethodStored, kTime);
        Bytes const archive = writer.build();
        ASSERT_EQ(archive.size(), 111u);

        Bytes fileTable = bytesOf(std::string("a.txt", 6));
        for (std::uint32_t v : {3u, 3u, 0x352441C2u /* CRC32 of abc */, 0u, 0u, 3u}) {
            put32(fileTable, v);
        }
        fileTable.resize(fileTable.size() + 16);
        putTime(fileTable.data() + 30, kTime);
        Bytes dirTable = bytesOf(std::string("\\", 2));
        dirTable.resize(18);
        Bytes header = bytesOf("KAS1");
        for (std::uint32_t v :
             {static_cast<std::uint32_t>(seed), 1u, 1u, 46u, 18u, 0x3F99999Au, 0u,
              K_File::CRC32(fileTable.data(), 46), K_File::CRC32(dirTable.data(), 18), 77u}) {
            put32(header, v);
        }
        putLE32(header.data() + 28, K_File::CRC32(header.data(), 44));

        std::int32_t const used = seed == 0 ? 1 : seed; // a seed of 0 reads as 1
        EXPECT_EQ(slice(archive, 0, 8), slice(header, 0, 8));
        EXPECT_EQ(descrambled(slice(archive, 8, 36), used), slice(header, 8, 36));
        EXPECT_EQ(descrambled(slice(archive, 44, 46), used), fileTable);
        EXPECT_EQ(descrambled(slice(archive, 90, 18), used), dirTable);
        EXPECT_EQ(slice(archive, 108, 3), bytesOf("abc"));
    }
}

TEST(KasWriter, TablesDirectoriesAndTheThreeMethods) {
    Bytes const text = bytesOf(std::string(3000, 'x') + "tail of the text");
    klmfc::test::TempDir dir;
    Writer writer(99, 5);
    writer.addFile("sub/deep/c.bin", text, MethodScrambled, kTime);
    writer.addFile("\\sub\\a.txt", text, MethodCompressed, kTime);
    writer.addFile("b.txt", bytesOf("plain"), MethodStored, kTime);
    writer.addDirectory("empty");
    writer.write(dir / "t.KAS");

    Reader reader(dir / "t.KAS");
    EXPECT_EQ(reader.archiverId(), 5);
    std::vector<std::string> dirs;
    for (auto const& d : reader.directories()) {
        dirs.push_back(d.name);
    }
    EXPECT_EQ(dirs, (std::vector<std::string>{"\\", "\\empty\\", "\\sub\\", "\\sub\\deep\\"}));
    // Files by directory index, then name; entries back to back behind the tables.
    struct Expected {
        char const* name;
        std::int32_t directory, method, seed;
        Bytes stored;
    };
    Bytes const packed = compressed(text);
    std::int32_t const seed = entrySeed(99, 2);
    Bytes scrambled = packed;
    scrambleRun(scrambled.data(), scrambled.size(), seed);
    EXPECT_EQ(descrambled(scrambled, seed), packed); // as the library reads it back
    Expected const expected[] = {{"b.txt", 0, MethodStored, 0, bytesOf("plain")},
                                 {"a.txt", 2, MethodCompressed, 0, packed},
                                 {"c.bin", 3, MethodScrambled, seed, scrambled}};
    ASSERT_EQ(reader.files().size(), 3u);
    std::uint64_t offset = reader.dataStart();
    for (std::size_t i = 0; i < 3; ++i) {
        FileRecord const& f = reader.files()[i];
        SCOPED_TRACE(f.name);
        EXPECT_EQ(f.name, expected[i].name);
        EXPECT_EQ(f.directory, expected[i].directory);
        EXPECT_EQ(f.method, expected[i].method);
        EXPECT_EQ(f.seed, expected[i].seed);
        EXPECT_EQ(f.offset, offset);
        EXPECT_EQ(reader.storedBytes(f), expected[i].stored);
        Bytes const plain = reader.contents(f);
        EXPECT_EQ(f.size, plain.size());
        EXPECT_EQ(f.reserved, K_File::CRC32(plain.data(), plain.size()));
        offset += f.storedSize;
    }
    EXPECT_EQ(offset, reader.fileSize());
    EXPECT_EQ(reader.find("SUB/DEEP/C.BIN"), &reader.files()[2]);
    EXPECT_EQ(reader.find("\\b.txt"), &reader.files()[0]);
    EXPECT_EQ(reader.find("sub/b.txt"), nullptr);
}

TEST(KasWriter, RefusesNamesThatCannotStandInAnArchive) {
    std::string const longName = std::string(252, 'n') + "/xy";
    struct Case {
        std::string first, second, message;
    } const cases[] = {
        {"a.txt", "A.TXT",
         "\"\\a.txt\" and \"\\A.TXT\" differ only in case, and archive names ignore case"},
        {"d/x", "D/y", "\"\\d\" and \"\\D\" differ only in case, and archive names ignore case"},
        {"a.txt", "a.txt", "\"\\a.txt\" is added twice"},
        {"a.txt", "x/../b", "\"x/../b\": \".\" and \"..\" cannot stand in an archive name"},
        {"a.txt", "d/", "\"d/\": a file needs a name behind its last separator"},
        {"a.txt", longName, "\"\\" + std::string(252, 'n') + "\\xy\": longer than 255 characters"},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.second);
        Writer writer;
        writer.addFile(c.first, {}, MethodStored, kTime);
        try {
            writer.addFile(c.second, {}, MethodStored, kTime);
            ADD_FAILURE() << "accepted";
        } catch (Error const& e) {
            EXPECT_EQ(e.what(), c.message);
        }
    }
}

// An archive changed after writing: the reader names the file and what is wrong.
TEST(KasReader, RefusesDamagedArchives) {
    Writer writer(42);
    writer.addFile("a.txt", bytesOf("abc"), MethodStored, kTime);
    Bytes const good = writer.build();
    auto const rescramble = [](Bytes& b, std::function<void(unsigned char*)> const& edit) {
        descrambleRun(b.data() + 8, 36, 42);
        edit(b.data());
        putLE32(b.data() + 28, 0);
        putLE32(b.data() + 28, K_File::CRC32(b.data(), 44));
        scrambleRun(b.data() + 8, 36, 42);
    };
    struct Case {
        char const* what;
        std::function<void(Bytes&)> damage;
        char const* message;
    } const cases[] = {
        {"mark", [](Bytes& b) { b[0] ^= 1; },
         "the header's checksum is wrong: the file is corrupted or not an archive"},
        {"header", [](Bytes& b) { b[43] ^= 1; },
         "the header's checksum is wrong: the file is corrupted or not an archive"},
        {"file table", [](Bytes& b) { b[60] ^= 1; }, "the file table's checksum is wrong"},
        {"directory table", [](Bytes& b) { b[100] ^= 1; },
         "the directory table's checksum is wrong"},
        {"short", [](Bytes& b) { b.resize(43); }, "too short for an archive header (43 bytes)"},
        {"tables cut", [](Bytes& b) { b.resize(100); }, "the tables run past the end of the file"},
        {"version 1.1",
         [&](Bytes& b) { rescramble(b, [](unsigned char* h) { putLE32(h + 24, 0x3F8CCCCDu); }); },
         "format version 1.10, not 1.20"},
        {"count", [&](Bytes& b) { rescramble(b, [](unsigned char* h) { putLE32(h + 8, 2); }); },
         "the file table holds fewer entries than the header's 2"},
    };
    klmfc::test::TempDir dir;
    for (auto const& c : cases) {
        SCOPED_TRACE(c.what);
        Bytes bad = good;
        c.damage(bad);
        std::ofstream(dir / "x.KAS", std::ios::binary)
            .write(reinterpret_cast<char const*>(bad.data()), static_cast<long>(bad.size()));
        try {
            Reader reader(dir / "x.KAS");
            ADD_FAILURE() << "accepted";
        } catch (Error const& e) {
            EXPECT_EQ(e.what(), dir / "x.KAS" + ": " + c.message);
        }
    }
}

} // namespace
