// SPDX-License-Identifier: MIT
// The calendar: lengths and counts of days, weekdays, weeks, and steps from a date.

#include <Bases/Time.h>

#include <array>
#include <climits>
#include <ctime>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace {

struct Date {
    unsigned long year;
    unsigned long month;
    unsigned long day;

    bool operator==(const Date&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Date& date) {
    return out << date.year << '-' << date.month << '-' << date.day;
}

// A calendar written without looking at the library: the leap rule by other divisors, the month
// lengths by their rhyme.
bool OracleIsLeap(unsigned long year) {
    return year % 16 == 0 || (year % 4 == 0 && year % 25 != 0);
}

unsigned long OracleMonthLength(unsigned long year, unsigned long month) {
    if (month == 2)
        return OracleIsLeap(year) ? 29 : 28;
    const bool thirty = month == 4 || month == 6 || month == 9 || month == 11;
    return thirty ? 30 : 31;
}

Date OracleDayAfter(Date date) {
    if (++date.day > OracleMonthLength(date.year, date.month)) {
        date.day = 1;
        if (++date.month > 12) {
            date.month = 1;
            ++date.year;
        }
    }
    return date;
}

template <class Visit>
void ForEachDay(unsigned long firstYear, unsigned long endYear, Visit visit) {
    for (Date date{firstYear, 1, 1}; date.year != endYear; date = OracleDayAfter(date)) {
        visit(date);
        if (testing::Test::HasFailure())
            return;
    }
}

unsigned long DaysBetween(const Date& first, const Date& last) {
    return Vorn::GetDays(first.year, first.month, first.day, last.year, last.month, last.day);
}

// The day number of January 1st: whole cycles of 400 years, the rest year by year. Like the
// library's sums it wraps at 64 bits.
unsigned long OracleDayNumber(unsigned long year) {
    unsigned long days = (year - 1980) / 400 * 146097 + 1;
    for (unsigned long y = year - (year - 1980) % 400; y != year; ++y)
        days += OracleIsLeap(y) ? 366 : 365;
    return days;
}

const std::vector<unsigned long> NoMonths = {
    0, 13, 14, 255, 256 + 2, (1UL << 32) + 2, 1UL << 63, ULONG_MAX - 11, ULONG_MAX - 1, ULONG_MAX};

// Concerns: the leap rule at each of its branches, month lengths against a calendar written
// independently, and the answer 0 for every number that is no month.

TEST(YearAndMonthLength, LeapYearsFollowTheGregorianRule) {
    EXPECT_FALSE(Vorn::IsLeapYear(1900));
    EXPECT_TRUE(Vorn::IsLeapYear(2000));
    EXPECT_TRUE(Vorn::IsLeapYear(2024));
    EXPECT_FALSE(Vorn::IsLeapYear(2023));
    EXPECT_TRUE(Vorn::IsLeapYear(0));
    for (unsigned long year = 0; year <= 10000; ++year)
        ASSERT_EQ(OracleIsLeap(year), Vorn::IsLeapYear(year)) << year;
    EXPECT_FALSE(Vorn::IsLeapYear(ULONG_MAX));
    EXPECT_EQ(OracleIsLeap(ULONG_MAX - 15), Vorn::IsLeapYear(ULONG_MAX - 15));
}

TEST(YearAndMonthLength, AYearHas365Or366Days) {
    for (unsigned long year = 0; year <= 10000; ++year)
        ASSERT_EQ(OracleIsLeap(year) ? 366UL : 365UL, Vorn::GetDays(year)) << year;
}

TEST(YearAndMonthLength, EveryMonthOfEveryYearHasItsLength) {
    for (unsigned long year = 0; year <= 2400; ++year) {
        for (unsigned long month = 1; month <= 12; ++month)
            ASSERT_EQ(OracleMonthLength(year, month), Vorn::GetDays(year, month))
                << year << '-' << month;
    }
}

TEST(YearAndMonthLength, ANumberThatIsNoMonthHasNoDays) {
    for (const unsigned long year : {0UL, 2023UL, 2024UL, ULONG_MAX}) {
        for (const unsigned long month : NoMonths)
            EXPECT_EQ(0U, Vorn::GetDays(year, month)) << year << '-' << month;
    }
}

// Concerns: both end days counted, agreement with two other calendars (the one above and the C
// library's), the leniency for dates outside the count, and years too far to be walked to.

TEST(DayCount, CountsBothEndDays) {
    EXPECT_EQ(1U, Vorn::GetDays(2024, 1, 1, 2024, 1, 1));
    EXPECT_EQ(2U, Vorn::GetDays(2024, 1, 1, 2024, 1, 2));
    EXPECT_EQ(366U, Vorn::GetDays(2023, 1, 1, 2024, 1, 1));
}

TEST(DayCount, IsZeroWhenTheFirstDateLiesAfterTheSecond) {
    EXPECT_EQ(0U, Vorn::GetDays(2024, 1, 2, 2024, 1, 1));
    EXPECT_EQ(0U, Vorn::GetDays(ULONG_MAX / 1000, 12, 31, 1980, 1, 1));
}

TEST(DayCount, AgreesWithADayByDayCalendar) {
    unsigned long count = 0;
    ForEachDay(1980, 2800, [&count](const Date& date) {
        ++count;
        ASSERT_EQ(count, DaysBetween({1980, 1, 1}, date)) << date;
    });
}

TEST(DayCount, AgreesWithTheCLibraryBetweenAnyTwoDates) {
    const auto seed = 20240229U;
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> anyDay(3652, 2932896); // 1980-01-01 to 9999-12-31
    for (int i = 0; i < 20000; ++i) {
        const std::array<int, 2> days = {anyDay(random), anyDay(random)};
        std::array<Date, 2> dates{};
        for (std::size_t k = 0; k < 2; ++k) {
            const std::time_t seconds = days[k] * 86400LL;
            std::tm tm{};
            gmtime_r(&seconds, &tm);
            ASSERT_EQ(seconds, timegm(&tm));
            dates[k] = {static_cast<unsigned long>(tm.tm_year + 1900),
                        static_cast<unsigned long>(tm.tm_mon + 1),
                        static_cast<unsigned long>(tm.tm_mday)};
        }
        const int expected = days[0] > days[1] ? 0 : days[1] - days[0] + 1;
        ASSERT_EQ(static_cast<unsigned long>(expected), DaysBetween(dates[0], dates[1]))
            << dates[0] << ' ' << dates[1] << " seed " << seed;
    }
}

TEST(DayCount, CountsADateOutsideTheRangeAsDayZero) {
    EXPECT_EQ(1U, DaysBetween({1980, 1, 1}, {1980, 1, 1}));
    const std::vector<Date> outside = {{1979, 12, 31}, {0, 1, 1},      {1980, 0, 1},
                                       {1980, 13, 1},  {1980, 1, 0},   {1980, 1, 32},
                                       {2024, 2, 32},  {2024, 13, 31}, {2024, 6, ULONG_MAX}};
    for (const Date& date : outside) {
        EXPECT_EQ(11U, DaysBetween(date, {1980, 1, 10})) << date;
        EXPECT_EQ(0U, DaysBetween({1980, 1, 1}, date)) << date;
        EXPECT_EQ(1U, DaysBetween(date, date)) << date;
        EXPECT_EQ(1U, DaysBetween(date, outside.front())) << date;
    }
    for (const unsigned long month : NoMonths)
        EXPECT_EQ(11U, DaysBetween({2024, month, 1}, {1980, 1, 10})) << month;
}

TEST(DayCount, ChecksTheDayAgainst31WhateverTheMonth) {
    EXPECT_EQ(1U, DaysBetween({1981, 2, 31}, {1981, 3, 3}));
    EXPECT_EQ(0U, DaysBetween({1981, 2, 31}, {1981, 3, 2}));
    EXPECT_EQ(1U, DaysBetween({2024, 2, 30}, {2024, 3, 1}));
    EXPECT_EQ(1U, DaysBetween({2023, 11, 31}, {2023, 12, 1}));
}

TEST(DayCount, AnswersForFarYearsAtOnce) {
    const std::vector<unsigned long> years = {10000,
                                              1000000007,
                                              10000000000000000,
                                              50000000000000000,
                                              50000000000000399,
                                              1000000000000000000};
    for (const unsigned long year : years) {
        EXPECT_EQ(OracleDayNumber(year), DaysBetween({1980, 1, 1}, {year, 1, 1})) << year;
        EXPECT_EQ((OracleDayNumber(year) + 1) % 7, Vorn::GetDayOfWeek(year, 1, 1)) << year;
        EXPECT_EQ(366UL,
                  DaysBetween({year - 1, 12, 31}, {year, 12, 31}) - (OracleIsLeap(year) ? 1U : 0U))
            << year;
    }
    // 365.2425 * 10^13 days, less the 723179 from the first of year 0 to 1979-12-31.
    EXPECT_EQ(3652424999276821UL, DaysBetween({1980, 1, 1}, {10000000000000, 1, 1}));
}

TEST(DayCount, WrapsWhereADayNumberNeedsMoreThan64Bits) {
    for (unsigned long year = ULONG_MAX - 800; year != 0; ++year) {
        ASSERT_EQ(OracleDayNumber(year), DaysBetween({1980, 1, 1}, {year, 1, 1})) << year;
        ASSERT_EQ((OracleDayNumber(year) + 1) % 7, Vorn::GetDayOfWeek(year, 1, 1)) << year;
    }
    // The last year that begins below 2^64 days; the 51st day of it has the number 0.
    const unsigned long year = 50505469855535089;
    EXPECT_EQ(ULONG_MAX - 49, DaysBetween({1980, 1, 1}, {year, 1, 1}));
    EXPECT_EQ(ULONG_MAX, DaysBetween({1980, 1, 1}, {year, 2, 19}));
    EXPECT_EQ(0U, DaysBetween({1980, 1, 1}, {year, 2, 20}));
    EXPECT_EQ(315U, DaysBetween({1980, 1, 1}, {year + 1, 1, 1}));
    EXPECT_EQ(0U, Vorn::GetDayOfWeek(year, 2, 19)); // (2^64 - 1 + 1) mod 7, wrapped before
}

// Concerns: a valid day of each month, and the zeros that are accepted on purpose.

TEST(ValidDate, AcceptsTheDaysOfTheMonthAndNoMore) {
    for (const unsigned long year : {1900UL, 2000UL, 2023UL, 2024UL}) {
        for (unsigned long month = 1; month <= 12; ++month) {
            for (unsigned long day = 1; day <= 40; ++day)
                ASSERT_EQ(day <= OracleMonthLength(year, month),
                          Vorn::IsValidDate(year, month, day))
                    << Date{year, month, day};
            EXPECT_FALSE(Vorn::IsValidDate(year, month, ULONG_MAX));
        }
    }
    EXPECT_FALSE(Vorn::IsValidDate(2023, 2, 29));
    EXPECT_TRUE(Vorn::IsValidDate(2024, 2, 29));
}

TEST(ValidDate, AcceptsDayZeroAndYearZero) {
    EXPECT_TRUE(Vorn::IsValidDate(2024, 2, 0));
    EXPECT_TRUE(Vorn::IsValidDate(0, 2, 29));
    EXPECT_TRUE(Vorn::IsValidDate(0, 1, 0));
}

TEST(ValidDate, RejectsEveryNumberThatIsNoMonth) {
    for (const unsigned long month : NoMonths) {
        EXPECT_FALSE(Vorn::IsValidDate(2024, month, 1)) << month;
        EXPECT_FALSE(Vorn::IsValidDate(2024, month, 0)) << month;
    }
}

// Concerns: every day that both calendars know, and the fixed answer outside the count.

TEST(DayOfWeek, AgreesWithTheCLibraryFrom1980To9999) {
    EXPECT_EQ(2U, Vorn::GetDayOfWeek(1980, 1, 1));
    EXPECT_EQ(6U, Vorn::GetDayOfWeek(2000, 1, 1));
    std::time_t seconds = 315532800; // 1980-01-01
    ForEachDay(1980, 10000, [&seconds](const Date& date) {
        std::tm tm{};
        gmtime_r(&seconds, &tm);
        seconds += 86400;
        ASSERT_EQ(date.day, static_cast<unsigned long>(tm.tm_mday)) << date;
        ASSERT_EQ(static_cast<unsigned long>(tm.tm_wday),
                  Vorn::GetDayOfWeek(date.year, date.month, date.day))
            << date;
    });
}

TEST(DayOfWeek, IsMondayForADateOutsideTheRange) {
    EXPECT_EQ(1U, Vorn::GetDayOfWeek(1979, 12, 31));
    EXPECT_EQ(1U, Vorn::GetDayOfWeek(1979, 12, 30));
    EXPECT_EQ(1U, Vorn::GetDayOfWeek(0, 0, 0));
    EXPECT_EQ(1U, Vorn::GetDayOfWeek(2024, 6, 0));
    EXPECT_EQ(1U, Vorn::GetDayOfWeek(2024, 6, 32));
    for (const unsigned long month : NoMonths)
        EXPECT_EQ(1U, Vorn::GetDayOfWeek(2024, month, 4)) << month;
}

TEST(DayOfWeek, RunsADayPastAShortMonthIntoTheNext) {
    EXPECT_EQ(Vorn::GetDayOfWeek(1981, 3, 3), Vorn::GetDayOfWeek(1981, 2, 31));
}

// Concerns: the rows of a printed calendar, the formula's symmetry, its unsigned arithmetic, and
// the last seven days of every month.

TEST(WeekOfMonth, NumbersTheRowsOfASundayBasedCalendar) {
    EXPECT_EQ(1U, Vorn::GetWeekOfMonth(1, 0));
    EXPECT_EQ(1U, Vorn::GetWeekOfMonth(7, 0));
    EXPECT_EQ(2U, Vorn::GetWeekOfMonth(8, 0));
    EXPECT_EQ(1U, Vorn::GetWeekOfMonth(1, 6));
    EXPECT_EQ(2U, Vorn::GetWeekOfMonth(2, 6));
    for (unsigned long first = 0; first < 7; ++first) {
        unsigned long row = 1;
        unsigned long weekday = first;
        for (unsigned long day = 1; day <= 31; ++day) {
            ASSERT_EQ(row, Vorn::GetWeekOfMonth(day, first)) << day << ' ' << first;
            ASSERT_EQ(row, Vorn::GetWeekOfMonth(first, day)) << day << ' ' << first;
            if (++weekday == 7) {
                weekday = 0;
                ++row;
            }
        }
    }
}

TEST(WeekOfMonth, CountsInUnsignedNumbers) {
    EXPECT_EQ(ULONG_MAX / 7 + 1, Vorn::GetWeekOfMonth(0, 0));
    EXPECT_EQ(1U, Vorn::GetWeekOfMonth(ULONG_MAX, 2));
}

TEST(WeekOfMonth, TheLastWeekIsTheLastSevenDays) {
    EXPECT_TRUE(Vorn::GetLastWeekOfMonth(2023, 2, 22));
    EXPECT_FALSE(Vorn::GetLastWeekOfMonth(2023, 2, 21));
    EXPECT_FALSE(Vorn::GetLastWeekOfMonth(2024, 2, 22));
    EXPECT_TRUE(Vorn::GetLastWeekOfMonth(2024, 2, 23));
    ForEachDay(0, 801, [](const Date& date) {
        Date weekLater = date;
        for (int i = 0; i < 7; ++i)
            weekLater = OracleDayAfter(weekLater);
        ASSERT_EQ(weekLater.month != date.month,
                  Vorn::GetLastWeekOfMonth(date.year, date.month, date.day))
            << date;
    });
}

TEST(WeekOfMonth, TheLastWeekTakesDaysThatTheMonthDoesNotHave) {
    EXPECT_FALSE(Vorn::GetLastWeekOfMonth(2024, 2, 0));
    EXPECT_TRUE(Vorn::GetLastWeekOfMonth(2024, 2, 30));
    EXPECT_TRUE(Vorn::GetLastWeekOfMonth(2024, 2, ULONG_MAX - 7));
    for (unsigned long day = ULONG_MAX - 6; day != 0; ++day)
        EXPECT_FALSE(Vorn::GetLastWeekOfMonth(2024, 2, day)) << day; // the sum wraps
}

TEST(WeekOfMonth, ANumberThatIsNoMonthHasNoLastWeek) {
    for (const unsigned long month : NoMonths) {
        for (const unsigned long day : {0UL, 1UL, 25UL, 31UL, ULONG_MAX - 7})
            EXPECT_FALSE(Vorn::GetLastWeekOfMonth(2024, month, day)) << month;
    }
}

// Concerns: every step over several centuries in both directions, what refuses to step and leaves
// the date alone, and the two functions that differ on year 0.

TEST(YearStep, GoesBackToYearZeroAndNoFurther) {
    unsigned long year = 2;
    EXPECT_TRUE(Vorn::GetPrevYear(year));
    EXPECT_EQ(1U, year);
    EXPECT_TRUE(Vorn::GetPrevYear(year));
    EXPECT_EQ(0U, year);
    EXPECT_FALSE(Vorn::GetPrevYear(year));
    EXPECT_EQ(0U, year);
}

TEST(YearStep, GoesForwardWithoutABound) {
    unsigned long year = 0;
    EXPECT_TRUE(Vorn::GetNextYear(year));
    EXPECT_EQ(1U, year);
    year = ULONG_MAX;
    EXPECT_TRUE(Vorn::GetNextYear(year));
    EXPECT_EQ(0U, year);
}

TEST(MonthStep, GoesThroughTheYearsBothWays) {
    unsigned long year = 1;
    unsigned long month = 1;
    for (unsigned long i = 1; i < 400; ++i) {
        const unsigned long yearBefore = year;
        const unsigned long monthBefore = month;
        ASSERT_TRUE(Vorn::GetNextMonth(year, month));
        ASSERT_EQ(1 + i / 12, year);
        ASSERT_EQ(1 + i % 12, month);
        unsigned long backYear = year;
        unsigned long backMonth = month;
        ASSERT_TRUE(Vorn::GetPrevMonth(backYear, backMonth));
        ASSERT_EQ(yearBefore, backYear);
        ASSERT_EQ(monthBefore, backMonth);
    }
}

TEST(MonthStep, ReachesYearZeroAndStopsThere) {
    unsigned long year = 1;
    unsigned long month = 1;
    EXPECT_TRUE(Vorn::GetPrevMonth(year, month));
    EXPECT_EQ(0U, year);
    EXPECT_EQ(12U, month);
    EXPECT_FALSE(Vorn::GetPrevMonth(year, month));
    EXPECT_FALSE(Vorn::GetNextMonth(year, month));
    EXPECT_EQ(0U, year);
    EXPECT_EQ(12U, month);
}

TEST(MonthStep, RefusesANumberThatIsNoMonth) {
    for (const unsigned long noMonth : NoMonths) {
        unsigned long year = 2024;
        unsigned long month = noMonth;
        EXPECT_FALSE(Vorn::GetPrevMonth(year, month));
        EXPECT_FALSE(Vorn::GetNextMonth(year, month));
        EXPECT_EQ(2024U, year);
        EXPECT_EQ(noMonth, month);
    }
}

bool StepBack(Date& date) { return Vorn::GetPrevDay(date.year, date.month, date.day); }
bool StepOn(Date& date) { return Vorn::GetNextDay(date.year, date.month, date.day); }

TEST(DayStep, GoesThroughEightCenturiesBothWays) {
    ForEachDay(1, 801, [](const Date& date) {
        Date step = date;
        ASSERT_TRUE(StepOn(step)) << date;
        ASSERT_EQ(OracleDayAfter(date), step);
        ASSERT_TRUE(StepBack(step)) << step;
        ASSERT_EQ(date, step);
    });
}

TEST(DayStep, CrossesMonthsAndYears) {
    Date date{2024, 3, 1};
    EXPECT_TRUE(StepBack(date));
    EXPECT_EQ((Date{2024, 2, 29}), date);
    date = {2023, 1, 1};
    EXPECT_TRUE(StepBack(date));
    EXPECT_EQ((Date{2022, 12, 31}), date);
    date = {1, 1, 1};
    EXPECT_TRUE(StepBack(date));
    EXPECT_EQ((Date{0, 12, 31}), date);
    date = {2023, 12, 31};
    EXPECT_TRUE(StepOn(date));
    EXPECT_EQ((Date{2024, 1, 1}), date);
    date = {ULONG_MAX, 12, 31};
    EXPECT_TRUE(StepOn(date));
    EXPECT_EQ((Date{0, 1, 1}), date);
}

TEST(DayStep, OnlyTheForwardStepWorksInYearZero) {
    ForEachDay(0, 1, [](const Date& date) {
        Date step = date;
        ASSERT_FALSE(StepBack(step)) << date;
        ASSERT_EQ(date, step);
        ASSERT_TRUE(StepOn(step)) << date;
        ASSERT_EQ(OracleDayAfter(date), step);
    });
}

TEST(DayStep, RefusesADayThatTheMonthDoesNotHave) {
    const std::vector<Date> noDays = {{2023, 2, 29},        {2024, 2, 30}, {2024, 4, 31},
                                      {2024, 1, 0},         {2024, 1, 32}, {2024, 12, 32},
                                      {2024, 5, ULONG_MAX}, {0, 2, 30},    {0, 1, 0}};
    for (const Date& noDay : noDays) {
        Date date = noDay;
        EXPECT_FALSE(StepBack(date)) << noDay;
        EXPECT_FALSE(StepOn(date)) << noDay;
        EXPECT_EQ(noDay, date);
    }
}

TEST(DayStep, RefusesANumberThatIsNoMonth) {
    for (const unsigned long month : NoMonths) {
        for (const unsigned long day : {0UL, 1UL, 28UL, 31UL, ULONG_MAX}) {
            const Date noDate{2024, month, day};
            Date date = noDate;
            EXPECT_FALSE(StepBack(date)) << noDate;
            EXPECT_FALSE(StepOn(date)) << noDate;
            EXPECT_EQ(noDate, date);
        }
    }
}

// Concern: no combination of hostile arguments reads outside the month tables (the address
// sanitizer watches) and every month length stays within the calendar's.

TEST(CalendarArguments, MayBeAnyNumbers) {
    const std::vector<unsigned long> numbers = {0,
                                                1,
                                                2,
                                                12,
                                                13,
                                                28,
                                                29,
                                                31,
                                                32,
                                                255,
                                                256,
                                                1979,
                                                1980,
                                                1UL << 32,
                                                1UL << 63,
                                                ULONG_MAX,
                                                ULONG_MAX - 1,
                                                ULONG_MAX - 7};
    for (const unsigned long year : numbers) {
        for (const unsigned long month : numbers) {
            for (const unsigned long day : numbers) {
                ASSERT_LE(Vorn::GetDays(year, month), 31U);
                ASSERT_LT(Vorn::GetDayOfWeek(year, month, day), 7U);
                ASSERT_EQ(1U, Vorn::GetDays(year, month, day, year, month, day));
                const bool isMonth = month >= 1 && month <= 12;
                ASSERT_TRUE(isMonth || !Vorn::GetLastWeekOfMonth(year, month, day));
                Date date{year, month, day};
                ASSERT_EQ(isMonth && day != 0 && Vorn::IsValidDate(year, month, day), StepOn(date));
            }
        }
    }
}

} // namespace
