#include <Bases/Time.h>

#include <chrono>
#include <optional>

#include <sys/time.h>

#include <gtest/gtest.h>

namespace {

// Either a pinned answer, or a failure, or the real clock.
std::optional<timeval> pinnedClock;
bool clockFails = false;

} // namespace

extern "C" {

int __real_gettimeofday(timeval* now, void* zone);

int __wrap_gettimeofday(timeval* now, void* zone) {
    if (clockFails)
        return -1;
    if (!pinnedClock)
        return __real_gettimeofday(now, zone);
    *now = *pinnedClock;
    return 0;
}

} // extern "C"

namespace {

class Timer : public testing::Test {
protected:
    void TearDown() override {
        pinnedClock.reset();
        clockFails = false;
    }
};

// Concerns: unit and truncation of each counter, what it follows, and the answer on failure.

TEST_F(Timer, CountsInItsOwnUnit) {
    pinnedClock = timeval{1719835199, 987654};
    EXPECT_EQ(1719835199987UL, Vorn::timer_ms());
    EXPECT_EQ(1719835199987654UL, Vorn::timer_us());
    EXPECT_EQ(1719835199987654000UL, Vorn::timer_ns());
}

TEST_F(Timer, TruncatesToWholeMilliseconds) {
    pinnedClock = timeval{0, 999};
    EXPECT_EQ(0U, Vorn::timer_ms());
    EXPECT_EQ(999U, Vorn::timer_us());
    pinnedClock = timeval{7, 1999};
    EXPECT_EQ(7001U, Vorn::timer_ms());
}

TEST_F(Timer, CountsMicrosecondsFarIntoTheFuture) {
    pinnedClock = timeval{17179869183, 999999}; // the year 2514
    EXPECT_EQ(17179869183999UL, Vorn::timer_ms());
    EXPECT_EQ(17179869183999999UL, Vorn::timer_us());
    EXPECT_EQ(17179869183999999000UL, Vorn::timer_ns());
}

TEST_F(Timer, FollowsTheClockWhenItIsSetBack) {
    pinnedClock = timeval{2000, 0};
    const unsigned long before = Vorn::timer_ms();
    pinnedClock = timeval{1000, 0};
    EXPECT_EQ(before - 1000000, Vorn::timer_ms());
    EXPECT_EQ(1000000000U, Vorn::timer_us());
}

TEST_F(Timer, ReadsTheSystemClock) {
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

TEST_F(Timer, IsZeroWhenTheClockCannotBeRead) {
    clockFails = true;
    EXPECT_EQ(0U, Vorn::timer_ms());
    EXPECT_EQ(0U, Vorn::timer_us());
    EXPECT_EQ(0U, Vorn::timer_ns());
}

} // namespace
