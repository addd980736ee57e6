// The processor's speed in cycles per second: half a second of the application's clock,
// timed on the profiler's time-stamp clock.
#include "klmfc/core/system.h"
#include "klmfc/profile/profile.h"
#include "platform/process.h"

namespace {
char const kSpeedSection[] = "Processor speed";
}

double K_System::getProcessorSpeed() {
    if (m_iProcessorSpeedDetermined != 0) {
        return m_dProcessorSpeed;
    }
    if ((m_uiProcessorCaps & CAPS_TSC) == 0) {
        return 1.0;
    }
    determineProcessorSpeed();
    return m_dProcessorSpeed;
}

void K_System::determineProcessorSpeed() {
    klmfc::platform::setTaskSwitchingBlocked(true);
    klmfc::platform::SchedulingState const saved = klmfc::platform::schedulingState();
    klmfc::platform::raiseScheduling();

    K_Profile::startFrame();
    double const elapsed = processorSpeedTest();
    K_Profile::endFrame();

    klmfc::platform::restoreScheduling(saved);
    klmfc::platform::setTaskSwitchingBlocked(false);

    m_dProcessorSpeed = K_Profile::getCycleCount(kSpeedSection) / elapsed;
    m_iProcessorSpeedDetermined = 1;
    K_Profile::reset();
}

double K_System::processorSpeedTest() {
    K_Profile section(kSpeedSection);
    double const start = getAppAge();
    double const limit = start + 0.5;
    double last;
    do {
        last = getAppAge();
    } while (last < limit);
    return last - start;
}
