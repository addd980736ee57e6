// A tree packed by the kas writer with each storage method serves every file and directory
// through load, size, where and findFirst/findNext exactly as the tree on disk does.
#include "file/file_fixture.h"

#include "kas/kas_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace {

using klmfc::test::Bytes;
using klmfc::test::raised;
using klmfc::test::TempDir;

// What the name space shows of a tree: per file its size and checksum, per directory
// the sorted names that a search lists, and the message for a name that is nowhere.
std::map<std::string, std::string> view(std::vector<std::string> const& files,
                                        std::vector<std::string> const& directories,
                                        K_File::Location expected, int method) {
    std::map<std::string, std::string> out;
    for (std::string const& name : files) {
        EXPECT_EQ(expected, File->where(name.c_str())) << name;
        EXPECT_EQ(0, File->isDirectory(name.c_str()));
        EXPECT_EQ(method, File->getMethod(name.c_str()));
        unsigned const size = File->size(name.c_str());
        std::string bytes(size + 1, '\xee');
        File->load(static_cast<void*>(&bytes[0]), name.c_str(), ~0u);
        EXPECT_EQ('\xee', bytes[size]) << name; // nothing written past the file
        bytes.resize(size);
        if (size != 0) {
            char* block = File->load(name.c_str(), ~0u);
            EXPECT_EQ(bytes, std::string(block, size));
            File->free(block);
        }
        out["file " + name] = std::to_string(size) + " bytes, CRC " +
                              std::to_string(K_File::CRC32(bytes.data(), size));
    }
    for (std::string const& name : directories) {
        EXPECT_EQ(1, File->isDirectory(name.c_str())) << name;
        File->changeDirectory(name.c_str());
        for (char const* pattern : {"*", "*.txt", "L?.*"}) {
            std::vector<std::string> names;
            for (char const* n = File->findFirst(pattern); n != nullptr; n = File->findNext()) {
                if (std::string(n) != "game.KAS") {
                    names.emplace_back(n);
                }
            }
            std::sort(names.begin(), names.end());
            for (std::string const& n : names) {
                out["list " + name + " " + pattern] += n + "|";
            }
        }
        File->changeDirectory("\\");
    }
    out["missing"] = raised<K_FileException_FileNotFound>([] { File->size("data\\no.txt"); });
    return out;
}

TEST(KasArchiveFiles, EveryFileAndDirectoryOfAPackedTreeServesAsOnDisk) {
    Bytes const random = klmfc::test::randomBytes(70000, 5);
    Bytes const text = klmfc::test::textBytes(30000, 6);
    TempDir tree;
    tree.write("empty.txt", "");
    tree.write("one.txt", "1");
    tree.write("Docs/ReadMe.txt", std::string(text.begin(), text.begin() + 5000));
    tree.write("data/levels/l1.bin", std::string(random.begin(), random.end()));
    tree.write("data/levels/L2.txt", std::string(text.begin(), text.end()));
    tree.write("data/x.bin", std::string(random.begin(), random.begin() + 4095));
    tree.mkdir("data/empty_dir");
    std::vector<std::string> const files = {
        "empty.txt",  "ONE.TXT", "docs\\readme.txt", "data/levels/l1.bin", "Data\\Levels\\l2.txt",
        "data\\x.bin"};
    // Directories are entered as the tree spells them: a search finds the subdirectories of
    // an archive's directory by its name as written.
    std::vector<std::string> const directories = {"\\", "Docs", "data", "data\\levels",
                                                  "data\\empty_dir"};
    std::string const original = K_File::getRootDirectory();
    File->setFileSystemRoot(tree.path().c_str());
    auto const onDisk = view(files, directories, K_File::LocationDisk, K_File::MethodStored);
    for (klmfc::kas::Method method :
         {klmfc::kas::MethodStored, klmfc::kas::MethodCompressed, klmfc::kas::MethodScrambled}) {
        SCOPED_TRACE(method);
        TempDir archiveRoot;
        klmfc::kas::packDirectory(archiveRoot / "game.KAS", tree.path(), {method, 41, 0});
        File->setFileSystemRoot(archiveRoot.path().c_str());
        EXPECT_EQ(onDisk, view(files, directories, K_File::LocationArchive, method));
    }
    File->setFileSystemRoot(original.c_str());
}

} // namespace
