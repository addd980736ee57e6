// The operating-system layer: name matching and listing, process and environment
// queries, file modes, modules, the recursive mutex and cut formatting.
#include "platform/platform.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace fs = std::filesystem;
using namespace klmfc::platform;
using klmfc::test::TempDir;

namespace {

// Puts the current directory back however a test ends.
struct CurrentDirectoryScope {
    std::string saved = fs::current_path().string();
    ~CurrentDirectoryScope() {
        std::error_code ignored;
        fs::current_path(saved, ignored);
    }
};

int format(char* buffer, std::size_t limit, char const* pattern, ...) {
    va_list arguments;
    va_start(arguments, pattern);
    int const n = formatTruncated(buffer, limit, pattern, arguments);
    va_end(arguments);
    return n;
}

TEST(Platform, WildcardMatchIgnoresCaseAndGivesDotNoMeaning) {
    struct Row {
        char const* pattern;
        char const* text;
        bool match;
    };
    Row const rows[] = {
        {"*", "", true},
        {"*", "..", true},
        {"", "a", false},
        {"*.*", "readme", false},
        {"*.*", ".", true},
        {"*.txt", "NOTES.TXT", true},
        {"*.txt", "a.txt.bak", false},
        {"A?C", "abc", true},
        {"a?c", "ac", false},
        {"abc?", "abc", false},
        {"a*b*c", "aXbYbZc", true},
        {"a*b*c", "aXbYcZ", false},
        {"*a", "banana", true},
        {"**x", "x", true},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(row.match, wildcardMatch(row.pattern, row.text))
            << '"' << row.pattern << "\" on \"" << row.text << '"';
    }
}

std::vector<std::pair<std::string, bool>> listing(std::string const& pattern) {
    std::vector<std::pair<std::string, bool>> found;
    FindData data;
    FindHandle* handle = findFirst(pattern.c_str(), &data);
    if (handle == nullptr) {
        return found;
    }
    do {
        found.emplace_back(data.name, data.isDirectory);
    } while (findNext(handle, &data));
    EXPECT_FALSE(findNext(handle, &data)); // stays at the end
    findClose(handle);
    return found;
}

TEST(Platform, FindListsMatchingEntriesSortedWithDirectoriesFlagged) {
    TempDir dir;
    dir.write("b.txt", "bb");
    dir.write("a.txt", "aaa");
    dir.write("C.TXT", "");
    dir.write("notes.md", "");
    dir.mkdir("logs.txt");

    using Listing = std::vector<std::pair<std::string, bool>>;
    EXPECT_EQ((Listing{{"C.TXT", false}, {"a.txt", false}, {"b.txt", false}, {"logs.txt", true}}),
              listing(dir / "*.txt"));
    EXPECT_EQ((Listing{{".", true},
                       {"..", true},
                       {"C.TXT", false},
                       {"a.txt", false},
                       {"b.txt", false},
                       {"logs.txt", true},
                       {"notes.md", false}}),
              listing(dir / "*"));
    EXPECT_TRUE(listing(dir / "*.none").empty());
    EXPECT_TRUE(listing(dir / "missing/*").empty());

    FindData data;
    FindHandle* handle = findFirst((dir / "A.TXT").c_str(), &data);
    ASSERT_NE(nullptr, handle);
    EXPECT_STREQ("a.txt", data.name);
    EXPECT_EQ(3u, data.size);
    EXPECT_FALSE(findNext(handle, &data));
    findClose(handle);

    CurrentDirectoryScope restore;
    ASSERT_TRUE(setCurrentDirectory(dir.path().c_str()));
    EXPECT_EQ((Listing{{"notes.md", false}}), listing("*.MD")); // a bare pattern: here
}

TEST(Platform, ProcessDirectoriesAndEnvironment) {
    std::string const exeDir = fs::read_symlink("/proc/self/exe").parent_path().string();
    char buffer[4096];
    ASSERT_TRUE(programDirectory(buffer, sizeof buffer));
    EXPECT_EQ(exeDir, buffer);
    EXPECT_TRUE(programDirectory(buffer, exeDir.size() + 1));
    EXPECT_FALSE(programDirectory(buffer, exeDir.size())); // no room for the terminator

    TempDir dir;
    std::string const target = fs::canonical(dir.path()).string();
    {
        CurrentDirectoryScope restore;
        ASSERT_TRUE(setCurrentDirectory(target.c_str()));
        ASSERT_TRUE(currentDirectory(buffer, sizeof buffer));
        EXPECT_EQ(target, buffer);
        EXPECT_FALSE(setCurrentDirectory((target + "/missing").c_str()));
        EXPECT_EQ(target, fs::current_path().string());
        EXPECT_FALSE(currentDirectory(buffer, 2));
    }

    char const* const name = "KLMFC_PLATFORM_TEST_VARIABLE";
    ASSERT_EQ(0, ::setenv(name, "value123", 1));
    char value[16] = "keep";
    EXPECT_TRUE(environmentVariable(name, value, sizeof value));
    EXPECT_STREQ("value123", value);
    EXPECT_TRUE(environmentVariable(name, value, 4));
    EXPECT_STREQ("val", value);
    ASSERT_EQ(0, ::unsetenv(name));
    std::strcpy(value, "keep");
    EXPECT_FALSE(environmentVariable(name, value, sizeof value));
    EXPECT_STREQ("keep", value);

    char host[256] = {};
    ASSERT_EQ(0, ::gethostname(host, sizeof host - 1));
    std::string expected(host);
    expected = expected.substr(0, std::min(expected.find('.'), std::size_t{15}));
    char machine[16];
    std::memset(machine, 'x', sizeof machine);
    ASSERT_TRUE(machineName(machine));
    EXPECT_EQ(expected, machine); // at most 15 characters, cut at the first dot
}

TEST(Platform, StatModeAndFileKind) {
    TempDir dir;
    dir.write("file.bin", "x");
    unsigned int mode = 0;
    ASSERT_TRUE(statMode(dir.path().c_str(), &mode));
    EXPECT_EQ(0x4000u, mode & 0xF000u);
    ASSERT_TRUE(statMode((dir / "file.bin").c_str(), &mode));
    EXPECT_EQ(0x8000u, mode & 0xF000u);
    mode = 123;
    EXPECT_FALSE(statMode((dir / "missing").c_str(), &mode));
    EXPECT_EQ(123u, mode);

    EXPECT_EQ(FileKind::Directory, fileKind(dir.path().c_str()));
    EXPECT_EQ(FileKind::File, fileKind((dir / "file.bin").c_str()));
    EXPECT_EQ(FileKind::None, fileKind((dir / "missing").c_str()));
}

TEST(Platform, LoadModuleFindsBareNamesHereAndRefusesWhatWillNotLoad) {
    TempDir dir;
    dir.write("fake.so", "not a shared object");
    EXPECT_EQ(nullptr, loadModule((dir / "missing.so").c_str()));
    EXPECT_EQ(nullptr, loadModule((dir / "fake.so").c_str()));

    fs::path const driver(KLMFC_TEST_DRIVER);
    CurrentDirectoryScope restore;
    ASSERT_TRUE(setCurrentDirectory(driver.parent_path().c_str()));
    void* module = loadModule(driver.filename().c_str()); // not on the loader's search path
    EXPECT_NE(nullptr, module);
    unloadModule(module);
    unloadModule(nullptr);
    ASSERT_TRUE(setCurrentDirectory(dir.path().c_str()));
    EXPECT_EQ(nullptr, loadModule(driver.filename().c_str()));
    EXPECT_EQ(nullptr, loadModule("fake.so"));
}

// The scheduling state of one of this process's threads ('S' while it sleeps, as in
// a wait for a mutex).
char threadState(long tid) {
    std::ifstream in("/proc/self/task/" + std::to_string(tid) + "/stat");
    std::string line;
    std::getline(in, line);
    std::size_t const close = line.rfind(')');
    return close == std::string::npos || close + 2 >= line.size() ? '?' : line[close + 2];
}

TEST(Platform, RecursiveMutexIsReenterableByItsHolderAndExcludesOthers) {
    RecursiveMutex* mutex = createRecursiveMutex();
    lockMutex(mutex);
    lockMutex(mutex); // the holder takes it again without blocking
    unlockMutex(mutex);

    // Still held once: another thread must wait for the second unlock.
    std::atomic<long> tid{0};
    std::atomic<bool> acquired{false};
    std::thread other([&] {
        tid = ::syscall(SYS_gettid);
        lockMutex(mutex);
        acquired = true;
        unlockMutex(mutex);
    });
    while (tid == 0) {
        std::this_thread::yield();
    }
    // Until it either has the mutex or sleeps waiting for it.
    while (!acquired && threadState(tid) != 'S') {
        std::this_thread::yield();
    }
    EXPECT_FALSE(acquired);
    unlockMutex(mutex);
    other.join();
    EXPECT_TRUE(acquired);
    lockMutex(mutex); // free again after the other thread's release
    unlockMutex(mutex);
    destroyRecursiveMutex(mutex);
}

TEST(Platform, FormatTruncatedCutsAtTheLimitAndAlwaysTerminates) {
    struct Row {
        std::size_t limit;
        char const* text;
        int written;
    };
    Row const rows[] = {
        {5, "abc42", 5}, {8, "abc42fgh", 8}, {10, "abc42fgh", 8}, {3, "abc", 3}, {0, "", 0},
    };
    for (Row const& row : rows) {
        char buffer[16];
        std::memset(buffer, '#', sizeof buffer);
        EXPECT_EQ(row.written, format(buffer, row.limit, "%s%d%s", "abc", 42, "fgh")) << row.limit;
        EXPECT_STREQ(row.text, buffer);
        EXPECT_EQ('#', buffer[row.limit + 1]) << row.limit;
    }
    char buffer[16];
    EXPECT_EQ(6, format(buffer, 15, "%d-%s", -17, "xy"));
    EXPECT_STREQ("-17-xy", buffer);
}

} // namespace
