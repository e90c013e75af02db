// Concerns: the order of tasks, whoever posts them and whenever; which tasks a stop, a restart and
// the destruction drop; when a task object is copied and destroyed, and that no lock is held while
// code of a task runs; how an idle worker waits; tasks that are empty, throw or are cancelled.
#include <Bases/Thread.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <ctime>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <numeric>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include "support/BlockedThreads.h"
#include "support/Slot.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Vorn::Event;
using Vorn::Thread;
using Vorn::ThreadTaskPool;
using Vorn::WaitForever;
using VornTest::Slot;
using namespace std::chrono_literals;

constexpr unsigned int Patience = 30000; // a wait that fails only when the test has failed

// Watches the waits with a limit, and the cancellations, that the library asks for.
class Platform {
public:
    void Watch(std::function<void(const timespec&)> onWait) {
        const std::lock_guard lock(m_lock);
        m_onWait = std::move(onWait);
    }
    void Wait(const timespec& deadline) {
        const std::lock_guard lock(m_lock);
        if (m_onWait)
            m_onWait(deadline);
    }

    std::atomic<int> cancels{0};

private:
    std::mutex m_lock;
    std::function<void(const timespec&)> m_onWait;
};

Platform& ThePlatform() {
    static Platform platform;
    return platform;
}

// Run once by this thread after it has next unlocked the lock.
struct UnlockHook {
    std::function<void(pthread_mutex_t*)> run;
    pthread_mutex_t* pLock = nullptr; // null: the one that this thread locks next
};

thread_local UnlockHook g_unlockHook;

// Lets every test begin with nothing seen, also when one process runs them all.
class PlatformReset : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo&) override {
        g_unlockHook = {};
        ThePlatform().Watch(nullptr);
        ThePlatform().cancels = 0;
    }
};

[[maybe_unused]] const bool g_resetIsSet = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new PlatformReset);
    return true;
}();

} // namespace

extern "C" {
int __real_pthread_cond_timedwait(pthread_cond_t* cond, pthread_mutex_t* lock,
                                  const timespec* deadline);
int __wrap_pthread_cond_timedwait(pthread_cond_t* cond, pthread_mutex_t* lock,
                                  const timespec* deadline) {
    ThePlatform().Wait(*deadline);
    return __real_pthread_cond_timedwait(cond, lock, deadline);
}

int __real_pthread_mutex_lock(pthread_mutex_t* lock);
int __wrap_pthread_mutex_lock(pthread_mutex_t* lock) {
    if (g_unlockHook.run && g_unlockHook.pLock == nullptr)
        g_unlockHook.pLock = lock;
    return __real_pthread_mutex_lock(lock);
}

int __real_pthread_mutex_unlock(pthread_mutex_t* lock);
int __wrap_pthread_mutex_unlock(pthread_mutex_t* lock) {
    const int status = __real_pthread_mutex_unlock(lock);
    if (g_unlockHook.run && g_unlockHook.pLock == lock)
        std::exchange(g_unlockHook, {}).run(lock);
    return status;
}

int __real_pthread_cancel(pthread_t thread);
int __wrap_pthread_cancel(pthread_t thread) {
    const int result = __real_pthread_cancel(thread);
    ++ThePlatform().cancels;
    return result;
}
}

namespace {

class ManualEvent : public Event {
public:
    ManualEvent() { EXPECT_TRUE(Create(1, 0, nullptr)); }
};

// How often a task's function object was copied, and how many of them live.
struct Copies {
    std::atomic<int> made{0};
    std::atomic<int> alive{0};
};

// A function object that counts its copies. It is too large for the room that boost::function has
// inside, so that a swap of two task objects copies nothing.
class Counted {
public:
    explicit Counted(Copies& copies, std::function<void()> run = {})
        : m_copies(copies), m_run(std::move(run)) {
        ++m_copies.alive;
    }
    Counted(const Counted& other) : m_copies(other.m_copies), m_run(other.m_run) {
        ++m_copies.made;
        ++m_copies.alive;
    }
    ~Counted() { --m_copies.alive; }
    Counted& operator=(const Counted&) = delete;

    void operator()() const {
        if (m_run)
            m_run();
    }

private:
    Copies& m_copies;
    std::function<void()> m_run;
    [[maybe_unused]] std::array<char, 128> m_room{};
};

// Runs something when the last of its copies is destroyed.
class AtDestruction {
public:
    explicit AtDestruction(std::function<void()> action)
        : m_pAction(new std::function<void()>(std::move(action)), [](std::function<void()>* p) {
              (*p)();
              delete p;
          }) {}
    void operator()() const {}

private:
    std::shared_ptr<std::function<void()>> m_pAction;
};

// A task that says when it has begun and then waits for its own event, whatever the owner asks.
class DeafTask {
public:
    boost::function<void()> Task() {
        return [this] {
            entered.Set();
            release.Wait(WaitForever);
        };
    }

    ManualEvent entered;
    ManualEvent release;
};

void Nothing() {}

// Waits until everything posted so far has been run.
void Drain(ThreadTaskPool& pool) {
    ManualEvent done;
    pool.Post([&done] { done.Set(); });
    ASSERT_TRUE(done.Wait(Patience));
}

// Posts on another thread. Returns false when that thread finds the queue's lock held for good.
class PostElsewhere {
public:
    bool operator()(ThreadTaskPool& pool, const boost::function<void()>& task) {
        m_posted = std::async(std::launch::async, [&pool, task] { pool.Post(task); });
        return m_posted.wait_for(10s) == std::future_status::ready;
    }

private:
    std::future<void> m_posted; // waits for the thread in the end, after the lock is free again
};

long long Nanoseconds(const timespec& time) { return time.tv_sec * 1000000000LL + time.tv_nsec; }

long long Now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return Nanoseconds(now);
}

std::vector<int> Numbers(int count) {
    std::vector<int> numbers(static_cast<std::size_t>(count));
    std::iota(numbers.begin(), numbers.end(), 0);
    return numbers;
}

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
    ThePlatform().Watch([&](const timespec&) {
        if (aliveAtWait == -1)
            aliveAtWait = copies.alive.load();
        waited.Set();
    });
    EXPECT_TRUE(pool.StartThread(0));
    EXPECT_TRUE(waited.Wait(WaitForever));
    EXPECT_EQ(0, aliveAtWait);
    ThePlatform().Watch(nullptr);
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
    ThePlatform().Watch([&](const timespec&) { ++waits; });
    EXPECT_TRUE(pool.StartThread(0));
    EXPECT_TRUE(done.Wait(WaitForever)); // one with a limit would be counted
    EXPECT_EQ(0, waitsBeforeTheLast);
    ThePlatform().Watch(nullptr);
}

TEST(TaskPool, IdleWorkerWaitsAHundredMillisecondsAtATime) {
    constexpr long long Poll = 100 * 1000000LL;
    std::vector<long long> deadlines; // without those that are only resumed
    long long longest = 0;
    ManualEvent enough;
    ThePlatform().Watch([&](const timespec& deadline) {
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
    ThePlatform().Watch(nullptr);

    EXPECT_LE(longest, Poll);
    for (const long long deadline : deadlines) {
        EXPECT_GE(deadline - previous, Poll);
        previous = deadline;
    }
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
    g_unlockHook.run = [&](pthread_mutex_t*) { ranMeanwhile = ran.Wait(Patience); };
    pool.Post([&] { ran.Set(); }); // locks the queue first of all
    EXPECT_TRUE(ranMeanwhile);
}

TEST(TaskPool, TaskPostedAsSoonAsTheWorkerFreesTheEmptyQueueIsRun) {
    pthread_mutex_t* pQueueLock = nullptr;
    ManualEvent ran;
    ThreadTaskPool pool;
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

TEST(TaskPoolStop, FinishesTheRunningTaskAndDropsTheQueuedOnesUnrun) {
    Copies copies;
    std::atomic<int> nRuns{0};
    std::atomic<bool> finished{false};
    ManualEvent entered;
    ThreadTaskPool pool;
    EXPECT_TRUE(pool.StartThread(0));
    pool.Post([&] {
        entered.Set();
        finished = pool.IsStopThread(WaitForever);
    });
    for (int i = 0; i < 3; ++i)
        pool.Post(Counted(copies, [&] { ++nRuns; }));
    EXPECT_TRUE(entered.Wait(Patience));
    EXPECT_EQ(3, copies.alive);
    pool.StopThread(WaitForever, 0);
    EXPECT_TRUE(finished);
    EXPECT_FALSE(pool.IsThreadRunning());
    EXPECT_EQ(0, copies.alive);
    EXPECT_EQ(0, nRuns);

    EXPECT_TRUE(pool.StartThread(0));
    Drain(pool);
    EXPECT_EQ(0, nRuns);
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
    std::atomic<int> nRuns{0};
    DeafTask deaf;
    ThreadTaskPool pool;
    EXPECT_TRUE(pool.StartThread(0));
    pool.Post(deaf.Task());
    EXPECT_TRUE(deaf.entered.Wait(Patience));
    for (int i = 0; i < 3; ++i)
        pool.Post(Counted(copies, [&] { ++nRuns; }));
    pool.StopThread(0, 0);
    EXPECT_TRUE(pool.IsThreadRunning());
    EXPECT_EQ(0, copies.alive);

    deaf.release.Set();
    pool.StopThread(WaitForever, 0);
    EXPECT_FALSE(pool.IsThreadRunning());
    EXPECT_EQ(0, nRuns);
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
        while (ThePlatform().cancels == 0)
            sched_yield();
        pthread_testcancel();
    }
    void operator()() const {}

private:
    State& m_state;
    [[maybe_unused]] std::array<char, 128> m_room{};
};

class TaskPoolStopAtDestruction : public testing::TestWithParam<int> {};

TEST_P(TaskPoolStopAtDestruction, DoesNotEndTheProcess) {
    CancelledInDestruction::State state;
    state.nth = GetParam();
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

// Copies wait for ever on any thread but the one that made the first.
class DeafToCopies {
public:
    explicit DeafToCopies(DeafTask& deaf) : m_deaf(deaf), m_maker(pthread_self()) {}
    DeafToCopies(const DeafToCopies& other) : m_deaf(other.m_deaf), m_maker(other.m_maker) {
        if (pthread_equal(m_maker, pthread_self()) == 0)
            m_deaf.Task()();
    }
    ~DeafToCopies() = default;
    DeafToCopies& operator=(const DeafToCopies&) = delete;
    void operator()() const {}

private:
    DeafTask& m_deaf;
    pthread_t m_maker;
};

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
    // Destroyed once in the queue and once behind the run; a copy counts itself.
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
        [[maybe_unused]] std::array<char, 128> m_room{};
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
    std::atomic<int> nRuns{0};
    ManualEvent entered;
    ThreadTaskPool pool;
    EXPECT_TRUE(pool.StartThread(0));
    pool.Post([&] {
        entered.Set();
        pool.IsStopThread(WaitForever);
    });
    for (int i = 0; i < 3; ++i)
        pool.Post(Counted(copies, [&] { ++nRuns; }));
    EXPECT_TRUE(entered.Wait(Patience));
    EXPECT_TRUE(pool.StartThread(0));
    EXPECT_EQ(0, copies.alive);
    Drain(pool);
    EXPECT_EQ(0, nRuns);
}

TEST(TaskPoolDestruction, StopsTheWorkerAndDropsTheQueuedTasks) {
    Copies copies;
    std::atomic<int> nRuns{0};
    std::atomic<bool> finished{false};
    ManualEvent entered;
    {
        ThreadTaskPool pool;
        EXPECT_TRUE(pool.StartThread(0));
        pool.Post([&] {
            entered.Set();
            pool.IsStopThread(WaitForever);
            pool.Post(Counted(copies, [&] { ++nRuns; }));
            finished = true;
        });
        pool.Post(Counted(copies, [&] { ++nRuns; }));
        EXPECT_TRUE(entered.Wait(Patience));
    }
    EXPECT_TRUE(finished);
    EXPECT_EQ(0, copies.alive);
    EXPECT_EQ(0, nRuns);
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
