// SPDX-License-Identifier: MIT
// The days on which daylight-saving time starts and ends.

#include "Time/TimeTest.h"

#include <algorithm>
#include <chrono>
#include <random>
#include <string>
#include <vector>

namespace {

namespace Platform = VornTest::Platform;

using Vorn::SysTime;
using Vorn::Time;
using Vorn::TimeZone;
using VornTest::AnySysTime;
using VornTest::Seed;
using VornTest::TimeTest;

// Concerns: the three fields that switch the rules on, last and counted occurrences over forty
// years, the shifted count of weekdays other than Sunday, and that only the record is looked at.

using DstDay = TimeTest;

TimeZone ZoneWithRules(const SysTime& daylightDate, const SysTime& standardDate) {
    TimeZone timeZone{};
    timeZone.daylightBias = -60;
    timeZone.daylightDate = daylightDate;
    timeZone.standardDate = standardDate;
    return timeZone;
}

SysTime Rule(int month, int dayOfWeek, int occurrence) {
    SysTime rule{};
    rule.month = static_cast<short>(month);
    rule.dayOfWeek = static_cast<short>(dayOfWeek);
    rule.day = static_cast<short>(occurrence);
    return rule;
}

const TimeZone SecondSundayOfMarchToLastSundayOfOctober =
    ZoneWithRules(Rule(3, 0, 2), Rule(10, 0, 5));

TEST_F(DstDay, IsTheSundayThatTheRuleNames) {
    const TimeZone& timeZone = SecondSundayOfMarchToLastSundayOfOctober;
    EXPECT_TRUE(Vorn::IsDstStartDay(SysTime{2024, 3, 0, 10, 0, 0, 0, 0, 0}, timeZone));
    EXPECT_FALSE(Vorn::IsDstStartDay(SysTime{2024, 3, 0, 3, 0, 0, 0, 0, 0}, timeZone));
    EXPECT_FALSE(Vorn::IsDstEndDay(SysTime{2024, 3, 0, 10, 0, 0, 0, 0, 0}, timeZone));
    EXPECT_TRUE(Vorn::IsDstEndDay(SysTime{2024, 10, 0, 27, 0, 0, 0, 0, 0}, timeZone));
    EXPECT_FALSE(Vorn::IsDstEndDay(SysTime{2024, 10, 0, 20, 0, 0, 0, 0, 0}, timeZone));
    EXPECT_FALSE(Vorn::IsDstStartDay(SysTime{2024, 10, 0, 27, 0, 0, 0, 0, 0}, timeZone));
}

TEST_F(DstDay, NeedsADaylightBiasAndBothMonths) {
    const SysTime start{2024, 3, 0, 10, 0, 0, 0, 0, 0};
    const SysTime end{2024, 10, 0, 27, 0, 0, 0, 0, 0};
    for (int missing = 0; missing < 4; ++missing) {
        TimeZone timeZone = SecondSundayOfMarchToLastSundayOfOctober;
        if (missing == 1)
            timeZone.daylightBias = 0;
        if (missing == 2)
            timeZone.daylightDate.month = 0;
        if (missing == 3)
            timeZone.standardDate.month = 0;
        EXPECT_EQ(missing == 0, Vorn::IsDstStartDay(start, timeZone)) << missing;
        EXPECT_EQ(missing == 0, Vorn::IsDstEndDay(end, timeZone)) << missing;
    }
    TimeZone timeZone = SecondSundayOfMarchToLastSundayOfOctober;
    timeZone.daylightBias = 60;
    EXPECT_TRUE(Vorn::IsDstStartDay(start, timeZone));
    EXPECT_TRUE(Vorn::IsDstEndDay(end, timeZone));
}

TEST_F(DstDay, IsNoDayOfMonthZero) {
    TimeZone timeZone = ZoneWithRules(Rule(0, 0, 2), Rule(0, 0, 5));
    EXPECT_FALSE(Vorn::IsDstStartDay(SysTime{2024, 0, 0, 8, 0, 0, 0, 0, 0}, timeZone));
    EXPECT_FALSE(Vorn::IsDstEndDay(SysTime{2024, 0, 0, 31, 0, 0, 0, 0, 0}, timeZone));
}

TEST_F(DstDay, TakesTheWeekdayFromTheRecord) {
    const TimeZone& timeZone = SecondSundayOfMarchToLastSundayOfOctober;
    // March 10 of 2024 is a Sunday, March 12 is not; the record says otherwise.
    EXPECT_FALSE(Vorn::IsDstStartDay(SysTime{2024, 3, 1, 10, 0, 0, 0, 0, 0}, timeZone));
    EXPECT_TRUE(Vorn::IsDstStartDay(SysTime{2024, 3, 0, 12, 0, 0, 0, 0, 0}, timeZone));
    EXPECT_TRUE(Vorn::IsDstEndDay(SysTime{2024, 10, 0, 25, 0, 0, 0, 0, 0}, timeZone));
    EXPECT_FALSE(Vorn::IsDstEndDay(SysTime{2024, 10, 0, 24, 0, 0, 0, 0, 0}, timeZone));
}

// The last day that counts as the first occurrence of each weekday; later ones follow in sevens.
constexpr std::array<int, 7> LastDayOfFirstOccurrence = {7, 6, 5, 4, 3, 2, 1};

bool IsRuleDay(const std::chrono::year_month_day& date, int weekday, int occurrence) {
    const int day = static_cast<int>(static_cast<unsigned>(date.day()));
    if (occurrence == 5) {
        const auto length = (date.year() / date.month() / std::chrono::last).day();
        return day > static_cast<int>(static_cast<unsigned>(length)) - 7;
    }
    const int last =
        LastDayOfFirstOccurrence[static_cast<std::size_t>(weekday)] + 7 * (occurrence - 1);
    return day <= last && day > last - 7;
}

// Tries every rule on one day, in the day's own month and in the next.
void CheckEveryRule(const std::chrono::sys_days& day) {
    const std::chrono::year_month_day date{day};
    const int weekday = static_cast<int>(std::chrono::weekday{day}.c_encoding());
    const int month = static_cast<int>(static_cast<unsigned>(date.month()));
    const SysTime sysTime{static_cast<short>(static_cast<int>(date.year())),
                          static_cast<short>(month),
                          static_cast<short>(weekday),
                          static_cast<short>(static_cast<unsigned>(date.day())),
                          23,
                          59,
                          59,
                          999,
                          0};
    const SysTime otherMonth = Rule(month % 12 + 1, weekday, 1);
    for (int ruleWeekday = 0; ruleWeekday < 7; ++ruleWeekday) {
        for (int occurrence = 0; occurrence <= 6; ++occurrence) { // 0 and 6 are no special days
            const SysTime rule = Rule(month, ruleWeekday, occurrence);
            const bool expected = ruleWeekday == weekday && IsRuleDay(date, weekday, occurrence);
            const TimeZone starting = ZoneWithRules(rule, otherMonth);
            const TimeZone ending = ZoneWithRules(otherMonth, rule);
            ASSERT_EQ(expected, Vorn::IsDstStartDay(sysTime, starting)) << occurrence;
            ASSERT_FALSE(Vorn::IsDstEndDay(sysTime, starting));
            ASSERT_EQ(expected, Vorn::IsDstEndDay(sysTime, ending)) << occurrence;
            ASSERT_FALSE(Vorn::IsDstStartDay(sysTime, ending));
        }
    }
}

TEST_F(DstDay, FollowsTheTableOfOccurrencesOverFortyYears) {
    using namespace std::chrono;
    const sys_days end{year{2030} / January / 1};
    for (sys_days day{year{1990} / January / 1}; day != end && !HasFailure(); day += days{1})
        CheckEveryRule(day);
}

TEST_F(DstDay, CountsTheTrueOccurrenceOfSundaysOnly) {
    using namespace std::chrono;
    int shifted = 0;
    for (int y = 1990; y < 2030; ++y) {
        for (unsigned weekdayNumber = 0; weekdayNumber < 7; ++weekdayNumber) {
            const weekday dayOfWeek{weekdayNumber};
            const year_month_day second{sys_days{year{y} / March / dayOfWeek[2]}};
            const SysTime sysTime{static_cast<short>(y),
                                  3,
                                  static_cast<short>(weekdayNumber),
                                  static_cast<short>(static_cast<unsigned>(second.day())),
                                  0,
                                  0,
                                  0,
                                  0,
                                  0};
            const TimeZone timeZone =
                ZoneWithRules(Rule(3, static_cast<int>(weekdayNumber), 2), Rule(10, 0, 5));
            const bool counts = Vorn::IsDstStartDay(sysTime, timeZone);
            ASSERT_TRUE(counts || weekdayNumber != 0) << y;
            shifted += counts ? 0 : 1;
        }
    }
    EXPECT_GT(shifted, 0);
}

TEST_F(DstDay, CountsAFirstMondayOnTheSeventhAsTheSecond) {
    const SysTime firstMonday{2024, 10, 1, 7, 0, 0, 0, 0, 0};
    EXPECT_FALSE(Vorn::IsDstStartDay(firstMonday, ZoneWithRules(Rule(10, 1, 1), Rule(3, 0, 1))));
    EXPECT_TRUE(Vorn::IsDstStartDay(firstMonday, ZoneWithRules(Rule(10, 1, 2), Rule(3, 0, 1))));
}

TEST_F(DstDay, OfATimeIsThatOfItsUtcDate) {
    const TimeZone& timeZone = SecondSundayOfMarchToLastSundayOfOctober;
    const Time start = 1710028800000; // 2024-03-10 00:00:00 UTC
    EXPECT_FALSE(Vorn::IsDstStartDay(start - 1000, timeZone));
    EXPECT_TRUE(Vorn::IsDstStartDay(start, timeZone));
    EXPECT_TRUE(Vorn::IsDstStartDay(start + 86399999, timeZone));
    EXPECT_FALSE(Vorn::IsDstStartDay(start + 86400000, timeZone));
    EXPECT_FALSE(Vorn::IsDstEndDay(start, timeZone));
    const Time end = 1729987200000; // 2024-10-27 00:00:00 UTC
    EXPECT_FALSE(Vorn::IsDstEndDay(end - 1000, timeZone));
    EXPECT_TRUE(Vorn::IsDstEndDay(end, timeZone));
    EXPECT_TRUE(Vorn::IsDstEndDay(end + 86399999, timeZone));
    EXPECT_FALSE(Vorn::IsDstEndDay(end + 86400000, timeZone));
    EXPECT_FALSE(Vorn::IsDstStartDay(end, timeZone));
}

TEST_F(DstDay, IsFalseForATimeThatCannotBeConverted) {
    for (const bool start : {true, false}) {
        Platform::gmtime_r.At(1).Fail(EOVERFLOW);
        const TimeZone& timeZone = SecondSundayOfMarchToLastSundayOfOctober;
        EXPECT_FALSE(start ? Vorn::IsDstStartDay(Time{1710028800000}, timeZone)
                           : Vorn::IsDstEndDay(Time{1729987200000}, timeZone));
    }
}

TEST_F(DstDay, MayBeAskedForAnyRecord) {
    std::mt19937 random(Seed);
    for (int i = 0; i < 5000; ++i) {
        const SysTime sysTime = AnySysTime(random);
        SysTime rule = sysTime;
        rule.day = 5;
        const TimeZone timeZone = ZoneWithRules(rule, rule);
        const bool noMonth = sysTime.month < 1 || sysTime.month > 12;
        ASSERT_TRUE(!Vorn::IsDstStartDay(sysTime, timeZone) || !noMonth) << "seed " << Seed;
        ASSERT_TRUE(!Vorn::IsDstEndDay(sysTime, timeZone) || !noMonth) << "seed " << Seed;
    }
}

} // namespace
