// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_THREAD_THREAD_TEST_H
#define VORN_BASES_TESTS_THREAD_THREAD_TEST_H

// Bodies of threads, and what the library asks of the platform for them.

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include <Bases/Impl/Sem_mac.h>
#include <Bases/Thread.h>

#include "Thread/ManualEvent.h"
#include "fault/Platform.h"
#include "support/StdoutCapture.h"

namespace VornTest {

using Vorn::Thread;
using Vorn::ThreadHandler;
using Vorn::WaitForever;

// The calls for threads that the library makes, in their order.
class ThreadCalls {
public:
    void Log(std::string call) {
        const std::lock_guard lock(m_lock);
        m_calls.push_back(std::move(call));
    }
    std::vector<std::string> Take() {
        const std::lock_guard lock(m_lock);
        return std::exchange(m_calls, {});
    }

private:
    std::mutex m_lock;
    std::vector<std::string> m_calls;
};

/// Logs the calls of all threads from its construction on.
class ThreadTest : public testing::Test {
protected:
    ThreadTest() {
        Platform::pthread_create.OnAnyThread().Do([this](pthread_t* thread,
                                                         const pthread_attr_t* attributes,
                                                         void* (*routine)(void*), void* args) {
            m_calls.Log(attributes == nullptr ? "create" : "create with attributes");
            return m_createResult != 0
                       ? m_createResult.load()
                       : Platform::pthread_create.Real(thread, attributes, routine, args);
        });
        Platform::pthread_cancel.OnAnyThread().Do([this](pthread_t thread) {
            m_calls.Log("cancel");
            return Platform::pthread_cancel.Real(thread);
        });
        Platform::pthread_join.OnAnyThread().Do([this](pthread_t thread, void** result) {
            m_calls.Log("join");
            return Platform::pthread_join.Real(thread, result);
        });
        Platform::usleep.OnAnyThread().Do([this](useconds_t us) {
            m_calls.Log("usleep " + std::to_string(us));
            return m_skipsSleep ? 0 : Platform::usleep.Real(us);
        });
    }
    ~ThreadTest() override { Platform::Reset(); }
    ThreadTest(const ThreadTest&) = delete;
    ThreadTest& operator=(const ThreadTest&) = delete;

    std::vector<std::string> TakeCalls() { return m_calls.Take(); }

    std::atomic<int> m_createResult{0}; // not 0: the answer, and no thread is made
    std::atomic<bool> m_skipsSleep{false};

private:
    ThreadCalls m_calls;
};

using RunBody = std::function<void(Thread&)>;

// A body, and how often it ran.
class Body : public ThreadHandler {
public:
    Body() = default;
    explicit Body(RunBody run) : m_run(std::move(run)) {}

    int OnPreThreadStart(Thread* pThread) override {
        pAsked = pThread;
        askedOn = pthread_self();
        return allow ? allow(*pThread) : 1;
    }

    int OnThreadEntry(Thread* pThread) override {
        ++nRuns;
        pRun = pThread;
        if (m_run)
            m_run(*pThread);
        return 7;
    }

    std::function<int(Thread&)> allow;
    Thread* pAsked = nullptr;
    pthread_t askedOn{};
    Thread* pRun = nullptr;
    std::atomic<int> nRuns{0};

private:
    RunBody m_run;
};

// A body that says when it has begun and then waits for its own event, whatever the owner asks.
class DeafBody : public Body {
public:
    DeafBody()
        : Body([this](Thread&) {
              entered.Set();
              release.Wait(WaitForever);
          }) {}

    ManualEvent entered;
    ManualEvent release;
};

// A body that says when it has begun and then obeys.
class ObedientBody : public Body {
public:
    ObedientBody()
        : Body([this](Thread& thread) {
              entered.Set();
              thread.IsStopThread(WaitForever);
          }) {}

    ManualEvent entered;
};

struct StopCall {
    unsigned int timeoutMs;
    int bForce;
    bool operator==(const StopCall&) const = default;
};

class RecordingThread : public Thread {
public:
    explicit RecordingThread(std::vector<StopCall>& calls) : m_calls(calls) {}

    void StopThread(unsigned int timeoutMs, int bForce) override {
        m_calls.push_back({timeoutMs, bForce});
        Thread::StopThread(timeoutMs, bForce);
    }

private:
    std::vector<StopCall>& m_calls;
};

struct Started {
    bool result;
    std::string printed;
    bool operator==(const Started&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Started& started) {
    return out << started.result << ", printed \"" << started.printed << '"';
}

inline Started Start(Thread& thread, int bSuspended = 0) {
    const StdoutCapture capture;
    const bool result = thread.StartThread(bSuspended);
    return {result, capture.Text()};
}

inline const Started Success{true, ""};
inline const Started StopEventFailure{false, "[Thread] Create stop event failure.\r\n"};
inline const Started ExitEventFailure{false, "[Thread] Create exit event failure.\r\n"};
inline const Started SuspendEventFailure{false, "[Thread] Create suspend event failure.\r\n"};
inline const Started ThreadFailure{false, "[Thread] Create thread failure.\r\n"};

/// Starts a thread with this handler. There is no class for it: a subclass that does not stop its
/// thread before it is destroyed races with the body.
inline void StartWith(Thread& thread, ThreadHandler& handler, int bSuspended = 0) {
    thread.SetThreadHandler(&handler);
    EXPECT_EQ(Success, Start(thread, bSuspended));
}

inline void ExpectNoThread(Thread& thread) {
    EXPECT_FALSE(thread.IsThreadRunning());
    EXPECT_EQ(nullptr, thread.GetHandle());
    EXPECT_EQ(0, thread.GetThreadId());
    EXPECT_TRUE(thread.IsStopThread(0));
    EXPECT_TRUE(thread.IsStopThread(WaitForever));
    EXPECT_FALSE(thread.StopThreadEvent());
    EXPECT_FALSE(thread.ResumeThread());
}

inline int LowBits(pthread_t thread) { return static_cast<int>(static_cast<unsigned int>(thread)); }

inline std::chrono::steady_clock::duration TimeOf(const std::function<void()>& action) {
    const auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::steady_clock::now() - start;
}

// Of the recorded waits of Platform::pthread_cond_wait.
// Returns false when fewer waits without limit have begun within the test's patience.
inline bool BegunWaits(std::size_t count) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(Patience);
    while (Platform::pthread_cond_wait.Count() < count && std::chrono::steady_clock::now() < end)
        sched_yield();
    return Platform::pthread_cond_wait.Count() >= count;
}

} // namespace VornTest

#endif
