#include "fault/WaitHooks.h"

#include <cerrno>
#include <utility>

#include <pthread.h>
#include <sched.h>

#include "fault/Platform.h"

namespace VornTest {

namespace {

constexpr int NoTimeOut = -1;

std::atomic<bool> g_refused{false};
thread_local Gate* g_pGate = nullptr;
thread_local OnWake g_onWake = OnWake::Nothing;
thread_local std::function<void()> g_afterTimeOut;
thread_local std::function<void()> g_afterUnlock;
thread_local int g_locksToSkip = NoTimeOut;

// A wait returns with its lock held.
int EndWait(pthread_mutex_t* lock, int status) {
    ::pthread_mutex_unlock(lock);
    const bool timedOut = Wake();
    ::pthread_mutex_lock(lock);
    ::pthread_testcancel();
    if (timedOut || status == ETIMEDOUT)
        TimedOut(0);
    return timedOut ? ETIMEDOUT : status;
}

// The hooks are for all threads and look at what each has set. Scripts of one thread would be met
// again by a later thread that the system gave the same place.
void HookWaits() {
    Platform::pthread_cond_wait.OnAnyThread().Do([](pthread_cond_t* posted, pthread_mutex_t* lock) {
        return EndWait(lock, Platform::pthread_cond_wait.Real(posted, lock));
    });
    Platform::pthread_cond_timedwait.OnAnyThread().Do(
        [](pthread_cond_t* posted, pthread_mutex_t* lock, const timespec* deadline) {
            return EndWait(lock, Platform::pthread_cond_timedwait.Real(posted, lock, deadline));
        });
}

void BeforeLock() {
    if (g_locksToSkip == NoTimeOut || g_locksToSkip-- > 0)
        return;
    if (g_afterTimeOut)
        std::exchange(g_afterTimeOut, nullptr)();
}

} // namespace

void SetGate(Gate& gate) {
    g_pGate = &gate;
    HookWaits();
}

void SetOnWake(OnWake what) {
    g_onWake = what;
    HookWaits();
}

void RunAfterTimeOut(std::function<void()> action) {
    g_afterTimeOut = std::move(action);
    g_locksToSkip = NoTimeOut; // what an earlier wait has left
    HookWaits();
    Platform::pthread_mutex_lock.OnAnyThread().Do([](pthread_mutex_t* lock) {
        BeforeLock();
        return Platform::pthread_mutex_lock.Real(lock);
    });
}

void RunAfterUnlock(std::function<void()> action) {
    g_afterUnlock = std::move(action);
    Platform::pthread_mutex_unlock.OnAnyThread().Do([](pthread_mutex_t* lock) {
        const int status = Platform::pthread_mutex_unlock.Real(lock);
        if (g_afterUnlock)
            std::exchange(g_afterUnlock, nullptr)();
        return status;
    });
}

bool IsWakeToCome() { return g_pGate != nullptr || g_onWake != OnWake::Nothing; }

bool IsTimeOutToCome() { return g_afterTimeOut != nullptr; }

bool IsUnlockToCome() { return g_afterUnlock != nullptr; }

WaitsRefused::WaitsRefused() {
    g_refused = true;
    Platform::pthread_cond_init.OnAnyThread().Do(
        [](pthread_cond_t* posted, const pthread_condattr_t* attributes) {
            return IsOn() ? ENOMEM : Platform::pthread_cond_init.Real(posted, attributes);
        });
}

WaitsRefused::~WaitsRefused() { g_refused = false; }

bool WaitsRefused::IsOn() { return g_refused; }

bool Wake() {
    if (g_pGate != nullptr) {
        g_pGate->reached = true;
        while (!g_pGate->open)
            ::sched_yield();
    }
    if (g_onWake == OnWake::BeCancelled)
        ::pthread_cancel(pthread_self());
    return g_onWake == OnWake::TimeOut;
}

void TimedOut(int locks) { g_locksToSkip = locks; }

} // namespace VornTest
