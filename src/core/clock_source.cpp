#include "core/clock_source.h"

#include "platform/clock.h"
#include "platform/platform.h"
#include "platform/processor.h"

namespace klmfc {

namespace {
ClockSource const kPlatformClocks = {
    &platform::performanceFrequency,
    &platform::performanceCounter,
    &platform::milliseconds,
    &platform::timeStampCounter,
};
ClockSource const* s_clocks = &kPlatformClocks;
} // namespace

ClockSource const& clocks() {
    return *s_clocks;
}

ClockSource const* replaceClockSource(ClockSource const* source) {
    ClockSource const* const previous = s_clocks;
    s_clocks = source != nullptr ? source : &kPlatformClocks;
    return previous;
}

} // namespace klmfc
