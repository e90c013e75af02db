// Unnamed semaphores for hosts whose kernel has none: a lock and a condition variable.
//
// Two decisions are kept apart. A post decides, at once and for good, which threads it releases:
// all that have joined the waiters. When each of them gets to run is the scheduler's matter; until
// then a time-out no longer changes anything for it.
#include <Bases/Impl/Port/KernelSem.h>

#include <ctime>
#include <utility>

#include <pthread.h>

namespace Vorn {

namespace {

class Waiter;

// Both semaphore objects are plain C types that waiting threads are cancelled on, so they are
// handled with the plain calls: the standard library's condition variable ends the process when a
// thread is cancelled in its wait.
struct Monitor {
    pthread_mutex_t lock;
    pthread_cond_t posted;
    bool bFree = false;          // a wait that nobody has taken yet
    Waiter* pWaiting = nullptr;  // one of the ring of threads that no post has released
    unsigned long nDiscards = 0; // how often a free wait was taken back

    bool Init();
    void Release();
    void Post();
};

class MonitorLock {
public:
    explicit MonitorLock(Monitor& monitor) : m_monitor(monitor) {
        pthread_mutex_lock(&m_monitor.lock);
    }
    ~MonitorLock() { pthread_mutex_unlock(&m_monitor.lock); }
    MonitorLock(const MonitorLock&) = delete;
    MonitorLock& operator=(const MonitorLock&) = delete;

private:
    Monitor& m_monitor;
};

// A thread's place among the waiters, on that thread's stack. It joins when made and leaves when
// destroyed, both with the monitor locked: a cancelled wait holds the lock again when its stack is
// unwound. Threads that one post has released stay linked in a ring of their own.
class Waiter {
public:
    explicit Waiter(Monitor& monitor) : m_monitor(monitor) {
        if (m_monitor.pWaiting != nullptr)
            LinkBefore(*m_monitor.pWaiting);
        else
            m_monitor.pWaiting = this;
    }

    ~Waiter() {
        const bool wasLast = m_pNext == this;
        LeaveRing();
        if (!m_bChosen || m_bPassed)
            return;
        // Cancelled after a post had released this thread. The post must not be lost with it,
        // unless it has served another thread or was taken back.
        if (wasLast && !m_bServed && m_nDiscards == m_monitor.nDiscards)
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

    void LeaveRing() {
        if (m_monitor.pWaiting == this)
            m_monitor.pWaiting = m_pNext == this ? nullptr : m_pNext;
        m_pPrevious->m_pNext = m_pNext;
        m_pNext->m_pPrevious = m_pPrevious;
    }

    Monitor& m_monitor;
    Waiter* m_pNext = this;
    Waiter* m_pPrevious = this;
    bool m_bChosen = false;        // a post has released this thread
    bool m_bPassed = false;        // and it has left with success
    bool m_bServed = false;        // another thread that the same post released has passed
    unsigned long m_nDiscards = 0; // the monitor's number when the post came
};

bool Monitor::Init() {
    if (pthread_mutex_init(&lock, nullptr) != 0)
        return false;

    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    const bool made = pthread_cond_init(&posted, &attributes) == 0;
    pthread_condattr_destroy(&attributes);
    if (!made)
        pthread_mutex_destroy(&lock);
    return made;
}

void Monitor::Release() {
    pthread_cond_destroy(&posted);
    pthread_mutex_destroy(&lock);
}

void Monitor::Post() {
    if (pWaiting == nullptr) {
        bFree = true;
        return;
    }
    Waiter::ChooseAll(pWaiting, nDiscards);
    pWaiting = nullptr;
    pthread_cond_broadcast(&posted);
}

timespec DeadlineIn(unsigned int seconds, unsigned int nanoseconds) {
    constexpr long nanosecondsPerSecond = 1000000000;
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += seconds;
    deadline.tv_nsec += nanoseconds;
    if (deadline.tv_nsec >= nanosecondsPerSecond) {
        deadline.tv_nsec -= nanosecondsPerSecond;
        ++deadline.tv_sec;
    }
    return deadline;
}

// Waits for a post, at the longest until the deadline (null: without limit).
bool Await(Monitor& monitor, const timespec* pDeadline, std::unique_lock<std::mutex>* pGuard) {
    const MonitorLock lock(monitor);
    if (std::exchange(monitor.bFree, false))
        return true;

    Waiter waiter(monitor);
    if (pGuard != nullptr)
        pGuard->unlock();

    int status = 0;
    while (!waiter.IsChosen() && status == 0) {
        status = pDeadline != nullptr
                     ? pthread_cond_timedwait(&monitor.posted, &monitor.lock, pDeadline)
                     : pthread_cond_wait(&monitor.posted, &monitor.lock);
    }
    if (!waiter.IsChosen())
        return false;
    waiter.Pass();
    return true;
}

} // namespace

struct KernelSem::State : Monitor {};

KernelSem::KernelSem() = default;

KernelSem::~KernelSem() { Destroy(); }

bool KernelSem::Create(int initialCount) {
    auto pState = std::make_unique<State>();
    if (!pState->Init())
        return false;
    pState->bFree = initialCount > 0;
    m_pState = std::move(pState);
    return true;
}

bool KernelSem::Destroy() {
    if (m_pState == nullptr)
        return false;
    m_pState->Release();
    m_pState.reset();
    return true;
}

KernelWait KernelSem::Wait(std::unique_lock<std::mutex>* pGuard) {
    pthread_testcancel(); // a wait that may block is a cancellation point also when it need not
    return Await(*m_pState, nullptr, pGuard) ? KernelWait::Success : KernelWait::TimedOut;
}

KernelWait KernelSem::TimedWait(unsigned int seconds, unsigned int nanoseconds,
                                std::unique_lock<std::mutex>* pGuard) {
    if (seconds == 0 && nanoseconds == 0) {
        const MonitorLock lock(*m_pState);
        return std::exchange(m_pState->bFree, false) ? KernelWait::Success : KernelWait::TimedOut;
    }
    pthread_testcancel();
    const timespec deadline = DeadlineIn(seconds, nanoseconds);
    return Await(*m_pState, &deadline, pGuard) ? KernelWait::Success : KernelWait::TimedOut;
}

void KernelSem::PostAll() {
    const MonitorLock lock(*m_pState);
    m_pState->Post();
}

void KernelSem::DiscardFree() {
    const MonitorLock lock(*m_pState);
    m_pState->bFree = false;
    ++m_pState->nDiscards;
}

} // namespace Vorn
