// SPDX-License-Identifier: MIT
// Named mutexes and events, over the platform's semaphores: each post is for one wait.
#include <memory>

#include <Bases/Impl/Sem_mac.h>
#include <Bases/Thread.h>

#include "schedules/Explore.h"
#include "schedules/Objects.h"

using namespace VornTest::Schedules; // NOLINT: the whole file is about them
using Vorn::TryOnce;
using Vorn::WaitForever;

SCENARIO(NamedSchedules, MutexKeepsThreeThreadsApart) {
    Vorn::Mutex mutex("/name");
    Vorn::Mutex same;
    CHECK(same.Open("/name"));
    int shared = 0;
    const auto add = [&shared](Vorn::Mutex& through) {
        CHECK(through.Lock(WaitForever));
        ++shared;
        through.Unlock();
    };
    Actor first([&] { add(same); });
    Actor second([&] { add(mutex); });
    add(mutex);
    AwaitActors();
    CHECK(mutex.Lock(TryOnce));
    CHECK(shared == 3);
}

SCENARIO(NamedSchedules, SetReleasesAWaiterOfAnotherObject) {
    Vorn::Event event;
    Vorn::Event same;
    CHECK(event.Create(Manual, 0, "/name"));
    CHECK(same.Create(Manual, 0, "/name"));
    int item = 0;
    Actor waiter([&] {
        CHECK(same.Wait(WaitForever));
        CHECK(item == 7);
    });
    item = 7;
    event.Set();
}

SCENARIO(NamedSchedules, SetThatComesWhileAWaitFailsIsNotLost) {
    Vorn::Event event;
    CHECK(event.Create(Auto, 0, "/name"));
    bool seen = false;
    Actor waiter([&] { seen = event.Wait(10); });
    event.Set();
    waiter.Join();
    CHECK(event.Wait(TryOnce) == !seen);
}

SCENARIO(NamedSchedules, EventMayBeDestroyedRightAfterTheWait) {
    auto event = std::make_unique<Vorn::Event>();
    CHECK(event->Create(Auto, 0, "/name"));
    Actor setter([p = event.get()] { p->Set(); });
    CHECK(event->Wait(WaitForever));
    event.reset();
}

SCENARIO(NamedSchedules, SetResetAndATryKeepTheEventWhole) {
    Vorn::Event event;
    CHECK(event.Create(Manual, 0, "/name"));
    Actor setter([&] { event.Set(); });
    Actor tryer([&] { event.Wait(TryOnce); });
    event.Reset();
    AwaitActors();
    CheckWhole(event);
}
