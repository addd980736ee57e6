// The measurement of the processor's speed on the profiler, on a clock that moves by a
// fixed step at each read, so that the figures come out exact.
#include "core/system_services_access.h"
#include "klmfc/profile/profile.h"
#include "platform/process.h"

#include <gtest/gtest.h>

using klmfc::test::fake;

namespace {

int s_priorityDuring = 0;
bool s_blockedDuring = false;

TEST(ProcessorSpeed, HalfASecondOnTheProfilerOnceWithATimeStampCounterThenAllAsItWas) {
    klmfc::test::FakeClockScope scope;
    fake.counterStep = 128; // an eighth of a second per read at 1024 ticks a second
    fake.timeStampStep = 1000000000;
    scope.restart();
    K_SystemServicesTestAccess::setSpeed(1.0, 0);
    K_Profile::reset();
    { K_Profile section("kept"); }
    fake.counterReads = fake.timeStampReads = 0;

    // Without a time-stamp counter: 1.0, and no measurement.
    unsigned int const caps = Sys->getProcessorCaps() & ~K_System::CAPS_TSC;
    K_SystemServicesTestAccess::setCaps(caps);
    EXPECT_EQ(1.0, Sys->getProcessorSpeed());
    EXPECT_EQ(0, K_SystemServicesTestAccess::speedDetermined());
    EXPECT_EQ(0, fake.counterReads + fake.timeStampReads);
    EXPECT_NE(nullptr, K_Profile::request("kept")); // the profiler was not reset

    K_SystemServicesTestAccess::setCaps(caps | K_System::CAPS_TSC);
    int const priorityBefore = klmfc::platform::schedulingPriority();
    fake.onCounterRead = [] {
        s_priorityDuring = klmfc::platform::schedulingPriority();
        s_blockedDuring = klmfc::platform::isTaskSwitchingBlocked();
    };
    // The section is open for one step of the time-stamp counter, while the age moves by
    // 0.5 s in four reads after its start: 10^9 cycles in half a second.
    for (int call = 0; call < 2; ++call) { // the second measures nothing
        EXPECT_EQ(2.0e9, Sys->getProcessorSpeed());
        EXPECT_EQ(1, K_SystemServicesTestAccess::speedDetermined());
        EXPECT_EQ(4, fake.timeStampReads); // frame start, section open and close, frame end
        EXPECT_EQ(5, fake.counterReads);   // the start of the test and four in the loop
    }
    // Priorities raised as far as the process may (or not at all), and the flag set, for
    // the measurement only.
    EXPECT_TRUE(s_blockedDuring);
    EXPECT_LE(s_priorityDuring, priorityBefore);
    EXPECT_FALSE(klmfc::platform::isTaskSwitchingBlocked());
    EXPECT_EQ(priorityBefore, klmfc::platform::schedulingPriority());
    // The profiler holds no entries and no frame figures.
    EXPECT_EQ(nullptr, K_Profile::request());
    EXPECT_EQ(0, K_Profile::getFrameCount());
    EXPECT_EQ(0.0, K_Profile::getTotalTime() + K_Profile::getLastFrameTime());

    // The elapsed time is the last age read, not the limit: at 0.375 s a read, 0.75 s.
    K_SystemServicesTestAccess::setSpeed(1.0, 0);
    fake.counterStep = 3 * 128;
    EXPECT_EQ(1.0e9 / 0.75, Sys->getProcessorSpeed());
    K_Profile::reset();
}

} // namespace
