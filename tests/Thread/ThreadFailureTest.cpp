// SPDX-License-Identifier: MIT
// Concerns: the failures of a start, message by message, and the state that each leaves.
#include <Bases/Thread.h>

#include <cerrno>
#include <chrono>
#include <memory>
#include <new>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <Bases/Impl/Sem_mac.h>

#include "Thread/ThreadTest.h"
#include "support/BlockedThreads.h"

namespace {

using namespace VornTest;
using testing::ElementsAre;
using testing::IsEmpty;

using ThreadOutOfMemory = VornTest::ThreadTest;

class ThreadEventFailure : public ThreadTest {
protected:
    void TearDown() override {
        ExpectNoThread(m_thread);
        EXPECT_THAT(TakeCalls(), IsEmpty());
        EXPECT_EQ(0, m_body.nRuns);

        Thread other;
        EXPECT_EQ(Success, Start(other));
    }

    Started StartFailing(int nth) {
        m_thread.SetThreadHandler(&m_body);
        Platform::pthread_cond_init.At(static_cast<std::size_t>(nth)).Fail(ENOMEM);
        return Start(m_thread);
    }

    Body m_body;
    Thread m_thread;
};

TEST_F(ThreadEventFailure, AtTheStopEventBlocksEveryFurtherStartThere) {
    EXPECT_EQ(StopEventFailure, StartFailing(1));
    EXPECT_TRUE(m_thread.GetStopThreadEvent()->IsOpened());
    m_thread.StopThread(WaitForever, 1);
    EXPECT_EQ(StopEventFailure, Start(m_thread));
    EXPECT_EQ(StopEventFailure, Start(m_thread));
}

TEST_F(ThreadEventFailure, AtTheExitEventBlocksEveryFurtherStartAtTheStopEvent) {
    EXPECT_EQ(ExitEventFailure, StartFailing(2));
    EXPECT_TRUE(m_thread.GetStopThreadEvent()->IsOpened());
    EXPECT_EQ(StopEventFailure, Start(m_thread));
    m_thread.StopThread(WaitForever, 1); // without a thread it frees nothing
    EXPECT_EQ(StopEventFailure, Start(m_thread));
}

TEST_F(ThreadEventFailure, AtTheSuspendEventBlocksEveryFurtherStartThere) {
    EXPECT_EQ(SuspendEventFailure, StartFailing(3));
    EXPECT_FALSE(m_thread.GetStopThreadEvent()->IsOpened());
    EXPECT_EQ(SuspendEventFailure, Start(m_thread));
    m_thread.StopThread(WaitForever, 1);
    EXPECT_EQ(SuspendEventFailure, Start(m_thread));
}

TEST_F(ThreadEventFailure, IsTheSameWhereItsReportIsCancelled) {
    m_thread.SetThreadHandler(&m_body);
    PosixThread owner([&] {
        Platform::pthread_cond_init.At(2).Fail(ENOMEM);
        Platform::puts.At(1).Do([](const char*) {
            pthread_cancel(pthread_self());
            pthread_testcancel();
            return 0;
        });
        m_thread.StartThread(0);
    });
    EXPECT_TRUE(owner.Join());
    TakeCalls(); // which made and joined the owner
    Platform::puts.Reset();
    EXPECT_TRUE(m_thread.GetStopThreadEvent()->IsOpened());
    EXPECT_EQ(StopEventFailure, Start(m_thread));
}

// Returns whether the start threw because its nth allocation found no memory.
bool StartRunsOutOfMemory(Thread& thread, int nth) {
    try {
        Platform::operator_new.At(static_cast<std::size_t>(nth)).Fail(ENOMEM);
        EXPECT_TRUE(thread.StartThread(0));
    } catch (const std::bad_alloc&) {
        return true;
    }
    Platform::operator_new.Reset();
    return false;
}

TEST_F(ThreadOutOfMemory, StartThrowsLeavesNoThreadAndMaySucceedLater) {
    Body body;
    Thread thread;
    thread.SetThreadHandler(&body);
    int nFailures = 0;
    while (StartRunsOutOfMemory(thread, nFailures + 1)) {
        ++nFailures;
        ASSERT_FALSE(thread.IsThreadRunning()) << "allocation " << nFailures;
        ExpectNoThread(thread);
        EXPECT_FALSE(thread.GetStopThreadEvent()->IsOpened());
        thread.StopThread(WaitForever, 1);
    }
    EXPECT_GE(nFailures, 2); // the handle and the record of the start, at least
    EXPECT_THAT(TakeCalls(), ElementsAre("create", "usleep 100"));
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(1, body.nRuns);
}

class ThreadCreationFailure : public ThreadTest {
protected:
    ThreadCreationFailure() { m_thread.SetThreadHandler(&m_body); }

    void StartWithoutThread(int bSuspended = 0) {
        m_createResult = 1; // the smallest error
        EXPECT_EQ(Success, Start(m_thread, bSuspended));
        EXPECT_THAT(TakeCalls(), ElementsAre("create", "usleep 100"));
        m_createResult = 0;
    }

    void ExpectStoppedWithoutJoin() {
        EXPECT_THAT(TakeCalls(), IsEmpty());
        ExpectNoThread(m_thread);
        EXPECT_FALSE(m_thread.GetStopThreadEvent()->IsOpened());
        EXPECT_EQ(0, m_body.nRuns);
    }

    Body m_body;
    Thread m_thread;
};

TEST_F(ThreadCreationFailure, CountsAsAStartedThreadThatNeverRuns) {
    StartWithoutThread();
    EXPECT_TRUE(m_thread.IsThreadRunning());
    EXPECT_NE(nullptr, m_thread.GetHandle());
    EXPECT_EQ(0, m_thread.GetThreadId());
    EXPECT_TRUE(m_thread.ResumeThread());
    EXPECT_FALSE(m_thread.IsStopThread(0));
    EXPECT_TRUE(m_thread.StopThreadEvent());
    EXPECT_TRUE(m_thread.IsStopThread(0));
    EXPECT_EQ(0, m_body.nRuns);
}

TEST_F(ThreadCreationFailure, EveryStopReturnsWithoutWaitingOrJoining) {
    for (const StopCall call :
         {StopCall{WaitForever, 0}, StopCall{WaitForever, 1}, StopCall{0, 0}, StopCall{0, 1}}) {
        StartWithoutThread(call.bForce);
        m_thread.StopThread(call.timeoutMs, call.bForce);
        ExpectStoppedWithoutJoin();
    }
    EXPECT_EQ(Success, Start(m_thread));
    m_thread.StopThread(WaitForever, 0);
    EXPECT_EQ(1, m_body.nRuns);
}

TEST_F(ThreadCreationFailure, DestructionReturnsWithoutWaitingOrJoining) {
    auto pThread = std::make_unique<Thread>();
    m_createResult = EAGAIN;
    EXPECT_TRUE(pThread->StartThread(0));
    TakeCalls();
    pThread.reset();
    EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(ThreadCreationFailure, CanBeStartedAgainAtOnce) {
    StartWithoutThread();
    EXPECT_EQ(Success, Start(m_thread));
    m_thread.StopThread(WaitForever, 0);
    EXPECT_EQ(1, m_body.nRuns);
}

TEST_F(ThreadCreationFailure, ReportedAsANegativeNumberFailsTheStart) {
    m_createResult = -1;
    EXPECT_EQ(ThreadFailure, Start(m_thread));
    EXPECT_THAT(TakeCalls(), ElementsAre("create")); // and no pause
    ExpectStoppedWithoutJoin();

    m_createResult = 0;
    EXPECT_EQ(Success, Start(m_thread));
    m_thread.StopThread(WaitForever, 0);
    EXPECT_EQ(1, m_body.nRuns);
}

TEST(ThreadDeathTest, ExceptionThatLeavesTheBodyEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            Body body([](Thread&) { throw std::runtime_error("left the body"); });
            Thread thread;
            thread.SetThreadHandler(&body);
            thread.StartThread(0);
            thread.StopThread(WaitForever, 0);
            _exit(0);
        },
        testing::KilledBySignal(SIGABRT), "left the body");
}

} // namespace
