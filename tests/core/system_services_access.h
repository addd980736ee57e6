// Reaches the parts of K_System that the tests set up and observe: identification, the
// clock and the speed; and puts in a clock that moves only when told.
#pragma once

#include "core/clock_source.h"
#include "core/processor_id.h"
#include "klmfc/core/system.h"

#include <cstdint>
#include <tuple>
#include <utility>

class K_SystemServicesTestAccess {
public:
    static void identify(klmfc::ProcessorQuestions const& q) { Sys->determineProcessorCaps(q); }
    static void identifyMachine() { Sys->determineProcessorCaps(); }
    static void setCaps(unsigned int caps) { Sys->m_uiProcessorCaps = caps; }
    static void startClock() { Sys->startClock(); }
    static int speedDetermined() { return Sys->processorSpeedDetermined(); }
    static void setSpeed(double speed, int determined) {
        Sys->m_dProcessorSpeed = speed;
        Sys->m_iProcessorSpeedDetermined = determined;
    }
    static std::int64_t lastCount() { return Sys->m_i64LastCount; }
    // The speed and the clock of Sys.
    static auto state() {
        return std::tie(Sys->m_dProcessorSpeed, Sys->m_iProcessorSpeedDetermined,
                        Sys->m_bPerformanceCounter, Sys->m_i64PerformanceFrequency,
                        Sys->m_i64StartCount, Sys->m_i64LastCount);
    }
};

namespace klmfc::test {

// Puts back on Sys whatever a test changed of identification, speed and clock. The
// machine's identification comes back by identifying it again.
class SystemStateScope {
public:
    ~SystemStateScope() {
        K_SystemServicesTestAccess::identifyMachine();
        K_SystemServicesTestAccess::state() = m_saved;
    }

private:
    std::tuple<double, int, bool, std::int64_t, std::int64_t, std::int64_t> m_saved =
        K_SystemServicesTestAccess::state();
};

// A clock that moves only when told, or by a fixed step after each read.
struct FakeClockState {
    bool hasCounter = true;
    std::int64_t counter = 0, counterStep = 0; // 1024 ticks a second
    unsigned int milliseconds = 0;
    std::uint64_t timeStamp = 0, timeStampStep = 0;
    int counterReads = 0, timeStampReads = 0;
    void (*onCounterRead)() = nullptr; // called at each read, before it
    void (*onTimeStampRead)() = nullptr;
};
inline FakeClockState fake;

template <class T> T read(T& value, T step, int& reads, void (*before)()) {
    ++reads;
    if (before != nullptr) {
        before();
    }
    return std::exchange(value, value + step);
}

inline klmfc::ClockSource const kFakeClock = {
    [](std::int64_t* frequency) {
        *frequency = 1024;
        return fake.hasCounter;
    },
    [] { return read(fake.counter, fake.counterStep, fake.counterReads, fake.onCounterRead); },
    [] { return fake.milliseconds; },
    [] {
        return read(fake.timeStamp, fake.timeStampStep, fake.timeStampReads, fake.onTimeStampRead);
    }};

// Puts the fake clock in its first state and in place, and starts the clock of Sys on it;
// puts everything back at the end.
class FakeClockScope {
public:
    FakeClockScope() : m_previous(klmfc::replaceClockSource(&kFakeClock)) {
        fake = FakeClockState{};
        restart();
    }
    ~FakeClockScope() { klmfc::replaceClockSource(m_previous); }
    // Starts the clock of Sys again, after a change of the fake clock.
    void restart() { K_SystemServicesTestAccess::startClock(); }

private:
    SystemStateScope m_state;
    klmfc::ClockSource const* m_previous;
};

} // namespace klmfc::test
