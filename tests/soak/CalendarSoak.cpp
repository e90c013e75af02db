// SPDX-License-Identifier: MIT
// Concerns: every day of the years 1 to 9999 in every function of the calendar. Plan: against the
// C++ library's calendar.
#include <Bases/Time.h>

#include <chrono>

#include "soak/Soak.h"

namespace {

using std::chrono::days;
using std::chrono::sys_days;
using std::chrono::year_month_day;

constexpr sys_days DayOf(int year, unsigned month, unsigned day) {
    return year_month_day(std::chrono::year(year), std::chrono::month(month),
                          std::chrono::day(day));
}

constexpr sys_days First = DayOf(1, 1, 1);
constexpr sys_days Last = DayOf(9999, 12, 31);
constexpr sys_days FirstCounted = DayOf(1980, 1, 1);

struct Date {
    explicit Date(sys_days point) : Date(year_month_day(point)) {}
    explicit Date(year_month_day date)
        : year(static_cast<unsigned long>(static_cast<int>(date.year()))),
          month(static_cast<unsigned>(date.month())), day(static_cast<unsigned>(date.day())) {}
    bool operator==(const Date& other) const = default;

    unsigned long year;
    unsigned long month;
    unsigned long day;
};

bool StepsRightly(sys_days day) {
    Date stepped(day);
    bool right = Vorn::GetNextDay(stepped.year, stepped.month, stepped.day) &&
                 stepped == Date(day + days(1));
    right =
        right && Vorn::GetPrevDay(stepped.year, stepped.month, stepped.day) && stepped == Date(day);
    right = right && Vorn::GetPrevDay(stepped.year, stepped.month, stepped.day) &&
            stepped == Date(day - days(1));

    const year_month_day date(day);
    const year_month_day next = date + std::chrono::months(1);
    const year_month_day previous = date - std::chrono::months(1);
    stepped = Date(day);
    right = right && Vorn::GetNextMonth(stepped.year, stepped.month) && stepped == Date(next);
    stepped = Date(day);
    return right && Vorn::GetPrevMonth(stepped.year, stepped.month) && stepped == Date(previous);
}

bool IsCountedRightly(sys_days day) {
    const Date date(day);
    const bool isCounted = day >= FirstCounted;
    const auto number = static_cast<unsigned long>((day - FirstCounted).count() + 1);
    const unsigned long weekday = std::chrono::weekday(day).c_encoding();
    return Vorn::GetDayOfWeek(date.year, date.month, date.day) == (isCounted ? weekday : 1) &&
           Vorn::GetDays(1980, 1, 1, date.year, date.month, date.day) == (isCounted ? number : 0);
}

bool IsPlacedRightly(sys_days day) {
    const Date date(day);
    const year_month_day ymd(day);
    const unsigned long length(
        static_cast<unsigned>((ymd.year() / ymd.month() / std::chrono::last).day()));
    return Vorn::IsLeapYear(date.year) == ymd.year().is_leap() &&
           Vorn::GetDays(date.year) == (ymd.year().is_leap() ? 366 : 365) &&
           Vorn::GetDays(date.year, date.month) == length &&
           Vorn::IsValidDate(date.year, date.month, date.day) &&
           !Vorn::IsValidDate(date.year, date.month, length + date.day) &&
           Vorn::GetLastWeekOfMonth(date.year, date.month, date.day) == (date.day + 7 > length);
}

bool IsSplitRightly(sys_days day) {
    const Date date(day);
    const Vorn::Time time = (day - sys_days()).count() * 86400000LL;
    Vorn::SysTime st{};
    return Vorn::TimeToSysTime(time, st) && st.year == static_cast<int>(date.year) &&
           st.month == static_cast<int>(date.month) && st.day == static_cast<int>(date.day) &&
           st.dayOfWeek == static_cast<int>(std::chrono::weekday(day).c_encoding()) &&
           st.hour == 0 && st.minute == 0 && st.second == 0;
}

TEST(Soak, KnowsEveryDayOfTheYears1To9999) {
    VornTest::Soak("days of 0001-9999", static_cast<unsigned long>((Last - First).count()) + 1, 997,
                   [](unsigned long n) {
                       const sys_days day = First + days(n);
                       return StepsRightly(day) && IsCountedRightly(day) && IsPlacedRightly(day) &&
                              IsSplitRightly(day);
                   });
}

} // namespace
