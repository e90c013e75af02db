// SPDX-License-Identifier: MIT
// Threads and the task pool.
#include <array>
#include <atomic>

#include <Bases/Thread.h>

#include "sweep/Sweep.h"

namespace VornTest::Sweep {

namespace {

using Vorn::Event;
using Vorn::Thread;
using Vorn::ThreadTaskPool;
using Vorn::WaitForever;
namespace EventKind = Vorn::EventKind;
namespace EventState = Vorn::EventState;
namespace ThreadStart = Vorn::ThreadStart;
namespace ThreadStop = Vorn::ThreadStop;

// A body that runs until its stop is requested, or for ever.
class Body : public Vorn::ThreadHandler {
public:
    explicit Body(bool isObedient = true) : m_isObedient(isObedient) {}

    int OnPreThreadStart(Thread*) override { return 1; }

    int OnThreadEntry(Thread* pThread) override {
        ++runs;
        while (!pThread->IsStopThread(1) || !m_isObedient)
            pThread->YieldThread();
        return 0;
    }

    std::atomic<int> runs{0};

private:
    const bool m_isObedient;
};

// A wait that fails early leaves the thread running, with its stop requested.
void TryToStop(Trial& trial, Thread& thread) {
    trial.Try([&] { thread.StopThread(WaitForever, ThreadStop::LeaveRunning); });
    trial.Require(!thread.IsThreadRunning() || trial.MetFault(), "has stopped");
    thread.StopThread(WaitForever, ThreadStop::LeaveRunning);
    trial.Require(!thread.IsThreadRunning(), "stops then");
}

void RequireStarted(Trial& trial, Thread& thread, bool started) {
    trial.Require(thread.IsThreadRunning() == started, "is running exactly when it says so");
    trial.Require(started || trial.HasThrown() || trial.HasPrinted("[Thread] Create "),
                  "prints why it has not started");
}

void Runs(Trial& trial) {
    Body body;
    Thread thread;
    thread.SetThreadHandler(&body);
    const bool started =
        trial.WorksOrThrows([&] { return thread.StartThread(ThreadStart::Running); });
    RequireStarted(trial, thread, started);
    TryToStop(trial, thread);
    const bool ran = started && !Trial::HasFailed(Platform::pthread_create);
    trial.Require(body.runs == (ran ? 1 : 0), "runs its body, once, if there is a thread");
    trial.Require(Thread().StartThread(ThreadStart::Running), "another one starts then");
}

void RunsWhenItIsResumed(Trial& trial) {
    Body body;
    Thread thread;
    thread.SetThreadHandler(&body);
    const bool started =
        trial.WorksOrThrows([&] { return thread.StartThread(ThreadStart::Suspended); });
    RequireStarted(trial, thread, started);
    trial.Require(trial.Try([&] { return thread.ResumeThread(); }) == started,
                  "is resumed if it has started");
    TryToStop(trial, thread);
}

void StartsAgain(Trial& trial) {
    Body body;
    Thread thread;
    thread.SetThreadHandler(&body);
    thread.StartThread(ThreadStart::Running);
    // A start that does not see the end of the thread before finds its events in use.
    const bool started = trial.TryOrThrow([&] { return thread.StartThread(ThreadStart::Running); });
    trial.Require(started || trial.MetFault(), "starts again");
    TryToStop(trial, thread);
    trial.Require(body.runs >= 1, "has run");
}

void IsCancelled(Trial& trial) {
    Body body(false);
    Thread thread;
    thread.SetThreadHandler(&body);
    thread.StartThread(ThreadStart::Running);
    trial.Try([&] { thread.StopThread(1, ThreadStop::Cancel); });
    trial.Require(!thread.IsThreadRunning(), "has stopped, whatever its body does");
}

void Sleeps(Trial& trial) {
    Thread thread;
    trial.Try([&] { thread.SleepThread(0); });
    const bool yielded = trial.Works([&] { return thread.YieldThread(); });
    trial.Require(yielded != trial.HasFailed(Platform::sched_yield), "says whether it has yielded");
}

// --- Task pool -----------------------------------------------------------------------------------

// Waits until all that was posted has run.
void Finish(ThreadTaskPool& pool) {
    Event done;
    done.Create(EventKind::ManualReset, EventState::NotSet, nullptr);
    pool.Post([&done] { done.Set(); });
    done.Wait(WaitForever);
}

// The tasks are too large to be kept without memory of their own.
void Posts(Trial& trial) {
    std::atomic<int> runs{0};
    ThreadTaskPool pool;
    int posted = 0;
    for (int i = 0; i < 3; ++i)
        posted += trial.WorksOrThrows([&] {
            pool.Post([&runs, large = std::array<char, 100>()] { runs += large[0] + 1; });
            return true;
        });
    pool.StartThread(ThreadStart::Running);
    Finish(pool);
    trial.Require(runs == posted, "runs each task that was posted, and no other");
    pool.StopThread(WaitForever, ThreadStop::LeaveRunning);
}

void RunsTasks(Trial& trial) {
    ThreadTaskPool pool;
    const bool started =
        trial.WorksOrThrows([&] { return pool.StartThread(ThreadStart::Running); });
    RequireStarted(trial, pool, started);
    if (started && !Trial::HasFailed(Platform::pthread_create))
        Finish(pool);
    trial.Try([&] { pool.StopThread(WaitForever, ThreadStop::LeaveRunning); });
    trial.Require(!pool.IsThreadRunning() || trial.MetFault(), "has stopped");
}

void DropsTasks(Trial& trial) {
    std::atomic<int> runs{0};
    ThreadTaskPool pool;
    pool.Post([&runs, large = std::array<char, 100>()] { runs += large[0] + 1; });
    trial.Try([&] { pool.StopThread(WaitForever, ThreadStop::LeaveRunning); });
    pool.StartThread(ThreadStart::Running);
    Finish(pool);
    trial.Require(runs == 0, "has dropped what was posted before the stop");
}

const Scenarios g_scenarios{
    {"ThreadRuns", Runs},
    {"ThreadRunsWhenItIsResumed", RunsWhenItIsResumed},
    {"ThreadStartsAgain", StartsAgain},
    {"ThreadIsCancelled", IsCancelled},
    {"ThreadSleeps", Sleeps},
    {"ThreadRunsWhateverFailsInIt", Runs, true},
    {"ThreadStartsAgainWhateverFailsInIt", StartsAgain, true},
    {"ThreadIsCancelledWhateverFailsInIt", IsCancelled, true},
    {"PoolRunsTasksWhateverFailsInIt", RunsTasks, true},
    {"PoolPosts", Posts},
    {"PoolRunsTasks", RunsTasks},
    {"PoolDropsTasks", DropsTasks},
};

} // namespace

} // namespace VornTest::Sweep
