#ifndef VORN_BASES_IMPL_SEM_MAC_H
#define VORN_BASES_IMPL_SEM_MAC_H

// The semaphore on which mutexes and events are built, and the event itself. One source serves all
// hosts, whose differences are hidden by Monitor.

#include <memory>

#include <Bases/Impl/Lock.h>

namespace Vorn {

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

    /// The same for a caller that holds `guard`, which is paused while the thread is blocked. The
    /// thread joins the semaphore's waiters first, so that no post made under the guard is missed.
    bool WaitJoined(unsigned int timeoutMs, Locker& guard);

    /// Releases every blocked waiter (unnamed) or one (named).
    void Post();

    /// Drops a count that an unnamed post left free because nobody was waiting. The reported count
    /// stays as it is.
    void DiscardFree();

    bool IsCreated() const;

    /// Stores the count: the library's own bookkeeping for an unnamed semaphore, the platform's for
    /// a named one. Returns false, with `count` unchanged, when there is none.
    bool GetSemCounts(int& count);

private:
    std::unique_ptr<SemImpl> m_pImpl;
};

/// An event: a flag of this object and one semaphore to block on.
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
    bool ResetLocked() VORN_REQUIRES(m_flagLock);

    int m_bSignaled VORN_GUARDED_BY(m_flagLock);
    int m_bManualReset VORN_GUARDED_BY(m_flagLock);
    std::unique_ptr<VornSemaphore> m_pSem;
    Lock m_flagLock; // never held while blocked
};

} // namespace Vorn

#endif
