// The frame profiler on both of its clocks, driven by a clock that moves only when told:
// calls, inclusive and self shares and times, recursion, nesting, allocation counts, the
// order of the clock reads, the walk of request(), clearing, reset and deinit.
#include "core/system_services_access.h"
#include "profile/profile_probe.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <utility>
#include <vector>

using klmfc::test::fake;
using klmfc::test::FakeClockScope;
using Entry = ProfileProbe::K_PENTRY;

namespace {

constexpr double kSpeed = 2048.0; // cycles per second on the time-stamp clock
constexpr double kTicks = 1024.0; // counter ticks per second on the seconds clock

void freshProfiler() {
    K_Profile::reset();
    ProfileProbe::m_slProfiles.freeAll();
    ProfileProbe::m_spEarlierParent = nullptr;
    K_Profile::enableProfiling(true);
}

Entry* entry(char const* name) {
    return ProfileProbe::find(name);
}

// Lets `units` pass: cycles of the time-stamp counter, ticks of the counter.
void pass(int units) {
    fake.timeStamp += static_cast<std::uint64_t>(units);
    fake.counter += units;
}

// Opens `name`, lets `before` units pass, runs `inner`, lets `after` units pass, closes.
void section(char const* name, int before, std::function<void()> const& inner = {}, int after = 0) {
    K_Profile scope(name);
    pass(before);
    if (inner) {
        inner();
    }
    pass(after);
}

// The parameter says whether the time-stamp clock is in use.
class Profile : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        unsigned int const caps = Sys->getProcessorCaps() & ~K_System::CAPS_TSC;
        K_SystemServicesTestAccess::setCaps(tsc() ? caps | K_System::CAPS_TSC : caps);
        K_SystemServicesTestAccess::setSpeed(kSpeed, 1);
        freshProfiler();
    }
    void TearDown() override { freshProfiler(); }

    static bool tsc() { return GetParam(); }
    // `units` as the profiler counts them: cycles, or seconds on the second clock.
    static double cycles(int units) { return tsc() ? units : units / kTicks; }
    static double seconds(int units) { return tsc() ? units / kSpeed : units / kTicks; }

    FakeClockScope m_scope;
};

TEST_P(Profile, SectionEnteredTwiceCountsBothCallsAndAddsTheirTimes) {
    K_Profile::startFrame();
    pass(1);
    section("A", 3);
    pass(2);
    section("A", 5);
    pass(1);
    K_Profile::endFrame(); // a frame of 12

    EXPECT_EQ(cycles(8), entry("A")->tFrameSelfCycles);
    K_PINFO* info = K_Profile::request("A");
    ASSERT_NE(nullptr, info);
    EXPECT_EQ(2, info->iCallsFrame);
    EXPECT_EQ(2, info->iCallsTotal);
    EXPECT_EQ(1, info->iUsedThisFrame);
    EXPECT_FLOAT_EQ(float(8.0 / 12.0 * 100.0), info->fPercent);
    EXPECT_FLOAT_EQ(float(8.0 / 12.0 * 100.0), info->fPercentSelf);
    EXPECT_DOUBLE_EQ(seconds(8), info->tFrameTime);
    EXPECT_DOUBLE_EQ(seconds(4), info->tAverageTime);
    EXPECT_DOUBLE_EQ(tsc() ? seconds(5) : 0.0, info->tLastTime); // only the counter writes it
    EXPECT_DOUBLE_EQ(seconds(12), K_Profile::getLastFrameTime());
    EXPECT_NEAR(seconds(8), info->fPeakTimeSelf, seconds(8) * 1e-6);
    EXPECT_EQ(2, info->iPeakCallsFrame);

    // The frame figures start again, the totals go on; on the seconds clock tFrameTime is a
    // running sum over all frames. Peaks stay.
    K_Profile::startFrame();
    EXPECT_EQ(0, entry("A")->info.iCallsFrame);
    EXPECT_EQ(0, entry("A")->info.iUsedThisFrame);
    section("A", 4);
    K_Profile::endFrame();
    info = K_Profile::request("A");
    EXPECT_EQ(1, info->iCallsFrame);
    EXPECT_EQ(3, info->iCallsTotal);
    EXPECT_FLOAT_EQ(100.0f, info->fPercent);
    EXPECT_DOUBLE_EQ(tsc() ? seconds(4) : seconds(12), info->tFrameTime);
    EXPECT_DOUBLE_EQ(seconds(12) / 3, info->tAverageTime);
    EXPECT_EQ(cycles(12), entry("A")->tTotalCycles);
    EXPECT_EQ(2, info->iPeakCallsFrame);
    EXPECT_NEAR(seconds(8), info->fPeakTimeSelf, seconds(8) * 1e-6);
    EXPECT_EQ(2, K_Profile::getFrameCount());
    EXPECT_DOUBLE_EQ(seconds(16), K_Profile::getTotalTime());
}

TEST_P(Profile, RecursionCountsTheOuterInvocationOnce) {
    K_Profile::startFrame();
    section(
        "A", 2, [] { section("A", 3); }, 4);
    K_Profile::endFrame();
    Entry* a = entry("A");
    EXPECT_EQ(2, a->info.iCallsFrame);
    EXPECT_EQ(cycles(9), a->tFrameCycles);
    EXPECT_EQ(cycles(9), a->tFrameSelfCycles);
    EXPECT_EQ(cycles(9), a->tTotalCycles);
    EXPECT_TRUE(a->invocations.empty());
    EXPECT_DOUBLE_EQ(tsc() ? seconds(9) : 0.0, a->info.tLastTime); // the outer one closed last
}

TEST_P(Profile, NestedSectionsSplitSelfFromInclusive) {
    K_Profile::startFrame();
    pass(4);
    section(
        "Parent", 2,
        [] {
            section(
                "Child", 1,
                [] {
                    section("Grandchild", 4, [] {
                        EXPECT_EQ(entry("Grandchild"), ProfileProbe::m_spEarlierParent);
                    });
                    EXPECT_EQ(entry("Child"), ProfileProbe::m_spEarlierParent);
                },
                1);
        },
        3);
    pass(5);
    K_Profile::endFrame(); // a frame of 20
    EXPECT_EQ(nullptr, ProfileProbe::m_spEarlierParent);

    struct Want {
        char const* name;
        int inclusive, self;
    };
    for (Want const& want :
         {Want{"Parent", 11, 5}, Want{"Child", 6, 2}, Want{"Grandchild", 4, 4}}) {
        SCOPED_TRACE(want.name);
        EXPECT_EQ(cycles(want.inclusive), entry(want.name)->tFrameCycles);
        EXPECT_EQ(cycles(want.self), entry(want.name)->tFrameSelfCycles);
        K_PINFO const* info = K_Profile::request(want.name);
        EXPECT_FLOAT_EQ(float(want.inclusive * 5.0), info->fPercent);
        EXPECT_FLOAT_EQ(float(want.self * 5.0), info->fPercentSelf);
        EXPECT_NEAR(seconds(want.self), info->fPeakTimeSelf, 1e-6 * seconds(want.self));
    }
}

TEST_P(Profile, RequestWalksEntriesInOrderOfFirstUseGivesNullOnceAndStartsOver) {
    K_Profile::startFrame();
    for (char const* name : {"b", "a", "c", "b", "a"}) {
        section(name, 1);
    }
    EXPECT_EQ(nullptr, K_Profile::request()); // not while a frame runs
    EXPECT_EQ(nullptr, K_Profile::request("a"));
    K_Profile::endFrame();

    auto walk = [](int steps) {
        std::vector<std::string> names;
        for (int i = 0; i < steps; ++i) {
            K_PINFO* info = K_Profile::request();
            names.push_back(info != nullptr ? info->pName : "null");
        }
        return names;
    };
    EXPECT_EQ(std::vector<std::string>({"b", "a", "c", "null", "b", "a", "c", "null", "b"}),
              walk(9));
    // A request by name leaves the walk where it was; an unknown name gives null.
    EXPECT_EQ(entry("c")->acName, K_Profile::request("c")->pName);
    EXPECT_EQ(nullptr, K_Profile::request("unknown"));
    EXPECT_EQ(std::vector<std::string>({"a", "c", "null", "b"}), walk(4));
    // A new frame begins the walk again.
    K_Profile::startFrame();
    K_Profile::endFrame();
    EXPECT_EQ(std::vector<std::string>({"b"}), walk(1));
}

TEST_P(Profile, ClearedEntryReadsMinusOneUntilTheNextRequestAfterAFrame) {
    K_Profile::startFrame();
    section("A", 2, [] {
        section("B", 2, [] {
            EXPECT_EQ(-1.0f, entry("B")->info.fPercent); // new, while the frame runs
            EXPECT_EQ(-1.0f, entry("B")->info.fPercentSelf);
        });
    });
    pass(4);
    K_Profile::endFrame();
    K_PINFO* info = K_Profile::request("A");
    EXPECT_FLOAT_EQ(50.0f, info->fPercent);
    EXPECT_FLOAT_EQ(25.0f, info->fPercentSelf);
    double const lastTime = info->tLastTime;

    K_Profile::clearEntry("A");
    K_Profile::clearEntry("unknown"); // nothing
    Entry* a = entry("A");
    EXPECT_EQ(-1.0f, a->info.fPercent);
    EXPECT_EQ(-1.0f, a->info.fPercentSelf);
    for (int value : {a->info.iCallsFrame, a->info.iCallsTotal, a->info.iUsedThisFrame,
                      a->info.iPeakCallsFrame}) {
        EXPECT_EQ(0, value);
    }
    for (double value : {a->info.tFrameTime, a->info.tAverageTime, double(a->info.fPeakTimeSelf),
                         a->tFrameCycles, a->tFrameSelfCycles, a->tTotalCycles}) {
        EXPECT_EQ(0.0, value);
    }
    EXPECT_STREQ("A", a->info.pName);
    EXPECT_EQ(lastTime, a->info.tLastTime); // stays
    EXPECT_EQ(2, ProfileProbe::m_siEntries);

    K_Profile::startFrame();
    section("A", 1);
    EXPECT_EQ(-1.0f, entry("A")->info.fPercent);
    EXPECT_EQ(nullptr, K_Profile::request("A"));
    pass(1);
    K_Profile::endFrame();
    EXPECT_FLOAT_EQ(50.0f, K_Profile::request("A")->fPercent);
    EXPECT_EQ(1, K_Profile::request("A")->iCallsTotal);
}

TEST_P(Profile, WithProfilingOffScopesLeaveNoEntryButFramesStillCount) {
    K_Profile::disableProfiling();
    EXPECT_FALSE(K_Profile::isProfilingEnabled());
    K_Profile::startFrame();
    section("off", 3);
    K_Profile::endFrame();
    EXPECT_EQ(1, K_Profile::getFrameCount());
    EXPECT_DOUBLE_EQ(seconds(3), K_Profile::getLastFrameTime());
    EXPECT_EQ(nullptr, K_Profile::request());
    EXPECT_EQ(0, ProfileProbe::m_siEntries);
    K_Profile::enableProfiling(true);
    EXPECT_TRUE(K_Profile::isProfilingEnabled());
}

TEST_P(Profile, ResetForgetsEntriesAndFrameFiguresAndRecyclesTheNodes) {
    for (int frame = 0; frame < 2; ++frame) {
        K_Profile::startFrame();
        section("A", 2);
        section("B", 3);
        K_Profile::endFrame();
    }
    double const lastTimeOfB = entry("B")->info.tLastTime;
    K_Profile::reset();
    EXPECT_EQ(0, K_Profile::getFrameCount());
    EXPECT_EQ(0.0, ProfileProbe::m_stFrameCycles);
    EXPECT_EQ(0.0, K_Profile::getTotalTime());
    EXPECT_EQ(0, ProfileProbe::m_siEntries);
    EXPECT_EQ(nullptr, K_Profile::request());
    EXPECT_EQ(0, ProfileProbe::m_slProfiles.m_used.getCount());
    EXPECT_EQ(2, ProfileProbe::m_slProfiles.m_free.getCount());

    // A name entered again has fresh figures, on a recycled node, with no allocation. The
    // node last used by B comes first and keeps nothing of B but its tLastTime.
    int const news = K_Memory::getNewCount();
    K_Profile::startFrame();
    section("Z", 1, [lastTimeOfB] {
        EXPECT_EQ(lastTimeOfB, entry("Z")->info.tLastTime);
        EXPECT_EQ(-1.0f, entry("Z")->info.fPercent);
        EXPECT_EQ(1, entry("Z")->info.iCallsTotal);
        EXPECT_EQ(0.0, entry("Z")->tTotalCycles);
    });
    K_Profile::endFrame();
    EXPECT_EQ(news, K_Memory::getNewCount());
    EXPECT_EQ(1, ProfileProbe::m_siEntries);
    EXPECT_EQ(1, K_Profile::getFrameCount());
}

TEST_P(Profile, AllocationsCountPerSectionSelfAndInclusive) {
    auto frame = [] {
        K_Profile::startFrame();
        {
            K_Profile p("P");
            void* a = K_CountedAllocate(16);
            void* c = nullptr;
            {
                K_Profile child("C");
                void* b = K_CountedAllocate(16);
                c = K_CountedAllocate(16);
                K_REALLOCATE_DELETE_implementation(b);
            }
            K_REALLOCATE_DELETE_implementation(c);
            K_REALLOCATE_DELETE_implementation(a);
        }
        K_Profile::endFrame();
    };
    struct Want {
        char const* name;
        int newSelf, newInclusive, deleteSelf, deleteInclusive;
    };
    // In the first frame P's stack grows in P, C's node is made while only P is open, and
    // C's stack grows in C. From the second frame on only the sections' own blocks count.
    Want const first[] = {{"P", 3, 6, 2, 3}, {"C", 3, 3, 1, 1}};
    Want const second[] = {{"P", 1, 3, 2, 3}, {"C", 2, 2, 1, 1}};
    for (Want const* wants : {first, second}) {
        frame();
        for (int i = 0; i < 2; ++i) {
            SCOPED_TRACE(wants[i].name);
            K_PINFO const* info = K_Profile::request(wants[i].name);
            EXPECT_EQ(wants[i].newSelf, info->iNewSelf);
            EXPECT_EQ(wants[i].newInclusive, info->iNewInclusive);
            EXPECT_EQ(wants[i].deleteSelf, info->iDeleteSelf);
            EXPECT_EQ(wants[i].deleteInclusive, info->iDeleteInclusive);
            EXPECT_EQ(0, info->iSizeSelf + info->iSizeInclusive + info->iPeakSizeSelf);
        }
    }
    // The peaks are those of the requests made: the first frame's.
    EXPECT_EQ(3, K_Profile::request("P")->iPeakNewSelf);
    EXPECT_EQ(2, K_Profile::request("P")->iPeakDeleteSelf);
    EXPECT_EQ(3, K_Profile::request("C")->iPeakNewSelf);
}

TEST_P(Profile, ClockIsReadAfterTheLookupAndBeforeTheStackChanges) {
    static std::vector<std::pair<bool, int>> s_seen; // entry found, open invocations
    auto look = [] {
        Entry* n = entry("N");
        s_seen.emplace_back(n != nullptr, n != nullptr ? int(n->invocations.size()) : -1);
    };
    K_Profile::startFrame();
    s_seen.clear();
    fake.onTimeStampRead = look;
    fake.onCounterRead = look;
    { K_Profile n("N"); } // found (made), then the clock, then the push; the clock, then the pop
    fake.onTimeStampRead = nullptr;
    fake.onCounterRead = nullptr;
    K_Profile::endFrame();
    EXPECT_EQ((std::vector<std::pair<bool, int>>{{true, 0}, {true, 1}}), s_seen);
}

TEST_P(Profile, BeforeTheFirstEndFrameTheSharesAreNotFiniteAndNothingTraps) {
    section("A", 3);
    K_PINFO* info = K_Profile::request("A");
    ASSERT_NE(nullptr, info);
    EXPECT_FALSE(std::isfinite(info->fPercent));
    EXPECT_FALSE(std::isfinite(info->fPercentSelf));
    EXPECT_EQ(0.0f, info->fPeakTimeSelf); // a NaN raises no peak
    // Figures by name; an unknown name gives 0.
    EXPECT_EQ(cycles(3), ProfileProbe::getCycleCount("A"));
    EXPECT_EQ(tsc() ? seconds(3) : 0.0, K_Profile::requestTime("A"));
    EXPECT_EQ(0.0, ProfileProbe::getCycleCount("unknown"));
    EXPECT_EQ(0.0, K_Profile::requestTime("unknown"));
}

TEST_P(Profile, DeinitEndsTheFrameEmptiesThePoolAndTheProfilerStillWorks) {
    K_Profile::startFrame();
    section("A", 1, [] { section("B", 1); });
    int const deletes = K_Memory::getDeleteCount();
    K_Profile::deinit();
    EXPECT_EQ(0, ProfileProbe::m_sbFrameRunning);
    EXPECT_EQ(0, K_Profile::getFrameCount()); // ended, then reset
    EXPECT_EQ(0, ProfileProbe::m_slProfiles.m_used.getCount());
    EXPECT_EQ(0, ProfileProbe::m_slProfiles.m_free.getCount());
    EXPECT_EQ(deletes + 4, K_Memory::getDeleteCount()); // two nodes and their stacks
    int const news = K_Memory::getNewCount();
    section("A", 1);
    EXPECT_EQ(news + 2, K_Memory::getNewCount()); // a node and its stack
}

TEST_P(Profile, NamesKeepThirtyOneBytes) {
    std::string const fits(31, 'f');
    std::string const longer = std::string(31, 'g') + "-and-more";
    for (int i = 0; i < 2; ++i) {
        section(fits.c_str(), 1);
        section(longer.c_str(), 1);
    }
    // A name of 31 bytes finds itself; a longer one is cut and never found again.
    EXPECT_EQ(3, ProfileProbe::m_siEntries);
    EXPECT_EQ(2, entry(fits.c_str())->info.iCallsTotal);
    EXPECT_STREQ(std::string(31, 'g').c_str(), entry(std::string(31, 'g').c_str())->info.pName);
    EXPECT_EQ(nullptr, entry(longer.c_str()));
}

INSTANTIATE_TEST_SUITE_P(Clocks, Profile, ::testing::Values(true, false),
                         [](::testing::TestParamInfo<bool> const& info) {
                             return info.param ? "TimeStampCounter" : "Seconds";
                         });

// On the time-stamp clock with the speed not yet known, a closing section leaves its time
// alone, while the first report measures the speed and so wipes the profiler.
TEST(ProfileSpeedUnknown, FirstReportMeasuresTheSpeedAndWipesTheEntries) {
    FakeClockScope scope;
    K_SystemServicesTestAccess::setCaps(Sys->getProcessorCaps() | K_System::CAPS_TSC);
    K_SystemServicesTestAccess::setSpeed(1.0, 0);
    freshProfiler();
    K_Profile::startFrame();
    section("A", 100);
    K_Profile::endFrame();
    EXPECT_EQ(0.0, entry("A")->info.tLastTime);
    EXPECT_EQ(0, K_SystemServicesTestAccess::speedDetermined());

    fake.counterStep = 128;
    fake.timeStampStep = 1000;
    EXPECT_NE(nullptr, K_Profile::request("A"));
    EXPECT_EQ(1, K_SystemServicesTestAccess::speedDetermined());
    EXPECT_EQ(2000.0, Sys->getProcessorSpeed());
    EXPECT_EQ(nullptr, K_Profile::request());
    EXPECT_EQ(0, K_Profile::getFrameCount());
    freshProfiler();
}

} // namespace
