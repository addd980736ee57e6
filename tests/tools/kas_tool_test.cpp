// The kas command: a tree packed with each method lists, prints, extracts and verifies as
// it was, and failures end with status 1 and a message that names the file.
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <string>

namespace {

using klmfc::test::readFile;
using klmfc::test::TempDir;

struct Result {
    int status;
    std::string out;
    std::string err;
};

// Runs kas with `args` in `dir`.
Result kas(TempDir const& dir, std::string const& args) {
    std::string const command =
        "cd '" + dir.path() + "' && '" KAS_TOOL "' " + args + " >kas.out 2>kas.err";
    int const rc = std::system(command.c_str());
    return {WIFEXITED(rc) ? WEXITSTATUS(rc) : -1, readFile(dir / "kas.out"),
            readFile(dir / "kas.err")};
}

constexpr time_t kMay2024 = 1714564800; // 2024-05-01 12:00:00 UTC

void makeTree(TempDir const& dir) {
    dir.write("src/a.txt", "abc");
    dir.write("src/Sub/b.txt", std::string(2000, 'b') + "end");
    dir.write("src/Sub/Deep/e.bin", std::string("\0\1\2\3\377", 5));
    dir.mkdir("src/Empty");
    for (char const* f : {"src/a.txt", "src/Sub/b.txt", "src/Sub/Deep/e.bin"}) {
        struct timespec const times[2] = {{kMay2024, 0}, {kMay2024, 0}};
        ::utimensat(AT_FDCWD, (dir / f).c_str(), times, 0);
    }
}

TEST(KasTool, PackedTreeListsPrintsExtractsAndVerifies) {
    TempDir dir;
    makeTree(dir);
    for (char const* method : {"store", "compress", "scramble"}) {
        SCOPED_TRACE(method);
        Result const packed =
            kas(dir, std::string("pack t.KAS src --seed 0x10 --method ") + method);
        ASSERT_EQ(packed.status, 0) << packed.err;
        std::string const size = std::to_string(readFile(dir / "t.KAS").size());
        EXPECT_EQ(packed.out, "t.KAS: 3 files in 4 directories, 2011 bytes in an archive of " +
                                  size + " bytes\n");

        Result const listed = kas(dir, "list t.KAS");
        EXPECT_EQ(listed.status, 0);
        if (std::string(method) == "store") {
            EXPECT_EQ(
                listed.out,
                "        Size       Stored  Method      Modified (UTC)       Name\n"
                "           3            3  stored      2024-05-01 12:00:00  \\a.txt\n"
                "        2003         2003  stored      2024-05-01 12:00:00  \\Sub\\b.txt\n"
                "           5            5  stored      2024-05-01 12:00:00  \\Sub\\Deep\\e.bin\n"
                "3 files in 4 directories, 2011 bytes, 2011 stored\n");
        }
        EXPECT_EQ(kas(dir, "cat t.KAS sub/DEEP/e.bin").out, std::string("\0\1\2\3\377", 5));
        EXPECT_EQ(kas(dir, "verify t.KAS").out, "t.KAS: OK, 3 files in 4 directories\n");

        Result const extracted = kas(dir, std::string("extract t.KAS out-") + method);
        EXPECT_EQ(extracted.status, 0) << extracted.err;
        std::string const out = dir / (std::string("out-") + method);
        for (char const* f : {"/a.txt", "/Sub/b.txt", "/Sub/Deep/e.bin"}) {
            EXPECT_EQ(readFile(out + f), readFile(dir / "src" + f)) << f;
            struct stat info;
            ASSERT_EQ(::stat((out + f).c_str(), &info), 0);
            EXPECT_EQ(info.st_mtime, kMay2024);
        }
        EXPECT_TRUE(klmfc::test::fileExists(out + "/Empty"));
    }
}

TEST(KasTool, FailuresNameTheFileAndEndWithStatusOne) {
    TempDir dir;
    makeTree(dir);
    ASSERT_EQ(kas(dir, "pack t.KAS src --method store").status, 0);
    std::string damaged = readFile(dir / "t.KAS");
    damaged[damaged.size() - 1] ^= 1; // the last byte of e.bin, the last entry
    std::ofstream(dir / "bad.KAS", std::ios::binary) << damaged;

    struct Case {
        char const* args;
        char const* err;
    } const cases[] = {
        {"list missing.KAS", "kas: missing.KAS: cannot open: No such file or directory\n"},
        {"cat t.KAS nope.txt", "kas: t.KAS: no file \"nope.txt\" in the archive\n"},
        {"pack x.KAS nodir", "kas: nodir: no such directory\n"},
        {"verify bad.KAS", "kas: bad.KAS: \\Sub\\Deep\\e.bin: the checksum of its bytes is wrong\n"
                           "kas: bad.KAS: 1 problem\n"},
        {"list src/a.txt", "kas: src/a.txt: too short for an archive header (3 bytes)\n"},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.args);
        Result const r = kas(dir, c.args);
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.err, c.err);
    }
    Result const wrong = kas(dir, "pack t.KAS src --method zip");
    EXPECT_EQ(wrong.status, 1);
    EXPECT_EQ(wrong.err.substr(0, wrong.err.find('\n')), "kas: unknown method \"zip\"");
    Result const help = kas(dir, "--help");
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.out.rfind("usage: kas pack OUT.KAS DIR", 0), 0u);
}

} // namespace
