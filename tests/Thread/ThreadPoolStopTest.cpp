// SPDX-License-Identifier: MIT
// Concerns: which tasks a stop, a restart and the destruction drop; that no lock is held while they
// are destroyed; tasks that are empty, throw or are cancelled.
#include <Bases/Thread.h>

#include <array>
#include <atomic>
#include <chrono>
#include <future>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include "Thread/ThreadPoolTest.h"
#include "Thread/ThreadTest.h"
#include "support/BlockedThreads.h"

namespace {

using namespace VornTest;
using namespace std::chrono_literals;

TEST(TaskPoolStop, FinishesTheRunningTaskAndDropsTheQueuedOnesUnrun) {
    Copies copies;
    ObedientTask obedient;
    ThreadTaskPool pool;
    EXPECT_TRUE(pool.StartThread(0));
    pool.Post(obedient.Task(pool));
    PostCounted(pool, copies, 3);
    EXPECT_TRUE(obedient.entered.Wait(Patience));
    EXPECT_EQ(3, copies.alive);
    pool.StopThread(WaitForever, 0);
    EXPECT_TRUE(obedient.finished);
    EXPECT_FALSE(pool.IsThreadRunning());
    EXPECT_EQ(0, copies.alive);
    EXPECT_EQ(0, copies.runs);

    EXPECT_TRUE(pool.StartThread(0));
    Drain(pool);
    EXPECT_EQ(0, copies.runs);
}

TEST(TaskPoolStop, AlsoDropsWhatTheRunningTaskPostsBeforeItEnds) {
    Copies copies;
    ObedientTask obedient;
    ThreadTaskPool pool;
    EXPECT_TRUE(pool.StartThread(0));
    pool.Post(obedient.Task(pool, [&] { pool.Post(Counted(copies)); }));
    EXPECT_TRUE(obedient.entered.Wait(Patience));
    pool.StopThread(WaitForever, 0);
    EXPECT_TRUE(obedient.finished);
    EXPECT_EQ(0, copies.alive);
    EXPECT_EQ(0, copies.runs);
}

TEST(TaskPoolStop, DropsTheTasksOfAPoolThatWasNeverStarted) {
    Copies copies;
    ThreadTaskPool pool;
    pool.Post(Counted(copies));
    EXPECT_EQ(1, copies.alive);
    pool.StopThread(0, 0);
    EXPECT_EQ(0, copies.alive);
}

TEST(TaskPoolStop, NotForcedDropsTheQueuedTasksOfAWorkerThatGoesOn) {
    Copies copies;
    DeafTask deaf;
    ThreadTaskPool pool;
    EXPECT_TRUE(pool.StartThread(0));
    pool.Post(deaf.Task());
    EXPECT_TRUE(deaf.entered.Wait(Patience));
    PostCounted(pool, copies, 3);
    pool.StopThread(0, 0);
    EXPECT_TRUE(pool.IsThreadRunning());
    EXPECT_EQ(0, copies.alive);

    deaf.release.Set();
    pool.StopThread(WaitForever, 0);
    EXPECT_FALSE(pool.IsThreadRunning());
    EXPECT_EQ(0, copies.runs);
}

// The worker has taken over the first three, to take them one by one.
TEST(TaskPoolStop, NotForcedDropsWhatTheWorkerHasTakenOverToo) {
    Copies copies;
    DeafTask deaf;
    ThreadTaskPool pool;
    pool.Post(deaf.Task());
    for (int i = 0; i < 3; ++i)
        pool.Post(Counted(copies));
    EXPECT_TRUE(pool.StartThread(0));
    EXPECT_TRUE(deaf.entered.Wait(Patience));
    for (int i = 0; i < 3; ++i)
        pool.Post(Counted(copies));
    EXPECT_EQ(6, copies.alive);
    pool.StopThread(0, 0);
    EXPECT_EQ(0, copies.alive);
    deaf.release.Set();
}

// Lets an idle worker sleep so long that it cannot see a stop by itself, and says when it sleeps.
class IdleWorkerSleepsOn {
public:
    IdleWorkerSleepsOn() {
        Platform::pthread_cond_timedwait.OnAnyThread().Do(
            [this](pthread_cond_t* posted, pthread_mutex_t* lock, const timespec* deadline) {
                timespec later = *deadline;
                if (Nanoseconds(later) - Now() < 1000000000LL) {
                    later.tv_sec += 20;
                    m_sleeps.Set();
                }
                return Platform::pthread_cond_timedwait.Real(posted, lock, &later);
            });
    }
    ~IdleWorkerSleepsOn() { Platform::pthread_cond_timedwait.Reset(); }
    IdleWorkerSleepsOn(const IdleWorkerSleepsOn&) = delete;
    IdleWorkerSleepsOn& operator=(const IdleWorkerSleepsOn&) = delete;

    void StartIn(ThreadTaskPool& pool) {
        m_sleeps.Reset();
        EXPECT_TRUE(pool.StartThread(0));
        EXPECT_TRUE(m_sleeps.Wait(WaitForever));
        m_start = std::chrono::steady_clock::now();
    }

    bool IsOver() const { return std::chrono::steady_clock::now() - m_start > 10s; }

private:
    ManualEvent m_sleeps;
    std::chrono::steady_clock::time_point m_start;
};

TEST(TaskPoolStop, WakesAnIdleWorker) {
    IdleWorkerSleepsOn sleep;
    ThreadTaskPool pool;
    sleep.StartIn(pool);
    pool.StopThread(WaitForever, 0);
    EXPECT_FALSE(sleep.IsOver());

    sleep.StartIn(pool); // and is no reason for the next one not to sleep
    pool.StopThread(WaitForever, 0);
}

TEST(TaskPoolDestruction, WakesAnIdleWorker) {
    IdleWorkerSleepsOn sleep;
    {
        ThreadTaskPool pool;
        sleep.StartIn(pool);
    }
    EXPECT_FALSE(sleep.IsOver());
}

TEST(TaskPoolStop, NotForcedIsSafeAgainstAWorkerThatIsTakingTasks) {
    ThreadTaskPool pool;
    for (int round = 0; round < 100; ++round) {
        for (int i = 0; i < 20; ++i)
            pool.Post(Nothing);
        ASSERT_TRUE(pool.StartThread(0));
        for (int i = 0; i < 20; ++i)
            pool.Post(Nothing);
        pool.StopThread(0, 0);
        pool.StopThread(WaitForever, 0);
    }
}

// The thread sanitizer looks on.
TEST(TaskPoolStop, IsSafeAgainstThreadsThatPost) {
    constexpr int Tasks = 2000;
    Copies copies;
    ThreadTaskPool pool;
    VornTest::PosixThread poster([&] { PostCounted(pool, copies, Tasks); });
    while (copies.made < Tasks)
        pool.StopThread(0, 0); // there is no worker: it only drops what is queued
    EXPECT_FALSE(poster.Join());
    pool.StopThread(0, 0);
    EXPECT_EQ(0, copies.alive);
    EXPECT_EQ(0, copies.runs);
}

TEST(TaskPoolStop, ForcedCancelsTheRunningTaskAndDestroysIt) {
    Copies copies;
    DeafTask deaf;
    ThreadTaskPool pool;
    EXPECT_TRUE(pool.StartThread(0));
    pool.Post(Counted(copies, deaf.Task()));
    pool.Post(Counted(copies));
    EXPECT_TRUE(deaf.entered.Wait(Patience));
    pool.StopThread(0, 1);
    EXPECT_FALSE(pool.IsThreadRunning());
    EXPECT_EQ(0, copies.alive);

    EXPECT_TRUE(pool.StartThread(0));
    Drain(pool);
}

TEST(TaskPoolStop, ForcedCancelsATaskThatSleeps) {
    Copies copies;
    ManualEvent entered;
    ThreadTaskPool pool;
    EXPECT_TRUE(pool.StartThread(0));
    pool.Post(Counted(copies, [&] {
        entered.Set();
        pool.SleepThread(4000000);
    }));
    EXPECT_TRUE(entered.Wait(Patience));
    pool.StopThread(0, 1);
    EXPECT_FALSE(pool.IsThreadRunning());
    EXPECT_EQ(0, copies.alive);
}

// From a cancellation inside a blocking call on, the thread sanitizer ignores the worker's locks,
// so that it reports whatever the worker still touches that posts use.
TEST(TaskPoolStop, ForcedTouchesNothingThatPostsUseMeanwhile) {
    ManualEvent entered;
    std::atomic<bool> stopped{false};
    ThreadTaskPool pool;
    EXPECT_TRUE(pool.StartThread(0));
    pool.Post(Nothing); // so that the worker has used a list node
    pool.Post([&] {
        entered.Set();
        pool.SleepThread(4000000);
    });
    EXPECT_TRUE(entered.Wait(Patience));
    VornTest::PosixThread poster([&] {
        while (!stopped)
            pool.Post(Nothing);
    });
    pool.StopThread(0, 1);
    stopped = true;
    EXPECT_FALSE(poster.Join());
    EXPECT_TRUE(pool.StartThread(0));
    Drain(pool);
}

TEST(TaskPoolStop, ForcedAtAnyMomentLeavesThePoolUsable) {
    Copies copies;
    ThreadTaskPool pool;
    for (int round = 0; round < 200; ++round) {
        for (int i = 0; i < round % 7; ++i)
            pool.Post(Counted(copies, [] { pthread_testcancel(); }));
        ASSERT_TRUE(pool.StartThread(0));
        pool.StopThread(0, 1);
        ASSERT_FALSE(pool.IsThreadRunning());
        ASSERT_EQ(0, copies.alive);
    }
    EXPECT_TRUE(pool.StartThread(0));
    Drain(pool);
}

// A task whose destruction in the worker reaches a cancellation point, as one that closes a file
// does, when the worker has just been cancelled.
class CancelledInDestruction {
public:
    struct State {
        ManualEvent entered;
        std::atomic<int> nDestructions{0};
        int nth = 1; // the destruction in question
        pthread_t maker = pthread_self();
    };

    explicit CancelledInDestruction(State& state) : m_state(state) {}
    CancelledInDestruction(const CancelledInDestruction&) = default;
    CancelledInDestruction& operator=(const CancelledInDestruction&) = delete;
    ~CancelledInDestruction() {
        if (pthread_equal(m_state.maker, pthread_self()) != 0)
            return;
        if (++m_state.nDestructions != m_state.nth)
            return;
        m_state.entered.Set();
        while (Platform::pthread_cancel.Results().empty())
            sched_yield();
        pthread_testcancel();
    }
    void operator()() const {}

private:
    State& m_state;
    [[maybe_unused]] std::array<char, 128> m_padding{};
};

class TaskPoolStopAtDestruction : public testing::TestWithParam<int> {};

TEST_P(TaskPoolStopAtDestruction, DoesNotEndTheProcess) {
    CancelledInDestruction::State state;
    state.nth = GetParam();
    Platform::pthread_cancel.Record(true);
    ThreadTaskPool pool;
    EXPECT_TRUE(pool.StartThread(0));
    pool.Post(CancelledInDestruction(state));
    ASSERT_TRUE(state.entered.Wait(Patience));
    pool.StopThread(0, 1);
    EXPECT_FALSE(pool.IsThreadRunning());
    EXPECT_GE(state.nDestructions, state.nth);
}

INSTANTIATE_TEST_SUITE_P(OfTheQueuedAndOfTheRunCopy, TaskPoolStopAtDestruction,
                         testing::Values(1, 2));

TEST(TaskPoolStop, ForcedWhileATaskIsCopiedOutLeavesTheQueueUnlocked) {
    DeafTask deaf;
    PostElsewhere postElsewhere;
    ThreadTaskPool pool;
    EXPECT_TRUE(pool.StartThread(0));
    pool.Post(DeafToCopies(deaf));
    EXPECT_TRUE(deaf.entered.Wait(Patience));
    // The queue's lock is held by the copying worker, so only the base class can stop it.
    pool.Thread::StopThread(0, 1);
    EXPECT_FALSE(pool.IsThreadRunning());
    EXPECT_TRUE(postElsewhere(pool, Nothing));
    pool.StopThread(0, 0);
    EXPECT_TRUE(pool.StartThread(0));
    Drain(pool);
}

TEST(TaskPoolStop, LoopEndsWhileATaskIsCopiedIntoTheQueue) {
    DeafTask deaf;
    ThreadTaskPool pool;
    boost::function<void()> slow = DeafToCopies(deaf);
    EXPECT_TRUE(pool.StartThread(Vorn::ThreadStart::Suspended));
    VornTest::PosixThread poster([&] { pool.Post(std::move(slow)); });
    EXPECT_TRUE(deaf.entered.Wait(Patience));
    EXPECT_TRUE(pool.StopThreadEvent());
    std::future<int> loop = std::async(std::launch::async, [&] { return pool.OnThreadEntry(); });
    EXPECT_EQ(std::future_status::ready, loop.wait_for(std::chrono::milliseconds(Patience)));
    deaf.release.Set();
    EXPECT_FALSE(poster.Join());
}

TEST(TaskPoolStop, DroppedTasksAreDestroyedWithNoLockHeld) {
    PostElsewhere postElsewhere;
    std::atomic<bool> posted{false};
    std::atomic<bool> ran{false};
    ThreadTaskPool pool;
    pool.Post(AtDestruction([&] { posted = postElsewhere(pool, [&] { ran = true; }); }));
    pool.StopThread(0, 0);
    EXPECT_TRUE(posted);

    EXPECT_TRUE(pool.StartThread(0)); // what the destruction has posted belongs to the next start
    Drain(pool);
    EXPECT_TRUE(ran);
}

TEST(TaskPoolStop, PutsACancellationOfTheOwnerOffWhileItDestroysTheDroppedTasks) {
    std::atomic<bool> destroyed{false};
    std::atomic<bool> stopped{false};
    ThreadTaskPool pool;
    pool.Post(AtDestruction([&] {
        pthread_testcancel(); // leaving a destructor here would end the process
        destroyed = true;
    }));
    VornTest::PosixThread owner([&] {
        pthread_cancel(pthread_self());
        pool.StopThread(0, 0);
        stopped = true;
        pthread_testcancel();
    });
    EXPECT_TRUE(owner.Join()); // put off only
    EXPECT_TRUE(destroyed);
    EXPECT_TRUE(stopped);
}

TEST(TaskPoolStop, TakenTaskIsDestroyedInTheQueueWithNoLockHeld) {
    // Destroyed once in the queue and once after the run; a copy counts itself.
    class PostsWhenDestroyed {
    public:
        PostsWhenDestroyed(ThreadTaskPool& pool, PostElsewhere& postElsewhere,
                           std::atomic<int>& posted)
            : m_pool(pool), m_postElsewhere(postElsewhere), m_posted(posted),
              m_maker(pthread_self()) {}
        PostsWhenDestroyed(const PostsWhenDestroyed&) = default;
        PostsWhenDestroyed& operator=(const PostsWhenDestroyed&) = delete;
        ~PostsWhenDestroyed() {
            if (pthread_equal(m_maker, pthread_self()) == 0 && m_postElsewhere(m_pool, Nothing))
                ++m_posted;
        }
        void operator()() const {}

    private:
        ThreadTaskPool& m_pool;
        PostElsewhere& m_postElsewhere;
        std::atomic<int>& m_posted;
        pthread_t m_maker;
        [[maybe_unused]] std::array<char, 128> m_padding{};
    };
    std::atomic<int> posted{0};
    PostElsewhere postElsewhere;
    ThreadTaskPool pool;
    EXPECT_TRUE(pool.StartThread(0));
    pool.Post(PostsWhenDestroyed(pool, postElsewhere, posted));
    Drain(pool);
    pool.StopThread(WaitForever, 0);
    EXPECT_EQ(2, posted);
}

TEST(TaskPoolRestart, DropsTheTasksQueuedAtThatMoment) {
    Copies copies;
    ObedientTask obedient;
    ThreadTaskPool pool;
    EXPECT_TRUE(pool.StartThread(0));
    pool.Post(obedient.Task(pool));
    PostCounted(pool, copies, 3);
    EXPECT_TRUE(obedient.entered.Wait(Patience));
    EXPECT_TRUE(pool.StartThread(0));
    EXPECT_EQ(0, copies.alive);
    Drain(pool);
    EXPECT_EQ(0, copies.runs);
}

TEST(TaskPoolDestruction, StopsTheWorkerAndDropsTheQueuedTasks) {
    Copies copies;
    ObedientTask obedient;
    {
        ThreadTaskPool pool;
        EXPECT_TRUE(pool.StartThread(0));
        pool.Post(obedient.Task(pool, [&] { pool.Post(Counted(copies)); }));
        pool.Post(Counted(copies));
        EXPECT_TRUE(obedient.entered.Wait(Patience));
    }
    EXPECT_TRUE(obedient.finished);
    EXPECT_EQ(0, copies.alive);
    EXPECT_EQ(0, copies.runs);
}

TEST(TaskPoolDestruction, WaitsForTheRunningTaskWithoutLimitAndCancelsNothing) {
    DeafTask deaf;
    std::atomic<bool> finished{false};
    Platform::pthread_cancel.Record(true);
    Platform::pthread_cond_wait.Record(true);
    VornTest::PosixThread releaser([&] {
        EXPECT_TRUE(BegunWaits(2)); // that of the task and that of the owner
        deaf.release.Set();
    });
    {
        ThreadTaskPool pool;
        EXPECT_TRUE(pool.StartThread(0));
        pool.Post([&] {
            deaf.Task()();
            finished = true;
        });
        EXPECT_TRUE(deaf.entered.Wait(Patience)); // has a limit and does not count
    }
    EXPECT_TRUE(finished);
    EXPECT_EQ(0U, Platform::pthread_cancel.Count());
    releaser.Join();
}

TEST(TaskPoolDestruction, DestroysTasksThatWereNeverStarted) {
    Copies copies;
    {
        ThreadTaskPool pool;
        pool.Post(Counted(copies));
        EXPECT_EQ(1, copies.alive);
    }
    EXPECT_EQ(0, copies.alive);
}

TEST(TaskPoolDestruction, AlsoDropsWhatTheDroppedTasksPost) {
    Copies copies;
    {
        ThreadTaskPool pool;
        pool.Post(AtDestruction([&] {
            pool.Post(AtDestruction([&] { pool.Post(Counted(copies)); }));
            pool.Post(Counted(copies));
        }));
    }
    EXPECT_GT(copies.made, 0);
    EXPECT_EQ(0, copies.alive);
}

TEST(TaskPoolDestruction, FinishesAlsoWhenTheOwnerIsCancelledMeanwhile) {
    DeafTask deaf;
    ManualEvent destroying;
    std::atomic<bool> destroyed{false};
    VornTest::PosixThread owner([&] {
        {
            ThreadTaskPool pool;
            EXPECT_TRUE(pool.StartThread(0));
            pool.Post(deaf.Task());
            EXPECT_TRUE(deaf.entered.Wait(Patience));
            destroying.Set();
        }
        destroyed = true;
    });
    EXPECT_TRUE(destroying.Wait(Patience));
    VornTest::WaitUntilBlocked({&owner});
    owner.Cancel();
    deaf.release.Set();
    owner.Join();
    EXPECT_TRUE(destroyed);
}

void RunInPool(const boost::function<void()>& task) {
    ThreadTaskPool pool;
    pool.Post(task); // accepted, whatever it is
    std::fputs("accepted, ", stderr);
    pool.StartThread(0);
    Drain(pool);
    _exit(0);
}

TEST(TaskPoolDeathTest, EmptyTaskIsAcceptedAndEndsTheProcessWhenItsTurnComes) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(RunInPool({}), testing::KilledBySignal(SIGABRT), "accepted, .*bad_function_call");
}

TEST(TaskPoolDeathTest, ExceptionThatLeavesATaskEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(RunInPool([] { throw std::runtime_error("left the task"); }),
                testing::KilledBySignal(SIGABRT), "left the task");
}

} // namespace
