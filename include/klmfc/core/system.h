// The system object and the library's start and stop.
//
// A host holds K_KovmarInit (and M_MathInit) objects as statics: the first K_KovmarInit
// builds Sys and File and loads the driver modules, the last one takes it all down.
#pragma once

#include "klmfc/memory/dllist.h"

#include <cstdint>
#include <fstream>

class K_CPUDriver;
class K_File;
class K_System;

namespace klmfc::platform {
struct RecursiveMutex;
}

// The system object; null while the library is down.
extern K_System* Sys;
// The file manager; null while the library is down.
extern K_File* File;

// Counts the host's init objects: the first brings the library up, the last takes it down.
class K_KovmarInit {
public:
    K_KovmarInit();
    ~K_KovmarInit();
    static int count;

private:
    K_KovmarInit(K_KovmarInit const&) = delete;
    K_KovmarInit& operator=(K_KovmarInit const&) = delete;
};

// Counts the host's maths init objects: the first builds the inverse-square-root table
// and seeds rand(). Needs neither Sys nor File.
class M_MathInit {
public:
    M_MathInit();
    ~M_MathInit();
    static int count;

private:
    M_MathInit(M_MathInit const&) = delete;
    M_MathInit& operator=(M_MathInit const&) = delete;
};

// Formats into a ring of 32 buffers of 2048 bytes; the result stays good for the next
// 32 calls. Works with and without Sys.
char const* K_STR(char const* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

class K_System {
public:
    using ModuleHandle = void*;
    using VerboseCallback = void (*)(char const*);
    enum ProcessorVendor : int {};
    enum ProcessorType : int {};

    // A registered deinit routine.
    struct DEINIT {
        void (*pfRoutine)(void);
        char* pName;
    };

    // ---- deinit routines ----
    int add(void (*routine)(void), char const* name);
    int remove(void (*routine)(void));
    void dump();

    // ---- drivers ----
    K_CPUDriver* getFirstCPUDriver();
    K_CPUDriver* getNextCPUDriver(K_CPUDriver* current);
    void setActiveCPUDriver(K_CPUDriver* driver) { m_pActiveCPU = driver; }
    K_CPUDriver* getActiveCPUDriver() { return m_pActiveCPU; }
    K_CPUDriver* getCPU() { return m_pActiveCPU; }
    // The list of known drivers. A driver module appends its driver here from its
    // load-time code; it never removes or frees nodes it did not add.
    K_DLList<K_CPUDriver*>& getCPUDriverList() { return m_cpuDrivers; }
    int cleanupAllocations();

    // ---- log ----
    void verbose(char const* format, ...)
#if defined(__GNUC__)
        __attribute__((format(printf, 2, 3)))
#endif
        ;
    void ceaseVerbose(int removeFile);
    void clearVerbose();
    VerboseCallback setVerboseCallback(VerboseCallback callback);
    void setVerboseDoesTRACE(bool value) {
        m_bVerboseDoesTRACE = value;
    }
    char const* getVerboseFilename() const {
        return m_pVerboseFilename;
    }

    // ---- error facility flags of the host-side interface ----
    static void setAssertionCreatesException(bool value) {
        m_bAssertionCreatesException = value;
    }
    static bool m_bErrorCreatesException;
    static bool m_bAssertionCreatesException;
    static bool m_bSuppressErrors;

private:
    friend class K_KovmarInit;
    friend class K_SystemTestAccess;

    explicit K_System(char const* verboseFilename);
    ~K_System();
    K_System(K_System const&) = delete;
    K_System& operator=(K_System const&) = delete;

    void deinits();
    void free(DEINIT* record);
    [[noreturn]] void terminate();
    void loadCPUDrivers();
    void unloadCPUDrivers();

    K_DLList<K_CPUDriver*> m_cpuDrivers;
    K_DLList<ModuleHandle> m_driverModules;
    K_CPUDriver* m_pActiveCPU;
    K_CPUDriver* m_pReferenceCPU;
    klmfc::platform::RecursiveMutex* m_hMutex;
    std::ofstream m_verboseStream;
    VerboseCallback m_pfVerboseCallback;
    bool m_bVerboseDoesTRACE;

public:
    // Text that terminate() shows; the host's error path fills it.
    char m_acCriticalError[1024];

private:
    char* m_pVerboseFilename;
    K_DLList<DEINIT> m_deinits;
    bool m_bVerboseCeased;
    bool m_bVerboseHeaderWritten;

    // ---- processor identification ----
    unsigned int m_uiTLBCodeCacheSize, m_uiTLBDataCacheSize;
    unsigned int m_uiL1CodeCacheSize, m_uiL1DataCacheSize, m_uiL2CacheSize, m_uiL3CacheSize,
        m_uiL1TraceCacheSize;
    unsigned int m_uiProcessorCaps;
    ProcessorVendor m_processorVendor;
    ProcessorType m_processorType;
    char m_acProcessorModel[256];
    double m_dProcessorSpeed;
    int m_iProcessorSpeedDetermined;

    // ---- clock ----
    bool m_bPerformanceCounter;
    std::int64_t m_i64PerformanceFrequency;
    std::int64_t m_i64StartCount;
    std::int64_t m_i64LastCount;

    friend char const* K_STR(char const* format, ...);
};
