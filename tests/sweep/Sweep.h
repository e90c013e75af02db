// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SWEEP_SWEEP_H
#define VORN_BASES_TESTS_SWEEP_SWEEP_H

// The fault sweep: a scenario is run again and again, each time with another call of the platform
// that fails, until there is none left. Every function is made to fail in each of its plausible
// ways, at its first call, at its second and so on: that call alone, it and the next one, it and
// all later ones, or it and then every other function, too. After each run nothing is left that the
// scenario has taken.

#include <cstddef>
#include <initializer_list>
#include <string>
#include <vector>

#include "sweep/Trial.h"

namespace VornTest::Sweep {

/// An operation with what it promises when a call fails.
struct Scenario {
    const char* name; // what it does, such as FileOpensAnExistingOne
    void (*run)(Trial&);
    bool anyThread = false; // the calls of threads that it starts fail, too
};

/// Lists scenarios.
struct Scenarios {
    Scenarios(std::initializer_list<Scenario> scenarios);
};

/// All scenarios, by name.
std::vector<Scenario> AllScenarios();

/// How much of a sweep is done. A sample leaves most of the many calls of a scenario to the whole:
/// it takes the first, the second, the fourth, the eighth and so on.
enum class Extent { Sample, Whole };

struct Report {
    std::size_t faults = 0;
    std::vector<std::string> broken; // the promises, each with its fault; not more than a page
};

Report SweepOver(const Scenario& scenario, Extent extent);

/// The functions that a scenario calls while nothing fails.
std::vector<Platform::Call*> CallsOf(const Scenario& scenario);

/// Why the sweep leaves out a way in which a function fails; null: it does not.
const char* WhyLeftOut(const Fault& fault);

} // namespace VornTest::Sweep

#endif
