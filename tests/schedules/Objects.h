// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SCHEDULES_OBJECTS_H
#define VORN_BASES_TESTS_SCHEDULES_OBJECTS_H

// What several files of scenarios do with events and semaphores.

#include <Bases/Impl/Sem_mac.h>
#include <Bases/Thread.h>

#include "schedules/Explore.h"

namespace VornTest::Schedules {

constexpr int Manual = Vorn::EventKind::ManualReset;
constexpr int Auto = Vorn::EventKind::AutoReset;

struct UnsetEvent : Vorn::Event {
    explicit UnsetEvent(int kind) { Create(kind, Vorn::EventState::NotSet, nullptr); }
};

struct Semaphore : Vorn::VornSemaphore {
    explicit Semaphore(SemInitState state) { Create(state, nullptr, 0); }
};

inline int ReportedCount(Vorn::VornSemaphore& semaphore) {
    int count = 12345;
    CHECK(semaphore.GetSemCounts(count));
    return count;
}

inline int ReportedCount(Vorn::Event& event) {
    return ReportedCount(*event.GetHandle()->GetSemaphore());
}

/// Nothing that has happened so far is left over: no free wait, no waiter, no flag.
inline void CheckWhole(Vorn::Event& event) {
    CHECK(event.Reset());
    CHECK(!event.Wait(Vorn::TryOnce));
    CHECK(event.Set());
    CHECK(event.Wait(Vorn::TryOnce));
    CHECK(event.Reset());
    CHECK(!event.Wait(Vorn::TryOnce));
}

} // namespace VornTest::Schedules

#endif
