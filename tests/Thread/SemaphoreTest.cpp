// SPDX-License-Identifier: MIT
// Concerns: the reported count is the library's own bookkeeping and not the number of free waits;
// an unnamed post wakes everybody and leaves at most one wait free; nothing is lost between two
// threads; a wait survives cancellation, and a post that chose a cancelled thread is not lost.
#include <Bases/Impl/Sem_mac.h>
#include <Bases/Thread.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <ctime>
#include <functional>
#include <thread>

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include "fault/Platform.h"
#include "fault/WaitHooks.h"
#include "support/BlockedThreads.h"
#include "support/Thorough.h"

namespace {

using Vorn::VornSemaphore;
using Vorn::WaitForever;
using VornTest::Gate;
using VornTest::OnWake;
using VornTest::PosixThread;
using VornTest::SetGate;
using VornTest::SetOnWake;
using VornTest::Waiters;
using VornTest::WaitUntilBlocked;
using VornTest::WaitUntilReached;
namespace Platform = VornTest::Platform;

constexpr unsigned int LongMs = 20000; // a thread that no post reaches fails and does not hang

class UnnamedSemaphore : public testing::Test {
protected:
    void Make(VornSemaphore::SemInitState state) { ASSERT_TRUE(m_sem.Create(state, nullptr, 1)); }

    int Count() {
        int count = 12345;
        EXPECT_TRUE(m_sem.GetSemCounts(count));
        return count;
    }

    // What threads do that wait without limit, and perhaps go through a gate or are cancelled when
    // a post has woken them.
    std::function<void()> Waiting(OnWake what = OnWake::Nothing, Gate* pGate = nullptr) {
        return [this, what, pGate] {
            SetOnWake(what);
            if (pGate != nullptr)
                SetGate(*pGate);
            m_sem.Wait(WaitForever);
        };
    }

    VornSemaphore m_sem;
};

TEST_F(UnnamedSemaphore, AnswersFalseBeforeItIsCreated) {
    int count = 77;
    EXPECT_FALSE(m_sem.IsCreated());
    EXPECT_FALSE(m_sem.Wait(0));
    EXPECT_FALSE(m_sem.Wait(20));
    EXPECT_FALSE(m_sem.Wait(WaitForever));
    m_sem.Post();
    EXPECT_FALSE(m_sem.GetSemCounts(count));
    EXPECT_EQ(77, count);
    EXPECT_EQ(nullptr, m_sem.GetMonitor());
    EXPECT_TRUE(m_sem.Destroy());
}

TEST_F(UnnamedSemaphore, HasNoMonitorToLendWhenItsCreationFails) {
    VornTest::WaitsRefused refused;
    EXPECT_FALSE(m_sem.Create(VornSemaphore::SemFree, nullptr, 0));
    EXPECT_EQ(nullptr, m_sem.GetMonitor());
}

TEST_F(UnnamedSemaphore, PostBeforeCreateLeavesNothing) {
    m_sem.Post();
    Make(VornSemaphore::SemLocked);
    EXPECT_FALSE(m_sem.Wait(0));
}

TEST_F(UnnamedSemaphore, CountFallsWithEveryAttemptOfEveryKind) {
    Make(VornSemaphore::SemLocked);
    EXPECT_FALSE(m_sem.Wait(0));
    EXPECT_FALSE(m_sem.Wait(1));
    EXPECT_EQ(-2, Count());
    m_sem.Post();
    EXPECT_TRUE(m_sem.Wait(WaitForever));
    EXPECT_EQ(-1, Count());
    m_sem.Post();
    EXPECT_TRUE(m_sem.Wait(1000));
    EXPECT_EQ(-1, Count());
}

#ifndef VORN_ON_SIMULATED_MAC // whose kernel refuses to make one with a count below 0
TEST_F(UnnamedSemaphore, CountStopsFallingAtTheSmallestInt) {
    Make(static_cast<VornSemaphore::SemInitState>(INT_MIN + 1));
    EXPECT_FALSE(m_sem.Wait(0));
    EXPECT_EQ(INT_MIN, Count());
    EXPECT_FALSE(m_sem.Wait(0));
    EXPECT_EQ(INT_MIN, Count());
}
#endif

#ifndef VORN_ON_SIMULATED_MAC // which sleeps in pieces of its own
TEST_F(UnnamedSemaphore, WaitThatEndsOnAFullSecondHasNoNanosecondsLeft) {
    Make(VornSemaphore::SemLocked);
    Platform::clock_gettime.Do([](clockid_t, timespec* now) {
        *now = {5, 999000000};
        return 0;
    });
    timespec deadline{};
    Platform::pthread_cond_timedwait.Do(
        [&](pthread_cond_t*, pthread_mutex_t*, const timespec* pDeadline) {
            deadline = *pDeadline;
            return ETIMEDOUT;
        });
    EXPECT_FALSE(m_sem.Wait(1));
    EXPECT_EQ(6, deadline.tv_sec);
    EXPECT_EQ(0, deadline.tv_nsec);
    EXPECT_FALSE(m_sem.Wait(1002));
    EXPECT_EQ(7, deadline.tv_sec);
    EXPECT_EQ(1000000, deadline.tv_nsec);
    EXPECT_FALSE(m_sem.Wait(999));
    EXPECT_EQ(6, deadline.tv_sec);
    EXPECT_EQ(998000000, deadline.tv_nsec);
    EXPECT_FALSE(m_sem.Wait(2000));
    EXPECT_EQ(7, deadline.tv_sec);
    EXPECT_EQ(999000000, deadline.tv_nsec);
}
#endif

TEST_F(UnnamedSemaphore, PostReportsZeroWhateverTheCountWas) {
    Make(VornSemaphore::SemFree);
    m_sem.Post();
    EXPECT_EQ(0, Count());
    m_sem.Wait(0);
    m_sem.Wait(0);
    m_sem.Wait(0);
    EXPECT_EQ(-3, Count());
    m_sem.Post();
    EXPECT_EQ(0, Count());
}

TEST_F(UnnamedSemaphore, OnePostReleasesEveryBlockedThreadAndLeavesNothingFree) {
    Make(VornSemaphore::SemLocked);
    Waiters waiters;
    for (int i = 0; i < 8; ++i)
        waiters.Add([&, i] { return m_sem.Wait(i % 2 == 0 ? WaitForever : 600000); });
    EXPECT_EQ(-8, Count());
    m_sem.Post();
    EXPECT_EQ(8, waiters.PassedInTheEnd());
    EXPECT_FALSE(m_sem.Wait(0));
    m_sem.Post();
    EXPECT_TRUE(m_sem.Wait(0));
}

TEST_F(UnnamedSemaphore, ThreadReleasedWhileItsTimeRunsOutHasPassed) {
    Make(VornSemaphore::SemLocked);
    bool passed = false;
    PosixThread waiter([&] {
        SetOnWake(OnWake::TimeOut);
        passed = m_sem.Wait(600000);
    });
    WaitUntilBlocked({&waiter});
    m_sem.Post();
    EXPECT_FALSE(waiter.Join());
    EXPECT_TRUE(passed);
    EXPECT_FALSE(m_sem.Wait(0));
}

TEST_F(UnnamedSemaphore, CancellingAWaiterAtAnyPlaceLeavesTheOthersWaitingAndLetsMoreJoin) {
    Make(VornSemaphore::SemLocked);
    for (std::size_t place = 0; place < 3; ++place) {
        const auto wait = [this] { return m_sem.Wait(LongMs); };
        Waiters waiters;
        for (int i = 0; i < 3; ++i)
            waiters.Add(wait);
        EXPECT_TRUE(waiters.Cancel(place));
        waiters.Add(wait);
        m_sem.Post();
        EXPECT_EQ(3, waiters.PassedInTheEnd()) << place;
        EXPECT_FALSE(m_sem.Wait(0));
    }
}

TEST_F(UnnamedSemaphore, TimeOutOfAWaiterAtAnyPlaceLeavesTheOthersWaiting) {
    Make(VornSemaphore::SemLocked);
    for (int place = 0; place < 3; ++place) {
        const auto wait = [this] { return m_sem.Wait(LongMs); };
        Waiters waiters;
        for (int i = 0; i < place; ++i)
            waiters.Add(wait);
        Gate gate;
        bool passed = true;
        PosixThread timedOut([&] {
            SetGate(gate);
            VornTest::StopClockUntilSleep();
            passed = m_sem.Wait(1);
        });
        WaitUntilReached(gate);
        for (int i = place; i < 2; ++i)
            waiters.Add(wait);
        gate.open = true;
        EXPECT_FALSE(timedOut.Join());
        EXPECT_FALSE(passed);
        m_sem.Post();
        EXPECT_EQ(2, waiters.PassedInTheEnd()) << place;
        EXPECT_FALSE(m_sem.Wait(0));
    }
}

TEST_F(UnnamedSemaphore, PostThatReleasedOnlyACancelledThreadIsPassedOn) {
    Make(VornSemaphore::SemLocked);
    PosixThread waiter(Waiting(OnWake::BeCancelled));
    WaitUntilBlocked({&waiter});
    m_sem.Post();
    EXPECT_TRUE(waiter.Join());
    EXPECT_TRUE(m_sem.Wait(0));
    EXPECT_FALSE(m_sem.Wait(0));
}

TEST_F(UnnamedSemaphore, PostOfACancelledThreadReleasesWhoeverWaitsByThen) {
    Make(VornSemaphore::SemLocked);
    Gate gate;
    PosixThread cancelled(Waiting(OnWake::BeCancelled, &gate));
    WaitUntilBlocked({&cancelled});
    m_sem.Post();
    WaitUntilReached(gate);
    PosixThread late(Waiting());
    WaitUntilBlocked({&late});
    gate.open = true;
    EXPECT_TRUE(cancelled.Join());
    EXPECT_FALSE(late.Join());
    EXPECT_EQ(-1, Count()); // 0 since the post, and the late wait: passing on does not count
    EXPECT_FALSE(m_sem.Wait(0));
    m_sem.Post(); // finds nobody waiting
    EXPECT_TRUE(m_sem.Wait(0));
}

TEST_F(UnnamedSemaphore, PostOfACancelledThreadIsPassedOnUntilItServesOne) {
    Make(VornSemaphore::SemLocked);
    Gate gate;
    PosixThread first(Waiting(OnWake::BeCancelled, &gate));
    WaitUntilBlocked({&first});
    m_sem.Post();
    WaitUntilReached(gate);
    PosixThread second(Waiting(OnWake::BeCancelled));
    WaitUntilBlocked({&second});
    gate.open = true;
    EXPECT_TRUE(first.Join());
    EXPECT_TRUE(second.Join());
    EXPECT_TRUE(m_sem.Wait(0));
    EXPECT_FALSE(m_sem.Wait(0));
}

TEST_F(UnnamedSemaphore, PostThatServedAnotherThreadIsNotPassedOn) {
    Make(VornSemaphore::SemLocked);
    Gate gate;
    PosixThread cancelled(Waiting(OnWake::BeCancelled, &gate));
    PosixThread served(Waiting());
    WaitUntilBlocked({&cancelled, &served});
    m_sem.Post();
    EXPECT_FALSE(served.Join());
    gate.open = true;
    EXPECT_TRUE(cancelled.Join());
    EXPECT_FALSE(m_sem.Wait(0));
}

TEST_F(UnnamedSemaphore, PostThatWillStillServeAnotherThreadIsNotPassedOn) {
    Make(VornSemaphore::SemLocked);
    Gate gate;
    PosixThread cancelled(Waiting(OnWake::BeCancelled));
    PosixThread slow(Waiting(OnWake::Nothing, &gate));
    WaitUntilBlocked({&cancelled, &slow});
    m_sem.Post();
    EXPECT_TRUE(cancelled.Join());
    EXPECT_FALSE(m_sem.Wait(0));
    gate.open = true;
    EXPECT_FALSE(slow.Join());
    EXPECT_FALSE(m_sem.Wait(0));
}

TEST_F(UnnamedSemaphore, OfTwoReleasedAndCancelledThreadsTheLastPassesThePostOn) {
    Make(VornSemaphore::SemLocked);
    PosixThread first(Waiting(OnWake::BeCancelled));
    PosixThread second(Waiting(OnWake::BeCancelled));
    WaitUntilBlocked({&first, &second});
    m_sem.Post();
    EXPECT_TRUE(first.Join());
    EXPECT_TRUE(second.Join());
    EXPECT_TRUE(m_sem.Wait(0));
    EXPECT_FALSE(m_sem.Wait(0));
}

TEST_F(UnnamedSemaphore, WaitsThatMayBlockAreCancellationPointsAndAWaitOfZeroIsNot) {
    Make(VornSemaphore::SemLocked);
    for (const unsigned int timeoutMs : {WaitForever, 1U}) {
        std::atomic<bool> triedWithoutBlocking{false};
        PosixThread thread([&] {
            pthread_cancel(pthread_self());
            m_sem.Wait(0);
            triedWithoutBlocking = true;
            m_sem.Post();
            m_sem.Wait(timeoutMs); // one wait is free: it would not block
        });
        EXPECT_TRUE(thread.Join());
        EXPECT_TRUE(triedWithoutBlocking);
        EXPECT_TRUE(m_sem.Wait(0)); // the free wait is still there
    }
}

void PinToOneProcessor() {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(sched_getcpu(), &one);
    sched_setaffinity(0, sizeof one, &one); // without the right to it the test only takes longer
}

// Two threads hand a turn to each other; a lost wake-up would leave both asleep.
void HandOver(int rounds) {
    VornSemaphore ping;
    VornSemaphore pong;
    ASSERT_TRUE(ping.Create(VornSemaphore::SemLocked, nullptr, 1));
    ASSERT_TRUE(pong.Create(VornSemaphore::SemLocked, nullptr, 1));
    std::atomic<int> answered{0};
    std::thread partner([&] {
        for (int i = 0; i < rounds; ++i) {
            if (ping.Wait(WaitForever))
                ++answered;
            pong.Post();
        }
    });
    int returned = 0;
    for (int i = 0; i < rounds; ++i) {
        ping.Post();
        if (pong.Wait(WaitForever))
            ++returned;
        ASSERT_EQ(i + 1, answered); // one post, one wait: nothing passes twice
    }
    partner.join();
    EXPECT_EQ(rounds, returned);
}

TEST(SemaphoreStress, HandOversOnOneProcessorLoseNothing) {
    PinToOneProcessor();
    HandOver(VornTest::IsThorough ? 500000 : 100000);
}

TEST(SemaphoreStress, HandOversAcrossProcessorsLoseNothing) { HandOver(100000); }

} // namespace
