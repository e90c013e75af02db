// SPDX-License-Identifier: MIT
// Cancellation: a thread that is cancelled while it waits leaves no lock behind, and no Set or post
// is lost with it.
#include <memory>

#include <pthread.h>

#include <Bases/Impl/Sem_mac.h>
#include <Bases/Thread.h>

#include "schedules/Explore.h"
#include "schedules/Objects.h"

using namespace VornTest::Schedules; // NOLINT: the whole file is about them
using Vorn::TryOnce;
using Vorn::WaitForever;

SCENARIO(CancelSchedules, CancelledWaiterLeavesTheEventWhole) {
    UnsetEvent event(Manual);
    Actor waiter([&] {
        const auto block = std::make_unique<int>(1); // nothing leaks
        event.Wait(WaitForever);
        CHECK(false);
    });
    waiter.Cancel();
    CHECK(waiter.Join());
    CheckWhole(event);
}

SCENARIO(CancelSchedules, SetStaysWhenItsWaiterIsCancelled) {
    UnsetEvent event(Auto);
    Actor waiter([&] { CHECK(event.Wait(WaitForever)); });
    Actor setter([&] { event.Set(); });
    waiter.Cancel();
    const bool cancelled = waiter.Join();
    setter.Join();
    CHECK(event.Wait(TryOnce) == cancelled);
    CHECK(!event.Wait(TryOnce));
}

SCENARIO(CancelSchedules, ResetTakesTheSetOfACancelledWaiterBack) {
    UnsetEvent event(Manual);
    Actor waiter([&] { CHECK(event.Wait(WaitForever)); });
    AwaitQuiet();
    Actor canceller([&] { waiter.Cancel(); });
    event.Set();
    event.Reset();
    AwaitActors();
    CHECK(!event.Wait(TryOnce));
    CheckWhole(event);
}

SCENARIO(CancelSchedules, SetOfAnEventReleasesTheOtherWaiterOfACancelledOne) {
    UnsetEvent event(Auto);
    Actor first([&] { event.Wait(WaitForever); });
    Actor second([&] { CHECK(event.Wait(WaitForever)); });
    AwaitQuiet();
    Actor canceller([&] { first.Cancel(); });
    event.Set();
    AwaitActors();
    CHECK(first.Join() || !event.Wait(TryOnce));
    CheckWhole(event);
}

SCENARIO(CancelSchedules, PostIsUsedByItsWaiterOrStays) {
    Semaphore semaphore(Semaphore::SemLocked);
    Actor waiter([&] { CHECK(semaphore.Wait(WaitForever)); });
    Actor poster([&] { semaphore.Post(); });
    waiter.Cancel();
    const bool cancelled = waiter.Join();
    poster.Join();
    CHECK(semaphore.Wait(TryOnce) == cancelled);
    CHECK(!semaphore.Wait(TryOnce));
}

SCENARIO(CancelSchedules, PostOfACancelledWaiterIsNotHandedOnWhenAnotherPassedByIt) {
    Semaphore semaphore(Semaphore::SemLocked);
    Actor first([&] { semaphore.Wait(WaitForever); });
    Actor second([&] { CHECK(semaphore.Wait(WaitForever)); });
    AwaitQuiet();
    semaphore.Post();
    first.Cancel();
    AwaitActors();
    CHECK(!semaphore.Wait(TryOnce));
}

SCENARIO(CancelSchedules, PostOfTwoCancelledWaitersIsHandedOnOnce) {
    Semaphore semaphore(Semaphore::SemLocked);
    Actor first([&] { semaphore.Wait(WaitForever); });
    Actor second([&] { semaphore.Wait(WaitForever); });
    AwaitQuiet();
    semaphore.Post();
    first.Cancel();
    second.Cancel();
    const bool bothCancelled = int{first.Join()} + int{second.Join()} == 2;
    CHECK(semaphore.Wait(TryOnce) == bothCancelled);
    CHECK(!semaphore.Wait(TryOnce));
}

SCENARIO(CancelSchedules, PostIsUsedByATimedWaiterBesideACancelledOneOrStays) {
    Semaphore semaphore(Semaphore::SemLocked);
    bool passed = false;
    Actor first([&] { CHECK(semaphore.Wait(WaitForever)); });
    Actor second([&] { passed = semaphore.Wait(10); });
    AwaitQuiet();
    semaphore.Post();
    first.Cancel();
    const bool cancelled = first.Join();
    second.Join();
    CHECK(semaphore.Wait(TryOnce) == (cancelled && !passed));
}

SCENARIO(CancelSchedules, PostOfACancelledWaiterReleasesWhoCameLater) {
    Semaphore semaphore(Semaphore::SemLocked);
    Actor first([&] { semaphore.Wait(WaitForever); });
    AwaitQuiet();
    Actor second([&] { CHECK(semaphore.Wait(WaitForever)); });
    semaphore.Post();
    first.Cancel();
    if (!first.Join())
        semaphore.Post();
    second.Join();
    CHECK(semaphore.GetMonitor() != nullptr);
}

// Handed on, it is one post more, and its count stays.
SCENARIO(CancelSchedules, PostHandedOnLeavesTheCount) {
    Semaphore semaphore(Semaphore::SemLocked);
    Actor waiter([&] { semaphore.Wait(WaitForever); });
    AwaitQuiet();
    semaphore.Post();
    CHECK(!semaphore.Wait(TryOnce));
    waiter.Cancel();
    const bool cancelled = waiter.Join();
    CHECK(ReportedCount(semaphore) == -1);
    CHECK(semaphore.Wait(TryOnce) == cancelled);
}

SCENARIO(CancelSchedules, TryOnceIsNoCancellationPoint) {
    UnsetEvent event(Manual);
    event.Set();
    Semaphore semaphore(Semaphore::SemLocked);
    bool came = false;
    Actor tryer([&] {
        pthread_cancel(pthread_self());
        CHECK(event.Wait(TryOnce));
        CHECK(!semaphore.Wait(TryOnce));
        came = true;
    });
    CHECK(!tryer.Join());
    CHECK(came);
}

SCENARIO(CancelSchedules, WaitThatNeedNotBlockIsACancellationPoint) {
    UnsetEvent event(Manual);
    event.Set();
    Actor waiter([&] {
        pthread_cancel(pthread_self());
        event.Wait(WaitForever);
        CHECK(false);
    });
    CHECK(waiter.Join());
    CHECK(event.Wait(TryOnce));
}

SCENARIO(CancelSchedules, SetAfterTheCancellationIsLeft) {
    UnsetEvent event(Auto);
    Actor waiter([&] {
        event.Wait(WaitForever);
        CHECK(false);
    });
    waiter.Cancel();
    event.Set();
    CHECK(waiter.Join());
    CHECK(event.Wait(TryOnce));
}

SCENARIO(CancelSchedules, PostAfterTheCancellationIsLeft) {
    Semaphore semaphore(Semaphore::SemLocked);
    Actor waiter([&] {
        semaphore.Wait(WaitForever);
        CHECK(false);
    });
    waiter.Cancel();
    semaphore.Post();
    CHECK(waiter.Join());
    CHECK(semaphore.Wait(TryOnce));
}

SCENARIO(CancelSchedules, WaitThatBeginsCancelledDoesNotCount) {
    Semaphore semaphore(Semaphore::SemLocked);
    Actor waiter([&] {
        pthread_cancel(pthread_self());
        semaphore.Wait(WaitForever);
        CHECK(false);
    });
    CHECK(waiter.Join());
    CHECK(ReportedCount(semaphore) == 0);
}

SCENARIO(CancelSchedules, CancelledWaitOnAFreeSemaphoreLeavesItFree) {
    Semaphore semaphore(Semaphore::SemFree);
    Actor waiter([&] {
        semaphore.Wait(10);
        semaphore.Post();
    });
    waiter.Cancel();
    waiter.Join();
    CHECK(semaphore.Wait(TryOnce));
    CHECK(!semaphore.Wait(TryOnce));
}

SCENARIO(CancelSchedules, CancelledLockerDoesNotHoldTheMutex) {
    Vorn::Mutex mutex(nullptr);
    CHECK(mutex.Lock(TryOnce));
    Actor locker([&] {
        CHECK(mutex.Lock(WaitForever));
        mutex.Unlock();
    });
    Actor canceller([&] { locker.Cancel(); });
    mutex.Unlock();
    AwaitActors();
    CHECK(mutex.Lock(TryOnce));
    CHECK(!mutex.Lock(TryOnce));
}

SCENARIO(CancelSchedules, EventMayBeDestroyedOnceItsCancelledWaiterIsJoined) {
    auto event = std::make_unique<UnsetEvent>(Auto);
    Actor waiter([p = event.get()] { p->Wait(WaitForever); });
    Actor setter([p = event.get()] { p->Set(); });
    waiter.Cancel();
    waiter.Join();
    setter.Join();
    event.reset();
}

SCENARIO(CancelSchedules, WaitOnANamedEventCanBeCancelled) {
    Vorn::Event event;
    CHECK(event.Create(Auto, 0, "/name"));
    Actor waiter([&] { event.Wait(WaitForever); });
    Actor setter([&] { event.Set(); });
    waiter.Cancel();
    const bool cancelled = waiter.Join();
    setter.Join();
    CHECK(event.Wait(TryOnce) == cancelled);
}
