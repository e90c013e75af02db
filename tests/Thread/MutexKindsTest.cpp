// SPDX-License-Identifier: MIT
// Concerns: what a mutex without a name and one with a name have in common, and exactly how they
// differ (see Naming.h); the exact messages, and when there is none.
#include <Bases/Thread.h>

#include <chrono>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "Thread/Naming.h"
#include "support/BlockedThreads.h"

namespace {

using Vorn::Mutex;
using Vorn::MutexLocker;
using Vorn::WaitForever;
using VornTest::PosixThread;
using namespace std::chrono_literals;

template <typename Naming>
class MutexKinds : public VornTest::OfOneKind<Naming> {
protected:
    void SetUp() override { testing::internal::CaptureStdout(); }
    void TearDown() override {
        EXPECT_EQ(m_expectedOutput, testing::internal::GetCapturedStdout());
    }

    void Make() { ASSERT_TRUE(m_mutex.Create(this->Name())); }

    void MakeHeld() {
        Make();
        ASSERT_TRUE(m_mutex.Lock(0));
    }

    Mutex m_mutex;
    std::string m_expectedOutput;
};
TYPED_TEST_SUITE(MutexKinds, VornTest::BothNamings, VornTest::NamingNames);

TYPED_TEST(MutexKinds, IsNotRecursive) {
    this->Make();
    EXPECT_TRUE(this->m_mutex.IsOpened());
    EXPECT_TRUE(this->m_mutex.Lock(0));
    EXPECT_FALSE(this->m_mutex.Lock(0));
    EXPECT_FALSE(this->m_mutex.Lock(5));
    this->m_mutex.Unlock();
    EXPECT_TRUE(this->m_mutex.Lock(WaitForever));
}

TYPED_TEST(MutexKinds, CanBeLockedAndUnlockedForEver) {
    ASSERT_TRUE(this->m_mutex.Open(this->Name()));
    for (int i = 0; i < 100000; ++i) {
        ASSERT_TRUE(this->m_mutex.Lock(i % 3 == 0 ? 0 : WaitForever));
        ASSERT_FALSE(this->m_mutex.Lock(0));
        this->m_mutex.Unlock();
    }
}

TYPED_TEST(MutexKinds, TwoUnlocksLetOneOrTwoLocksSucceed) {
    this->MakeHeld();
    this->m_mutex.Unlock();
    this->m_mutex.Unlock();
    for (int i = 0; i < TypeParam::FreeAfterPosts(2); ++i)
        EXPECT_TRUE(this->m_mutex.Lock(0));
    EXPECT_FALSE(this->m_mutex.Lock(0));
}

TYPED_TEST(MutexKinds, UnlocksOfAFreeMutexAddNothingOrOneLockEach) {
    this->Make();
    this->m_mutex.Unlock();
    this->m_mutex.Unlock();
    for (int i = 0; i < TypeParam::FreeAfterPosts(3); ++i) // it is made with one wait free
        EXPECT_TRUE(this->m_mutex.Lock(0));
    EXPECT_FALSE(this->m_mutex.Lock(0));
}

TYPED_TEST(MutexKinds, MayBeUnlockedByAnyThread) {
    this->MakeHeld();
    std::thread([&] { this->m_mutex.Unlock(); }).join();
    EXPECT_TRUE(this->m_mutex.Lock(0));
}

TYPED_TEST(MutexKinds, OneUnlockLetsEveryWaiterPassOrOne) {
    this->MakeHeld();
    VornTest::Waiters waiters;
    for (int i = 0; i < 3; ++i)
        waiters.Add([this] { return this->m_mutex.Lock(WaitForever); });
    const int unlocks = TypeParam::PostReleasesEveryWaiter ? 1 : 3;
    for (int i = 1; i <= unlocks; ++i) {
        this->m_mutex.Unlock();
        while (waiters.Passed() < i * 3 / unlocks)
            std::this_thread::yield();
        EXPECT_EQ(i * 3 / unlocks, waiters.Passed());
    }
    EXPECT_EQ(3, waiters.PassedInTheEnd());
    EXPECT_FALSE(this->m_mutex.Lock(0));
    this->m_mutex.Unlock();
    EXPECT_TRUE(this->m_mutex.Lock(0));
}

TYPED_TEST(MutexKinds, IsUsableAfterAThreadWasCancelledInLock) {
    this->MakeHeld();
    PosixThread waiter([&] { this->m_mutex.Lock(WaitForever); });
    VornTest::WaitUntilBlocked({&waiter});
    waiter.Cancel();
    EXPECT_TRUE(waiter.Join());
    EXPECT_FALSE(this->m_mutex.Lock(0));
    this->m_mutex.Unlock();
    EXPECT_TRUE(this->m_mutex.Lock(0));
}

TYPED_TEST(MutexKinds, LockInterruptedByASignalHandlerGoesOnWaitingOrFails) {
    this->MakeHeld();
    for (const unsigned int timeoutMs : this->BlockingTimeOuts()) {
        bool taken = !TypeParam::WaitOutlivesASignal;
        PosixThread waiter([&] { taken = this->m_mutex.Lock(timeoutMs); });
        VornTest::WaitUntilBlocked({&waiter});
        waiter.Interrupt();
        if (TypeParam::WaitOutlivesASignal) {
            VornTest::WaitUntilBlocked({&waiter});
            this->m_mutex.Unlock();
        }
        EXPECT_FALSE(waiter.Join());
        EXPECT_EQ(TypeParam::WaitOutlivesASignal, taken);
        EXPECT_FALSE(this->m_mutex.Lock(0)); // still held, or by the waiter now
    }
}

TYPED_TEST(MutexKinds, SecondCreateOrOpenFailsSilently) {
    this->Make();
    EXPECT_FALSE(this->m_mutex.Create(this->Name()));
    EXPECT_FALSE(this->m_mutex.Open(this->Name()));
    EXPECT_FALSE(this->m_mutex.Create("/never-made"));
    EXPECT_TRUE(this->m_mutex.IsOpened());
    EXPECT_TRUE(this->m_mutex.Lock(0));
}

TYPED_TEST(MutexKinds, MayBeClosedTwiceAndCreatedAgain) {
    this->MakeHeld();
    EXPECT_TRUE(this->m_mutex.Close());
    EXPECT_TRUE(this->m_mutex.Close());
    EXPECT_FALSE(this->m_mutex.IsOpened());
    EXPECT_FALSE(this->m_mutex.Lock(0));
    this->Make();
    EXPECT_TRUE(this->m_mutex.Lock(0)); // free again
}

TYPED_TEST(MutexKinds, FailedCreatePrintsOnceAndStaysOpenedUntilClosed) {
    this->m_expectedOutput = "[ThreadSync] Mutex create failure.\r\n";
    const auto create = [&](const char* name) { return this->m_mutex.Create(name); };
    EXPECT_FALSE(this->Refused(create));
    EXPECT_TRUE(this->m_mutex.IsOpened());
    for (const unsigned int timeoutMs : {0U, 20U, WaitForever})
        EXPECT_FALSE(this->m_mutex.Lock(timeoutMs));
    this->m_mutex.Unlock();
    EXPECT_FALSE(this->m_mutex.Lock(0));
    EXPECT_FALSE(this->Refused(create));
    EXPECT_FALSE(this->m_mutex.Create(this->Name()));
    EXPECT_FALSE(this->m_mutex.Open(this->Name()));
    EXPECT_TRUE(this->m_mutex.Close());
    this->Make();
    EXPECT_TRUE(this->m_mutex.Lock(0));
}

TYPED_TEST(MutexKinds, FailedOpenPrintsItsOwnMessage) {
    this->m_expectedOutput = "[ThreadSync] Mutex open failure.\r\n";
    EXPECT_FALSE(this->Refused([&](const char* name) { return this->m_mutex.Open(name); }));
    EXPECT_TRUE(this->m_mutex.IsOpened());
    EXPECT_FALSE(this->m_mutex.Open(this->Name()));
}

TYPED_TEST(MutexKinds, IsCreatedByTheConstructorThatTakesAName) {
    Mutex made(this->Name());
    EXPECT_TRUE(made.IsOpened());
    EXPECT_TRUE(made.Lock(0));
    EXPECT_FALSE(made.Lock(0));
}

TYPED_TEST(MutexKinds, LimitedLockWaitsItsTimeOrIsASingleTry) {
    this->Make();
    EXPECT_TRUE(this->m_mutex.Lock(600000));
    const auto start = std::chrono::steady_clock::now();
    if (TypeParam::LimitedWaitBlocks) {
        EXPECT_FALSE(this->m_mutex.Lock(120));
        EXPECT_GE(std::chrono::steady_clock::now() - start, 120ms);
    } else {
        EXPECT_FALSE(this->m_mutex.Lock(600000));
        EXPECT_FALSE(this->m_mutex.Lock(0xFFFFFFFE));
        EXPECT_LT(std::chrono::steady_clock::now() - start, 60s);
    }
}

TYPED_TEST(MutexKinds, LockerHoldsItForItsScopeAndWaitsWithoutLimit) {
    this->Make();
    {
        const MutexLocker locker(this->m_mutex);
        EXPECT_FALSE(this->m_mutex.Lock(0));
    }
    EXPECT_TRUE(this->m_mutex.Lock(0));

    PosixThread waiter([&] { const MutexLocker locker(this->m_mutex); });
    VornTest::WaitUntilBlocked({&waiter});
    this->m_mutex.Unlock();
    EXPECT_FALSE(waiter.Join());
    EXPECT_TRUE(this->m_mutex.Lock(0)); // the locker has given it back
}

} // namespace
