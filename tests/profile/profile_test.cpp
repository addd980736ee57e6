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
void section(char const* name, int before, int after = 0, std::function<void()> const& inner = {}) {
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
    // `units` as the profiler counts them (cycles, or seconds on the second clock) and in
    // seconds.
    static double cycles(int units) { return tsc() ? units : units / kTicks; }
    static double seconds(double units) { return tsc() ? units / kSpeed : units / kTicks; }

    klmfc::test::FakeClockScope m_scope;
};

TEST_P(Profile, NestedRecursiveAndRepeatedSectionsOverTwoFrames) {
    K_Profile::startFrame();
    pass(1);
    section("A", 2, 1, [] { section("B", 1, 1, [] { section("C", 3); }); });
    pass(2);
    section("A", 4);
    section("R", 1, 1, [] { section("R", 2); });
    pass(1);
    K_Profile::endFrame(); // a frame of 20
    EXPECT_EQ(nullptr, ProfileProbe::m_spEarlierParent);
    EXPECT_DOUBLE_EQ(seconds(20), K_Profile::getLastFrameTime());

    // A recursion counts at its outermost close only, so that R's inclusive and self figures
    // are those of the outer invocation; the seconds clock adds every close to tFrameTime.
    struct Want {
        char const* name;
        int calls, inclusive, self, allCloses, last;
    };
    for (Want const& w : {Want{"A", 2, 12, 7, 12, 4}, Want{"B", 1, 5, 2, 5, 5},
                          Want{"C", 1, 3, 3, 3, 3}, Want{"R", 2, 4, 4, 6, 4}}) {
        SCOPED_TRACE(w.name);
        K_PINFO const* info = K_Profile::request(w.name);
        EXPECT_EQ(w.calls, info->iCallsFrame);
        EXPECT_EQ(1, info->iUsedThisFrame);
        EXPECT_FLOAT_EQ(w.inclusive * 5.0f, info->fPercent);
        EXPECT_FLOAT_EQ(w.self * 5.0f, info->fPercentSelf);
        EXPECT_DOUBLE_EQ(seconds(tsc() ? w.inclusive : w.allCloses), info->tFrameTime);
        EXPECT_DOUBLE_EQ(seconds(w.inclusive) / w.calls, info->tAverageTime);
        EXPECT_NEAR(seconds(w.self), info->fPeakTimeSelf, 1e-6 * seconds(w.self));
        // Only the time-stamp clock writes the time of the last close.
        EXPECT_DOUBLE_EQ(tsc() ? seconds(w.last) : 0.0, K_Profile::requestTime(w.name));
    }

    // The frame figures start again, the totals go on, the peaks stay.
    K_Profile::startFrame();
    section("A", 4);
    K_Profile::endFrame();
    K_PINFO const* a = K_Profile::request("A");
    EXPECT_EQ(1, a->iCallsFrame);
    EXPECT_EQ(3, a->iCallsTotal);
    EXPECT_FLOAT_EQ(100.0f, a->fPercent);
    EXPECT_DOUBLE_EQ(seconds(tsc() ? 4 : 16), a->tFrameTime); // a running sum on seconds
    EXPECT_DOUBLE_EQ(seconds(16) / 3, a->tAverageTime);
    EXPECT_EQ(2, a->iPeakCallsFrame);
    EXPECT_NEAR(seconds(7), a->fPeakTimeSelf, 1e-6);
    EXPECT_EQ(0, K_Profile::request("B")->iUsedThisFrame + K_Profile::request("B")->iCallsFrame);
    EXPECT_EQ(2, K_Profile::getFrameCount());
    EXPECT_DOUBLE_EQ(seconds(24), K_Profile::getTotalTime());
}

TEST_P(Profile, RequestWalksEntriesInOrderOfFirstUseGivesNullOnceAndStartsOver) {
    // Before the first frame ends the shares divide by 0, and nothing traps.
    section("b", 1);
    K_PINFO const* early = K_Profile::request("b");
    EXPECT_FALSE(std::isfinite(early->fPercent) || std::isfinite(early->fPercentSelf));
    EXPECT_EQ(0.0f, early->fPeakTimeSelf); // a NaN raises no peak

    K_Profile::startFrame();
    for (char const* name : {"a", "c", "b", "a"}) {
        section(name, 1);
    }
    EXPECT_EQ(nullptr, K_Profile::request()); // not while a frame runs
    EXPECT_EQ(nullptr, K_Profile::request("a"));
    K_Profile::endFrame();
    auto walk = [](int steps) {
        std::string names;
        for (int i = 0; i < steps; ++i) {
            K_PINFO const* info = K_Profile::request();
            names += info != nullptr ? info->pName : "-";
        }
        return names;
    };
    EXPECT_EQ("bac-bac-b", walk(9));
    // A request by name leaves the walk where it was; an unknown name gives null.
    EXPECT_EQ(entry("c")->acName, K_Profile::request("c")->pName);
    EXPECT_EQ(nullptr, K_Profile::request("unknown"));
    EXPECT_EQ("ac-b", walk(4));
    K_Profile::startFrame(); // a new frame begins the walk again
    K_Profile::endFrame();
    EXPECT_EQ("b", walk(1));
}

TEST_P(Profile, ClearedEntryReadsMinusOneUntilTheNextRequestAfterAFrame) {
    K_Profile::startFrame();
    section("A", 2, 0, [] {
        K_REALLOCATE_DELETE_implementation(K_CountedAllocate(8)); // every figure of A moves
        section("B", 2, 0, [] { EXPECT_EQ(-1.0f, entry("B")->info.fPercent); }); // a new entry
    });
    pass(4);
    K_Profile::endFrame();
    double const lastTime = K_Profile::request("A")->tLastTime;
    K_Profile::clearEntry("A");
    K_Profile::clearEntry("unknown"); // nothing
    Entry const* a = entry("A");
    K_PINFO const& i = a->info;
    EXPECT_EQ(-1.0f, i.fPercent);
    EXPECT_EQ(-1.0f, i.fPercentSelf);
    for (double const value :
         {double(i.iCallsFrame), double(i.iCallsTotal), i.tFrameTime, i.tAverageTime,
          double(i.iUsedThisFrame), double(i.iNewSelf), double(i.iNewInclusive),
          double(i.iDeleteSelf), double(i.iDeleteInclusive), double(i.fPeakTimeSelf),
          double(i.iPeakNewSelf), double(i.iPeakDeleteSelf), double(i.iPeakCallsFrame),
          a->tFrameCycles, a->tFrameSelfCycles, a->tTotalCycles}) {
        EXPECT_EQ(0.0, value);
    }
    EXPECT_STREQ("A", i.pName);
    EXPECT_EQ(lastTime, i.tLastTime);

    K_Profile::startFrame();
    section("A", 1);
    EXPECT_EQ(-1.0f, entry("A")->info.fPercent);
    pass(1);
    K_Profile::endFrame();
    EXPECT_FLOAT_EQ(50.0f, K_Profile::request("A")->fPercent);
    EXPECT_EQ(1, K_Profile::request("A")->iCallsTotal);
}

TEST_P(Profile, ResetRecyclesTheNodesProfilingOffMakesNoneAndDeinitFreesThem) {
    for (int frame = 0; frame < 2; ++frame) {
        K_Profile::startFrame();
        section("A", 2);
        section("B", 3);
        K_Profile::endFrame();
    }
    double const lastTimeOfB = entry("B")->info.tLastTime;
    K_Profile::reset();
    EXPECT_EQ(0, K_Profile::getFrameCount());
    EXPECT_EQ(0.0, K_Profile::getLastFrameTime() + K_Profile::getTotalTime());

    // With profiling off, scopes leave no entry, and frames still run and count.
    K_Profile::disableProfiling();
    K_Profile::startFrame();
    section("off", 3);
    K_Profile::endFrame();
    K_Profile::enableProfiling(true);
    EXPECT_EQ(1, K_Profile::getFrameCount());
    EXPECT_DOUBLE_EQ(seconds(3), K_Profile::getLastFrameTime());
    EXPECT_EQ(nullptr, K_Profile::request());

    // A name entered again has fresh figures, on a recycled node, with no allocation. The
    // node last used by B comes first and keeps nothing of B but its tLastTime.
    int const news = K_Memory::getNewCount();
    K_Profile::startFrame();
    section("Z", 1, 0, [lastTimeOfB] {
        EXPECT_EQ(lastTimeOfB, entry("Z")->info.tLastTime);
        EXPECT_EQ(1, entry("Z")->info.iCallsTotal);
    });
    EXPECT_EQ(news, K_Memory::getNewCount());

    // deinit ends the frame, resets, and frees the nodes with their stacks.
    int const deletes = K_Memory::getDeleteCount();
    K_Profile::deinit();
    EXPECT_EQ(0, ProfileProbe::m_sbFrameRunning + K_Profile::getFrameCount());
    EXPECT_EQ(0, ProfileProbe::m_slProfiles.m_used.getCount() +
                     ProfileProbe::m_slProfiles.m_free.getCount());
    EXPECT_EQ(deletes + 4, K_Memory::getDeleteCount());
}

TEST_P(Profile, AllocationsCountPerSectionSelfAndInclusive) {
    // New self, new inclusive, delete self, delete inclusive, of P and of C. In the first
    // frame P's stack grows in P, C's node is made while only P is open, and C's stack grows
    // in C. From the second frame on only the sections' own blocks count.
    std::vector<int> const want[2][2] = {{{3, 6, 2, 3}, {3, 3, 1, 1}},
                                         {{1, 3, 2, 3}, {2, 2, 1, 1}}};
    for (auto const& frame : want) {
        K_Profile::startFrame();
        {
            K_Profile p("P");
            void* a = K_CountedAllocate(16);
            void* c = nullptr;
            {
                K_Profile child("C");
                K_REALLOCATE_DELETE_implementation(K_CountedAllocate(16));
                c = K_CountedAllocate(16);
            }
            K_REALLOCATE_DELETE_implementation(c);
            K_REALLOCATE_DELETE_implementation(a);
        }
        K_Profile::endFrame();
        for (int s = 0; s < 2; ++s) {
            K_PINFO const* i = K_Profile::request(s == 0 ? "P" : "C");
            EXPECT_EQ(frame[s], (std::vector<int>{i->iNewSelf, i->iNewInclusive, i->iDeleteSelf,
                                                  i->iDeleteInclusive}));
            EXPECT_EQ(0, i->iSizeSelf + i->iSizeInclusive + i->iPeakSizeSelf);
        }
    }
    // The peaks are those of the requests made: the first frame's.
    EXPECT_EQ(3, K_Profile::request("P")->iPeakNewSelf);
    EXPECT_EQ(2, K_Profile::request("P")->iPeakDeleteSelf);
}

TEST_P(Profile, ClockIsReadAfterTheLookupAndBeforeTheStackChanges) {
    static std::vector<std::pair<bool, int>> s_seen; // entry found, open invocations
    fake.onTimeStampRead = fake.onCounterRead = [] {
        Entry const* n = entry("N");
        s_seen.emplace_back(n != nullptr, n != nullptr ? int(n->invocations.size()) : -1);
    };
    s_seen.clear();
    { K_Profile n("N"); } // found (made), the clock, the push; the clock, the pop
    fake.onTimeStampRead = fake.onCounterRead = nullptr;
    EXPECT_EQ((std::vector<std::pair<bool, int>>{{true, 0}, {true, 1}}), s_seen);
}

TEST_P(Profile, NamesKeepThirtyOneBytes) {
    // A name of 31 bytes finds itself; a longer one is cut and never found again.
    std::string const fits(31, 'f'), longer = std::string(31, 'g') + "-and-more";
    for (std::string const& name : {fits, fits, longer, longer}) {
        section(name.c_str(), 1);
    }
    EXPECT_EQ(3, ProfileProbe::m_siEntries);
    EXPECT_EQ(2, entry(fits.c_str())->info.iCallsTotal);
}

INSTANTIATE_TEST_SUITE_P(Clocks, Profile, ::testing::Values(true, false),
                         [](::testing::TestParamInfo<bool> const& info) {
                             return info.param ? "TimeStampCounter" : "Seconds";
                         });

// On the time-stamp clock with the speed not yet known, a closing section leaves its time
// alone, while the first report measures the speed and so wipes the profiler.
TEST(ProfileSpeedUnknown, FirstReportMeasuresTheSpeedAndWipesTheEntries) {
    klmfc::test::FakeClockScope scope;
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
    EXPECT_EQ(2000.0, Sys->getProcessorSpeed());
    EXPECT_EQ(nullptr, K_Profile::request());
    freshProfiler();
}

} // namespace
