// The ring of waiting threads, and what a post, a time-out and a cancellation do to it.

#include <Bases/Impl/Monitor.h>

#include <ctime>
#include <utility>

#include <pthread.h>

namespace Vorn {

// A thread's entry among the waiters, on that thread's stack. It joins on construction and leaves
// on destruction, both with the monitor locked: a cancelled wait holds the lock again when its
// stack is unwound. Threads that one post has released stay linked in a ring of their own.
class Monitor::Waiter {
public:
    explicit Waiter(Monitor& monitor) VORN_REQUIRES(monitor.m_lock) : m_monitor(monitor) {
        if (m_monitor.m_pWaiting != nullptr)
            LinkBefore(*m_monitor.m_pWaiting);
        else
            m_monitor.m_pWaiting = this;
    }

    ~Waiter() {
        const bool wasLast = m_pNext == this;
        LeaveRing();
        if (!m_bChosen || m_bPassed)
            return;
        // Cancelled after a post had released this thread. That post must not be lost, unless
        // another thread has used it or it was taken back.
        if (wasLast && !m_bServed && m_nDiscards == m_monitor.m_nDiscards)
            m_monitor.Post();
    }

    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;

    bool IsChosen() const { return m_bChosen; }

    void Pass() {
        m_bPassed = true;
        if (m_bServed)
            return;
        for (Waiter* pOther = m_pNext; pOther != this; pOther = pOther->m_pNext)
            pOther->m_bServed = true;
    }

    // Releases the whole ring that `pFirst` is in.
    static void ChooseAll(Waiter* pFirst, unsigned long nDiscards) {
        Waiter* pWaiter = pFirst;
        do {
            pWaiter->m_bChosen = true;
            pWaiter->m_nDiscards = nDiscards;
            pWaiter = pWaiter->m_pNext;
        } while (pWaiter != pFirst);
    }

private:
    void LinkBefore(Waiter& next) {
        m_pNext = &next;
        m_pPrevious = next.m_pPrevious;
        m_pPrevious->m_pNext = this;
        next.m_pPrevious = this;
    }

    void LeaveRing() VORN_REQUIRES(m_monitor.m_lock) {
        if (m_monitor.m_pWaiting == this)
            m_monitor.m_pWaiting = m_pNext == this ? nullptr : m_pNext;
        m_pPrevious->m_pNext = m_pNext;
        m_pNext->m_pPrevious = m_pPrevious;
    }

    Monitor& m_monitor;
    Waiter* m_pNext = this;
    Waiter* m_pPrevious = this;
    bool m_bChosen = false;        // a post has released this thread
    bool m_bPassed = false;        // and it has returned success
    bool m_bServed = false;        // another thread that the same post released has passed
    unsigned long m_nDiscards = 0; // the monitor's number at the time of the post
};

namespace {

timespec DeadlineIn(unsigned int seconds, unsigned int nanoseconds) {
    constexpr long NanosecondsPerSecond = 1000000000;
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += seconds;
    deadline.tv_nsec += nanoseconds;
    if (deadline.tv_nsec >= NanosecondsPerSecond) {
        deadline.tv_nsec -= NanosecondsPerSecond;
        ++deadline.tv_sec;
    }
    return deadline;
}

} // namespace

bool Monitor::Create(int initialCount) {
    if (!m_sem.Create(initialCount))
        return false;
    const Locker lock(m_lock);
    m_bFree = initialCount > 0;
    return true;
}

KernelWait Monitor::Wait(Locker* pGuard) {
    pthread_testcancel(); // a wait that may block is a cancellation point even if it does not
    return Await(nullptr, pGuard);
}

KernelWait Monitor::TimedWait(unsigned int seconds, unsigned int nanoseconds, Locker* pGuard) {
    if (seconds == 0 && nanoseconds == 0)
        return TakeFree() ? KernelWait::Success : KernelWait::TimedOut;
    pthread_testcancel();
    const timespec deadline = DeadlineIn(seconds, nanoseconds);
    return Await(&deadline, pGuard);
}

void Monitor::PostAll() {
    const Locker lock(m_lock);
    Post();
}

void Monitor::DiscardFree() {
    const Locker lock(m_lock);
    m_bFree = false;
    ++m_nDiscards;
}

bool Monitor::TakeFree() {
    const Locker lock(m_lock);
    return std::exchange(m_bFree, false);
}

// Sleeps until a post has released this thread, or until the deadline (null: none). The guard is
// locked again only after the monitor has been unlocked: whoever holds the guard may be about to
// post.
KernelWait Monitor::Await(const timespec* pDeadline, Locker* pGuard) {
    KernelWait result = KernelWait::Success;
    {
        const Locker lock(m_lock);
        if (std::exchange(m_bFree, false))
            return result;

        Waiter waiter(*this);
        if (pGuard != nullptr)
            pGuard->Pause();
        while (!waiter.IsChosen() && result == KernelWait::Success)
            result = m_sem.Wait(m_lock, pDeadline);
        if (waiter.IsChosen()) {
            waiter.Pass();
            result = KernelWait::Success;
        }
    }
    if (pGuard != nullptr)
        pGuard->Resume();
    return result;
}

void Monitor::Post() {
    if (m_pWaiting == nullptr) {
        m_bFree = true;
        return;
    }
    Waiter::ChooseAll(m_pWaiting, m_nDiscards);
    m_pWaiting = nullptr;
    m_sem.PostAll();
}

} // namespace Vorn
