// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SWEEP_HOLDINGS_H
#define VORN_BASES_TESTS_SWEEP_HOLDINGS_H

// What a run of a scenario has taken and not given back.

#include <cstddef>
#include <initializer_list>
#include <string>
#include <vector>

#include "fault/Platform.h"

namespace VornTest::Sweep {

/// A kind of thing that is taken by some calls and given back by others.
struct Kind {
    const char* name;
    std::size_t (*left)(); // from the records of the calls
};

/// Lists kinds. They count in every sweep.
struct Kinds {
    Kinds(std::initializer_list<Kind> kinds);
};

/// What the names of a scenario's semaphores begin with, after their slash, and the name of its
/// segment.
std::string NamePrefix();

/// Of the values, as often as each was taken more often than given back. What was given back only
/// belongs to others.
std::size_t CountLeft(std::vector<const void*> taken, std::vector<const void*> given);

/// Watches everything that is taken from now on, by all threads.
class Holdings {
public:
    Holdings();

    /// A line for each kind of which something is left.
    std::vector<std::string> Left() const;

private:
    /// What the system itself says.
    struct Census {
        std::ptrdiff_t descriptors = 0;
        std::ptrdiff_t names = 0;    // of semaphores
        std::ptrdiff_t segments = 0; // of shared memory
    };

    static Census Count();

    Census m_before;
};

} // namespace VornTest::Sweep

#endif
