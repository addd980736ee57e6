// The frame profiler: named, nested sections with time, call and allocation figures per
// frame.
//
// A host wraps a section in a K_Profile object and brackets each frame with startFrame()
// and endFrame(); between frames it reads a K_PINFO per section with request(). The
// records form a flat list in order of first use; nesting shows in the difference
// between self and inclusive figures. One profiler per process, for one thread at a
// time: everything but the scope object is static.
//
// Its clock is the processor's time-stamp counter where Sys reports one (CAPS_TSC);
// otherwise Sys->getAppAge(), and every figure named "cycles" then holds seconds.
#pragma once

#include "klmfc/memory/dllist.h"
#include "klmfc/memory/memory.h"

#include <cstdint>
#include <vector>

// One time stamp or difference, in the form of the clock in use.
union K_PTICK {
    std::int64_t i64Cycles; // time-stamp counter
    double dSeconds;        // seconds clock
};

// What a host reads of a section. Self: without the nested sections; inclusive: with
// them; frame: since the last startFrame(). Peaks move only at a request.
struct K_PINFO {
    const char* pName;
    int iCallsFrame;      // invocations begun in this frame
    int iCallsTotal;      // invocations begun since the entry was last cleared
    float fPercent;       // inclusive share of the last frame; -1.0 until computed
    float fPercentSelf;   // self share of the last frame; -1.0 until computed
    double tFrameTime;    // inclusive seconds
    double tAverageTime;  // mean inclusive seconds per invocation
    double tLastTime;     // seconds of the invocation that closed last
    int iUsedThisFrame;   // 1 once entered in this frame
    int iNewSelf;         // counted allocations in this frame
    int iNewInclusive;    //
    int iDeleteSelf;      // counted releases in this frame
    int iDeleteInclusive; //
    int iSizeSelf;        // stays 0: nothing counts sizes
    int iSizeInclusive;   // stays 0
    float fPeakTimeSelf;  // seconds
    int iPeakNewSelf;
    int iPeakDeleteSelf;
    int iPeakSizeSelf; // stays 0
    int iPeakCallsFrame;
};

// One open invocation of a section.
struct K_PINVOCATION {
    K_PTICK sStart;      // the clock at the start
    double tChildCycles; // inclusive cycles of the sections nested directly in it
    int iNewStart;       // K_Memory::getNewCount() at the start
    int iDeleteStart;    // K_Memory::getDeleteCount() at the start
    int iChildNew;       // counted allocations of the nested sections
    int iChildDelete;    // counted releases of the nested sections
    int iSizeStart;      // 0
    int iChildSize;      // 0
};

class K_System;

class K_Profile {
public:
    // The record of one section name.
    struct K_PENTRY {
        char acName[32]; // at most 31 bytes of the name, not sure to be terminated
        std::vector<K_PINVOCATION, K_Allocator<K_PINVOCATION>> invocations; // innermost last
        double tFrameCycles;     // outermost invocations of this frame, nested included
        double tFrameSelfCycles; // all invocations of this frame, nested excluded
        double tTotalCycles;     // like tFrameCycles, since the entry was last cleared
        K_PINFO info;
    };

    // Opens the section `name` (at most 30 characters); nothing when profiling is off.
    explicit K_Profile(const char* name) {
        if (sm_bProfilingEnabled) {
            open(name);
        }
    }
    // Closes it; nothing when profiling is off now.
    ~K_Profile() {
        if (sm_bProfilingEnabled) {
            close();
        }
    }

    static void startFrame();
    static void endFrame();
    // The next record of the walk over all sections in order of first use; null at its
    // end (the walk then starts over) and while a frame runs.
    static K_PINFO* request();
    // The record of `name`; null for an unknown name and while a frame runs.
    static K_PINFO* request(const char* name);
    // tLastTime of `name`; 0.0 for an unknown name.
    static double requestTime(const char* name);
    // Clears the entry `name`; an unknown name does nothing.
    static void clearEntry(const char* name);
    // Forgets all entries and frame figures.
    static void reset();
    static void deinit();
    // Only while no K_Profile object is alive.
    static void enableProfiling(bool enable) { sm_bProfilingEnabled = enable; }
    static void disableProfiling() { enableProfiling(false); }
    static bool isProfilingEnabled() { return sm_bProfilingEnabled; }
    static int getFrameCount() { return m_siFrameCount; }
    // Seconds. On the time-stamp clock these ask Sys->getProcessorSpeed(), whose first
    // call measures the speed and resets the profiler.
    static double getLastFrameTime();
    static double getTotalTime();

    static bool sm_bProfilingEnabled;

protected:
    friend class K_System;

    // tTotalCycles of `name`; 0.0 for an unknown name.
    static double getCycleCount(const char* name);
    static K_PENTRY* find(const char* name);
    static K_PENTRY* insert(const char* name);
    static void clearEntry(K_PENTRY* entry);
    static void calcPercentage(K_PENTRY* entry);
    static void readTickCount(K_PTICK* tick);
    static void readCyrixCount(K_PTICK* tick);
    static void calcDiff(K_PTICK* out, K_PTICK* earlier, K_PTICK* later);
    static void calcCyrixDiff(K_PTICK* out, K_PTICK* earlier, K_PTICK* later);
    static double calcCycles(K_PTICK* tick);
    static double calcCyrixCycles(K_PTICK* tick);

    static K_PTICK m_sFrameStart;
    static K_PTICK m_sFrameEnd;
    static K_PTICK m_sFrameDiff;
    static K_PENTRY* m_spTraverseCurrent;
    static K_PENTRY* m_spEarlierParent;
    static int m_sbFrameRunning;
    static int m_siEntries;
    static int m_siFrameCount;
    static double m_stFrameCycles;
    static double m_stTotalCycles;
    static K_ReusableNodeList<K_PENTRY, K_DLListInit<K_PENTRY>> m_slProfiles;

private:
    K_Profile(const K_Profile&) {}
    K_Profile& operator=(const K_Profile&) { return *this; }

    void open(const char* name);
    void close();

    K_PENTRY* m_pParent; // the section open around this one, or null
    K_PENTRY* m_pEntry;
    bool m_bOpen;
};
