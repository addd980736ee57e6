// The block tree: blocks and statements cut from the clean text, every structural failure in
// its priority with the block's path, the tree freed whatever state it is in, and random
// scripts that end in a tree or in a script exception, never worse.
#include "script/script_test_support.h"

#include <random>
#include <string>
#include <typeinfo>

namespace {

using klmfc::test::MemoryScripts;
using klmfc::test::preprocessed;
using klmfc::test::treeOf;

char const kCommon[] = "#define SPEED 12\n[Common] max = SPEED; /* two\nlines */ min = 0;\n";
char const kMain[] = "// Level setup\n"
                     "#define EARTH 9.81\n"
                     "#include \"common.txt\"\n"
                     "\n"
                     "[World]\n"
                     "{\n"
                     "    [Physics]\n"
                     "        Gravity = EARTH ;\n"
                     "        Bounds = ( 1, 2.5, 50% );\n"
                     "    [Camera]  Fov=90; Name=\"Main Camera\"; Fast;\n"
                     "    [Camera]\n"
                     "    {\n"
                     "        [Lens] Focus = yes;\n"
                     "    }\n"
                     "}\n";

// The tree of `script` as main.txt, or the failure's class and message.
std::string load(std::string const& script) {
    MemoryScripts scripts;
    scripts.add("main.txt", script);
    try {
        K_Script s("main.txt");
        return treeOf(s);
    } catch (K_Exception* e) {
        return std::string(typeid(*e).name()) + ": " + e->getErrorMessage();
    }
}

template <class E> std::string failure(char const* message) {
    return std::string(typeid(E).name()) + ": " + message;
}

TEST(ScriptTree, WorkedExampleGivesItsTextAndTree) {
    MemoryScripts scripts;
    scripts.add("common.txt", kCommon).add("main.txt", kMain);
    EXPECT_EQ("[common] max = 12; min = 0; [world] { [physics] gravity = 9.81 ; bounds = ( 1, 2.5, "
              "50% ); [camera] fov=90; name=\"Main Camera\"; fast; [camera] { [lens] focus = yes; "
              "} }",
              preprocessed("main.txt"));
    K_Script script("main.txt");
    EXPECT_EQ("main.txt 0\n"
              "  common 1 | max=12 | min=0\n"
              "  world 1\n"
              "    physics 2 | gravity=9.81 | bounds=(1,2.5,50%)\n"
              "    camera 2 | fov=90 | name=Main Camera | fast\n"
              "    camera 2\n"
              "      lens 3 | focus=yes\n",
              treeOf(script));
}

TEST(ScriptTree, BlocksAndStatements) {
    struct Row {
        char const* script;
        char const* tree;
    } const rows[] = {
        {"/* nothing */", "main.txt 0\n"},
        {"[a] {} [b] ;", "main.txt 0\n  a 1\n  b 1\n"},
        {"[a] x=1;; ;y;", "main.txt 0\n  a 1 | x=1 | y\n"},
        {"[a] x = 1 2; x = \"\";", "main.txt 0\n  a 1 | x=12 | x=\n"},
        {"[a] x = \"1 = 2\"; y = \"a;[{}\" ; z= ( 1, \"p q\"r ); w=\"q\\\"r\";",
         "main.txt 0\n  a 1 | x=1 = 2 | y=a;[{} | z=(1,p qr) | w=q\\\"r\n"},
        {"[My Block] f; [ a ]{[b]{[c]g;}}",
         "main.txt 0\n  my block 1 | f\n   a  1\n    b 2\n      c 3 | g\n"},
        {"[a] f\"; x = \"1;", "main.txt 0\n  a 1 | f\"\n"}, // a lone quote ends a left side
    };
    for (Row const& row : rows) {
        EXPECT_EQ(row.tree, load(row.script)) << row.script;
    }
}

TEST(ScriptTree, FailuresInTheirPriorityWithTheBlockPath) {
    struct Row {
        char const* script;
        std::string failure;
    } const rows[] = {
        {"[a] x=1", failure<K_ScriptLoaderException_NoSemicolon>(
                        "K_ScriptLoader: Statements separating semicolon\nmissing inside block "
                        "[[a]/[main.txt]]!")},
        {"[a] =1", failure<K_ScriptLoaderException_NoSemicolon>(
                       "K_ScriptLoader: Statements separating semicolon\nmissing inside block "
                       "[[a]/[main.txt]]!")},
        {"[a] x=1; =1;", failure<K_ScriptLoaderException_NoLValue>(
                             "K_ScriptLoader: Left side of an assignment\noperator = is missing in "
                             "block [[a]/[main.txt]]!")},
        {"[a] x=1; [b]", failure<K_ScriptLoaderException_TagWithoutContent>(
                             "K_ScriptLoader: Either { } nesting or data must\nfollow each tag in "
                             "block [[main.txt]]!")},
        {"[a] { [b] }", failure<K_ScriptLoaderException_TagWithoutContent>(
                            "K_ScriptLoader: Either { } nesting or data must\nfollow each tag in "
                            "block [[a]/[main.txt]]!")},
        {"[a] [b] x;", failure<K_ScriptLoaderException_TagWithoutContent>(
                           "K_ScriptLoader: Either { } nesting or data must\nfollow each tag in "
                           "block [[main.txt]]!")},
        {"[] x=1", failure<K_ScriptLoaderException_EmptyTag>(
                       "K_ScriptLoader: Tag brackets [ ] cannot\nbe empty: block [[main.txt]]!")},
        {"x=1;",
         failure<K_ScriptLoaderException_DataWithoutTag>(
             "K_ScriptLoader: There can't be data\nwithout tag inside block [[main.txt]]!")},
        {"{ }", failure<K_ScriptLoaderException_NestingWithoutTag>(
                    "K_ScriptLoader: There can't be a nested block\nwithout tag inside block "
                    "[[main.txt]]!")},
        {"[a] x=1; { [b] y=2; }", failure<K_ScriptLoaderException_NestingWithoutTag>(
                                      "K_ScriptLoader: There can't be a nested block\nwithout tag "
                                      "inside block [[main.txt]]!")},
        {"[a] {[b] x y = 1;}", failure<K_ScriptLoaderException_LValueSpaces>(
                                   "K_ScriptLoader: Left side of an assignment can't\ncontain "
                                   "spaces! Check \"x=...\" in block [[b]/[a]/[main.txt]].")},
        {"[a] x y;", failure<K_ScriptLoaderException_LValueSpaces>(
                         "K_ScriptLoader: Left side of an assignment can't\ncontain spaces! Check "
                         "\"x=...\" in block [[a]/[main.txt]].")},
        {"[a] \"x\"=1;", failure<K_ScriptLoaderException_LValueSpaces>(
                             "K_ScriptLoader: Left side of an assignment can't\ncontain spaces! "
                             "Check \"\"=...\" in block [[a]/[main.txt]].")},
        {"[a] x = 1 = 2;", failure<K_ScriptLoaderException_MultipleAssignment>(
                               "K_ScriptLoader: Only single assignments are supported!\nCheck "
                               "\"x=...\" in block [[a]/[main.txt]].\n(Semicolon missing?)")},
        {"[a] x == 1;", failure<K_ScriptLoaderException_MultipleAssignment>(
                            "K_ScriptLoader: Only single assignments are supported!\nCheck "
                            "\"x=...\" in block [[a]/[main.txt]].\n(Semicolon missing?)")},
        {"[a] x = ;", failure<K_ScriptLoaderException_NoRValue>(
                          "K_ScriptLoader: Right side of assignment \"x=\"\nin block "
                          "[[a]/[main.txt]] cannot be empty!")},
        {"[a] x\"=\" ;", failure<K_ScriptLoaderException_RValueSpaces>(
                             "K_ScriptLoader: Right side of an assignment can't\ncontain spaces! "
                             "Check \"x\"=...\" in block [[a]/[main.txt]].")},
        // Three statements counted, two found: their quote marks pair up otherwise.
        {"[a] \"=\";;\";\";", failure<K_ScriptLoaderException_NoSemicolon>(
                                  "K_ScriptLoader: Statements separating semicolon\nmissing "
                                  "inside block [[a]/[main.txt]]!")},
        // Text from a define's value that no bracket check has seen.
        {"#define T [t\nT x;", failure<K_ScriptLoaderException_UnclosedTag>(
                                   "K_ScriptLoader: Tag bracket [ without closing bracket "
                                   "]\ninside block [[main.txt]]!")},
        {"#define O {\n[a] O [b] x;", failure<K_ScriptLoaderException_UnclosedNesting>(
                                          "K_ScriptLoader: Nesting bracket { without closing "
                                          "bracket }\ninside block [[main.txt]]!")},
        {"#define C }\n[a] x; C", failure<K_ScriptLoaderException_DataWithoutTag>(
                                      "K_ScriptLoader: There can't be data\nwithout tag inside "
                                      "block [[main.txt]]!")},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(row.failure, load(row.script)) << row.script;
    }
}

TEST(ScriptTree, PathsThatDoNotFitTheirBuffersAreCut) {
    std::string const longName(70, 'n');
    EXPECT_EQ(failure<K_ScriptLoaderException_NoSemicolon>(
                  ("K_ScriptLoader: Statements separating semicolon\nmissing inside block [[" +
                   std::string(58, 'n') + "...]/[main.txt]]!")
                      .c_str()),
              load("[" + longName + "] x"));

    // 200 levels: the path keeps the innermost elements and ends in "/..." within 511.
    std::string deep;
    for (int i = 0; i < 200; ++i) {
        deep += "[level] {";
    }
    deep += "[bad] x";
    deep += std::string(200, '}');
    std::string path = "[bad]";
    for (int i = 0; i < 62; ++i) {
        path += "/[level]"; // 501 characters: one more would leave no room for "/..."
    }
    EXPECT_EQ(failure<K_ScriptLoaderException_NoSemicolon>(
                  ("K_ScriptLoader: Statements separating semicolon\nmissing inside block [" +
                   path + "/...]!")
                      .c_str()),
              load(deep));
}

TEST(ScriptTree, DeepNestingLoadsAndFreesWithoutRecursion) {
    int const depth = 100000;
    std::string text;
    for (int i = 0; i < depth; ++i) {
        text += "[a]{";
    }
    text += "[leaf] x=1;" + std::string(depth, '}');
    MemoryScripts scripts;
    scripts.add("main.txt", text);
    K_Script script("main.txt");
    for (int i = 0; i < depth; ++i) {
        script.lock(0u);
    }
    script.lock("leaf", 0);
    EXPECT_EQ(unsigned(depth + 1), script.getIndent());
    EXPECT_STREQ("1", script.getAssignment("x", 0));
    std::string const path = script.staticNesting();
    EXPECT_EQ("[leaf]/[a]/[a]/", path.substr(0, 15));
    EXPECT_EQ("/[a]/...", path.substr(path.size() - 8));
    EXPECT_GE(511u, path.size());
}

TEST(ScriptTree, FreeBlockReleasesAHalfBuiltTree) {
    int const before = K_Memory::getNewCount() - K_Memory::getDeleteCount();
    K_Script::SCRIPTBLOCK root;
    try {
        K_ScriptLoader::buildBlock("r", 1, &root, nullptr, 0, "[a] { [b] x=1; [c] y }", 0, 22);
        ADD_FAILURE() << "no failure";
    } catch (K_ScriptLoaderException_NoSemicolon*) {
    }
    ASSERT_EQ(1, root.children.getCount());
    root.children.getFirst()->children.addNewLast(); // a node with nothing set yet
    K_ScriptLoader::freeBlock(&root);
    EXPECT_EQ(0, root.children.getCount());
    EXPECT_EQ(nullptr, root.name);
    EXPECT_EQ(before, K_Memory::getNewCount() - K_Memory::getDeleteCount());
}

// Random scripts from the language's own pieces, and mutations of the worked example: each
// loads into a tree that can be walked, parsed and checked, or fails with a script or file
// exception.
TEST(ScriptTree, RandomAndMutatedScriptsNeverEndWorse) {
    static char const* const pieces[] = {
        "[",   "]",   "{",        "}",          "<",           ">",         "=",
        ";",   "\"",  "\\\"",     " ",          "\n",          "\t",        "/*",
        "*/",  "//",  "#define ", "#include ",  "\"inc.txt\"", "<inc.txt>", "a",
        "X",   "1",   "2.5",      "%",          ",",           "(",         ")",
        "yes", "[a]", "[b] x=1;", "#define X ", "\r"};
    std::mt19937 random(20240501u);
    std::string const example = kMain;
    int const runs = 10000;
    for (int run = 0; run < runs; ++run) {
        std::string text;
        if (run % 2 == 0) {
            int const n = 1 + static_cast<int>(random() % 40);
            for (int i = 0; i < n; ++i) {
                text += pieces[random() % (sizeof pieces / sizeof *pieces)];
            }
        } else {
            text = example;
            int const edits = 1 + static_cast<int>(random() % 4);
            for (int i = 0; i < edits; ++i) {
                std::size_t const at = random() % (text.size() + 1);
                switch (random() % 3) {
                case 0:
                    text.erase(at, 1 + random() % 8);
                    break;
                case 1:
                    text.insert(at, 1, static_cast<char>(random() % 256));
                    break;
                default:
                    text.insert(at, pieces[random() % (sizeof pieces / sizeof *pieces)]);
                }
            }
        }
        MemoryScripts scripts;
        scripts.add("main.txt", text)
            .add("inc.txt", "#define Y 1\n[inc] y=Y;")
            .add("common.txt", kCommon);
        try {
            K_Script script("main.txt");
            treeOf(script);
            K_Script::setIgnoreUnknownVariables(true);
            char buffer[8192];
            int integer;
            float floats[3];
            K_Script::Variables const table[] = {{"x", &integer, "1", &K_Script::t_int},
                                                 {"max", &floats, "1", &K_Script::t_float3},
                                                 {"name", buffer, "", &K_Script::t_string},
                                                 {nullptr, nullptr, nullptr, nullptr}};
            K_Script::Blocks const blocks[] = {{"a", 0, 1}, {nullptr, 0, 0}};
            for (unsigned i = 0; i < script.count(); ++i) {
                try {
                    script.parse(table, i, true);
                } catch (K_ScriptException*) {
                }
                try {
                    script.blockCheck(blocks, i, run % 3 == 0);
                } catch (K_ScriptException*) {
                }
            }
            K_Script::setIgnoreUnknownVariables(false);
        } catch (K_ScriptException* e) {
            EXPECT_NE(nullptr, e->getErrorMessage());
        } catch (K_FileException* e) {
            // an #include of a name that is not there
            EXPECT_NE(std::string::npos, std::string(e->getErrorMessage()).find("not found"));
        }
        K_Script::setIgnoreUnknownVariables(false);
        ASSERT_EQ(0u, K_ScriptLoader::sm_useCount) << text;
    }
}

} // namespace
