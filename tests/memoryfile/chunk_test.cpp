// Chunks: their bytes, nesting, the size patched on disk behind a write-through buffer,
// reading a tree back through peek, open and skip in memory and by stream, and damaged
// headers.
#include "memoryfile/memoryfile_test_support.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

using klmfc::test::FileSystemTest;
using klmfc::test::hexOf;
using klmfc::test::raised;
using klmfc::test::readFile;

using Chunk = K_MemoryFile::Chunk;

std::string bytes(std::initializer_list<int> values) {
    std::string out;
    for (int v : values) {
        out += static_cast<char>(v);
    }
    return out;
}

TEST(MemoryFileChunks, HeaderBytesAndSizes) {
    K_MemoryFile empty;
    empty.createChunk(7, 1);
    empty.closeChunk();
    EXPECT_EQ(hexOf(empty), "0C 07 00 00 00 01 00 00 00 0D 00 00 00");

    K_MemoryFile one;
    one.createChunk(7, 1);
    one << 5;
    one.closeChunk();
    EXPECT_EQ(hexOf(one), "0C 07 00 00 00 01 00 00 00 0F 00 00 00 14 05");

    K_MemoryFile nested;
    nested << 1;
    nested.createChunk(0x01020304, 0xA0B0C0D0);
    nested.createChunk(2, 2);
    nested << 5;
    nested.closeChunk();
    nested.closeChunk();
    nested << 2;
    EXPECT_EQ(hexOf(nested), "14 01 0C 04 03 02 01 D0 C0 B0 A0 1C 00 00 00 "
                             "0C 02 00 00 00 02 00 00 00 0F 00 00 00 14 05 14 02");
    EXPECT_NE(raised<K_MemoryFileException_InvalidOperation>([&] { nested.closeChunk(); }), "none");
}

TEST(MemoryFileChunks, OpenPeekAndSkip) {
    K_MemoryFile file;
    file.createChunk(7, 3);
    file << 5;
    file.closeChunk();
    file.createChunk(8, 1);
    file.closeChunk();
    file.toRead();

    Chunk first = file.openChunk(12345);
    Chunk again;
    file.openChunk(again, 0);
    EXPECT_EQ(file.getPosition(), 0u);
    for (Chunk* c : {&first, &again}) {
        EXPECT_TRUE(c->isValid());
        EXPECT_EQ(c->getID(), 7u);
        EXPECT_EQ(c->getVersion(), 3u);
        EXPECT_EQ(c->getSize(), 2u);
        EXPECT_EQ(hexOf(c->getMemoryFile()), "14 05");
    }
    file.skipChunk();
    EXPECT_EQ(file.getPosition(), 15u);
    Chunk second = file.peekChunk();
    EXPECT_EQ(second.getID(), 8u);
    EXPECT_EQ(second.getSize(), 0u);
    file.skipChunk();
    Chunk end = file.peekChunk();
    EXPECT_FALSE(end.isValid());
    EXPECT_EQ(end.getID(), 0u);
    file.skipChunk();
    EXPECT_EQ(file.getPosition(), 28u);
}

// A tree of chunks, large enough to be read by stream:
//   1 v1 { int 5, 2 v3 { "hello" }, 3 v1 { 300000 bytes, 4 v2 { float 1 } } }, 5 v1 {}
constexpr unsigned int kBulk = 300000;

std::string bulk() {
    std::string out(kBulk, '\0');
    for (unsigned int i = 0; i < kBulk; ++i) {
        out[i] = static_cast<char>(i % 251);
    }
    return out;
}

void writeTree(K_MemoryFile& file) {
    static std::string const data = bulk();
    file.createChunk(1, 1);
    file << 5;
    file.createChunk(2, 3);
    file << K_String("hello");
    file.closeChunk();
    file.createChunk(3, 1);
    file.write(data.data(), 16);
    file.write(data.data() + 16, static_cast<int>(kBulk) - 16);
    file.createChunk(4, 2);
    file << 1.0f;
    file.closeChunk();
    file.closeChunk();
    file.closeChunk();
    file.createChunk(5, 1);
    file.closeChunk();
}

void checkChunk(Chunk const& c, unsigned int id, unsigned int version, unsigned int size) {
    EXPECT_TRUE(c.isValid());
    EXPECT_EQ(c.getID(), id);
    EXPECT_EQ(c.getVersion(), version);
    EXPECT_EQ(c.getSize(), size);
}

void checkTree(K_MemoryFile& file) {
    ASSERT_EQ(file.getSize(), 300080u);
    Chunk a = file.peekChunk();
    checkChunk(a, 1, 1, 300054);
    K_MemoryFile& payload = a.getMemoryFile();
    int five = 0;
    payload >> five;
    EXPECT_EQ(five, 5);
    Chunk b;
    a.peekChunk(b);
    checkChunk(b, 2, 3, 8);
    K_String hello;
    b.getMemoryFile() >> hello;
    EXPECT_EQ(hello, "hello");
    a.skipChunk();
    EXPECT_EQ(payload.getPosition(), 23u);
    Chunk c = a.openChunk(3);
    checkChunk(c, 3, 1, 300018);
    std::string head(16, '\0');
    c.getMemoryFile().read(head.data(), 16);
    EXPECT_EQ(head, bulk().substr(0, 16));
    c.getMemoryFile().seek(static_cast<int>(kBulk), K_MemoryFile::SeekBegin);
    Chunk d = c.openChunk(4);
    checkChunk(d, 4, 2, 5);
    float one = 0;
    d.getMemoryFile() >> one;
    EXPECT_EQ(one, 1.0f);
    a.skipChunk();
    EXPECT_EQ(payload.getPosition(), payload.getSize());
    EXPECT_FALSE(a.peekChunk().isValid());
    file.skipChunk();
    checkChunk(file.peekChunk(), 5, 1, 0);
    file.skipChunk();
    EXPECT_EQ(file.getPosition(), file.getSize());
    EXPECT_FALSE(file.peekChunk().isValid());
}

class MemoryFileChunkTree : public FileSystemTest {};

TEST_F(MemoryFileChunkTree, WrittenThroughAnyBufferReadsBackInMemoryAndByStream) {
    K_MemoryFile reference;
    writeTree(reference);
    reference.toRead();
    checkTree(reference);
    std::string const expected(static_cast<char const*>(reference.getAddress()),
                               reference.getSize());
    for (unsigned int buffer : {0u, 1u, 5u, 13u, 16u, 64u, 4096u, 1u << 20}) {
        SCOPED_TRACE("buffer " + std::to_string(buffer));
        {
            K_MemoryFile file(buffer, (dir / "tree.bin").c_str());
            writeTree(file);
            EXPECT_EQ(file.getSize(), expected.size());
        }
        ASSERT_EQ(readFile(dir / "tree.bin"), expected);
    }
    K_MemoryFile inMemory("tree.bin", K_MemoryFile::ACCESS_MEMORY);
    ASSERT_NE(inMemory.getAddress(), nullptr);
    checkTree(inMemory);
    K_MemoryFile byStream("tree.bin", K_MemoryFile::ACCESS_STREAM);
    ASSERT_EQ(byStream.getAddress(), nullptr);
    checkTree(byStream);
}

TEST(MemoryFileChunks, ANestedChunkOpensIntoItsOwnParent) {
    K_MemoryFile file;
    file.createChunk(1, 1);
    file.createChunk(2, 1);
    file << 9;
    file.closeChunk();
    file.closeChunk();
    file.toRead();
    Chunk c = file.openChunk(1);
    c.openChunk(c, 2); // the view becomes its own child's
    checkChunk(c, 2, 1, 2);
    int nine = 0;
    c.getMemoryFile() >> nine;
    EXPECT_EQ(nine, 9);
}

// Damaged chunk data and what each reading call makes of it.
struct Damaged {
    char const* name;
    std::string data;
    std::function<void(K_MemoryFile&)> call;
    std::string raised; // "none" when the call succeeds
    unsigned int positionAfter;
};

TEST(MemoryFileChunks, DamagedHeadersNeverReachOutsideTheParent) {
    std::string const dataError = "Invalid data read from an K_MemoryFile(\"c\")";
    std::string const overreading = "Read of the end of an K_MemoryFile(\"c\")";
    std::string const seek = "K_MemoryFile seek out of range(\"c\")";
    auto open = [](K_MemoryFile& f) { f.openChunk(0); };
    auto peek = [](K_MemoryFile& f) { EXPECT_FALSE(f.peekChunk().isValid()); };
    auto skip = [](K_MemoryFile& f) { f.skipChunk(); };
    auto openInner = [](K_MemoryFile& f) { f.openChunk(0).openChunk(0); };
    std::string const big = bytes({12, 1, 0, 0, 0, 1, 0, 0, 0, 15, 0, 0, 0, 0});
    std::string const tiny = bytes({12, 1, 0, 0, 0, 1, 0, 0, 0, 5, 0, 0, 0, 0});
    std::string const zero = bytes({12, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0});
    std::string const wraps = bytes({0x14, 0, 12, 1, 0, 0, 0, 1, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF});
    // An outer chunk with a payload of 15 bytes whose inner chunk claims 16, which the file
    // behind the outer one would hold.
    std::string const nested = bytes({12, 1, 0, 0, 0, 1, 0,  0, 0, 28, 0, 0, 0, 12, 2, 0,
                                      0,  0, 1, 0, 0, 0, 16, 0, 0, 0,  0, 0, 0, 0,  0, 0});
    std::vector<Damaged> const cases = {
        {"open on other data", bytes({0x14, 5}), open, dataError, 1},
        {"open on a cut header", bytes({12, 1, 0, 0}), open, overreading, 0},
        {"peek on a cut header", bytes({12, 1, 0, 0}), [](K_MemoryFile& f) { f.peekChunk(); },
         overreading, 0},
        {"open beyond the parent", big, open, dataError, 0},
        {"peek beyond the parent", big, [](K_MemoryFile& f) { f.peekChunk(); }, dataError, 0},
        {"open below the header", tiny, open, dataError, 0},
        {"skip beyond the parent", big, skip, seek, 0},
        {"skip of size 0", zero, skip, dataError, 0},
        {"inner beyond the outer", nested, openInner, dataError, 0},
        {"peek on other data", bytes({0x14, 5}), peek, "none", 0},
        {"peek on a lone last tag", bytes({12}), peek, "none", 0},
        {"skip on other data", bytes({0x14, 5}), skip, "none", 0},
    };
    for (Damaged const& c : cases) {
        SCOPED_TRACE(c.name);
        K_MemoryFile file(c.data.data(), static_cast<unsigned int>(c.data.size()), false);
        file.setFilename("c");
        EXPECT_EQ(raised<K_MemoryFileException>([&] { c.call(file); }), c.raised);
        EXPECT_EQ(file.getPosition(), c.positionAfter);
    }
    K_MemoryFile file(wraps.data(), static_cast<unsigned int>(wraps.size()), false);
    file.seek(2, K_MemoryFile::SeekBegin);
    EXPECT_NE(raised<K_MemoryFileException_SeekOutOfRange>([&] { file.skipChunk(); }), "none");
    EXPECT_EQ(file.getPosition(), 2u);
}

} // namespace
