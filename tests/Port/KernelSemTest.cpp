// SPDX-License-Identifier: MIT
// Concerns: what a host's waits owe to those who build on them. A thread that sleeps is woken by a
// post, with every other one; a wait never reports the end of its time too early, nor sleeps beyond
// it; the lock is free while a thread sleeps, and held again whichever way its wait ends.
#include <Bases/Impl/Port/KernelSem.h>

#include <cerrno>
#include <chrono>
#include <ctime>
#include <new>
#include <tuple>

#include <gtest/gtest.h>

#include "fault/Platform.h"
#include "fault/WaitHooks.h"
#include "support/BlockedThreads.h"

namespace {

using Vorn::KernelSem;
using Vorn::KernelWait;
using Vorn::Lock;
using Vorn::Locker;
using namespace std::chrono_literals;
namespace Platform = VornTest::Platform;

timespec In(std::chrono::nanoseconds time) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const auto end =
        std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec) + time;
    const auto seconds = std::chrono::floor<std::chrono::seconds>(end);
    return {seconds.count(), (end - seconds).count()};
}

class HostWaits : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_sem.Create(0)); }

    // As a caller waits: until its own record says that a post has come.
    KernelWait WaitForPost(const timespec* pDeadline) {
        const Locker locker(m_lock);
        KernelWait result = KernelWait::Success;
        while (!m_posted && result == KernelWait::Success)
            result = m_sem.Wait(m_lock, pDeadline);
        return result;
    }

    void Post() {
        const Locker locker(m_lock);
        m_posted = true;
        m_sem.PostAll();
    }

    Lock m_lock;
    KernelSem m_sem;
    bool m_posted = false;
};

TEST_F(HostWaits, EndWhenAPostComes) {
    const timespec inAnHour = In(1h);
    for (const timespec* pDeadline : {static_cast<const timespec*>(nullptr), &inAnHour}) {
        m_posted = false;
        KernelWait result = KernelWait::Failed;
        VornTest::PosixThread waiter([&] { result = WaitForPost(pDeadline); });
        VornTest::WaitUntilBlocked({&waiter});
        Post();
        EXPECT_FALSE(waiter.Join());
        EXPECT_EQ(KernelWait::Success, result);
    }
}

TEST_F(HostWaits, EndAllWithOnePost) {
    VornTest::Waiters waiters;
    for (int i = 0; i < 5; ++i)
        waiters.Add([this] { return WaitForPost(nullptr) == KernelWait::Success; });
    Post();
    EXPECT_EQ(5, waiters.PassedInTheEnd());
}

TEST_F(HostWaits, ReportTheEndOfTheirTimeNeitherTooEarlyNorNever) {
    for (const std::chrono::milliseconds time : {0ms, 1ms, 99ms, 100ms, 250ms, 1010ms}) {
        const auto start = std::chrono::steady_clock::now();
        const timespec deadline = In(time);
        EXPECT_EQ(KernelWait::TimedOut, WaitForPost(&deadline));
        EXPECT_GE(std::chrono::steady_clock::now() - start, time);
    }
}

TEST_F(HostWaits, EndAtOnceWhenTheirTimeIsLongOver) {
    const timespec past{0, 0};
    EXPECT_EQ(KernelWait::TimedOut, WaitForPost(&past));
}

TEST_F(HostWaits, LeaveTheLockFreeWhileTheySleep) {
    VornTest::PosixThread waiter([&] { WaitForPost(nullptr); });
    VornTest::WaitUntilBlocked({&waiter});
    { const Locker locker(m_lock); }
    Post();
}

TEST_F(HostWaits, ThatAreCancelledHoldTheLockWhileTheStackIsUnwound) {
    struct HeldCheck {
        explicit HeldCheck(Lock& lock, bool& held) : m_lock(lock), m_held(held) {}
        ~HeldCheck() {
            bool taken = true;
            VornTest::PosixThread([&] {
                taken = pthread_mutex_trylock(&m_lock.Native()) == 0;
            }).Join();
            m_held = !taken;
        }
        HeldCheck(const HeldCheck&) = delete;
        HeldCheck& operator=(const HeldCheck&) = delete;

    private:
        Lock& m_lock;
        bool& m_held;
    };
    bool held = false;
    VornTest::PosixThread waiter([&] {
        const Locker locker(m_lock);
        const HeldCheck check(m_lock, held);
        for (;;)
            m_sem.Wait(m_lock, nullptr);
    });
    VornTest::WaitUntilBlocked({&waiter});
    waiter.Cancel();
    EXPECT_TRUE(waiter.Join());
    EXPECT_TRUE(held);
    const Locker locker(m_lock); // and free by now
}

// The C library looks for a cancellation only where it sleeps.
TEST_F(HostWaits, AreCancellationPointsAlsoWhenAPostIsThereBeforeTheSleep) {
    const timespec inAnHour = In(1h);
    for (const timespec* pDeadline : {static_cast<const timespec*>(nullptr), &inAnHour}) {
        VornTest::PosixThread waiter([&] {
            Platform::pthread_cond_wait.Answer(0);
            Platform::pthread_cond_timedwait.Answer(0);
            pthread_cancel(pthread_self());
            const Locker locker(m_lock);
            m_sem.Wait(m_lock, pDeadline);
        });
        EXPECT_TRUE(waiter.Join());
    }
}

TEST_F(HostWaits, FailToBeCreatedWhenThePlatformRefuses) {
    KernelSem sem;
    EXPECT_FALSE(sem.Destroy());
    {
        const VornTest::WaitsRefused refused;
        EXPECT_FALSE(sem.Create(0));
    }
    EXPECT_FALSE(sem.Destroy());
    EXPECT_TRUE(sem.Create(1));
    EXPECT_TRUE(sem.Destroy());
    EXPECT_FALSE(sem.Destroy());
}

#ifdef VORN_ON_SIMULATED_MAC // whose semaphores are not the program's own
TEST_F(HostWaits, RemainWhenThePlatformRefusesToDestroyThem) {
    KernelSem sem;
    ASSERT_TRUE(sem.Create(0));
    {
        const VornTest::WaitsRefused refused;
        EXPECT_FALSE(sem.Destroy());
    }
    EXPECT_TRUE(sem.Destroy());
}
#endif

#ifndef VORN_ON_SIMULATED_MAC // which has no condition variables
TEST_F(HostWaits, LeaveNothingOfThePlatformBehind) {
    Platform::pthread_cond_init.Record();
    Platform::pthread_cond_destroy.Record();
    Platform::pthread_condattr_destroy.Record();
    {
        KernelSem sem;
        ASSERT_TRUE(sem.Create(0));
    }
    ASSERT_EQ(1U, Platform::pthread_cond_init.Count());
    ASSERT_EQ(1U, Platform::pthread_cond_destroy.Count());
    EXPECT_EQ(std::get<0>(Platform::pthread_cond_init.Calls().front()),
              Platform::pthread_cond_destroy.Calls().front());
    EXPECT_EQ(1U, Platform::pthread_condattr_destroy.Count());

    Platform::pthread_cond_init.At(1).Fail(ENOMEM);
    EXPECT_FALSE(KernelSem().Create(0));
    EXPECT_EQ(1U, Platform::pthread_cond_destroy.Count());
    EXPECT_EQ(2U, Platform::pthread_condattr_destroy.Count());

    Platform::operator_new.Fail(ENOMEM);
    EXPECT_THROW(KernelSem().Create(0), std::bad_alloc);
    Platform::operator_new.Reset();
    EXPECT_EQ(2U, Platform::pthread_condattr_destroy.Count());
}

// A limit would otherwise be compared with another clock.
TEST_F(HostWaits, FailToBeCreatedWithoutTheMonotonicClock) {
    Platform::pthread_condattr_setclock.At(1).Fail(EINVAL);
    EXPECT_FALSE(KernelSem().Create(0));
    Platform::pthread_condattr_init.At(1).Fail(ENOMEM);
    EXPECT_FALSE(KernelSem().Create(0));
    EXPECT_TRUE(KernelSem().Create(0));
}
#endif

} // namespace
