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
class K_Profile;
class K_System;

namespace klmfc {
struct ProcessorQuestions;
namespace platform {
struct RecursiveMutex;
}
} // namespace klmfc

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

    // Capability bits of getProcessorCaps().
    enum : unsigned int {
        CAPS_MMX = 0x01,
        CAPS_3DNOW = 0x02,
        CAPS_FCMOV = 0x04,
        CAPS_3DNOW_EXT = 0x08,
        CAPS_TSC = 0x10,
        CAPS_SSE = 0x20,
        CAPS_SSE2 = 0x40,
    };

    enum ProcessorVendor : int {
        VENDOR_UNKNOWN = 0, // any other, or no identification instruction
        VENDOR_INTEL = 1,
        VENDOR_UMC = 2,
        VENDOR_AMD = 3,
        VENDOR_CYRIX = 4,
        VENDOR_NEXGEN = 5,
        VENDOR_CENTAUR = 6,
    };

    enum ProcessorType : int {
        TYPE_UNKNOWN = 0,
        TYPE_INTEL_CELERON = 1,
        TYPE_INTEL_PENTIUM_II = 2,
        TYPE_INTEL_PENTIUM_II_XEON = 3,
        TYPE_INTEL_PENTIUM_III = 4,
        TYPE_INTEL_PENTIUM_III_XEON = 5,
        TYPE_AMD_K6 = 6,
        TYPE_AMD_K6_2 = 7,
        TYPE_AMD_K6_2_PLUS = 8,
        TYPE_AMD_K6_3 = 9,
        TYPE_AMD_ATHLON = 10,
        TYPE_AMD_DURON = 11,
        TYPE_INTEL_PENTIUM_4 = 12,
        TYPE_IDT_WINCHIP_C6 = 13,
        TYPE_IDT_WINCHIP_2 = 14,
        TYPE_IDT_WINCHIP_2_3D = 15,
        TYPE_VIA_CYRIX_III = 16,
        TYPE_VIA_C3 = 17,
        TYPE_VIA_C3_EZRA = 18,
        TYPE_AMD_K5 = 19,
        TYPE_AMD_ATHLON_XP = 20,
        TYPE_CYRIX_5X86 = 21,
        TYPE_CYRIX_6X86 = 22,
        TYPE_CYRIX_6X86MX = 23,
        TYPE_CYRIX_MEDIAGX = 24,
        TYPE_INTEL_PENTIUM = 25,
        TYPE_INTEL_PENTIUM_PRO = 26,
        TYPE_INTEL_CELERON_A = 27,
        TYPE_NEXGEN_NX586 = 28,
    };

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

    // ---- processor identification: plain field reads ----
    unsigned int getProcessorCaps() const {
        return m_uiProcessorCaps;
    }
    ProcessorVendor getProcessorVendor() const {
        return m_processorVendor;
    }
    ProcessorType getProcessorType() const {
        return m_processorType;
    }
    char const* getProcessorModel() const {
        return m_acProcessorModel;
    }
    unsigned int getL1CodeCacheSize() const {
        return m_uiL1CodeCacheSize;
    }
    unsigned int getL1DataCacheSize() const {
        return m_uiL1DataCacheSize;
    }
    unsigned int getL1CacheSize() const {
        return m_uiL1CodeCacheSize + m_uiL1DataCacheSize;
    }
    unsigned int getL2CacheSize() const {
        return m_uiL2CacheSize;
    }
    unsigned int getL3CacheSize() const {
        return m_uiL3CacheSize;
    }
    unsigned int getL1TraceCacheSize() const {
        return m_uiL1TraceCacheSize;
    }
    unsigned int getTLBCodeCacheSize() const {
        return m_uiTLBCodeCacheSize;
    }
    unsigned int getTLBDataCacheSize() const {
        return m_uiTLBDataCacheSize;
    }

    // ---- processor speed ----
    // Cycles per second. The first call on a processor with a time-stamp counter
    // measures for half a second on the profiler and then resets the profiler; without
    // the counter the result is 1.0.
    double getProcessorSpeed();

    // ---- clock ----
    // Seconds since the system object was built.
    double getAppAge();
    // Ticks per second: the counter's, or 1000 on the millisecond fall-back.
    std::int64_t getPerformanceFrequency() const;
    // Ticks now: the counter, or the millisecond count as an unsigned 32-bit value.
    std::int64_t getPerformanceCounter() const;

    // ---- memory of the machine, in bytes, capped at 32 bits ----
    unsigned int getTotalPhysicalMemory();
    unsigned int getAvailablePhysicalMemory();

    // ---- error facility flags of the host-side interface ----
    static void setAssertionCreatesException(bool value) {
        m_bAssertionCreatesException = value;
    }
    static bool m_bErrorCreatesException;
    static bool m_bAssertionCreatesException;
    static bool m_bSuppressErrors;

private:
    friend class K_KovmarInit;
    friend class K_Profile;
    friend class K_SystemTestAccess;
    friend class K_SystemServicesTestAccess;

    explicit K_System(char const* verboseFilename);
    ~K_System();
    K_System(K_System const&) = delete;
    K_System& operator=(K_System const&) = delete;

    void deinits();
    void free(DEINIT* record);
    [[noreturn]] void terminate();
    void loadCPUDrivers();
    void unloadCPUDrivers();

    void determineProcessorCaps();
    void determineProcessorCaps(klmfc::ProcessorQuestions const& questions);
    int processorSpeedDetermined() const {
        return m_iProcessorSpeedDetermined;
    }
    void determineProcessorSpeed();
    double processorSpeedTest();
    void startClock();

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

#include "klmfc/core/mutex.h"
#include "klmfc/core/timer.h"
