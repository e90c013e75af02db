// SPDX-License-Identifier: MIT
// The current time in each of its forms.

#include "Time/TimeTest.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <initializer_list>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace Platform = VornTest::Platform;

using Vorn::SysTime;
using Vorn::Time;
using VornTest::FieldsOf;
using VornTest::IsUntouched;
using VornTest::ListenToTime;
using VornTest::OracleFields;
using VornTest::OracleSeconds;
using VornTest::PinClock;
using VornTest::Seed;
using VornTest::TimeTest;
using VornTest::Untouched;
using VornTest::UntouchedValue;

// Concerns: what each form of the clock counts, that the shifted clock and the shifted value agree
// to the millisecond, and that both records hold UTC.

using Clock = TimeTest;

TEST_F(Clock, GetCurLocalTimeCountsMillisecondsSince1970) {
    PinClock({1710061200, 123987});
    Time time = Untouched;
    EXPECT_TRUE(Vorn::GetCurLocalTime(time));
    EXPECT_EQ(1710061200123, time);
    EXPECT_EQ(1710061200123, Vorn::GetCurLocalTime());
}

TEST_F(Clock, GetCurTimeIsShiftedByTheZone) {
    PinClock({1710061200, 123987});
    Time time = Untouched;
    EXPECT_TRUE(Vorn::GetCurTime(time));
    EXPECT_EQ(1710061200123 - zone.standardOffset * 1000LL, time);
    EXPECT_EQ(time, Vorn::GetCurTime());
}

TEST_F(Clock, TheShiftedClockAgreesWithTheShiftedValueToTheMillisecond) {
    std::mt19937 random(Seed);
    std::uniform_int_distribution<long> seconds(86400, 4102444800);
    std::uniform_int_distribution<long> microseconds(0, 999999);
    for (int i = 0; i < 3000; ++i) {
        const timeval now{seconds(random), microseconds(random)};
        PinClock(now);
        Time shifted = Untouched;
        ASSERT_TRUE(Vorn::LocalTimeToTime(Vorn::GetCurLocalTime(), shifted));
        ASSERT_EQ(shifted, Vorn::GetCurTime()) << now.tv_sec << " seed " << Seed;
    }
}

TEST_F(Clock, ReadsTheSystemClock) {
    const auto now = [] {
        const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
        return Time{std::chrono::duration_cast<std::chrono::milliseconds>(sinceEpoch).count()};
    };
    const Time before = now();
    const Time read = Vorn::GetCurLocalTime();
    const Time shifted = Vorn::GetCurTime();
    const Time after = now();
    EXPECT_LE(before, read);
    EXPECT_LE(read, after);
    EXPECT_LE(before, shifted + zone.standardOffset * 1000LL);
    EXPECT_LE(shifted + zone.standardOffset * 1000LL, after);
}

TEST_F(Clock, BothRecordsHoldUtc) {
    for (const long seconds : {0L, 1710061200L, 1719835199L, 4102444799L}) {
        PinClock({seconds, 999999});
        SysTime local = UntouchedValue<SysTime>();
        SysTime utc = UntouchedValue<SysTime>();
        EXPECT_TRUE(Vorn::GetCurLocalTime(local));
        EXPECT_TRUE(Vorn::GetCurTime(utc));
        EXPECT_EQ(OracleFields(seconds, 999), FieldsOf(local));
        EXPECT_EQ(OracleFields(seconds, 999), FieldsOf(utc));
    }
}

TEST_F(Clock, TheShiftedClockFailsWhereItWouldShowTheTimeBefore1970) {
    PinClock({zone.standardOffset - 2, 0});
    Time time = Untouched;
    EXPECT_FALSE(Vorn::GetCurTime(time));
    EXPECT_EQ(Untouched, time);
    EXPECT_EQ(0, Vorn::GetCurTime());
    EXPECT_NE(0, Vorn::GetCurLocalTime());
}

TEST_F(Clock, AClockThatCannotBeReadGivesZero) {
    Platform::gettimeofday.Fail(EFAULT);
    EXPECT_EQ(0, Vorn::GetCurLocalTime());
    EXPECT_EQ(0, Vorn::GetCurTime());
}

// Milliseconds of such a time do not fit into 64 bits.
TEST_F(Clock, AClockTooFarAheadForItsMillisecondsFails) {
    PinClock({std::numeric_limits<std::time_t>::max() / 1000 + 1, 0});
    Time time = Untouched;
    EXPECT_FALSE(Vorn::GetCurLocalTime(time));
    EXPECT_EQ(Untouched, time);
    PinClock({1710061200, 0});
    Platform::mktime.Answer(std::numeric_limits<std::time_t>::max());
    EXPECT_FALSE(Vorn::GetCurTime(time));
    EXPECT_FALSE(Vorn::TimeToLocalTime(0, time));
    EXPECT_FALSE(Vorn::LocalTimeToTime(0, time));
    EXPECT_FALSE(Vorn::SysTimeToTime(SysTime{}, time));
    EXPECT_EQ(Untouched, time);
}

// Concerns: exactly what is passed to the platform, and that its refusal is reported. The real
// clock is out of reach: the platform of the tests never sets it.

class SetClock : public TimeTest {
protected:
    SetClock() {
        Platform::settimeofday.Do([this](const timeval* now, const void* zoneOfClock) {
            EXPECT_EQ(nullptr, zoneOfClock);
            settings.push_back(*now);
            return Platform::settimeofday.Real(now, zoneOfClock);
        });
    }

    void ExpectSet(long seconds, long microseconds) {
        ASSERT_EQ(1U, settings.size());
        EXPECT_EQ(seconds, settings[0].tv_sec);
        EXPECT_EQ(microseconds, settings[0].tv_usec);
        settings.clear();
    }

    std::vector<timeval> settings; // what the clock was asked to be set to
};

using SetLocalClock = SetClock;

TEST_F(SetClock, SetCurTimePassesSecondsAndMicroseconds) {
    EXPECT_TRUE(Vorn::SetCurTime(1719835199987));
    ExpectSet(1719835199, 987000);
    EXPECT_TRUE(Vorn::SetCurTime(0));
    ExpectSet(0, 0);
}

TEST_F(SetClock, SetCurTimePassesNegativeMilliseconds) {
    EXPECT_FALSE(Vorn::SetCurTime(-1));
    ExpectSet(0, -1000);
}

TEST_F(SetClock, SetCurTimeFailsBefore1970) {
    EXPECT_FALSE(Vorn::SetCurTime(-2000));
    EXPECT_TRUE(settings.empty());
}

TEST_F(SetClock, ARecordIsConvertedAsBySysTimeToTime) {
    const SysTime sysTime{2024, 1, 1, 15, 10, 20, 30, 999, -1};
    const long seconds = OracleSeconds(sysTime);
    EXPECT_TRUE(Vorn::SetCurTime(sysTime));
    ExpectSet(seconds, 999000);
    EXPECT_TRUE(Vorn::SetCurLocalTime(sysTime));
    ExpectSet(seconds, 999000);
}

TEST_F(SetClock, MillisecondsOfARecordArePassedUnchanged) {
    for (const short milliseconds : std::initializer_list<short>{-1, 1000, 32767}) {
        const SysTime sysTime{124, 1, 1, 15, 10, 20, 30, milliseconds, -1};
        EXPECT_FALSE(Vorn::SetCurTime(sysTime));
        ExpectSet(OracleSeconds(sysTime), milliseconds * 1000L);
        EXPECT_FALSE(Vorn::SetCurLocalTime(sysTime));
        ExpectSet(OracleSeconds(sysTime), milliseconds * 1000L);
    }
}

TEST_F(SetClock, ARecordBefore1970Fails) {
    const SysTime sysTime{69, 1, 1, 15, 10, 20, 30, 0, -1};
    EXPECT_FALSE(Vorn::SetCurTime(sysTime));
    EXPECT_FALSE(Vorn::SetCurLocalTime(sysTime));
    EXPECT_TRUE(settings.empty());
}

TEST_F(SetLocalClock, TakesAWholeNumberOfSeconds) {
    EXPECT_TRUE(Vorn::SetCurLocalTime(1719835199000));
    ExpectSet(1719835199, 0);
    EXPECT_TRUE(Vorn::SetCurLocalTime(-5000));
    ExpectSet(-5, 0);
}

TEST_F(SetLocalClock, PassesAMillionMicrosecondsPerMillisecond) {
    EXPECT_FALSE(Vorn::SetCurLocalTime(1500));
    ExpectSet(1, 500000000);
    EXPECT_FALSE(Vorn::SetCurLocalTime(1));
    ExpectSet(0, 1000000);
    EXPECT_FALSE(Vorn::SetCurLocalTime(-1));
    ExpectSet(0, -1000000);
    EXPECT_FALSE(Vorn::SetCurLocalTime(1719835199999));
    ExpectSet(1719835199, 999000000);
}

TEST_F(SetClock, OnlyANegativeAnswerIsAFailure) {
    const SysTime sysTime{124, 1, 1, 15, 0, 0, 0, 0, -1};
    for (const int answer : {-2, -1, 0, 1}) {
        Platform::settimeofday.Answer(answer);
        EXPECT_EQ(answer >= 0, Vorn::SetCurTime(1000)) << answer;
        EXPECT_EQ(answer >= 0, Vorn::SetCurTime(sysTime)) << answer;
        EXPECT_EQ(answer >= 0, Vorn::SetCurLocalTime(1000)) << answer;
        EXPECT_EQ(answer >= 0, Vorn::SetCurLocalTime(sysTime)) << answer;
    }
}

// Concern: whichever call to the C library fails, in whichever step, the result is false, no later
// step is taken, and the output is as it was.

using FailingPlatform = TimeTest;

std::vector<std::string> Words(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> words;
    for (std::string word; in >> word;)
        words.push_back(word);
    return words;
}

// Fails the nth of these calls, when they are made in this order.
void FailStep(const std::vector<std::string>& steps, std::size_t n) {
    const std::string& step = steps[n - 1];
    const auto call =
        std::count(steps.begin(), steps.begin() + static_cast<std::ptrdiff_t>(n), step);
    Platform::Call& function = *Platform::Find(step);
    function.Fail(function.Errors().front(),
                  {.first = static_cast<std::size_t>(call), .once = true});
}

template <class Output, class Operation>
void FailEachStep(const std::string& steps, Operation operation) {
    SCOPED_TRACE(steps);
    const std::vector<std::string> expected = Words(steps);
    for (std::size_t failAt = 0; failAt <= expected.size(); ++failAt) {
        ListenToTime();
        PinClock({1710061200, 123987});
        if (failAt != 0)
            FailStep(expected, failAt);
        auto output = UntouchedValue<Output>();
        EXPECT_EQ(failAt == 0, operation(output)) << failAt;
        EXPECT_EQ(failAt != 0, IsUntouched(output)) << failAt;
        const auto end =
            failAt == 0 ? expected.end() : expected.begin() + static_cast<std::ptrdiff_t>(failAt);
        EXPECT_EQ(std::vector<std::string>(expected.begin(), end), Platform::Order());
    }
}

TEST_F(FailingPlatform, FailsConversionsAtEachStep) {
    const SysTime sysTime{124, 5, 0, 9, 9, 0, 0, 1, -1};
    const Time time = 1710061200123;
    FailEachStep<Time>("mktime", [&](Time& out) { return Vorn::SysTimeToTime(sysTime, out); });
    FailEachStep<Time>("mktime", [&](Time& out) { return Vorn::LocalSysTimeToTime(sysTime, out); });
    FailEachStep<SysTime>("gmtime_r", [&](SysTime& out) { return Vorn::TimeToSysTime(time, out); });
    FailEachStep<SysTime>("localtime_r",
                          [&](SysTime& out) { return Vorn::TimeToLocalSysTime(time, out); });
    FailEachStep<Time>("localtime_r mktime",
                       [&](Time& out) { return Vorn::TimeToLocalTime(time, out); });
    FailEachStep<Time>("gmtime_r mktime",
                       [&](Time& out) { return Vorn::LocalTimeToTime(time, out); });
}

TEST_F(FailingPlatform, FailsReadingTheClockAtEachStep) {
    FailEachStep<Time>("gettimeofday", [](Time& out) { return Vorn::GetCurLocalTime(out); });
    FailEachStep<Time>("gettimeofday gmtime_r mktime",
                       [](Time& out) { return Vorn::GetCurTime(out); });
    FailEachStep<SysTime>("gettimeofday gmtime_r",
                          [](SysTime& out) { return Vorn::GetCurLocalTime(out); });
    FailEachStep<SysTime>("gettimeofday gmtime_r",
                          [](SysTime& out) { return Vorn::GetCurTime(out); });
}

TEST_F(FailingPlatform, FailsSettingTheClockAtEachStep) {
    const SysTime sysTime{124, 5, 0, 9, 9, 0, 0, 1, -1};
    const auto set = [](auto setter) {
        return [setter](int& done) {
            if (!setter())
                return false;
            done = 1;
            return true;
        };
    };
    FailEachStep<int>("localtime_r mktime settimeofday",
                      set([] { return Vorn::SetCurTime(1710061200123); }));
    FailEachStep<int>("mktime localtime_r mktime settimeofday",
                      set([&] { return Vorn::SetCurTime(sysTime); }));
    FailEachStep<int>("mktime localtime_r mktime settimeofday",
                      set([&] { return Vorn::SetCurLocalTime(sysTime); }));
    FailEachStep<int>("settimeofday", set([] { return Vorn::SetCurLocalTime(1710061200000); }));
}

} // namespace
