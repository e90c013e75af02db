// SPDX-License-Identifier: MIT
// Concerns: the order of tasks, whoever posts them and whenever; when a task object is copied and
// destroyed, and that no lock is held while code of a task runs; how an idle worker waits.
#include <Bases/Thread.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <ctime>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include "Thread/ThreadPoolTest.h"
#include "support/BlockedThreads.h"
#include "support/Slot.h"

namespace {

using namespace VornTest;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

TEST(TaskPoolLayout, OverridesTheSlotsOfAThread) {
    EXPECT_EQ(Slot(&Thread::StopThread), Slot(&ThreadTaskPool::StopThread));
    EXPECT_EQ(Slot(&Thread::OnPreThreadStart), Slot(&ThreadTaskPool::OnPreThreadStart));
    EXPECT_EQ(Slot(&Thread::OnThreadEntry), Slot(&ThreadTaskPool::OnThreadEntry));
    static_assert(std::is_base_of_v<Thread, ThreadTaskPool>);
}

TEST(TaskPool, DoesNotStartByItself) {
    ThreadTaskPool pool;
    EXPECT_FALSE(pool.IsThreadRunning());
    EXPECT_EQ(0, pool.OnThreadEntry()); // without a thread the loop counts as stopped
}

TEST(TaskPool, RunsAThousandTasksPostedBeforeTheStartInPostOrder) {
    std::vector<int> order;
    ThreadTaskPool pool;
    for (int i = 0; i < 1000; ++i)
        pool.Post([&order, i] { order.push_back(i); });
    EXPECT_THAT(order, IsEmpty());
    EXPECT_TRUE(pool.StartThread(0));
    Drain(pool);
    EXPECT_EQ(Numbers(1000), order);
}

TEST(TaskPool, RunsTasksPostedAfterTheStartInPostOrder) {
    std::vector<int> order;
    ThreadTaskPool pool;
    EXPECT_TRUE(pool.StartThread(0));
    for (int i = 0; i < 1000; ++i)
        pool.Post([&order, i] { order.push_back(i); });
    Drain(pool);
    EXPECT_EQ(Numbers(1000), order);
}

TEST(TaskPool, RunsAllTasksOnItsOneThread) {
    std::vector<pthread_t> ranOn;
    pthread_t worker{};
    ThreadTaskPool pool;
    EXPECT_TRUE(pool.StartThread(0));
    worker = *pool.GetHandle();
    for (int i = 0; i < 10; ++i)
        pool.Post([&] { ranOn.push_back(pthread_self()); });
    Drain(pool);
    EXPECT_EQ(10, std::count_if(ranOn.begin(), ranOn.end(), [&](pthread_t thread) {
                  return pthread_equal(thread, worker) != 0;
              }));
}

TEST(TaskPool, TaskPostedByATaskRunsAfterAllThatAreQueued) {
    std::vector<int> order;
    ThreadTaskPool pool;
    pool.Post([&] {
        order.push_back(1);
        pool.Post([&] { order.push_back(3); });
    });
    pool.Post([&] { order.push_back(2); });
    EXPECT_TRUE(pool.StartThread(0));
    Drain(pool); // the task that ends the drain is posted by now or comes after number 3 anyway
    Drain(pool);
    EXPECT_THAT(order, ElementsAre(1, 2, 3));
}

TEST(TaskPool, SeveralThreadsMayPostAndEachKeepsItsOrder) {
    constexpr int Posters = 4;
    constexpr int Each = 250;
    std::array<std::vector<int>, Posters> orders; // a data race unless one thread runs all tasks
    ThreadTaskPool pool;
    EXPECT_TRUE(pool.StartThread(0));
    std::vector<std::thread> posters;
    posters.reserve(Posters);
    for (std::vector<int>& order : orders)
        posters.emplace_back([&pool, &order] {
            for (int i = 0; i < Each; ++i)
                pool.Post([&order, i] { order.push_back(i); });
        });
    for (std::thread& poster : posters)
        poster.join();
    Drain(pool);
    for (const std::vector<int>& order : orders)
        EXPECT_EQ(Numbers(Each), order);
}

TEST(TaskPool, ThreadsThatCallTheWorkersLoopTakeTasksBesideIt) {
    constexpr int Tasks = 1000;
    Copies copies;
    ManualEvent done;
    ThreadTaskPool pool;
    EXPECT_TRUE(pool.StartThread(0));
    std::thread second([&] { EXPECT_EQ(0, pool.OnThreadEntry()); });
    for (int i = 0; i < Tasks; ++i)
        pool.Post(Counted(copies, [&] {
            if (copies.runs == Tasks)
                done.Set();
        }));
    EXPECT_TRUE(done.Wait(Patience));
    EXPECT_TRUE(pool.StopThreadEvent());
    second.join();
    pool.StopThread(WaitForever, 0);
    EXPECT_EQ(Tasks, copies.runs);
    EXPECT_EQ(0, copies.alive);
}

TEST(TaskPool, PostWaitsWhileAnotherOneCopiesItsTaskIntoTheQueue) {
    DeafTask deaf;
    std::atomic<bool> posted{false};
    ThreadTaskPool pool;
    boost::function<void()> slow = DeafToCopies(deaf);
    VornTest::PosixThread first([&] { pool.Post(std::move(slow)); });
    EXPECT_TRUE(deaf.entered.Wait(Patience));
    VornTest::PosixThread second([&] {
        pool.Post(Nothing);
        posted = true;
        deaf.release.Wait(WaitForever);
    });
    VornTest::WaitUntilBlocked({&second});
    EXPECT_FALSE(posted);
    deaf.release.Set();
    EXPECT_FALSE(first.Join());
    EXPECT_FALSE(second.Join());
    EXPECT_TRUE(posted);
}

TEST(TaskPool, NoLockIsHeldWhileATaskRuns) {
    PostElsewhere postElsewhere;
    std::atomic<bool> posted{false};
    ThreadTaskPool pool;
    EXPECT_TRUE(pool.StartThread(0));
    pool.Post([&] { posted = postElsewhere(pool, Nothing); });
    Drain(pool);
    EXPECT_TRUE(posted);
}

TEST(TaskPool, CopiesATaskOnceIntoTheQueueAndOnceOutOfIt) {
    Copies copies;
    ThreadTaskPool pool;
    boost::function<void()> task = Counted(copies);
    copies.made = 0;
    pool.Post(std::move(task));
    EXPECT_EQ(1, copies.made);
    EXPECT_EQ(1, copies.alive); // the queue's own; the argument is gone

    EXPECT_TRUE(pool.StartThread(0));
    Drain(pool);
    EXPECT_EQ(2, copies.made);
    EXPECT_EQ(0, copies.alive);
}

// Posts another task the next time it is copied once the hook is set.
class PostsWhenCopied {
public:
    explicit PostsWhenCopied(std::function<void()>& hook) : m_hook(hook) {}
    ~PostsWhenCopied() = default;
    PostsWhenCopied(const PostsWhenCopied& other) : m_hook(other.m_hook) {
        if (m_hook)
            std::exchange(m_hook, {})();
    }
    PostsWhenCopied& operator=(const PostsWhenCopied&) = delete;

    void operator()() const {}

private:
    std::function<void()>& m_hook;
    // Too large for the task itself, so that moving the task does not copy this.
    [[maybe_unused]] std::array<char, 64> m_bytes{};
};

TEST(TaskPool, QueuesBothWhenTheCopyingOfATaskPosts) {
    std::atomic<int> runs{0};
    std::function<void()> hook;
    ThreadTaskPool pool;
    boost::function<void()> task = PostsWhenCopied(hook);
    for (int i = 0; i < 8; ++i)
        pool.Post(Nothing); // leave list nodes, which the next posts use again
    EXPECT_TRUE(pool.StartThread(0));
    Drain(pool);

    pool.Post([&] {
        hook = [&] { pool.Post([&] { ++runs; }); };
        pool.Post(std::move(task));
    });
    Drain(pool);
    Drain(pool); // what that task posted stands behind the first one
    EXPECT_EQ(1, runs);
}

TEST(TaskPool, RunsTheOnlyCopyThatIsLeft) {
    Copies copies;
    std::atomic<int> aliveInside{0};
    ThreadTaskPool pool;
    {
        boost::function<void()> task = Counted(copies, [&] { aliveInside = copies.alive.load(); });
        pool.Post(std::move(task));
    }
    EXPECT_TRUE(pool.StartThread(0));
    Drain(pool);
    EXPECT_EQ(1, aliveInside);
}

TEST(TaskPool, DestroysATaskObjectBeforeItWaitsAgain) {
    Copies copies;
    std::atomic<int> aliveAtWait{-1};
    ManualEvent waited;
    ThreadTaskPool pool;
    pool.Post(Counted(copies));
    EXPECT_EQ(1, copies.alive);
    WatchWaits([&](const timespec&) {
        if (aliveAtWait == -1)
            aliveAtWait = copies.alive.load();
        waited.Set();
    });
    EXPECT_TRUE(pool.StartThread(0));
    EXPECT_TRUE(waited.Wait(WaitForever));
    EXPECT_EQ(0, aliveAtWait);
    Platform::pthread_cond_timedwait.Reset();
}

TEST(TaskPool, DoesNotWaitBetweenQueuedTasks) {
    std::atomic<int> waits{0};
    std::atomic<int> waitsBeforeTheLast{-1};
    ManualEvent done;
    ThreadTaskPool pool;
    for (int i = 0; i < 100; ++i)
        pool.Post(Nothing);
    pool.Post([&] {
        waitsBeforeTheLast = waits.load();
        done.Set();
    });
    WatchWaits([&](const timespec&) { ++waits; });
    EXPECT_TRUE(pool.StartThread(0));
    EXPECT_TRUE(done.Wait(WaitForever)); // one with a limit would be counted
    EXPECT_EQ(0, waitsBeforeTheLast);
    Platform::pthread_cond_timedwait.Reset();
}

TEST(TaskPool, IdleWorkerWaitsAHundredMillisecondsAtATime) {
    constexpr long long Poll = 100 * 1000000LL;
    std::vector<long long> deadlines; // without those that are only resumed
    long long longest = 0;
    ManualEvent enough;
    WatchWaits([&](const timespec& deadline) {
        if (deadlines.size() == 4)
            return; // the test may be reading them by now
        const long long time = Nanoseconds(deadline);
        longest = std::max(longest, time - Now());
        if (deadlines.empty() || deadlines.back() != time)
            deadlines.push_back(time);
        if (deadlines.size() == 4)
            enough.Set();
    });
    long long previous = Now();
    ThreadTaskPool pool;
    pool.Post(Nothing); // the worker becomes idle, it does not only begin so
    EXPECT_TRUE(pool.StartThread(0));
    EXPECT_TRUE(enough.Wait(WaitForever));
    Platform::pthread_cond_timedwait.Reset();

    EXPECT_LE(longest, Poll);
    for (const long long deadline : deadlines) {
        EXPECT_GE(deadline - previous, Poll);
        previous = deadline;
    }
}

TEST(TaskPool, PostsUseTheListNodesOfEarlierTasksAgain) {
    ThreadTaskPool pool;
    for (int i = 0; i < 5; ++i)
        pool.Post(Nothing);
    EXPECT_TRUE(pool.StartThread(0));
    Drain(pool);
    Drain(pool); // the worker has gone to the queue again after the first five
    Platform::operator_new.Record();
    pool.Post(Nothing);
    pool.Post(Nothing);
    EXPECT_THAT(Platform::operator_new.Calls(), IsEmpty());
    Drain(pool);
}

TEST(TaskPool, PostsUseTheListNodesOfALoopThatHasEnded) {
    ThreadTaskPool pool;
    EXPECT_TRUE(pool.StartThread(Vorn::ThreadStart::Suspended));
    pool.Post(Nothing);
    pool.Post([&pool] { pool.StopThreadEvent(); });
    EXPECT_EQ(0, pool.OnThreadEntry());
    Platform::operator_new.Record();
    pool.Post(Nothing);
    pool.Post(Nothing);
    EXPECT_THAT(Platform::operator_new.Calls(), IsEmpty());
}

TEST(TaskPool, KeepsListNodesOfAThousandTasksOfALoopThatHasEnded) {
    constexpr int MostKept = 1024;
    ThreadTaskPool pool;
    EXPECT_TRUE(pool.StartThread(Vorn::ThreadStart::Suspended));
    for (int i = 0; i < 2 * MostKept; ++i)
        pool.Post(Nothing);
    pool.Post([&pool] { pool.StopThreadEvent(); });
    EXPECT_EQ(0, pool.OnThreadEntry());
    EXPECT_EQ(0, pool.OnThreadEntry()); // ends at once and has no nodes to keep
    Platform::operator_new.Record();
    for (int i = 0; i < MostKept; ++i)
        pool.Post(Nothing);
    EXPECT_EQ(0U, Platform::operator_new.Count());
    pool.Post(Nothing);
    EXPECT_EQ(1U, Platform::operator_new.Count());
}

TEST(TaskPool, KeepsListNodesOfAtMostTwoThousandTasks) {
    constexpr int Tasks = 5000;
    constexpr int MostKept = 2 * 1024 + 10; // and the few that Drain and the deaf task have left
    DeafTask deaf;
    ThreadTaskPool pool;
    for (int i = 0; i < Tasks; ++i)
        pool.Post(Nothing);
    EXPECT_TRUE(pool.StartThread(0));
    Drain(pool);
    Drain(pool);
    pool.Post(deaf.Task());
    ASSERT_TRUE(deaf.entered.Wait(Patience));
    Platform::operator_new.Record();
    for (int i = 0; i < Tasks; ++i)
        pool.Post(Nothing);
    EXPECT_LE(Tasks - MostKept, static_cast<int>(Platform::operator_new.Count()));
    EXPECT_GE(Tasks - 1000, static_cast<int>(Platform::operator_new.Count()));
    deaf.release.Set();
}

TEST(TaskPool, IdleWorkerSeesAStopRequestSoon) {
    ThreadTaskPool pool;
    EXPECT_TRUE(pool.StartThread(0));
    Drain(pool);
    const auto start = std::chrono::steady_clock::now();
    pool.StopThread(Patience, 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    EXPECT_FALSE(pool.IsThreadRunning());
}

TEST(TaskPool, GoesOnTakingTasksAfterTheQueueWasEmpty) {
    ThreadTaskPool pool;
    EXPECT_TRUE(pool.StartThread(0));
    for (int i = 0; i < 20; ++i)
        Drain(pool);
}

TEST(TaskPool, PostWakesTheWorkerBeforeItFreesTheQueue) {
    bool ranMeanwhile = false;
    ManualEvent ran;
    ThreadTaskPool pool;
    EXPECT_TRUE(pool.StartThread(0));
    HookUnlocks();
    g_unlockHook.run = [&](pthread_mutex_t*) { ranMeanwhile = ran.Wait(Patience); };
    pool.Post([&] { ran.Set(); }); // locks the queue first of all
    EXPECT_TRUE(ranMeanwhile);
}

TEST(TaskPool, TaskPostedAsSoonAsTheWorkerFreesTheEmptyQueueIsRun) {
    pthread_mutex_t* pQueueLock = nullptr;
    ManualEvent ran;
    ThreadTaskPool pool;
    HookUnlocks();
    g_unlockHook.run = [&](pthread_mutex_t* pLock) { pQueueLock = pLock; };
    pool.Post([&] {
        // What the worker does with the queue after this, the only task, is to find it empty.
        g_unlockHook.pLock = pQueueLock;
        g_unlockHook.run = [&](pthread_mutex_t*) { pool.Post([&] { ran.Set(); }); };
    });
    ASSERT_NE(nullptr, pQueueLock);
    EXPECT_TRUE(pool.StartThread(0));
    EXPECT_TRUE(ran.Wait(Patience)); // nothing else is posted that could wake the worker
}

TEST(TaskPool, SuspendedStartHoldsTheTasks) {
    ManualEvent ran;
    ThreadTaskPool pool;
    EXPECT_TRUE(pool.StartThread(1));
    pool.Post([&] { ran.Set(); });
    EXPECT_FALSE(ran.Wait(50));
    EXPECT_TRUE(pool.ResumeThread());
    EXPECT_TRUE(ran.Wait(Patience));
}

} // namespace
