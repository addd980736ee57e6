// .KAS archives: the layout byte for byte, damaged and lying archives, the three storage
// methods and damaged entries, the order of the archive set, and the lookups.
#include "file/file_fixture.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <string>

namespace {

using klmfc::test::Bytes;
using klmfc::test::FileSystemTest;
using klmfc::test::hexBytes;
using klmfc::test::KasBuilder;
using klmfc::test::KasPlain;
using klmfc::test::putLE32;
using klmfc::test::raised;

using Archive = FileSystemTest;

// The archive of one stored file a.txt of 3 bytes in the root, from its plain bytes.
Bytes smallestArchive() {
    KasPlain plain;
    plain.header = hexBytes("4B415331 D2040000 01000000 01000000 2E000000 12000000 9A99993F"
                            "00000000 00000000 00000000 00000000");
    plain.fileTable = hexBytes("612E74787400 03000000 03000000 00000000 00000000 4D000000 03000000"
                               "D107 0200 0500 0300 0400 0500 0600 0700");
    plain.directoryTable = hexBytes("5C00 00000000000000000000000000000000");
    plain.data = hexBytes("616263");
    return KasBuilder::seal(plain, 1234);
}

TEST_F(Archive, TheSmallestArchiveByteForByte) {
    Bytes const bytes = smallestArchive();
    ASSERT_EQ(111u, bytes.size());
    EXPECT_EQ(bytes, KasBuilder().add("a.txt", "abc").build());
    KasBuilder::writeBytes(dir / "x.KAS", bytes);
    reload();
    ASSERT_EQ(1, K_FileTestAccess::archives()->getCount());
    K_File::K_KASArchive const& a = *K_FileTestAccess::archives()->getFirst();
    K_File::K_KASHeader const& h = a.header;
    K_File::K_KASFileInfo const& f = a.files[0];
    char record[512];
    std::snprintf(record, sizeof record,
                  "%s %.4s seed %d files %d dirs %d F %u D %u v%g crc %u | %s size %u at %u "
                  "stored %u dir %d seed %d method %d %d-%d-%d %d ms | %s id %d",
                  a.name, reinterpret_cast<char const*>(h.mark), h.seed, h.fileCount,
                  h.directoryCount, h.fileTableSize, h.directoryTableSize, double(h.version),
                  h.headerChecksum, f.key, f.size, f.offset, f.storedSize, f.directory, f.seed,
                  f.method, f.time.wYear, f.time.wMonth, f.time.wDay, f.time.wMilliseconds,
                  a.directories[0].name, a.directories[0].id);
    EXPECT_EQ(root + "/x.KAS KAS1 seed 1234 files 1 dirs 1 F 46 D 18 v1.2 crc 0 | 00000a.txt "
                     "size 3 at 108 stored 3 dir 0 seed 77 method 3 2001-2-3 7 ms | \\ id 0",
              record);
    for (char const* name : {"\\a.txt", "a.txt", "/A.TXT"}) {
        K_File::K_KASFind const find = K_FileTestAccess::searchFile(name);
        EXPECT_EQ(&a.files[0], find.file) << name;
    }
    EXPECT_EQ(K_File::LocationArchive, File->where("A.TXT"));
    EXPECT_EQ(3u, File->size("a.txt"));
    EXPECT_EQ("abc", loaded("a.txt"));
    EXPECT_EQ(198475506u, File->timeStamp("a.txt")); // 2001-02-03 04:05:06
}

TEST_F(Archive, EveryDamagedOrShortArchiveIsRefused) {
    Bytes const good = smallestArchive();
    std::string const path = root + "/x.KAS";
    for (std::size_t at = 0; at < 108; ++at) {
        Bytes bad = good;
        bad[at] ^= 0x10;
        KasBuilder::writeBytes(path, bad);
        EXPECT_EQ("Archive \"" + path + "\" is corrupted",
                  raised<K_FileException_ArchiveCorrupted>([&] { reload(); }))
            << "byte " << at;
    }
    for (std::size_t size = 0; size < 111; ++size) {
        KasBuilder::writeBytes(path, Bytes(good.begin(), good.begin() + static_cast<long>(size)));
        if (size < 108) {
            EXPECT_EQ("Unable to read data from \"" + path + "\"",
                      raised<K_FileException_UnableToReadData>([&] { reload(); }))
                << size;
        } else {
            reload(); // the tables are whole; the data is found short when read
            EXPECT_EQ("Unable to read data from \"\\a.txt\"",
                      raised<K_FileException_UnableToReadData>([&] { loaded("a.txt"); }));
        }
    }
}

TEST_F(Archive, ArchivesWhoseTablesLieAreRefusedThoughTheirChecksumsPass) {
    std::string const path = root + "/x.KAS";
    std::string const corrupted = "Archive \"" + path + "\" is corrupted";
    auto header = [](std::size_t at, std::uint32_t value) {
        return [=](KasPlain& p) { putLE32(p.header.data() + at, value); };
    };
    struct Row {
        char const* what;
        std::function<void(KasPlain&)> tamper;
        std::string message;
    } const rows[] = {
        {"version 1.1", header(24, 0x3F8CCCCD),
         "Archive \"" + path + "\" is v1.10 and KL-module is v1.00 - Update your archive"},
        {"version 2", header(24, 0x40000000),
         "Archive \"" + path + "\" is v2.00 and KL-module is v1.00 - Update your archive"},
        {"more files than entries", header(8, 2), corrupted},
        {"bytes behind the entries", header(8, 0), corrupted},
        {"more directories than entries", header(12, 2), corrupted},
        {"a negative count", header(8, 0xffffffff), corrupted},
        {"too many directories", header(12, 100001), corrupted},
        {"a directory that is not there", [](KasPlain& p) { putLE32(&p.fileTable[6 + 12], 1); },
         corrupted},
        {"a name with no end", [](KasPlain& p) { p.fileTable[5] = 'x'; }, corrupted},
        {"a file table past the end", header(16, 46 + 1000),
         "Unable to read data from \"" + path + "\""},
        {"data past 4 GiB", [](KasPlain& p) { putLE32(&p.fileTable[6 + 4], 0xfffffff0); },
         corrupted},
        {"a name of 256 characters",
         [](KasPlain& p) {
             p.fileTable.insert(p.fileTable.begin(), 251, 'n');
             putLE32(p.header.data() + 16, static_cast<std::uint32_t>(p.fileTable.size()));
         },
         corrupted},
    };
    for (Row const& row : rows) {
        KasBuilder b;
        b.add("a.txt", "abc");
        b.tamper = row.tamper;
        b.write(path);
        EXPECT_EQ(row.message, raised<K_FileException>([&] { reload(); })) << row.what;
        EXPECT_EQ(0, K_FileTestAccess::archives()->getCount());
    }
}

std::string text(std::size_t size) {
    Bytes const b = klmfc::test::textBytes(size, 7);
    return std::string(b.begin(), b.end());
}

TEST_F(Archive, LoadDecodesEveryMethod) {
    Bytes const random = klmfc::test::randomBytes(3000, 3);
    std::string const binary(random.begin(), random.end());
    KasBuilder b;
    b.add("c.txt", text(5000), K_File::MethodCompressed)
        .add("s.txt", text(700), K_File::MethodScrambled)
        .add("p.txt", "plain bytes", K_File::MethodStored)
        .add("sub\\deep.bin", binary, K_File::MethodCompressed)
        .add("odd.dat", "odd", 4);
    b.files[1].seed = 0; // taken as 1, as the writer scrambled it
    b.write(dir / "x.KAS");
    reload();
    struct Row {
        char const* name;
        int method;
        std::string contents;
    } const rows[] = {
        {"C.TXT", 1, text(5000)},
        {"s.txt", 2, text(700)},
        {"p.txt", 3, "plain bytes"},
        {"Sub/Deep.bin", 1, binary},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(K_File::LocationArchive, File->where(row.name));
        EXPECT_EQ(row.method, File->getMethod(row.name));
        EXPECT_EQ(row.contents.size(), File->size(row.name));
        EXPECT_EQ(row.contents, loaded(row.name)) << row.name;
    }
    // An entry comes whole into a buffer, however little is asked for; the allocating
    // load keeps the bytes asked for.
    std::string buffer(64, '.');
    File->load(static_cast<void*>(&buffer[0]), "p.txt", 1);
    EXPECT_EQ("plain bytes.", buffer.substr(0, 12));
    char* first = File->load("c.txt", 4);
    EXPECT_EQ(text(4), std::string(first, 4));
    File->free(first);
    // A method the reader does not know writes nothing.
    File->load(static_cast<void*>(&buffer[0]), "odd.dat", ~0u);
    EXPECT_EQ("plain bytes.", buffer.substr(0, 12));
    EXPECT_EQ(4, File->getMethod("odd.dat"));
}

TEST_F(Archive, DamagedEntriesRaiseWithTheirName) {
    std::string const path = root + "/x.KAS";
    auto entry = [](std::size_t at, std::uint32_t value) { // of the entry "c.txt"
        return [=](KasPlain& p) { putLE32(&p.fileTable[6 + at], value); };
    };
    auto data = [](std::size_t at, std::uint32_t value) {
        return [=](KasPlain& p) { putLE32(&p.data[at], value); };
    };
    struct Row {
        char const* name;
        std::function<void(KasPlain&)> tamper;
        std::string message;
    } const rows[] = {
        {"c.txt", entry(4, 11), "File \\c.txt is corrupted"},     // stored size below 12
        {"c.txt", entry(0, 99), "File \\c.txt is corrupted"},     // size not the container's
        {"c.txt", data(8, 0x10000), "File \\c.txt is corrupted"}, // code past the stored bytes
        {"c.txt", data(0, 0x3E2D4158), "Container \"KA->\" is corrupted"}, // no "KA->" mark
        {"p.txt", entry(46 + 0, 99), "File \\p.txt is corrupted"}, // stored, shorter than its size
        {"p.txt", [](KasPlain& p) { p.data.resize(p.data.size() - 1); },
         "Unable to read data from \"\\p.txt\""},
    };
    for (Row const& row : rows) {
        KasBuilder b;
        b.add("c.txt", "compressed", K_File::MethodCompressed).add("p.txt", "plain");
        b.tamper = row.tamper;
        b.write(path);
        reload();
        std::string const message = raised<K_FileException>([&] { loaded(row.name); });
        EXPECT_EQ(row.message, message.substr(0, row.message.size())) << row.message;
    }
    std::remove(path.c_str()); // gone after it was loaded
    EXPECT_EQ("Archive " + path + " not found",
              raised<K_FileException_ArchiveNotFound>([&] { loaded("c.txt"); }));
}

TEST_F(Archive, TheSetServesInOrderPriorityRootSecondary) {
    KasBuilder().add("x.txt", "b").write(dir / "b.KAS");
    KasBuilder a;
    a.add("x.txt", "A").add("only.txt", "A");
    a.archiverId = 9;
    a.write(dir / "A.KAS"); // capitals list first
    dir.mkdir("more");
    dir.mkdir("empty");
    dir.mkdir("prio");
    KasBuilder().add("x.txt", "c").add("y.txt", "c").write(dir / "more/c.KAS");
    KasBuilder().add("x.txt", "p").write(dir / "prio/p.KAS");
    KasBuilder().add("x.txt", "q").write(dir / "prio/q.KAS");
    reload();
    EXPECT_EQ("A", loaded("x.txt"));
    dir.write("x.txt", "disk");
    EXPECT_EQ("disk", loaded("x.txt")); // the disk hides the archives
    EXPECT_EQ(K_File::LocationDisk, File->where("x.txt"));
    EXPECT_EQ(3, File->getMethod("x.txt"));
    std::remove((dir / "x.txt").c_str());

    EXPECT_TRUE(File->setSecondaryArchiveSearchPath("MORE"));
    EXPECT_STREQ("MORE\\", File->getSecondaryArchiveSearchPath());
    EXPECT_EQ("c", loaded("y.txt"));
    EXPECT_EQ("A", loaded("x.txt"));
    File->enablePriorityArchive("prio/p.KAS");
    EXPECT_STREQ("prio/p.KAS", File->getPriorityArchive());
    EXPECT_EQ("p", loaded("x.txt"));
    // Reloading keeps the priority archive first.
    EXPECT_FALSE(File->setSecondaryArchiveSearchPath("empty"));
    EXPECT_TRUE(File->isPriorityArchiveEnabled());
    EXPECT_EQ("p", loaded("x.txt"));
    EXPECT_EQ(K_File::LocationNone, File->where("y.txt"));
    File->enablePriorityArchive("prio\\q.KAS");
    EXPECT_EQ("q", loaded("x.txt"));
    EXPECT_EQ(3, K_FileTestAccess::archives()->getCount());
    File->disablePriorityArchive();
    EXPECT_EQ(nullptr, File->getPriorityArchive());
    EXPECT_EQ("A", loaded("x.txt"));
    EXPECT_EQ("Archive " + root + "/missing.KAS not found",
              raised<K_FileException_ArchiveNotFound>(
                  [] { File->enablePriorityArchive("missing.KAS"); }));
    EXPECT_FALSE(File->isPriorityArchiveEnabled());
    EXPECT_EQ(2, K_FileTestAccess::archives()->getCount());

    EXPECT_EQ("Archive \"" + root + "/b.KAS\" is not compatible with this program",
              raised<K_FileException_IncompatibleArchiverID>([] { File->verifyArchiverID(9); }));
    EXPECT_EQ("Archive \"" + root + "/A.KAS\" is not compatible with this program",
              raised<K_FileException_IncompatibleArchiverID>([] { File->verifyArchiverID(0); }));

    // Off sets the archives aside in their order; On brings them back.
    File->enablePriorityArchive("prio/p.KAS");
    File->setArchiveHandling(K_File::ArchiveHandlingOff);
    EXPECT_EQ(0, K_FileTestAccess::archives()->getCount());
    EXPECT_EQ(K_File::LocationNone, File->where("\\x.txt"));
    File->disablePriorityArchive(); // found aside
    File->setArchiveHandling(K_File::ArchiveHandlingOn);
    EXPECT_EQ(2, K_FileTestAccess::archives()->getCount());
    EXPECT_EQ(0, K_FileTestAccess::swappedArchives()->getCount());
    EXPECT_EQ(root + "/A.KAS", K_FileTestAccess::archives()->getFirst()->name);
    EXPECT_EQ("A", loaded("x.txt"));
}

TEST_F(Archive, LookupsFollowTheSortedTablesWithoutRegardToCase) {
    KasBuilder first;
    first.directories = {"\\Zeta\\", "\\alpha\\beta\\", "\\", "\\alpha\\", "\\empty\\"};
    auto add = [&](char const* directory, std::string const& name, char const* contents) {
        first.add(directory, name, klmfc::test::bytesOf(contents), K_File::MethodStored);
    };
    add("\\Zeta\\", "3.txt", "3");
    add("\\alpha\\beta\\", "2.txt", "2");
    add("\\", "1.txt", "1");
    add("\\alpha\\", "a.txt", "alpha");
    add("\\", std::string(254, 'n'), "long");
    add("\\", "dup.txt", "small");
    add("\\", "Dup.txt", "capital"); // equal but for case: the first in byte order serves
    first.seed = 0;
    first.write(dir / "1.KAS");
    KasBuilder().add("alpha\\second.txt", "2nd").write(dir / "2.KAS");
    reload();
    struct Row {
        char const* name;
        K_File::Location where;
        int isDirectory;
        char const* contents;
    } const rows[] = {
        {"ZETA\\3.TXT", K_File::LocationArchive, 0, "3"},
        {"\\alpha\\BETA\\2.txt", K_File::LocationArchive, 0, "2"},
        {"1.txt", K_File::LocationArchive, 0, "1"},
        {"Alpha/A.txt", K_File::LocationArchive, 0, "alpha"},
        {"alpha\\second.txt", K_File::LocationArchive, 0, "2nd"}, // its directory is in both
        {"ALPHA\\beta", K_File::LocationArchive, 1, nullptr},
        {"empty", K_File::LocationArchive, 1, nullptr},
        {"alpha\\3.txt", K_File::LocationNone, 0, nullptr},
        {"DUP.TXT", K_File::LocationArchive, 0, "capital"},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(row.where, File->where(row.name)) << row.name;
        EXPECT_EQ(row.isDirectory, File->isDirectory(row.name)) << row.name;
        if (row.contents != nullptr) {
            EXPECT_EQ(row.contents, loaded(row.name));
        }
    }
    EXPECT_EQ(-1, File->getMethod("alpha\\beta")); // no entry, no method
    EXPECT_EQ(K_File::LocationArchive, File->where(std::string(254, 'n').c_str()));
    EXPECT_EQ(K_File::LocationNone, File->where(std::string(300, 'n').c_str()));
    File->changeDirectory("alpha\\beta"); // a directory of an archive only
    EXPECT_STREQ("\\alpha\\beta\\", File->getCurrentDirectory());
    EXPECT_EQ("2", loaded("2.txt"));
    EXPECT_EQ("alpha", loaded("..\\a.txt"));
}

} // namespace
