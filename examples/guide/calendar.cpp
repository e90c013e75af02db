// SPDX-License-Identifier: MIT
#include <Bases/Time.h>
#include <cstdio>
#include <cstdlib>

// Prints the weekday of a date, the date a week later, and how far away the end of its year is.
int main(int argc, char** argv) {
    if (argc != 4)
        return 2;
    unsigned long year = std::strtoul(argv[1], nullptr, 10);
    unsigned long month = std::strtoul(argv[2], nullptr, 10);
    unsigned long day = std::strtoul(argv[3], nullptr, 10);
    // Day 0 counts as valid, and weekdays are known from 1980 on.
    if (!Vorn::IsValidDate(year, month, day) || day == 0 || year < 1980) {
        std::puts("no such date");
        return 1;
    }
    const char* const names[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                 "Thursday", "Friday", "Saturday"};
    std::puts(names[Vorn::GetDayOfWeek(year, month, day)]);
    // Both end days are counted.
    std::printf("%lu days to New Year\n", Vorn::GetDays(year, month, day, year + 1, 1, 1) - 1);

    for (int i = 0; i < 7; ++i)
        Vorn::GetNextDay(year, month, day);
    std::printf("%lu-%02lu-%02lu\n", year, month, day);
}
