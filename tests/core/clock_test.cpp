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
#include <string>
#include <thread>
#include <unistd.h>

using klmfc::test::fake;
using klmfc::test::FakeClockScope;

namespace {

TEST(Clock, AgeFromTheStartOnTheCounterOrTheMillisecondFallBack) {
    FakeClockScope scope;
    struct Read {
        std::int64_t value;
        double age;
    };
    // clang-format off
    Read const counter[] = {{5000, 0.0}, {5512, 0.5}, {5000 + 3 * 1024, 3.0},
                            {5000 + 1024 * 1024 + 1, 1024.0 + 1.0 / 1024}};
    // The unsigned difference of the milliseconds survives their wrap.
    Read const milliseconds[] = {{0xFFFFFF00, 0.0}, {0xFFFFFFFF, 0.255}, {0x100, 0.512},
                                 {0xF4140, 1000.0}};
    // clang-format on
    for (bool const hasCounter : {true, false}) {
        SCOPED_TRACE(hasCounter);
        fake.hasCounter = hasCounter;
        fake.counter = 5000;
        fake.milliseconds = 0xFFFFFF00u;
        scope.restart();
        fake.counterReads = 0;
        EXPECT_EQ(hasCounter ? 1024 : 1000, Sys->getPerformanceFrequency());
        EXPECT_EQ(hasCounter ? 5000 : 0xFFFFFF00ll, Sys->getPerformanceCounter()); // no high half
        for (Read const& read : hasCounter ? counter : milliseconds) {
            fake.counter = read.value;
            fake.milliseconds = static_cast<unsigned int>(read.value);
            EXPECT_DOUBLE_EQ(read.age, Sys->getAppAge());
            EXPECT_EQ(read.value, K_SystemServicesTestAccess::lastCount());
        }
        EXPECT_EQ(hasCounter ? 5 : 0, fake.counterReads);
    }
    // The platform's own counter: the age starts at 0 and never goes back.
    klmfc::replaceClockSource(nullptr);
    scope.restart();
    double const first = Sys->getAppAge();
    EXPECT_LE(0.0, first);
    EXPECT_LE(first, Sys->getAppAge());
}

float s_sampled = 0.0f;

// A timer's steps on the counter at 1024 ticks a second, and on the millisecond fall-back.
TEST(Timer, SamplesPauseResumeSetAgeAndResetOnBothClocks) {
    using Op = void (*)(K_Timer&, float);
    Op const pass = [](K_Timer&, float seconds) {
        fake.counter += static_cast<std::int64_t>(seconds * 1024);
        fake.milliseconds += static_cast<unsigned int>(seconds * 1000);
    };
    Op const sample = [](K_Timer& timer, float) { s_sampled = timer.sample(); };
    Op const setAge = [](K_Timer& timer, float age) { timer.setAge(age); };
    Op const pause = [](K_Timer& timer, float) { timer.pause(); };
    Op const resume = [](K_Timer& timer, float) { timer.resume(); };
    Op const reset = [](K_Timer& timer, float) { timer.reset(); };
    struct Step {
        Op op;
        float arg, age, delta; // after the step; a sample returns the delta
        bool paused;
    };
    // clang-format off
    Step const steps[] = {
        {pass, 0, 0, 0, false}, // a new timer
        {pass, 1.5f, 1.5f, 0, false},     {sample, 0, 1.5f, 1.5f, false},
        {pass, 0.25f, 1.75f, 1.5f, false}, {sample, 0, 1.75f, 0.25f, false},
        {sample, 0, 1.75f, 0, false},     {setAge, 10, 10, 0, false},
        {sample, 0, 10, 10, false},       {pass, 0.5f, 10.5f, 10, false},
        {pause, 0, 10.5f, 0, true},       {pass, 5, 10.5f, 0, true}, // the age stands still
        {sample, 0, 10.5f, 0, true},      {pause, 0, 10.5f, 0, true},
        {resume, 0, 10.5f, 0, false},     {pass, 0.5f, 11, 0, false},
        {resume, 0, 11, 0, false},        {sample, 0, 11, 0.5f, false}, // from the paused age
        {pause, 0, 11, 0, true},          {setAge, 100, 11, 0, true}, // the pause is not looked at
        {reset, 0, 0, 0, false},          {pass, 0.75f, 0.75f, 0, false},
    };
    // clang-format on
    for (bool const hasCounter : {true, false}) {
        FakeClockScope scope;
        fake.hasCounter = hasCounter;
        fake.counter = 7000;
        fake.milliseconds = 1000000;
        scope.restart();
        K_Timer timer;
        int row = 0;
        for (Step const& step : steps) {
            SCOPED_TRACE(std::to_string(hasCounter) + " " + std::to_string(row++));
            s_sampled = step.delta;
            step.op(timer, step.arg);
            EXPECT_EQ(step.delta, s_sampled);
            EXPECT_EQ(step.age, timer.getAge());
            EXPECT_EQ(step.delta, timer.getDelta());
            EXPECT_EQ(step.paused, timer.isPaused());
        }
    }
}

TEST(Mutex, TakenAgainByItsOwnerSharedByCopiesAndReleasedByTheScopeAlsoOnAnException) {
    K_Mutex mutex;
    K_Mutex copy = mutex; // copies name the same mutex
    K_Mutex assigned;
    assigned = copy;
    int shared = 0;
    std::future<int> seen;
    try {
        K_MutexLock outer(&mutex);
        K_MutexLock inner(&mutex); // taken again by its owner
        seen = std::async(std::launch::async, [&] {
            K_MutexLock theirs(&assigned);
            return shared;
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        shared = 42;
        throw std::runtime_error("leaving the scope");
    } catch (std::runtime_error const&) {
    }
    // The other thread waited for the scope's end, and got the mutex then.
    ASSERT_EQ(std::future_status::ready, seen.wait_for(std::chrono::seconds(30)));
    EXPECT_EQ(42, seen.get());
}

TEST(SystemMemory, PhysicalMemoryFiguresAreThePlatformsCappedAt32Bits) {
    std::uint64_t const total = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE)) *
                                static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES));
    EXPECT_EQ(total < 0xFFFFFFFFu ? total : 0xFFFFFFFFu, Sys->getTotalPhysicalMemory());
    EXPECT_GT(Sys->getAvailablePhysicalMemory(), 0u);
    EXPECT_LE(Sys->getAvailablePhysicalMemory(), Sys->getTotalPhysicalMemory());
}

} // namespace
