// SPDX-License-Identifier: MIT
// Calendar, clock and date-time text beside POCO's, fmt's and the standard library's.

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <string>

#include <Poco/DateTime.h>
#include <Poco/DateTimeFormatter.h>
#include <fmt/chrono.h>
#include <fmt/format.h>

#include <Bases/Time.h>
#include <support/Inputs.h>
#include <support/Row.h>

namespace Bench {

namespace {

Cycle<Vorn::SysTime> Moments() {
    Random random;
    return Cycle<Vorn::SysTime>([&] {
        const auto upTo = [&](int count) {
            return static_cast<short>(random() % static_cast<unsigned>(count));
        };
        return Vorn::SysTime{static_cast<short>(1980 + upTo(100)),
                             static_cast<short>(1 + upTo(12)),
                             0,
                             static_cast<short>(1 + upTo(28)),
                             upTo(24),
                             upTo(60),
                             upTo(60),
                             upTo(1000),
                             -1};
    });
}

Poco::DateTime PocoTime(const Vorn::SysTime& time) {
    return {time.year,   time.month,  time.day,         time.hour,
            time.minute, time.second, time.milliseconds};
}

std::tm Tm(const Vorn::SysTime& time) {
    std::tm fields{};
    fields.tm_year = time.year - 1900;
    fields.tm_mon = time.month - 1;
    fields.tm_mday = time.day;
    fields.tm_hour = time.hour;
    fields.tm_min = time.minute;
    fields.tm_sec = time.second;
    return fields;
}

const Row
    Format("GetDateTimeFormat 24 characters", {One()}, {"POCO", "fmt chrono", "fmt integers"},
           [](Run& run) {
               std::string text;
               run.Ours([&, all = Moments()]() mutable -> const std::string& {
                   Vorn::GetDateTimeFormat(text, "yyyy/MM/dd, HH:mm:ss.fff", all.Next());
                   return text;
               });

               const Cycle<Vorn::SysTime> moments = Moments();
               const Cycle<Poco::DateTime> dates(
                   [all = moments]() mutable { return PocoTime(all.Next()); });
               run.Peer([all = dates]() mutable {
                   return Poco::DateTimeFormatter::format(all.Next(), "%Y/%m/%d, %H:%M:%S.%i");
               });
               run.Peer([all = moments]() mutable {
                   const Vorn::SysTime& time = all.Next();
                   return fmt::format("{:%Y/%m/%d, %H:%M:%S}.{:03}", Tm(time), time.milliseconds);
               });
               run.Peer([all = moments]() mutable {
                   const Vorn::SysTime& time = all.Next();
                   return fmt::format("{:04}/{:02}/{:02}, {:02}:{:02}:{:02}.{:03}", time.year,
                                      time.month, time.day, time.hour, time.minute, time.second,
                                      time.milliseconds);
               });
           });

Cycle<unsigned> Years() {
    Random random;
    return Cycle<unsigned>([&] { return static_cast<unsigned>(1981 + random() % 30000); });
}

const Row FarDays("GetDays far dates", {One()}, {"std::chrono"}, [](Run& run) {
    run.Ours([all = Years()]() mutable { return Vorn::GetDays(1980, 1, 1, all.Next(), 7, 15); });
    run.Peer([all = Years()]() mutable {
        using namespace std::chrono;
        const year_month_day first(year(1980), month(1), day(1));
        const year_month_day last(year(static_cast<int>(all.Next())), month(7), day(15));
        return static_cast<unsigned long>((sys_days(last) - sys_days(first)).count() + 1);
    });
});

const Curve DaysCurve("GetDays, by years", Decades(7), {}, [](Run& run) {
    run.Ours([&] { return Vorn::GetDays(1980, 1, 1, 1980 + run.Size(), 7, 15); });
});

bool IsNow(Vorn::Time time) {
    const std::time_t now = std::time(nullptr);
    return std::abs(time / 1000 - static_cast<Vorn::Time>(now)) < 60;
}

// In a zone without an offset, where ours is the time that others count, too.
const Row CurrentTime("GetCurTime", {One()}, {"clock_gettime and localtime_r"}, [](Run& run) {
    setenv("TZ", "UTC0", 1);
    tzset();
    Vorn::Time ours = 0;
    run.Ours([&] { return Vorn::GetCurTime(ours); }, [&] { return IsNow(ours); });

    timespec now{};
    std::tm fields{};
    run.Peer(
        [&] {
            clock_gettime(CLOCK_REALTIME, &now);
            return localtime_r(&now.tv_sec, &fields);
        },
        [&] { return IsNow(static_cast<Vorn::Time>(timegm(&fields)) * 1000); });
});

const Row CurrentFields("GetCurTime fields", {One()}, {"clock_gettime and gmtime_r"}, [](Run& run) {
    Vorn::SysTime ours{};
    run.Ours([&] { return Vorn::GetCurTime(ours); },
             [&] {
                 std::tm fields = Tm(ours);
                 return IsNow(static_cast<Vorn::Time>(timegm(&fields)) * 1000);
             });

    timespec now{};
    std::tm fields{};
    run.Peer(
        [&] {
            clock_gettime(CLOCK_REALTIME, &now);
            return gmtime_r(&now.tv_sec, &fields);
        },
        [&] { return IsNow(static_cast<Vorn::Time>(timegm(&fields)) * 1000); });
});

} // namespace

} // namespace Bench
