// Concerns: what each lock does when it is free, held by this thread or by another, not opened, or
// failed to open; the exact messages and when there is none.
#include <Bases/Thread.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>
#include <pthread.h>

#include <Bases/Impl/Sem_mac.h>

#include "support/BlockedThreads.h"

namespace {

using Vorn::Cs;
using Vorn::CsLocker;
using Vorn::Mutex;
using Vorn::MutexLocker;
using Vorn::WaitForever;
using namespace std::chrono_literals;

std::atomic<bool> g_failCondInit{false};
std::atomic<bool> g_failMutexInit{false};

bool TryFromAnotherThread(const Cs& cs) {
    bool taken = false;
    std::thread([&] {
        taken = cs.TryLock();
        if (taken)
            cs.Unlock();
    }).join();
    return taken;
}

} // namespace

extern "C" {
int __real_pthread_mutex_init(pthread_mutex_t* lock, const pthread_mutexattr_t* attributes);
int __wrap_pthread_mutex_init(pthread_mutex_t* lock, const pthread_mutexattr_t* attributes) {
    return g_failMutexInit ? ENOMEM : __real_pthread_mutex_init(lock, attributes);
}

int __real_pthread_cond_init(pthread_cond_t* cond, const pthread_condattr_t* attributes);
int __wrap_pthread_cond_init(pthread_cond_t* cond, const pthread_condattr_t* attributes) {
    return g_failCondInit ? ENOMEM : __real_pthread_cond_init(cond, attributes);
}
}

namespace {

TEST(Cs, IsRecursiveAndFreeAfterAsManyUnlocks) {
    const Cs cs;
    cs.Lock();
    cs.Lock();
    EXPECT_TRUE(cs.TryLock());
    EXPECT_FALSE(TryFromAnotherThread(cs));
    cs.Unlock();
    cs.Unlock();
    EXPECT_FALSE(TryFromAnotherThread(cs));
    cs.Unlock();
    EXPECT_TRUE(TryFromAnotherThread(cs));
}

TEST(Cs, LockWaitsForTheHolder) {
    const Cs cs;
    int guarded =
        0; // a race report of the thread sanitizer would tell that the lock does not guard
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 10000; ++i) {
                cs.Lock();
                ++guarded;
                cs.Unlock();
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(40000, guarded);
}

// No result of the platform is checked. What is left is a lock of the default kind.
TEST(Cs, ExcludesOtherThreadsAlsoWhenThePlatformRefusedToMakeItRecursive) {
    g_failMutexInit = true;
    const Cs cs;
    g_failMutexInit = false;
    cs.Lock();
    EXPECT_FALSE(cs.TryLock());
    EXPECT_FALSE(TryFromAnotherThread(cs));
    cs.Unlock();
    EXPECT_TRUE(TryFromAnotherThread(cs));
}

TEST(CsLocker, HoldsTheSectionForItsScope) {
    const Cs cs;
    {
        const CsLocker locker(cs);
        EXPECT_FALSE(TryFromAnotherThread(cs));
    }
    EXPECT_TRUE(TryFromAnotherThread(cs));
}

TEST(Locks, HaveNoVirtualOperationsAndAreNotCopied) {
    EXPECT_FALSE(std::is_polymorphic_v<Cs>);
    EXPECT_FALSE(std::is_polymorphic_v<Mutex>);
    EXPECT_FALSE(std::is_polymorphic_v<Vorn::Event>);
    EXPECT_FALSE(std::is_copy_constructible_v<Cs>);
    EXPECT_FALSE(std::is_copy_constructible_v<Mutex>);
    EXPECT_FALSE(std::is_copy_constructible_v<Vorn::Event>);
}

class UnnamedMutex : public testing::Test {
protected:
    void SetUp() override { testing::internal::CaptureStdout(); }
    void TearDown() override {
        EXPECT_EQ(m_expectedOutput, testing::internal::GetCapturedStdout());
    }

    Mutex m_mutex;
    std::string m_expectedOutput;
};

TEST_F(UnnamedMutex, AnswersFalseUntilItIsOpened) {
    EXPECT_FALSE(m_mutex.IsOpened());
    EXPECT_NE(nullptr, m_mutex.GetHandle());
    EXPECT_FALSE(m_mutex.Lock(0));
    EXPECT_FALSE(m_mutex.Lock(20));
    EXPECT_FALSE(m_mutex.Lock(WaitForever));
    m_mutex.Unlock();
    EXPECT_TRUE(m_mutex.Close());
    EXPECT_FALSE(m_mutex.IsOpened());
}

TEST_F(UnnamedMutex, IsNotRecursive) {
    ASSERT_TRUE(m_mutex.Create(nullptr));
    EXPECT_TRUE(m_mutex.Lock(0));
    EXPECT_FALSE(m_mutex.Lock(0));
    EXPECT_FALSE(m_mutex.Lock(5));
    m_mutex.Unlock();
    EXPECT_TRUE(m_mutex.Lock(WaitForever));
}

TEST_F(UnnamedMutex, CanBeLockedAndUnlockedForEver) {
    ASSERT_TRUE(m_mutex.Open(nullptr));
    for (int i = 0; i < 100000; ++i) {
        ASSERT_TRUE(m_mutex.Lock(i % 3 == 0 ? 0 : WaitForever));
        ASSERT_FALSE(m_mutex.Lock(0));
        m_mutex.Unlock();
    }
}

TEST_F(UnnamedMutex, UnlockedTwiceIsStillTakenOnce) {
    ASSERT_TRUE(m_mutex.Create(nullptr));
    m_mutex.Unlock();
    m_mutex.Unlock();
    EXPECT_TRUE(m_mutex.Lock(0));
    EXPECT_FALSE(m_mutex.Lock(0));
}

TEST_F(UnnamedMutex, MayBeUnlockedByAnyThread) {
    ASSERT_TRUE(m_mutex.Create(nullptr));
    ASSERT_TRUE(m_mutex.Lock(0));
    std::thread([&] { m_mutex.Unlock(); }).join();
    EXPECT_TRUE(m_mutex.Lock(0));
}

TEST_F(UnnamedMutex, OneUnlockLetsEveryWaiterPass) {
    ASSERT_TRUE(m_mutex.Create(nullptr));
    ASSERT_TRUE(m_mutex.Lock(0));
    std::atomic<int> passed{0};
    const auto body = [&] {
        if (m_mutex.Lock(WaitForever))
            ++passed;
    };
    VornTest::PosixThread first(body);
    VornTest::PosixThread second(body);
    VornTest::PosixThread third(body);
    VornTest::WaitUntilBlocked({&first, &second, &third});
    m_mutex.Unlock();
    first.Join();
    second.Join();
    third.Join();
    EXPECT_EQ(3, passed);
    EXPECT_FALSE(m_mutex.Lock(0));
    m_mutex.Unlock();
    EXPECT_TRUE(m_mutex.Lock(0));
}

TEST_F(UnnamedMutex, IsUsableAfterAThreadWasCancelledInLock) {
    ASSERT_TRUE(m_mutex.Create(nullptr));
    ASSERT_TRUE(m_mutex.Lock(0));
    VornTest::PosixThread waiter([&] { m_mutex.Lock(WaitForever); });
    VornTest::WaitUntilBlocked({&waiter});
    waiter.Cancel();
    EXPECT_TRUE(waiter.Join());
    EXPECT_FALSE(m_mutex.Lock(0));
    m_mutex.Unlock();
    EXPECT_TRUE(m_mutex.Lock(0));
}

TEST_F(UnnamedMutex, LockInterruptedByASignalHandlerGoesOnWaiting) {
    ASSERT_TRUE(m_mutex.Create(nullptr));
    ASSERT_TRUE(m_mutex.Lock(0));
    for (const unsigned int timeoutMs : {WaitForever, 600000U}) {
        bool taken = false;
        VornTest::PosixThread waiter([&] { taken = m_mutex.Lock(timeoutMs); });
        VornTest::WaitUntilBlocked({&waiter});
        waiter.Interrupt();
        VornTest::WaitUntilBlocked({&waiter});
        m_mutex.Unlock();
        EXPECT_FALSE(waiter.Join());
        EXPECT_TRUE(taken);
        EXPECT_FALSE(m_mutex.Lock(0)); // the unlock released the waiter and left nothing free
    }
}

TEST_F(UnnamedMutex, SecondCreateOrOpenFailsSilently) {
    ASSERT_TRUE(m_mutex.Create(nullptr));
    EXPECT_FALSE(m_mutex.Create(nullptr));
    EXPECT_FALSE(m_mutex.Open(nullptr));
    EXPECT_FALSE(m_mutex.Create("/never-made"));
    EXPECT_TRUE(m_mutex.IsOpened());
    EXPECT_TRUE(m_mutex.Lock(0));
}

TEST_F(UnnamedMutex, MayBeClosedTwiceAndCreatedAnew) {
    ASSERT_TRUE(m_mutex.Create(nullptr));
    ASSERT_TRUE(m_mutex.Lock(0));
    EXPECT_TRUE(m_mutex.Close());
    EXPECT_TRUE(m_mutex.Close());
    EXPECT_FALSE(m_mutex.IsOpened());
    EXPECT_FALSE(m_mutex.Lock(0));
    ASSERT_TRUE(m_mutex.Create(nullptr));
    EXPECT_TRUE(m_mutex.Lock(0)); // free again
}

TEST_F(UnnamedMutex, FailedCreatePrintsOnceAndStaysOpenedUntilClosed) {
    m_expectedOutput = "[ThreadSync] Mutex create failure.\r\n";
    g_failCondInit = true;
    EXPECT_FALSE(m_mutex.Create(nullptr));
    g_failCondInit = false;
    EXPECT_TRUE(m_mutex.IsOpened());
    EXPECT_FALSE(m_mutex.Lock(0));
    m_mutex.Unlock();
    EXPECT_FALSE(m_mutex.Lock(0));
    EXPECT_FALSE(m_mutex.Create(nullptr));
    EXPECT_FALSE(m_mutex.Open(nullptr));
    EXPECT_TRUE(m_mutex.Close());
    EXPECT_TRUE(m_mutex.Create(nullptr));
    EXPECT_TRUE(m_mutex.Lock(0));
}

TEST_F(UnnamedMutex, FailedOpenPrintsItsOwnMessage) {
    m_expectedOutput = "[ThreadSync] Mutex open failure.\r\n";
    g_failCondInit = true;
    EXPECT_FALSE(m_mutex.Open(nullptr));
    g_failCondInit = false;
    EXPECT_TRUE(m_mutex.IsOpened());
    EXPECT_FALSE(m_mutex.Open(nullptr));
}

TEST_F(UnnamedMutex, IsMadeByTheConstructorThatTakesAName) {
    Mutex made(nullptr);
    EXPECT_TRUE(made.IsOpened());
    EXPECT_TRUE(made.Lock(0));
    EXPECT_FALSE(made.Lock(0));
}

TEST_F(UnnamedMutex, LimitedLockWaitsItsTime) {
    ASSERT_TRUE(m_mutex.Create(nullptr));
    ASSERT_TRUE(m_mutex.Lock(0));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(m_mutex.Lock(120));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 120ms);
}

TEST_F(UnnamedMutex, LockerHoldsItForItsScopeAndWaitsWithoutLimit) {
    ASSERT_TRUE(m_mutex.Create(nullptr));
    {
        const MutexLocker locker(m_mutex);
        EXPECT_FALSE(m_mutex.Lock(0));
    }
    EXPECT_TRUE(m_mutex.Lock(0));

    VornTest::PosixThread waiter([&] { const MutexLocker locker(m_mutex); });
    VornTest::WaitUntilBlocked({&waiter});
    m_mutex.Unlock();
    EXPECT_FALSE(waiter.Join());
    EXPECT_TRUE(m_mutex.Lock(0)); // the locker has given it back
}

TEST_F(UnnamedMutex, LockerOfAMutexThatIsNotOpenedGuardsNothing) {
    const MutexLocker locker(m_mutex);
    EXPECT_FALSE(m_mutex.IsOpened());
}

} // namespace
