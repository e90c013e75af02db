// SPDX-License-Identifier: MIT
// The timers.

#include "Time/TimeTest.h"

#include <cerrno>
#include <chrono>

namespace {

namespace Platform = VornTest::Platform;

using VornTest::PinClock;

// Concerns: unit and truncation of each counter, what it follows, and the answer on failure.

TEST(Timer, CountsInItsOwnUnit) {
    PinClock({1719835199, 987654});
    EXPECT_EQ(1719835199987UL, Vorn::timer_ms());
    EXPECT_EQ(1719835199987654UL, Vorn::timer_us());
    EXPECT_EQ(1719835199987654000UL, Vorn::timer_ns());
}

TEST(Timer, TruncatesToWholeMilliseconds) {
    PinClock({0, 999});
    EXPECT_EQ(0U, Vorn::timer_ms());
    EXPECT_EQ(999U, Vorn::timer_us());
    PinClock({7, 1999});
    EXPECT_EQ(7001U, Vorn::timer_ms());
}

TEST(Timer, CountsMicrosecondsFarIntoTheFuture) {
    PinClock({17179869183, 999999}); // the year 2514
    EXPECT_EQ(17179869183999UL, Vorn::timer_ms());
    EXPECT_EQ(17179869183999999UL, Vorn::timer_us());
    EXPECT_EQ(17179869183999999000UL, Vorn::timer_ns());
}

TEST(Timer, FollowsTheClockWhenItIsSetBack) {
    PinClock({2000, 0});
    const unsigned long before = Vorn::timer_ms();
    PinClock({1000, 0});
    EXPECT_EQ(before - 1000000, Vorn::timer_ms());
    EXPECT_EQ(1000000000U, Vorn::timer_us());
}

TEST(Timer, ReadsTheSystemClock) {
    const auto now = [] {
        const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
        const auto us = std::chrono::duration_cast<std::chrono::microseconds>(sinceEpoch);
        return static_cast<unsigned long>(us.count());
    };
    const unsigned long before = now();
    const unsigned long ms = Vorn::timer_ms();
    const unsigned long us = Vorn::timer_us();
    const unsigned long ns = Vorn::timer_ns();
    const unsigned long after = now();
    EXPECT_LE(before / 1000, ms);
    EXPECT_LE(ms, us / 1000);
    EXPECT_LE(us, ns / 1000);
    EXPECT_LE(ns / 1000, after);
    EXPECT_EQ(0U, ns % 1000);
}

TEST(Timer, IsZeroWhenTheClockCannotBeRead) {
    Platform::gettimeofday.Fail(EFAULT);
    EXPECT_EQ(0U, Vorn::timer_ms());
    EXPECT_EQ(0U, Vorn::timer_us());
    EXPECT_EQ(0U, Vorn::timer_ns());
}

} // namespace
