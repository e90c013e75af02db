// SPDX-License-Identifier: MIT
// Concerns: what each lock does when it is free, held by this thread or by another, not opened, or
// failed to open; the exact messages and when there is none.
#include <Bases/Thread.h>

#include <cerrno>
#include <chrono>
#include <thread>
#include <tuple>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>
#include <pthread.h>

#include <Bases/Impl/Sem_mac.h>

#include "fault/Platform.h"

namespace {

using Vorn::Cs;
using Vorn::CsLocker;
using Vorn::Mutex;
using Vorn::MutexLocker;
using Vorn::WaitForever;
namespace Platform = VornTest::Platform;

bool TryFromAnotherThread(const Cs& cs) {
    bool taken = false;
    std::thread([&] {
        taken = cs.TryLock();
        if (taken)
            cs.Unlock();
    }).join();
    return taken;
}

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
    int guarded = 0; // the thread sanitizer would report a race if the lock did not guard it
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
TEST(Cs, ExcludesOtherThreadsEvenWhenThePlatformRefusedARecursiveLock) {
    Platform::pthread_mutex_init.At(1).Fail(ENOMEM);
    const Cs cs;
    ASSERT_EQ(1U, Platform::pthread_mutex_init.Scripted());
    cs.Lock();
    EXPECT_FALSE(cs.TryLock());
    EXPECT_FALSE(TryFromAnotherThread(cs));
    cs.Unlock();
    EXPECT_TRUE(TryFromAnotherThread(cs));
}

TEST(Cs, IsMadeWithoutAttributesWhereThereAreNone) {
    Platform::pthread_mutexattr_init.At(1).Fail(ENOMEM);
    Platform::pthread_mutex_init.Record();
    const Cs cs;
    ASSERT_EQ(1U, Platform::pthread_mutex_init.Count());
    EXPECT_EQ(nullptr, std::get<1>(Platform::pthread_mutex_init.Calls().front()));
    EXPECT_TRUE(cs.TryLock());
    cs.Unlock();
}

TEST(Cs, IsNotTakenWhenThePlatformReportsAnyError) {
    const Cs cs;
    for (const int error : {EBUSY, EAGAIN, EINVAL}) {
        Platform::pthread_mutex_trylock.At(1).Answer(error);
        EXPECT_FALSE(cs.TryLock()) << error;
    }
    EXPECT_TRUE(cs.TryLock());
    cs.Unlock();
}

TEST(Cs, DestroysItsMutexWithItself) {
    Platform::pthread_mutex_init.Record();
    Platform::pthread_mutex_destroy.Record();
    { const Cs cs; }
    ASSERT_EQ(1U, Platform::pthread_mutex_init.Count());
    ASSERT_EQ(1U, Platform::pthread_mutex_destroy.Count());
    EXPECT_EQ(std::get<0>(Platform::pthread_mutex_init.Calls().front()),
              Platform::pthread_mutex_destroy.Calls().front());
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

TEST(UnopenedMutex, AnswersFalseSilently) {
    testing::internal::CaptureStdout();
    Mutex mutex;
    EXPECT_FALSE(mutex.IsOpened());
    EXPECT_NE(nullptr, mutex.GetHandle());
    EXPECT_FALSE(mutex.Lock(0));
    EXPECT_FALSE(mutex.Lock(20));
    EXPECT_FALSE(mutex.Lock(WaitForever));
    mutex.Unlock();
    EXPECT_TRUE(mutex.Close());
    EXPECT_FALSE(mutex.IsOpened());
    EXPECT_EQ("", testing::internal::GetCapturedStdout());
}

TEST(UnopenedMutex, IsNotGuardedByALocker) {
    testing::internal::CaptureStdout();
    Mutex mutex;
    const MutexLocker locker(mutex);
    EXPECT_FALSE(mutex.IsOpened());
    EXPECT_EQ("", testing::internal::GetCapturedStdout());
}

} // namespace
