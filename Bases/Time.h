#ifndef VORN_BASES_TIME_H
#define VORN_BASES_TIME_H

// Calendar arithmetic, points in time, the system clock, time zones and date-time text.
//
// Every function here is free, keeps no state of its own and may be called from any thread, as long
// as no thread changes the environment's TZ meanwhile. Local time is that of the C library's
// current zone; a program that changes TZ calls tzset() before it goes on.
//
// Results are true or false unless stated. On failure every output argument is as it was before,
// but for the text of GetDateTimeFormat and GetLocalDateTimeFormat: the forms that fill a
// std::string always replace it.

#include <deque>
#include <string>

#include <Bases/Export.h>

namespace Vorn {

// --- Calendar ------------------------------------------------------------------------------------
//
// The calendar functions answer questions about dates of the Gregorian calendar, extended to all
// years, given as three numbers: year, month (1 = January ... 12) and day (1 ... 31). They need no
// clock and no time zone, and answer in constant time, whatever the year.
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

/// Returns true for a leap year: divisible by 4, and by 400 when divisible by 100. Year 0 is one.
VORN_BASES_API bool IsLeapYear(unsigned long year);

/// Returns the number of days in the year, 365 or 366.
VORN_BASES_API unsigned long GetDays(unsigned long year);

/// Returns the number of days in the month, 28 to 31, or 0 for a month outside 1 to 12.
VORN_BASES_API unsigned long GetDays(unsigned long year, unsigned long month);

/// Returns the number of days from the first date to the second, both counted: 1 for a date and
/// itself, 0 when the first date lies after the second.
///
/// Note: a date outside the day count is not rejected. The count begins with 1980-01-01 as day 1;
/// a year before 1980, a month outside 1 to 12 and a day outside 1 to 31 count as day 0, so from
/// such a date to a counted one it is one day more than from 1980-01-01.
/// Note: days are checked against 31 only: February 31 of 1981 counts as March 3.
/// Note: day numbers that need more than 64 bits (years from about 5 * 10^16) wrap.
VORN_BASES_API unsigned long GetDays(unsigned long year1, unsigned long month1, unsigned long day1,
                                     unsigned long year2, unsigned long month2, unsigned long day2);

/// Returns true when the month is in 1 to 12 and the day not beyond the month's last one.
///
/// Note: day 0 and year 0 are valid.
VORN_BASES_API bool IsValidDate(unsigned long year, unsigned long month, unsigned long day);

/// Returns the day of the week, 0 (Sunday) to 6 (Saturday).
///
/// Note: a date outside the day count (see GetDays), such as any before 1980, gives 1.
/// Note: where the day numbers of GetDays wrap, this does too.
VORN_BASES_API unsigned long GetDayOfWeek(unsigned long year, unsigned long month,
                                          unsigned long day);

/// Returns (dayOfMonth + dayOfWeek - 1) / 7 + 1 in unsigned arithmetic. The two arguments may
/// change places. With the weekday of the month's first day it is the number, from 1, of the
/// calendar row (Sunday to Saturday) that holds the day.
VORN_BASES_API unsigned long GetWeekOfMonth(unsigned long dayOfMonth, unsigned long dayOfWeek);

/// Returns true when the day lies in the last seven days of its month, or beyond them, and false
/// for a month outside 1 to 12.
///
/// Note: it adds 7 to the day, which wraps for the seven largest numbers; they give false.
VORN_BASES_API bool GetLastWeekOfMonth(unsigned long year, unsigned long month, unsigned long day);

// The stepping functions change the date in place. When they return false nothing has changed.

/// Steps to the year before. Returns false for year 0.
VORN_BASES_API bool GetPrevYear(unsigned long& year);

/// Steps to the year after. Returns true, always; the largest number is followed by 0.
VORN_BASES_API bool GetNextYear(unsigned long& year);

/// Step to the month before and after. They return false for year 0 and for a month outside 1 to
/// 12.
///
/// Note: January of year 1 steps back to December of year 0, and no step leaves year 0.
VORN_BASES_API bool GetPrevMonth(unsigned long& year, unsigned long& month);
VORN_BASES_API bool GetNextMonth(unsigned long& year, unsigned long& month);

/// Steps to the day before. Returns false for year 0, for a month outside 1 to 12 and for a day
/// that the month does not have.
VORN_BASES_API bool GetPrevDay(unsigned long& year, unsigned long& month, unsigned long& day);

/// Steps to the day after. Returns false for a month outside 1 to 12 and for a day that the month
/// does not have.
///
/// Note: unlike GetPrevDay it steps in year 0 as well.
VORN_BASES_API bool GetNextDay(unsigned long& year, unsigned long& month, unsigned long& day);

// --- Points in time ------------------------------------------------------------------------------
//
// Two kinds of values share the type Time and two kinds of contents share the record SysTime. What
// each function fills or expects, in a zone that is `offset` ahead of universal time:
//
//     |                          | fills                                                        |
//     | ------------------------ | ------------------------------------------------------------ |
//     | GetCurLocalTime(Time)    | milliseconds since 1970-01-01 00:00:00 universal time        |
//     | GetCurTime(Time)         | the same less `offset`: the moment when local clocks, kept   |
//     |                          | on standard time, show what universal time shows now         |
//     | GetCurLocalTime(SysTime) | the fields of universal time                                 |
//     | GetCurTime(SysTime)      | the fields of universal time                                 |
//     | TimeToSysTime            | the universal fields of a count since 1970                   |
//     | TimeToLocalSysTime       | the local fields of a count since 1970                       |
//     | LocalTimeToTime          | a GetCurTime value from a GetCurLocalTime value              |
//     | TimeToLocalTime          | its argument, whichever of the two                           |
//     | SysTimeToTime            | see there; it undoes none of the others                      |
//
//     Vorn::SysTime clock{};
//     Vorn::TimeToLocalSysTime(Vorn::GetCurLocalTime(), clock); // what the clock on the wall shows
//
// A value is split into seconds and milliseconds by division that truncates toward zero: -1 is
// second 0 and millisecond -1, and belongs to 1970-01-01 00:00:00.
//
// Local readings go to the C library with its daylight-saving flag as the reading has it: 0 for
// universal fields and for a SysTime, so `offset` is that of the zone's standard time in winter and
// in summer; what localtime_r said for local fields. A reading that falls before 1970 fails.

/// A signed count of milliseconds.
using Time = long long;

/// A calendar date and time of day. Conversions that fill one truncate each value to 16 bits.
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

/// In a TimeZone, the `day` of a change on the last such weekday of its month.
inline constexpr short LastOccurrence = 5;

/// A time zone and the two days of the year on which its clocks change.
///
/// Of the two dates only `month` (1 to 12, 0 for no rule), `dayOfWeek` and `day` are used, where
/// `day` is the occurrence of that weekday within the month: 1 to 4, or LastOccurrence. The
/// library reads the dates and `daylightBias`; the rest is carried for callers.
struct TimeZone {
    int bias;
    wchar_t standardName[32];
    SysTime standardDate; ///< the change to standard time
    int standardBias;
    wchar_t daylightName[32];
    SysTime daylightDate; ///< the change to daylight-saving time
    int daylightBias;     ///< 0 in a zone without daylight saving
};

/// A time zone with its name for display lists. The library neither reads nor writes one.
struct TimeZoneDisplay {
    TimeZone timeZone;
    wchar_t displayName[64];
};

/// Make a time value of the record, read as local standard time. They return false when that lies
/// before 1970. The two are the same; `dayOfWeek` and `reserved` have no effect.
///
/// Note: the year and the month go to the C library's mktime as they stand, where a year counts
/// from 1900 and a month from 0. A record of 2024-01-15 gives local 3924-02-15. Other values out of
/// range are carried over as mktime does it; `milliseconds` is added as it stands.
VORN_BASES_API bool SysTimeToTime(const SysTime& sysTime, Time& time);
VORN_BASES_API bool LocalSysTimeToTime(const SysTime& sysTime, Time& time);

/// Fill the record with the universal (TimeToSysTime) or local (TimeToLocalSysTime) date and time
/// of a count since 1970. They return false when the C library does not know it.
///
/// Note: a time before 1970 gives `milliseconds` from -999 to 0.
VORN_BASES_API bool TimeToSysTime(const Time& time, SysTime& sysTime);
VORN_BASES_API bool TimeToLocalSysTime(const Time& time, SysTime& sysTime);

/// Reads the time's local fields as local time again. Returns false for a whole second before 1970.
///
/// Note: that gives the time back as it was, but for hours that a change of clocks repeats, where
/// the C library may choose the other of the two. It does not undo LocalTimeToTime.
VORN_BASES_API bool TimeToLocalTime(const Time& time, Time& localTime);

/// Reads the time's universal fields as local standard time, the shift that GetCurTime applies.
/// Returns false when that lies before 1970 or does not fit.
VORN_BASES_API bool LocalTimeToTime(const Time& localTime, Time& time);

// --- The system clock ----------------------------------------------------------------------------

/// Stores the milliseconds since 1970-01-01 00:00:00 universal time.
VORN_BASES_API bool GetCurLocalTime(Time& localTime);

/// Returns the same, or 0 when the clock cannot be read.
VORN_BASES_API Time GetCurLocalTime();

/// Stores the current time shifted by the local zone: what LocalTimeToTime makes of
/// GetCurLocalTime. Returns false when that lies before 1970.
VORN_BASES_API bool GetCurTime(Time& time);

/// Returns the same, or 0 on failure.
VORN_BASES_API Time GetCurTime();

/// Fill the record with the current date and time.
///
/// Note: both give universal time; neither is local.
VORN_BASES_API bool GetCurLocalTime(SysTime& sysTime);
VORN_BASES_API bool GetCurTime(SysTime& sysTime);

// Setting the clock needs the right to do so. The functions return false when the platform refuses;
// the clock then runs on. SetCurTime, and SetCurLocalTime of a record, also fail for a moment before
// 1970; SetCurLocalTime of a time hands it to the platform.

/// Sets the clock to a count since 1970, taken through the local fields like TimeToLocalTime.
VORN_BASES_API bool SetCurTime(const Time& time);

/// Set the clock to what SysTimeToTime makes of the record, taken through the local fields once
/// more. The two are the same.
///
/// Note: the year and the month are taken as SysTimeToTime takes them, so a record as GetCurTime
/// fills it would set the clock 1900 years and a month ahead.
VORN_BASES_API bool SetCurTime(const SysTime& sysTime);
VORN_BASES_API bool SetCurLocalTime(const SysTime& sysTime);

/// Sets the clock to a count since 1970 in whole seconds.
///
/// Note: a value that is no whole number of seconds fails, because its milliseconds are handed over
/// as microseconds times a million, which the platform refuses.
VORN_BASES_API bool SetCurLocalTime(const Time& localTime);

// --- Daylight saving -----------------------------------------------------------------------------

/// Return true when the record's date is the day on which the zone changes to daylight-saving
/// (IsDstStartDay) or to standard time (IsDstEndDay). The record's year, month, day and dayOfWeek
/// are used; dayOfWeek is not checked against the date. Both are false for every date unless the
/// zone has a daylightBias and a month in both of its dates.
///
/// Note: the occurrences 1 to 4 are counted by the day's own weekday, as GetWeekOfMonth(day,
/// dayOfWeek). For Sundays that is the true occurrence. Any other weekday counts one more in the
/// last days of each seven: a first Monday on the 7th is taken for the second, a first Saturday
/// counts as such only on the 1st. The last occurrence, 5, is true for every weekday.
VORN_BASES_API bool IsDstStartDay(const SysTime& sysTime, const TimeZone& timeZone);
VORN_BASES_API bool IsDstEndDay(const SysTime& sysTime, const TimeZone& timeZone);

/// The same for the universal date of a count since 1970.
VORN_BASES_API bool IsDstStartDay(const Time& time, const TimeZone& timeZone);
VORN_BASES_API bool IsDstEndDay(const Time& time, const TimeZone& timeZone);

// --- Time-zone lists and adjustment --------------------------------------------------------------
//
// Placeholders that hosts already call: each returns false, or nothing, and leaves every argument
// as it is. Note: the Clear functions neither remove nor free the entries.

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

/// Return the system clock in milliseconds, microseconds or nanoseconds since 1970-01-01 00:00:00
/// universal time, or 0 when it cannot be read.
///
/// Note: they follow the clock and jump with it when it is set. timer_ns has the resolution of a
/// microsecond.
VORN_BASES_API unsigned long timer_ms();
VORN_BASES_API unsigned long timer_us();
VORN_BASES_API unsigned long timer_ns();

// --- Date-time text ------------------------------------------------------------------------------
//
// A pattern is text in which runs of the letters F H M S T Y d f h m s t y stand for fields. A run
// is taken as a whole, whatever letters it is made of; one that is not in this table, and every
// character that is none of these letters, comes out as it is. A letter cannot be quoted.
//
//     | token      | text, for 2024-03-05 07:08:09.045                            |
//     | ---------- | ------------------------------------------------------------ |
//     | yyyy, yyy  | year, at least 4 or 3 characters: 2024                       |
//     | yy, y      | century, the year divided by 100, at least 2 or 1: 20        |
//     | MM, M      | month: 03, 3                                                 |
//     | dd, d      | day: 05, 5                                                   |
//     | HH, H      | hour: 07, 7                                                  |
//     | hh, h      | the same less 12 when it is above 12: 07, 7                  |
//     | mm, m      | minute: 08, 8                                                |
//     | ss, s      | second: 09, 9                                                |
//     | fff, ff, f | milliseconds, or those by 10 or by 100: 045, 04, 0           |
//     | FFF, FF, F | the same, or nothing when the number is 0: 045, 04, nothing  |
//     | tt, t      | AM or A before hour 12, PM or P from then on: AM, A          |
//
// Note: yyyyMMdd is one run, not in the table, and comes out as yyyyMMdd; fields need a separator
// between them.
// Note: letters of words are letters of the pattern: "Day d" gives "Da20 5".
// Note: hour 0 is 0 and hour 12 is 12 for h and hh.
// Numbers are printed as they are, negative and too large ones included.
//
//     const Vorn::SysTime sysTime = {2024, 3, 2, 5, 7, 8, 9, 45, -1};
//     Vorn::GetDateTimeFormat("yyyy-MM-dd HH:mm:ss.fff", sysTime); // "2024-03-05 07:08:09.045"
//     Vorn::GetDateTimeFormat("h:mm tt", sysTime);                 // "7:08 AM"

/// Replaces `out` with the record under the pattern, whatever the result. Returns true when that is
/// not empty. Note: when `out` is the pattern itself, both are emptied and the result is false.
VORN_BASES_API bool GetDateTimeFormat(std::string& out, const std::string& pattern,
                                      const SysTime& sysTime);

/// Writes the text with a terminating zero into `buffer`, which holds `size` bytes. Returns false,
/// with the buffer untouched, when it is null, when the text is empty and when it does not fit with
/// its zero.
VORN_BASES_API bool GetDateTimeFormat(char* buffer, unsigned long size, const std::string& pattern,
                                      const SysTime& sysTime);

/// Returns the text, which may be empty.
VORN_BASES_API std::string GetDateTimeFormat(const std::string& pattern, const SysTime& sysTime);

// The same for a count since 1970. Should the C library not know the time, all its fields are 0.
//
// Note: GetDateTimeFormat prints local time into a string and universal time into a buffer;
// GetLocalDateTimeFormat always prints local time.

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
