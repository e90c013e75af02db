// SPDX-License-Identifier: MIT
// Time records: their layout, their conversions to each other, and shifts.

#include "Time/TimeTest.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <climits>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <deque>
#include <initializer_list>
#include <iterator>
#include <random>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>

namespace {

namespace Platform = VornTest::Platform;

using Vorn::SysTime;
using Vorn::Time;
using Vorn::TimeZone;
using Vorn::TimeZoneDisplay;
using VornTest::AnySysTime;
using VornTest::Fields;
using VornTest::FieldsOf;
using VornTest::FirstOfCommonRules;
using VornTest::IsUntouched;
using VornTest::ListenToTime;
using VornTest::OracleFields;
using VornTest::OracleSeconds;
using VornTest::Seed;
using VornTest::TimeTest;
using VornTest::Untouched;
using VornTest::UntouchedValue;

// Concern: the records' layout, which callers fill and copy as a whole.

using TimeRecords = TimeTest;

TEST_F(TimeRecords, ASysTimeIsNineShortFieldsInOrder) {
    const SysTime sysTime{1, 2, 3, 4, 5, 6, 7, 8, 9};
    EXPECT_EQ((Fields{1, 2, 3, 4, 5, 6, 7, 8, 9}), FieldsOf(sysTime));
    EXPECT_EQ(18U, sizeof(SysTime));
    EXPECT_TRUE(std::is_trivial_v<SysTime>);
}

TEST_F(TimeRecords, ATimeZoneHoldsItsFieldsInOrder) {
    const std::vector<std::size_t> offsets = {
        offsetof(TimeZone, bias),         offsetof(TimeZone, standardName),
        offsetof(TimeZone, standardDate), offsetof(TimeZone, standardBias),
        offsetof(TimeZone, daylightName), offsetof(TimeZone, daylightDate),
        offsetof(TimeZone, daylightBias)};
    EXPECT_TRUE(std::is_sorted(offsets.begin(), offsets.end()));
    EXPECT_EQ(0U, offsets.front());
    EXPECT_EQ(32U, std::size(TimeZone{}.standardName));
    EXPECT_EQ(32U, std::size(TimeZone{}.daylightName));
    EXPECT_EQ(64U, std::size(TimeZoneDisplay{}.displayName));
    EXPECT_TRUE((std::is_same_v<int, decltype(TimeZone::bias)>));
    EXPECT_TRUE((std::is_same_v<int, decltype(TimeZone::standardBias)>));
    EXPECT_TRUE((std::is_same_v<int, decltype(TimeZone::daylightBias)>));
    EXPECT_TRUE((std::is_same_v<long long, Time>));
}

// Concerns: every field against another calendar, in UTC and local time and around each
// change of clocks; the split toward zero; values whose year does not fit its field.

using TimeToFields = TimeTest;

TEST_F(TimeToFields, FillTheBeginningOf1970) {
    SysTime sysTime = UntouchedValue<SysTime>();
    EXPECT_TRUE(Vorn::TimeToSysTime(0, sysTime));
    EXPECT_EQ((Fields{1970, 1, 4, 1, 0, 0, 0, 0, -1}), FieldsOf(sysTime));
}

TEST_F(TimeToFields, SplitTowardZero) {
    SysTime sysTime{};
    EXPECT_TRUE(Vorn::TimeToSysTime(1500, sysTime));
    EXPECT_EQ((Fields{1970, 1, 4, 1, 0, 0, 1, 500, -1}), FieldsOf(sysTime));
    EXPECT_TRUE(Vorn::TimeToSysTime(-1, sysTime));
    EXPECT_EQ((Fields{1970, 1, 4, 1, 0, 0, 0, -1, -1}), FieldsOf(sysTime));
    EXPECT_TRUE(Vorn::TimeToSysTime(-999, sysTime));
    EXPECT_EQ((Fields{1970, 1, 4, 1, 0, 0, 0, -999, -1}), FieldsOf(sysTime));
    EXPECT_TRUE(Vorn::TimeToSysTime(-1500, sysTime));
    EXPECT_EQ((Fields{1969, 12, 3, 31, 23, 59, 59, -500, -1}), FieldsOf(sysTime));
    EXPECT_TRUE(Vorn::TimeToLocalSysTime(-1500, sysTime));
    EXPECT_EQ(OracleFields(-1 + VornTest::LocalOffset(-1), -500), FieldsOf(sysTime));
}

TEST_F(TimeToFields, AgreeWithAnotherCalendarOverThousandsOfYears) {
    std::mt19937_64 random(Seed);
    std::uniform_int_distribution<Time> anyTime(-900000000000000, 900000000000000);
    for (int i = 0; i < 10000; ++i) {
        const Time time = anyTime(random);
        SysTime sysTime{};
        ASSERT_TRUE(Vorn::TimeToSysTime(time, sysTime));
        ASSERT_EQ(OracleFields(time / 1000, time % 1000), FieldsOf(sysTime))
            << time << " seed " << Seed;
        if (time < FirstOfCommonRules)
            continue;
        ASSERT_TRUE(Vorn::TimeToLocalSysTime(time, sysTime));
        ASSERT_EQ(OracleFields(time / 1000 + VornTest::LocalOffset(time / 1000), time % 1000),
                  FieldsOf(sysTime))
            << time << " seed " << Seed;
    }
}

TEST_F(TimeToFields, AgreeWithAnotherCalendarInEveryHalfHourOfTwoYears) {
    for (long seconds = 1672531199; seconds < 1735689601; seconds += 1800) {
        SysTime sysTime{};
        ASSERT_TRUE(Vorn::TimeToSysTime(seconds * 1000LL + 7, sysTime));
        ASSERT_EQ(OracleFields(seconds, 7), FieldsOf(sysTime)) << seconds;
        ASSERT_TRUE(Vorn::TimeToLocalSysTime(seconds * 1000LL + 7, sysTime));
        ASSERT_EQ(OracleFields(seconds + VornTest::LocalOffset(seconds), 7), FieldsOf(sysTime))
            << seconds;
    }
}

TEST_F(TimeToFields, TruncateTheYearTo16Bits) {
    std::tm tm{};
    tm.tm_year = 65536 + 2024 - 1900;
    tm.tm_mon = 5;
    tm.tm_mday = 15;
    const Time time = timegm(&tm) * 1000LL;
    SysTime sysTime{};
    EXPECT_TRUE(Vorn::TimeToSysTime(time, sysTime));
    EXPECT_EQ(2024, sysTime.year);
    EXPECT_EQ(6, sysTime.month);
    EXPECT_EQ(15, sysTime.day);
    EXPECT_TRUE(Vorn::TimeToLocalSysTime(time, sysTime));
    EXPECT_EQ(2024, sysTime.year);
}

TEST_F(TimeToFields, TakeTheLargestAndTheSmallestTime) {
    SysTime sysTime{};
    EXPECT_TRUE(Vorn::TimeToSysTime(LLONG_MAX, sysTime));
    EXPECT_EQ(807, sysTime.milliseconds);
    EXPECT_TRUE(Vorn::TimeToSysTime(LLONG_MIN, sysTime));
    EXPECT_EQ(-808, sysTime.milliseconds);
    EXPECT_TRUE(Vorn::TimeToLocalSysTime(LLONG_MAX, sysTime));
    EXPECT_TRUE(Vorn::TimeToLocalSysTime(LLONG_MIN, sysTime));
}

// Concerns: the seven fields that go to mktime raw and the zeros beside them, carried values,
// the milliseconds, the border of 1970 in each zone, and that both names do the same.

using SysTimeToTime = TimeTest;

TEST_F(SysTimeToTime, TakesTheYearAndTheMonthRaw) {
    const SysTime sysTime{2024, 1, 1, 15, 0, 0, 0, 0, -1};
    Time time = Untouched;
    EXPECT_TRUE(Vorn::SysTimeToTime(sysTime, time));
    // 3924-02-15 00:00:00 local standard time.
    EXPECT_EQ((61666099200 - zone.standardOffset) * 1000LL, time);
    SysTime local{};
    EXPECT_TRUE(Vorn::TimeToLocalSysTime(time, local));
    EXPECT_EQ(3924, local.year);
    EXPECT_EQ(2, local.month);
    EXPECT_EQ(15, local.day);
}

TEST_F(SysTimeToTime, FillsSevenFieldsAndZerosTheOthers) {
    const SysTime sysTime{2024, 7, 3, -9, 1, -2, 3, 456, 77};
    std::tm made{};
    Platform::mktime.Do([&made](std::tm* fields) {
        made = *fields;
        return mktime(fields);
    });
    Time time = Untouched;
    EXPECT_TRUE(Vorn::SysTimeToTime(sysTime, time));
    std::tm expected{};
    expected.tm_year = 2024;
    expected.tm_mon = 7;
    expected.tm_wday = 3;
    expected.tm_mday = -9;
    expected.tm_hour = 1;
    expected.tm_min = -2;
    expected.tm_sec = 3;
    EXPECT_EQ(0, std::memcmp(&expected, &made, offsetof(std::tm, tm_isdst)));
    EXPECT_EQ(0, made.tm_isdst);
    EXPECT_EQ(0, made.tm_gmtoff);
    EXPECT_EQ(nullptr, made.tm_zone);
}

TEST_F(SysTimeToTime, CarriesFieldsOutOfRangeAndAddsTheMilliseconds) {
    std::mt19937 random(Seed);
    int made = 0;
    for (int i = 0; i < 4000; ++i) {
        const SysTime sysTime = AnySysTime(random);
        const long seconds = OracleSeconds(sysTime);
        Time time = Untouched;
        Time localTime = Untouched;
        ASSERT_EQ(seconds >= 0, Vorn::SysTimeToTime(sysTime, time)) << i << " seed " << Seed;
        ASSERT_EQ(seconds >= 0, Vorn::LocalSysTimeToTime(sysTime, localTime));
        const Time expected = seconds >= 0 ? seconds * 1000LL + sysTime.milliseconds : Untouched;
        ASSERT_EQ(expected, time) << i << " seed " << Seed;
        ASSERT_EQ(expected, localTime) << i << " seed " << Seed;
        made += seconds >= 0 ? 1 : 0;
    }
    EXPECT_GT(made, 400);
    EXPECT_LT(made, 3600);
}

TEST_F(SysTimeToTime, FailsBefore1970) {
    SysTime sysTime{70, 0, 4, 1, 0, 0, 0, -7, -1};
    sysTime.hour = static_cast<short>(zone.standardOffset / 3600);
    sysTime.minute = static_cast<short>(zone.standardOffset % 3600 / 60);
    Time time = Untouched;
    EXPECT_TRUE(Vorn::SysTimeToTime(sysTime, time));
    EXPECT_EQ(-7, time);

    for (const short second : std::initializer_list<short>{-1, -2, -30000}) {
        sysTime.second = second;
        time = Untouched;
        EXPECT_FALSE(Vorn::SysTimeToTime(sysTime, time));
        EXPECT_FALSE(Vorn::LocalSysTimeToTime(sysTime, time));
        EXPECT_EQ(Untouched, time);
    }
}

TEST_F(SysTimeToTime, DoesNotUndoTimeToSysTime) {
    SysTime sysTime{};
    Time time = 0;
    ASSERT_TRUE(Vorn::TimeToLocalSysTime(1700000000000, sysTime));
    ASSERT_TRUE(Vorn::SysTimeToTime(sysTime, time));
    EXPECT_NE(1700000000000, time);
}

// Concerns: the one function shifts by the zone's standard offset, the other gives the time back;
// the border of 1970, negative milliseconds, and sums beyond 64 bits.

using TimeShift = TimeTest;

TEST_F(TimeShift, TimeToLocalTimeGivesTheTimeBack) {
    for (long seconds = 1672531199; seconds < 1735689601; seconds += 900) {
        Time time = Untouched;
        ASSERT_TRUE(Vorn::TimeToLocalTime(seconds * 1000LL + 999, time));
        ASSERT_EQ(seconds * 1000LL + 999, time);
    }
}

TEST_F(TimeShift, LocalTimeToTimeTakesOffTheStandardOffsetInWinterAndSummer) {
    for (long seconds = 1672531199; seconds < 1735689601; seconds += 900) {
        Time time = Untouched;
        ASSERT_TRUE(Vorn::LocalTimeToTime(seconds * 1000LL + 999, time));
        ASSERT_EQ((seconds - zone.standardOffset) * 1000LL + 999, time);
    }
}

TEST_F(TimeShift, TheTwoDoNotUndoEachOther) {
    Time shifted = 0;
    Time back = 0;
    ASSERT_TRUE(Vorn::LocalTimeToTime(1700000000123, shifted));
    ASSERT_TRUE(Vorn::TimeToLocalTime(shifted, back));
    EXPECT_EQ(1700000000123 - zone.standardOffset * 1000LL, back);
}

TEST_F(TimeShift, AShiftedValueMayBeTheArgumentItself) {
    Time time = 1700000000123;
    EXPECT_TRUE(Vorn::LocalTimeToTime(time, time));
    EXPECT_EQ(1700000000123 - zone.standardOffset * 1000LL, time);
    EXPECT_TRUE(Vorn::TimeToLocalTime(time, time));
    EXPECT_EQ(1700000000123 - zone.standardOffset * 1000LL, time);
}

TEST_F(TimeShift, TimeToLocalTimeFailsForAWholeSecondBefore1970) {
    for (const Time early : {Time{0}, Time{-1}, Time{-999}}) {
        Time time = Untouched;
        EXPECT_TRUE(Vorn::TimeToLocalTime(early, time));
        EXPECT_EQ(early, time);
    }
    for (const Time early : {Time{-1000}, Time{-2000}, Time{-86400000}, Time{LLONG_MIN}}) {
        Time time = Untouched;
        EXPECT_FALSE(Vorn::TimeToLocalTime(early, time)) << early;
        EXPECT_EQ(Untouched, time);
    }
}

TEST_F(TimeShift, LocalTimeToTimeFailsBefore1970) {
    const Time first = zone.standardOffset * 1000LL;
    Time time = Untouched;
    EXPECT_TRUE(Vorn::LocalTimeToTime(first, time));
    EXPECT_EQ(0, time);
    for (const Time early : {first - 1000, first - 2000, first - 86400000, Time{LLONG_MIN}}) {
        time = Untouched;
        EXPECT_FALSE(Vorn::LocalTimeToTime(early, time)) << early;
        EXPECT_EQ(Untouched, time);
    }
}

TEST_F(TimeShift, LocalTimeToTimeFailsWhenTheSumLeaves64Bits) {
    const Time last = LLONG_MAX - 86400000;
    Time time = Untouched;
    EXPECT_TRUE(Vorn::LocalTimeToTime(last, time));
    EXPECT_EQ(last - zone.standardOffset * 1000LL, time);

    const bool fits = zone.standardOffset >= 0;
    time = Untouched;
    EXPECT_EQ(fits, Vorn::LocalTimeToTime(LLONG_MAX, time));
    EXPECT_EQ(fits ? LLONG_MAX - zone.standardOffset * 1000LL : Untouched, time);

    time = Untouched;
    EXPECT_TRUE(Vorn::TimeToLocalTime(LLONG_MAX, time));
    EXPECT_EQ(LLONG_MAX, time);
}

TEST_F(TimeShift, LocalTimeToTimeReachesTheLargestTimeAndNoFurther) {
    const Time shift = zone.standardOffset * 1000LL;
    const Time largest = shift < 0 ? LLONG_MAX + shift : LLONG_MAX;
    Time time = Untouched;
    EXPECT_TRUE(Vorn::LocalTimeToTime(largest, time));
    EXPECT_EQ(largest - shift, time);
    if (largest == LLONG_MAX)
        return; // a zone ahead of UTC only shifts back
    time = Untouched;
    EXPECT_FALSE(Vorn::LocalTimeToTime(largest + 1, time)); // only the milliseconds are too many
    EXPECT_EQ(Untouched, time);
}

// Concern: the placeholders answer false and touch nothing.

using Placeholders = TimeTest;

TEST_F(Placeholders, OfListsLeaveTheListsAsTheyAre) {
    TimeZone timeZone = UntouchedValue<TimeZone>();
    TimeZoneDisplay display = UntouchedValue<TimeZoneDisplay>();
    const std::deque<TimeZone*> expected = {&timeZone, nullptr, &timeZone};
    const std::deque<TimeZoneDisplay*> expectedDisplays = {&display, nullptr};
    std::deque<TimeZone*> list = expected;
    std::deque<TimeZoneDisplay*> displays = expectedDisplays;
    EXPECT_FALSE(Vorn::GetTimeZoneList(list));
    EXPECT_FALSE(Vorn::GetTimeZoneDisplayList(displays));
    EXPECT_EQ(expected, list);
    EXPECT_EQ(expectedDisplays, displays);
    Vorn::ClearTimeZoneList(list);
    Vorn::ClearTimeZoneDisplayList(displays);
    EXPECT_EQ(expected, list);
    EXPECT_EQ(expectedDisplays, displays);
    EXPECT_TRUE(IsUntouched(timeZone));
    EXPECT_TRUE(IsUntouched(display));
}

TEST_F(Placeholders, OfZonesLeaveEveryArgumentAsItIs) {
    ListenToTime();
    TimeZone timeZone = UntouchedValue<TimeZone>();
    EXPECT_FALSE(Vorn::GetTimeZone(timeZone));
    EXPECT_FALSE(Vorn::SetTimeZone(timeZone));

    SysTime sysTime = UntouchedValue<SysTime>();
    SysTime adjustedSysTime = UntouchedValue<SysTime>();
    Time time = Untouched;
    Time adjusted = Untouched;
    EXPECT_FALSE(Vorn::AdjustTimeZone(adjusted, time, timeZone));
    EXPECT_FALSE(Vorn::AdjustTimeZone(adjusted, sysTime, timeZone));
    EXPECT_FALSE(Vorn::AdjustTimeZone(adjustedSysTime, time, timeZone));
    EXPECT_FALSE(Vorn::AdjustTimeZone(adjustedSysTime, sysTime, timeZone));
    EXPECT_FALSE(Vorn::TimeToSysTime(time, adjustedSysTime, timeZone));
    EXPECT_FALSE(Vorn::SysTimeToTime(sysTime, adjusted, timeZone));

    EXPECT_TRUE(IsUntouched(timeZone));
    EXPECT_TRUE(IsUntouched(sysTime));
    EXPECT_TRUE(IsUntouched(adjustedSysTime));
    EXPECT_EQ(Untouched, time);
    EXPECT_EQ(Untouched, adjusted);
    EXPECT_THAT(Platform::Order(), testing::IsEmpty());
}

// Concern: threads that convert at the same time get their own results.

using Conversions = TimeTest;

TEST_F(Conversions, MayRunOnSeveralThreads) {
    std::array<int, 4> wrong{};
    const auto convert = [this, &wrong](std::size_t index) {
        std::mt19937_64 random(Seed + index);
        std::uniform_int_distribution<Time> anyTime(86400000, 4102444800000);
        for (int i = 0; i < 2000; ++i) {
            const Time time = anyTime(random);
            SysTime sysTime{};
            Time shifted = 0;
            const bool right = Vorn::TimeToSysTime(time, sysTime) &&
                               FieldsOf(sysTime) == OracleFields(time / 1000, time % 1000) &&
                               Vorn::LocalTimeToTime(time, shifted) &&
                               shifted == time - zone.standardOffset * 1000LL &&
                               Vorn::TimeToLocalTime(time, shifted) && shifted == time;
            wrong[index] += right ? 0 : 1;
        }
    };
    std::vector<std::thread> threads;
    for (std::size_t index = 0; index < wrong.size(); ++index)
        threads.emplace_back(convert, index);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ((std::array<int, 4>{}), wrong);
}

} // namespace
