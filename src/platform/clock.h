// The monotonic counter of the platform, with its frequency.
#pragma once

#include <cstdint>

namespace klmfc::platform {

// Ticks per second of the counter; false when the platform has none.
bool performanceFrequency(std::int64_t* frequency);

// The counter now: a monotonic count that never goes back.
std::int64_t performanceCounter();

} // namespace klmfc::platform
