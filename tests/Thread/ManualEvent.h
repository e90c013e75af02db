// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_THREAD_MANUAL_EVENT_H
#define VORN_BASES_TESTS_THREAD_MANUAL_EVENT_H

// How the tests of threads and pools wait for each other.

#include <gtest/gtest.h>

#include <Bases/Thread.h>

namespace VornTest {

inline constexpr unsigned int Patience = 30000; // a wait that fails only when the test has failed

class ManualEvent : public Vorn::Event {
public:
    ManualEvent() {
        EXPECT_TRUE(Create(Vorn::EventKind::ManualReset, Vorn::EventState::NotSet, nullptr));
    }
};

} // namespace VornTest

#endif
