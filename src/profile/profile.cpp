// The frame profiler.
//
// Order matters for what is measured: a scope reads the clock after the lookup of its
// entry, and a closing scope reads it before anything else, so the search and the list
// insertion stay outside the measured time. The allocation counts of an invocation are
// read before it is pushed, so a growth of the stack counts as its own allocation.
#include "klmfc/profile/profile.h"

#include "core/clock_source.h"
#include "klmfc/core/system.h"

#include <cstring>

bool K_Profile::sm_bProfilingEnabled = true;
K_PTICK K_Profile::m_sFrameStart = {0};
K_PTICK K_Profile::m_sFrameEnd = {0};
K_PTICK K_Profile::m_sFrameDiff = {0};
K_Profile::K_PENTRY* K_Profile::m_spTraverseCurrent = nullptr;
K_Profile::K_PENTRY* K_Profile::m_spEarlierParent = nullptr;
int K_Profile::m_sbFrameRunning = 0;
int K_Profile::m_siEntries = 0;
int K_Profile::m_siFrameCount = 0;
double K_Profile::m_stFrameCycles = 0.0;
double K_Profile::m_stTotalCycles = 0.0;
K_ReusableNodeList<K_Profile::K_PENTRY, K_DLListInit<K_Profile::K_PENTRY>> K_Profile::m_slProfiles;

namespace {
char const kMemoryScopeName[] = "Kovmar Library";

// Every measurement asks anew which clock is in use.
bool onTimeStampClock() {
    return (Sys->getProcessorCaps() & K_System::CAPS_TSC) != 0;
}

template <class T> void raise(T& peak, T value) {
    if (value > peak) {
        peak = value;
    }
}
// The figures a frame gathers afresh: calls and allocation counts.
void clearFrameFigures(K_PINFO& info) {
    info.iCallsFrame = 0;
    info.iUsedThisFrame = 0;
    info.iNewSelf = 0;
    info.iNewInclusive = 0;
    info.iDeleteSelf = 0;
    info.iDeleteInclusive = 0;
    info.iSizeSelf = 0;
    info.iSizeInclusive = 0;
}

} // namespace

// ---- the two clocks ---------------------------------------------------------------

void K_Profile::readTickCount(K_PTICK* tick) {
    tick->i64Cycles = static_cast<std::int64_t>(klmfc::clocks().timeStampCounter());
}

void K_Profile::readCyrixCount(K_PTICK* tick) {
    tick->dSeconds = Sys->getAppAge();
}

void K_Profile::calcDiff(K_PTICK* out, K_PTICK* earlier, K_PTICK* later) {
    out->i64Cycles = later->i64Cycles - earlier->i64Cycles;
}

void K_Profile::calcCyrixDiff(K_PTICK* out, K_PTICK* earlier, K_PTICK* later) {
    out->dSeconds = later->dSeconds - earlier->dSeconds;
}

double K_Profile::calcCycles(K_PTICK* tick) {
    return static_cast<double>(tick->i64Cycles);
}

double K_Profile::calcCyrixCycles(K_PTICK* tick) {
    return tick->dSeconds;
}

// ---- sections ---------------------------------------------------------------------

K_Profile::K_PENTRY* K_Profile::find(const char* name) {
    for (K_PENTRY* entry = m_slProfiles.m_used.getFirst(); entry != nullptr;
         entry = m_slProfiles.m_used.getNext(entry)) {
        if (std::strcmp(entry->acName, name) == 0) {
            return entry;
        }
    }
    return nullptr;
}

K_Profile::K_PENTRY* K_Profile::insert(const char* name) {
    K_PENTRY* entry = find(name);
    if (entry == nullptr) {
        entry = m_slProfiles.getNode(); // appended: entries keep the order of first use
        std::strncpy(entry->acName, name, 31);
        entry->info.pName = entry->acName;
        clearEntry(entry);
        ++m_siEntries;
    }
    K_PINVOCATION invocation;
    if (onTimeStampClock()) {
        readTickCount(&invocation.sStart);
    } else {
        readCyrixCount(&invocation.sStart);
    }
    invocation.tChildCycles = 0.0;
    invocation.iNewStart = K_Memory::getNewCount();
    invocation.iDeleteStart = K_Memory::getDeleteCount();
    invocation.iChildNew = 0;
    invocation.iChildDelete = 0;
    invocation.iSizeStart = 0;
    invocation.iChildSize = 0;
    entry->invocations.push_back(invocation);
    return entry;
}

void K_Profile::open(const char* name) {
    K_MemoryScope scope(kMemoryScopeName);
    m_pParent = m_spEarlierParent;
    m_pEntry = insert(name);
    m_spEarlierParent = m_pEntry;
    K_PINFO& info = m_pEntry->info;
    ++info.iCallsFrame;
    info.iUsedThisFrame = 1;
    ++info.iCallsTotal;
    m_bOpen = true;
}

void K_Profile::close() {
    K_MemoryScope scope(kMemoryScopeName);
    K_PTICK now;
    K_PTICK difference;
    double cycles;
    bool const timeStamps = onTimeStampClock();
    if (timeStamps) {
        readTickCount(&now);
        calcDiff(&difference, &m_pEntry->invocations.back().sStart, &now);
        cycles = calcCycles(&difference);
    } else {
        readCyrixCount(&now);
        calcCyrixDiff(&difference, &m_pEntry->invocations.back().sStart, &now);
        cycles = calcCyrixCycles(&difference);
    }
    K_PINVOCATION const& invocation = m_pEntry->invocations.back();
    K_PINFO& info = m_pEntry->info;

    if (timeStamps) {
        if (Sys->processorSpeedDetermined() != 0) { // never starts the measurement
            info.tLastTime = cycles / Sys->getProcessorSpeed();
        }
    } else {
        info.tFrameTime += cycles;
    }

    int const newDelta = K_Memory::getNewCount() - invocation.iNewStart;
    int const deleteDelta = K_Memory::getDeleteCount() - invocation.iDeleteStart;
    int const sizeDelta = 0 - invocation.iSizeStart;

    // A recursive invocation adds to the inclusive figures only at the outermost close.
    if (m_pEntry->invocations.size() == 1) {
        m_pEntry->tFrameCycles += cycles;
        m_pEntry->tTotalCycles += cycles;
        info.iNewInclusive += newDelta;
        info.iDeleteInclusive += deleteDelta;
        info.iSizeInclusive += sizeDelta;
    }
    m_pEntry->tFrameSelfCycles += cycles - invocation.tChildCycles;
    info.iNewSelf += newDelta - invocation.iChildNew;
    info.iDeleteSelf += deleteDelta - invocation.iChildDelete;
    info.iSizeSelf += sizeDelta - invocation.iChildSize;

    m_pEntry->invocations.pop_back();

    if (m_pParent != nullptr) {
        K_PINVOCATION& around = m_pParent->invocations.back();
        around.tChildCycles += cycles;
        around.iChildNew += newDelta;
        around.iChildDelete += deleteDelta;
        around.iChildSize += sizeDelta;
    }
    m_spEarlierParent = m_pParent;
}

// ---- frames -----------------------------------------------------------------------

void K_Profile::startFrame() {
    for (K_PENTRY* entry = m_slProfiles.m_used.getFirst(); entry != nullptr;
         entry = m_slProfiles.m_used.getNext(entry)) {
        entry->tFrameCycles = 0.0;
        entry->tFrameSelfCycles = 0.0;
        entry->invocations.clear(); // keeps its capacity
        clearFrameFigures(entry->info);
    }
    if (onTimeStampClock()) {
        readTickCount(&m_sFrameStart);
    } else {
        readCyrixCount(&m_sFrameStart);
    }
    m_spTraverseCurrent = nullptr;
    m_sbFrameRunning = 1;
}

void K_Profile::endFrame() {
    if (onTimeStampClock()) {
        readTickCount(&m_sFrameEnd);
        calcDiff(&m_sFrameDiff, &m_sFrameStart, &m_sFrameEnd);
        m_stFrameCycles = calcCycles(&m_sFrameDiff);
    } else {
        readCyrixCount(&m_sFrameEnd);
        calcCyrixDiff(&m_sFrameDiff, &m_sFrameStart, &m_sFrameEnd);
        m_stFrameCycles = calcCyrixCycles(&m_sFrameDiff);
    }
    ++m_siFrameCount;
    m_stTotalCycles += m_stFrameCycles;
    m_sbFrameRunning = 0;
}

double K_Profile::getLastFrameTime() {
    if (onTimeStampClock()) {
        return m_stFrameCycles / Sys->getProcessorSpeed();
    }
    return m_stFrameCycles;
}

double K_Profile::getTotalTime() {
    if (onTimeStampClock()) {
        return m_stTotalCycles / Sys->getProcessorSpeed();
    }
    return m_stTotalCycles;
}

// ---- reports ----------------------------------------------------------------------

void K_Profile::calcPercentage(K_PENTRY* entry) {
    if (m_sbFrameRunning != 0) {
        return;
    }
    K_PINFO& info = entry->info;
    info.fPercent = static_cast<float>(entry->tFrameCycles / m_stFrameCycles * 100.0f);
    info.fPercentSelf = static_cast<float>(entry->tFrameSelfCycles / m_stFrameCycles * 100.0f);
    if (onTimeStampClock()) {
        if (Sys->processorSpeedDetermined() != 0) {
            double const speed = Sys->getProcessorSpeed();
            info.tFrameTime = entry->tFrameCycles / speed;
            info.tAverageTime = (entry->tTotalCycles / info.iCallsTotal) / speed;
        } else {
            info.tFrameTime = 0.0;
        }
    } else {
        // tFrameTime is the running sum that the closing scopes add up.
        info.tAverageTime = entry->tTotalCycles / info.iCallsTotal;
    }
    double const selfTime = getLastFrameTime() * (info.fPercentSelf * 0.01f);
    if (selfTime > info.fPeakTimeSelf) {
        info.fPeakTimeSelf = static_cast<float>(selfTime);
    }
    raise(info.iPeakNewSelf, info.iNewSelf);
    raise(info.iPeakDeleteSelf, info.iDeleteSelf);
    raise(info.iPeakSizeSelf, info.iSizeSelf);
    raise(info.iPeakCallsFrame, info.iCallsFrame);
}

K_PINFO* K_Profile::request() {
    if (m_sbFrameRunning != 0) {
        return nullptr;
    }
    K_PENTRY* const entry = m_spTraverseCurrent != nullptr
                                ? m_slProfiles.m_used.getNext(m_spTraverseCurrent)
                                : m_slProfiles.m_used.getFirst();
    if (entry == nullptr) {
        m_spTraverseCurrent = nullptr; // the next call starts over
        return nullptr;
    }
    m_spTraverseCurrent = entry;
    calcPercentage(entry);
    return &entry->info;
}

K_PINFO* K_Profile::request(const char* name) {
    if (m_sbFrameRunning != 0) {
        return nullptr;
    }
    K_PENTRY* const entry = find(name);
    if (entry == nullptr) {
        return nullptr;
    }
    calcPercentage(entry);
    return &entry->info;
}

double K_Profile::requestTime(const char* name) {
    K_PENTRY* const entry = find(name);
    return entry != nullptr ? entry->info.tLastTime : 0.0;
}

double K_Profile::getCycleCount(const char* name) {
    K_PENTRY* const entry = find(name);
    return entry != nullptr ? entry->tTotalCycles : 0.0;
}

// ---- clearing -------------------------------------------------------------------------

void K_Profile::clearEntry(const char* name) {
    if (K_PENTRY* const entry = find(name)) {
        clearEntry(entry);
    }
}

void K_Profile::clearEntry(K_PENTRY* entry) {
    K_PINFO& info = entry->info;
    info.fPercent = -1.0f;
    info.fPercentSelf = -1.0f;
    clearFrameFigures(info);
    info.iCallsTotal = 0;
    info.tFrameTime = 0.0;
    info.tAverageTime = 0.0;
    info.fPeakTimeSelf = 0.0f;
    info.iPeakNewSelf = 0;
    info.iPeakDeleteSelf = 0;
    info.iPeakSizeSelf = 0;
    info.iPeakCallsFrame = 0;
    entry->tFrameCycles = 0.0;
    entry->tFrameSelfCycles = 0.0;
    entry->tTotalCycles = 0.0;
    entry->invocations.clear();
}

void K_Profile::reset() {
    m_slProfiles.releaseAll(); // the nodes go back to the pool with their memory
    m_spTraverseCurrent = nullptr;
    m_siFrameCount = 0;
    m_stFrameCycles = 0.0;
    m_stTotalCycles = 0.0;
    m_siEntries = 0;
}

void K_Profile::deinit() {
    endFrame();
    reset();
    m_spEarlierParent = nullptr;
    m_slProfiles.freeAll();
}
