// SPDX-License-Identifier: MIT
// Calendar arithmetic.

#include <Bases/Time.h>

namespace Vorn {

namespace {

constexpr unsigned char MonthTable[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
constexpr unsigned char MonthTableLeap[12] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

constexpr unsigned long FirstYear = 1980;

const unsigned char* GetMonthTable(unsigned long year) {
    return IsLeapYear(year) ? MonthTableLeap : MonthTable;
}

bool IsMonth(unsigned long month) { return month >= 1 && month <= 12; }

bool IsDayOfMonth(unsigned long year, unsigned long month, unsigned long day) {
    return day != 0 && day <= GetDays(year, month);
}

// Counted in years that begin in March, the leap day is the last of its year, behind all months.
constexpr unsigned long GetDayNumber(unsigned long year, unsigned long month, unsigned long day) {
    const bool isBeforeMarch = month < 3;
    const unsigned long marchYear = isBeforeMarch ? year - 1 : year;
    const unsigned long marchMonth = isBeforeMarch ? month + 9 : month - 3;
    const unsigned long centuries = marchYear / 100;
    const unsigned long leapDays = marchYear / 4 - centuries + centuries / 4;
    // 153 days in five months, 31, 30, 31, 30, 31, and so again.
    return 365 * marchYear + leapDays + (153 * marchMonth + 2) / 5 + day;
}

// 1980-01-01 is day 1; dates that are not counted are day 0. The day is checked against 31 only, so
// the 31st of a shorter month falls into the next one.
unsigned long GetDaysSince1980(unsigned long year, unsigned long month, unsigned long day) {
    if (year < FirstYear || !IsMonth(month) || day < 1 || day > 31)
        return 0;
    return GetDayNumber(year, month, day) - GetDayNumber(FirstYear, 1, 0);
}

void StepToNextMonth(unsigned long& year, unsigned long& month) {
    if (month < 12) {
        ++month;
        return;
    }
    month = 1;
    ++year;
}

} // namespace

bool IsLeapYear(unsigned long year) {
    if (year % 4 != 0)
        return false;
    return year % 100 != 0 || year % 400 == 0;
}

unsigned long GetDays(unsigned long year) { return IsLeapYear(year) ? 366 : 365; }

unsigned long GetDays(unsigned long year, unsigned long month) {
    return IsMonth(month) ? GetMonthTable(year)[month - 1] : 0;
}

unsigned long GetDays(unsigned long year1, unsigned long month1, unsigned long day1,
                      unsigned long year2, unsigned long month2, unsigned long day2) {
    const unsigned long first = GetDaysSince1980(year1, month1, day1);
    const unsigned long last = GetDaysSince1980(year2, month2, day2);
    return first > last ? 0 : last - first + 1;
}

bool IsValidDate(unsigned long year, unsigned long month, unsigned long day) {
    const unsigned long length = GetDays(year, month);
    return length != 0 && day <= length;
}

unsigned long GetDayOfWeek(unsigned long year, unsigned long month, unsigned long day) {
    return (GetDaysSince1980(year, month, day) + 1) % 7;
}

unsigned long GetWeekOfMonth(unsigned long dayOfMonth, unsigned long dayOfWeek) {
    return (dayOfMonth + dayOfWeek - 1) / 7 + 1;
}

bool GetLastWeekOfMonth(unsigned long year, unsigned long month, unsigned long day) {
    return IsMonth(month) && day + 7 > GetDays(year, month);
}

bool GetPrevYear(unsigned long& year) {
    if (year == 0)
        return false;
    --year;
    return true;
}

bool GetNextYear(unsigned long& year) {
    ++year;
    return true;
}

bool GetPrevMonth(unsigned long& year, unsigned long& month) {
    if (year == 0 || !IsMonth(month))
        return false;
    if (month == 1) {
        month = 12;
        --year;
    } else {
        --month;
    }
    return true;
}

bool GetNextMonth(unsigned long& year, unsigned long& month) {
    if (year == 0 || !IsMonth(month))
        return false;
    StepToNextMonth(year, month);
    return true;
}

bool GetPrevDay(unsigned long& year, unsigned long& month, unsigned long& day) {
    if (year == 0 || !IsDayOfMonth(year, month, day))
        return false;
    if (day > 1) {
        --day;
        return true;
    }
    GetPrevMonth(year, month);
    day = GetDays(year, month);
    return true;
}

// Unlike GetNextMonth this also steps in year 0.
bool GetNextDay(unsigned long& year, unsigned long& month, unsigned long& day) {
    if (!IsDayOfMonth(year, month, day))
        return false;
    if (day < GetDays(year, month)) {
        ++day;
        return true;
    }
    StepToNextMonth(year, month);
    day = 1;
    return true;
}

} // namespace Vorn
