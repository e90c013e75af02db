// SPDX-License-Identifier: MIT
// Concerns: what kernel semaphores may do and the Linux variant never does. A limited wait that the
// kernel aborts is tried once more; a post that finds the thread still on its way into the kernel
// reaches it; a signal that the kernel keeps lets nobody pass.
//
// The kernel is a simulation: see support/mac/SimulatedKernel.h.
#include <Bases/Impl/Port/KernelSem.h>
#include <Bases/Impl/Sem_mac.h>
#include <Bases/Thread.h>

#include <chrono>
#include <ctime>
#include <thread>
#include <utility>

#include <gtest/gtest.h>
#include <mach/mach.h>
#include <pthread.h>
#include <sched.h>

#include "fault/Platform.h"
#include "fault/WaitHooks.h"
#include "support/BlockedThreads.h"
#include "support/mac/SimulatedKernel.h"

namespace {

using Vorn::VornEvent;
using Vorn::VornSemaphore;
using Vorn::WaitForever;
namespace SimulatedKernel = VornTest::SimulatedKernel;
using namespace std::chrono_literals;

class KernelSemaphore : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_sem.Create(VornSemaphore::SemLocked, nullptr, 1)); }
    void TearDown() override { EXPECT_EQ(0, SimulatedKernel::WaitsToEnd()); }

    VornSemaphore m_sem;
};

TEST_F(KernelSemaphore, IsCreatedWithTheInitialStateFirstInFirstOutAndFreed) {
    EXPECT_EQ(0, SimulatedKernel::LastCreation().value);
    EXPECT_EQ(SYNC_POLICY_FIFO, SimulatedKernel::LastCreation().policy);
    {
        VornSemaphore free;
        ASSERT_TRUE(free.Create(VornSemaphore::SemFree, nullptr, 1));
        EXPECT_EQ(1, SimulatedKernel::LastCreation().value);
        EXPECT_EQ(2, SimulatedKernel::Semaphores());
    }
    EXPECT_EQ(1, SimulatedKernel::Semaphores());
}

TEST_F(KernelSemaphore, AbortedInALimitedWaitIsTriedOnceMoreWithTheFullTime) {
    SimulatedKernel::EndWaits(1, KERN_ABORTED);
    const auto start = std::chrono::steady_clock::now();
    SimulatedKernel::BeforeNextWait([&] {
        while (std::chrono::steady_clock::now() - start < 100ms)
            sched_yield();
    });
    VornTest::StopClockUntilSleep();
    EXPECT_FALSE(m_sem.Wait(150));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 250ms);

    SimulatedKernel::EndWaits(1, KERN_ABORTED);
    SimulatedKernel::BeforeNextWait([&] {
        SimulatedKernel::BeforeNextWait([&] { m_sem.Post(); }); // in the second try
    });
    EXPECT_TRUE(m_sem.Wait(600000));
}

TEST_F(KernelSemaphore, IsACancellationPointInTheSecondTryToo) {
    SimulatedKernel::EndWaits(1, KERN_ABORTED);
    VornTest::PosixThread waiter([&] {
        SimulatedKernel::BeforeNextWait(
            [] { SimulatedKernel::BeforeNextWait([] { pthread_cancel(pthread_self()); }); });
        m_sem.Wait(600000);
    });
    EXPECT_TRUE(waiter.Join());
    m_sem.Post();
    EXPECT_TRUE(m_sem.Wait(0));
}

TEST_F(KernelSemaphore, AbortedTwiceFailsAndIsCountedOnce) {
    SimulatedKernel::EndWaits(2, KERN_ABORTED);
    EXPECT_FALSE(m_sem.Wait(0xFFFFFFFE));
    int count = 0;
    EXPECT_TRUE(m_sem.GetSemCounts(count));
    EXPECT_EQ(-1, count);
}

TEST_F(KernelSemaphore, AbortedInAnUnlimitedWaitFailsAtOnce) {
    SimulatedKernel::EndWaits(1, KERN_ABORTED);
    EXPECT_FALSE(m_sem.Wait(WaitForever));
}

TEST_F(KernelSemaphore, WhoseWaitFailsIsNotTriedAgain) {
    for (const unsigned int timeoutMs : {WaitForever, 600000U}) {
        SimulatedKernel::EndWaits(1, KERN_TERMINATED);
        EXPECT_FALSE(m_sem.Wait(timeoutMs));
    }
    m_sem.Post();
    EXPECT_TRUE(m_sem.Wait(0));
    EXPECT_FALSE(m_sem.Wait(0));
}

TEST_F(KernelSemaphore, AbortedAfterAPostHadReleasedItsThreadHasPassed) {
    for (const unsigned int timeoutMs : {WaitForever, 600000U}) {
        SimulatedKernel::EndWaits(1, KERN_ABORTED);
        SimulatedKernel::BeforeNextWait([&] { m_sem.Post(); });
        EXPECT_TRUE(m_sem.Wait(timeoutMs));
        EXPECT_FALSE(m_sem.Wait(0));
    }
}

TEST_F(KernelSemaphore, AskedForASingleTryLeavesTheKernelAlone) {
    SimulatedKernel::EndWaits(1, KERN_ABORTED);
    EXPECT_FALSE(m_sem.Wait(0));
    EXPECT_EQ(1, SimulatedKernel::WaitsToEnd());
    SimulatedKernel::EndWaits(0, KERN_SUCCESS);
}

// The kernel may have forgotten the signal: then the end of a short sleep shows that it was given.
TEST_F(KernelSemaphore, PostedBeforeTheThreadHasReachedTheKernelReleasesIt) {
    for (const unsigned int timeoutMs : {WaitForever, 600000U}) {
        const auto start = std::chrono::steady_clock::now();
        SimulatedKernel::BeforeNextWait([&] { m_sem.Post(); });
        EXPECT_TRUE(m_sem.Wait(timeoutMs));
        EXPECT_LT(std::chrono::steady_clock::now() - start, 20s);
        EXPECT_FALSE(m_sem.Wait(0)); // the post has served
    }
}

TEST_F(KernelSemaphore, LeftWithASignalThatNobodyTookLetsNobodyPass) {
    for (int i = 0; i < 3; ++i) {
        SimulatedKernel::BeforeNextWait([&] { m_sem.Post(); }); // with nobody in the kernel
        SimulatedKernel::EndWaits(1, KERN_OPERATION_TIMED_OUT);
        EXPECT_TRUE(m_sem.Wait(600000));
    }
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(m_sem.Wait(150)); // wakes for nothing, if the kernel kept the signals
    EXPECT_GE(std::chrono::steady_clock::now() - start, 150ms);
}

class KernelSleep : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_sem.Create(0)); }

    Vorn::Lock m_lock;
    Vorn::KernelSem m_sem;
};

TEST_F(KernelSleep, LastsUntilItsDeadlineButNoLongerThanATenthOfASecond) {
    constexpr timespec Now{1000, 999'999'999};
    for (const auto& [deadline, sleep] :
         {std::pair(timespec{1001, 0}, 1ns), std::pair(timespec{1001, 50'000'000}, 50'000'001ns),
          std::pair(timespec{1001, 100'000'000}, 100'000'000ns),
          std::pair(timespec{1001, 999'999'999}, 100'000'000ns),
          std::pair(timespec{1002, 0}, 100'000'000ns),
          std::pair(timespec{5000, 0}, 100'000'000ns)}) {
        VornTest::Platform::clock_gettime.Do([Now](clockid_t, timespec* now) {
            *now = Now;
            return 0;
        });
        SimulatedKernel::EndWaits(1, KERN_OPERATION_TIMED_OUT);
        const Vorn::Locker locker(m_lock);
        EXPECT_EQ(Vorn::KernelWait::Success, m_sem.Wait(m_lock, &deadline));
        EXPECT_EQ(sleep, SimulatedKernel::LastLimit());
        EXPECT_EQ(0, SimulatedKernel::WaitsToEnd());
    }
}

TEST_F(KernelSleep, WithoutADeadlineLastsATenthOfASecond) {
    SimulatedKernel::EndWaits(1, KERN_OPERATION_TIMED_OUT);
    const Vorn::Locker locker(m_lock);
    EXPECT_EQ(Vorn::KernelWait::Success, m_sem.Wait(m_lock, nullptr));
    EXPECT_EQ(100ms, SimulatedKernel::LastLimit());
}

TEST_F(KernelSleep, DoesNotBeginAtItsDeadline) {
    VornTest::Platform::clock_gettime.Do([](clockid_t, timespec* now) {
        *now = {1000, 1};
        return 0;
    });
    SimulatedKernel::EndWaits(1, KERN_OPERATION_TIMED_OUT);
    for (const timespec deadline : {timespec{1000, 1}, timespec{1000, 0}, timespec{1, 2}}) {
        const Vorn::Locker locker(m_lock);
        EXPECT_EQ(Vorn::KernelWait::TimedOut, m_sem.Wait(m_lock, &deadline));
    }
    EXPECT_EQ(1, SimulatedKernel::WaitsToEnd());
    SimulatedKernel::EndWaits(0, KERN_SUCCESS);
}

// Without the signal the thread would wake too, but only when its sleep is over.
TEST_F(KernelSleep, IsEndedBySignallingAll) {
    const int before = SimulatedKernel::Signals();
    m_sem.PostAll();
    EXPECT_EQ(before + 1, SimulatedKernel::Signals());
}

class KernelEvent : public testing::Test {
protected:
    VornEvent m_event;
};

TEST_F(KernelEvent, SetBeforeTheThreadHasReachedTheKernelReleasesItWhateverFollows) {
    for (const int kind : {Vorn::EventKind::ManualReset, Vorn::EventKind::AutoReset}) {
        ASSERT_TRUE(m_event.Create(kind, 0, nullptr));
        const auto start = std::chrono::steady_clock::now();
        SimulatedKernel::BeforeNextWait([&] {
            m_event.Set();
            m_event.Reset();
        });
        EXPECT_TRUE(m_event.Wait(600000));
        EXPECT_LT(std::chrono::steady_clock::now() - start, 20s);
        EXPECT_FALSE(m_event.Wait(0));
        m_event.Close();
    }
}

TEST_F(KernelEvent, AbortedTwiceStaysUsableAndKeepsItsSet) {
    ASSERT_TRUE(m_event.Create(Vorn::EventKind::AutoReset, 0, nullptr));
    SimulatedKernel::EndWaits(2, KERN_ABORTED);
    EXPECT_FALSE(m_event.Wait(600000));
    EXPECT_EQ(0, SimulatedKernel::WaitsToEnd());

    SimulatedKernel::EndWaits(1, KERN_ABORTED);
    EXPECT_FALSE(m_event.Wait(WaitForever));

    EXPECT_TRUE(m_event.Set());
    EXPECT_TRUE(m_event.Wait(WaitForever));
    EXPECT_FALSE(m_event.Wait(0));
}

// Between the two tries the event is as it is for everybody else: not locked, nobody waiting.
TEST_F(KernelEvent, SetWhileAWaitIsTriedASecondTimeReleasesIt) {
    ASSERT_TRUE(m_event.Create(Vorn::EventKind::AutoReset, 0, nullptr));
    SimulatedKernel::EndWaits(1, KERN_ABORTED);
    SimulatedKernel::BeforeNextWait([&] {
        SimulatedKernel::BeforeNextWait([&] { std::thread([&] { m_event.Set(); }).join(); });
    });
    EXPECT_TRUE(m_event.Wait(600000));
    EXPECT_FALSE(m_event.Wait(0));
}

} // namespace
