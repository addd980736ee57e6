// File streams over disk files and archive entries: ranges, seeks, the shared buffer and
// its window, copies, decoding in pieces, damaged entries, and sector-aligned reads.
#include "file/stream_test_support.h"

#include "kas/kas_writer.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

namespace {

using namespace klmfc::kas;
using klmfc::test::raised;
using klmfc::test::readRest;
using klmfc::test::StreamRoot;

std::string pattern(std::size_t size, unsigned step) {
    std::string out(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
        out[i] = static_cast<char>(i * step + i / 251);
    }
    return std::string(out);
}

std::string const kData = pattern(3000, 7);

std::vector<unsigned char> bytes(std::string const& s) {
    return {s.begin(), s.end()};
}

// A root with the disk file disk.bin and an archive a.KAS holding entry.bin, stored
// behind the tables (so off any sector boundary), and other entries as given.
void makeRoot(StreamRoot& root, std::function<void(Writer&)> const& more = {}) {
    root.dir.write("disk.bin", kData);
    Writer writer(11);
    writer.addFile("entry.bin", bytes(kData), MethodStored, {});
    if (more) {
        more(writer);
    }
    writer.write(root.dir / "a.KAS");
    root.enter();
}

struct Peek : K_FileStream {
    using K_FileStream::K_FileStream;
    K_FileStreamShared* shared() const { return m_shared; }
};
struct UnbufferedPeek : K_UnbufferedFileStream {
    using K_UnbufferedFileStream::K_UnbufferedFileStream;
    int bufferSize() const { return m_bufferSize; }
};

using Open = std::function<std::unique_ptr<K_FileStream>(char const*)>;
Open const kBuffered = [](char const* n) { return std::make_unique<K_FileStream>(n, 64); };
Open const kUnbuffered = [](char const* n) {
    return std::make_unique<K_UnbufferedFileStream>(n, 0);
};

TEST(FileStream, DiskFilesAndStoredEntriesReadSeekAndClampLikeTheFile) {
    StreamRoot root;
    makeRoot(root);
    struct Seek {
        K_FileStream::SeekMode mode;
        unsigned offset, position;
    } const seeks[] = {
        {K_FileStream::SeekBegin, 100, 100},    {K_FileStream::SeekCurrent, 50, 155},
        {K_FileStream::SeekCurrent, -60u, 100}, {K_FileStream::SeekEnd, 0, 3000},
        {K_FileStream::SeekEnd, 10, 2990},      {K_FileStream::SeekBegin, 5000, 3000}};
    for (char const* name : {"disk.bin", "ENTRY.BIN"}) {
        for (Open const& open : {kBuffered, kUnbuffered}) {
            SCOPED_TRACE(name);
            auto stream = open(name);
            EXPECT_EQ(stream->size(), 3000u);
            EXPECT_EQ(stream->getName(), root.root() + (name[0] == 'd' ? "/disk.bin" : "/a.KAS"));
            EXPECT_EQ(readRest(*stream, {1, 63, 64, 700}), kData);
            EXPECT_EQ(stream->read(nullptr, 10), 0u);
            for (auto const& s : seeks) {
                EXPECT_EQ(stream->seek(s.offset, s.mode), 0);
                ASSERT_EQ(stream->getPosition(), s.position) << s.offset;
                char got[5];
                unsigned const n = stream->read(got, 5);
                EXPECT_EQ(std::string(got, n), kData.substr(s.position, 5));
            }
        }
    }
}

TEST(FileStream, ShortSeekReadsFromTheBufferAndFarSeekFromTheFile) {
    StreamRoot root;
    makeRoot(root);
    root.dir.write("other.bin", std::string(3000, 'o'));
    Peek stream("disk.bin", 1000);
    char got[100];
    stream.read(got, 10);
    // From here on the file read is another one: only the buffer still has the data.
    std::FILE* const original = stream.shared()->file;
    stream.shared()->file = std::fopen((root.dir / "other.bin").c_str(), "rb");
    stream.seek(500, K_FileStream::SeekBegin);
    EXPECT_EQ(std::string(got, stream.read(got, 100)), kData.substr(500, 100));
    stream.seek(1500, K_FileStream::SeekBegin);
    EXPECT_EQ(std::string(got, stream.read(got, 100)), std::string(100, 'o'));
    std::fclose(stream.shared()->file);
    stream.shared()->file = original;
}

TEST(FileStream, CopiesReadTheirOwnRangesThroughTheSharedBuffer) {
    StreamRoot root;
    makeRoot(root);
    for (char const* name : {"disk.bin", "entry.bin"}) {
        SCOPED_TRACE(name);
        auto source = std::make_unique<K_FileStream>(name, 16);
        char got[8];
        source->read(got, 7);
        K_FileStream sub(*source, 10, 20);
        EXPECT_EQ(sub.getPosition(), 0u);
        EXPECT_EQ(sub.size(), 20u);
        EXPECT_EQ(readRest(sub, {3}), kData.substr(10, 20));
        K_FileStream here(*source, -1, -1);
        EXPECT_EQ(here.getPosition(), 7u);

        // `here` reads inside the window that `source` filled, then `source` goes on.
        source->seek(0, K_FileStream::SeekBegin);
        source->read(got, 5);
        here.seek(8, K_FileStream::SeekBegin);
        EXPECT_EQ(std::string(got, here.read(got, 4)), kData.substr(8, 4));
        EXPECT_EQ(std::string(got, source->read(got, 4)), kData.substr(5, 4));

        // A stream that goes leaves no claim on the buffer to one built in its place.
        std::optional<K_FileStream> slot(std::in_place, *source, 100, 50);
        slot->read(got, 4);
        slot.emplace(*source, 300, 50);
        EXPECT_EQ(std::string(got, slot->read(got, 4)), kData.substr(300, 4));

        // Turns from places far apart, and on after the source is gone.
        K_FileStream far(*source, 2000, 1000);
        far.seek(-100u, K_FileStream::SeekBegin); // before the start: stops there
        EXPECT_EQ(far.getPosition(), 0u);
        std::string near;
        std::string away;
        for (int i = 0; i < 40; ++i) {
            near.append(got, here.read(got, 5));
            away.append(got, far.read(got, 7));
            if (i == 20) {
                source.reset();
            }
        }
        EXPECT_EQ(near, kData.substr(12, 200));
        EXPECT_EQ(away, kData.substr(2000, 280));
        EXPECT_EQ(far.getName(), root.root() + (name[0] == 'd' ? "/disk.bin" : "/a.KAS"));
    }
}

TEST(FileStream, CompressedAndScrambledEntriesDecodeInAnyPieces) {
    StreamRoot root;
    std::string text;
    for (int i = 0; text.size() < 20000; ++i) {
        text += "entry " + std::to_string(i % 97) + " of the stream, " + pattern(i % 13, 3) + "\n";
    }
    makeRoot(root, [&](Writer& w) {
        w.addFile("c.txt", bytes(text), MethodCompressed, {});
        w.addFile("s.txt", bytes(text), MethodScrambled, {});
    });
    for (char const* name : {"c.txt", "s.txt"}) {
        for (int buffer : {1, 4, 5, 64, 65536}) {
            SCOPED_TRACE(std::string(name) + " " + std::to_string(buffer));
            K_FileStream stream(name, buffer);
            EXPECT_EQ(stream.size(), text.size());
            EXPECT_EQ(readRest(stream, {1, 3, 17, 4096}), text);
        }
        K_FileStream stream(name, 64);
        EXPECT_EQ(raised([&] { stream.seek(0, K_FileStream::SeekBegin); }),
                  "Cannot seek compressed file stream \"" + std::string(name) + "\"");
        EXPECT_EQ(raised([&] { K_FileStream copy(stream); }),
                  "Cannot copy construct compressed file stream \"" + std::string(name) + "\"");
        EXPECT_EQ(raised([&] { K_UnbufferedFileStream u(name, 0); }),
                  "File \\" + std::string(name) + " is not a stream");
    }
}

// Changes the first file entry of an archive of one seed, keeping the checksums right.
void patchEntry(std::string const& path, std::int32_t seed, std::size_t nameLength,
                std::function<void(unsigned char* tail)> const& change) {
    std::string archive = klmfc::test::readFile(path);
    auto* a = reinterpret_cast<unsigned char*>(archive.data());
    descrambleRun(a + 8, 36, seed);
    std::uint32_t const fileTableSize = getLE32(a + 16);
    descrambleRun(a + 44, fileTableSize, seed);
    change(a + 44 + nameLength + 1);
    putLE32(a + 32, K_File::CRC32(a + 44, fileTableSize));
    putLE32(a + 28, 0);
    putLE32(a + 28, K_File::CRC32(a, 44));
    scrambleRun(a + 8, 36, seed);
    scrambleRun(a + 44, fileTableSize, seed);
    std::FILE* out = std::fopen(path.c_str(), "wb");
    std::fwrite(archive.data(), 1, archive.size(), out);
    std::fclose(out);
}

TEST(FileStream, DamagedEntriesRaiseInsteadOfDeliveringOrHanging) {
    std::string const text = pattern(5000, 1);
    struct Case {
        char const* what;
        Method method;
        std::function<void(std::string const&)> damage; // the archive's path
        bool loadAfter; // damage the archive after the archive set has read it
        bool unbuffered;
        char const* message;
    } const cases[] = {
        {"code stream cut short", MethodCompressed,
         [](std::string const& p) {
             patchEntry(p, 3, 5, [](unsigned char* t) { putLE32(t + 4, getLE32(t + 4) / 2); });
         },
         false, false, "File x.txt is corrupted"},
        {"size beyond the container's", MethodScrambled,
         [](std::string const& p) {
             patchEntry(p, 3, 5, [](unsigned char* t) { putLE32(t, 5001); });
         },
         false, false, "File x.txt is corrupted"},
        {"archive cut after loading", MethodCompressed,
         [](std::string const& p) { std::filesystem::resize_file(p, 200); }, true, false,
         "Unable to read data from \"x.txt\""},
        {"stored, archive cut after loading", MethodStored,
         [](std::string const& p) { std::filesystem::resize_file(p, 200); }, true, false,
         "Unable to read data from \"x.txt\""},
        {"stored, unbuffered, archive cut after loading", MethodStored,
         [](std::string const& p) { std::filesystem::resize_file(p, 200); }, true, true,
         "Overreading stream x.txt"},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.what);
        StreamRoot root;
        Writer writer(3);
        writer.addFile("x.txt", bytes(text), c.method, {});
        writer.write(root.dir / "a.KAS");
        if (!c.loadAfter) {
            c.damage(root.dir / "a.KAS");
        }
        root.enter();
        if (c.loadAfter) {
            c.damage(root.dir / "a.KAS");
        }
        EXPECT_EQ(raised([&] {
                      std::unique_ptr<K_FileStream> s =
                          (c.unbuffered ? kUnbuffered : kBuffered)("x.txt");
                      readRest(*s, {1000});
                  }),
                  c.message);
    }
}

TEST(UnbufferedFileStream, ReadsWholeSectorsFromAnyPosition) {
    StreamRoot root;
    makeRoot(root);
    struct Case {
        unsigned sector;
        int asked, used;
    } const cases[] = {{512, 0, 8192}, {512, 1000, 1024}, {4096, 1000, 4096}, {4096, 8193, 12288}};
    for (auto const& c : cases) {
        SCOPED_TRACE(c.asked);
        klmfc::platform::setSectorSize(c.sector);
        for (char const* name : {"disk.bin", "entry.bin"}) {
            UnbufferedPeek stream(name, c.asked);
            EXPECT_EQ(stream.bufferSize(), c.used);
            stream.seek(777, K_FileStream::SeekBegin);
            EXPECT_EQ(readRest(stream, {1, 511, 4097}), kData.substr(777));
            K_UnbufferedFileStream copy(stream, 10, 20);
            EXPECT_EQ(readRest(copy, {7}), kData.substr(10, 20));
        }
    }
}

TEST(FileStream, MissingFilesAndArchivesAreNamed) {
    StreamRoot root;
    makeRoot(root);
    std::filesystem::remove(root.dir / "a.KAS");
    for (Open const& open : {kBuffered, kUnbuffered}) {
        EXPECT_EQ(raised([&] { open("nope.txt"); }), "File " + root.root() + "/nope.txt not found");
        EXPECT_EQ(raised([&] { open("entry.bin"); }),
                  "Archive " + root.root() + "/a.KAS not found");
    }
}

} // namespace
