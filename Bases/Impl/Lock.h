// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_LOCK_H
#define VORN_BASES_IMPL_LOCK_H

// The lock for the library's own short critical sections, with the annotations of Clang's
// thread-safety analysis, which rejects the use of a guarded member without its lock. GCC's
// std::mutex has no such annotations.

#include <pthread.h>

#include <Bases/Export.h>

/// On a member: used only with the lock held.
#define VORN_GUARDED_BY(lock) VORN_BASES_LOCK_MARK(guarded_by(lock))

/// On a function: the caller holds the lock, before and after the call.
#define VORN_REQUIRES(lock) VORN_BASES_LOCK_MARK(requires_capability(lock))

/// On a function that Clang cannot follow; say why.
#define VORN_UNCHECKED VORN_BASES_LOCK_MARK(no_thread_safety_analysis)

namespace Vorn {

/// A mutex that no thread holds while it sleeps; only Monitor waits with it, which unlocks it.
class VORN_BASES_LOCK_MARK(capability("lock")) Lock {
public:
    Lock() = default;
    ~Lock() { pthread_mutex_destroy(&m_mutex); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    void Acquire() VORN_BASES_LOCK_MARK(acquire_capability()) { pthread_mutex_lock(&m_mutex); }
    void Release() VORN_BASES_LOCK_MARK(release_capability()) { pthread_mutex_unlock(&m_mutex); }

    /// For waits that unlock it meanwhile.
    pthread_mutex_t& Native() { return m_mutex; }

private:
    pthread_mutex_t m_mutex = PTHREAD_MUTEX_INITIALIZER;
};

/// Holds a Lock for the length of a scope; it can be paused.
class VORN_BASES_LOCK_MARK(scoped_lockable) Locker {
public:
    explicit Locker(Lock& lock) VORN_BASES_LOCK_MARK(acquire_capability(lock)) : m_lock(lock) {
        m_lock.Acquire();
    }
    ~Locker() VORN_BASES_LOCK_MARK(release_capability()) {
        if (m_bHeld)
            m_lock.Release();
    }
    Locker(const Locker&) = delete;
    Locker& operator=(const Locker&) = delete;

    /// Releases the lock until Resume. A thread that is cancelled meanwhile does not hold it.
    void Pause() VORN_UNCHECKED { // callers resume before they return
        m_bHeld = false;
        m_lock.Release();
    }

    /// Acquires the lock again after Pause.
    void Resume() VORN_UNCHECKED {
        m_lock.Acquire();
        m_bHeld = true;
    }

private:
    Lock& m_lock;
    bool m_bHeld = true;
};

} // namespace Vorn

#endif
