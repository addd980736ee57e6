// The forms of a name: absolute names with their dot rules in both path modes, disk paths,
// the current directory, and the wildcard rule.
#include "file/file_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace {

using klmfc::test::FileSystemTest;
using klmfc::test::raised;

using FileNames = FileSystemTest;

TEST_F(FileNames, AbsoluteNamesFollowTheDotRules) {
    struct Row {
        char const* current;
        char const* name;
        char const* absolute;
    } const rows[] = {
        {"\\", "a/b\\c", "\\a\\b\\c"},
        {"\\", "\\a\\b\\..\\c", "\\a\\c"},
        {"\\", "\\a\\.\\c", "\\a\\c"},
        {"\\", "\\a\\b\\..", "\\a"},
        {"\\", "a.\\b", "\\ab"}, // a dot at the end of a directory name goes
        {"\\", "./x", "\\.\\x"}, // "/" is not a backslash to the dot rule
        {"\\", ".\\x", "\\x"},
        {"\\", "\\abc..\\x", "\\x"}, // two dots go up wherever they stand
        {"\\", "a\\", "\\a"},
        {"\\", "\\", ""},
        {"\\", "", ""},
        // Climbing above the root stays at the root.
        {"\\", "..", ""},
        {"\\", "..\\x", "\\x"},
        {"\\", "a\\b\\..\\..\\..\\c", "\\c"},
        {"\\data\\sub\\", "..\\..\\..\\z", "\\z"},
        {"\\data\\", "x.tga", "\\data\\x.tga"},
        {"\\data\\", "", "\\data"},
        {"\\data\\", "..\\y", "\\y"},
        {"\\data\\", "\\y", "\\y"},
    };
    for (Row const& row : rows) {
        std::strcpy(K_File::m_path, row.current);
        EXPECT_EQ(row.absolute, K_FileTestAccess::absolute(row.name))
            << row.current << " " << row.name;
    }
    // A name too long for a path buffer is cut; a long one that fits is found.
    std::strcpy(K_File::m_path, "\\");
    std::string const longName(300, 'x');
    EXPECT_EQ("\\" + std::string(254, 'x'), K_FileTestAccess::absolute(longName.c_str()));
    dir.write(std::string(200, 'x'), "x");
    EXPECT_EQ(K_File::LocationDisk, File->where(std::string(200, 'x').c_str()));
}

TEST_F(FileNames, DiskPathsHangBelowTheRootWithTheSystemsSeparator) {
    EXPECT_EQ(root + "/a/b.txt", K_FileTestAccess::disk("\\a\\b.txt"));
    EXPECT_EQ(root, K_FileTestAccess::disk(""));
    dir.write("Data/Sub/File.TXT", "disk");
    for (char const* name : {"Data/Sub/File.TXT", "data\\sub\\file.txt", "DATA/SUB/FILE.txt"}) {
        EXPECT_EQ(K_File::LocationDisk, File->where(name)) << name;
    }
}

TEST_F(FileNames, WithArchiveHandlingOffNamesAreSystemPaths) {
    dir.write("f.txt", "x");
    File->setArchiveHandling(K_File::ArchiveHandlingOff);
    std::string named = root;
    std::replace(named.begin(), named.end(), '/', '\\');
    EXPECT_EQ(named + "\\", File->getCurrentDirectory());
    struct Row {
        std::string name;
        std::string absolute;
    } const rows[] = {
        {"a/b", named + "\\a\\b"},
        {"\\etc\\hosts", "\\etc\\hosts"},
        {"C:\\x\\..\\y", "C:\\x\\..\\y"},
        {"\\\\srv\\share\\..", "\\\\srv\\share\\.."},
        {"..", named.substr(0, named.rfind('\\'))},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(row.absolute, K_FileTestAccess::absolute(row.name.c_str())) << row.name;
    }
    EXPECT_EQ("/etc/hosts", K_FileTestAccess::disk("\\etc\\hosts"));
    EXPECT_EQ(K_File::LocationDisk, File->where((named + "\\F.TXT").c_str()));
    File->setArchiveHandling(K_File::ArchiveHandlingOn);
    EXPECT_STREQ("\\", File->getCurrentDirectory());
}

TEST_F(FileNames, FullPathNamePathAndFilename) {
    struct Row {
        char const* name;
        char const* full;
        char const* path;
        char const* file;
    } const rows[] = {
        {"a/b\\c.tga", "\\a\\b\\c.tga", "\\a\\b\\", "c.tga"},
        {"c.tga", "\\c.tga", "\\", "c.tga"},
        {"", "", "", ""},
    };
    K_String path;
    K_String file;
    for (Row const& row : rows) {
        EXPECT_STREQ(row.full, File->getFullPathName(row.name));
        File->getPath(row.name, path);
        File->getFilename(row.name, file);
        EXPECT_EQ(row.path, path);
        EXPECT_EQ(row.file, file);
    }
    char const* const first = File->getFullPathName("x");
    EXPECT_EQ(first, File->getFullPathName("y")); // one shared buffer
}

TEST_F(FileNames, ChangeDirectoryMovesOnlyTheCurrentDirectory) {
    dir.write("Data/Sub/f.txt", "x");
    struct Row {
        char const* name;
        char const* current; // afterwards
    } const rows[] = {
        {"data\\sub", "\\data\\sub\\"}, {"..", "\\data\\"}, {".", "\\data\\"}, {"", "\\data\\"},
        {"Sub/", "\\data\\Sub\\"},      {"\\", "\\"},
    };
    for (Row const& row : rows) {
        File->changeDirectory(row.name);
        EXPECT_STREQ(row.current, File->getCurrentDirectory()) << row.name;
    }
    EXPECT_EQ("Directory \\missing not found",
              raised<K_FileException_DirectoryNotFound>([] { File->changeDirectory("missing"); }));
    EXPECT_EQ("Directory \\data\\sub\\f.txt not found",
              raised<K_FileException_DirectoryNotFound>(
                  [] { File->changeDirectory("data\\sub\\f.txt"); }));
    EXPECT_STREQ("\\", File->getCurrentDirectory());
    EXPECT_EQ(root, K_File::getRootDirectory()); // the process's directory stays
}

TEST(FileWildcards, MatchLikeTheRecursiveRule) {
    struct Row {
        char const* pattern;
        char const* text;
        int match;
    } const rows[] = {
        {"a*c", "ABBC", 1},      {"a?c", "ac", 0}, {"*", "", 1},        {"*.*", "noext", 0},
        {"*.tga", "a.TGA", 1},   {"?", "", 0},     {"", "", 1},         {"", "a", 0},
        {"a*b*c", "aXbYbZc", 1}, {"*a", "bbb", 0}, {"*b?", "abbbc", 1}, {"**x", "x", 1},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(row.match, K_FileTestAccess::xstricmp(row.pattern, row.text))
            << row.pattern << " " << row.text;
    }
    // Many stars cost no more than one: no backtracking blow-up.
    std::string const as(5000, 'a');
    EXPECT_EQ(0, K_FileTestAccess::xstricmp("*a*a*a*a*a*a*a*a*a*a*b", as.c_str()));
}

} // namespace
