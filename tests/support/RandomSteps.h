// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_RANDOM_STEPS_H
#define VORN_BASES_TESTS_SUPPORT_RANDOM_STEPS_H

#include <string>

#include <gtest/gtest.h>

namespace VornTest {

/// Runs 4000 steps of a sequence constructed from the seed, or until an assertion fails; the
/// failure names the seed and the step.
template <typename Sequence>
void TakeRandomSteps(unsigned int seed) {
    Sequence sequence(seed);
    for (int step = 0; step < 4000; ++step) {
        SCOPED_TRACE("seed " + std::to_string(seed) + " step " + std::to_string(step));
        sequence.Step();
        if (testing::Test::HasFatalFailure())
            return;
    }
}

} // namespace VornTest

#endif
