#include "platform/process.h"

#include <cerrno>
#include <sys/resource.h>
#include <unistd.h>

namespace klmfc::platform {

namespace {
bool s_taskSwitchingBlocked = false;
constexpr int kHighestNice = -20;
} // namespace

int schedulingPriority() {
    errno = 0;
    int const nice = ::getpriority(PRIO_PROCESS, 0);
    return errno == 0 ? nice : 0;
}

SchedulingState schedulingState() {
    return SchedulingState{schedulingPriority()};
}

void raiseScheduling() {
    // Refused without the privilege to raise; the thread then runs as before.
    for (int nice = kHighestNice; nice < schedulingPriority(); ++nice) {
        if (::setpriority(PRIO_PROCESS, 0, nice) == 0) {
            return;
        }
    }
}

void restoreScheduling(SchedulingState const& state) {
    if (schedulingPriority() != state.priority) {
        ::setpriority(PRIO_PROCESS, 0, state.priority);
    }
}

bool setTaskSwitchingBlocked(bool blocked) {
    bool const previous = s_taskSwitchingBlocked;
    s_taskSwitchingBlocked = blocked;
    return previous;
}

bool isTaskSwitchingBlocked() {
    return s_taskSwitchingBlocked;
}

bool physicalMemory(std::uint64_t* total, std::uint64_t* available) {
    long const pageSize = ::sysconf(_SC_PAGESIZE);
    long const pages = ::sysconf(_SC_PHYS_PAGES);
    long const free = ::sysconf(_SC_AVPHYS_PAGES);
    if (pageSize <= 0 || pages <= 0 || free < 0) {
        return false;
    }
    *total = static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
    *available = static_cast<std::uint64_t>(free) * static_cast<std::uint64_t>(pageSize);
    return true;
}

} // namespace klmfc::platform
