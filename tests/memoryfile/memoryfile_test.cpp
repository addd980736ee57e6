// The memory file's buffer: growth, seeking, reading past the end, caller's blocks, copies,
// the write-through path, whole files by name and stream views, and the messages.
#include "memoryfile/memoryfile_test_support.h"

#include "klmfc/file/filestream.h"
#include "klmfc/memory/memory.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using klmfc::test::FileSystemTest;
using klmfc::test::hexOf;
using klmfc::test::MemoryFilePeek;
using klmfc::test::raised;
using klmfc::test::readFile;
using klmfc::test::TempDir;

std::string pattern(std::size_t size) {
    std::string out(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
        out[i] = static_cast<char>(i * 7 + i / 253);
    }
    return out;
}

TEST(MemoryFileBuffer, MessagesWithAndWithoutAName) {
    struct Case {
        std::string got;
        char const* expected;
    };
    Case const cases[] = {
        {K_MemoryFileException_SeekOutOfRange("a.bin").getErrorMessage(),
         "K_MemoryFile seek out of range(\"a.bin\")"},
        {K_MemoryFileException_SeekOutOfRange(nullptr).getErrorMessage(),
         "K_MemoryFile seek out of range(memoryfile not named yet)"},
        {K_MemoryFileException_Overreading("a.bin").getErrorMessage(),
         "Read of the end of an K_MemoryFile(\"a.bin\")"},
        {K_MemoryFileException_Overreading(nullptr).getErrorMessage(),
         "Read of the end of an K_MemoryFile(memoryfile not named yet)"},
        {K_MemoryFileException_DataError("a.bin").getErrorMessage(),
         "Invalid data read from an K_MemoryFile(\"a.bin\")"},
        {K_MemoryFileException_DataError(nullptr).getErrorMessage(),
         "Invalid data read from an K_MemoryFile(memoryfile not named yet)"},
        {K_MemoryFileException_UnableToOpenFileForWrite("a.bin").getErrorMessage(),
         "K_MemoryFile: Unable to open file (\"a.bin\") for write"},
    };
    for (Case const& c : cases) {
        EXPECT_EQ(c.got, c.expected);
    }
}

TEST(MemoryFileBuffer, GrowsByDoublingFromTheConstructorsSize) {
    MemoryFilePeek file;
    EXPECT_EQ(file.getSize(), 0u);
    EXPECT_EQ(file.getAddress(), nullptr);
    std::string const data = pattern(100000);
    file.write(data.data(), 1);
    EXPECT_EQ(file.capacity(), 8192u);
    file.write(data.data() + 1, 8191); // lands exactly on the capacity
    EXPECT_EQ(file.capacity(), 8192u);
    file.write(data.data() + 8192, 1);
    EXPECT_EQ(file.capacity(), 16384u);
    file.toRead();
    std::string back(8193, '\0');
    file.read(back.data(), 8193);
    EXPECT_EQ(back, data.substr(0, 8193));

    MemoryFilePeek big;
    big.write(data.data(), 100000);
    EXPECT_EQ(big.capacity(), 131072u);
    MemoryFilePeek small(3);
    small.write(data.data(), 7);
    EXPECT_EQ(small.capacity(), 12u);

    // Large blocks are mapped ahead of the copy: the bytes and the counting stay those of
    // one counted reallocation per growth.
    std::string const large = pattern(5u << 20);
    MemoryFilePeek huge(4u << 20);
    huge.write(large.data(), 4 << 20);
    int const news = K_Memory::getNewCount();
    int const deletes = K_Memory::getDeleteCount();
    huge.write(large.data() + (4u << 20), 1 << 20);
    EXPECT_EQ(huge.capacity(), 8u << 20);
    EXPECT_EQ(K_Memory::getNewCount(), news + 1);
    EXPECT_EQ(K_Memory::getDeleteCount(), deletes + 1);
    EXPECT_TRUE(std::memcmp(huge.getAddress(), large.data(), large.size()) == 0);
}

TEST(MemoryFileBuffer, SeeksInTheThreeModes) {
    K_MemoryFile file;
    file.setFilename("s.bin");
    file.write("abcdef", 6);
    file.seek(0, K_MemoryFile::SeekEnd);
    EXPECT_EQ(file.getPosition(), 6u);
    file.seek(1, K_MemoryFile::SeekEnd);
    EXPECT_EQ(file.getPosition(), 5u);
    file.seek(-2, K_MemoryFile::SeekCurrent);
    EXPECT_EQ(file.getPosition(), 3u);
    file.seek(2, K_MemoryFile::SeekBegin);
    file.write("XY", 2); // overwrites in the middle
    EXPECT_EQ(file.getSize(), 6u);
    EXPECT_EQ(hexOf(file), hexOf(std::string("abXYef")));

    std::string const message = "K_MemoryFile seek out of range(\"s.bin\")";
    EXPECT_EQ(raised<K_MemoryFileException>([&] { file.seek(-1, K_MemoryFile::SeekEnd); }),
              message);
    EXPECT_EQ(file.getPosition(), 7u); // the bad value stays
    EXPECT_EQ(raised<K_MemoryFileException>([&] { file.write("z", 1); }), message);
    EXPECT_EQ(raised<K_MemoryFileException>([&] { file.seek(-1, K_MemoryFile::SeekBegin); }),
              message);
    file.seek(6, K_MemoryFile::SeekBegin);
    EXPECT_EQ(file.getPosition(), 6u);
}

TEST(MemoryFileBuffer, ReadsUpToTheEndAndNotBeyond) {
    K_MemoryFile file;
    file.setFilename("r.bin");
    file.write("ab", 2);
    file.toRead();
    char out[2] = {'x', 'y'};
    file.seek(0, K_MemoryFile::SeekEnd);
    file.read(out, 0);
    EXPECT_EQ(raised<K_MemoryFileException>([&] { file.read(out, 1); }),
              "Read of the end of an K_MemoryFile(\"r.bin\")");
    file.seek(1, K_MemoryFile::SeekBegin);
    EXPECT_EQ(raised<K_MemoryFileException>([&] { file.read(out, 2); }),
              "Read of the end of an K_MemoryFile(\"r.bin\")");
    EXPECT_EQ(file.getPosition(), 1u);
    EXPECT_EQ(std::string(out, 2), "xy");
}

TEST(MemoryFileBuffer, CallersBlockIsSharedOrCopiedAndNeverWrittenPast) {
    char block[8] = {'0', '1', '2', '3', '4', '5', '6', '7'};
    K_MemoryFile view(block + 2, 4, false);
    EXPECT_EQ(view.getAddress(), block + 2);
    view.write("ab", 2); // overwriting in place is allowed
    view.seek(3, K_MemoryFile::SeekBegin);
    EXPECT_NE(raised<K_MemoryFileException_InvalidOperation>([&] { view.write("cd", 2); }), "none");
    EXPECT_EQ(std::string(block, 8), "01ab4567");
    EXPECT_EQ(view.getPosition(), 3u);

    K_MemoryFile copy(block, 8, true);
    EXPECT_NE(copy.getAddress(), block);
    block[0] = 'z';
    char first;
    copy.read(&first, 1);
    EXPECT_EQ(first, '0');
    copy.seek(0, K_MemoryFile::SeekEnd);
    copy.write("8", 1); // a block of its own grows
    EXPECT_EQ(copy.getSize(), 9u);

    MemoryFilePeek empty(block, 0, true);
    EXPECT_EQ(empty.capacity(), 1u);
    EXPECT_EQ(empty.getSize(), 0u);
}

TEST(MemoryFileBuffer, CopiesOwnTheirBlockOrShareTheCallers) {
    K_MemoryFile grown;
    grown << 1234567;
    K_MemoryFile copy(grown);
    EXPECT_NE(copy.getAddress(), grown.getAddress());
    EXPECT_EQ(hexOf(copy), hexOf(grown));
    EXPECT_EQ(copy.getPosition(), grown.getPosition());
    copy << 1;
    EXPECT_EQ(grown.getSize(), 4u);

    char block[4] = {1, 2, 3, 4};
    K_MemoryFile view(block, 4, false);
    view.disableTags();
    K_MemoryFile viewCopy(view);
    EXPECT_EQ(viewCopy.getAddress(), block);
    EXPECT_FALSE(viewCopy.areTagsEnabled());
}

TEST(MemoryFileBuffer, DestructTwiceThenConstructAgainWithTagsOn) {
    K_MemoryFile file;
    file.setFilename("kept");
    file.disableTags();
    file << 5;
    file.destruct();
    file.destruct();
    EXPECT_FALSE(file.isConstructed());
    EXPECT_STREQ(file.getFilename(), "kept");
    file.construct(16u);
    EXPECT_TRUE(file.areTagsEnabled());
    file << 5;
    EXPECT_EQ(hexOf(file), "14 05");
}

TEST(MemoryFileBuffer, WriteThroughSendsLargeWritesStraightToDisk) {
    TempDir dir;
    std::string const path = dir / "out.bin";
    std::string const data = pattern(300);
    {
        K_MemoryFile file(16, path.c_str());
        file.write(data.data(), 100);
        EXPECT_EQ(file.getSize(), 100u);
        EXPECT_EQ(file.getPosition(), 100u);
        file.write(data.data() + 100, 10); // into the buffer
        EXPECT_EQ(readFile(path), data.substr(0, 100));
        file.write(data.data() + 110, 10); // flushes the 10 before it
        EXPECT_EQ(readFile(path), data.substr(0, 110));
        EXPECT_STREQ(file.getFilename(), path.c_str());
        EXPECT_NE(raised<K_MemoryFileException_InvalidOperation>(
                      [&] { file.seek(0, K_MemoryFile::SeekBegin); }),
                  "none");
        EXPECT_NE(raised<K_MemoryFileException_InvalidOperation>([&] { file.toRead(); }), "none");
        EXPECT_NE(raised<K_MemoryFileException_InvalidOperation>([&] { K_MemoryFile c(file); }),
                  "none");
        file.write(data.data() + 120, 180);
    }
    EXPECT_EQ(readFile(path), data);

    K_MemoryFile unbuffered(0, (dir / "zero.bin").c_str());
    unbuffered.write("abc", 3);
    EXPECT_EQ(readFile(dir / "zero.bin"), "abc");
}

TEST(MemoryFileBuffer, WriteThroughThatCannotOpen) {
    TempDir dir;
    std::string const path = dir / "missing/deeper/out.bin";
    K_MemoryFile file;
    EXPECT_EQ(raised<K_MemoryFileException>([&] { file.construct(64, path.c_str()); }),
              "K_MemoryFile: Unable to open file (\"" + path + "\") for write");
    EXPECT_FALSE(file.isConstructed());
}

class MemoryFileByName : public FileSystemTest {
protected:
    void TearDown() override {
        K_MemoryFile::setDefaultAccessMethod(K_MemoryFile::ACCESS_MEMORY);
        FileSystemTest::TearDown();
    }
};

TEST_F(MemoryFileByName, SmallFilesLoadWholeLargeOnesStreamOnRequest) {
    std::string const data = pattern(0x40000);
    dir.write("small.bin", data.substr(0, 0x3FFFF));
    dir.write("large.bin", data);
    struct Case {
        char const* name;
        K_MemoryFile::AccessMethod method;
        K_MemoryFile::AccessMethod defaultMethod;
        bool inMemory;
    };
    Case const cases[] = {
        {"small.bin", K_MemoryFile::ACCESS_STREAM, K_MemoryFile::ACCESS_MEMORY, true},
        {"large.bin", K_MemoryFile::ACCESS_STREAM, K_MemoryFile::ACCESS_MEMORY, false},
        {"large.bin", K_MemoryFile::ACCESS_MEMORY, K_MemoryFile::ACCESS_STREAM, true},
        {"large.bin", K_MemoryFile::ACCESS_DEFAULT, K_MemoryFile::ACCESS_MEMORY, true},
        {"large.bin", K_MemoryFile::ACCESS_DEFAULT, K_MemoryFile::ACCESS_STREAM, false},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(std::string(c.name) + " " + std::to_string(c.method));
        K_MemoryFile::setDefaultAccessMethod(c.defaultMethod);
        K_MemoryFile file(c.name, c.method);
        EXPECT_EQ(file.getAddress() != nullptr, c.inMemory);
        EXPECT_STREQ(file.getFilename(), c.name);
        std::string const expected =
            std::string(c.name) == "small.bin" ? data.substr(0, 0x3FFFF) : data;
        ASSERT_EQ(file.getSize(), expected.size());
        std::string back(expected.size(), '\0');
        file.seek(1000, K_MemoryFile::SeekBegin);
        file.read(back.data() + 1000, static_cast<int>(back.size()) - 1000);
        file.seek(0, K_MemoryFile::SeekBegin);
        file.read(back.data(), 1000);
        EXPECT_EQ(back, expected);
        file.seek(0, K_MemoryFile::SeekEnd);
        EXPECT_NE(raised<K_MemoryFileException>([&] { file.read(back.data(), 1); }), "none");
    }
}

TEST_F(MemoryFileByName, AMissingFileLeavesTheObjectUnbuilt) {
    K_MemoryFile file;
    EXPECT_NE(raised<K_FileException_FileNotFound>(
                  [&] { file.construct("nothing.bin", K_MemoryFile::ACCESS_MEMORY); }),
              "none");
    EXPECT_FALSE(file.isConstructed());
}

TEST_F(MemoryFileByName, StreamViewsAndTheirCopiesReadTheirRange) {
    dir.write("data.bin", pattern(1000));
    K_FileStream stream("data.bin", 64);
    K_MemoryFile view(stream, 100, 50);
    EXPECT_EQ(view.getSize(), 50u);
    EXPECT_EQ(view.getAddress(), nullptr);
    view.seek(10, K_MemoryFile::SeekBegin);
    K_MemoryFile copy(view);
    std::string a(40, '\0');
    std::string b(40, '\0');
    view.read(a.data(), 40);
    copy.read(b.data(), 40);
    EXPECT_EQ(a, pattern(1000).substr(110, 40));
    EXPECT_EQ(b, a);
    EXPECT_NE(raised<K_MemoryFileException_InvalidOperation>([&] { view.write("x", 1); }), "none");

    // A view that promises more than the file holds: no read goes past the file.
    K_MemoryFile past(stream, 990, 20);
    std::string c(20, '\0');
    EXPECT_NE(raised<K_FileException_UnableToReadData>([&] { past.read(c.data(), 20); }), "none");
}

TEST_F(MemoryFileByName, SaveWritesTheBlock) {
    K_MemoryFile file;
    file.setFilename("saved.bin");
    file << K_String("abc");
    EXPECT_EQ(file.save(), 1);
    EXPECT_EQ(readFile(dir / "saved.bin"), std::string("\x0D\x14\x03"
                                                       "abc"));
    EXPECT_EQ(file.save("other.bin"), 1);
    EXPECT_EQ(readFile(dir / "other.bin"), readFile(dir / "saved.bin"));
}

} // namespace
