#include <Bases/Time.h>

#include <ctime>

#include <sys/time.h>

namespace Vorn {

namespace {

struct Moment {
    std::time_t seconds;
    long milliseconds;
};

Moment Split(Time time) {
    const Time seconds = time / 1000;
    return {seconds, static_cast<long>(time - seconds * 1000)};
}

// The sum can leave 64 bits after a shift by the zone's offset.
bool Join(const Moment& moment, Time& time) {
    Time sum = 0;
    if (__builtin_mul_overflow(moment.seconds, 1000, &sum) ||
        __builtin_add_overflow(sum, moment.milliseconds, &sum))
        return false;
    time = sum;
    return true;
}

void SysTimeFromTm(const std::tm& tm, long milliseconds, SysTime& sysTime) {
    sysTime.year = static_cast<short>(tm.tm_year + 1900L);
    sysTime.month = static_cast<short>(tm.tm_mon + 1);
    sysTime.dayOfWeek = static_cast<short>(tm.tm_wday);
    sysTime.day = static_cast<short>(tm.tm_mday);
    sysTime.hour = static_cast<short>(tm.tm_hour);
    sysTime.minute = static_cast<short>(tm.tm_min);
    sysTime.second = static_cast<short>(tm.tm_sec);
    sysTime.milliseconds = static_cast<short>(milliseconds);
    sysTime.reserved = -1;
}

// The year and the month go over raw, without taking off 1900 and 1: programs rely on the values
// that come out (pinned by SysTimeToTime.TakesTheYearAndTheMonthRaw). Fields that a SysTime does not
// have, the daylight-saving flag among them, are 0.
void TmFromSysTime(const SysTime& sysTime, std::tm& tm) {
    tm = {};
    tm.tm_year = sysTime.year;
    tm.tm_mon = sysTime.month;
    tm.tm_wday = sysTime.dayOfWeek;
    tm.tm_mday = sysTime.day;
    tm.tm_hour = sysTime.hour;
    tm.tm_min = sysTime.minute;
    tm.tm_sec = sysTime.second;
}

bool ReadAsLocal(std::tm& tm, std::time_t& seconds) {
    const std::time_t result = std::mktime(&tm);
    if (result < 0)
        return false;
    seconds = result;
    return true;
}

bool ReadAsLocal(const SysTime& sysTime, std::time_t& seconds) {
    std::tm tm;
    TmFromSysTime(sysTime, tm);
    return ReadAsLocal(tm, seconds);
}

bool ReadUniversalAsLocal(std::time_t& seconds) {
    std::tm tm;
    return gmtime_r(&seconds, &tm) != nullptr && ReadAsLocal(tm, seconds);
}

bool ReadLocalAsLocal(std::time_t& seconds) {
    std::tm tm;
    return localtime_r(&seconds, &tm) != nullptr && ReadAsLocal(tm, seconds);
}

bool ReadClock(Moment& now) {
    timeval clock;
    if (gettimeofday(&clock, nullptr) < 0)
        return false;
    now = {clock.tv_sec, static_cast<long>(clock.tv_usec / 1000)};
    return true;
}

bool SetClock(std::time_t seconds, long microseconds) {
    timeval clock;
    clock.tv_sec = seconds;
    clock.tv_usec = static_cast<suseconds_t>(microseconds);
    return settimeofday(&clock, nullptr) >= 0;
}

bool IsChangeDay(const SysTime& date, const TimeZone& timeZone, const SysTime& rule) {
    if (timeZone.daylightBias == 0 || timeZone.daylightDate.month == 0 ||
        timeZone.standardDate.month == 0)
        return false;
    if (date.month != rule.month || date.dayOfWeek != rule.dayOfWeek)
        return false;

    const auto day = static_cast<unsigned long>(date.day);
    if (rule.day == 5)
        return GetLastWeekOfMonth(static_cast<unsigned long>(date.year),
                                  static_cast<unsigned long>(date.month), day);
    // By the day's own weekday, not that of the first of the month: for weekdays other than Sunday
    // the count is shifted, and the rules of existing zone records are written for it.
    return GetWeekOfMonth(day, static_cast<unsigned long>(date.dayOfWeek)) ==
           static_cast<unsigned long>(rule.day);
}

} // namespace

bool SysTimeToTime(const SysTime& sysTime, Time& time) {
    std::time_t seconds = 0;
    return ReadAsLocal(sysTime, seconds) && Join({seconds, sysTime.milliseconds}, time);
}

bool LocalSysTimeToTime(const SysTime& sysTime, Time& time) { return SysTimeToTime(sysTime, time); }

bool TimeToSysTime(const Time& time, SysTime& sysTime) {
    const Moment moment = Split(time);
    std::tm tm;
    if (gmtime_r(&moment.seconds, &tm) == nullptr)
        return false;
    SysTimeFromTm(tm, moment.milliseconds, sysTime);
    return true;
}

bool TimeToLocalSysTime(const Time& time, SysTime& sysTime) {
    const Moment moment = Split(time);
    std::tm tm;
    if (localtime_r(&moment.seconds, &tm) == nullptr)
        return false;
    SysTimeFromTm(tm, moment.milliseconds, sysTime);
    return true;
}

bool TimeToLocalTime(const Time& time, Time& localTime) {
    Moment moment = Split(time);
    return ReadLocalAsLocal(moment.seconds) && Join(moment, localTime);
}

bool LocalTimeToTime(const Time& localTime, Time& time) {
    Moment moment = Split(localTime);
    return ReadUniversalAsLocal(moment.seconds) && Join(moment, time);
}

bool GetCurLocalTime(Time& localTime) {
    Moment now{};
    return ReadClock(now) && Join(now, localTime);
}

Time GetCurLocalTime() {
    Time localTime = 0;
    GetCurLocalTime(localTime);
    return localTime;
}

bool GetCurTime(Time& time) {
    Moment now{};
    return ReadClock(now) && ReadUniversalAsLocal(now.seconds) && Join(now, time);
}

Time GetCurTime() {
    Time time = 0;
    GetCurTime(time);
    return time;
}

bool GetCurLocalTime(SysTime& sysTime) {
    Moment now{};
    std::tm tm;
    if (!ReadClock(now) || gmtime_r(&now.seconds, &tm) == nullptr)
        return false;
    SysTimeFromTm(tm, now.milliseconds, sysTime);
    return true;
}

bool GetCurTime(SysTime& sysTime) { return GetCurLocalTime(sysTime); }

bool SetCurTime(const Time& time) {
    Moment moment = Split(time);
    return ReadLocalAsLocal(moment.seconds) && SetClock(moment.seconds, moment.milliseconds * 1000);
}

bool SetCurTime(const SysTime& sysTime) {
    std::time_t seconds = 0;
    return ReadAsLocal(sysTime, seconds) && ReadLocalAsLocal(seconds) &&
           SetClock(seconds, sysTime.milliseconds * 1000L);
}

bool SetCurLocalTime(const SysTime& sysTime) { return SetCurTime(sysTime); }

bool SetCurLocalTime(const Time& localTime) {
    const Moment moment = Split(localTime);
    // A million, not a thousand: the platform refuses any value that is not a whole second, and
    // callers count on that refusal (SetLocalClock.HandsOverAMillionMicrosecondsPerMillisecond).
    return SetClock(moment.seconds, moment.milliseconds * 1000000);
}

bool IsDstStartDay(const SysTime& sysTime, const TimeZone& timeZone) {
    return IsChangeDay(sysTime, timeZone, timeZone.daylightDate);
}

bool IsDstEndDay(const SysTime& sysTime, const TimeZone& timeZone) {
    return IsChangeDay(sysTime, timeZone, timeZone.standardDate);
}

bool IsDstStartDay(const Time& time, const TimeZone& timeZone) {
    SysTime sysTime{};
    TimeToSysTime(time, sysTime);
    return IsDstStartDay(sysTime, timeZone);
}

bool IsDstEndDay(const Time& time, const TimeZone& timeZone) {
    SysTime sysTime{};
    TimeToSysTime(time, sysTime);
    return IsDstEndDay(sysTime, timeZone);
}

bool GetTimeZoneList(std::deque<TimeZone*>&) { return false; }

bool GetTimeZoneDisplayList(std::deque<TimeZoneDisplay*>&) { return false; }

void ClearTimeZoneList(std::deque<TimeZone*>&) {}

void ClearTimeZoneDisplayList(std::deque<TimeZoneDisplay*>&) {}

bool GetTimeZone(TimeZone&) { return false; }

bool SetTimeZone(const TimeZone&) { return false; }

bool AdjustTimeZone(Time&, const Time&, const TimeZone&) { return false; }

bool AdjustTimeZone(Time&, const SysTime&, const TimeZone&) { return false; }

bool AdjustTimeZone(SysTime&, const Time&, const TimeZone&) { return false; }

bool AdjustTimeZone(SysTime&, const SysTime&, const TimeZone&) { return false; }

bool TimeToSysTime(const Time&, SysTime&, const TimeZone&) { return false; }

bool SysTimeToTime(const SysTime&, Time&, const TimeZone&) { return false; }

} // namespace Vorn
