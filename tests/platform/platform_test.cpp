// The operating-system layer: name matching and listing, process and environment
// queries, file modes, modules, the recursive mutex and cut formatting.
#include "platform/platform.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <string>
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
    ~CurrentDirectoryScope() { setCurrentDirectory(saved.c_str()); }
};

TEST(Platform, WildcardMatchIgnoresCaseAndGivesDotNoMeaning) {
    char const* const matching[][2] = {{"*", ""},          {"*", ".."},         {"*.*", "."},
                                       {"*.txt", "a.TXT"}, {"A?C", "abc"},      {"*a", "banana"},
                                       {"**x", "x"},       {"a*b*c", "aXbYbZc"}};
    char const* const differing[][2] = {{"", "a"},     {"*.*", "readme"}, {"*.txt", "a.txt.bak"},
                                        {"a?c", "ac"}, {"abc?", "abc"},   {"a*b*c", "aXbYcZ"}};
    for (auto const& pair : matching) {
        EXPECT_TRUE(wildcardMatch(pair[0], pair[1])) << pair[0] << " on " << pair[1];
    }
    for (auto const& pair : differing) {
        EXPECT_FALSE(wildcardMatch(pair[0], pair[1])) << pair[0] << " on " << pair[1];
    }
}

using Listing = std::vector<std::pair<std::string, bool>>;

Listing listing(std::string const& pattern) {
    Listing found;
    FindData data;
    FindHandle* handle = findFirst(pattern.c_str(), &data);
    for (bool more = handle != nullptr; more; more = findNext(handle, &data)) {
        found.emplace_back(data.name, data.isDirectory);
    }
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
    EXPECT_EQ((Listing{{"C.TXT", false}, {"a.txt", false}, {"b.txt", false}, {"logs.txt", true}}),
              listing(dir / "*.txt"));
    EXPECT_EQ((Listing{{".", true}, {"..", true}}), listing(dir / ".*"));
    EXPECT_TRUE(listing(dir / "missing/*").empty());
    FindData data;
    FindHandle* handle = findFirst((dir / "A.TXT").c_str(), &data);
    ASSERT_NE(nullptr, handle);
    EXPECT_STREQ("a.txt", data.name);
    EXPECT_EQ(3u, data.size);
    findClose(handle);
    CurrentDirectoryScope restore;
    ASSERT_TRUE(setCurrentDirectory(dir.path().c_str()));
    EXPECT_EQ((Listing{{"notes.md", false}}), listing("*.MD")); // a bare pattern: here
}

TEST(Platform, ProcessDirectoriesAndEnvironment) {
    std::string const exeDir = fs::read_symlink("/proc/self/exe").parent_path().string();
    char buffer[4096];
    ASSERT_TRUE(programDirectory(buffer, exeDir.size() + 1));
    EXPECT_EQ(exeDir, buffer);
    EXPECT_FALSE(programDirectory(buffer, exeDir.size())); // no room for the terminator
    {
        CurrentDirectoryScope restore;
        ASSERT_TRUE(setCurrentDirectory(exeDir.c_str()));
        EXPECT_FALSE(setCurrentDirectory((exeDir + "/missing").c_str()));
        ASSERT_TRUE(currentDirectory(buffer, exeDir.size() + 1));
        EXPECT_EQ(exeDir, buffer);
        EXPECT_FALSE(currentDirectory(buffer, exeDir.size()));
    }

    char const* const name = "KLMFC_PLATFORM_TEST_VARIABLE";
    ASSERT_EQ(0, ::setenv(name, "value123", 1));
    char value[16] = "keep";
    EXPECT_TRUE(environmentVariable(name, value, 4));
    EXPECT_STREQ("val", value);
    ASSERT_EQ(0, ::unsetenv(name));
    EXPECT_FALSE(environmentVariable(name, value, sizeof value));
    EXPECT_STREQ("val", value); // left as it was

    char host[256] = {};
    ASSERT_EQ(0, ::gethostname(host, sizeof host - 1));
    std::string const expected(host, std::min(std::strcspn(host, "."), std::size_t{15}));
    char machine[16];
    ASSERT_TRUE(machineName(machine));
    EXPECT_EQ(expected, machine); // at most 15 characters, cut at the first dot
}

TEST(Platform, StatModeAndFileKind) {
    TempDir dir;
    dir.write("file.bin", "x");
    std::string const file = dir / "file.bin", missing = dir / "missing";
    unsigned int mode = 123;
    EXPECT_FALSE(statMode(missing.c_str(), &mode));
    EXPECT_EQ(123u, mode);
    ASSERT_TRUE(statMode(dir.path().c_str(), &mode));
    EXPECT_EQ(0x4000u, mode & 0xF000u);
    ASSERT_TRUE(statMode(file.c_str(), &mode));
    EXPECT_EQ(0x8000u, mode & 0xF000u);
    EXPECT_EQ(FileKind::Directory, fileKind(dir.path().c_str()));
    EXPECT_EQ(FileKind::File, fileKind(file.c_str()));
    EXPECT_EQ(FileKind::None, fileKind(missing.c_str()));
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
    ASSERT_TRUE(setCurrentDirectory(dir.path().c_str()));
    EXPECT_EQ(nullptr, loadModule(driver.filename().c_str()));
}

TEST(Platform, RecursiveMutexIsReenterableByItsHolderAndExcludesOthers) {
    RecursiveMutex* mutex = createRecursiveMutex();
    lockMutex(mutex);
    lockMutex(mutex); // the holder takes it again without blocking
    unlockMutex(mutex);
    // Still held once: another thread must wait for the second unlock.
    std::atomic<bool> acquired{false};
    std::thread other([&] {
        lockMutex(mutex);
        acquired = true;
        unlockMutex(mutex);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_FALSE(acquired);
    unlockMutex(mutex);
    other.join();
    EXPECT_TRUE(acquired);
    destroyRecursiveMutex(mutex);
}

int format(char* buffer, std::size_t limit, char const* pattern, ...) {
    va_list arguments;
    va_start(arguments, pattern);
    int const n = formatTruncated(buffer, limit, pattern, arguments);
    va_end(arguments);
    return n;
}

TEST(Platform, FormatTruncatedCutsAtTheLimitAndAlwaysTerminates) {
    for (std::size_t limit : {0, 5, 8, 10}) {
        std::string const expected = std::string("abc-42fgh").substr(0, limit);
        char buffer[16];
        std::memset(buffer, '#', sizeof buffer);
        EXPECT_EQ(static_cast<int>(expected.size()),
                  format(buffer, limit, "%s%d%s", "abc", -42, "fgh"));
        EXPECT_EQ(expected, buffer);
        EXPECT_EQ('#', buffer[limit + 1]) << limit;
    }
}

} // namespace
