// The clock of the system object with its millisecond fall-back, K_Timer on a clock that
// moves only when told, the mutexes and the memory queries.
#include "core/system_services_access.h"
#include "klmfc/core/mutex.h"
#include "klmfc/core/timer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <future>
#include <stdexcept>
#include <unistd.h>

using klmfc::test::fake;
using klmfc::test::FakeClockScope;

namespace {

TEST(Clock, CounterGivesTheAgeInSecondsFromTheStartOfTheSystemObject) {
    FakeClockScope scope;
    fake.counter = 5000;
    scope.restart();
    EXPECT_EQ(1024, Sys->getPerformanceFrequency());
    EXPECT_EQ(5000, Sys->getPerformanceCounter());
    std::int64_t const counters[] = {5000, 5512, 5000 + 3 * 1024, 5000 + 1024 * 1024 + 1};
    double const ages[] = {0.0, 0.5, 3.0, 1024.0 + 1.0 / 1024};
    for (int i = 0; i < 4; ++i) {
        fake.counter = counters[i];
        EXPECT_EQ(ages[i], Sys->getAppAge());
        EXPECT_EQ(counters[i], K_SystemServicesTestAccess::lastCount());
        EXPECT_EQ(counters[i], Sys->getPerformanceCounter());
    }
    // The platform's own counter: the age starts at 0 and never goes back.
    klmfc::replaceClockSource(nullptr);
    K_SystemServicesTestAccess::startClock();
    double last = Sys->getAppAge();
    EXPECT_GE(last, 0.0);
    for (int i = 0; i < 1000; ++i) {
        double const age = Sys->getAppAge();
        EXPECT_GE(age, last);
        last = age;
    }
}

TEST(Clock, MillisecondFallBackWithoutACounter) {
    FakeClockScope scope;
    fake.hasCounter = false;
    fake.milliseconds = 0xFFFFFF00u;
    scope.restart();
    fake.counterReads = 0;
    EXPECT_EQ(1000, Sys->getPerformanceFrequency());
    EXPECT_EQ(0xFFFFFF00ll, Sys->getPerformanceCounter()); // unsigned: no high half
    unsigned int const milliseconds[] = {0xFFFFFF00u, 0xFFFFFFFFu, 0x100u, 0xF4140u};
    double const ages[] = {0.0, 0.255, 0.512, 1000.0}; // the difference survives the wrap
    for (int i = 0; i < 4; ++i) {
        fake.milliseconds = milliseconds[i];
        EXPECT_DOUBLE_EQ(ages[i], Sys->getAppAge());
        EXPECT_EQ(milliseconds[i],
                  static_cast<std::uint32_t>(K_SystemServicesTestAccess::lastCount()));
    }
    EXPECT_EQ(0, fake.counterReads);
}

// With the counter at 1024 ticks a second, or on the millisecond fall-back.
class Timer : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        fake.hasCounter = GetParam();
        fake.counter = 7000;
        fake.milliseconds = 1000000;
        m_scope.restart();
    }
    static void pass(double seconds) {
        fake.counter += static_cast<std::int64_t>(seconds * 1024);
        fake.milliseconds += static_cast<unsigned int>(seconds * 1000);
    }

    FakeClockScope m_scope;
};

TEST_P(Timer, SamplesSetAgeAndReset) {
    K_Timer timer;
    EXPECT_FALSE(timer.isPaused());
    EXPECT_EQ(0.0f, timer.getDelta());
    EXPECT_EQ(0.0f, timer.getAge());
    pass(1.5);
    EXPECT_EQ(1.5f, timer.getAge());
    EXPECT_EQ(1.5f, timer.sample());
    pass(0.25);
    EXPECT_EQ(0.25f, timer.sample());   // the time since the last sample ...
    EXPECT_EQ(0.25f, timer.getDelta()); // ... and again
    EXPECT_EQ(0.0f, timer.sample());

    timer.setAge(10.0f); // a new zero point, the samples forgotten
    EXPECT_EQ(10.0f, timer.getAge());
    EXPECT_EQ(0.0f, timer.getDelta());
    EXPECT_EQ(10.0f, timer.sample());
    pass(0.5);
    EXPECT_EQ(10.5f, timer.getAge());

    timer.pause();
    timer.setAge(100.0f); // no notice of the pause: the paused age stands
    EXPECT_EQ(10.5f, timer.getAge());
    timer.reset(); // a paused timer runs again, at 0
    EXPECT_FALSE(timer.isPaused());
    EXPECT_EQ(0.0f, timer.getAge());
    pass(0.75);
    EXPECT_EQ(0.75f, timer.getAge());
}

TEST_P(Timer, PauseHoldsTheAgeAndResumeGoesOnFromIt) {
    K_Timer timer;
    pass(3.0);
    timer.sample();
    pass(1.0);
    timer.pause();
    EXPECT_TRUE(timer.isPaused());
    EXPECT_EQ(4.0f, timer.getAge());
    EXPECT_EQ(0.0f, timer.getDelta()); // both samples hold the paused age
    pass(5.0);
    EXPECT_EQ(4.0f, timer.getAge());
    EXPECT_EQ(0.0f, timer.sample());
    timer.pause(); // changes nothing
    pass(1.0);
    EXPECT_EQ(4.0f, timer.getAge());

    timer.resume();
    timer.resume(); // changes nothing
    EXPECT_FALSE(timer.isPaused());
    EXPECT_EQ(4.0f, timer.getAge());
    pass(0.5);
    EXPECT_EQ(4.5f, timer.getAge());
    EXPECT_EQ(0.5f, timer.sample()); // measured from the paused value
}

INSTANTIATE_TEST_SUITE_P(Clocks, Timer, ::testing::Values(true, false),
                         [](::testing::TestParamInfo<bool> const& info) {
                             return info.param ? "Counter" : "Milliseconds";
                         });

// True when another thread can take and release the mutex, waiting for it if need be.
bool otherThreadCanLock(K_Mutex& mutex) {
    auto done = std::async(std::launch::async, [&mutex] {
        mutex.lock();
        mutex.unlock();
    });
    return done.wait_for(std::chrono::seconds(30)) == std::future_status::ready; // no hang
}

TEST(Mutex, TakenAgainByItsOwnerAndReleasedByTheScopeAlsoOnAnException) {
    K_Mutex mutex;
    mutex.lock();
    mutex.lock();
    mutex.unlock();
    mutex.unlock();
    ASSERT_TRUE(otherThreadCanLock(mutex));
    try {
        K_MutexLock outer(&mutex);
        K_MutexLock inner(&mutex);
        throw std::runtime_error("leaving the scope");
    } catch (std::runtime_error const&) {
    }
    EXPECT_TRUE(otherThreadCanLock(mutex));

    // Another thread that asks while the scope holds the lock waits for its end.
    int shared = 0;
    std::future<int> seen;
    {
        K_MutexLock lock(&mutex);
        seen = std::async(std::launch::async, [&] {
            K_MutexLock theirs(&mutex);
            return shared;
        });
        shared = 42;
    }
    EXPECT_EQ(42, seen.get());

    // Copies name the same mutex: taken twice through one, given back through the others.
    K_Mutex copy = mutex;
    K_Mutex assigned;
    assigned = copy;
    mutex.lock();
    copy.lock();
    assigned.unlock();
    copy.unlock();
    EXPECT_TRUE(otherThreadCanLock(mutex));
}

TEST(SystemMemory, PhysicalMemoryFiguresAreThePlatformsCappedAt32Bits) {
    std::uint64_t const total = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE)) *
                                static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES));
    EXPECT_EQ(total < 0xFFFFFFFFu ? total : 0xFFFFFFFFu, Sys->getTotalPhysicalMemory());
    EXPECT_GT(Sys->getAvailablePhysicalMemory(), 0u);
    EXPECT_LE(Sys->getAvailablePhysicalMemory(), Sys->getTotalPhysicalMemory());
}

} // namespace
