#ifndef VORN_BASES_IMPL_MONITOR_H
#define VORN_BASES_IMPL_MONITOR_H

// Who waits on an unnamed semaphore, whom a post releases, and what a post leaves free. The same
// for every host; a host only puts threads to sleep and wakes them.

#include <Bases/Impl/Lock.h>
#include <Bases/Impl/Port/KernelSem.h>

namespace Vorn {

/// A post decides, at once and for good, which threads it releases: all that have joined the
/// waiters. When each of them runs is up to the scheduler; a time-out in between changes nothing
/// for it.
class Monitor {
public:
    /// Creates the monitor, with one wait free if `initialCount` is above 0. Returns false when the
    /// platform refuses. All other operations need a created monitor.
    bool Create(int initialCount);

    /// Waits without limit. When `pGuard` is not null and the thread has to block, it joins the
    /// waiters before it pauses the guard: a post by whoever locks that next releases it. The guard
    /// is held again on return. A cancellation point; a thread that is cancelled holds neither
    /// lock.
    KernelWait Wait(Locker* pGuard);

    /// The same for at most the given time, measured on the monotonic clock. With a time of zero it
    /// takes a free wait or returns TimedOut; it then never blocks and is no cancellation point.
    KernelWait TimedWait(unsigned int seconds, unsigned int nanoseconds, Locker* pGuard);

    /// Releases every thread that has joined the waiters. With nobody waiting, leaves one wait
    /// free; a second such post adds nothing.
    void PostAll();

    /// Takes back the wait that a post left free. Threads already released stay released.
    void DiscardFree();

private:
    class Waiter;

    bool TakeFree();
    KernelWait Await(const timespec* pDeadline, Locker* pGuard);
    void Post() VORN_REQUIRES(m_lock);

    Lock m_lock;
    KernelSem m_sem;
    bool m_bFree VORN_GUARDED_BY(m_lock) = false;          // a wait that nobody has taken yet
    Waiter* m_pWaiting VORN_GUARDED_BY(m_lock) = nullptr;  // one of the ring of those not released
    unsigned long m_nDiscards VORN_GUARDED_BY(m_lock) = 0; // how often a free wait was taken back
};

} // namespace Vorn

#endif
