// The preprocessor: clean text from comments, case, whitespace, #define and #include, every
// lexical failure with its message and line, and the life of the shared working objects.
#include "script/script_test_support.h"

#include <string>
#include <typeinfo>

namespace {

using klmfc::test::MemoryScripts;
using klmfc::test::preprocessed;

struct Failure {
    std::type_info const* type;
    std::string message;
};

template <class F> Failure failureOf(F&& action) {
    try {
        action();
    } catch (K_Exception* e) {
        return {&typeid(*e), e->getErrorMessage()};
    }
    return {&typeid(void), "none"};
}

TEST(ScriptPreprocess, CleanTextOfOneFile) {
    struct Row {
        char const* script;
        char const* text;
    } const rows[] = {
        {"// only\n/* comments */ \n\t", ""},
        {"AB/*x*/CD", "abcd"},
        {"AB//x\nCD", "abcd"},
        {"AB //x\nCD", "ab cd"},
        {"a = \"x//y /*\";", "a = \"x//y /*\";"},
        {"\"Mixed Case\" Mixed", "\"Mixed Case\" mixed"},
        {"X=\"a\\\"B\" C", "x=\"a\\\"B\" c"},
        {"a \"", "a \""},                   // a last quote mark opens nothing
        {"  a\t\r\n\v b\fC  \n", "a b\fc"}, // form feed is no whitespace
        {"\xC4Ner \xC4N", "\xC4ner \xC4n"}, // the 26 letters fold, whatever the locale
        {"#DEFINE X 1\nX;", "1;"},          // directives in any case
        {"[a] x=1; #define Q 2\n[b] y = Q;", "[a] x=1; [b] y = 2;"},
        {"#define X 5 // five\n[a] y = X;", "[a] y = 5 // five;"},
        {"#define T \"Two  Words\"\nT", "\"Two  Words\""},
        {"#define T Two \t Words \r\nT", "two words"},
        {"#define V 7\nx = V; x = V ; x=V; V = 1 ;", "x = 7; x = 7 ; x=v; 7 = 1 ;"},
        {"#define Speed 3\nSPEED", "3"},
        {"#define\n\nX  \"a\tb\"  c\nX", "\"a b\" c"}, // the name on a later line
        {"X #define X 1", "x"},                        // no define before its line
        {"#define A B\n#define B C\nA B", "b c"},      // replaced text is not scanned again
        {"#define A 1\n#define B 2\nA; B A/*c*/B A;B", "1; 2 1 2 a;b"},
        {"a #include", "a"}, // a directive without its token is dropped
    };
    for (Row const& row : rows) {
        MemoryScripts scripts;
        scripts.add("main.txt", row.script);
        EXPECT_EQ(row.text, preprocessed("main.txt")) << row.script;
    }
}

TEST(ScriptPreprocess, DefinesOfTheLongestNameAndValue) {
    std::string const name(127, 'n');
    std::string const value(127, 'v');
    MemoryScripts scripts;
    scripts.add("main.txt", "#define " + name + " " + value + "\n" + name + "; " + name + "x");
    // A longer word is looked up by its first 127 characters.
    EXPECT_EQ(value + "; " + value, preprocessed("main.txt"));
}

TEST(ScriptPreprocess, IncludesMergeByPositionAndLine) {
    struct Row {
        char const* main;
        char const* text;
    } const rows[] = {
        {"a #include \"b.txt\" c", "a b1 b2 c"},
        {"#Include <B.TXT>\nx = B;", "b1 b2 x = 4;"},      // defines of the included file hold
        {"#define Q 9\n#include \"q.txt\"", "[q] v = 9;"}, // and defines hold inside it
        {"#define X 1\nX #include \"c.txt\"", "1 c"},      // one place, one line: define first
        {"#include \"c.txt\"\nX", "c x"},
        {"#include \"c.txt\"\n#define X 1\nX", "c 1"}, // one place, lower line first
    };
    for (Row const& row : rows) {
        MemoryScripts scripts;
        scripts.add("main.txt", row.main)
            .add("b.txt", "B1 #define B 4\n B2")
            .add("q.txt", "[q] v = Q;")
            .add("c.txt", "// only a comment\nC");
        EXPECT_EQ(row.text, preprocessed("main.txt")) << row.main;
    }
}

TEST(ScriptPreprocess, FailuresWithTheirMessagesAndLines) {
    std::string const longName(256, 'n');
    struct Row {
        std::string script;
        std::type_info const& type;
        char const* message;
    } const rows[] = {
        {"a\n/* open\n\n", typeid(K_ScriptLoaderException_BlockComment),
         "K_ScriptLoader: Block comment /*...*/ starting\nin line 2 of \"\\main.txt\" doesn't "
         "end!"},
        {"a\n}", typeid(K_ScriptLoaderException_NoOpeningBracket),
         "K_ScriptLoader: Closing bracket \"}\" in line 2\nof \"\\main.txt\" found without opening "
         "bracket!"},
        {"[a\n\n>]", typeid(K_ScriptLoaderException_BracketIncompatible),
         "K_ScriptLoader: Closing bracket \">\" in line 3 of\n\"\\main.txt\" doesn't fit bracket "
         "in "
         "line 1 (expected: \"]\")!"},
        {"x\nx = \"ab\n\";", typeid(K_ScriptLoaderException_EndlessString),
         "K_ScriptLoader: String marking \"...\" starting\nin line 2 of \"\\main.txt\" doesn't "
         "end!"},
        {"x = \"ab\\\"", typeid(K_ScriptLoaderException_EndlessString),
         "K_ScriptLoader: String marking \"...\" starting\nin line 1 of \"\\main.txt\" doesn't "
         "end!"},
        {"[a] {\n#include\n\"b.txt\" }", typeid(K_ScriptLoaderException_BracketedInclude),
         "K_ScriptLoader: #include directive in line 3 of \"\\main.txt\"\ncan't be used inside a "
         "bracketed block (starts in line 1)!"},
        {"#include <a b.txt>", typeid(K_ScriptLoaderException_BracketedInclude),
         "K_ScriptLoader: #include directive in line 1 of \"\\main.txt\"\ncan't be used inside a "
         "bracketed block (starts in line 1)!"},
        {"\n#include b.txt", typeid(K_ScriptLoaderException_IncludeSyntax),
         "K_ScriptLoader: Syntax error in #include\ndirective in line 2 of \"\\main.txt\"!"},
        {"#include \"", typeid(K_ScriptLoaderException_IncludeSyntax),
         "K_ScriptLoader: Syntax error in #include\ndirective in line 1 of \"\\main.txt\"!"},
        {"#include \"" + longName + "\"", typeid(K_ScriptLoaderException_IncludeTooLong),
         "K_ScriptLoader: #include directive in line 1 of \"\\main.txt\"\ncan't name files longer "
         "than 255 characters!"},
        {"#include \"b.txt\"\n#include \"b.txt\"",
         typeid(K_ScriptLoaderException_MultipleInclusion),
         "K_ScriptLoader: Attempt to include file \"b.txt\" again in\nline2 of \"\\main.txt\" "
         "(recursion problem)!"},
        {"#include \"self.txt\"", typeid(K_ScriptLoaderException_MultipleInclusion),
         "K_ScriptLoader: Attempt to include file \"self.txt\" again in\nline1 of \"\\self.txt\" "
         "(recursion problem)!"},
        {"{\n#define X 1\n}", typeid(K_ScriptLoaderException_BracketedDefine),
         "K_ScriptLoader: #define directive in line 2 of \"\\main.txt\"\ncan't be used inside a "
         "bracketed block (starts in line 1)!"},
        {"#define " + std::string(128, 'n') + " 1", typeid(K_ScriptLoaderException_DefineTooLong),
         "K_ScriptLoader: #define directive in line 1 of \"\\main.txt\"\ncan't assign #define's "
         "longer than 127 characters!"},
        {"#define N " + std::string(128, 'v'), typeid(K_ScriptLoaderException_DefineTooLong),
         "K_ScriptLoader: #define directive in line 1 of \"\\main.txt\"\ncan't assign #define's "
         "longer than 127 characters!"},
        {"#define N \n", typeid(K_ScriptLoaderException_DefineSyntax),
         "K_ScriptLoader: Syntax error in #define\ndirective in line 1 of \"\\main.txt\"!"},
        {"#define N \"open\nN", typeid(K_ScriptLoaderException_DefineSyntax),
         "K_ScriptLoader: Syntax error in #define\ndirective in line 1 of \"\\main.txt\"!"},
        {"#define A 1\n#define a 1", typeid(K_ScriptLoaderException_ReDefinition),
         "K_ScriptLoader: Attempt to re-#define \"a\"\n(originally \"1\")\nas \"1\" in line 2 of "
         "\"\\main.txt\"!"},
        {"#include \"b.txt\"\n#define B2 x", typeid(K_ScriptLoaderException_ReDefinition),
         "K_ScriptLoader: Attempt to re-#define \"b2\"\n(originally \"2\")\nas \"x\" in line 2 of "
         "\"\\main.txt\"!"},
        {"x\n#includes", typeid(K_ScriptLoaderException_UnknownDirective),
         "K_ScriptLoader: Unknown preprocessor directive\nin line 2 of \"\\main.txt\"!"},
        {"#define;", typeid(K_ScriptLoaderException_UnknownDirective),
         "K_ScriptLoader: Unknown preprocessor directive\nin line 1 of \"\\main.txt\"!"},
        {"#include\"b.txt\"", typeid(K_ScriptLoaderException_UnknownDirective),
         "K_ScriptLoader: Unknown preprocessor directive\nin line 1 of \"\\main.txt\"!"},
        {"a = 1 < 2;", typeid(K_ScriptLoaderException_NoClosingBracket),
         "K_ScriptLoader: File \"\\main.txt\" ends with\nopened bracket from line 1!"},
        {"#include \"open.txt\" }", typeid(K_ScriptLoaderException_NoClosingBracket),
         "K_ScriptLoader: File \"\\open.txt\" ends with\nopened bracket from line 2!"},
        {"#include \"none.txt\"", typeid(K_FileException_FileNotFound),
         "File \\none.txt not found"},
    };
    for (Row const& row : rows) {
        MemoryScripts scripts;
        scripts.add("main.txt", row.script)
            .add("b.txt", "#define B2 2\n")
            .add("self.txt", "#include \"self.txt\"")
            .add("open.txt", "\n{");
        Failure const failure = failureOf([] { preprocessed("main.txt"); });
        EXPECT_EQ(row.type, *failure.type) << row.script << "\n" << failure.type->name();
        EXPECT_EQ(row.message, failure.message) << row.script;
    }
}

TEST(ScriptPreprocess, WorkingObjectsLiveWithTheScriptsAndForgetEachLoad) {
    MemoryScripts scripts;
    scripts.add("a.txt", "#include \"c.txt\"\n#define X 1\n[a] v = X;")
        .add("b.txt", "#include \"c.txt\"\n[b] v = X;")
        .add("bad.txt", "#define X 1\n#include \"c.txt\"\n[")
        .add("c.txt", " ")
        .add("empty.txt", "");
    EXPECT_EQ(0u, K_ScriptLoader::sm_useCount);
    EXPECT_EQ(nullptr, klmfc::script::workspace());
    // A failed load leaves no hold, no include and no define behind.
    Failure const bad = failureOf([] { K_Script s("bad.txt"); });
    EXPECT_EQ(typeid(K_ScriptLoaderException_NoClosingBracket), *bad.type);
    EXPECT_EQ(0u, K_ScriptLoader::sm_useCount);
    // The file manager's failures pass through.
    EXPECT_EQ("File \\empty.txt is corrupted", failureOf([] { K_Script s("empty.txt"); }).message);
    K_Script a("a.txt");
    EXPECT_EQ(1u, K_ScriptLoader::sm_useCount);
    K_Script b("b.txt"); // c.txt once more, and X is no define here
    EXPECT_EQ(2u, K_ScriptLoader::sm_useCount);
    a.lock(0u);
    b.lock(0u);
    EXPECT_STREQ("1", a.getAssignment(0));
    EXPECT_STREQ("x", b.getAssignment(0));
    ASSERT_NE(nullptr, klmfc::script::workspace());
    EXPECT_TRUE(klmfc::script::workspace()->defines->empty());
    EXPECT_TRUE(klmfc::script::workspace()->includedFiles->empty());
}

} // namespace
