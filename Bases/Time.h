// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TIME_H
#define VORN_BASES_TIME_H

// Calendar arithmetic, points in time, the system clock, time zones and date-time text.
//
// The functions are free and keep no state. Any thread may call them as long as none changes the
// environment's TZ meanwhile. Local time is that of the C library's current zone; a program that
// changes TZ must call tzset() afterwards.
//
// Results are true for success and false for failure unless stated. On failure every output
// argument is unchanged, except that the forms of GetDateTimeFormat and GetLocalDateTimeFormat that
// fill a std::string always replace it.

#include <deque>
#include <string>

#include <Bases/Export.h>

namespace Vorn {

// --- Calendar ------------------------------------------------------------------------------------
//
// Dates of the Gregorian calendar, extended to all years, are given as three numbers: year, month
// (1 = January ... 12) and day (1 ... 31). These functions use neither clock nor time zone and take
// constant time for any year.
//
//     unsigned long year = 2024, month = 2, day = 28;
//     Vorn::GetNextDay(year, month, day);          // month is 2, day is 29
//     Vorn::GetDays(2024, 1, 1, year, month, day); // 60, both end days counted
//     Vorn::GetDayOfWeek(year, month, day);        // 4, Weekday::Thursday

/// Days of the week.
namespace Weekday {
inline constexpr short Sunday = 0;
inline constexpr short Monday = 1;
inline constexpr short Tuesday = 2;
inline constexpr short Wednesday = 3;
inline constexpr short Thursday = 4;
inline constexpr short Friday = 5;
inline constexpr short Saturday = 6;
} // namespace Weekday

/// Returns whether the year is divisible by 4 and, if divisible by 100, also by 400. Year 0 is a
/// leap year.
VORN_BASES_API bool IsLeapYear(unsigned long year);

/// Returns the number of days in the year, 365 or 366.
VORN_BASES_API unsigned long GetDays(unsigned long year);

/// Returns the number of days in the month, 28 to 31; 0 for a month outside 1 to 12.
VORN_BASES_API unsigned long GetDays(unsigned long year, unsigned long month);

/// Returns the number of days from the first date to the second, both included: 1 for a date and
/// itself, 0 if the first date is after the second.
///
/// Note: no date is rejected. Days count from 1980-01-01, which is day 1; a date with a year before
/// 1980, a month outside 1 to 12 or a day outside 1 to 31 is day 0, so from it to a counted date is
/// one day more than from 1980-01-01.
/// Note: the day is checked against 31 only: February 31 of 1981 counts as March 3.
/// Note: day numbers beyond 64 bits (years from about 5 * 10^16) wrap.
VORN_BASES_API unsigned long GetDays(unsigned long year1, unsigned long month1, unsigned long day1,
                                     unsigned long year2, unsigned long month2, unsigned long day2);

/// Returns whether the month is in 1 to 12 and the day does not exceed the month's length.
///
/// Note: day 0 and year 0 are valid.
VORN_BASES_API bool IsValidDate(unsigned long year, unsigned long month, unsigned long day);

/// Returns the day of the week, one of Weekday.
///
/// Note: a date that GetDays counts as day 0, such as any before 1980, is a Monday. Wrapped day
/// numbers give wrong weekdays.
VORN_BASES_API unsigned long GetDayOfWeek(unsigned long year, unsigned long month,
                                          unsigned long day);

/// Returns (dayOfMonth + dayOfWeek - 1) / 7 + 1 in unsigned arithmetic; the formula is symmetric in
/// its arguments. Given the weekday of the month's first day, that is the row, counted from 1, of a
/// calendar with rows from Sunday to Saturday that holds the day.
VORN_BASES_API unsigned long GetWeekOfMonth(unsigned long dayOfMonth, unsigned long dayOfWeek);

/// Returns whether the day is in the last seven days of its month or beyond them; false for a month
/// outside 1 to 12.
///
/// Note: day + 7 wraps for the seven largest numbers, which give false.
VORN_BASES_API bool GetLastWeekOfMonth(unsigned long year, unsigned long month, unsigned long day);

// The stepping functions change the date in place, or not at all if they return false.

/// Steps to the previous year. Returns false for year 0.
VORN_BASES_API bool GetPrevYear(unsigned long& year);

/// Steps to the next year; after the largest number comes 0. Returns true, always.
VORN_BASES_API bool GetNextYear(unsigned long& year);

/// Step to the previous and to the next month. Return false for year 0 and for a month outside 1 to
/// 12.
///
/// Note: January of year 1 steps back to December of year 0, and no step leads out of year 0.
VORN_BASES_API bool GetPrevMonth(unsigned long& year, unsigned long& month);
VORN_BASES_API bool GetNextMonth(unsigned long& year, unsigned long& month);

/// Steps to the previous day. Returns false for year 0, for a month outside 1 to 12 and for a day
/// that the month does not have.
VORN_BASES_API bool GetPrevDay(unsigned long& year, unsigned long& month, unsigned long& day);

/// Steps to the next day. Returns false for a month outside 1 to 12 and for a day that the month
/// does not have.
///
/// Note: unlike GetPrevDay it steps in year 0, too.
VORN_BASES_API bool GetNextDay(unsigned long& year, unsigned long& month, unsigned long& day);

// --- Points in time ------------------------------------------------------------------------------
//
// Two kinds of values share the type Time, and two kinds of contents the record SysTime. What each
// function produces, in a zone `offset` ahead of UTC:
//
//     |                          | produces                                                     |
//     | ------------------------ | ------------------------------------------------------------ |
//     | GetCurLocalTime(Time)    | milliseconds since the epoch, 1970-01-01 00:00:00 UTC        |
//     | GetCurTime(Time)         | the same less `offset`: the moment when local clocks, kept   |
//     |                          | on standard time, show what UTC is now                       |
//     | GetCurLocalTime(SysTime) | the fields of UTC                                            |
//     | GetCurTime(SysTime)      | the fields of UTC                                            |
//     | TimeToSysTime            | the UTC fields of a count since the epoch                    |
//     | TimeToLocalSysTime       | the local fields of a count since the epoch                  |
//     | LocalTimeToTime          | a GetCurTime value from a GetCurLocalTime value              |
//     | TimeToLocalTime          | its argument, whichever of the two                           |
//     | SysTimeToTime            | see there; it is the inverse of none of the others           |
//
//     Vorn::SysTime clock{};
//     Vorn::TimeToLocalSysTime(Vorn::GetCurLocalTime(), clock); // what the clock on the wall shows
//
// A value is split into seconds and milliseconds by division that truncates toward zero: -1 is
// second 0 and millisecond -1, and belongs to 1970-01-01 00:00:00.
//
// mktime reads fields as local time. For UTC fields and for a SysTime its daylight-saving flag is
// 0, so `offset` is that of the zone's standard time in winter and in summer; for local fields it
// is what localtime_r set. A result before the epoch is a failure.

/// A signed count of milliseconds.
using Time = long long;

/// A calendar date and time of day. Functions that fill one truncate each value to 16 bits.
struct SysTime {
    short year;         ///< the full year
    short month;        ///< 1 (January) to 12
    short dayOfWeek;    ///< one of Weekday
    short day;          ///< 1 to 31
    short hour;         ///< 0 to 23
    short minute;       ///< 0 to 59
    short second;       ///< 0 to 60
    short milliseconds; ///< 0 to 999
    short reserved;     ///< set to -1 by every function that fills the record, read by none
};

/// The `day` of a TimeZone date that means the last such weekday of the month.
inline constexpr short LastOccurrence = 5;

/// A time zone and the two days of the year on which its clocks change.
///
/// Of the two dates only `month` (1 to 12, 0 for no rule), `dayOfWeek` and `day` are used; `day` is
/// the occurrence of that weekday within the month: 1 to 4, or LastOccurrence. The library reads
/// only the dates and `daylightBias`; the rest is carried for callers.
struct TimeZone {
    int bias;                 ///< the caller's
    wchar_t standardName[32]; ///< the caller's
    SysTime standardDate;     ///< the change to standard time
    int standardBias;         ///< the caller's
    wchar_t daylightName[32]; ///< the caller's
    SysTime daylightDate;     ///< the change to daylight-saving time
    int daylightBias;         ///< 0 in a zone without daylight saving
};

/// A time zone with its name for display lists. The library neither reads nor writes one.
struct TimeZoneDisplay {
    TimeZone timeZone;       ///< the caller's
    wchar_t displayName[64]; ///< the caller's
};

/// Convert a record, read as local standard time, to a time value. Return false if that is before
/// the epoch. The two are the same; `dayOfWeek` and `reserved` have no effect.
///
/// Note: the year and the month go to mktime as they are, which counts years from 1900 and months
/// from 0: a record of 2024-01-15 gives local 3924-02-15. mktime normalises other values out of
/// range; `milliseconds` is added as it is.
VORN_BASES_API bool SysTimeToTime(const SysTime& sysTime, Time& time);
VORN_BASES_API bool LocalSysTimeToTime(const SysTime& sysTime, Time& time);

/// Convert a count since the epoch to UTC (TimeToSysTime) or local fields (TimeToLocalSysTime).
/// Return false if the C library cannot convert the time.
///
/// Note: a time before the epoch gives `milliseconds` from -999 to 0.
VORN_BASES_API bool TimeToSysTime(const Time& time, SysTime& sysTime);
VORN_BASES_API bool TimeToLocalSysTime(const Time& time, SysTime& sysTime);

/// Converts the time to local fields and reads them back as local time. Returns false for a time a
/// second or more before the epoch.
///
/// Note: that gives the time unchanged, except in an hour that a clock change repeats, where the C
/// library may choose the other of the two. It is not the inverse of LocalTimeToTime.
VORN_BASES_API bool TimeToLocalTime(const Time& time, Time& localTime);

/// Converts the time to UTC fields and reads them as local standard time: the shift of GetCurTime.
/// Returns false if the result is before the epoch or does not fit.
VORN_BASES_API bool LocalTimeToTime(const Time& localTime, Time& time);

// --- The system clock ----------------------------------------------------------------------------

/// Stores the milliseconds since the epoch.
VORN_BASES_API bool GetCurLocalTime(Time& localTime);

/// Returns the same, or 0 if the clock cannot be read.
VORN_BASES_API Time GetCurLocalTime();

/// Stores the current time shifted by the local zone: LocalTimeToTime of GetCurLocalTime. Returns
/// false if that is before the epoch.
VORN_BASES_API bool GetCurTime(Time& time);

/// Returns the same, or 0 on failure.
VORN_BASES_API Time GetCurTime();

/// Store the current date and time.
///
/// Note: both give UTC; neither is local.
VORN_BASES_API bool GetCurLocalTime(SysTime& sysTime);
VORN_BASES_API bool GetCurTime(SysTime& sysTime);

// Setting the clock requires privilege. The functions return false, with the clock unchanged, if
// the platform refuses. SetCurTime, and SetCurLocalTime of a record, also refuse a moment before
// the epoch; SetCurLocalTime of a time leaves that to the platform.

/// Sets the clock to a count since the epoch, passed through TimeToLocalTime.
VORN_BASES_API bool SetCurTime(const Time& time);

/// Set the clock to SysTimeToTime of the record, passed through TimeToLocalTime. The two are the
/// same.
///
/// Note: like SysTimeToTime they take the year and the month as they are: a record from GetCurTime
/// would set the clock 1900 years and a month ahead.
VORN_BASES_API bool SetCurTime(const SysTime& sysTime);
VORN_BASES_API bool SetCurLocalTime(const SysTime& sysTime);

/// Sets the clock to a count since the epoch that is a whole number of seconds.
///
/// Note: any other count fails: each millisecond is passed on as a million microseconds, which the
/// platform refuses.
VORN_BASES_API bool SetCurLocalTime(const Time& localTime);

// --- Daylight saving -----------------------------------------------------------------------------

/// Return whether the record's date is the day on which the zone changes to daylight-saving
/// (IsDstStartDay) or to standard time (IsDstEndDay). They read year, month, day and dayOfWeek, and
/// do not check the last against the others. A zone needs a daylightBias and a month in both dates
/// to have any such day.
///
/// Note: occurrences 1 to 4 are counted with the day's own weekday, as GetWeekOfMonth(day,
/// dayOfWeek), which is right for Sundays only. For other weekdays the last days of each seven
/// count one more: a first Monday on the 7th is taken for the second, and a first Saturday counts
/// as such only on the 1st. LastOccurrence is right for every weekday.
VORN_BASES_API bool IsDstStartDay(const SysTime& sysTime, const TimeZone& timeZone);
VORN_BASES_API bool IsDstEndDay(const SysTime& sysTime, const TimeZone& timeZone);

/// The same for the UTC date of a count since the epoch.
VORN_BASES_API bool IsDstStartDay(const Time& time, const TimeZone& timeZone);
VORN_BASES_API bool IsDstEndDay(const Time& time, const TimeZone& timeZone);

// --- Time-zone lists and adjustment --------------------------------------------------------------
//
// Placeholders that programs already call: each returns false, or nothing, and changes no argument.
//
// Note: the Clear functions neither remove nor free the entries.

VORN_BASES_API bool GetTimeZoneList(std::deque<TimeZone*>& list);
VORN_BASES_API bool GetTimeZoneDisplayList(std::deque<TimeZoneDisplay*>& list);
VORN_BASES_API void ClearTimeZoneList(std::deque<TimeZone*>& list);
VORN_BASES_API void ClearTimeZoneDisplayList(std::deque<TimeZoneDisplay*>& list);
VORN_BASES_API bool GetTimeZone(TimeZone& timeZone);
VORN_BASES_API bool SetTimeZone(const TimeZone& timeZone);
VORN_BASES_API bool AdjustTimeZone(Time& adjusted, const Time& time, const TimeZone& timeZone);
VORN_BASES_API bool AdjustTimeZone(Time& adjusted, const SysTime& sysTime,
                                   const TimeZone& timeZone);
VORN_BASES_API bool AdjustTimeZone(SysTime& adjusted, const Time& time, const TimeZone& timeZone);
VORN_BASES_API bool AdjustTimeZone(SysTime& adjusted, const SysTime& sysTime,
                                   const TimeZone& timeZone);
VORN_BASES_API bool TimeToSysTime(const Time& time, SysTime& sysTime, const TimeZone& timeZone);
VORN_BASES_API bool SysTimeToTime(const SysTime& sysTime, Time& time, const TimeZone& timeZone);

// --- Counters ------------------------------------------------------------------------------------

/// Return the system clock in milliseconds, microseconds or nanoseconds since the epoch, or 0 if it
/// cannot be read.
///
/// Note: they jump when the clock is set. timer_ns has the resolution of a microsecond.
VORN_BASES_API unsigned long timer_ms();
VORN_BASES_API unsigned long timer_us();
VORN_BASES_API unsigned long timer_ns();

// --- Date-time text ------------------------------------------------------------------------------
//
// A pattern is text in which runs of the letters F H M S T Y d f h m s t y are tokens. A run is
// looked up as a whole, whatever its letters; one that is not in this table, and every other
// character, is copied. Letters cannot be quoted.
//
//     | token      | text, for 2024-03-05 07:08:09.045                            |
//     | ---------- | ------------------------------------------------------------ |
//     | yyyy, yyy  | year, at least 4 or 3 characters: 2024                       |
//     | yy, y      | the century: the year divided by 100, at least 2 or 1        |
//     |            | characters: 20                                               |
//     | MM, M      | month: 03, 3                                                 |
//     | dd, d      | day: 05, 5                                                   |
//     | HH, H      | hour: 07, 7                                                  |
//     | hh, h      | the same, less 12 if above 12: 07, 7                         |
//     | mm, m      | minute: 08, 8                                                |
//     | ss, s      | second: 09, 9                                                |
//     | fff, ff, f | milliseconds, divided by 1, 10 or 100: 045, 04, 0            |
//     | FFF, FF, F | the same, or nothing if that is 0: 045, 04, nothing          |
//     | tt, t      | AM or A before hour 12, else PM or P: AM, A                  |
//
// Note: yyyyMMdd is one run that is not in the table, so it is copied; put separators between
// fields.
// Note: letters of words are tokens, too: "Day d" gives "Da20 5".
// Note: for h and hh, hour 0 is 0 and hour 12 is 12.
//
// Numbers are printed as they are, even if negative or too large.
//
//     const Vorn::SysTime sysTime = {2024, 3, Vorn::Weekday::Tuesday, 5, 7, 8, 9, 45, -1};
//     Vorn::GetDateTimeFormat("yyyy-MM-dd HH:mm:ss.fff", sysTime); // "2024-03-05 07:08:09.045"
//     Vorn::GetDateTimeFormat("h:mm tt", sysTime);                 // "7:08 AM"

/// Formats the record and always replaces `out`. Returns false if the result is empty.
///
/// Note: if `out` is the pattern itself, both are emptied and the result is false.
VORN_BASES_API bool GetDateTimeFormat(std::string& out, const std::string& pattern,
                                      const SysTime& sysTime);

/// Writes the text with a terminating zero to the `size` bytes at `buffer`. Returns false, with the
/// buffer untouched, if it is null, or if the text is empty or does not fit with its zero.
VORN_BASES_API bool GetDateTimeFormat(char* buffer, unsigned long size, const std::string& pattern,
                                      const SysTime& sysTime);

/// Returns the text, which may be empty.
VORN_BASES_API std::string GetDateTimeFormat(const std::string& pattern, const SysTime& sysTime);

// The same for a count since the epoch. If the C library cannot convert the time, all fields are 0.
//
// Note: GetDateTimeFormat prints local time into a string and UTC into a buffer;
// GetLocalDateTimeFormat always prints local time, so this is the time now as a clock shows it:
// GetLocalDateTimeFormat(pattern, GetCurLocalTime()).

VORN_BASES_API bool GetDateTimeFormat(std::string& out, const std::string& pattern,
                                      const Time& time);
VORN_BASES_API bool GetDateTimeFormat(char* buffer, unsigned long size, const std::string& pattern,
                                      const Time& time);
VORN_BASES_API std::string GetDateTimeFormat(const std::string& pattern, const Time& time);
VORN_BASES_API bool GetLocalDateTimeFormat(std::string& out, const std::string& pattern,
                                           const Time& time);
VORN_BASES_API bool GetLocalDateTimeFormat(char* buffer, unsigned long size,
                                           const std::string& pattern, const Time& time);
VORN_BASES_API std::string GetLocalDateTimeFormat(const std::string& pattern, const Time& time);

} // namespace Vorn

#endif
