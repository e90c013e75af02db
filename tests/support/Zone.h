// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_ZONE_H
#define VORN_BASES_TESTS_SUPPORT_ZONE_H

// The zones of add-test.cmake, computed without the C library, so that tests can predict local time
// in the zone that they run in.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string_view>

namespace VornTest {

struct Zone {
    const char* tz;
    long standardOffset; // seconds ahead of UTC
    bool (*isDaylight)(long seconds);
};

inline long NthSunday(int year, unsigned month, unsigned index) {
    using namespace std::chrono;
    const sys_days day{std::chrono::year{year} / std::chrono::month{month} / Sunday[index]};
    return day.time_since_epoch().count() * 86400L;
}

inline int YearOf(long seconds) {
    using namespace std::chrono;
    const year_month_day date{floor<days>(sys_seconds{std::chrono::seconds{seconds}})};
    return static_cast<int>(date.year());
}

inline bool NeverDaylight(long) { return false; }

// From 02:00 standard time on the second Sunday of March to 02:00 daylight time on the first of
// November.
inline bool IsWesternDaylight(long seconds) {
    const int year = YearOf(seconds - 5 * 3600L);
    return seconds >= NthSunday(year, 3, 2) + 7 * 3600L &&
           seconds < NthSunday(year, 11, 1) + 6 * 3600L;
}

// From 02:00 standard time on the first Sunday of October to 03:00 daylight time on the first of
// April.
inline bool IsSouthernDaylight(long seconds) {
    const int year = YearOf(seconds + 10 * 3600L);
    return seconds >= NthSunday(year, 10, 1) - 8 * 3600L ||
           seconds < NthSunday(year, 4, 1) - 8 * 3600L;
}

inline const Zone& CurrentZone() {
    static const Zone zones[] = {{"UTC0", 0, NeverDaylight},
                                 {"XXX-9", 9 * 3600L, NeverDaylight},
                                 {"EST5EDT,M3.2.0,M11.1.0", -5 * 3600L, IsWesternDaylight},
                                 {"AEST-10AEDT,M10.1.0,M4.1.0/3", 10 * 3600L, IsSouthernDaylight},
                                 {"IST-5:30", 5 * 3600L + 1800, NeverDaylight}};
    const char* tz = std::getenv("TZ");
    for (const Zone& zone : zones) {
        if (tz != nullptr && std::string_view(tz) == zone.tz)
            return zone;
    }
    // Any other zone is refused, or a test would pass in a zone that it does not run in.
    std::fprintf(stderr, "TZ must be set to one of the zones of tests/support/add-test.cmake\n");
    std::abort();
}

inline long LocalOffset(long seconds) {
    const Zone& zone = CurrentZone();
    return zone.standardOffset + (zone.isDaylight(seconds) ? 3600 : 0);
}

} // namespace VornTest

#endif
