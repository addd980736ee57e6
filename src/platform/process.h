// Scheduling of the calling thread, the machine's memory, and the system-wide flag
// that keeps the user from switching tasks while a measurement runs.
#pragma once

#include <cstdint>

namespace klmfc::platform {

// The scheduling priority of the calling thread as the platform states it (on POSIX
// its nice value: lower runs sooner).
int schedulingPriority();

// What raiseScheduling changes and restoreScheduling puts back.
struct SchedulingState {
    int priority;
};
SchedulingState schedulingState();

// Gives the calling thread the highest priority that the process is allowed to take
// without a real-time policy. Where the process may not raise itself, nothing changes.
void raiseScheduling();

// Puts back what schedulingState() read.
void restoreScheduling(SchedulingState const& state);

// The "screen saver running" flag that keeps the user from switching tasks. POSIX has
// no such flag; it is kept for the process and changes nothing else. Returns the
// previous state.
bool setTaskSwitchingBlocked(bool blocked);
bool isTaskSwitchingBlocked();

// Bytes of physical memory, in all and available now. False when the platform does
// not tell.
bool physicalMemory(std::uint64_t* total, std::uint64_t* available);

} // namespace klmfc::platform
