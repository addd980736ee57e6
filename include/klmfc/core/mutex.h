// A mutex that the thread holding it may take again, and its scoped lock.
#pragma once

namespace klmfc {
struct SharedMutexHandle;
}

// Each lock() needs its unlock(). A copy names the same mutex as the original; the mutex
// is closed when the last object that names it goes.
class K_Mutex {
public:
    K_Mutex();
    K_Mutex(K_Mutex const& other);
    K_Mutex& operator=(K_Mutex const& other);
    ~K_Mutex();
    void lock();
    void unlock();

private:
    klmfc::SharedMutexHandle* m_hMutex;
};

// Locks in the constructor and unlocks in the destructor, however the scope is left.
// A copy names the same mutex and unlocks it once more.
class K_MutexLock {
public:
    explicit K_MutexLock(K_Mutex* mutex);
    ~K_MutexLock();

private:
    K_MutexLock();

    K_Mutex* m_pMutex;
};
