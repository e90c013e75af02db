// SPDX-License-Identifier: MIT
// Times: conversions, the system clock, days of clock changes, and date-time text.

#include <Bases/Time.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>
#include <string_view>

#include <sys/time.h>

#include <Bases/Impl/Port/Clock.h>

namespace Vorn {

namespace {

struct Moment {
    std::time_t seconds;
    suseconds_t milliseconds;
};

Moment Split(Time time) {
    const Time seconds = time / 1000;
    return {seconds, static_cast<suseconds_t>(time - seconds * 1000)};
}

// After a shift by the zone's offset the sum may exceed 64 bits.
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

// The year and the month are passed raw, not less 1900 and 1: programs rely on the resulting values
// (SysTimeToTime.TakesTheYearAndTheMonthRaw). Fields that a SysTime does not have, the
// daylight-saving flag among them, are 0.
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

bool ReadUtcAsLocal(std::time_t& seconds) {
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
    now = {clock.tv_sec, clock.tv_usec / 1000};
    return true;
}

bool IsChangeDay(const SysTime& date, const TimeZone& timeZone, const SysTime& rule) {
    if (timeZone.daylightBias == 0 || timeZone.daylightDate.month == 0 ||
        timeZone.standardDate.month == 0)
        return false;
    if (date.month != rule.month || date.dayOfWeek != rule.dayOfWeek)
        return false;

    const auto day = static_cast<unsigned long>(date.day);
    if (rule.day == LastOccurrence)
        return GetLastWeekOfMonth(static_cast<unsigned long>(date.year),
                                  static_cast<unsigned long>(date.month), day);
    // With the day's own weekday, not that of the first of the month: for weekdays other than
    // Sunday the count is shifted, and callers' rules allow for it
    // (DstDay.CountsAFirstMondayOnTheSeventhAsTheSecond).
    return GetWeekOfMonth(day, static_cast<unsigned long>(date.dayOfWeek)) ==
           static_cast<unsigned long>(rule.day);
}

constexpr std::array<bool, 256> LetterTable() {
    std::array<bool, 256> letters{};
    for (const char c : std::string_view("FHMSTYdfhmsty"))
        letters[static_cast<unsigned char>(c)] = true;
    return letters;
}

bool IsPatternLetter(char c) {
    static constexpr std::array<bool, 256> Letters = LetterTable();
    return Letters[static_cast<unsigned char>(c)];
}

// What a run of a letter stands for: a number, written with as many digits as there are letters,
// and the longest run that is a token.
struct NumberToken {
    int value;
    std::size_t longest;
};

NumberToken NumberOf(char letter, std::size_t length, const SysTime& sysTime) {
    switch (letter) {
    case 'y':
        return {length <= 2 ? sysTime.year / 100 : sysTime.year, 4};
    case 'M':
        return {sysTime.month, 2};
    case 'd':
        return {sysTime.day, 2};
    case 'h': // midnight stays 0: only hours above 12 are reduced
        return {sysTime.hour > 12 ? sysTime.hour - 12 : sysTime.hour, 2};
    case 'H':
        return {sysTime.hour, 2};
    case 'm':
        return {sysTime.minute, 2};
    case 's':
        return {sysTime.second, 2};
    case 'f':
    case 'F':
        return {sysTime.milliseconds / (length == 1 ? 100 : length == 2 ? 10 : 1), 3};
    default:
        return {0, 0};
    }
}

// What no number, with its sign, and no token is longer than.
constexpr std::size_t LongestToken = 6;

// The two digits of a value below 100.
void WritePair(unsigned value, char* out) {
    out[0] = static_cast<char>('0' + value / 10);
    out[1] = static_cast<char>('0' + value % 10);
}

// As printf does with a width that includes the sign, and zeros. Returns the end.
char* AddAnyNumber(int value, std::size_t width, char* out) {
    char digits[LongestToken];
    char* first = std::end(digits);
    for (int rest = std::abs(value); rest != 0; rest /= 10)
        *--first = static_cast<char>('0' + rest % 10);
    const std::size_t sign = value < 0 ? 1 : 0;
    while (sign + static_cast<std::size_t>(std::end(digits) - first) < width)
        *--first = '0';
    if (value < 0)
        *--first = '-';
    return std::copy(first, std::end(digits), out);
}

// The same; values that have no more digits than the token has letters, as all fields of a date
// have, take no loop.
char* AddNumber(int value, std::size_t width, char* out) {
    const auto number = static_cast<unsigned>(value); // negative ones are too large
    if (width == 2 && number < 100) {
        WritePair(number, out);
    } else if (width == 4 && number < 10000) {
        WritePair(number / 100, out);
        WritePair(number % 100, out + 2);
    } else if (width == 3 && number < 1000) {
        out[0] = static_cast<char>('0' + number / 100);
        WritePair(number % 100, out + 1);
    } else {
        return AddAnyNumber(value, width, out);
    }
    return out + width;
}

// Writes what a run of one letter stands for, or the run itself if it is no token. Returns the end.
char* AddRun(char letter, std::size_t length, const SysTime& sysTime, char* out) {
    if (letter == 't' && length <= 2)
        return std::copy_n(sysTime.hour < 12 ? "AM" : "PM", length, out);
    const NumberToken number = NumberOf(letter, length, sysTime);
    if (length > number.longest)
        return std::fill_n(out, length, letter);
    if (letter == 'F' && number.value == 0)
        return out;
    return AddNumber(number.value, length, out);
}

// All zeros for a time that cannot be converted.
SysTime GetUtcFields(const Time& time) {
    SysTime sysTime{};
    TimeToSysTime(time, sysTime);
    return sysTime;
}

SysTime GetLocalFields(const Time& time) {
    SysTime sysTime{};
    TimeToLocalSysTime(time, sysTime);
    return sysTime;
}

bool HasCapacity(const char* buffer, unsigned long size) { return buffer != nullptr && size != 0; }

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
    return ReadUtcAsLocal(moment.seconds) && Join(moment, time);
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
    return ReadClock(now) && ReadUtcAsLocal(now.seconds) && Join(now, time);
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
           SetClock(seconds, suseconds_t{1000} * sysTime.milliseconds);
}

bool SetCurLocalTime(const SysTime& sysTime) { return SetCurTime(sysTime); }

bool SetCurLocalTime(const Time& localTime) {
    const Moment moment = Split(localTime);
    // A million, not a thousand: the platform then refuses everything but whole seconds, and
    // callers rely on that (SetLocalClock.PassesAMillionMicrosecondsPerMillisecond).
    return SetClock(moment.seconds, moment.milliseconds * 1000000);
}

bool IsDstStartDay(const SysTime& sysTime, const TimeZone& timeZone) {
    return IsChangeDay(sysTime, timeZone, timeZone.daylightDate);
}

bool IsDstEndDay(const SysTime& sysTime, const TimeZone& timeZone) {
    return IsChangeDay(sysTime, timeZone, timeZone.standardDate);
}

bool IsDstStartDay(const Time& time, const TimeZone& timeZone) {
    return IsDstStartDay(GetUtcFields(time), timeZone);
}

bool IsDstEndDay(const Time& time, const TimeZone& timeZone) {
    return IsDstEndDay(GetUtcFields(time), timeZone);
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

bool GetDateTimeFormat(std::string& out, const std::string& pattern, const SysTime& sysTime) {
    out.clear();     // first, because the pattern may be the same string
    char piece[256]; // of the result, which grows by large pieces
    char* end = piece;
    const char* next = pattern.data();
    const char* const patternEnd = next + pattern.size();
    while (next != patternEnd) {
        if (std::end(piece) - end < static_cast<std::ptrdiff_t>(LongestToken)) {
            out.append(piece, end);
            end = piece;
        }
        if (!IsPatternLetter(*next)) {
            *end++ = *next++;
            continue;
        }
        const char* const run = next;
        while (next != patternEnd && *next == *run)
            ++next;
        const auto length = static_cast<std::size_t>(next - run);
        const bool isMixed = next != patternEnd && IsPatternLetter(*next); // which is no token
        if (!isMixed && length <= LongestToken) {
            end = AddRun(*run, length, sysTime, end);
        } else {
            next = std::find_if_not(next, patternEnd, IsPatternLetter);
            out.append(piece, end).append(run, next);
            end = piece;
        }
    }
    out.append(piece, end);
    return !out.empty();
}

bool GetDateTimeFormat(char* buffer, unsigned long size, const std::string& pattern,
                       const SysTime& sysTime) {
    if (!HasCapacity(buffer, size))
        return false;
    std::string text;
    if (!GetDateTimeFormat(text, pattern, sysTime) || text.size() >= size)
        return false;
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return true;
}

std::string GetDateTimeFormat(const std::string& pattern, const SysTime& sysTime) {
    std::string out;
    GetDateTimeFormat(out, pattern, sysTime);
    return out;
}

bool GetDateTimeFormat(std::string& out, const std::string& pattern, const Time& time) {
    return GetDateTimeFormat(out, pattern, GetLocalFields(time));
}

// UTC, unlike the forms that fill a string; both have callers that rely on it
// (DateTimeFormatOfATime.IsLocalInAStringAndUtcInABuffer).
bool GetDateTimeFormat(char* buffer, unsigned long size, const std::string& pattern,
                       const Time& time) {
    return HasCapacity(buffer, size) &&
           GetDateTimeFormat(buffer, size, pattern, GetUtcFields(time));
}

std::string GetDateTimeFormat(const std::string& pattern, const Time& time) {
    return GetDateTimeFormat(pattern, GetLocalFields(time));
}

bool GetLocalDateTimeFormat(std::string& out, const std::string& pattern, const Time& time) {
    return GetDateTimeFormat(out, pattern, GetLocalFields(time));
}

bool GetLocalDateTimeFormat(char* buffer, unsigned long size, const std::string& pattern,
                            const Time& time) {
    return HasCapacity(buffer, size) &&
           GetDateTimeFormat(buffer, size, pattern, GetLocalFields(time));
}

std::string GetLocalDateTimeFormat(const std::string& pattern, const Time& time) {
    return GetDateTimeFormat(pattern, GetLocalFields(time));
}

} // namespace Vorn
