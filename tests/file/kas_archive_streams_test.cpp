// A tree packed by the kas writer with each storage method serves every file through
// both streams exactly as the tree on disk does.
#include "file/stream_test_support.h"

#include "kas/kas_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace {

using klmfc::test::raised;
using klmfc::test::readRest;
using klmfc::test::StreamRoot;

std::string randomText(std::size_t size, unsigned seed, bool words) {
    std::mt19937 engine(seed);
    std::string out;
    while (out.size() < size) {
        out += words ? std::string("the stream of ") + std::to_string(engine() % 50) + " words\n"
                     : std::string(1, static_cast<char>(engine()));
    }
    return out.substr(0, size);
}

TEST(KasArchiveStreams, EveryFileOfAPackedTreeReadsAsOnDisk) {
    klmfc::test::TempDir tree;
    std::vector<std::pair<std::string, std::string>> const files = {
        {"empty.txt", ""},
        {"one.txt", "1"},
        {"docs/readme.txt", randomText(5000, 1, true)},
        {"data/levels/l1.bin", randomText(70000, 2, false)},
        {"data/levels/L2.txt", randomText(30000, 3, true)},
        {"data/x.bin", randomText(4095, 4, false)},
    };
    for (auto const& [name, contents] : files) {
        tree.write(name, contents);
    }
    for (klmfc::kas::Method method :
         {klmfc::kas::MethodStored, klmfc::kas::MethodCompressed, klmfc::kas::MethodScrambled}) {
        StreamRoot archiveRoot;
        klmfc::kas::packDirectory(archiveRoot.dir / "game.KAS", tree.path(), {method, 77, 0});
        for (bool fromArchive : {false, true}) {
            SCOPED_TRACE(std::to_string(method) + (fromArchive ? " archive" : " disk"));
            StreamRoot root; // brings back the root of before at the end
            File->setFileSystemRoot(fromArchive ? archiveRoot.dir.path().c_str()
                                                : tree.path().c_str());
            for (auto const& [name, contents] : files) {
                K_FileStream stream(name.c_str(), 256);
                EXPECT_EQ(stream.size(), contents.size()) << name;
                EXPECT_EQ(readRest(stream, {1000, 7}), contents) << name;
                if (!fromArchive || method == klmfc::kas::MethodStored) {
                    K_UnbufferedFileStream unbuffered(name.c_str(), 0);
                    EXPECT_EQ(readRest(unbuffered, {4096, 5}), contents) << name;
                } else {
                    std::string absolute = "\\" + name;
                    std::replace(absolute.begin(), absolute.end(), '/', '\\');
                    EXPECT_EQ(raised([&] { K_UnbufferedFileStream u(name.c_str(), 0); }),
                              "File " + absolute + " is not a stream");
                }
            }
        }
    }
}

} // namespace
