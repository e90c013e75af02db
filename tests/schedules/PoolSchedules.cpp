// SPDX-License-Identifier: MIT
// The task pool: every task is run or destroyed, once; posting, stopping and starting meet at any
// moment.
#include <atomic>
#include <memory>

#include <Bases/Thread.h>

#include "schedules/Explore.h"
#include "schedules/Objects.h"

using namespace VornTest::Schedules; // NOLINT: the whole file is about them
using Vorn::ThreadTaskPool;
using Vorn::TryOnce;
using Vorn::WaitForever;
namespace ThreadStart = Vorn::ThreadStart;
namespace ThreadStop = Vorn::ThreadStop;

namespace {

constexpr long long Millisecond = 1000000;

// What a task counts: copies of it that exist, with a block that leaks when one is forgotten.
class Live {
public:
    explicit Live(std::atomic<int>& count) : m_count(&count) { ++*m_count; }
    Live(const Live& other) : m_count(other.m_count) { ++*m_count; }
    ~Live() { --*m_count; }
    Live& operator=(const Live&) = delete;

private:
    std::atomic<int>* m_count;
    std::unique_ptr<int> m_block = std::make_unique<int>(0);
};

} // namespace

SCENARIO(PoolSchedules, PostedTaskRuns, .timeOuts = 1) {
    UnsetEvent done(Manual);
    ThreadTaskPool pool;
    CHECK(pool.StartThread(ThreadStart::Running));
    pool.Post([&] { done.Set(); });
    CHECK(done.Wait(WaitForever));
    pool.StopThread(WaitForever, ThreadStop::LeaveRunning);
}

SCENARIO(PoolSchedules, TaskPostedBeforeTheStartRuns, .timeOuts = 1) {
    UnsetEvent done(Manual);
    ThreadTaskPool pool;
    pool.Post([&] { done.Set(); });
    CHECK(pool.StartThread(ThreadStart::Running));
    CHECK(done.Wait(WaitForever));
}

SCENARIO(PoolSchedules, TasksOfOneThreadRunInOrder, .timeOuts = 1) {
    UnsetEvent done(Manual);
    int ran = 0;
    ThreadTaskPool pool;
    CHECK(pool.StartThread(ThreadStart::Running));
    pool.Post([&] { CHECK(++ran == 1); });
    pool.Post([&] { CHECK(++ran == 2); });
    pool.Post([&] { done.Set(); });
    CHECK(done.Wait(WaitForever));
    pool.StopThread(WaitForever, ThreadStop::LeaveRunning);
    CHECK(ran == 2);
}

SCENARIO(PoolSchedules, TasksOfTwoThreadsBothRun, .timeOuts = 1) {
    UnsetEvent done(Manual);
    int ran = 0;
    const auto task = [&] {
        if (++ran == 2)
            done.Set();
    };
    ThreadTaskPool pool;
    CHECK(pool.StartThread(ThreadStart::Running));
    Actor poster([&] { pool.Post(task); });
    pool.Post(task);
    CHECK(done.Wait(WaitForever));
}

SCENARIO(PoolSchedules, EveryPostWakesAnIdleWorkerAtOnce, .timeOuts = 0) {
    UnsetEvent done(Manual);
    ThreadTaskPool pool;
    CHECK(pool.StartThread(ThreadStart::Running));
    pool.Post([] {});
    pool.Post([&] { done.Set(); });
    CHECK(done.Wait(WaitForever));
    CHECK(Now() < Millisecond);
}

SCENARIO(PoolSchedules, StopWakesAnIdleWorkerAtOnce, .timeOuts = 0) {
    ThreadTaskPool pool;
    CHECK(pool.StartThread(ThreadStart::Running));
    pool.StopThread(WaitForever, ThreadStop::LeaveRunning);
    CHECK(Now() < Millisecond);
}

SCENARIO(PoolSchedules, StopOfAnIdleWorkerAfterATask, .timeOuts = 0) {
    ThreadTaskPool pool;
    CHECK(pool.StartThread(ThreadStart::Running));
    pool.Post([] {});
    pool.StopThread(WaitForever, ThreadStop::LeaveRunning);
    CHECK(Now() < Millisecond);
}

SCENARIO(PoolSchedules, TaskPostedWhileThePoolStopsRunsOnceOrIsDestroyed, .timeOuts = 1) {
    std::atomic<int> copies{0};
    std::atomic<int> ran{0};
    {
        ThreadTaskPool pool;
        CHECK(pool.StartThread(ThreadStart::Running));
        Actor poster([&] { pool.Post([&ran, live = Live(copies)] { ++ran; }); });
        pool.StopThread(WaitForever, ThreadStop::LeaveRunning);
    }
    CHECK(ran <= 1);
    CHECK(copies == 0);
}

// The queue is dropped under a worker that runs on and takes its next task at the same time.
SCENARIO(PoolSchedules, StopThatGivesUpDropsTheQueueUnderTheWorker, .timeOuts = 1) {
    std::atomic<int> copies{0};
    {
        ThreadTaskPool pool;
        CHECK(pool.StartThread(ThreadStart::Running));
        pool.Post([live = Live(copies)] {});
        pool.Post([live = Live(copies)] {});
        pool.StopThread(TryOnce, ThreadStop::LeaveRunning);
    }
    CHECK(copies == 0);
}

// There is no worker: the stops only drop what is queued.
SCENARIO(PoolSchedules, StopsDropWhatIsPostedBesideThem) {
    std::atomic<int> copies{0};
    {
        ThreadTaskPool pool;
        Actor poster([&] {
            pool.Post([live = Live(copies)] {});
            pool.Post([live = Live(copies)] {});
        });
        pool.StopThread(TryOnce, ThreadStop::LeaveRunning);
        pool.StopThread(TryOnce, ThreadStop::LeaveRunning);
    }
    CHECK(copies == 0);
}

SCENARIO(PoolSchedules, TwoStopsThatGiveUpDropEachTaskOnce, .preemptions = 1) {
    std::atomic<int> copies{0};
    {
        UnsetEvent finish(Manual);
        ThreadTaskPool pool;
        CHECK(pool.StartThread(ThreadStart::Running));
        pool.Post([&] { finish.Wait(WaitForever); });
        pool.Post([live = Live(copies)] {});
        pool.StopThread(TryOnce, ThreadStop::LeaveRunning);
        finish.Set();
        pool.StopThread(TryOnce, ThreadStop::LeaveRunning);
    }
    CHECK(copies == 0);
}

SCENARIO(PoolSchedules, ForcedStopCancelsTheRunningTask, .timeOuts = 1) {
    std::atomic<int> copies{0};
    UnsetEvent never(Manual);
    ThreadTaskPool pool;
    CHECK(pool.StartThread(ThreadStart::Running));
    pool.Post([&never, live = Live(copies)] { never.Wait(WaitForever); });
    pool.StopThread(10, ThreadStop::Cancel);
    CHECK(copies == 0);
    CHECK(!pool.IsThreadRunning());
}

SCENARIO(PoolSchedules, RunningTaskMayPost, .timeOuts = 1) {
    UnsetEvent done(Manual);
    ThreadTaskPool pool;
    pool.Post([&] { pool.Post([&] { done.Set(); }); });
    CHECK(pool.StartThread(ThreadStart::Running));
    CHECK(done.Wait(WaitForever));
}

SCENARIO(PoolSchedules, RunningTaskPostsWhileThePoolStops, .timeOuts = 1) {
    std::atomic<int> copies{0};
    {
        ThreadTaskPool pool;
        CHECK(pool.StartThread(ThreadStart::Running));
        pool.Post([&] { pool.Post([live = Live(copies)] {}); });
        pool.StopThread(WaitForever, ThreadStop::LeaveRunning);
    }
    CHECK(copies == 0);
}

SCENARIO(PoolSchedules, DestructorWaitsForTheRunningTask) {
    bool started = false;
    bool ended = false;
    {
        ThreadTaskPool pool;
        CHECK(pool.StartThread(ThreadStart::Running));
        pool.Post([&] {
            started = true;
            UnsetEvent(Manual).Wait(10); // may be cancelled here, but is not
            ended = true;
        });
    }
    CHECK(started == ended);
}

SCENARIO(PoolSchedules, PoolThatWasStoppedStartsAgain, .preemptions = 1) {
    UnsetEvent done(Manual);
    ThreadTaskPool pool;
    CHECK(pool.StartThread(ThreadStart::Running));
    pool.StopThread(WaitForever, ThreadStop::LeaveRunning);
    pool.Post([&] { done.Set(); });
    CHECK(pool.StartThread(ThreadStart::Running));
    CHECK(done.Wait(WaitForever));
}

SCENARIO(PoolSchedules, PostAgainstTheStart, .timeOuts = 1) {
    UnsetEvent done(Manual);
    ThreadTaskPool pool;
    Actor poster([&] { pool.Post([&] { done.Set(); }); });
    CHECK(pool.StartThread(ThreadStart::Running));
    CHECK(done.Wait(WaitForever));
}

// Whoever is told that the task has run may destroy the pool at once.
SCENARIO(PoolSchedules, PoolMayBeDestroyedOnceItsTaskSaysSo, .timeOuts = 1) {
    UnsetEvent done(Manual);
    auto pool = std::make_unique<ThreadTaskPool>();
    CHECK(pool->StartThread(ThreadStart::Running));
    pool->Post([&] { done.Set(); });
    CHECK(done.Wait(WaitForever));
    pool.reset();
}
