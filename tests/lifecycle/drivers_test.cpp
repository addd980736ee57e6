// Driver modules found at start-up. The probe host is copied into a directory of the
// test's own, which then is its program directory: "kldriver" is looked for there.
#include "support/child.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

using klmfc::test::runProgram;
using klmfc::test::TempDir;

namespace {

namespace fs = std::filesystem;

struct Host {
    TempDir dir;
    std::string program;

    Host() : program(dir / "probe") { fs::copy_file(KLMFC_PROBE_HOST, program); }

    void putDriver(std::string const& relative) const {
        fs::create_directories(fs::path(dir / relative).parent_path());
        fs::copy_file(KLMFC_TEST_DRIVER, dir / relative);
    }

    // Runs the probe from some other directory, with KLDRIVERPATH as given.
    std::string run(std::string const& driverPath = "") const {
        auto result = runProgram(
            program, "/", {driverPath.empty() ? "KLDRIVERPATH" : "KLDRIVERPATH=" + driverPath});
        EXPECT_EQ(result.exitCode, 0) << result.err;
        return result.out;
    }

    std::string cwdLine() const { return "cwd " + fs::canonical(dir.path()).string() + "\n"; }
};

std::string const kReferenceOnly = "driver Reference CPU\nactive Reference CPU\ndown yes\n";
// The module reports its load during start-up, before the host prints anything, and its
// unload while the driver list is still whole.
std::string const kLoaded = "module loaded, Sys up\n";
std::string const kWithModule = "driver Reference CPU\ndriver Test CPU\nactive Reference CPU\n"
                                "module unloaded, 2 drivers listed\ndown yes\n";

} // namespace

TEST(Drivers, WithoutModulesOnlyTheReferenceDriverIsListed) {
    Host host;
    EXPECT_EQ(host.run(), host.cwdLine() + kReferenceOnly);
}

TEST(Drivers, ModuleInKldriverIsLoadedListedNotActivatedAndUnloadedAtShutdown) {
    Host host;
    host.putDriver("kldriver/test_mfcrel.dll");
    host.putDriver("kldriver/test_mfcrel.so"); // does not match the pattern
    EXPECT_EQ(host.run(), kLoaded + host.cwdLine() + kWithModule);
}

TEST(Drivers, KldriverPathIsAFallbackNotAnOverride) {
    {
        Host host; // no kldriver directory: the variable is honoured
        host.putDriver("elsewhere/test_mfcrel.dll");
        EXPECT_EQ(host.run(host.dir / "elsewhere"), kLoaded + host.cwdLine() + kWithModule);
    }
    {
        Host host; // an empty kldriver directory wins over the variable
        host.dir.mkdir("kldriver");
        host.putDriver("elsewhere/test_mfcrel.dll");
        EXPECT_EQ(host.run(host.dir / "elsewhere"), host.cwdLine() + kReferenceOnly);
    }
    {
        Host host; // a plain file called kldriver is no driver directory
        host.dir.write("kldriver", "not a directory");
        host.putDriver("elsewhere/test_mfcrel.dll");
        EXPECT_EQ(host.run(host.dir / "elsewhere"), kLoaded + host.cwdLine() + kWithModule);
    }
}

TEST(Drivers, WithNoDriverDirectoryTheProgramDirectoryIsSearched) {
    // The directory change to "kldriver" fails, so the search runs where the process
    // stands: the program's directory.
    Host host;
    host.putDriver("test_mfcrel.dll");
    EXPECT_EQ(host.run(), kLoaded + host.cwdLine() + kWithModule);
}

TEST(Drivers, AFileThatWillNotLoadIsSkippedSilently) {
    Host host;
    host.dir.write("kldriver/broken_mfcrel.dll", "this is not a shared object");
    auto result = runProgram(host.program, "/", {"KLDRIVERPATH"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, host.cwdLine() + kReferenceOnly);
    EXPECT_EQ(result.err, "");
}
