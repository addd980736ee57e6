// The verbose log and K_STR. Each case runs the library in a child process whose
// current directory is moved to a directory of the test's own before the log opens.
#include "klmfc/core/system.h"
#include "support/child.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <unistd.h>
#include <vector>

using klmfc::test::readFile;
using klmfc::test::runInChild;
using klmfc::test::TempDir;

namespace {

std::vector<std::string> g_calls;
void capture(char const* text) {
    g_calls.emplace_back(text);
}
void other(char const*) {}

std::string const kEquals(78, '=');
// The header of a run: an empty line, the date as asctime gives it, the rule, a blank line.
std::string const kHeader =
    "\\n [A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4}\\n" + kEquals +
    "\\n\\n";

// Brings the library up with the log in `dir`; returns the log file's path.
std::string up(TempDir const& dir) {
    if (::chdir(dir.path().c_str()) != 0) {
        return "";
    }
    return dir.path() + "/" + Sys->getVerboseFilename();
}

bool matches(std::string const& text, std::string const& pattern) {
    return std::regex_match(text, std::regex(pattern));
}

} // namespace

TEST(Verbose, FileHasHeaderMessagesAsFormattedAndClosingLine) {
    TempDir dir;
    auto result = runInChild([&] {
        std::string path;
        {
            K_KovmarInit init;
            path = up(dir);
            Sys->setVerboseCallback(capture);
            Sys->verbose("first %d", 1);
            Sys->verbose(" continues\n");
        }
        std::string calls;
        for (auto const& c : g_calls) {
            calls += "[" + c + "]";
        }
        return readFile(path) + "|" + calls;
    });
    std::string const file = result.out.substr(0, result.out.find('|'));
    std::string const calls = result.out.substr(result.out.find('|') + 1);
    EXPECT_TRUE(matches(file, kHeader + "first 1 continues\n" + kEquals + "\n\n")) << file;
    // The callback sees the header's three pieces, each message as written, then the
    // closing line in its two pieces.
    EXPECT_TRUE(matches(calls, "\\[\\n [^\\]]+\\n\\]\\[" + kEquals +
                                   "\\]\\[\\n\\n\\]\\[first 1\\]\\[ continues\\n\\]\\[" + kEquals +
                                   "\\]\\[\\n\\n\\]"))
        << calls;
}

TEST(Verbose, LongMessageIsCutTo1023CharactersInFileAndCallback) {
    TempDir dir;
    auto result = runInChild([&] {
        K_KovmarInit init;
        std::string const path = up(dir);
        Sys->verbose("-");
        Sys->setVerboseCallback(capture);
        std::string const text(2000, 'x');
        Sys->verbose("%s", text.c_str());
        std::string const file = readFile(path);
        return std::to_string(file.size() - file.rfind('-') - 1) + " " +
               std::to_string(g_calls.at(0).size());
    });
    EXPECT_EQ(result.out, "1023 1023");
}

TEST(Verbose, ClearStartsTheFileOverWithANewHeader) {
    TempDir dir;
    auto result = runInChild([&] {
        K_KovmarInit init;
        std::string const path = up(dir);
        Sys->verbose("old text\n");
        Sys->clearVerbose();
        Sys->verbose("new text\n");
        return readFile(path);
    });
    EXPECT_TRUE(matches(result.out, kHeader + "new text\n")) << result.out;
}

TEST(Verbose, CeaseWithRemovalDeletesTheFileForGood) {
    TempDir dir;
    auto result = runInChild([&] {
        std::string path;
        {
            K_KovmarInit init;
            path = up(dir);
            Sys->setVerboseCallback(capture);
            Sys->verbose("before\n");
            g_calls.clear();
            Sys->ceaseVerbose(1);
            Sys->verbose("after\n");
            Sys->clearVerbose();
            Sys->verbose("after clear\n");
        } // the closing line is not written either
        return std::string(klmfc::test::fileExists(path) ? "exists " : "gone ") +
               std::to_string(g_calls.size());
    });
    EXPECT_EQ(result.out, "gone 0");
}

TEST(Verbose, CeaseWithoutRemovalKeepsTheFileAsItWas) {
    TempDir dir;
    auto result = runInChild([&] {
        std::string path;
        {
            K_KovmarInit init;
            path = up(dir);
            Sys->verbose("kept\n");
            Sys->ceaseVerbose(0);
            Sys->verbose("lost\n");
        }
        return readFile(path);
    });
    EXPECT_TRUE(matches(result.out, kHeader + "kept\n")) << result.out;
}

TEST(Verbose, SetCallbackReturnsThePreviousOne) {
    auto result = runInChild([] {
        K_KovmarInit init;
        Sys->ceaseVerbose(0);
        std::string report;
        report += Sys->setVerboseCallback(capture) == nullptr ? "null " : "set ";
        report += Sys->setVerboseCallback(other) == capture ? "capture " : "wrong ";
        report += Sys->setVerboseCallback(nullptr) == other ? "other" : "wrong";
        return report;
    });
    EXPECT_EQ(result.out, "null capture other");
}

TEST(Verbose, EachRunAppendsItsOwnHeaderAndAQuietRunStillLeavesOne) {
    TempDir dir;
    auto result = runInChild([&] {
        std::string path;
        {
            K_KovmarInit init;
            path = up(dir);
            Sys->verbose("run one\n");
        }
        {
            K_KovmarInit init; // logs nothing itself
            up(dir);
        }
        return readFile(path);
    });
    std::string const closing = kEquals + "\n\n";
    EXPECT_TRUE(matches(result.out, kHeader + "run one\n" + closing + kHeader + closing))
        << result.out;
}

TEST(Str, RingOf32BuffersWithAndWithoutSys) {
    auto result = runInChild([] {
        std::string report;
        char const* first = K_STR("%d", 0);
        for (int i = 1; i < 32; ++i) {
            K_STR("%d", i);
        }
        report += K_STR("x") == first ? "wraps " : "grows ";
        report += std::to_string(std::string(K_STR("%s", std::string(3000, 'y').c_str())).size());
        {
            K_KovmarInit init;
            report += std::string(" ") + K_STR("%s-%04d", "up", 7);
        }
        report += std::string(" ") + K_STR("%s", "down");
        return report;
    });
    EXPECT_EQ(result.out, "wraps 2047 up-0007 down");
}
