// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_SEM_MAC_H
#define VORN_BASES_IMPL_SEM_MAC_H

// The semaphore on which mutexes and events are built, and the event itself. One source serves all
// hosts, whose differences are hidden by Monitor.

#include <memory>

#include <Bases/Impl/Lock.h>

namespace Vorn {

class Monitor;

/// A counting semaphore, named (shared between processes) or unnamed (of this process).
///
/// Create and Destroy belong to one thread while no other thread uses the object; the other
/// operations may be called from any thread.
class VornSemaphore {
public:
    enum SemInitState : int { SemLocked = 0, SemFree = 1 };

    class SemImpl;
    class SemUnnamed;
    class SemNamed;

    VornSemaphore();
    virtual ~VornSemaphore();
    VornSemaphore(const VornSemaphore&) = delete;
    VornSemaphore& operator=(const VornSemaphore&) = delete;

    /// Creates the platform's semaphore. Returns false when there is one already or the platform
    /// refuses. Note: after a refusal the semaphore counts as created until Destroy.
    bool Create(SemInitState state, const char* name, int flag);

    /// Frees the semaphore, if there is one; a named one loses its name. Returns true.
    bool Destroy();

    /// Takes a count: WaitForever waits without limit, TryOnce tries once, otherwise waits at most
    /// `timeoutMs` milliseconds. Returns true when a count was taken.
    bool Wait(unsigned int timeoutMs);

    /// Releases every blocked waiter (unnamed) or one (named).
    void Post();

    bool IsCreated() const;

    /// Stores the count: the library's own bookkeeping for an unnamed semaphore, the platform's for
    /// a named one. Returns false, with `count` unchanged, when there is none.
    bool GetSemCounts(int& count);

    /// Returns the monitor of an unnamed semaphore that was created; null otherwise.
    Monitor* GetMonitor() const;

private:
    std::unique_ptr<SemImpl> m_pImpl;
};

/// An event: a flag and one semaphore to block on. While there is an unnamed semaphore, its monitor
/// is the event and has the flag. Otherwise the flag is this object's own, with a lock.
class VornEvent {
public:
    VornEvent();
    ~VornEvent();
    VornEvent(const VornEvent&) = delete;
    VornEvent& operator=(const VornEvent&) = delete;

    bool Create(int bManualReset, int bInitialState, const char* name);
    bool Open(const char* name);
    bool Set();
    bool Reset();
    bool Wait(unsigned int timeoutMs);
    void Close();
    bool IsOpened() const;
    VornSemaphore* GetSemaphore() const;

private:
    // Out of line, so that a wait that the monitor answers does not pay for this one's stack frame.
    [[gnu::noinline]] bool WaitUnderLock(unsigned int timeoutMs);
    bool ResetLocked() VORN_REQUIRES(m_flagLock);
    bool WaitUnlocked(unsigned int timeoutMs, Locker& lock) VORN_REQUIRES(m_flagLock);
    void LendFlag() VORN_REQUIRES(m_flagLock);
    void TakeFlagBack() VORN_REQUIRES(m_flagLock);

    int m_bSignaled VORN_GUARDED_BY(m_flagLock);
    int m_bManualReset;
    std::unique_ptr<VornSemaphore> m_pSem;
    Lock m_flagLock;               // never held while blocked
    Monitor* m_pMonitor = nullptr; // has the flag, unless null
};

} // namespace Vorn

#endif
