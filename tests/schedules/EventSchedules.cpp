// SPDX-License-Identifier: MIT
// Events: no wake-up is lost and none made up, whatever Set, Reset, Wait and destruction do at the
// same time.
#include <atomic>
#include <memory>

#include <Bases/Impl/Sem_mac.h>
#include <Bases/Thread.h>

#include "schedules/Explore.h"
#include "schedules/Objects.h"

using namespace VornTest::Schedules; // NOLINT: the whole file is about them
using Vorn::TryOnce;
using Vorn::WaitForever;

SCENARIO(EventSchedules, SetReleasesTheWaiterOfAManualEvent) {
    UnsetEvent event(Manual);
    Actor waiter([&] { CHECK(event.Wait(WaitForever)); });
    CHECK(event.Set());
    waiter.Join();
    CHECK(event.Wait(TryOnce));
}

SCENARIO(EventSchedules, SetReleasesTheWaiterOfAnAutoEventAndIsUsedUp) {
    UnsetEvent event(Auto);
    Actor waiter([&] { CHECK(event.Wait(WaitForever)); });
    CHECK(event.Set());
    waiter.Join();
    CHECK(!event.Wait(TryOnce));
}

SCENARIO(EventSchedules, SetReleasesBothWaitersOfAManualEvent) {
    UnsetEvent event(Manual);
    Actor first([&] { CHECK(event.Wait(WaitForever)); });
    Actor second([&] { CHECK(event.Wait(WaitForever)); });
    event.Set();
}

SCENARIO(EventSchedules, SetReleasesEveryJoinedWaiterOfAnAutoEvent) {
    UnsetEvent event(Auto);
    Actor first([&] { CHECK(event.Wait(WaitForever)); });
    Actor second([&] { CHECK(event.Wait(WaitForever)); });
    AwaitQuiet();
    CHECK(ReportedCount(event) == -2);
    event.Set();
    AwaitActors();
    CHECK(ReportedCount(event) == 0);
    CheckWhole(event);
}

SCENARIO(EventSchedules, SetReleasesThreeWaitersAtOnce) {
    UnsetEvent event(Manual);
    Actor first([&] { CHECK(event.Wait(WaitForever)); });
    Actor second([&] { CHECK(event.Wait(WaitForever)); });
    Actor third([&] { CHECK(event.Wait(WaitForever)); });
    AwaitQuiet();
    event.Set();
}

SCENARIO(EventSchedules, ManualEventMayBeDestroyedRightAfterTheWait) {
    auto event = std::make_unique<UnsetEvent>(Manual);
    Actor setter([p = event.get()] { p->Set(); });
    CHECK(event->Wait(WaitForever));
    event.reset();
}

SCENARIO(EventSchedules, AutoEventMayBeDestroyedRightAfterTheWait) {
    auto event = std::make_unique<UnsetEvent>(Auto);
    Actor setter([p = event.get()] { p->Set(); });
    CHECK(event->Wait(WaitForever));
    event.reset();
}

SCENARIO(EventSchedules, EventMayBeDestroyedRightAfterATimedWait) {
    auto event = std::make_unique<UnsetEvent>(Manual);
    Actor setter([p = event.get()] { p->Set(); });
    while (!event->Wait(10)) {
    }
    event.reset();
}

SCENARIO(EventSchedules, EventMayBeDestroyedRightAfterATryThatPasses) {
    auto event = std::make_unique<UnsetEvent>(Manual);
    Actor setter([p = event.get()] { p->Set(); });
    if (!event->Wait(TryOnce))
        CHECK(event->Wait(WaitForever));
    event.reset();
}

SCENARIO(EventSchedules, LastOfTwoWaitersMayDestroyTheEvent) {
    auto event = std::make_unique<UnsetEvent>(Manual);
    UnsetEvent* const p = event.get();
    std::atomic<int> left{2};
    const auto wait = [&] {
        CHECK(event->Wait(WaitForever));
        if (--left == 0)
            event.reset();
    };
    Actor first(wait);
    Actor second(wait);
    p->Set();
}

// The second waiter has given up before, or passes as well; the setter must be done with either.
SCENARIO(EventSchedules, EventMayBeDestroyedWhenOneWaiterHasTimedOut) {
    auto event = std::make_unique<UnsetEvent>(Manual);
    UnsetEvent* const p = event.get();
    std::atomic<int> left{2};
    const auto leave = [&] {
        if (--left == 0)
            event.reset();
    };
    Actor first([&] {
        CHECK(event->Wait(WaitForever));
        leave();
    });
    Actor second([&] {
        event->Wait(10);
        leave();
    });
    p->Set();
}

SCENARIO(EventSchedules, EventMayBeClosedAndCreatedAnewRightAfterTheWait) {
    UnsetEvent event(Manual);
    Actor setter([&] { event.Set(); });
    CHECK(event.Wait(WaitForever));
    event.Close();
    CHECK(event.Wait(TryOnce)); // closed while set
    CHECK(event.Create(Auto, 0, nullptr));
    CHECK(!event.Wait(TryOnce));
}

SCENARIO(EventSchedules, SetAfterAResetReleasesBothWaiters) {
    UnsetEvent event(Manual);
    Actor first([&] { CHECK(event.Wait(WaitForever)); });
    Actor second([&] { CHECK(event.Wait(WaitForever)); });
    event.Reset();
    event.Set();
}

SCENARIO(EventSchedules, ResetDoesNotRevokeTheSetOfAManualEvent) {
    UnsetEvent event(Manual);
    Actor first([&] { CHECK(event.Wait(WaitForever)); });
    Actor second([&] { CHECK(event.Wait(WaitForever)); });
    AwaitQuiet();
    event.Set();
    event.Reset();
    AwaitActors();
    CheckWhole(event);
}

SCENARIO(EventSchedules, ResetDoesNotRevokeTheSetOfAnAutoEvent) {
    UnsetEvent event(Auto);
    Actor waiter([&] { CHECK(event.Wait(WaitForever)); });
    AwaitQuiet();
    event.Set();
    event.Reset();
    AwaitActors();
    CheckWhole(event);
}

SCENARIO(EventSchedules, SetResetAndATimedWaitKeepAManualEventWhole) {
    UnsetEvent event(Manual);
    Actor waiter([&] { event.Wait(10); });
    Actor setter([&] { event.Set(); });
    event.Reset();
    AwaitActors();
    CheckWhole(event);
}

SCENARIO(EventSchedules, SetResetAndATimedWaitKeepAnAutoEventWhole) {
    UnsetEvent event(Auto);
    Actor waiter([&] { event.Wait(10); });
    Actor setter([&] { event.Set(); });
    event.Reset();
    AwaitActors();
    CheckWhole(event);
}

SCENARIO(EventSchedules, SetsAndResetsOfThreeThreadsKeepTheEventWhole) {
    UnsetEvent event(Manual);
    Actor setter([&] { event.Set(); });
    Actor resetter([&] { event.Reset(); });
    event.Reset();
    event.Set();
    AwaitActors();
    CheckWhole(event);
}

SCENARIO(EventSchedules, SetIsSeenByOneOfTwoTimedWaitsOrStays) {
    UnsetEvent event(Auto);
    bool first = false;
    bool second = false;
    Actor one([&] { first = event.Wait(10); });
    Actor two([&] { second = event.Wait(10); });
    event.Set();
    AwaitActors();
    one.Join();
    two.Join();
    CHECK(event.Wait(TryOnce) == (!first && !second));
}

SCENARIO(EventSchedules, FailedTryDoesNotSwallowASet) {
    UnsetEvent event(Auto);
    bool seen = false;
    Actor waiter([&] { seen = event.Wait(TryOnce) || event.Wait(TryOnce); });
    event.Set();
    waiter.Join();
    CHECK(event.Wait(TryOnce) == !seen);
}

SCENARIO(EventSchedules, FailedTimedWaitDoesNotSwallowASet) {
    UnsetEvent event(Auto);
    bool seen = false;
    Actor waiter([&] { seen = event.Wait(10); });
    event.Set();
    waiter.Join();
    CHECK(event.Wait(TryOnce) == !seen);
}

SCENARIO(EventSchedules, TimedWaitOfAManualEventFailsOnlyBeforeTheSet) {
    UnsetEvent event(Manual);
    bool seen = false;
    Actor waiter([&] {
        seen = event.Wait(10);
        CHECK(seen || Now() > 0);
    });
    event.Set();
    waiter.Join();
    CHECK(event.Wait(TryOnce));
}

// Without time-outs on the way, time passes only when a thread was not woken that should have been.
SCENARIO(EventSchedules, SetWakesATimedWaitAtOnce, .timeOuts = 0) {
    UnsetEvent event(Manual);
    Actor first([&] { CHECK(event.Wait(1000)); });
    Actor second([&] { CHECK(event.Wait(1000)); });
    event.Set();
    AwaitActors();
    CHECK(Now() == 0);
}

SCENARIO(EventSchedules, CauselessWakesMakeNoWaitPass, .causelessWakes = 2) {
    UnsetEvent event(Manual);
    bool set = false;
    Actor waiter([&] {
        CHECK(event.Wait(WaitForever));
        CHECK(set); // also a race if the Set did not come before
    });
    set = true;
    event.Set();
}

SCENARIO(EventSchedules, CauselessWakesReleaseNoOneOfAnAutoEvent, .causelessWakes = 2) {
    UnsetEvent event(Auto);
    Actor first([&] { CHECK(event.Wait(WaitForever)); });
    Actor second([&] { event.Wait(10); });
    AwaitQuiet();
    event.Set();
    AwaitActors();
    CHECK(!event.Wait(TryOnce));
}

SCENARIO(EventSchedules, FailingExchangesChangeNothing, .weakFailures = 2) {
    UnsetEvent event(Auto);
    Actor waiter([&] { CHECK(event.Wait(WaitForever)); });
    CHECK(event.Set());
    waiter.Join();
    CHECK(!event.Wait(TryOnce));
    CHECK(ReportedCount(event) <= 0);
}

SCENARIO(EventSchedules, FailingExchangesLoseNoSet, .weakFailures = 2) {
    UnsetEvent event(Manual);
    Actor waiter([&] { CHECK(event.Wait(WaitForever)); });
    CHECK(event.Set());
    waiter.Join();
    CHECK(event.Wait(TryOnce));
}

SCENARIO(EventSchedules, WhatWasDoneBeforeTheSetIsSeenAfterTheWait) {
    UnsetEvent event(Auto);
    int item = 0;
    Actor producer([&] {
        item = 7;
        event.Set();
    });
    CHECK(event.Wait(WaitForever));
    CHECK(item == 7);
}

SCENARIO(EventSchedules, WhatWasDoneBeforeTheSetIsSeenAfterATry) {
    UnsetEvent event(Manual);
    int item = 0;
    Actor producer([&] {
        item = 7;
        event.Set();
    });
    CHECK(!event.Wait(TryOnce) || item == 7);
}

SCENARIO(EventSchedules, ReaderThatResetsIsDoneBeforeTheNextSet) {
    UnsetEvent event(Auto);
    UnsetEvent taken(Auto);
    int item = 1;
    Actor consumer([&] {
        for (int i = 1; i <= 2; ++i) {
            CHECK(event.Wait(WaitForever));
            CHECK(item == i);
            taken.Set();
        }
    });
    event.Set();
    CHECK(taken.Wait(WaitForever));
    item = 2;
    event.Set();
    CHECK(taken.Wait(WaitForever));
}

SCENARIO(EventSchedules, OfTwoSetsOneAtLeastReleasesTheWaiter) {
    UnsetEvent event(Auto);
    Actor first([&] { event.Set(); });
    Actor second([&] { event.Set(); });
    CHECK(event.Wait(WaitForever));
    AwaitActors();
    CheckWhole(event);
}

SCENARIO(EventSchedules, TwoSetsReleaseTwoWaiters) {
    UnsetEvent event(Manual);
    Actor setter([&] { event.Set(); });
    Actor waiter([&] { CHECK(event.Wait(WaitForever)); });
    event.Set();
    CHECK(event.Wait(WaitForever));
}

SCENARIO(EventSchedules, OneOfTwoTriesTakesASetAutoEvent) {
    UnsetEvent event(Auto);
    event.Set();
    bool first = false;
    bool second = false;
    Actor one([&] { first = event.Wait(TryOnce); });
    Actor two([&] { second = event.Wait(TryOnce); });
    AwaitActors();
    one.Join();
    two.Join();
    CHECK(first != second);
}

SCENARIO(EventSchedules, EveryFailedTryIsCountedOnce) {
    UnsetEvent event(Manual);
    Actor one([&] { CHECK(!event.Wait(TryOnce)); });
    Actor two([&] { CHECK(!event.Wait(TryOnce)); });
    CHECK(!event.Wait(TryOnce));
    AwaitActors();
    CHECK(ReportedCount(event) == -3);
}

SCENARIO(EventSchedules, EventThatWasCreatedSetIsTakenOnceAgainstAReset) {
    Vorn::Event event;
    event.Create(Auto, 1, nullptr);
    bool passed = false;
    Actor waiter([&] { passed = event.Wait(TryOnce); });
    event.Reset();
    waiter.Join();
    CHECK(!event.Wait(TryOnce));
    CHECK(ReportedCount(event) == (passed ? -1 : -2));
}
