#ifndef VORN_BASES_IMPL_LOCK_H
#define VORN_BASES_IMPL_LOCK_H

// The lock of this library's own short sections, and marks by which Clang checks its use: a member
// that is marked with the lock which guards it cannot be touched without it. The standard library's
// mutex carries no such marks with GCC's headers.

#include <pthread.h>

#include <Bases/Export.h>

/// On a member: only with the lock held.
#define VORN_GUARDED_BY(lock) VORN_BASES_LOCK_MARK(guarded_by(lock))

/// On a function: the caller holds the lock, also when it returns.
#define VORN_REQUIRES(lock) VORN_BASES_LOCK_MARK(requires_capability(lock))

/// On a function that Clang cannot follow; say why.
#define VORN_UNCHECKED VORN_BASES_LOCK_MARK(no_thread_safety_analysis)

namespace Vorn {

/// Never held while its thread sleeps, other than by the means of Monitor.
class VORN_BASES_LOCK_MARK(capability("lock")) Lock {
public:
    Lock() = default;
    ~Lock() { pthread_mutex_destroy(&m_mutex); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    void Acquire() VORN_BASES_LOCK_MARK(acquire_capability()) { pthread_mutex_lock(&m_mutex); }
    void Release() VORN_BASES_LOCK_MARK(release_capability()) { pthread_mutex_unlock(&m_mutex); }

    /// For waits that unlock it while they last.
    pthread_mutex_t& Native() { return m_mutex; }

private:
    pthread_mutex_t m_mutex = PTHREAD_MUTEX_INITIALIZER;
};

/// Holds a Lock for the length of a scope, with pauses.
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

    /// Begins a pause. A thread that is cancelled in it does not hold the lock.
    void Pause() VORN_UNCHECKED { // callers have it held again when they return
        m_bHeld = false;
        m_lock.Release();
    }

    /// Ends the pause, if there is one.
    void Resume() VORN_UNCHECKED {
        if (!m_bHeld)
            m_lock.Acquire();
        m_bHeld = true;
    }

private:
    Lock& m_lock;
    bool m_bHeld = true;
};

} // namespace Vorn

#endif
