// Enumeration over disk and archives, and the scope of a directory change.
#include "file/file_fixture.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace {

using klmfc::test::FileSystemTest;
using klmfc::test::KasBuilder;
using klmfc::test::raised;

using FileSearch = FileSystemTest;

// Every name of a search, joined by blanks; the search must then stay ended.
std::string listing(char const* pattern) {
    std::string out;
    for (char const* name = File->findFirst(pattern); name != nullptr; name = File->findNext()) {
        out += out.empty() ? "" : " ";
        out += name;
    }
    EXPECT_EQ(nullptr, File->findNext());
    return out;
}

TEST_F(FileSearch, DiskEntriesThenArchiveDirectoriesThenArchiveFiles) {
    dir.write("b.tga", "");
    dir.write("A.TGA", "");
    dir.write("noext", "");
    dir.write("a/in_a.txt", "");
    EXPECT_EQ("A.TGA a b.tga noext", listing("*")); // no archives: the disk alone
    KasBuilder first;
    first.directories = {"\\",          "\\sub\\", "\\adir\\",  "\\a\\",
                         "\\a\\x\\y\\", "\\B\\",   "\\B\\Sub\\"};
    first.add("b.tga", "").add("x.tga", "").add("sub\\y.tga", "");
    first.add("\\B\\", "g.txt", {}, K_File::MethodStored);
    first.write(dir / "1.KAS");
    KasBuilder second;
    second.directories = {"\\", "\\bdir\\"};
    second.add("z.TGA", "").add("w.txt", "").write(dir / "2.KAS");
    reload();
    struct Row {
        char const* current;
        char const* pattern;
        char const* names;
    } const rows[] = {
        {"\\", "*.tga", "A.TGA b.tga b.tga x.tga z.TGA"}, // a name in two places comes twice
        {"\\", "*", "1.KAS 2.KAS A.TGA a b.tga noext a adir B sub bdir b.tga x.tga w.txt z.TGA"},
        {"\\", "*.*", "1.KAS 2.KAS A.TGA b.tga b.tga x.tga w.txt z.TGA"},
        {"\\", "?dir", "adir bdir"},
        // The disk lists the current directory, the archives the pattern's directory.
        {"\\a\\", "\\B\\*.*", "in_a.txt g.txt"},
        // \a\x\y\ lies two levels below \a\: no x.
        {"\\a\\", "*", "in_a.txt"},
        // Files of a directory spelt otherwise are listed, its subdirectories are not.
        {"\\", "\\b\\*", "1.KAS 2.KAS A.TGA a b.tga noext g.txt"},
        {"\\", "\\B\\*", "1.KAS 2.KAS A.TGA a b.tga noext Sub g.txt"},
        {"\\", "nothing*", ""},
    };
    for (Row const& row : rows) {
        File->changeDirectory(row.current);
        EXPECT_EQ(row.names, listing(row.pattern)) << row.current << " " << row.pattern;
    }
    // A search that outlives a change of the archive set ends instead of reading freed
    // tables.
    File->changeDirectory("\\");
    EXPECT_STREQ("x.tga", File->findFirst("x*"));
    reload();
    EXPECT_EQ(nullptr, File->findNext());
}

TEST_F(FileSearch, DirectoryChangeScopesNestAndUndo) {
    dir.mkdir("a/b");
    auto current = [] { return std::string(File->getCurrentDirectory()); };
    {
        K_FileDirectoryChange outer(K_String("a"));
        {
            K_FileDirectoryChange inner(K_String("b"));
            EXPECT_EQ("\\a\\b\\", current());
        }
        EXPECT_EQ("\\a\\", current());
        // A second change goes back to the first directory before it moves: a\a is no
        // directory.
        outer.construct(K_String("a"));
        EXPECT_EQ("\\a\\", current());
    }
    EXPECT_EQ("\\", current());
    try {
        K_FileDirectoryChange scope(K_String("a\\b"));
        throw 1;
    } catch (int) {
    }
    EXPECT_EQ("\\", current());
    K_FileDirectoryChange change;
    EXPECT_EQ("Directory \\missing not found", raised<K_FileException_DirectoryNotFound>(
                                                   [&] { change.construct(K_String("missing")); }));
    EXPECT_FALSE(change.isConstructed());
    EXPECT_EQ("\\", current());
    for (char const* same : {"", "."}) {
        change.construct(K_String(same));
        EXPECT_TRUE(change.isConstructed());
        EXPECT_EQ("\\", current());
    }
    change.destruct();
    // The directory to go back to has gone: the name is restored all the same, quietly.
    K_FileDirectoryChange outer(K_String("a"));
    K_FileDirectoryChange inner(K_String("b"));
    std::filesystem::remove_all(dir / "a");
    inner.destruct();
    EXPECT_EQ("\\a\\", current());
    outer.destruct();
    EXPECT_EQ("\\", current());
}

} // namespace
