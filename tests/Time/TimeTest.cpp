#include <Bases/Time.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <deque>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <sys/time.h>

#include <gtest/gtest.h>

#include "support/Zone.h"

namespace {

using Vorn::SysTime;
using Vorn::Time;
using Vorn::TimeZone;
using Vorn::TimeZoneDisplay;

// What stands between the library and the C library here: a clock that can be pinned and is never
// set, a note of every call, and one call that fails. Per thread, so that calls are not mixed up.
struct Platform {
    std::optional<timeval> now;
    std::size_t failAt = 0; // which call fails, counted from 1
    std::vector<std::string> calls;
    std::vector<timeval> settings; // what the clock was asked to be set to
    std::optional<int> setResult;
    bool zoneGiven = false;
    std::tm made{}; // what mktime was given last

    bool Fails(const char* name) {
        calls.emplace_back(name);
        return calls.size() == failAt;
    }
};

thread_local Platform platform;

} // namespace

extern "C" {

int __real_gettimeofday(timeval* now, void* zone);
std::tm* __real_gmtime_r(const std::time_t* seconds, std::tm* tm);
std::tm* __real_localtime_r(const std::time_t* seconds, std::tm* tm);
std::time_t __real_mktime(std::tm* tm);

int __wrap_gettimeofday(timeval* now, void* zone) {
    if (platform.Fails("gettimeofday"))
        return -1;
    if (!platform.now)
        return __real_gettimeofday(now, zone);
    *now = *platform.now;
    return 0;
}

// Judges the value like the real one, but leaves the machine's clock alone.
int __wrap_settimeofday(const timeval* now, const void* zone) {
    platform.zoneGiven = zone != nullptr;
    platform.settings.push_back(*now);
    if (platform.Fails("settimeofday") || now->tv_usec < 0 || now->tv_usec >= 1000000) {
        errno = EINVAL;
        return -1;
    }
    return platform.setResult.value_or(0);
}

std::tm* __wrap_gmtime_r(const std::time_t* seconds, std::tm* tm) {
    return platform.Fails("gmtime_r") ? nullptr : __real_gmtime_r(seconds, tm);
}

std::tm* __wrap_localtime_r(const std::time_t* seconds, std::tm* tm) {
    return platform.Fails("localtime_r") ? nullptr : __real_localtime_r(seconds, tm);
}

std::time_t __wrap_mktime(std::tm* tm) {
    platform.made = *tm;
    return platform.Fails("mktime") ? -1 : __real_mktime(tm);
}

} // extern "C"

namespace {

constexpr unsigned Seed = 19700101;

using Fields = std::array<short, 9>;

Fields FieldsOf(const SysTime& sysTime) {
    return {sysTime.year,   sysTime.month,  sysTime.dayOfWeek,    sysTime.day,     sysTime.hour,
            sysTime.minute, sysTime.second, sysTime.milliseconds, sysTime.reserved};
}

// The fields at so many seconds after 1970-01-01 00:00:00, by the C++ library's calendar.
Fields OracleFields(long seconds, long milliseconds) {
    using namespace std::chrono;
    const sys_seconds moment{std::chrono::seconds{seconds}};
    const sys_days day = floor<days>(moment);
    const year_month_day date{day};
    const hh_mm_ss<std::chrono::seconds> clock{moment - day};
    return {static_cast<short>(static_cast<int>(date.year())),
            static_cast<short>(static_cast<unsigned>(date.month())),
            static_cast<short>(weekday{day}.c_encoding()),
            static_cast<short>(static_cast<unsigned>(date.day())),
            static_cast<short>(clock.hours().count()),
            static_cast<short>(clock.minutes().count()),
            static_cast<short>(clock.seconds().count()),
            static_cast<short>(milliseconds),
            -1};
}

// 1971-01-01. The C library applies a written-out rule to earlier years in its own way.
constexpr Time FirstOfCommonRules = 31536000000;

// The record's fields taken raw and read as local standard time. timegm knows no zone.
long OracleSeconds(const SysTime& sysTime) {
    std::tm tm{};
    tm.tm_year = sysTime.year;
    tm.tm_mon = sysTime.month;
    tm.tm_mday = sysTime.day;
    tm.tm_hour = sysTime.hour;
    tm.tm_min = sysTime.minute;
    tm.tm_sec = sysTime.second;
    return timegm(&tm) - VornTest::CurrentZone().standardOffset;
}

constexpr Time Untouched = 0x5A5A5A5A5A5A5A5A;

template <class Value>
Value UntouchedValue() {
    Value value;
    std::memset(&value, 0x5A, sizeof value);
    return value;
}

template <class Value>
bool IsUntouched(const Value& value) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(&value);
    return std::all_of(bytes, bytes + sizeof value, [](unsigned char b) { return b == 0x5A; });
}

class TimeTest : public testing::Test {
protected:
    TimeTest() : zone(VornTest::CurrentZone()) { platform = {}; }
    void TearDown() override { platform = {}; }

    const VornTest::Zone& zone;
};

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

// Concerns: every field against another calendar, in universal and local time and around each
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

SysTime AnySysTime(std::mt19937& random) {
    std::uniform_int_distribution<short> any(SHRT_MIN, SHRT_MAX);
    std::uniform_int_distribution<short> year(60, 2100);
    std::uniform_int_distribution<short> small(-5, 70);
    if (random() % 2 == 0)
        return {any(random), any(random), any(random), any(random), any(random),
                any(random), any(random), any(random), any(random)};
    return {year(random),  small(random), small(random),
            small(random), small(random), small(random),
            small(random), any(random),   -1};
}

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
    EXPECT_EQ(0, std::memcmp(&expected, &platform.made, offsetof(std::tm, tm_isdst)));
    EXPECT_EQ(0, platform.made.tm_isdst);
    EXPECT_EQ(0, platform.made.tm_gmtoff);
    EXPECT_EQ(nullptr, platform.made.tm_zone);
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
        return; // a zone ahead of universal time only shifts back
    time = Untouched;
    EXPECT_FALSE(Vorn::LocalTimeToTime(largest + 1, time)); // only the milliseconds are too many
    EXPECT_EQ(Untouched, time);
}

// Concerns: what each form of the clock counts, that the shifted clock and the shifted value agree
// to the millisecond, and that both records hold universal time.

using Clock = TimeTest;

TEST_F(Clock, GetCurLocalTimeCountsMillisecondsSince1970) {
    platform.now = timeval{1710061200, 123987};
    Time time = Untouched;
    EXPECT_TRUE(Vorn::GetCurLocalTime(time));
    EXPECT_EQ(1710061200123, time);
    EXPECT_EQ(1710061200123, Vorn::GetCurLocalTime());
}

TEST_F(Clock, GetCurTimeIsShiftedByTheZone) {
    platform.now = timeval{1710061200, 123987};
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
        platform.now = timeval{seconds(random), microseconds(random)};
        Time shifted = Untouched;
        ASSERT_TRUE(Vorn::LocalTimeToTime(Vorn::GetCurLocalTime(), shifted));
        ASSERT_EQ(shifted, Vorn::GetCurTime()) << platform.now->tv_sec << " seed " << Seed;
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

TEST_F(Clock, BothRecordsHoldUniversalTime) {
    for (const long seconds : {0L, 1710061200L, 1719835199L, 4102444799L}) {
        platform.now = timeval{seconds, 999999};
        SysTime local = UntouchedValue<SysTime>();
        SysTime universal = UntouchedValue<SysTime>();
        EXPECT_TRUE(Vorn::GetCurLocalTime(local));
        EXPECT_TRUE(Vorn::GetCurTime(universal));
        EXPECT_EQ(OracleFields(seconds, 999), FieldsOf(local));
        EXPECT_EQ(OracleFields(seconds, 999), FieldsOf(universal));
    }
}

TEST_F(Clock, TheShiftedClockFailsWhereItWouldShowTheTimeBefore1970) {
    platform.now = timeval{zone.standardOffset - 2, 0};
    Time time = Untouched;
    EXPECT_FALSE(Vorn::GetCurTime(time));
    EXPECT_EQ(Untouched, time);
    EXPECT_EQ(0, Vorn::GetCurTime());
    EXPECT_NE(0, Vorn::GetCurLocalTime());
}

TEST_F(Clock, AClockThatCannotBeReadGivesZero) {
    platform.failAt = 1;
    EXPECT_EQ(0, Vorn::GetCurLocalTime());
    platform = {};
    platform.failAt = 1;
    EXPECT_EQ(0, Vorn::GetCurTime());
}

// Concerns: exactly what is handed over to be set, and that the platform's refusal is reported. The
// real clock is out of reach: the call ends in this file.

class SetClock : public TimeTest {
protected:
    static void ExpectSet(long seconds, long microseconds) {
        ASSERT_EQ(1U, platform.settings.size());
        EXPECT_EQ(seconds, platform.settings[0].tv_sec);
        EXPECT_EQ(microseconds, platform.settings[0].tv_usec);
        EXPECT_FALSE(platform.zoneGiven);
        platform.settings.clear();
    }
};

using SetLocalClock = SetClock;

TEST_F(SetClock, SetCurTimeHandsOverSecondsAndMicroseconds) {
    EXPECT_TRUE(Vorn::SetCurTime(1719835199987));
    ExpectSet(1719835199, 987000);
    EXPECT_TRUE(Vorn::SetCurTime(0));
    ExpectSet(0, 0);
}

TEST_F(SetClock, SetCurTimeHandsNegativeMillisecondsOver) {
    EXPECT_FALSE(Vorn::SetCurTime(-1));
    ExpectSet(0, -1000);
}

TEST_F(SetClock, SetCurTimeFailsBefore1970) {
    EXPECT_FALSE(Vorn::SetCurTime(-2000));
    EXPECT_TRUE(platform.settings.empty());
}

TEST_F(SetClock, ARecordIsTakenAsSysTimeToTimeTakesIt) {
    const SysTime sysTime{2024, 1, 1, 15, 10, 20, 30, 999, -1};
    const long seconds = OracleSeconds(sysTime);
    EXPECT_TRUE(Vorn::SetCurTime(sysTime));
    ExpectSet(seconds, 999000);
    EXPECT_TRUE(Vorn::SetCurLocalTime(sysTime));
    ExpectSet(seconds, 999000);
}

TEST_F(SetClock, ARecordHandsItsMillisecondsOverAsTheyStand) {
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
    EXPECT_TRUE(platform.settings.empty());
}

TEST_F(SetLocalClock, TakesAWholeNumberOfSeconds) {
    EXPECT_TRUE(Vorn::SetCurLocalTime(1719835199000));
    ExpectSet(1719835199, 0);
    EXPECT_TRUE(Vorn::SetCurLocalTime(-5000));
    ExpectSet(-5, 0);
}

TEST_F(SetLocalClock, HandsOverAMillionMicrosecondsPerMillisecond) {
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
        platform.setResult = answer;
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

template <class Output, class Operation>
void FailEachStep(const std::string& steps, Operation operation) {
    SCOPED_TRACE(steps);
    const std::vector<std::string> expected = Words(steps);
    for (std::size_t failAt = 0; failAt <= expected.size(); ++failAt) {
        platform = {};
        platform.now = timeval{1710061200, 123987};
        platform.failAt = failAt;
        auto output = UntouchedValue<Output>();
        EXPECT_EQ(failAt == 0, operation(output)) << failAt;
        EXPECT_EQ(failAt != 0, IsUntouched(output)) << failAt;
        const auto end =
            failAt == 0 ? expected.end() : expected.begin() + static_cast<std::ptrdiff_t>(failAt);
        EXPECT_EQ(std::vector<std::string>(expected.begin(), end), platform.calls);
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
        for (int occurrence = 1; occurrence <= 5; ++occurrence) {
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

TEST_F(DstDay, OfATimeGoesByItsUniversalDate) {
    const TimeZone& timeZone = SecondSundayOfMarchToLastSundayOfOctober;
    const Time start = 1710028800000; // 2024-03-10 00:00:00 universal time
    EXPECT_FALSE(Vorn::IsDstStartDay(start - 1000, timeZone));
    EXPECT_TRUE(Vorn::IsDstStartDay(start, timeZone));
    EXPECT_TRUE(Vorn::IsDstStartDay(start + 86399999, timeZone));
    EXPECT_FALSE(Vorn::IsDstStartDay(start + 86400000, timeZone));
    EXPECT_FALSE(Vorn::IsDstEndDay(start, timeZone));
    const Time end = 1729987200000; // 2024-10-27 00:00:00 universal time
    EXPECT_FALSE(Vorn::IsDstEndDay(end - 1000, timeZone));
    EXPECT_TRUE(Vorn::IsDstEndDay(end, timeZone));
    EXPECT_TRUE(Vorn::IsDstEndDay(end + 86399999, timeZone));
    EXPECT_FALSE(Vorn::IsDstEndDay(end + 86400000, timeZone));
    EXPECT_FALSE(Vorn::IsDstStartDay(end, timeZone));
}

TEST_F(DstDay, OfATimeThatCannotBeConvertedIsNone) {
    for (const bool start : {true, false}) {
        platform = {};
        platform.failAt = 1;
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
    EXPECT_TRUE(platform.calls.empty());
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
