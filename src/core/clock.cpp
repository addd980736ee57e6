// The clock of the system object, and the machine's memory.
#include "core/clock_source.h"
#include "klmfc/core/system.h"
#include "platform/process.h"

namespace {
std::uint32_t lowHalf(std::int64_t value) {
    return static_cast<std::uint32_t>(value);
}

unsigned int capped(std::uint64_t bytes) {
    return bytes > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<unsigned int>(bytes);
}
} // namespace

void K_System::startClock() {
    klmfc::ClockSource const& clocks = klmfc::clocks();
    m_bPerformanceCounter = false;
    m_i64PerformanceFrequency = 0;
    m_i64StartCount = 0;
    m_i64LastCount = 0;
    std::int64_t frequency = 0;
    if (clocks.performanceFrequency(&frequency) && frequency > 0) {
        m_bPerformanceCounter = true;
        m_i64PerformanceFrequency = frequency;
        m_i64StartCount = clocks.performanceCounter();
    } else {
        m_i64StartCount = clocks.milliseconds();
    }
    m_i64LastCount = m_i64StartCount;
}

double K_System::getAppAge() {
    klmfc::ClockSource const& clocks = klmfc::clocks();
    if (m_bPerformanceCounter) {
        m_i64LastCount = clocks.performanceCounter();
        return static_cast<double>(m_i64LastCount - m_i64StartCount) /
               static_cast<double>(m_i64PerformanceFrequency);
    }
    // Only the low half moves; the unsigned difference survives the wrap at 2^32.
    std::uint32_t const now = clocks.milliseconds();
    m_i64LastCount = static_cast<std::int64_t>(
        (static_cast<std::uint64_t>(m_i64LastCount) & 0xFFFFFFFF00000000ull) | now);
    return static_cast<std::uint32_t>(lowHalf(m_i64LastCount) - lowHalf(m_i64StartCount)) * 0.001;
}

std::int64_t K_System::getPerformanceFrequency() const {
    return m_bPerformanceCounter ? m_i64PerformanceFrequency : 1000;
}

std::int64_t K_System::getPerformanceCounter() const {
    if (m_bPerformanceCounter) {
        return klmfc::clocks().performanceCounter();
    }
    return static_cast<std::int64_t>(klmfc::clocks().milliseconds());
}

unsigned int K_System::getTotalPhysicalMemory() {
    std::uint64_t total = 0;
    std::uint64_t available = 0;
    klmfc::platform::physicalMemory(&total, &available);
    return capped(total);
}

unsigned int K_System::getAvailablePhysicalMemory() {
    std::uint64_t total = 0;
    std::uint64_t available = 0;
    klmfc::platform::physicalMemory(&total, &available);
    return capped(available);
}
