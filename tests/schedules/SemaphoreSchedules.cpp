// SPDX-License-Identifier: MIT
// Semaphores and mutexes: a post releases all who have joined, or leaves one wait free; locks keep
// their holders apart.
#include <atomic>
#include <memory>

#include <Bases/Impl/Sem_mac.h>
#include <Bases/Thread.h>

#include "schedules/Explore.h"
#include "schedules/Objects.h"

using namespace VornTest::Schedules; // NOLINT: the whole file is about them
using Vorn::TryOnce;
using Vorn::WaitForever;

SCENARIO(SemaphoreSchedules, PostReleasesTheWaiterAndLeavesNothing) {
    Semaphore semaphore(Semaphore::SemLocked);
    Actor waiter([&] { CHECK(semaphore.Wait(WaitForever)); });
    semaphore.Post();
    waiter.Join();
    CHECK(!semaphore.Wait(TryOnce));
}

SCENARIO(SemaphoreSchedules, PostReleasesAllWhoHaveJoinedAndLeavesNothing) {
    Semaphore semaphore(Semaphore::SemLocked);
    Actor first([&] { CHECK(semaphore.Wait(WaitForever)); });
    Actor second([&] { CHECK(semaphore.Wait(1000) || Now() > 0); });
    AwaitQuiet();
    CHECK(ReportedCount(semaphore) == -2);
    semaphore.Post();
    AwaitActors();
    CHECK(ReportedCount(semaphore) == 0);
    CHECK(!semaphore.Wait(TryOnce));
}

SCENARIO(SemaphoreSchedules, TwoPostsLeaveOneWaitFree) {
    Semaphore semaphore(Semaphore::SemLocked);
    Actor first([&] { semaphore.Post(); });
    Actor second([&] { semaphore.Post(); });
    AwaitActors();
    CHECK(semaphore.Wait(TryOnce));
    CHECK(!semaphore.Wait(TryOnce));
}

SCENARIO(SemaphoreSchedules, FreeWaitIsTakenByOne) {
    Semaphore semaphore(Semaphore::SemFree);
    bool first = false;
    bool second = false;
    Actor one([&] { first = semaphore.Wait(TryOnce); });
    Actor two([&] { second = semaphore.Wait(10); });
    AwaitActors();
    one.Join();
    two.Join();
    CHECK(first != second);
}

SCENARIO(SemaphoreSchedules, TryAlongsideThePostTakesNothingFromWhoHasJoined) {
    Semaphore semaphore(Semaphore::SemLocked);
    Actor waiter([&] { CHECK(semaphore.Wait(WaitForever)); });
    AwaitQuiet();
    Actor poster([&] { semaphore.Post(); });
    CHECK(!semaphore.Wait(TryOnce));
}

SCENARIO(SemaphoreSchedules, PostIsUsedByATimedWaitOrStays) {
    Semaphore semaphore(Semaphore::SemLocked);
    bool passed = false;
    Actor waiter([&] { passed = semaphore.Wait(10); });
    semaphore.Post();
    waiter.Join();
    CHECK(semaphore.Wait(TryOnce) == !passed);
}

SCENARIO(SemaphoreSchedules, PostIsUsedByOneOfTwoTimedWaitsOrStays) {
    Semaphore semaphore(Semaphore::SemLocked);
    bool first = false;
    bool second = false;
    Actor one([&] { first = semaphore.Wait(10); });
    Actor two([&] { second = semaphore.Wait(20); });
    semaphore.Post();
    AwaitActors();
    one.Join();
    two.Join();
    CHECK(semaphore.Wait(TryOnce) == (!first && !second));
}

SCENARIO(SemaphoreSchedules, TimeOutOfOneWaiterDoesNotHurtTheOther) {
    Semaphore semaphore(Semaphore::SemLocked);
    bool passed = false;
    Actor timed([&] { passed = semaphore.Wait(10); });
    Actor unlimited([&] { CHECK(semaphore.Wait(WaitForever)); });
    semaphore.Post();
    timed.Join();
    if (passed)
        semaphore.Post(); // the other one may have come too late for the first
}

SCENARIO(SemaphoreSchedules, EachOfTwoWaitersIsReleasedByOneOfTwoPosts) {
    Semaphore semaphore(Semaphore::SemLocked);
    std::atomic<int> passed{0};
    const auto wait = [&] {
        if (semaphore.Wait(10))
            ++passed;
    };
    Actor first(wait);
    Actor second(wait);
    semaphore.Post();
    semaphore.Post();
    AwaitActors();
    CHECK(passed > 0 || semaphore.Wait(TryOnce));
    semaphore.Wait(TryOnce);
    CHECK(!semaphore.Wait(TryOnce));
}

SCENARIO(SemaphoreSchedules, MayBeDestroyedRightAfterTheWait) {
    auto semaphore = std::make_unique<Semaphore>(Semaphore::SemLocked);
    Actor poster([p = semaphore.get()] { p->Post(); });
    CHECK(semaphore->Wait(WaitForever));
    semaphore.reset();
}

SCENARIO(SemaphoreSchedules, EveryAttemptIsCountedOnce) {
    Semaphore semaphore(Semaphore::SemLocked);
    Actor one([&] { CHECK(!semaphore.Wait(TryOnce)); });
    Actor two([&] { CHECK(!semaphore.Wait(10)); });
    CHECK(!semaphore.Wait(TryOnce));
    AwaitActors();
    CHECK(ReportedCount(semaphore) == -3);
}

SCENARIO(SemaphoreSchedules, CauselessWakesMakeNoWaitPass, .causelessWakes = 2) {
    Semaphore semaphore(Semaphore::SemLocked);
    bool passed = false;
    Actor waiter([&] { passed = semaphore.Wait(10); });
    AwaitQuiet();
    semaphore.Post();
    waiter.Join();
    CHECK(semaphore.Wait(TryOnce) == !passed);
}

SCENARIO(SemaphoreSchedules, MutexKeepsTwoThreadsApart) {
    Vorn::Mutex mutex(nullptr);
    int shared = 0;
    Actor other([&] {
        CHECK(mutex.Lock(WaitForever));
        ++shared;
        mutex.Unlock();
    });
    for (int i = 0; i < 2; ++i) {
        CHECK(mutex.Lock(WaitForever));
        ++shared;
        mutex.Unlock();
    }
    AwaitActors();
    CHECK(mutex.Lock(TryOnce));
    CHECK(shared == 3);
    CHECK(!mutex.Lock(TryOnce));
}

SCENARIO(SemaphoreSchedules, MutexLockersKeepTwoThreadsApart) {
    Vorn::Mutex mutex(nullptr);
    int shared = 0;
    const auto add = [&] {
        const Vorn::MutexLocker lock(mutex);
        ++shared;
    };
    Actor other(add);
    add();
    AwaitActors();
    const Vorn::MutexLocker lock(mutex);
    CHECK(shared == 2);
}

SCENARIO(SemaphoreSchedules, MutexIsFreeAfterThreeThreadsHaveUsedIt) {
    Vorn::Mutex mutex(nullptr);
    const auto use = [&] {
        CHECK(mutex.Lock(WaitForever));
        mutex.Unlock();
    };
    Actor first(use);
    Actor second(use);
    use();
    AwaitActors();
    CHECK(mutex.Lock(TryOnce));
}

SCENARIO(SemaphoreSchedules, MutexIsNotHeldAfterALockThatTimedOut) {
    Vorn::Mutex mutex(nullptr);
    CHECK(mutex.Lock(TryOnce));
    bool locked = false;
    Actor other([&] { locked = mutex.Lock(10); });
    mutex.Unlock();
    other.Join();
    CHECK(mutex.Lock(TryOnce) == !locked);
}

SCENARIO(SemaphoreSchedules, CriticalSectionKeepsThreadsApartAndIsRecursive) {
    const Vorn::Cs section;
    int shared = 0;
    const auto add = [&] {
        const Vorn::CsLocker outer(section);
        const Vorn::CsLocker inner(section);
        ++shared;
    };
    Actor first(add);
    Actor second([&] {
        if (!section.TryLock())
            return;
        ++shared;
        section.Unlock();
    });
    add();
    AwaitActors();
    const Vorn::CsLocker lock(section);
    CHECK(shared >= 2);
}
