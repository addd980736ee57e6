// K_Timer: ages are counter ticks since m_i64Base, divided by the counter's frequency.
#include "klmfc/core/timer.h"

#include "klmfc/core/system.h"

K_Timer::K_Timer()
    : m_i64Base(0), m_fLastSample(0.0f), m_fPreviousSample(0.0f), m_fPausedAge(0.0f),
      m_bPaused(false) {
    reset();
}

K_Timer::~K_Timer() {}

float K_Timer::getAge() const {
    if (m_bPaused) {
        return m_fPausedAge;
    }
    return static_cast<float>(static_cast<double>(Sys->getPerformanceCounter() - m_i64Base) /
                              static_cast<double>(Sys->getPerformanceFrequency()));
}

void K_Timer::setAge(float age) {
    double const ticks = static_cast<double>(Sys->getPerformanceFrequency()) * age;
    m_i64Base = Sys->getPerformanceCounter() - static_cast<std::int64_t>(ticks);
    m_fLastSample = 0.0f;
    m_fPreviousSample = 0.0f;
}

float K_Timer::sample() {
    m_fPreviousSample = m_fLastSample;
    m_fLastSample = getAge();
    return m_fLastSample - m_fPreviousSample;
}

float K_Timer::getDelta() const {
    return m_fLastSample - m_fPreviousSample;
}

void K_Timer::reset() {
    m_bPaused = false;
    setAge(0.0f);
}

void K_Timer::pause() {
    if (m_bPaused) {
        return;
    }
    m_fPausedAge = getAge();
    m_fLastSample = m_fPausedAge;
    m_fPreviousSample = m_fPausedAge;
    m_bPaused = true;
}

void K_Timer::resume() {
    if (!m_bPaused) {
        return;
    }
    setAge(m_fPausedAge);
    m_fLastSample = m_fPausedAge;
    m_fPreviousSample = m_fPausedAge;
    m_bPaused = false;
}
