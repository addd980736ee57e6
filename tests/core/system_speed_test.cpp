// The measurement of the processor's speed on the profiler, on a clock that moves by a
// fixed step at each read, so that the figures come out exact.
#include "core/system_services_access.h"
#include "platform/process.h"
#include "profile/profile_probe.h"

#include <gtest/gtest.h>

using klmfc::test::fake;
using klmfc::test::FakeClockScope;

namespace {

int s_priorityDuring = 0;
bool s_blockedDuring = false;

class ProcessorSpeed : public ::testing::Test {
protected:
    ProcessorSpeed() {
        fake.counterStep = 128; // an eighth of a second per read at 1024 ticks a second
        fake.timeStampStep = 1000000000;
    }
    void SetUp() override {
        m_scope.restart();
        K_SystemServicesTestAccess::setSpeed(1.0, 0);
        K_Profile::reset();
    }
    void TearDown() override { K_Profile::reset(); }

    FakeClockScope m_scope;
};

TEST_F(ProcessorSpeed, WithoutTimeStampCounterIsOneAndMeasuresNothing) {
    K_SystemServicesTestAccess::setCaps(Sys->getProcessorCaps() & ~K_System::CAPS_TSC);
    { K_Profile section("kept"); }
    int const counterReads = fake.counterReads;
    for (int call = 0; call < 2; ++call) {
        EXPECT_EQ(1.0, Sys->getProcessorSpeed());
        EXPECT_EQ(0, K_SystemServicesTestAccess::speedDetermined());
    }
    EXPECT_EQ(counterReads, fake.counterReads);
    EXPECT_EQ(0, fake.timeStampReads);
    EXPECT_NE(nullptr, K_Profile::request("kept")); // the profiler was not reset
}

TEST_F(ProcessorSpeed, HalfASecondOnTheProfilerOnceThenEverythingAsItWas) {
    K_SystemServicesTestAccess::setCaps(Sys->getProcessorCaps() | K_System::CAPS_TSC);
    { K_Profile section("wiped"); }
    int const priorityBefore = klmfc::platform::schedulingPriority();
    fake.onCounterRead = [] {
        s_priorityDuring = klmfc::platform::schedulingPriority();
        s_blockedDuring = klmfc::platform::isTaskSwitchingBlocked();
    };
    fake.timeStampReads = 0;
    fake.counterReads = 0;

    // The section is open for one step of the time-stamp counter, while the age moves by
    // 0.5 s in four reads after its start: 10^9 cycles in half a second.
    EXPECT_EQ(2.0e9, Sys->getProcessorSpeed());
    EXPECT_EQ(1, K_SystemServicesTestAccess::speedDetermined());
    EXPECT_EQ(4, fake.timeStampReads); // frame start, section open and close, frame end
    EXPECT_EQ(5, fake.counterReads);   // the start of the test and four in the loop

    // Priorities raised as far as the process may (or not at all), and the flag set, for
    // the measurement only.
    EXPECT_TRUE(s_blockedDuring);
    EXPECT_LE(s_priorityDuring, priorityBefore);
    EXPECT_FALSE(klmfc::platform::isTaskSwitchingBlocked());
    EXPECT_EQ(priorityBefore, klmfc::platform::schedulingPriority());

    // The profiler holds no entries and no frame figures.
    EXPECT_EQ(nullptr, K_Profile::request());
    EXPECT_EQ(nullptr, K_Profile::request("wiped"));
    EXPECT_EQ(nullptr, K_Profile::request("Processor speed"));
    EXPECT_EQ(0, ProfileProbe::m_siEntries);
    EXPECT_EQ(0, K_Profile::getFrameCount());
    EXPECT_EQ(0.0, K_Profile::getTotalTime());
    EXPECT_EQ(0.0, K_Profile::getLastFrameTime());

    // A second call measures nothing.
    EXPECT_EQ(2.0e9, Sys->getProcessorSpeed());
    EXPECT_EQ(4, fake.timeStampReads);
    EXPECT_EQ(5, fake.counterReads);
}

TEST_F(ProcessorSpeed, ElapsedTimeIsTheLastAgeReadNotTheLimit) {
    K_SystemServicesTestAccess::setCaps(Sys->getProcessorCaps() | K_System::CAPS_TSC);
    fake.counterStep = 3 * 128; // 0.375 s a read: the loop overshoots to 0.75 s
    EXPECT_EQ(1.0e9 / 0.75, Sys->getProcessorSpeed());
}

} // namespace
