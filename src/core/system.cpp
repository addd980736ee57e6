// The system object: deinit routines, driver modules, dump, critical stop.
#include "klmfc/core/system.h"

#include "klmfc/math/cpudriver.h"
#include "platform/platform.h"

#include <cstdint>
#include <cstring>
#include <new>

K_System* Sys = nullptr;

bool K_System::m_bErrorCreatesException = false;
bool K_System::m_bAssertionCreatesException = false;
bool K_System::m_bSuppressErrors = false;

namespace {
char const kDriverDirectory[] = "kldriver";
char const kDriverPattern[] = "*_mfcrel.dll";
char const kDriverPathVariable[] = "KLDRIVERPATH";
char const kRule[] =
    "------------------------------------------------------------------------------";
} // namespace

K_System::K_System(char const* verboseFilename)
    : m_pActiveCPU(nullptr), m_pReferenceCPU(nullptr), m_hMutex(nullptr),
      m_pfVerboseCallback(nullptr), m_bVerboseDoesTRACE(false), m_pVerboseFilename(nullptr),
      m_bVerboseCeased(false), m_bVerboseHeaderWritten(false), m_uiTLBCodeCacheSize(0),
      m_uiTLBDataCacheSize(0), m_uiL1CodeCacheSize(0), m_uiL1DataCacheSize(0), m_uiL2CacheSize(0),
      m_uiL3CacheSize(0), m_uiL1TraceCacheSize(0), m_uiProcessorCaps(0),
      m_processorVendor(ProcessorVendor(0)), m_processorType(ProcessorType(0)),
      m_dProcessorSpeed(1.0), m_iProcessorSpeedDetermined(0), m_bPerformanceCounter(false),
      m_i64PerformanceFrequency(0), m_i64StartCount(0), m_i64LastCount(0) {
    m_hMutex = klmfc::platform::createRecursiveMutex();
    m_acCriticalError[0] = 0;
    std::size_t const length = std::strlen(verboseFilename);
    m_pVerboseFilename = new char[length + 1];
    std::memcpy(m_pVerboseFilename, verboseFilename, length + 1);
    std::strcpy(m_acProcessorModel, "Unknown");
    determineProcessorCaps();
    startClock();
}

K_System::~K_System() {
    verbose("%s", "==============================================================================");
    verbose("\n\n");
    deinits();
    if (m_verboseStream.is_open()) {
        m_verboseStream.close();
    }
    delete[] m_pVerboseFilename;
    m_pVerboseFilename = nullptr;
    klmfc::platform::destroyRecursiveMutex(m_hMutex);
    m_hMutex = nullptr;
}

// ---- deinit routines --------------------------------------------------------------

int K_System::add(void (*routine)(void), char const* name) {
    for (DEINIT* record = m_deinits.getFirst(); record != nullptr;
         record = m_deinits.getNext(record)) {
        if (record->pfRoutine == routine) {
            return 0;
        }
    }
    DEINIT* record = m_deinits.addNewLast();
    record->pfRoutine = routine;
    record->pName = nullptr;
    if (name != nullptr) {
        std::size_t const length = std::strlen(name);
        record->pName = new char[length + 1];
        std::memcpy(record->pName, name, length + 1);
    }
    return 1;
}

int K_System::remove(void (*routine)(void)) {
    for (DEINIT* record = m_deinits.getFirst(); record != nullptr;
         record = m_deinits.getNext(record)) {
        if (record->pfRoutine == routine) {
            free(record);
            return 1;
        }
    }
    return 0;
}

void K_System::free(DEINIT* record) {
    delete[] record->pName;
    record->pName = nullptr;
    m_deinits.unlink(record);
    m_deinits.freeNode(record);
}

void K_System::deinits() {
    while (DEINIT* record = m_deinits.getLast()) {
        record->pfRoutine();
        // A routine that removed itself, or registered another, is not freed here.
        if (m_deinits.getLast() == record) {
            free(record);
        }
    }
}

void K_System::dump() {
    verbose("System Object\n");
    verbose("%s", kRule);
    verbose("\n Deinit routines:  ");
    if (m_deinits.getCount() == 0) {
        verbose("-\n");
    } else {
        for (DEINIT* record = m_deinits.getFirst(); record != nullptr;
             record = m_deinits.getNext(record)) {
            if (record != m_deinits.getFirst()) {
                verbose("                   ");
            }
            verbose("%8llx - \"%s\"\n",
                    static_cast<unsigned long long>(
                        reinterpret_cast<std::uintptr_t>(record->pfRoutine)),
                    record->pName != nullptr ? record->pName : "");
        }
    }
    verbose("%s", kRule);
    verbose("\n\n\n");
}

void K_System::terminate() {
    m_bSuppressErrors = false;
    deinits();
    klmfc::platform::showMessage(m_acCriticalError, "Critical Error", 0x1000);
    klmfc::platform::abortProcess();
}

int K_System::cleanupAllocations() {
    return 0;
}

// ---- drivers ----------------------------------------------------------------------

K_CPUDriver* K_System::getFirstCPUDriver() {
    K_CPUDriver** first = m_cpuDrivers.getFirst();
    return first != nullptr ? *first : nullptr;
}

K_CPUDriver* K_System::getNextCPUDriver(K_CPUDriver* current) {
    for (K_CPUDriver** node = m_cpuDrivers.getFirst(); node != nullptr;
         node = m_cpuDrivers.getNext(node)) {
        if (*node == current) {
            K_CPUDriver** next = m_cpuDrivers.getNext(node);
            return next != nullptr ? *next : nullptr;
        }
    }
    return nullptr;
}

void K_System::loadCPUDrivers() {
    K_CPUDriver** node = m_cpuDrivers.addNewLast();
    auto* reference = new (K_CountedAllocate(sizeof(K_CPUReference))) K_CPUReference;
    m_pReferenceCPU = reference;
    *node = reference;
    setActiveCPUDriver(m_pReferenceCPU);

    char path[256];
    std::strcpy(path, kDriverDirectory);
    unsigned int mode = 0;
    if (!klmfc::platform::statMode(path, &mode) || (mode & 0x4000) == 0) {
        // A fallback, not an override: only read when there is no driver directory.
        klmfc::platform::environmentVariable(kDriverPathVariable, path, sizeof path);
    }
    char saved[256] = {};
    klmfc::platform::currentDirectory(saved, 255);
    klmfc::platform::setCurrentDirectory(path);

    klmfc::platform::FindData data;
    if (klmfc::platform::FindHandle* find = klmfc::platform::findFirst(kDriverPattern, &data)) {
        do {
            if (void* module = klmfc::platform::loadModule(data.name)) {
                *m_driverModules.addNewLast() = module;
            }
        } while (klmfc::platform::findNext(find, &data));
        klmfc::platform::findClose(find);
    }
    klmfc::platform::setCurrentDirectory(saved);
}

void K_System::unloadCPUDrivers() {
    for (ModuleHandle* module = m_driverModules.getFirst(); module != nullptr;
         module = m_driverModules.getNext(module)) {
        klmfc::platform::unloadModule(*module);
    }
    m_driverModules.clear();
    m_cpuDrivers.clear();
    if (m_pReferenceCPU != nullptr) {
        auto* reference = static_cast<K_CPUReference*>(m_pReferenceCPU);
        reference->~K_CPUReference();
        K_REALLOCATE_DELETE_implementation(reference);
        m_pReferenceCPU = nullptr;
    }
}
