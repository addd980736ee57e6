// Start and stop of the library, the deinit routines and the system object's report.
// Each case brings the library up in a child process of its own.
#include "klmfc/core/system.h"
#include "klmfc/file/file.h"
#include "support/child.h"
#include "support/system_access.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <string>
#include <unistd.h>

using klmfc::test::runInChild;

namespace {

std::string g_trace;
std::string g_log;

void captureLog(char const* text) {
    g_log += text;
}

void routineA() {
    g_trace += "A";
}
void routineC() {
    g_trace += "C";
}
void routineD() {
    g_trace += "D";
}
void routineB() {
    g_trace += "B";
    static bool registered = false;
    if (!registered) {
        registered = true;
        Sys->add(routineD, "d");
    }
}
void routineSelfRemoving();
void routineSelfRemoving() {
    g_trace += "S";
    Sys->remove(routineSelfRemoving);
}

std::string rule(char c) {
    return std::string(78, c);
}

std::string hex(void (*routine)()) {
    char text[32];
    std::snprintf(text, sizeof text, "%8llx",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(routine)));
    return text;
}

} // namespace

TEST(StartStop, OnlyTheFirstInitBuildsAndOnlyTheLastTearsDown) {
    auto result = runInChild([] {
        std::string report;
        auto* first = new K_KovmarInit;
        K_System* const system = Sys;
        K_File* const files = File;
        auto* second = new K_KovmarInit;
        report +=
            (Sys == system && File == files && K_KovmarInit::count == 2) ? "same " : "changed ";
        delete first;
        report += (Sys == system && File == files && K_KovmarInit::count == 1) ? "kept " : "lost ";
        delete second;
        report += (Sys == nullptr && File == nullptr && K_KovmarInit::count == 0) ? "down " : "up ";
        K_KovmarInit again; // a later init starts the whole cycle over
        report +=
            (Sys != nullptr && File != nullptr && Sys->getCPU() != nullptr) ? "again" : "dead";
        return report;
    });
    EXPECT_EQ(result.out, "same kept down again");
}

TEST(StartStop, CurrentDirectoryBecomesTheProgramDirectory) {
    klmfc::test::TempDir elsewhere;
    auto result = runInChild([&] {
        if (::chdir(elsewhere.path().c_str()) != 0) {
            return std::string("chdir failed");
        }
        char startup[PATH_MAX];
        if (::getcwd(startup, sizeof startup) == nullptr) {
            return std::string("getcwd failed");
        }
        K_KovmarInit init;
        char cwd[PATH_MAX];
        char exe[PATH_MAX] = {};
        if (::getcwd(cwd, sizeof cwd) == nullptr ||
            ::readlink("/proc/self/exe", exe, sizeof exe - 1) <= 0) {
            return std::string("query failed");
        }
        std::string program(exe);
        program.resize(program.rfind('/'));
        return std::string(cwd == program ? "program " : "other ") +
               (File->getStartupDirectory() == std::string(startup) ? "startup " : "lost ") +
               (K_File::getRootDirectory() == program ? "root" : "noroot");
    });
    EXPECT_EQ(result.out, "program startup root");
}

TEST(Deinit, RoutinesRunNewestFirstAndMayChangeTheList) {
    auto result = runInChild([] {
        {
            K_KovmarInit init;
            Sys->add(routineA, "a");
            Sys->add(routineB, "b");
            Sys->add(routineSelfRemoving, "s");
            Sys->add(routineC, "c");
        }
        return g_trace;
    });
    // C, then S (removes itself: freed once), then B registers D, so D runs next and B
    // is found last again and runs a second time; A last.
    EXPECT_EQ(result.out, "CSBDBA");
    EXPECT_EQ(result.signal, 0);
}

TEST(Deinit, AddAndRemoveReportWhetherTheListChanged) {
    auto result = runInChild([] {
        std::string report;
        K_KovmarInit init;
        report += std::to_string(Sys->add(routineA, "first"));
        report += std::to_string(Sys->add(routineA, "second"));
        report += std::to_string(Sys->remove(routineC));
        report += std::to_string(Sys->add(routineC, nullptr));
        report += std::to_string(Sys->remove(routineC)); // unregistered, not called
        report += std::to_string(K_SystemTestAccess::deinitCount(Sys));
        report += " " + g_trace;
        K_SystemTestAccess::runDeinits(Sys);
        report += g_trace + std::to_string(K_SystemTestAccess::deinitCount(Sys));
        return report;
    });
    EXPECT_EQ(result.out, "100111 A0");
}

TEST(Deinit, DumpReportsTheRoutinesInTheLog) {
    auto result = runInChild([] {
        K_KovmarInit init;
        Sys->setVerboseCallback(captureLog);
        Sys->verbose("start\n");
        g_log.clear();
        Sys->dump();
        std::string const empty = g_log;
        Sys->add(routineA, "alpha");
        Sys->add(routineA, "ignored");
        Sys->add(routineC, nullptr);
        g_log.clear();
        Sys->dump();
        std::string const full = g_log;
        Sys->remove(routineA);
        Sys->remove(routineC);
        Sys->setVerboseCallback(nullptr);
        return empty + "|" + full;
    });
    std::string const expectEmpty =
        "System Object\n" + rule('-') + "\n Deinit routines:  -\n" + rule('-') + "\n\n\n";
    std::string const expectFull =
        "System Object\n" + rule('-') + "\n Deinit routines:  " + hex(routineA) + " - \"alpha\"\n" +
        std::string(19, ' ') + hex(routineC) + " - \"\"\n" + rule('-') + "\n\n\n";
    EXPECT_EQ(result.out, expectEmpty + "|" + expectFull);
}

TEST(Deinit, TerminateRunsTheRoutinesShowsTheTextAndAborts) {
    auto result = runInChild([] {
        K_KovmarInit init;
        Sys->add([] { std::fputs("routine ran\n", stderr); }, "r");
        K_System::m_bSuppressErrors = true;
        std::snprintf(Sys->m_acCriticalError, sizeof Sys->m_acCriticalError, "%s", "disk on fire");
        K_SystemTestAccess::terminate(Sys);
        return std::string("returned");
    });
    EXPECT_EQ(result.signal, SIGABRT);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "routine ran\nCritical Error: disk on fire\n");
}
