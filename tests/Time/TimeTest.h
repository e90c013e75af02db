// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_TIME_TIME_TEST_H
#define VORN_BASES_TESTS_TIME_TIME_TEST_H

// What the tests of Time.h have in common: other calendars, outputs that show whether they were
// written to, and a clock that stands still.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <ctime>
#include <random>

#include <sys/time.h>

#include <gtest/gtest.h>

#include <Bases/Time.h>

#include "fault/Platform.h"
#include "support/Zone.h"

namespace VornTest {

using Vorn::SysTime;
using Vorn::Time;
using Vorn::TimeZone;
using Vorn::TimeZoneDisplay;

inline constexpr unsigned Seed = 19700101;

using Fields = std::array<short, 9>;

inline Fields FieldsOf(const SysTime& sysTime) {
    return {sysTime.year,   sysTime.month,  sysTime.dayOfWeek,    sysTime.day,     sysTime.hour,
            sysTime.minute, sysTime.second, sysTime.milliseconds, sysTime.reserved};
}

/// The fields at so many seconds after 1970-01-01 00:00:00, by the C++ library's calendar.
inline Fields OracleFields(long seconds, long milliseconds) {
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

/// 1971-01-01. The C library applies a written-out rule to earlier years in its own way.
inline constexpr Time FirstOfCommonRules = 31536000000;

/// The record's fields taken raw and read as local standard time. timegm knows no zone.
inline long OracleSeconds(const SysTime& sysTime) {
    std::tm tm{};
    tm.tm_year = sysTime.year;
    tm.tm_mon = sysTime.month;
    tm.tm_mday = sysTime.day;
    tm.tm_hour = sysTime.hour;
    tm.tm_min = sysTime.minute;
    tm.tm_sec = sysTime.second;
    return timegm(&tm) - CurrentZone().standardOffset;
}

inline constexpr Time Untouched = 0x5A5A5A5A5A5A5A5A;

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

/// Stops the clock at this moment.
inline void PinClock(const timeval& moment) {
    Platform::gettimeofday.Do([moment](timeval* now, void*) {
        *now = moment;
        return 0;
    });
}

/// Forgets what was scripted and recorded, and records from now on what is asked about time.
inline void ListenToTime() {
    Platform::Reset();
    for (Platform::Call* const call : std::initializer_list<Platform::Call*>{
             &Platform::gettimeofday, &Platform::settimeofday, &Platform::gmtime_r,
             &Platform::localtime_r, &Platform::mktime})
        call->Record();
}

class TimeTest : public testing::Test {
protected:
    const Zone& zone = CurrentZone();
};

inline SysTime AnySysTime(std::mt19937& random) {
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

} // namespace VornTest

#endif
