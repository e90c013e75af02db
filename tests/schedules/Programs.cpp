// SPDX-License-Identifier: MIT
// The short programs of ShortPrograms, run with a real event.
#include "schedules/Programs.h"

#include <cstddef>

#include <Bases/Thread.h>

#include "schedules/Explore.h"
#include "schedules/Objects.h"

namespace VornTest::Schedules {

Program g_program;
Observed g_observed;

namespace {

bool Do(Operation operation, Vorn::Event& event) {
    switch (operation) {
    case Operation::Set:
        return event.Set();
    case Operation::Reset:
        return event.Reset();
    case Operation::Try:
        return event.Wait(Vorn::TryOnce);
    case Operation::TimedWait:
        return event.Wait(10);
    default:
        return event.Wait(Vorn::WaitForever);
    }
}

void RunThread(std::size_t thread, Vorn::Event& event) {
    const auto& operations = g_program.threads[thread];
    for (std::size_t i = 0; i < operations.size(); ++i)
        g_observed.answers[thread][i] = Do(operations[i], event) ? Answer::True : Answer::False;
}

} // namespace

void RunProgram() {
    g_observed = Observed{};
    Vorn::Event event;
    event.Create(g_program.isManual ? Manual : Auto, g_program.isSet ? 1 : 0, nullptr);
    Actor first([&] { RunThread(0, event); });
    Actor second([&] { RunThread(1, event); });
    AwaitActors();
    g_observed.count = ReportedCount(event);
    g_observed.isSet = event.Wait(Vorn::TryOnce);
    g_observed.ended = true;
}

} // namespace VornTest::Schedules
