// SPDX-License-Identifier: MIT
// Calendar arithmetic against the stated steps, and conversions of times against the C library, in
// several zones.

#include <climits>
#include <cstdlib>
#include <ctime>

#include <Bases/Time.h>

#include "support/Fuzz.h"

namespace {

using Vorn::SysTime;
using Vorn::Time;
using VornFuzz::Check;
using VornFuzz::Input;

struct Date {
    unsigned long year;
    unsigned long month;
    unsigned long day;
    bool operator==(const Date& other) const = default;
};

bool IsLeap(unsigned long year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

unsigned long Length(unsigned long year, unsigned long month) {
    if (month < 1 || month > 12)
        return 0;
    return month == 2 ? (IsLeap(year) ? 29 : 28) : 30 + (month < 8 ? month % 2 : (month + 1) % 2);
}

unsigned long YearLength(unsigned long year) { return IsLeap(year) ? 366 : 365; }

// Years repeat after 400, which are 146097 days.
unsigned long DayNumber(const Date& date) {
    if (date.year < 1980 || date.month < 1 || date.month > 12 || date.day < 1 || date.day > 31)
        return 0;
    unsigned long days = date.day + (date.year - 1980) / 400 * 146097;
    for (unsigned long month = 1; month < date.month; ++month)
        days += Length(date.year, month);
    for (unsigned long year = 1980; year < 1980 + (date.year - 1980) % 400; ++year)
        days += YearLength(year);
    return days;
}

// Most dates are near one that exists.
Date TakeDate(Input& input) {
    Date date{};
    const std::size_t kind = input.Below(4);
    date.year = kind == 0   ? input.Number<unsigned long>()
                : kind == 1 ? 1970 + input.Below(100)
                            : input.Number<unsigned short>();
    date.month = kind == 0 ? input.Number<unsigned long>() : input.Below(14);
    date.day = kind < 2 ? input.Below(40) : input.Below(3) + Length(date.year, date.month) - 1;
    return date;
}

template <typename Step>
void TryStep(Step step, const Date& date, bool expected, const Date& after) {
    Date stepped = date;
    Check(step(stepped) == expected, "whether a step is possible");
    Check(stepped == (expected ? after : date), "a step");
}

void TrySteps(const Date& date) {
    const auto [year, month, day] = date;
    const bool isMonth = month >= 1 && month <= 12;
    const bool isDay = day != 0 && day <= Length(year, month);
    TryStep([](Date& d) { return Vorn::GetPrevYear(d.year); }, date, year != 0,
            {year - 1, month, day});
    TryStep([](Date& d) { return Vorn::GetNextYear(d.year); }, date, true, {year + 1, month, day});

    const Date before = month == 1 ? Date{year - 1, 12, day} : Date{year, month - 1, day};
    const Date after = month == 12 ? Date{year + 1, 1, day} : Date{year, month + 1, day};
    TryStep([](Date& d) { return Vorn::GetPrevMonth(d.year, d.month); }, date, year != 0 && isMonth,
            before);
    TryStep([](Date& d) { return Vorn::GetNextMonth(d.year, d.month); }, date, year != 0 && isMonth,
            after);
    TryStep([](Date& d) { return Vorn::GetPrevDay(d.year, d.month, d.day); }, date,
            year != 0 && isMonth && isDay,
            day == 1 ? Date{before.year, before.month, Length(before.year, before.month)}
                     : Date{year, month, day - 1});
    TryStep(
        [](Date& d) { return Vorn::GetNextDay(d.year, d.month, d.day); }, date, isMonth && isDay,
        day == Length(year, month) ? Date{after.year, after.month, 1} : Date{year, month, day + 1});
}

void TryDates(const Date& date, const Date& other) {
    const auto [year, month, day] = date;
    const unsigned long number = DayNumber(date);
    const unsigned long last = DayNumber(other);
    Check(Vorn::IsLeapYear(year) == IsLeap(year), "IsLeapYear");
    Check(Vorn::GetDays(year) == YearLength(year), "days of a year");
    Check(Vorn::GetDays(year, month) == Length(year, month), "days of a month");
    Check(Vorn::GetDays(year, month, day, other.year, other.month, other.day) ==
              (number > last ? 0 : last - number + 1),
          "days between dates");
    Check(Vorn::IsValidDate(year, month, day) ==
              (Length(year, month) != 0 && day <= Length(year, month)),
          "IsValidDate");
    Check(Vorn::GetDayOfWeek(year, month, day) == (number + 1) % 7, "GetDayOfWeek");
    Check(Vorn::GetWeekOfMonth(day, month) == (day + month - 1) / 7 + 1, "GetWeekOfMonth");
    Check(Vorn::GetLastWeekOfMonth(year, month, day) ==
              (Length(year, month) != 0 && day + 7 > Length(year, month)),
          "GetLastWeekOfMonth");
}

// --- Times ---------------------------------------------------------------------------------------

bool Same(const SysTime& st, const std::tm& tm, long ms) {
    return st.year == static_cast<short>(tm.tm_year + 1900) && st.month == tm.tm_mon + 1 &&
           st.dayOfWeek == tm.tm_wday && st.day == tm.tm_mday && st.hour == tm.tm_hour &&
           st.minute == tm.tm_min && st.second == tm.tm_sec && st.milliseconds == ms &&
           st.reserved == -1;
}

void TrySplit(Time time, bool (*convert)(const Time&, SysTime&),
              std::tm* (*split)(const std::time_t*, std::tm*)) {
    const std::time_t seconds = time / 1000;
    std::tm tm{};
    SysTime st{};
    const bool expected = split(&seconds, &tm) != nullptr;
    Check(convert(time, st) == expected, "whether a time can be split");
    Check(!expected || Same(st, tm, time % 1000), "the fields of a time");
}

void TryShift(Time time, bool (*convert)(const Time&, Time&),
              std::tm* (*split)(const std::time_t*, std::tm*)) {
    const std::time_t seconds = time / 1000;
    std::tm tm{};
    std::time_t shifted = -1;
    if (split(&seconds, &tm) != nullptr)
        shifted = std::mktime(&tm);
    // What does not fit a time any more is refused as well.
    const bool expected = shifted >= 0 && shifted <= LLONG_MAX / 1000 - 1;
    Time result = -7;
    Check(convert(time, result) == expected, "whether a time can be converted");
    Check(result == (expected ? shifted * 1000 + time % 1000 : -7), "a converted time");
}

void TryRecord(const SysTime& st) {
    std::tm tm{};
    tm.tm_year = st.year;
    tm.tm_mon = st.month;
    tm.tm_mday = st.day;
    tm.tm_hour = st.hour;
    tm.tm_min = st.minute;
    tm.tm_sec = st.second;
    const std::time_t seconds = std::mktime(&tm);
    for (auto* const convert : {Vorn::SysTimeToTime, Vorn::LocalSysTimeToTime}) {
        Time time = -7;
        Check(convert(st, time) == (seconds >= 0), "whether a record can be converted");
        Check(time == (seconds >= 0 ? seconds * 1000 + st.milliseconds : -7), "its time");
    }
}

bool IsChange(const SysTime& st, const SysTime& rule, const Vorn::TimeZone& zone) {
    if (zone.daylightBias == 0 || zone.daylightDate.month == 0 || zone.standardDate.month == 0 ||
        st.month != rule.month || st.dayOfWeek != rule.dayOfWeek)
        return false;
    const auto year = static_cast<unsigned long>(st.year);
    const auto month = static_cast<unsigned long>(st.month);
    const auto day = static_cast<unsigned long>(st.day);
    if (rule.day == Vorn::LastOccurrence)
        return Length(year, month) != 0 && day + 7 > Length(year, month);
    const unsigned long week = (day + static_cast<unsigned long>(st.dayOfWeek) - 1) / 7 + 1;
    return static_cast<unsigned long>(rule.day) == week;
}

SysTime TakeRecord(Input& input) {
    SysTime st{};
    for (short* const pField : {&st.year, &st.month, &st.dayOfWeek, &st.day, &st.hour, &st.minute,
                                &st.second, &st.milliseconds})
        *pField =
            input.Byte() % 2 == 0 ? static_cast<short>(input.Below(13)) : input.Number<short>();
    return st;
}

} // namespace

void VornFuzz::Try(Input& input) {
    const char* const zones[] = {"UTC0", "XXX-9", "EST5EDT,M3.2.0,M11.1.0",
                                 "AEST-10AEDT,M10.1.0,M4.1.0/3", "IST-5:30"};
    setenv("TZ", zones[input.Below(5)], 1);
    tzset();
    const Date date = TakeDate(input);
    TrySteps(date);
    TryDates(date, TakeDate(input));

    const int shift = static_cast<int>(input.Below(64));
    const Time time = input.Number<Time>() >> shift;
    TrySplit(time, Vorn::TimeToSysTime, gmtime_r);
    TrySplit(time, Vorn::TimeToLocalSysTime, localtime_r);
    TryShift(time, Vorn::LocalTimeToTime, gmtime_r);
    TryShift(time, Vorn::TimeToLocalTime, localtime_r);

    const SysTime st = TakeRecord(input);
    TryRecord(st);
    Vorn::TimeZone zone{};
    zone.daylightBias = input.Byte() % 4;
    zone.daylightDate = TakeRecord(input);
    zone.standardDate = TakeRecord(input);
    Check(Vorn::IsDstStartDay(st, zone) == IsChange(st, zone.daylightDate, zone), "IsDstStartDay");
    Check(Vorn::IsDstEndDay(st, zone) == IsChange(st, zone.standardDate, zone), "IsDstEndDay");
}
