// Reading a loaded script: navigation and queries, typed values by table, and block
// validation, with their failures and messages.
#include "script/script_test_support.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <type_traits>

class K_ScriptTestAccess {
public:
    static K_Script::SCRIPTBLOCK* current(K_Script& s) { return s.m_current; }
};

namespace {

using klmfc::test::MemoryScripts;
using klmfc::test::messageOf;

char const kWorld[] = "[World] { [Physics] Gravity = 9.81 ; Bounds = ( 1, 2.5, 50% );"
                      "  [Camera]  Fov=90; Name=\"Main Camera\"; Fast;"
                      "  [Camera] { [Lens] Focus = yes; } }";

TEST(ScriptQueries, WorkedExample) {
    MemoryScripts scripts;
    scripts.add("main.txt", kWorld);
    K_Script s("main.txt");
    EXPECT_STREQ("main.txt", s.getBlockName());
    EXPECT_STREQ("main.txt", s.getScriptName());
    EXPECT_EQ(0u, s.getIndent());
    EXPECT_FALSE(s.unlock());
    s.lock("world", 0);
    EXPECT_EQ(3u, s.count());
    EXPECT_EQ(2u, s.count("camera"));
    EXPECT_EQ(2u, s.count("[CAMERA]"));
    EXPECT_EQ(2u, s.getBlockIndex("CAMERA", 1));
    EXPECT_STREQ("physics", s.getBlockName(0u));
    EXPECT_EQ(nullptr, s.getBlockName(3u));
    EXPECT_TRUE(s.isData(0u));
    EXPECT_TRUE(s.isParent("camera", 1));
    EXPECT_FALSE(s.isParent("camera", 2));
    s.lock("[Camera]", 1);
    EXPECT_TRUE(s.isParent());
    EXPECT_FALSE(s.isData());
    EXPECT_EQ(2u, s.getIndent());
    {
        K_ScriptLock const lens(&s, 0u);
        EXPECT_STREQ("[lens]/[camera]/[world]/[main.txt]", s.staticNesting());
        EXPECT_STREQ("main.txt", s.getScriptName());
    }
    EXPECT_TRUE(s.unlock());
    s.lock(1u);
    EXPECT_EQ(3u, s.countLvalues());
    EXPECT_STREQ("fast", s.getLvalue(2));
    EXPECT_EQ(nullptr, s.getAssignment(2));
    EXPECT_EQ(nullptr, s.getLvalue(3));
    EXPECT_STREQ("Main Camera", s.getAssignment("NAME", 0));
    EXPECT_EQ(nullptr, s.getAssignment("fast", 0));
    EXPECT_EQ(1u, s.countLvalues("FAST"));
}

TEST(ScriptQueries, NamesRepeatedStatementsAndFailedLocks) {
    MemoryScripts scripts;
    scripts.add("main.txt", "#define T [[]\n[a] x; x=1; X=2; T y; [ a ] z; [\"Q\"] q;");
    K_Script s("main.txt");
    EXPECT_EQ(1u, s.count("["));
    EXPECT_EQ(1u, s.count("[a]"));
    EXPECT_EQ(0u, s.count("x"));
    EXPECT_EQ(0u, s.count("\"q\"")); // capitals come from quotes and match nothing
    EXPECT_EQ(0u, s.count("\"Q\""));
    EXPECT_EQ("K_Script: There is no block number 4\nin [main.txt]!",
              messageOf<K_ScriptException_BlockNotFound>([&] { s.lock(s.count()); }));
    EXPECT_EQ("K_Script: There is no block number 1 named \"A\"\nin [main.txt]!",
              messageOf<K_ScriptException_NamedBlockNotFound>([&] { K_ScriptLock l(&s, "A", 1); }));
    EXPECT_EQ("K_Script: There is no block number 0 named \"b\"\nin [main.txt]!",
              messageOf<K_ScriptException_NamedBlockNotFound>([&] { s.getBlockIndex("b", 0); }));
    EXPECT_STREQ("main.txt", s.getBlockName()); // nothing locked, nothing unlocked
    s.lock(0u);
    EXPECT_EQ(3u, s.countLvalues("x"));
    EXPECT_STREQ("2", s.getAssignment("x", 0)); // counted from the last
    EXPECT_STREQ("1", s.getAssignment("x", 1));
    EXPECT_EQ(nullptr, s.getAssignment("x", 2)); // no "=": as if there were none
    EXPECT_EQ(nullptr, s.getAssignment("x", 3));
    EXPECT_STREQ("x", s.getLvalue(0));
    EXPECT_EQ(nullptr, s.getAssignment(0));
}

TEST(ScriptQueries, IndexLoopsWalkOnFromTheRememberedChild) {
    std::string text;
    for (int i = 0; i < 100; ++i) {
        text += "[b" + std::to_string(i) + "] x;";
    }
    MemoryScripts scripts;
    scripts.add("main.txt", text);
    K_Script s("main.txt");
    auto const& children = K_ScriptTestAccess::current(s)->children;
    EXPECT_STREQ("b50", s.getBlockName(50u));
    EXPECT_EQ(50, children.m_iCachedIndex);
    EXPECT_TRUE(s.isData(51u));
    EXPECT_EQ(51, children.m_iCachedIndex);
}

// The value `right` of x, parsed by `format`, as text: three numbers of type T, or for char
// the text stored; or the failure's message.
template <class T> std::string parsed(char const* right, K_Script::Format const& format) {
    MemoryScripts scripts;
    scripts.add("main.txt", std::string("[v] x = ") + right + ";");
    K_Script s("main.txt");
    unsigned char bytes[64] = {};
    K_Script::Variables const table[] = {{"X", bytes, nullptr, &format}, {}};
    std::string const failure =
        messageOf<K_ScriptException_Parsing>([&] { s.parse(table, "v", 0, true); });
    if (failure != "none") {
        return failure;
    }
    if constexpr (std::is_same_v<T, char>) {
        return reinterpret_cast<char const*>(bytes);
    } else {
        std::string out;
        for (int i = 0; i < 3; ++i) {
            T v;
            std::memcpy(&v, bytes + i * sizeof v, sizeof v);
            out += (out.empty() ? "" : " ") + std::to_string(v);
        }
        return out;
    }
}

std::string parsingFailure(char const* value, char const* format) {
    return std::string("K_Script: Can't parse assignment to variable \"X\"\nin [v]/[main.txt]!\n"
                       "Assignment: \"") +
           value + "\"  Format:\"" + format + "\"";
}

TEST(ScriptParse, ValuesByFormat) {
    static int const pairSizes[] = {4, 4, 0};
    K_Script::Format const pair = {"%s,%d", pairSizes};
    K_Script::Format const percent = {"%d%", K_Script::m_argsizes_int};
    K_Script::Format const none = {"%%", K_Script::m_argsizes_int};
    struct Row {
        std::string actual;
        std::string expected;
    } const rows[] = {
        {parsed<int>("on", K_Script::t_int), "1 0 0"},
        {parsed<int>("YES", K_Script::t_int), "1 0 0"},
        {parsed<int>("\"True\"", K_Script::t_unsigned), "1 0 0"},
        {parsed<int>("No", K_Script::t_int), "0 0 0"},
        {parsed<int>("maybe", K_Script::t_int), parsingFailure("maybe", "%d")},
        {parsed<int>("1 2abc", K_Script::t_int), "12 0 0"},
        {parsed<int>("0x10", K_Script::t_int), "0 0 0"},
        {parsed<int>("5,6", K_Script::t_int), parsingFailure("5,6", "%d")},
        {parsed<int>("-2147483648", K_Script::t_int), "-2147483648 0 0"},
        {parsed<int>("4294967297", K_Script::t_int), "1 0 0"}, // wraps, on every platform
        {parsed<unsigned>("-5", K_Script::t_unsigned), "4294967291 0 0"},
        {parsed<unsigned>("ff", K_Script::t_hex), "255 0 0"},
        {parsed<unsigned>("FF", K_Script::t_hex), "255 0 0"},
        {parsed<unsigned>("0xff", K_Script::t_hex), parsingFailure("0xff", "%x")},
        {parsed<unsigned>("\"FF\"", K_Script::t_hex), parsingFailure("FF", "%x")},
        {parsed<float>("50%", K_Script::t_float), "0.500000 0.000000 0.000000"},
        {parsed<int>("50%", K_Script::t_int), parsingFailure("50%", "%d")},
        {parsed<float>("-2.5e1", K_Script::t_float), "-25.000000 0.000000 0.000000"},
        {parsed<float>("( 1 , 2 , 3 )", K_Script::t_float3), "1.000000 2.000000 3.000000"},
        {parsed<float>("(1,2.5,50%)", K_Script::t_float3), "1.000000 2.500000 0.500000"},
        {parsed<float>("(1,2)", K_Script::t_float3), parsingFailure("(1,2)", "(%f,%f,%f)")},
        {parsed<char>("\" \"", K_Script::t_char), " "},
        {parsed<char>("ab", K_Script::t_char), parsingFailure("ab", "%c")},
        {parsed<char>("\"\"", K_Script::t_char), parsingFailure("", "%c")}, // no byte to take
        {parsed<char>("Hello", K_Script::t_string), "hello"},
        {parsed<char>("\"He llo\"", K_Script::t_string), "He llo"},
        {parsed<char>("\"a\\\"b\"", K_Script::t_string), "a\"b"},
        {parsed<int>("abc,5", pair), std::to_string('a' | 'b' << 8 | 'c' << 16) + " 5 0"},
        {parsed<int>("abc", pair), parsingFailure("abc", "%s,%d")},
        {parsed<int>("5%", percent), "5 0 0"},
        {parsed<int>("5", none), parsingFailure("5", "%%")},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(row.expected, row.actual);
    }
}

TEST(ScriptParse, WorkedExampleDefaultsAndThePriorityOfThePasses) {
    MemoryScripts scripts;
    scripts.add("main.txt", std::string(kWorld) + " [Twice] x=1; x=2; [Empty] {}");
    K_Script s("main.txt");
    K_ScriptLock const world(&s, "world", 0);
    int fov = 0;
    char name[32] = "";
    float bounds[3] = {};
    float speed = 0;
    int fast = 5;
    K_Script::Variables table[] = {{"Fov", &fov, "60", &K_Script::t_int},
                                   {"Name", name, nullptr, &K_Script::t_string},
                                   {"Speed", &speed, "1.5", &K_Script::t_float},
                                   {"Fast", &fast, "1", &K_Script::t_int},
                                   {}};
    EXPECT_EQ("K_Script: Variables \"Fast\" doesn't have a default value\nin "
              "[camera]/[world]/[main.txt]!\nYou have to assign a value to it.",
              messageOf<K_ScriptException_NoDefault>([&] { s.parse(table, "camera", 0, false); }));
    EXPECT_EQ(90, fov);
    EXPECT_STREQ("Main Camera", name);
    EXPECT_EQ(0.0f, speed); // no default stored without assignDefaults
    EXPECT_EQ(5, fast);
    K_Script::Variables const boundsRow[] = {{"BOUNDS", bounds, nullptr, &K_Script::t_float3}, {}};
    EXPECT_EQ("K_Script: Unknown variable \"gravity\"\nin [physics]/[world]/[main.txt]!",
              messageOf<K_ScriptException_UnknownVariable>([&] { s.parse(boundsRow, 0u, true); }));
    K_Script::setIgnoreUnknownVariables(true);
    table[3].name = nullptr;
    s.parse(table, 1u, true);
    s.parse(boundsRow, 0u, true);
    K_Script::setIgnoreUnknownVariables(false);
    EXPECT_EQ(1.5f, speed);
    EXPECT_EQ(0.5f, bounds[2]);
    s.lock(0u);
    EXPECT_STREQ("(1,2.5,50%)", s.getAssignment("bounds", 0)); // words are cut and mended
    s.unlock();
    EXPECT_STREQ("world", s.getBlockName()); // every form unlocks, also when raising
}

TEST(ScriptParse, UnknownThenDoubleThenValues) {
    MemoryScripts scripts;
    scripts.add("main.txt", "[Twice] x=1; x=oops; y=1; [Empty] {}");
    K_Script s("main.txt");
    int x = 0;
    int y = 0;
    K_Script::Variables const onlyY[] = {{"y", &y, "z", &K_Script::t_int}, {}};
    K_Script::Variables const both[] = {
        {"y", &y, "z", &K_Script::t_int}, {"x", &x, "0", &K_Script::t_int}, {}};
    K_Script::Variables const twice[] = {
        {"z", &x, "7", &K_Script::t_int}, {"Z", &y, "8", &K_Script::t_int}, {}};
    EXPECT_EQ("K_Script: Unknown variable \"x\"\nin [twice]/[main.txt]!",
              messageOf<K_ScriptException_UnknownVariable>([&] { s.parse(onlyY, 0u, true); }));
    EXPECT_EQ("K_Script: Double variables named \"x\"\nin [twice]/[main.txt]!",
              messageOf<K_ScriptException_DoubleVariable>([&] { s.parse(both, 0u, true); }));
    EXPECT_EQ("K_Script: Can't parse assignment to variable \"y\"\nin [empty]/[main.txt]!\n"
              "Assignment: \"z\"  Format:\"%d\"",
              messageOf<K_ScriptException_Parsing>([&] { s.parse(onlyY, "empty", 0, true); }));
    s.parse(twice, "empty", 0, true); // one name in two rows fills both
    EXPECT_EQ(7, x);
    EXPECT_EQ(8, y);
    EXPECT_EQ(
        "K_Script: There is no block number 0 named \"none\"\nin [main.txt]!",
        messageOf<K_ScriptException_NamedBlockNotFound>([&] { s.parse(both, "none", 0, 1); }));
}

TEST(ScriptBlockCheck, NamesAndOccurrences) {
    MemoryScripts scripts;
    scripts.add("main.txt", kWorld);
    K_Script s("main.txt");
    K_Script::Blocks const empty[] = {{}};
    K_Script::Blocks const needsOne[] = {{"x", 1, 5}, {}};
    K_Script::Blocks const oneCamera[] = {{"Physics", 0, 1}, {"Camera", 1, 1}, {}};
    K_Script::Blocks const all[] = {{"PHYSICS", 1, 1}, {"[camera]", 2, 2}, {}};
    K_Script::Blocks const crossed[] = {{"camera", 3, 1}, {}};
    s.blockCheck(empty, "world", 0, true);
    EXPECT_EQ("K_Script: Block \"x\" has to appear at least\n1 times in [lens]/[camera]/[world]/"
              "[main.txt]!",
              messageOf<K_ScriptException_TooFewBlocks>([&] {
                  K_ScriptLock world(&s, 0u);
                  K_ScriptLock camera(&s, 2u);
                  s.blockCheck(empty, 0u, false);
                  s.blockCheck(needsOne, 0u, false);
              }));
    EXPECT_EQ(
        "K_Script: Block \"Camera\" has to appear at maximum\n1 times in [world]/[main.txt]!",
        messageOf<K_ScriptException_TooManyBlocks>([&] { s.blockCheck(oneCamera, 0u, false); }));
    EXPECT_EQ(
        "K_Script: A block \"physics\" should not exist\nin [world]/[main.txt]!",
        messageOf<K_ScriptException_UnknownBlock>([&] { s.blockCheck(needsOne, 0u, false); }));
    EXPECT_EQ("K_Script: Block \"camera\" has to appear at least\n3 times in [world]/[main.txt]!",
              messageOf<K_ScriptException_TooFewBlocks>([&] { s.blockCheck(crossed, 0u, true); }));
    s.blockCheck(all, "WORLD", 0, false);
    EXPECT_STREQ("main.txt", s.getBlockName());
}

} // namespace
