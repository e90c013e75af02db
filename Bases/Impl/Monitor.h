// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_MONITOR_H
#define VORN_BASES_IMPL_MONITOR_H

// The state of an unnamed semaphore, mutex or event, and the threads that wait on it. The same for
// every host; a host only puts threads to sleep and wakes them.

#include <atomic>
#include <cstdint>

#include <Bases/Impl/Lock.h>
#include <Bases/Impl/Port/KernelSem.h>
#include <Bases/Impl/SpinGuess.h>

namespace Vorn {

/// All that decides is in one atomic word: the reported count, whether a wait is free, whether the
/// event is set, and whether there are waiters. Every operation replaces the whole word in one
/// step, what it has seen by what follows from it, so that no two operations mix. As long as no
/// thread sleeps, this is all they do.
///
/// The lock is for sleeping and waking:
/// - A thread that has to block joins the waiters with the lock held, by a step that fails when
///   there is something to pass by. So a post either comes before it and is seen, or finds the
///   thread among the waiters.
/// - A post that sees waiters takes the lock and looks again. With the lock held it replaces the
///   word and releases all of them, at once and for good. When each of them runs is up to the
///   scheduler; neither a reset nor a time-out in between changes anything for it.
///
/// Before a thread blocks, it looks on for some microseconds if that has paid lately: what comes
/// meanwhile costs neither thread a call of the kernel. It has not joined the waiters yet, so that
/// this is as if it had come a little later; its time limit begins later, too.
///
/// A thread may destroy the object when its wait has returned. So a post does nothing more after
/// the step that lets threads pass, or after its unlock: threads that it has released need the lock
/// to return. Others need none once the event is set, and therefore a post that finds the waiters
/// gone when it has the lock gives it back and starts again.
class Monitor {
public:
    enum class Kind { Semaphore, ManualReset, AutoReset };

    /// Creates the monitor, not set, with one wait free if `initialCount` is above 0. Returns false
    /// when the platform refuses. All other operations need a created monitor.
    bool Create(int initialCount);

    /// Waits for a free wait, which it takes, or, unless the kind is Semaphore, for the event to be
    /// set. Returns true when it has passed. Any wait but TryOnce is a cancellation point. A thread
    /// that has found nothing to pass by and is then cancelled does not pass by what comes later. A
    /// cancelled thread does not hold the lock, and a post that had released it is not lost.
    bool Wait(unsigned int timeoutMs, Kind kind);

    /// Releases every thread that has joined the waiters. With nobody waiting, leaves one wait
    /// free; a second such post adds nothing.
    void Post();

    /// Sets the event, which releases as Post does. Does nothing when it is set.
    void Set();

    /// Sets the event without a post. Only before others use it.
    void RaiseFlag();

    /// Resets the event and takes back a wait that a post left free. Threads already released stay
    /// released.
    void Reset();

    bool IsSet() const;

    /// The reported count: down with every attempt to wait, 0 with every post. At the smallest int
    /// it stays.
    int Count() const;

private:
    class Waiter;
    enum class Cancellation { Ignored, Obeyed };
    using Word = std::uint64_t;

    template <typename Refuse>
    bool Attempt(Kind kind, Refuse refuse, Cancellation cancellation);
    bool Replace(Word& word, Word next);
    void Post(Word flag);
    bool PostToWaiters(Word flag);
    bool LookOn(Kind kind);
    bool Block(unsigned int timeoutMs, Kind kind);
    KernelWait Sleep(const Waiter& waiter, const timespec* pDeadline) VORN_REQUIRES(m_lock);
    void ChooseWaiters(bool served) VORN_REQUIRES(m_lock);
    void PassOn() VORN_REQUIRES(m_lock);

    std::atomic<Word> m_word{0};
    SpinGuess m_guess;
    Lock m_lock;
    KernelSem m_sem;
    Waiter* m_pWaiting VORN_GUARDED_BY(m_lock) = nullptr; // one of the ring of those not released
};

} // namespace Vorn

#endif
