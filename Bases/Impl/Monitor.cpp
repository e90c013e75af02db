// SPDX-License-Identifier: MIT
// Monitor: the steps from word to word, and the ring of the threads that wait.

#include <Bases/Impl/Monitor.h>

#include <chrono>
#include <ctime>
#include <limits>

#include <pthread.h>

#include <Bases/Impl/Port/Processors.h>
#include <Bases/Impl/ThreadSanitizer.h>
#include <Bases/Thread.h>

namespace Vorn {

namespace {

// The word: the reported count in its upper half, and these bits.
using Word = std::uint64_t;
constexpr Word FreeBit = 1;    // a wait that nobody has taken yet
constexpr Word SetBit = 2;     // the event is set
constexpr Word WaitersBit = 4; // there are waiters; never with a free wait
constexpr unsigned int CountShift = 32;
constexpr Word OneCount = Word{1} << CountShift;

constexpr int CountOf(Word word) { return static_cast<int>(word >> CountShift); }

constexpr Word Counted(Word word) {
    return CountOf(word) != std::numeric_limits<int>::min() ? word - OneCount : word;
}

constexpr Word JoinedAndCounted(Word word) { return Counted(word) | WaitersBit; }

constexpr Word Unchanged(Word word) { return word; }

// A reset takes what the count shows, and also what it does not: the wait that a post has left.
constexpr Word Cleared(Word word) {
    const Word rest = word & ~(FreeBit | SetBit);
    return CountOf(rest) > 0 ? rest % OneCount : rest;
}

constexpr bool IsPassable(Word word, Monitor::Kind kind) {
    return (word & FreeBit) != 0 || (kind != Monitor::Kind::Semaphore && (word & SetBit) != 0);
}

// After a wait that passes. By the flag it passes without counting as an attempt.
constexpr Word Passed(Word word, Monitor::Kind kind) {
    const bool byFlag = kind != Monitor::Kind::Semaphore && (word & SetBit) != 0;
    const Word passed = byFlag ? word : Counted(word) & ~FreeBit;
    return kind == Monitor::Kind::AutoReset ? Cleared(passed) : passed;
}

constexpr bool IsForWaiters(Word word, Word flag) {
    return (word & (WaitersBit | flag)) == WaitersBit;
}

// After a post that has no waiters to release: one that raises the flag changes nothing when it is
// up.
constexpr Word Posted(Word word, Word flag) {
    return (word & flag) != 0 ? word : (word & SetBit) | flag | FreeBit;
}

// Tells the processor that this thread waits for another, which may share its core.
void Pause() {
#if defined(__x86_64__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    __asm__ volatile("yield");
#endif
}

std::chrono::nanoseconds Now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

// To sleep and to be woken again takes about as long.
constexpr std::chrono::microseconds LongestSpin(20);

// Returns false when there is nothing to pass by until the longest spin is over. The looks are
// counted only in case the clock stands still: no processor takes so many in that time.
bool SpinUntilPassable(const std::atomic<Word>& word, Monitor::Kind kind) {
    constexpr int LooksPerClock = 32;
    constexpr int MostLooks = 1024 * LooksPerClock;
    const std::chrono::nanoseconds end = Now() + LongestSpin;
    for (int look = 1; look <= MostLooks; ++look) {
        if (IsPassable(word.load(std::memory_order_acquire), kind))
            return true;
        if (look % LooksPerClock == 0 && Now() >= end)
            return false;
        Pause();
    }
    return false;
}

timespec DeadlineIn(unsigned int ms) {
    constexpr long NanosecondsPerSecond = 1000000000;
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += ms / 1000;
    deadline.tv_nsec += ms % 1000 * 1000000L;
    if (deadline.tv_nsec >= NanosecondsPerSecond) {
        deadline.tv_nsec -= NanosecondsPerSecond;
        ++deadline.tv_sec;
    }
    return deadline;
}

} // namespace

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
        if (!m_bChosen && wasLast)
            m_monitor.m_word.fetch_and(~WaitersBit, std::memory_order_acq_rel);
        // Cancelled after a post had released this thread. That post must not be lost, unless
        // another thread has used it.
        if (m_bChosen && !m_bPassed && wasLast && !m_bServed)
            m_monitor.PassOn();
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
    static void ChooseAll(Waiter* pFirst, bool served) {
        Waiter* pWaiter = pFirst;
        do {
            pWaiter->m_bChosen = true;
            pWaiter->m_bServed = served;
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
    bool m_bChosen = false; // a post has released this thread
    bool m_bPassed = false; // and it has returned success
    bool m_bServed = false; // that post is not lost with this thread
};

bool Monitor::Create(int initialCount) {
    if (!m_sem.Create(initialCount))
        return false;
    const Word count = static_cast<unsigned int>(initialCount);
    m_word.store(count << CountShift | (initialCount > 0 ? FreeBit : 0));
    return true;
}

bool Monitor::Wait(unsigned int timeoutMs, Kind kind) {
    if (timeoutMs == TryOnce)
        return Attempt(kind, Counted, Cancellation::Ignored);
    return Attempt(kind, Unchanged, Cancellation::Obeyed) || LookOn(kind) || Block(timeoutMs, kind);
}

void Monitor::Post() { Post(0); }

void Monitor::Set() { Post(SetBit); }

void Monitor::RaiseFlag() { m_word.fetch_or(SetBit, std::memory_order_acq_rel); }

void Monitor::Reset() {
    Word word = m_word.load(std::memory_order_acquire);
    while (Cleared(word) != word && !Replace(word, Cleared(word))) { // GCOVR_EXCL_BR_LINE race
    }
}

bool Monitor::IsSet() const { return (m_word.load(std::memory_order_acquire) & SetBit) != 0; }

int Monitor::Count() const { return CountOf(m_word.load(std::memory_order_acquire)); }

// Passes if it can, and otherwise leaves the word as `refuse` says; either is one step. Whether the
// thread is cancelled is asked after the look at the word: it must not pass by what has come since
// its cancellation. It still may if that is what it had seen, and another thread took meanwhile.
template <typename Refuse>
bool Monitor::Attempt(Kind kind, Refuse refuse, Cancellation cancellation) {
    Word word = m_word.load(std::memory_order_acquire);
    for (;;) {
        const bool passes = IsPassable(word, kind);
        if (passes && cancellation == Cancellation::Obeyed)
            pthread_testcancel();
        const Word next = passes ? Passed(word, kind) : refuse(word);
        if (next != word && !Replace(word, next))
            continue;
        if (passes)
            TellAcquire(&m_word);
        return passes;
    }
}

// On failure `word` is what was found instead, or the same again.
bool Monitor::Replace(Word& word, Word next) {
    return m_word.compare_exchange_weak(word, next, std::memory_order_acq_rel,
                                        std::memory_order_acquire);
}

// The word is written also when nothing changes: what the caller has done before must be seen by
// the thread that takes the earlier post.
void Monitor::Post(Word flag) {
    TellRelease(&m_word);
    do {
        Word word = m_word.load(std::memory_order_relaxed);
        while (!IsForWaiters(word, flag))
            if (Replace(word, Posted(word, flag)))
                return;
    } while (!PostToWaiters(flag));
}

// Returns false when the waiters are gone, or a Set by another thread has come first.
bool Monitor::PostToWaiters(Word flag) {
    const Locker lock(m_lock);
    Word word = m_word.load(std::memory_order_relaxed);
    do {
        if (!IsForWaiters(word, flag))
            return false;
    } while (!Replace(word, (word & SetBit) | flag)); // GCOVR_EXCL_BR_LINE race
    // A raised flag is there for whoever comes when a chosen thread is cancelled.
    ChooseWaiters(flag != 0);
    return true;
}

bool Monitor::LookOn(Kind kind) {
    if (!HasSeveralProcessors() || !m_guess.ShouldSpin())
        return false;
    const bool passes = SpinUntilPassable(m_word, kind) &&
                        Attempt(kind, Unchanged, Cancellation::Obeyed); // GCOVR_EXCL_BR_LINE race
    if (passes)
        m_guess.Paid();
    else
        m_guess.WasInVain();
    return passes;
}

bool Monitor::Block(unsigned int timeoutMs, Kind kind) {
    pthread_testcancel(); // before it counts
    const Locker lock(m_lock);
    if (Attempt(kind, JoinedAndCounted, Cancellation::Obeyed))
        return true;

    Waiter waiter(*this);
    if (timeoutMs == WaitForever) {
        Sleep(waiter, nullptr);
    } else {
        // A sleep that the kernel aborted is tried once more, with the full time again.
        timespec deadline = DeadlineIn(timeoutMs);
        if (Sleep(waiter, &deadline) == KernelWait::Aborted) {
            deadline = DeadlineIn(timeoutMs);
            Sleep(waiter, &deadline); // GCOVR_EXCL_BR_LINE unwinding
        }
    }
    if (!waiter.IsChosen())
        return false; // and the event is not set: a Set would have chosen this thread
    waiter.Pass();
    if (kind == Kind::AutoReset)
        Reset();
    return true;
}

KernelWait Monitor::Sleep(const Waiter& waiter, const timespec* pDeadline) {
    KernelWait result = KernelWait::Success;
    while (!waiter.IsChosen() && result == KernelWait::Success)
        result = m_sem.Wait(m_lock, pDeadline);
    return result;
}

void Monitor::ChooseWaiters(bool served) {
    Waiter::ChooseAll(m_pWaiting, served);
    m_pWaiting = nullptr;
    m_sem.PostAll();
}

// Posts anew in place of a post that was lost with its thread, without touching the count.
void Monitor::PassOn() {
    if (m_pWaiting == nullptr) {
        m_word.fetch_or(FreeBit, std::memory_order_acq_rel);
        return;
    }
    m_word.fetch_and(~WaitersBit, std::memory_order_acq_rel);
    ChooseWaiters(false);
}

} // namespace Vorn
