// Reaches the parts of K_System that the tests of processor identification, the clock
// and the speed measurement set up and observe, and puts in a deterministic clock.
#pragma once

#include "core/clock_source.h"
#include "core/processor_id.h"
#include "klmfc/core/system.h"

#include <cstdint>

class K_SystemServicesTestAccess {
public:
    static void identify(klmfc::ProcessorQuestions const& questions) {
        Sys->determineProcessorCaps(questions);
    }
    static void identifyMachine() { Sys->determineProcessorCaps(); }
    static void setCaps(unsigned int caps) { Sys->m_uiProcessorCaps = caps; }
    static void startClock() { Sys->startClock(); }
    static int speedDetermined() { return Sys->processorSpeedDetermined(); }
    static void setSpeed(double speed, int determined) {
        Sys->m_dProcessorSpeed = speed;
        Sys->m_iProcessorSpeedDetermined = determined;
    }
    static std::int64_t lastCount() { return Sys->m_i64LastCount; }

    // The speed and the clock of Sys, as a test found them.
    struct Saved {
        double speed;
        int speedDetermined;
        bool counter;
        std::int64_t frequency, start, last;
    };
    static Saved save() {
        return Saved{Sys->m_dProcessorSpeed,     Sys->m_iProcessorSpeedDetermined,
                     Sys->m_bPerformanceCounter, Sys->m_i64PerformanceFrequency,
                     Sys->m_i64StartCount,       Sys->m_i64LastCount};
    }
    static void restore(Saved const& s) {
        Sys->m_dProcessorSpeed = s.speed;
        Sys->m_iProcessorSpeedDetermined = s.speedDetermined;
        Sys->m_bPerformanceCounter = s.counter;
        Sys->m_i64PerformanceFrequency = s.frequency;
        Sys->m_i64StartCount = s.start;
        Sys->m_i64LastCount = s.last;
    }
};

namespace klmfc::test {

// Puts back on Sys whatever a test changed of identification, speed and clock. The
// machine's identification comes back by identifying it again.
class SystemStateScope {
public:
    SystemStateScope() : m_saved(K_SystemServicesTestAccess::save()) {}
    ~SystemStateScope() {
        K_SystemServicesTestAccess::identifyMachine();
        K_SystemServicesTestAccess::restore(m_saved);
    }

private:
    K_SystemServicesTestAccess::Saved m_saved;
};

// A clock that moves only when told, or by a fixed step at each read.
struct FakeClockState {
    bool hasCounter = true;
    std::int64_t frequency = 1024;
    std::int64_t counter = 0;
    std::int64_t counterStep = 0; // added after each read
    unsigned int milliseconds = 0;
    std::uint64_t timeStamp = 0;
    std::uint64_t timeStampStep = 0; // added after each read
    int counterReads = 0;
    int timeStampReads = 0;
    void (*onCounterRead)() = nullptr; // called at each read, before it
    void (*onTimeStampRead)() = nullptr;
};
inline FakeClockState fake;

inline klmfc::ClockSource const kFakeClock = {[](std::int64_t* frequency) {
                                                  *frequency = fake.frequency;
                                                  return fake.hasCounter;
                                              },
                                              [] {
                                                  ++fake.counterReads;
                                                  if (fake.onCounterRead != nullptr) {
                                                      fake.onCounterRead();
                                                  }
                                                  std::int64_t const now = fake.counter;
                                                  fake.counter += fake.counterStep;
                                                  return now;
                                              },
                                              [] { return fake.milliseconds; },
                                              [] {
                                                  ++fake.timeStampReads;
                                                  if (fake.onTimeStampRead != nullptr) {
                                                      fake.onTimeStampRead();
                                                  }
                                                  std::uint64_t const now = fake.timeStamp;
                                                  fake.timeStamp += fake.timeStampStep;
                                                  return now;
                                              }};

// Sets the fake clock to its first state, puts it in place and starts the clock of Sys on
// it; puts everything back at the end.
class FakeClockScope {
public:
    FakeClockScope() : m_previous(klmfc::replaceClockSource(&kFakeClock)) {
        fake = FakeClockState{};
        restart();
    }
    ~FakeClockScope() { klmfc::replaceClockSource(m_previous); }

    // Starts the clock of Sys again, after a change of fake.hasCounter.
    void restart() { K_SystemServicesTestAccess::startClock(); }

private:
    SystemStateScope m_state;
    klmfc::ClockSource const* m_previous;
};

} // namespace klmfc::test
