// SPDX-License-Identifier: MIT
// Thread, one body on one POSIX thread, and ThreadHandler, which supplies the body.

#include <Bases/Thread.h>

#include <atomic>
#include <cstdio>
#include <new>
#include <utility>

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <Bases/Impl/CancelShield.h>
#include <Bases/Impl/Port/ThreadIdentity.h>
#include <Bases/Impl/Sem_mac.h>

namespace Vorn {

namespace {

constexpr int DefaultPriority = 15;
constexpr useconds_t StartPauseUs = 100;

bool CreateOrReport(VornEvent& event, const char* failure) {
    if (event.Create(EventKind::ManualReset, EventState::NotSet, nullptr))
        return true;
    std::puts(failure);
    return false;
}

// Sets the exit event however the start routine is left: nobody may wait for ever for a body that
// ends its thread with pthread_exit or is cancelled through the handle.
//
// A forced stop no longer waits when it cancels, so the event is not set for it. Nor could it be:
// from a cancellation inside a blocking call on, the thread sanitizer ignores the thread's locks
// (seen with that of GCC 12), and would report setting the event as a race.
class ExitSignal {
public:
    ExitSignal(VornEvent& event, const std::atomic<bool>& forced)
        : m_event(event), m_bForced(forced) {}
    ~ExitSignal() {
        if (!m_bForced)
            m_event.Set();
    }
    ExitSignal(const ExitSignal&) = delete;
    ExitSignal& operator=(const ExitSignal&) = delete;

private:
    VornEvent& m_event;
    const std::atomic<bool>& m_bForced;
};

} // namespace

// Owned by the new thread once that exists.
struct Thread::StartRecord {
    VornEvent& exitEvent;
    VornEvent* pSuspendEvent; // null: the body is not held
    Thread& thread;
};

ThreadHandler::ThreadHandler() = default;

ThreadHandler::~ThreadHandler() = default;

Thread::Thread()
    : m_pHandler(nullptr), m_pStopEvent(std::make_unique<VornEvent>()),
      m_pExitEvent(std::make_unique<VornEvent>()), m_pSuspendEvent(std::make_unique<VornEvent>()),
      m_nReserved(0), m_nPriority(DefaultPriority), m_bJoinable(false), m_bForced(false) {}

Thread::~Thread() {
    const CancelShield shield;
    Thread::StopThread(WaitForever, ThreadStop::Cancel);
}

void Thread::StopThread(unsigned int timeoutMs, int bForce) {
    if (m_pThread == nullptr)
        return;
    m_pStopEvent->Set();
    m_pSuspendEvent->Set(); // lets a body at the gate run and see the request
    if (m_bJoinable && !JoinThread(timeoutMs, bForce != 0))
        return;
    CloseEvents();
    m_pThread.reset();
}

int Thread::OnPreThreadStart() {
    return m_pHandler != nullptr ? m_pHandler->OnPreThreadStart(this) : 1;
}

int Thread::OnThreadEntry() { return m_pHandler != nullptr ? m_pHandler->OnThreadEntry(this) : 0; }

void Thread::SetThreadHandler(ThreadHandler* pHandler) { m_pHandler = pHandler; }

bool Thread::StartThread(int bSuspended) {
    if (m_pThread != nullptr)
        StopThread(WaitForever, ThreadStop::Cancel);
    if (OnPreThreadStart() == 0)
        return false;
    try {
        if (!CreateEvents() || !CreateThread(bSuspended != 0))
            return false;
    } catch (const std::bad_alloc&) { // GCOVR_EXCL_BR_LINE cancelled
        CloseEvents();                // any left open would fail every later start
        throw;
    }
    usleep(StartPauseUs); // lets the new thread begin
    return true;
}

void* Thread::ThreadEntryProc(void* pArgs) {
    if (pArgs == nullptr)
        return nullptr;
    // Freed by a cancellation too, which unwinds this stack.
    const std::unique_ptr<const StartRecord> pRecord(static_cast<StartRecord*>(pArgs));
    const ExitSignal exit(pRecord->exitEvent, pRecord->thread.m_bForced);

    if (pRecord->pSuspendEvent != nullptr)
        pRecord->pSuspendEvent->Wait(WaitForever);
    pRecord->exitEvent.Wait(TryOnce); // has no effect on a fresh event; kept deliberately
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
    pRecord->thread.OnThreadEntry();
    return nullptr;
}

bool Thread::IsStopThread(unsigned int timeoutMs) const {
    return m_pThread == nullptr || m_pStopEvent->Wait(timeoutMs);
}

bool Thread::StopThreadEvent() {
    if (m_pThread == nullptr)
        return false;
    return m_pStopEvent->Set();
}

bool Thread::ResumeThread() {
    if (m_pThread == nullptr)
        return false;
    m_pSuspendEvent->Set();
    return true;
}

bool Thread::IsThreadRunning() const { return m_pThread != nullptr; }

// The product wraps at 32 bits, which is all that usleep takes.
void Thread::SleepThread(unsigned int ms) { usleep(ms * 1000); }

bool Thread::YieldThread() { return sched_yield() == 0; }

int Thread::GetThreadPriority() const { return m_nPriority; }

void Thread::SetThreadPriority(int nPriority) { m_nPriority = nPriority; }

pthread_t* Thread::GetHandle() const { return m_pThread.get(); }

VornEvent* Thread::GetStopThreadEvent() const { return m_pStopEvent.get(); }

int Thread::GetThreadId() const {
    if (m_pThread == nullptr || !m_bJoinable)
        return 0;
    return static_cast<int>(static_cast<unsigned int>(ThreadIdentity(*m_pThread)));
}

bool Thread::operator==(const Thread& other) const { return m_pThread.get() == other.GetHandle(); }

bool Thread::operator!=(const Thread& other) const { return !(*this == other); }

// Callers rely on what a failure leaves open: the event that failed, except the exit event, and
// after a failed exit event the stop event. Every later start then fails at the event left open.
bool Thread::CreateEvents() {
    if (!CreateOrReport(*m_pStopEvent, "[Thread] Create stop event failure.\r"))
        return false;
    if (!CreateOrReport(*m_pExitEvent, "[Thread] Create exit event failure.\r")) {
        m_pExitEvent->Close();
        return false;
    }
    if (!CreateOrReport(*m_pSuspendEvent, "[Thread] Create suspend event failure.\r")) {
        m_pStopEvent->Close();
        m_pExitEvent->Close();
        return false;
    }
    return true;
}

// The platform reports errors as positive numbers, and only a negative one counts as a failure:
// callers rely on a start that came this far succeeding. Nothing may then wait for or join the
// thread that never existed.
bool Thread::CreateThread(bool suspended) {
    auto pThread = std::make_unique<pthread_t>();
    auto pRecord = std::make_unique<StartRecord>(
        StartRecord{*m_pExitEvent, suspended ? m_pSuspendEvent.get() : nullptr, *this});

    // Set before pthread_create, so that the body sees a running thread; after the allocations, so
    // that bad_alloc leaves none. Corrected only when there is no body.
    m_pThread = std::move(pThread);
    m_bJoinable = true;
    m_bForced = false;

    const int result = pthread_create(m_pThread.get(), nullptr, ThreadEntryProc, pRecord.get());
    if (result == 0) {
        static_cast<void>(pRecord.release()); // owned by the new thread now
        return true;
    }
    m_bJoinable = false;
    if (result > 0)
        return true;
    std::puts("[Thread] Create thread failure.\r");
    CloseEvents();
    m_pThread.reset();
    return false;
}

// Returns false when the thread is left running.
bool Thread::JoinThread(unsigned int timeoutMs, bool force) {
    const bool ended = m_pExitEvent->Wait(timeoutMs);
    if (!ended && !force)
        return false;
    if (pthread_equal(pthread_self(), *m_pThread) != 0) {
        // A body that forces its own stop ends here, unless it has disabled its cancellation.
        pthread_cancel(*m_pThread);
        pthread_testcancel();
        return false;
    }
    // If the caller were cancelled from here on, nobody would know whether the thread is joined.
    const CancelShield shield;
    if (!ended) {
        m_bForced = true;
        pthread_cancel(*m_pThread);
    }
    pthread_join(*m_pThread, nullptr);
    return true;
}

void Thread::CloseEvents() {
    m_pStopEvent->Close();
    m_pExitEvent->Close();
    m_pSuspendEvent->Close();
}

} // namespace Vorn
