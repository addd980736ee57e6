// A stopwatch on the library's clock, with pause and per-frame deltas.
#pragma once

#include <cstdint>

// Every operation, the constructor included, reads the clock of Sys: a timer is never a
// static that may be built before the library is up.
class K_Timer {
public:
    K_Timer();
    ~K_Timer();

    // Seconds of age; while paused, the age at the pause.
    float getAge() const;
    // Sets the age and forgets the samples. Takes no notice of the pause.
    void setAge(float age);
    // Takes a sample and returns the time since the one before; 0 while paused.
    float sample();
    // The difference between the last two samples.
    float getDelta() const;
    // Running again, at age 0.
    void reset();
    bool isPaused() const { return m_bPaused; }
    void pause();
    void resume();

private:
    K_Timer(K_Timer const&);
    K_Timer& operator=(K_Timer const&);

    std::int64_t m_i64Base; // counter value at which the age was 0
    float m_fLastSample;
    float m_fPreviousSample;
    float m_fPausedAge;
    bool m_bPaused;
};
