// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_FAULT_WAIT_HOOKS_H
#define VORN_BASES_TESTS_FAULT_WAIT_HOOKS_H

// What a test lets a thread do at the ends of its waits inside the library. Made of scripts, so all
// is forgotten after the test; but a script of a test's own for the same call takes its place. The
// simulated kernel of support/mac calls the same hooks.

#include <atomic>
#include <functional>

namespace VornTest {

/// A thread with a gate stays in its wait until the gate is open.
struct Gate {
    std::atomic<bool> reached{false};
    std::atomic<bool> open{false};
};

enum class OnWake { Nothing, BeCancelled, TimeOut };

/// Returns when a thread has come to the gate. It holds no lock there.
void WaitUntilReached(const Gate& gate);

/// Each is for the calling thread, until it ends.
void SetGate(Gate& gate);
void SetOnWake(OnWake what);

/// Each is run once by this thread: before its next lock; before its next unlock; when it is next
/// about to sleep; and when its next limited wait is over by time and has unlocked what it waited
/// on.
void RunBeforeLock(std::function<void()> action);
void RunBeforeUnlock(std::function<void()> action);
void RunBeforeSleep(std::function<void()> action);
void RunAfterTimeOut(std::function<void()> action);

/// The clock stands still for this thread until it falls asleep, so that even a short wait sleeps
/// when the thread gets no processor for a while.
void StopClockUntilSleep();

/// Whether this thread has a gate or something to do when it wakes.
bool IsWakeToCome();

/// Whether one of this thread's actions is still to come.
bool IsActionToCome();

/// The platform refuses to make what threads wait on as long as this lives.
class WaitsRefused {
public:
    WaitsRefused();
    ~WaitsRefused();
    WaitsRefused(const WaitsRefused&) = delete;
    WaitsRefused& operator=(const WaitsRefused&) = delete;

    static bool IsOn();
};

/// Called by a thread that is about to sleep.
void FallAsleep();

/// Called by a thread whose wait has just ended, with no lock held. Returns true when the wait is
/// to report that its time has run out.
bool Wake();

/// Called by a thread whose wait is over by time; its next unlock is of what it waited on.
void TimedOut();

} // namespace VornTest

#endif
