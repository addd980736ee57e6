#include "platform/clock.h"

#include <ctime>

namespace klmfc::platform {

bool performanceFrequency(std::int64_t* frequency) {
    timespec resolution;
    if (::clock_getres(CLOCK_MONOTONIC, &resolution) != 0) {
        return false;
    }
    *frequency = 1000000000; // the counter is in nanoseconds
    return true;
}

std::int64_t performanceCounter() {
    timespec now;
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000000000 +
           static_cast<std::int64_t>(now.tv_nsec);
}

} // namespace klmfc::platform
