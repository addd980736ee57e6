#include "klmfc/core/mutex.h"

#include "platform/platform.h"

namespace klmfc {
// The platform's mutex with the number of K_Mutex objects that name it.
struct SharedMutexHandle {
    platform::RecursiveMutex* mutex;
    int names;
};
} // namespace klmfc

namespace {
void release(klmfc::SharedMutexHandle* handle) {
    if (--handle->names == 0) {
        klmfc::platform::destroyRecursiveMutex(handle->mutex);
        delete handle;
    }
}
} // namespace

K_Mutex::K_Mutex()
    : m_hMutex(new klmfc::SharedMutexHandle{klmfc::platform::createRecursiveMutex(), 1}) {}

K_Mutex::K_Mutex(K_Mutex const& other) : m_hMutex(other.m_hMutex) {
    ++m_hMutex->names;
}

K_Mutex& K_Mutex::operator=(K_Mutex const& other) {
    ++other.m_hMutex->names; // first, so that assigning an object to itself keeps it
    release(m_hMutex);
    m_hMutex = other.m_hMutex;
    return *this;
}

K_Mutex::~K_Mutex() {
    release(m_hMutex);
}

void K_Mutex::lock() {
    klmfc::platform::lockMutex(m_hMutex->mutex);
}

void K_Mutex::unlock() {
    klmfc::platform::unlockMutex(m_hMutex->mutex);
}

K_MutexLock::K_MutexLock(K_Mutex* mutex) : m_pMutex(mutex) {
    m_pMutex->lock();
}

K_MutexLock::~K_MutexLock() {
    m_pMutex->unlock();
}

K_MutexLock::K_MutexLock() : m_pMutex(nullptr) {}
