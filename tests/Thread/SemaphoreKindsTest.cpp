// SPDX-License-Identifier: MIT
// Concerns: what a semaphore without a name and one with a name have in common, and exactly how
// they differ: see Naming.h.
#include <Bases/Impl/Sem_mac.h>
#include <Bases/Thread.h>

#include <chrono>

#include <gtest/gtest.h>
#include <sched.h>

#include "Thread/Naming.h"
#include "support/BlockedThreads.h"

namespace {

using Vorn::VornSemaphore;
using Vorn::WaitForever;
using VornTest::PosixThread;
using namespace std::chrono_literals;

template <typename Naming>
class SemaphoreKinds : public VornTest::OfOneKind<Naming> {
protected:
    void Make(VornSemaphore::SemInitState state) {
        ASSERT_TRUE(m_sem.Create(state, this->Name(), 1));
    }

    int Count() {
        int count = 12345;
        EXPECT_TRUE(m_sem.GetSemCounts(count));
        return count;
    }

    // Takes what is free, and says how many that were.
    int TakeAll() {
        int taken = 0;
        while (m_sem.Wait(0))
            ++taken;
        return taken;
    }

    VornSemaphore m_sem;
};
TYPED_TEST_SUITE(SemaphoreKinds, VornTest::BothNamings, VornTest::NamingNames);

TYPED_TEST(SemaphoreKinds, CreatedFreeIsTakenOnce) {
    this->Make(VornSemaphore::SemFree);
    EXPECT_EQ(1, this->Count());
    EXPECT_TRUE(this->m_sem.Wait(0));
    EXPECT_EQ(0, this->Count());
    EXPECT_FALSE(this->m_sem.Wait(0));
    EXPECT_EQ(TypeParam::CountAfterAFailedTry, this->Count());
}

TYPED_TEST(SemaphoreKinds, CreatedLockedHasNothingFree) {
    this->Make(VornSemaphore::SemLocked);
    EXPECT_EQ(0, this->Count());
    EXPECT_FALSE(this->m_sem.Wait(0));
    EXPECT_EQ(TypeParam::CountAfterAFailedTry, this->Count());
}

TYPED_TEST(SemaphoreKinds, WaitsOfEveryKindTakeWhatAPostLeftFree) {
    this->Make(VornSemaphore::SemLocked);
    for (const unsigned int timeoutMs : {0U, 600000U, WaitForever}) {
        this->m_sem.Post();
        EXPECT_TRUE(this->m_sem.Wait(timeoutMs));
        EXPECT_FALSE(this->m_sem.Wait(0));
    }
}

TYPED_TEST(SemaphoreKinds, PostsWithNobodyWaitingLeaveWaitsFree) {
    this->Make(VornSemaphore::SemLocked);
    for (const int posts : {1, 2, 3}) {
        for (int i = 0; i < posts; ++i)
            this->m_sem.Post();
        EXPECT_EQ(TypeParam::CountAfterPosts(posts), this->Count());
        EXPECT_EQ(TypeParam::FreeAfterPosts(posts), this->TakeAll());
    }
}

TYPED_TEST(SemaphoreKinds, SecondCreateFailsUntilDestroyed) {
    this->Make(VornSemaphore::SemFree);
    EXPECT_FALSE(this->m_sem.Create(VornSemaphore::SemLocked, this->Name(), 1));
    EXPECT_FALSE(this->m_sem.Create(VornSemaphore::SemFree, this->Name(), 0));
    EXPECT_TRUE(this->m_sem.Wait(0));
    EXPECT_TRUE(this->m_sem.Destroy());
    EXPECT_FALSE(this->m_sem.IsCreated());
    this->Make(VornSemaphore::SemFree);
    EXPECT_TRUE(this->m_sem.Wait(0));
}

TYPED_TEST(SemaphoreKinds, CountsAsCreatedAfterThePlatformRefused) {
    EXPECT_FALSE(this->Refused(
        [&](const char* name) { return this->m_sem.Create(VornSemaphore::SemFree, name, 1); }));

    int count = 77;
    EXPECT_TRUE(this->m_sem.IsCreated());
    EXPECT_FALSE(this->m_sem.Create(VornSemaphore::SemFree, this->Name(), 1));
    EXPECT_FALSE(this->m_sem.Wait(0));
    EXPECT_FALSE(this->m_sem.Wait(20));
    EXPECT_FALSE(this->m_sem.Wait(WaitForever));
    EXPECT_FALSE(this->m_sem.GetSemCounts(count));
    EXPECT_EQ(77, count);
    this->m_sem.Post();

    EXPECT_TRUE(this->m_sem.Destroy());
    this->Make(VornSemaphore::SemFree);
    EXPECT_TRUE(this->m_sem.Wait(0));
}

TYPED_TEST(SemaphoreKinds, LimitedWaitLastsItsTimeOrIsASingleTry) {
    this->Make(VornSemaphore::SemLocked);
    const unsigned int timeoutMs = TypeParam::LimitedWaitBlocks ? 1500 : 600000;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(this->m_sem.Wait(timeoutMs));
    if (TypeParam::LimitedWaitBlocks) {
        EXPECT_GE(std::chrono::steady_clock::now() - start, 1500ms);
    } else {
        EXPECT_LT(std::chrono::steady_clock::now() - start, 60s);
    }
}

TYPED_TEST(SemaphoreKinds, WaitOfZeroNeverBlocks) {
    this->Make(VornSemaphore::SemLocked);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 1000; ++i)
        EXPECT_FALSE(this->m_sem.Wait(0));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 30s);
}

TYPED_TEST(SemaphoreKinds, PostReleasesEveryBlockedThreadOrOne) {
    this->Make(VornSemaphore::SemLocked);
    VornTest::Waiters waiters;
    for (int i = 0; i < 4; ++i)
        waiters.Add([this] { return this->m_sem.Wait(WaitForever); });

    const int posts = TypeParam::PostReleasesEveryWaiter ? 1 : 4;
    for (int i = 1; i <= posts; ++i) {
        this->m_sem.Post();
        while (waiters.Passed() < i * 4 / posts)
            sched_yield();
        EXPECT_EQ(i * 4 / posts, waiters.Passed());
    }
    EXPECT_EQ(4, waiters.PassedInTheEnd());
    EXPECT_FALSE(this->m_sem.Wait(0)); // nothing is left free
}

TYPED_TEST(SemaphoreKinds, IsUsableAfterAThreadWasCancelledInItsWait) {
    this->Make(VornSemaphore::SemLocked);
    for (const unsigned int timeoutMs : this->BlockingTimeOuts()) {
        PosixThread waiter([&] { this->m_sem.Wait(timeoutMs); });
        VornTest::WaitUntilBlocked({&waiter});
        waiter.Cancel();
        EXPECT_TRUE(waiter.Join());
        EXPECT_FALSE(this->m_sem.Wait(0));
        this->m_sem.Post();
        EXPECT_TRUE(this->m_sem.Wait(0));
        EXPECT_FALSE(this->m_sem.Wait(0));
    }
}

TYPED_TEST(SemaphoreKinds, UnlimitedWaitInterruptedByASignalHandlerGoesOnOrFails) {
    this->Make(VornSemaphore::SemLocked);
    bool passed = !TypeParam::WaitOutlivesASignal;
    PosixThread waiter([&] { passed = this->m_sem.Wait(WaitForever); });
    VornTest::WaitUntilBlocked({&waiter});
    waiter.Interrupt();
    if (TypeParam::WaitOutlivesASignal) {
        VornTest::WaitUntilBlocked({&waiter});
        this->m_sem.Post();
    }
    EXPECT_FALSE(waiter.Join());
    EXPECT_EQ(TypeParam::WaitOutlivesASignal, passed);
    EXPECT_FALSE(this->m_sem.Wait(0));
}

} // namespace
