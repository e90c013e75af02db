// SPDX-License-Identifier: MIT
// Concerns: the small queries with and without a thread; how a start goes, which body it runs, and
// what a suspended start holds back.
#include <Bases/Thread.h>

#include <atomic>
#include <chrono>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include <Bases/Impl/Sem_mac.h>

#include "Thread/ThreadTest.h"
#include "support/Slot.h"

namespace {

using namespace VornTest;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

using ThreadLayout = VornTest::ThreadTest;
using ThreadWithoutStart = VornTest::ThreadTest;
using ThreadPriority = VornTest::ThreadTest;
using ThreadSleep = VornTest::ThreadTest;
using ThreadYield = VornTest::ThreadTest;
using ThreadStart = VornTest::ThreadTest;
using ThreadSuspended = VornTest::ThreadTest;

TEST_F(ThreadLayout, VirtualOperationsKeepTheirSlots) {
    EXPECT_EQ(2u, Slot(&Thread::StopThread)); // the destructor has two
    EXPECT_EQ(3u, Slot(&Thread::OnPreThreadStart));
    EXPECT_EQ(4u, Slot(&Thread::OnThreadEntry));
    EXPECT_EQ(0u, Slot(&ThreadHandler::OnPreThreadStart));
    EXPECT_EQ(1u, Slot(&ThreadHandler::OnThreadEntry));
}

TEST_F(ThreadWithoutStart, HasNoThreadAndAnswersSo) {
    Thread thread;
    ExpectNoThread(thread);
    EXPECT_EQ(15, thread.GetThreadPriority());
    ASSERT_NE(nullptr, thread.GetStopThreadEvent());
    EXPECT_FALSE(thread.GetStopThreadEvent()->IsOpened());
}

TEST_F(ThreadWithoutStart, StopDoesNothing) {
    Thread thread;
    thread.StopThread(WaitForever, 0);
    thread.StopThread(WaitForever, 1);
    ExpectNoThread(thread);
    EXPECT_FALSE(thread.GetStopThreadEvent()->Wait(0));
    EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(ThreadWithoutStart, DefaultsLetTheStartGoOnAndEndAtOnce) {
    Thread thread;
    EXPECT_EQ(1, thread.OnPreThreadStart());
    EXPECT_EQ(0, thread.OnThreadEntry());
}

TEST_F(ThreadWithoutStart, AsksTheHandlerAndReturnsItsResults) {
    Thread thread;
    Body body;
    body.allow = [](Thread&) { return 5; };
    thread.SetThreadHandler(&body);
    EXPECT_EQ(5, thread.OnPreThreadStart());
    EXPECT_EQ(&thread, body.pAsked);
    EXPECT_EQ(7, thread.OnThreadEntry());
    EXPECT_EQ(&thread, body.pRun);

    thread.SetThreadHandler(nullptr);
    EXPECT_EQ(1, thread.OnPreThreadStart());
    EXPECT_EQ(0, thread.OnThreadEntry());
    EXPECT_EQ(1, body.nRuns);
}

TEST_F(ThreadWithoutStart, EntryRoutineWithoutRecordReturnsNull) {
    EXPECT_EQ(nullptr, Thread::ThreadEntryProc(nullptr));
}

TEST_F(ThreadWithoutStart, ObjectsWithoutThreadAreEqual) {
    const Thread one;
    const Thread other;
    EXPECT_TRUE(one == other);
    EXPECT_FALSE(one != other);
}

TEST_F(ThreadPriority, IsStoredAndNeverApplied) {
    Body body([](Thread& self) {
        int policy = -1;
        sched_param parameter{};
        pthread_getschedparam(pthread_self(), &policy, &parameter);
        EXPECT_EQ(0, parameter.sched_priority);
        EXPECT_EQ(-3, self.GetThreadPriority());
    });
    Thread thread;
    thread.SetThreadHandler(&body);
    thread.SetThreadPriority(-3);
    EXPECT_EQ(-3, thread.GetThreadPriority());
    EXPECT_EQ(Success, Start(thread));
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(1, body.nRuns);
    EXPECT_EQ(-3, thread.GetThreadPriority());
}

TEST_F(ThreadSleep, TakesMilliseconds) {
    Thread thread;
    EXPECT_GE(TimeOf([&] { thread.SleepThread(20); }), 20ms);
    EXPECT_THAT(TakeCalls(), ElementsAre("usleep 20000"));
}

TEST_F(ThreadSleep, ComputesMicrosecondsIn32Bits) {
    Thread thread;
    m_skipsSleep = true;
    thread.SleepThread(0);
    thread.SleepThread(4294967);
    thread.SleepThread(4294968);
    thread.SleepThread(5000000);
    EXPECT_THAT(TakeCalls(),
                ElementsAre("usleep 0", "usleep 4294967000", "usleep 704", "usleep 705032704"));
}

TEST_F(ThreadYield, ReportsWhatThePlatformSays) {
    Thread thread;
    EXPECT_TRUE(thread.YieldThread());
    for (const int failure : {-1, 1}) {
        Platform::sched_yield.At(1).Answer(failure);
        EXPECT_FALSE(thread.YieldThread()) << failure;
    }
}

TEST_F(ThreadStart, RunsTheHandlersBodyOnAThreadOfItsOwn) {
    pthread_t inside{};
    Body body([&](Thread&) { inside = pthread_self(); });
    Thread thread;
    StartWith(thread, body);
    thread.StopThread(WaitForever, 0);

    EXPECT_EQ(1, body.nRuns);
    EXPECT_EQ(&thread, body.pRun);
    EXPECT_FALSE(pthread_equal(pthread_self(), inside));
    EXPECT_EQ(&thread, body.pAsked);
    EXPECT_TRUE(pthread_equal(pthread_self(), body.askedOn));
}

TEST_F(ThreadStart, RunsTheBodyOfASubclass) {
    class Counting : public Thread {
    public:
        int OnThreadEntry() override {
            ++nRuns;
            return 0;
        }
        std::atomic<int> nRuns{0};
    };
    Counting thread;
    EXPECT_EQ(Success, Start(thread));
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(1, thread.nRuns);
}

TEST_F(ThreadStart, WithoutHandlerTheBodyEndsAtOnce) {
    Thread thread;
    EXPECT_EQ(Success, Start(thread));
    EXPECT_TRUE(thread.IsThreadRunning());
    thread.StopThread(Patience, 0);
    ExpectNoThread(thread);
}

TEST_F(ThreadStart, ThenPausesForAHundredMicroseconds) {
    ObedientBody body;
    Thread thread;
    StartWith(thread, body);
    EXPECT_THAT(TakeCalls(), ElementsAre("create", "usleep 100"));
}

TEST_F(ThreadStart, RefusedByTheHandlerPrintsAndCreatesNothing) {
    Body body;
    bool madeBefore = true;
    body.allow = [&](Thread& self) {
        madeBefore = self.IsThreadRunning() || self.GetStopThreadEvent()->IsOpened();
        return 0;
    };
    Thread thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ((Started{false, ""}), Start(thread));
    EXPECT_FALSE(madeBefore);
    ExpectNoThread(thread);
    EXPECT_FALSE(thread.GetStopThreadEvent()->IsOpened());
    EXPECT_THAT(TakeCalls(), IsEmpty());
    EXPECT_EQ(0, body.nRuns);

    body.allow = nullptr;
    EXPECT_EQ(Success, Start(thread));
}

TEST_F(ThreadStart, RefusedByASubclassDoesNotAskTheHandler) {
    class Refusing : public Thread {
    public:
        int OnPreThreadStart() override { return 0; }
    };
    Body body;
    Refusing thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ((Started{false, ""}), Start(thread));
    EXPECT_EQ(nullptr, body.pAsked);
}

TEST_F(ThreadStart, AnyAnswerButZeroLetsItGoOn) {
    Body body;
    body.allow = [](Thread&) { return -1; };
    Thread thread;
    StartWith(thread, body);
}

TEST_F(ThreadStart, IdentifiesTheThreadByItsHandle) {
    std::atomic<bool> sameHandle{false};
    std::atomic<int> idInside{0};
    std::atomic<int> expectedId{0};
    Body body([&](Thread& self) {
        sameHandle = pthread_equal(pthread_self(), *self.GetHandle()) != 0;
        idInside = self.GetThreadId();
        expectedId = LowBits(pthread_self());
        self.IsStopThread(WaitForever);
    });
    Thread thread;
    const Thread none;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    EXPECT_EQ(LowBits(*thread.GetHandle()), thread.GetThreadId());
    EXPECT_TRUE(thread != none);
    EXPECT_FALSE(thread == none);
    EXPECT_TRUE(thread == thread);
    EXPECT_FALSE(thread != thread);

    Thread other;
    EXPECT_EQ(Success, Start(other));
    EXPECT_FALSE(thread == other);
    EXPECT_TRUE(thread != other);

    thread.StopThread(WaitForever, 0);
    EXPECT_TRUE(sameHandle);
    EXPECT_EQ(expectedId, idInside);
    EXPECT_NE(0, expectedId);
    EXPECT_TRUE(thread == none);
}

using StartRoutine = void* (*)(void*);
std::atomic<StartRoutine> g_startRoutine{nullptr};

void* StartWithCancelDisabled(void* pArgs) {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    return g_startRoutine.load()(pArgs);
}

TEST_F(ThreadStart, BodyBeginsWithCancellationEnabled) {
    int state = -1;
    Body body([&](Thread&) { pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &state); });
    Thread thread;
    thread.SetThreadHandler(&body);
    Platform::pthread_create.Do(
        [](pthread_t* handle, const pthread_attr_t* attributes, StartRoutine routine, void* args) {
            g_startRoutine = routine;
            return Platform::pthread_create.Real(handle, attributes, StartWithCancelDisabled, args);
        });
    EXPECT_EQ(Success, Start(thread));
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(PTHREAD_CANCEL_ENABLE, state);
}

TEST_F(ThreadStart, MayBeRepeatedAfterEveryStop) {
    Body body;
    Thread thread;
    thread.SetThreadHandler(&body);
    for (int i = 1; i <= 20; ++i) {
        EXPECT_EQ(Success, Start(thread, i % 2));
        thread.StopThread(WaitForever, 0);
        ExpectNoThread(thread);
        EXPECT_EQ(i, body.nRuns);
    }
}

TEST_F(ThreadStart, EndedBodyStaysAThreadUntilStopJoinsIt) {
    ManualEvent ended;
    Body body([&](Thread&) { ended.Set(); });
    Thread thread;
    StartWith(thread, body);
    EXPECT_TRUE(ended.Wait(Patience));
    EXPECT_TRUE(thread.IsThreadRunning());
    EXPECT_NE(nullptr, thread.GetHandle());
    EXPECT_FALSE(thread.IsStopThread(0));
    EXPECT_TRUE(thread.ResumeThread());
    EXPECT_TRUE(thread.StopThreadEvent());
    EXPECT_TRUE(thread.IsStopThread(0));
    thread.StopThread(WaitForever, 0);
    ExpectNoThread(thread);
    EXPECT_FALSE(thread.GetStopThreadEvent()->IsOpened());
}

TEST_F(ThreadSuspended, HoldsTheBodyUntilResume) {
    ManualEvent entered;
    std::atomic<bool> stopAsked{true};
    Body body([&](Thread& self) {
        stopAsked = self.IsStopThread(0);
        entered.Set();
    });
    Thread thread;
    StartWith(thread, body, 1);
    EXPECT_FALSE(entered.Wait(50));
    EXPECT_TRUE(thread.IsThreadRunning());
    EXPECT_TRUE(thread.ResumeThread());
    EXPECT_TRUE(entered.Wait(Patience));
    EXPECT_FALSE(stopAsked);
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(1, body.nRuns);
}

TEST_F(ThreadSuspended, StopOpensTheGateAndTheBodySeesTheRequest) {
    std::atomic<bool> stopAsked{false};
    Body body([&](Thread& self) { stopAsked = self.IsStopThread(0); });
    Thread thread;
    thread.SetThreadHandler(&body);
    Platform::pthread_cond_wait.Record(true);
    EXPECT_EQ(Success, Start(thread, -1));
    ASSERT_TRUE(BegunWaits(1)); // at the gate
    bool askedFirst = false;
    Platform::pthread_cond_broadcast.At(1).Do([&](pthread_cond_t* posted) {
        askedFirst = thread.GetStopThreadEvent()->Wait(0);
        return Platform::pthread_cond_broadcast.Real(posted);
    });
    thread.StopThread(WaitForever, 0);
    EXPECT_TRUE(askedFirst);
    EXPECT_EQ(1, body.nRuns);
    EXPECT_TRUE(stopAsked);
    ExpectNoThread(thread);
}

TEST_F(ThreadSuspended, StopRequestAloneDoesNotOpenTheGate) {
    ManualEvent entered;
    Body body([&](Thread&) { entered.Set(); });
    Thread thread;
    StartWith(thread, body, 1);
    EXPECT_TRUE(thread.StopThreadEvent());
    EXPECT_FALSE(entered.Wait(50));
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(1, body.nRuns);
}

TEST_F(ThreadSuspended, DestructionOpensTheGate) {
    Body body;
    {
        Thread thread;
        StartWith(thread, body, 1);
    }
    EXPECT_EQ(1, body.nRuns);
}

TEST_F(ThreadSuspended, CancelledAtTheGateNeverRunsItsBody) {
    Body body;
    Thread thread;
    StartWith(thread, body, 1);
    pthread_cancel(*thread.GetHandle());
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(0, body.nRuns);
    EXPECT_EQ(Success, Start(thread, 1));
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(1, body.nRuns);
}

} // namespace
