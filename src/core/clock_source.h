// Where the library's clocks come from: the platform's counters, or for a test a
// deterministic stand-in. Every clock read of K_System, K_Timer and K_Profile goes
// through here.
#pragma once

#include <cstdint>

namespace klmfc {

struct ClockSource {
    // Ticks per second of the monotonic counter; false when there is none.
    bool (*performanceFrequency)(std::int64_t* frequency);
    // The monotonic counter now.
    std::int64_t (*performanceCounter)();
    // Milliseconds, wrapping like a 32-bit counter: the fall-back clock.
    unsigned int (*milliseconds)();
    // The processor's time-stamp counter.
    std::uint64_t (*timeStampCounter)();
};

// The clocks in use.
ClockSource const& clocks();

// Puts `source` in place (null: the platform's own) and returns the one it replaces.
// K_System reads the frequency only when it starts its clock.
ClockSource const* replaceClockSource(ClockSource const* source);

} // namespace klmfc
