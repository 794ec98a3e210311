/// @file
/// Recursive locks, and the scoped locks over them.
#pragma once

#include <pthread.h>

/// A recursive mutex. The thread that holds it may lock it again and unlocks it as often.
class CCritical {
public:
    CCritical();
    CCritical(const CCritical&) = delete;
    CCritical& operator=(const CCritical&) = delete;
    ~CCritical() { pthread_mutex_destroy(&m_mutex); }

    void Lock() { pthread_mutex_lock(&m_mutex); }
    void Unlock() { pthread_mutex_unlock(&m_mutex); }

protected:
    pthread_mutex_t m_mutex;
};

/// The view manager's lock: a CCritical of a type of its own, so that the scoped locks cannot be mixed up.
class CRecursive : public CCritical {};

/// Locks for the length of a scope, or up to Unlock().
template <class Lockable>
class CScopedLock {
public:
    explicit CScopedLock(Lockable* pLockable) : m_pLockable(pLockable) { m_pLockable->Lock(); }
    CScopedLock(const CScopedLock&) = delete;
    CScopedLock& operator=(const CScopedLock&) = delete;
    virtual ~CScopedLock() { Unlock(); }

    void Unlock() {
        if (m_bLocked != 0) {
            m_bLocked = 0;
            m_pLockable->Unlock();
        }
    }

private:
    Lockable* m_pLockable; ///< not owned
    int m_bLocked = 1;
};

using CSingleLock = CScopedLock<CCritical>;
using CRecursiveLock = CScopedLock<CRecursive>;
