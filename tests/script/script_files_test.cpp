// Scripts through the file manager: on disk and in archives, includes counted from the top
// script's directory, the directory put back however the load ends, and the kscript tool.
#include "file/file_fixture.h"
#include "script/script_test_support.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace {

using klmfc::test::FileSystemTest;
using klmfc::test::KasBuilder;
using klmfc::test::messageOf;
using klmfc::test::readFile;
using klmfc::test::treeOf;

using ScriptFiles = FileSystemTest;

TEST_F(ScriptFiles, IncludesCountFromTheTopScriptsDirectoryOnDiskAndInArchives) {
    dir.write("levels/main.txt", "#include \"sub/deep.txt\"\n[Main] m = D;");
    dir.write("levels/sub/deep.txt", "#include \"other.txt\"\n#define D 4");
    dir.write("levels/other.txt", "[Other] o = 1;");
    dir.write("levels/sub/other.txt", "[Wrong] w;");
    dir.write("levels/bad.txt", "#include \"sub/broken.txt\"");
    dir.write("levels/sub/broken.txt", "\n[x] \"open");
    KasBuilder()
        .add("packed\\main.txt", "#include \"common.txt\"\n[Packed] p = C;",
             K_File::MethodCompressed)
        .add("packed\\common.txt", "#define C 7", K_File::MethodScrambled)
        .write(dir / "data.KAS");
    reload();
    File->changeDirectory("levels");
    {
        K_Script script("/levels/main.txt");
        EXPECT_EQ("main.txt 0\n  other 1 | o=1\n  main 1 | m=4\n", treeOf(script));
        K_Script packed("\\packed\\main.txt");
        EXPECT_EQ("main.txt 0\n  packed 1 | p=7\n", treeOf(packed));
        EXPECT_STREQ("\\levels\\", File->getCurrentDirectory());
    }
    EXPECT_EQ("K_ScriptLoader: String marking \"...\" starting\nin line 2 of "
              "\"\\levels\\sub\\broken.txt\" doesn't end!",
              messageOf<K_ScriptLoaderException_EndlessString>([] { K_Script s("bad.txt"); }));
    EXPECT_EQ("Directory \\levels\\nowhere not found",
              messageOf<K_FileException_DirectoryNotFound>([] { K_Script s("nowhere/main.txt"); }));
    EXPECT_STREQ("\\levels\\", File->getCurrentDirectory());
    EXPECT_EQ(0u, K_ScriptLoader::sm_useCount);
}

// The kscript program of this build, run in `directory`.
struct ToolRun {
    int status;
    std::string out;
    std::string err;
};

std::string kscriptPath() { return KSCRIPT_TOOL; }

ToolRun kscript(std::string const& directory, std::string const& args) {
    std::string const command =
        "cd '" + directory + "' && '" + kscriptPath() + "' " + args + " >kscript.out 2>kscript.err";
    int const status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(directory + "/kscript.out"),
            readFile(directory + "/kscript.err")};
}

TEST_F(ScriptFiles, KscriptChecksAndDumpsScriptsOnDiskAndInArchives) {
    dir.write("work/a.txt", "#include \"b.txt\"\n[World] { [Cam] Fov = 90; Name = \"A b\"; "
                            "E = \"\"; Fast; }");
    dir.write("work/bad.txt", "[a] x = 1;\n/* open");
    KasBuilder().add("b.txt", "[B] {}").add("lv\\c.txt", "[c] y=2;").write(dir / "work/z.KAS");
    std::string const work = dir / "work";

    ToolRun const check = kscript(work, "check a.txt lv/c.txt bad.txt " + work + "/a.txt /x.txt");
    EXPECT_EQ(1, check.status);
    EXPECT_EQ("a.txt: ok\nlv/c.txt: ok\n" + work + "/a.txt: ok\n", check.out);
    EXPECT_EQ("kscript: bad.txt: K_ScriptLoader: Block comment /*...*/ starting\nin line 2 of "
              "\"\\bad.txt\" doesn't end!\n"
              "kscript: /x.txt: not below the root " +
                  work + " (see --root)\n",
              check.err);

    ToolRun const tree = kscript(dir.path(), "--root work dump a.txt");
    EXPECT_EQ(0, tree.status);
    EXPECT_EQ("[a.txt]\n    [b]\n    [world]\n        [cam]\n            fov = 90\n"
              "            name = A b\n            e = \"\"\n            fast\n",
              tree.out);
    EXPECT_EQ(0, kscript(work, "check lv\\\\c.txt").status);
    EXPECT_EQ(1, kscript(work, "dump").status);
    ToolRun const help = kscript(work, "--help");
    EXPECT_EQ(0, help.status);
    EXPECT_EQ(0u, help.out.find("usage: kscript"));
}

} // namespace
