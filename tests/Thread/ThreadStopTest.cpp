// SPDX-License-Identifier: MIT
// Concerns: every way a stop can go (asked, timed out, forced, from the body itself) in every state
// of the thread; what a start on top of a running thread does; that no way of ending a thread leaks
// or hangs.
#include <Bases/Thread.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include <Bases/Impl/Sem_mac.h>

#include "Thread/ThreadTest.h"
#include "support/BlockedThreads.h"

namespace {

using namespace VornTest;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

using ThreadStop = VornTest::ThreadTest;
using ThreadStopRequest = VornTest::ThreadTest;
using ThreadRestart = VornTest::ThreadTest;
using ThreadDestruction = VornTest::ThreadTest;

TEST_F(ThreadStop, AsksTheBodyAndJoinsIt) {
    ObedientBody body;
    Thread thread;
    StartWith(thread, body);
    EXPECT_TRUE(body.entered.Wait(Patience));
    TakeCalls();
    thread.StopThread(WaitForever, 0);
    EXPECT_THAT(TakeCalls(), ElementsAre("join"));
    ExpectNoThread(thread);
}

TEST_F(ThreadStop, ForcedDoesNotCancelABodyThatEndsInTime) {
    ObedientBody body;
    Thread thread;
    StartWith(thread, body);
    EXPECT_TRUE(body.entered.Wait(Patience));
    TakeCalls();
    thread.StopThread(Patience, 1);
    EXPECT_THAT(TakeCalls(), ElementsAre("join"));
    ExpectNoThread(thread);
}

TEST_F(ThreadStop, NotForcedLeavesADeafBodyRunningWithTheRequestStanding) {
    DeafBody body;
    Thread thread;
    StartWith(thread, body);
    EXPECT_TRUE(body.entered.Wait(Patience));
    EXPECT_FALSE(thread.IsStopThread(0));
    pthread_t* const pHandle = thread.GetHandle();
    TakeCalls();

    thread.StopThread(0, 0);
    EXPECT_TRUE(thread.IsThreadRunning());
    EXPECT_EQ(pHandle, thread.GetHandle());
    EXPECT_TRUE(thread.IsStopThread(0));
    EXPECT_TRUE(thread.GetStopThreadEvent()->IsOpened());
    EXPECT_THAT(TakeCalls(), IsEmpty());

    body.release.Set();
    thread.StopThread(WaitForever, 0);
    EXPECT_THAT(TakeCalls(), ElementsAre("join"));
    ExpectNoThread(thread);
}

TEST_F(ThreadStop, WaitsForTheGivenTime) {
    DeafBody body;
    Thread thread;
    StartWith(thread, body);
    EXPECT_GE(TimeOf([&] { thread.StopThread(60, 0); }), 60ms);
    EXPECT_TRUE(thread.IsThreadRunning());
    body.release.Set();
}

TEST_F(ThreadStop, ForcedCancelsADeafBodyAndJoinsIt) {
    DeafBody body;
    Thread thread;
    StartWith(thread, body);
    EXPECT_TRUE(body.entered.Wait(Patience));
    thread.StopThread(0, 0);
    EXPECT_TRUE(thread.IsThreadRunning());
    TakeCalls();
    thread.StopThread(0, 1);
    EXPECT_THAT(TakeCalls(), ElementsAre("cancel", "join"));
    ExpectNoThread(thread);
    EXPECT_FALSE(thread.GetStopThreadEvent()->IsOpened());
}

TEST_F(ThreadStop, CancelUnwindsTheBody) {
    std::atomic<bool> destroyed{false};
    DeafBody deaf;
    Body body([&](Thread& self) {
        const std::unique_ptr<int, std::function<void(int*)>> local(new int(0), [&](int* pInt) {
            destroyed = true;
            delete pInt;
        });
        deaf.OnThreadEntry(&self);
    });
    Thread thread;
    StartWith(thread, body);
    EXPECT_TRUE(deaf.entered.Wait(Patience));
    EXPECT_FALSE(destroyed);
    thread.StopThread(0, 1);
    EXPECT_TRUE(destroyed);
}

TEST_F(ThreadStop, ForcedCancelsABodyThatSleeps) {
    ManualEvent entered;
    Body body([&](Thread& self) {
        entered.Set();
        self.SleepThread(4000000);
    });
    Thread thread;
    StartWith(thread, body);
    EXPECT_TRUE(entered.Wait(Patience));
    thread.StopThread(0, 1);
    ExpectNoThread(thread);
}

TEST_F(ThreadStop, AfterACancelInAWaitTheEventAndTheThreadWorkOn) {
    DeafBody body;
    Thread thread;
    StartWith(thread, body);
    EXPECT_TRUE(body.entered.Wait(Patience));
    thread.StopThread(0, 1);

    body.entered.Reset();
    EXPECT_EQ(Success, Start(thread));
    EXPECT_TRUE(body.entered.Wait(Patience));
    EXPECT_FALSE(thread.IsStopThread(0));
    EXPECT_TRUE(body.release.Set());
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(2, body.nRuns);
    ExpectNoThread(thread);
}

TEST_F(ThreadStop, ForcedAtAnyMomentOfAStartLeavesNoThread) {
    DeafBody body;
    Thread thread;
    thread.SetThreadHandler(&body);
    for (int i = 0; i < 300; ++i) {
        ASSERT_TRUE(thread.StartThread(i % 3 == 0));
        if (i % 2 == 0)
            thread.ResumeThread();
        thread.StopThread(0, 1);
        ASSERT_FALSE(thread.IsThreadRunning());
    }
}

TEST_F(ThreadStop, FinishesTheJoinWhenTheOwnerIsCancelledMeanwhile) {
    ManualEvent stopping;
    ManualEvent release;
    Body body([&](Thread&) {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
        stopping.Set();
        release.Wait(WaitForever);
    });
    Thread thread;
    StartWith(thread, body);
    EXPECT_TRUE(stopping.Wait(Patience));
    std::atomic<bool> begun{false};
    std::atomic<bool> joined{false};
    VornTest::PosixThread owner([&] {
        begun = true;
        thread.StopThread(0, 1);
        joined = !thread.IsThreadRunning();
    });
    while (!begun)
        sched_yield();
    VornTest::WaitUntilBlocked({&owner});
    owner.Cancel();
    release.Set();
    owner.Join();
    EXPECT_TRUE(joined);
    ExpectNoThread(thread);
}

TEST_F(ThreadStop, FromTheBodyItselfReturnsWhenItsTimeIsUp) {
    std::atomic<bool> runningAfter{false};
    Body body([&](Thread& self) {
        self.StopThread(1, 0);
        runningAfter = self.IsThreadRunning() && self.IsStopThread(0);
    });
    Thread thread;
    StartWith(thread, body);
    thread.StopThread(WaitForever, 0);
    EXPECT_TRUE(runningAfter);
    ExpectNoThread(thread);
}

TEST_F(ThreadStop, ForcedFromTheBodyItselfEndsIt) {
    std::atomic<bool> goneOn{false};
    Body body([&](Thread& self) {
        self.StopThread(0, 1);
        goneOn = true;
    });
    Thread thread;
    StartWith(thread, body);
    thread.StopThread(WaitForever, 0);
    EXPECT_FALSE(goneOn);
    ExpectNoThread(thread);
}

TEST_F(ThreadStop, ForcedFromABodyThatPutCancellationOffLeavesItRunning) {
    std::atomic<bool> runningAfter{false};
    Body body([&](Thread& self) {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
        self.StopThread(0, 1);
        runningAfter = self.IsThreadRunning();
    });
    Thread thread;
    StartWith(thread, body);
    thread.StopThread(WaitForever, 0);
    EXPECT_TRUE(runningAfter);
    ExpectNoThread(thread);
}

TEST_F(ThreadStop, BodyLeftThroughPthreadExitCountsAsEnded) {
    Body body([](Thread&) { pthread_exit(nullptr); });
    Thread thread;
    StartWith(thread, body);
    thread.StopThread(WaitForever, 0);
    ExpectNoThread(thread);
    EXPECT_EQ(Success, Start(thread)); // and the destructor does not wait for ever either
}

TEST_F(ThreadStop, BodyCancelledThroughTheHandleCountsAsEnded) {
    DeafBody body;
    Thread thread;
    StartWith(thread, body);
    pthread_cancel(*thread.GetHandle());
    thread.StopThread(WaitForever, 0);
    ExpectNoThread(thread);
}

TEST_F(ThreadStopRequest, IsSeenByABodyThatWaitsForIt) {
    ManualEvent seen;
    Body body([&](Thread& self) {
        if (self.IsStopThread(WaitForever))
            seen.Set();
    });
    Thread thread;
    StartWith(thread, body);
    EXPECT_GE(TimeOf([&] { EXPECT_FALSE(thread.IsStopThread(40)); }), 40ms);
    EXPECT_TRUE(thread.StopThreadEvent());
    EXPECT_TRUE(seen.Wait(Patience));
    EXPECT_TRUE(thread.IsThreadRunning());
    EXPECT_TRUE(thread.GetStopThreadEvent()->Wait(0));
    EXPECT_TRUE(thread.IsStopThread(0)); // a request stands until the thread is gone
}

TEST_F(ThreadStopRequest, DoesNotOutliveTheStop) {
    ObedientBody body;
    Thread thread;
    StartWith(thread, body);
    EXPECT_TRUE(thread.StopThreadEvent());
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(Success, Start(thread));
    EXPECT_FALSE(thread.IsStopThread(0));
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(2, body.nRuns);
}

TEST_F(ThreadRestart, FirstCallsTheVirtualStopByForceAndWithoutLimit) {
    std::vector<StopCall> calls;
    ObedientBody body;
    RecordingThread thread(calls);
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    EXPECT_THAT(calls, IsEmpty());

    EXPECT_TRUE(body.entered.Wait(Patience));
    bool stoppedFirst = false;
    body.allow = [&](Thread& self) {
        stoppedFirst = !self.IsThreadRunning();
        return 1;
    };
    TakeCalls();
    EXPECT_EQ(Success, Start(thread));
    EXPECT_THAT(calls, ElementsAre(StopCall{WaitForever, 1}));
    EXPECT_TRUE(stoppedFirst);
    EXPECT_THAT(TakeCalls(), ElementsAre("join", "create", "usleep 100"));
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(2, body.nRuns);
}

TEST_F(ThreadRestart, WaitsForABodyThatDoesNotObeyAndNeverCancelsIt) {
    DeafBody body;
    Thread thread;
    thread.SetThreadHandler(&body);
    Platform::pthread_cond_wait.Record(true);
    EXPECT_EQ(Success, Start(thread));
    ASSERT_TRUE(BegunWaits(1)); // the body
    VornTest::PosixThread releaser([&] {
        EXPECT_TRUE(BegunWaits(2)); // the owner
        body.release.Set();
    });
    TakeCalls();
    EXPECT_EQ(Success, Start(thread));
    EXPECT_THAT(TakeCalls(), ElementsAre("join", "create", "usleep 100"));
    releaser.Join();
    thread.StopThread(WaitForever, 0);
    EXPECT_EQ(2, body.nRuns);
}

TEST_F(ThreadRestart, RefusedLeavesTheOldThreadStopped) {
    ObedientBody body;
    Thread thread;
    StartWith(thread, body);
    body.allow = [](Thread&) { return 0; };
    EXPECT_EQ((Started{false, ""}), Start(thread));
    ExpectNoThread(thread);
}

TEST_F(ThreadRestart, FailsAtTheStopEventWhenASubclassDoesNotStop) {
    class Unstoppable : public Thread {
    public:
        void StopThread(unsigned int, int) override {}
    };
    ObedientBody body;
    Unstoppable thread;
    thread.SetThreadHandler(&body);
    EXPECT_EQ(Success, Start(thread));
    pthread_t* const pHandle = thread.GetHandle();
    EXPECT_EQ(StopEventFailure, Start(thread));
    EXPECT_EQ(pHandle, thread.GetHandle());
    EXPECT_TRUE(body.entered.Wait(Patience));
    EXPECT_EQ(1, body.nRuns);
}

TEST_F(ThreadDestruction, WaitsWithoutLimitAndJoins) {
    ManualEvent release;
    std::atomic<bool> ended{false};
    Body body([&](Thread&) {
        release.Wait(WaitForever);
        ended = true;
    });
    Platform::pthread_cond_wait.Record(true);
    VornTest::PosixThread releaser([&] {
        EXPECT_TRUE(BegunWaits(2)); // that of the body and that of the owner
        release.Set();
    });
    {
        Thread thread;
        StartWith(thread, body);
        TakeCalls();
    }
    EXPECT_TRUE(ended);
    EXPECT_THAT(TakeCalls(), ElementsAre("join"));
    releaser.Join();
}

TEST_F(ThreadDestruction, DoesNotUseTheVirtualStop) {
    std::vector<StopCall> calls;
    ObedientBody body;
    {
        RecordingThread thread(calls);
        thread.SetThreadHandler(&body);
        EXPECT_EQ(Success, Start(thread));
        EXPECT_TRUE(body.entered.Wait(Patience));
    }
    EXPECT_THAT(calls, IsEmpty());
    EXPECT_EQ(1, body.nRuns);
}

TEST_F(ThreadDestruction, FinishesAlsoWhenTheOwnerIsCancelledMeanwhile) {
    DeafBody body;
    ManualEvent destroying;
    std::atomic<bool> destroyed{false};
    VornTest::PosixThread owner([&] {
        {
            Thread thread;
            thread.SetThreadHandler(&body);
            EXPECT_TRUE(thread.StartThread(0));
            destroying.Set();
        }
        destroyed = true;
    });
    EXPECT_TRUE(destroying.Wait(Patience));
    VornTest::WaitUntilBlocked({&owner});
    owner.Cancel();
    body.release.Set();
    owner.Join();
    EXPECT_TRUE(destroyed);
}

} // namespace
