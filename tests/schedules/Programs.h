// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SCHEDULES_PROGRAMS_H
#define VORN_BASES_TESTS_SCHEDULES_PROGRAMS_H

// Short programs of two threads that use one event, made by ShortPrograms.

#include <array>
#include <vector>

namespace VornTest::Schedules {

enum class Operation { Set, Reset, Try, TimedWait, Wait };

constexpr int Operations = 5;

struct Program {
    bool isManual = false;
    bool isSet = false; // at first
    std::array<std::vector<Operation>, 2> threads;
};

enum class Answer : unsigned char { None, False, True };

/// What a program can observe.
struct Observed {
    std::array<std::array<Answer, 3>, 2> answers{};
    bool ended = false; // the rest counts only then
    int count = 0;      // as reported at the end
    bool isSet = false; // by a last try
    // NOLINTNEXTLINE(modernize-use-nullptr): it blames what the compiler generates
    auto operator<=>(const Observed&) const = default;
};

extern Program g_program;
extern Observed g_observed;

/// Runs the program and notes what it observes.
void RunProgram();

} // namespace VornTest::Schedules

#endif
