#ifndef VORN_BASES_TIME_H
#define VORN_BASES_TIME_H

// Calendar arithmetic.
//
// The calendar functions answer questions about dates of the Gregorian calendar, extended to all
// years, given as three numbers: year, month (1 = January ... 12) and day (1 ... 31). They keep no
// state, need no clock and no time zone, and may be called from any thread. Every one of them
// answers in constant time, whatever the year.
//
//     unsigned long year = 2024, month = 2, day = 28;
//     Vorn::GetNextDay(year, month, day);                      // 2024-02-29
//     Vorn::GetDays(2024, 1, 1, year, month, day);             // 60, both end days counted
//     Vorn::GetDayOfWeek(year, month, day);                    // 4, a Thursday

#include <Bases/Export.h>

namespace Vorn {

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
VORN_BASES_API unsigned long GetDayOfWeek(unsigned long year, unsigned long month,
                                          unsigned long day);

/// Returns (dayOfMonth + dayOfWeek - 1) / 7 + 1 in unsigned arithmetic. The two arguments may change
/// places. With the weekday of the month's first day it is the number, from 1, of the calendar row
/// (Sunday to Saturday) that holds the day.
VORN_BASES_API unsigned long GetWeekOfMonth(unsigned long dayOfMonth, unsigned long dayOfWeek);

/// Returns true when the day lies in the last seven days of its month, or beyond them, and false for
/// a month outside 1 to 12.
VORN_BASES_API bool GetLastWeekOfMonth(unsigned long year, unsigned long month, unsigned long day);

// The stepping functions change the date in place. When they return false nothing has changed.

/// Steps to the year before. Returns false for year 0.
VORN_BASES_API bool GetPrevYear(unsigned long& year);

/// Steps to the year after. Returns true, always; the largest number is followed by 0.
VORN_BASES_API bool GetNextYear(unsigned long& year);

/// Step to the month before and after. They return false for year 0 and for a month outside 1 to 12.
///
/// Note: January of year 1 steps back to December of year 0, and no step leaves year 0.
VORN_BASES_API bool GetPrevMonth(unsigned long& year, unsigned long& month);
VORN_BASES_API bool GetNextMonth(unsigned long& year, unsigned long& month);

/// Steps to the day before. Returns false for year 0, for a month outside 1 to 12 and for a day that
/// the month does not have.
VORN_BASES_API bool GetPrevDay(unsigned long& year, unsigned long& month, unsigned long& day);

/// Steps to the day after. Returns false for a month outside 1 to 12 and for a day that the month
/// does not have.
///
/// Note: unlike GetPrevDay it steps in year 0 as well.
VORN_BASES_API bool GetNextDay(unsigned long& year, unsigned long& month, unsigned long& day);

} // namespace Vorn

#endif
