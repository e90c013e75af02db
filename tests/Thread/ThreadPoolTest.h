// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_THREAD_THREAD_POOL_TEST_H
#define VORN_BASES_TESTS_THREAD_THREAD_POOL_TEST_H

// Tasks that report what happens to them, and ways to watch the worker.

#include <array>
#include <atomic>
#include <chrono>
#include <ctime>
#include <functional>
#include <future>
#include <memory>
#include <numeric>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <pthread.h>

#include <Bases/Thread.h>

#include "Thread/ManualEvent.h"
#include "fault/Platform.h"

namespace VornTest {

using Vorn::Thread;
using Vorn::ThreadTaskPool;
using Vorn::WaitForever;

/// Calls this with the deadline of each limited wait of any thread, until Platform::Reset.
inline void WatchWaits(std::function<void(const timespec&)> onWait) {
    Platform::pthread_cond_timedwait.OnAnyThread().Do(
        [onWait = std::move(onWait)](pthread_cond_t* posted, pthread_mutex_t* lock,
                                     const timespec* deadline) {
            onWait(*deadline);
            return Platform::pthread_cond_timedwait.Real(posted, lock, deadline);
        });
}

/// Run once by this thread after it has next unlocked the lock.
struct UnlockHook {
    std::function<void(pthread_mutex_t*)> run;
    pthread_mutex_t* pLock = nullptr; // null: the one that this thread locks next
};

inline thread_local UnlockHook g_unlockHook;

/// Lets every thread's hook be run.
inline void HookUnlocks() {
    g_unlockHook = {};
    Platform::pthread_mutex_lock.OnAnyThread().Do([](pthread_mutex_t* lock) {
        if (g_unlockHook.run && g_unlockHook.pLock == nullptr)
            g_unlockHook.pLock = lock;
        return Platform::pthread_mutex_lock.Real(lock);
    });
    Platform::pthread_mutex_unlock.OnAnyThread().Do([](pthread_mutex_t* lock) {
        const int status = Platform::pthread_mutex_unlock.Real(lock);
        if (g_unlockHook.run && g_unlockHook.pLock == lock)
            std::exchange(g_unlockHook, {}).run(lock);
        return status;
    });
}

// How often a task's function object was copied, how many of them live, and how often one was run.
struct Copies {
    std::atomic<int> made{0};
    std::atomic<int> alive{0};
    std::atomic<int> runs{0};
};

// A function object that counts its copies and runs. It is too large for the buffer inside
// boost::function, so that a swap of two task objects copies nothing.
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
        ++m_copies.runs;
        if (m_run)
            m_run();
    }

private:
    Copies& m_copies;
    std::function<void()> m_run;
    [[maybe_unused]] std::array<char, 128> m_padding{};
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

inline void Nothing() {}

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

// Copies wait for ever on any thread but the one that made the first. A move of a task object
// copies nothing, as with Counted.
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
    [[maybe_unused]] std::array<char, 128> m_padding{};
};

// A task that says when it has begun, obeys, and perhaps does something more before it ends.
class ObedientTask {
public:
    boost::function<void()> Task(ThreadTaskPool& pool, std::function<void()> last = Nothing) {
        return [this, &pool, last = std::move(last)] {
            entered.Set();
            const bool asked = pool.IsStopThread(WaitForever);
            last();
            finished = asked;
        };
    }

    ManualEvent entered;
    std::atomic<bool> finished{false};
};

inline void PostCounted(ThreadTaskPool& pool, Copies& copies, int count) {
    for (int i = 0; i < count; ++i)
        pool.Post(Counted(copies));
}

// Waits until everything posted so far has been run.
inline void Drain(ThreadTaskPool& pool) {
    ManualEvent done;
    pool.Post([&done] { done.Set(); });
    ASSERT_TRUE(done.Wait(Patience));
}

// Posts on another thread. Returns false when that thread finds the queue's lock held for good.
class PostElsewhere {
public:
    bool operator()(ThreadTaskPool& pool, const boost::function<void()>& task) {
        m_posted = std::async(std::launch::async, [&pool, task] { pool.Post(task); });
        return m_posted.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
    }

private:
    std::future<void> m_posted; // waits for the thread in the end, after the lock is free again
};

inline long long Nanoseconds(const timespec& time) {
    return time.tv_sec * 1000000000LL + time.tv_nsec;
}

inline long long Now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return Nanoseconds(now);
}

inline std::vector<int> Numbers(int count) {
    std::vector<int> numbers(static_cast<std::size_t>(count));
    std::iota(numbers.begin(), numbers.end(), 0);
    return numbers;
}

} // namespace VornTest

#endif
