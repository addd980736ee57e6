// The file manager on disk: lookups without regard to case, whole-file operations and their
// failures, free names, time stamps and the root.
#include "file/file_fixture.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <string>

namespace {

using klmfc::test::fileExists;
using klmfc::test::FileSystemTest;
using klmfc::test::raised;
using klmfc::test::readFile;

using FileManager = FileSystemTest;

void setModified(std::string const& path, long seconds) {
    timespec const times[2] = {{seconds, 0}, {seconds, 0}};
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, path.c_str(), times, 0));
}

TEST_F(FileManager, DiskLookupsIgnoreCaseAndTheExactSpellingWins) {
    dir.write("a.txt", "lower");
    dir.write("A.TXT", "UPPER");
    dir.write("Dir/Sub/x.dat", "xy");
    struct Row {
        char const* name;
        K_File::Location where;
        int isDirectory;
        char const* contents; // null: not loadable
    } const rows[] = {
        {"a.txt", K_File::LocationDisk, 0, "lower"},
        {"A.TXT", K_File::LocationDisk, 0, "UPPER"},
        {"A.txt", K_File::LocationDisk, 0, "UPPER"}, // neither: the first in byte order
        {"dir\\SUB\\X.DAT", K_File::LocationDisk, 0, "xy"},
        {"DIR/sub", K_File::LocationDisk, 1, nullptr},
        {"", K_File::LocationDisk, 1, nullptr},
        {"missing.txt", K_File::LocationNone, 0, nullptr},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(row.where, File->where(row.name)) << row.name;
        EXPECT_EQ(row.where != K_File::LocationNone ? 1 : 0, File->exists(row.name));
        EXPECT_EQ(row.isDirectory, File->isDirectory(row.name)) << row.name;
        EXPECT_EQ(row.where == K_File::LocationDisk ? 3 : -1, File->getMethod(row.name));
        if (row.contents != nullptr) {
            EXPECT_EQ(row.contents, loaded(row.name)) << row.name;
        }
    }
    char buffer[8];
    EXPECT_EQ("File \\MISSING.TXT not found",
              raised<K_FileException_FileNotFound>([] { File->size("missing.txt"); }));
    EXPECT_EQ("File \\MISSING.TXT not found",
              raised<K_FileException_FileNotFound>([] { File->load("missing.txt", ~0u); }));
    EXPECT_EQ("File \\missing.txt not found", raised<K_FileException_FileNotFound>([&] {
                  File->load(static_cast<void*>(buffer), "missing.txt", ~0u);
              }));
    // A directory is no file to load.
    EXPECT_EQ("File \\Dir not found", raised<K_FileException_FileNotFound>([&] {
                  File->load(static_cast<void*>(buffer), "Dir", 1);
              }));
}

TEST_F(FileManager, ListingsAreReadAgainWhenTheDirectoryChanges) {
    dir.mkdir("d");
    setModified(dir / "d", 1000000000); // long settled: its listing is kept
    EXPECT_EQ(K_File::LocationNone, File->where("d\\new.TXT"));
    dir.write("d/NEW.txt", "n");
    EXPECT_EQ(K_File::LocationDisk, File->where("d\\new.TXT"));
    setModified(dir / "d", 1000000000);
    EXPECT_EQ(K_File::LocationDisk, File->where("D\\NEW.TXT"));
    ASSERT_EQ(0, std::rename((dir / "d/NEW.txt").c_str(), (dir / "d/other").c_str()));
    EXPECT_EQ(K_File::LocationNone, File->where("D\\NEW.TXT"));
    EXPECT_EQ(K_File::LocationDisk, File->where("D\\OTHER"));
}

TEST_F(FileManager, LoadReadsWhatIsAskedAndFailsWithTheDiskPath) {
    dir.write("f.txt", "0123456789");
    dir.write("empty.txt", "");
    char buffer[16] = "untouched";
    File->load(static_cast<void*>(buffer), "f.txt", 0);
    EXPECT_STREQ("untouched", buffer);
    File->load(static_cast<void*>(buffer), "F.TXT", 3);
    EXPECT_EQ("012ouched", std::string(buffer));
    EXPECT_EQ("Unable to read data from \"" + root + "/f.txt\"",
              raised<K_FileException_UnableToReadData>(
                  [&] { File->load(static_cast<void*>(buffer), "f.txt", 11); }));
    EXPECT_EQ("File EMPTY.TXT is corrupted",
              raised<K_FileException_FileCorrupted>([] { File->load("empty.txt", ~0u); }));
    EXPECT_EQ(0u, File->size("empty.txt"));
    int const news = K_Memory::getNewCount();
    int const deletes = K_Memory::getDeleteCount();
    char* block = File->load("f.txt", 4);
    EXPECT_EQ("0123", std::string(block, 4));
    File->free(block);
    EXPECT_EQ(1, K_Memory::getNewCount() - news);
    EXPECT_EQ(1, K_Memory::getDeleteCount() - deletes);
}

TEST_F(FileManager, SaveAppendAndDelete) {
    dir.mkdir("data");
    auto save = [](char const* name, char const* text) {
        return File->save(name, text, static_cast<unsigned>(std::strlen(text)));
    };
    EXPECT_EQ(1, save("new.txt", "abc"));
    File->setOverride(0);
    EXPECT_EQ(0, save("NEW.TXT", "xyz")); // kept, whatever its case
    EXPECT_EQ("abc", readFile(dir / "new.txt"));
    File->setOverride(1);
    EXPECT_EQ(1, save("NEW.TXT", "xyz")); // replaced, under the new spelling
    EXPECT_FALSE(fileExists(dir / "new.txt"));
    EXPECT_EQ("xyz", readFile(dir / "NEW.TXT"));
    EXPECT_EQ(1, save("one\\f.txt", "1")); // one missing level is made
    EXPECT_EQ(0, save("two\\three\\f.txt", "2"));
    EXPECT_EQ(1, save("DATA/g.txt", "g")); // into the existing directory
    EXPECT_EQ("g", readFile(dir / "data/g.txt"));
    EXPECT_EQ(0, save("data", "d"));
    EXPECT_EQ(1, File->append("log.txt", "ab", 2));
    EXPECT_EQ(1, File->append("LOG.TXT", "cd", 2));
    EXPECT_EQ("abcd", readFile(dir / "log.txt"));
    EXPECT_EQ(0, File->append("x\\y\\log.txt", "ab", 2));
    EXPECT_EQ(1, File->del("Log.Txt"));
    EXPECT_EQ(0, File->del("log.txt"));
    EXPECT_EQ(0, File->del("data")); // directories stay
    EXPECT_EQ(K_File::LocationDisk, File->where("data"));
}

TEST_F(FileManager, TmpNameGivesTheFirstFreeDiskName) {
    dir.write("tmp000.txt", "");
    dir.write("TMP001.TXT", "");
    dir.write("fixed.txt", "");
    klmfc::test::KasBuilder().add("tmp002.txt", "in an archive").write(dir / "a.KAS");
    reload();
    struct Row {
        char const* format;
        int result;
        char const* name;
    } const rows[] = {
        {"tmp%03d.txt", 1, "tmp002.txt"}, // an archive entry does not take a name
        {"fixed.txt", 0, ""},
        {"free.txt", 1, "free.txt"},
        {"%x-%s", 0, ""}, // only one number can be fed
        {"%d%d", 0, ""},
        {"%c", 0, ""},
    };
    for (Row const& row : rows) {
        char buffer[256] = "junk";
        EXPECT_EQ(row.result, File->tmpName(buffer, row.format)) << row.format;
        EXPECT_STREQ(row.name, buffer);
    }
}

TEST_F(FileManager, TimeStampPacksTheUtcModificationTime) {
    dir.write("t.txt", "t");
    setModified(dir / "t.txt", 1714566896); // 2024-05-01 12:34:56 UTC
    EXPECT_EQ(945606896u, File->timeStamp("T.TXT"));
    dir.mkdir("d");
    EXPECT_EQ(0u, File->timeStamp("d"));
    EXPECT_EQ(0u, File->timeStamp("missing"));
}

TEST_F(FileManager, AMissingRootRaisesAndLeavesNoArchives) {
    klmfc::test::KasBuilder().add("a.txt", "a").write(dir / "a.KAS");
    reload();
    EXPECT_EQ(1, K_FileTestAccess::archives()->getCount());
    EXPECT_EQ("Directory /no/such/dir not found", raised<K_FileException_DirectoryNotFound>([] {
                  File->setFileSystemRoot("/no/such/dir");
              }));
    EXPECT_EQ(0, K_FileTestAccess::archives()->getCount());
    EXPECT_EQ(root, K_File::getRootDirectory());
    File->setFileSystemRoot((dir.path() + "/").c_str());
    EXPECT_EQ(1, K_FileTestAccess::archives()->getCount());
}

} // namespace
