// SPDX-License-Identifier: MIT
// The hooks at the ends of waits, as scripts of the calls in them.

#include "fault/WaitHooks.h"

#include <cerrno>
#include <ctime>
#include <optional>
#include <utility>

#include <pthread.h>
#include <sched.h>

#include "fault/Platform.h"

namespace VornTest {

namespace {

using Action = std::function<void()>;

std::atomic<bool> g_refused{false};
thread_local Gate* g_pGate = nullptr;
thread_local OnWake g_onWake = OnWake::Nothing;
thread_local bool g_timedOut = false;
thread_local std::optional<timespec> g_stoppedClock;
thread_local Action g_beforeLock;
thread_local Action g_beforeUnlock;
thread_local Action g_beforeSleep;
thread_local Action g_afterTimeOut;

void RunOnce(Action& action) {
    if (action)
        std::exchange(action, nullptr)();
}

// A wait returns with its lock held.
int EndWait(pthread_mutex_t* lock, int status) {
    ::pthread_mutex_unlock(lock);
    const bool timedOut = Wake();
    ::pthread_mutex_lock(lock);
    ::pthread_testcancel();
    if (timedOut || status == ETIMEDOUT)
        TimedOut();
    return timedOut ? ETIMEDOUT : status;
}

// The hooks are for all threads and look at what each has set. Scripts of one thread would be met
// again by a later thread that the system gave the same place.
void HookWaits() {
    Platform::pthread_cond_wait.OnAnyThread().Do([](pthread_cond_t* posted, pthread_mutex_t* lock) {
        FallAsleep();
        return EndWait(lock, Platform::pthread_cond_wait.Real(posted, lock));
    });
    Platform::pthread_cond_timedwait.OnAnyThread().Do(
        [](pthread_cond_t* posted, pthread_mutex_t* lock, const timespec* deadline) {
            FallAsleep();
            return EndWait(lock, Platform::pthread_cond_timedwait.Real(posted, lock, deadline));
        });
}

void HookUnlocks() {
    Platform::pthread_mutex_unlock.OnAnyThread().Do([](pthread_mutex_t* lock) {
        RunOnce(g_beforeUnlock);
        const int status = Platform::pthread_mutex_unlock.Real(lock);
        if (std::exchange(g_timedOut, false))
            RunOnce(g_afterTimeOut);
        return status;
    });
}

} // namespace

void WaitUntilReached(const Gate& gate) {
    while (!gate.reached)
        ::sched_yield();
}

void SetGate(Gate& gate) {
    g_pGate = &gate;
    HookWaits();
}

void SetOnWake(OnWake what) {
    g_onWake = what;
    HookWaits();
}

void RunBeforeLock(Action action) {
    g_beforeLock = std::move(action);
    Platform::pthread_mutex_lock.OnAnyThread().Do([](pthread_mutex_t* lock) {
        RunOnce(g_beforeLock);
        return Platform::pthread_mutex_lock.Real(lock);
    });
}

void RunBeforeUnlock(Action action) {
    g_beforeUnlock = std::move(action);
    HookUnlocks();
}

void RunBeforeSleep(Action action) {
    g_beforeSleep = std::move(action);
    HookWaits();
}

void RunAfterTimeOut(Action action) {
    g_afterTimeOut = std::move(action);
    g_timedOut = false; // what an earlier wait has left
    HookWaits();
    HookUnlocks();
}

void StopClockUntilSleep() {
    g_stoppedClock.emplace();
    Platform::clock_gettime.Real(CLOCK_MONOTONIC, &*g_stoppedClock);
    Platform::clock_gettime.OnAnyThread().Do([](clockid_t clock, timespec* now) {
        if (!g_stoppedClock)
            return Platform::clock_gettime.Real(clock, now);
        *now = *g_stoppedClock;
        return 0;
    });
    HookWaits();
}

bool IsWakeToCome() { return g_pGate != nullptr || g_onWake != OnWake::Nothing; }

bool IsActionToCome() { return g_beforeLock || g_beforeUnlock || g_beforeSleep || g_afterTimeOut; }

WaitsRefused::WaitsRefused() {
    g_refused = true;
    Platform::pthread_cond_init.OnAnyThread().Do(
        [](pthread_cond_t* posted, const pthread_condattr_t* attributes) {
            return IsOn() ? ENOMEM : Platform::pthread_cond_init.Real(posted, attributes);
        });
}

WaitsRefused::~WaitsRefused() { g_refused = false; }

bool WaitsRefused::IsOn() { return g_refused; }

void FallAsleep() {
    g_stoppedClock.reset();
    RunOnce(g_beforeSleep);
}

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

void TimedOut() { g_timedOut = true; }

} // namespace VornTest
