// SPDX-License-Identifier: MIT
// Calendar, clocks, zones, date-time text; processes and the program's directory. The clock is
// never set: the platform of the tests only judges what it is to be set to.
#include <array>
#include <cstring>
#include <string>

#include <Bases/Bases.h>
#include <Bases/Time.h>

#include "sweep/Sweep.h"

namespace VornTest::Sweep {

namespace {

using Vorn::SysTime;

constexpr Vorn::Time Day = 86400000;
constexpr Vorn::Time Moment = 20000 * Day;
constexpr SysTime Date{124, 2, 0, 5, 7, 8, 9, 45, 77};

bool IsSame(const SysTime& left, const SysTime& right) {
    return std::memcmp(&left, &right, sizeof left) == 0;
}

void CountsDays(Trial& trial) {
    trial.Require(trial.Try([] { return Vorn::GetDays(2024, 1, 1, 2024, 2, 29); }) == 60,
                  "counts days");
}

void ReadsTheClock(Trial& trial) {
    for (const auto read : {static_cast<bool (*)(Vorn::Time&)>(Vorn::GetCurLocalTime),
                            static_cast<bool (*)(Vorn::Time&)>(Vorn::GetCurTime)}) {
        Vorn::Time now = 77;
        const bool known = trial.Works([&] { return read(now); });
        trial.Require((now != 77) == known, "tells the time exactly when it says so");
    }
    for (const auto read : {static_cast<bool (*)(SysTime&)>(Vorn::GetCurLocalTime),
                            static_cast<bool (*)(SysTime&)>(Vorn::GetCurTime)}) {
        SysTime now = Date;
        const bool known = trial.Works([&] { return read(now); });
        trial.Require(!IsSame(now, Date) == known, "tells the time exactly when it says so");
    }
    const bool isRead = trial.Works([] { return Vorn::GetCurLocalTime() != 0; });
    const bool isShifted = trial.Works([] { return Vorn::GetCurTime() != 0; });
    trial.Require((isRead && isShifted) || trial.MetFault(), "is 0 when it is not known");
}

void ReadsTheCounters(Trial& trial) {
    for (const auto read : {Vorn::timer_ms, Vorn::timer_us, Vorn::timer_ns})
        trial.Works([&] { return read() != 0; });
}

void ConvertsTimes(Trial& trial) {
    Vorn::Time time = 77;
    bool done = trial.Works([&] { return Vorn::SysTimeToTime(Date, time); });
    trial.Require((time != 77) == done, "converts a record exactly when it says so");
    for (const auto convert : {Vorn::TimeToLocalTime, Vorn::LocalTimeToTime}) {
        time = 77;
        done = trial.Works([&] { return convert(Moment, time); });
        trial.Require((time != 77) == done, "shifts a time exactly when it says so");
    }
    using Convert = bool (*)(const Vorn::Time&, SysTime&);
    for (const auto convert : {static_cast<Convert>(Vorn::TimeToSysTime),
                               static_cast<Convert>(Vorn::TimeToLocalSysTime)}) {
        SysTime fields = Date;
        done = trial.Works([&] { return convert(Moment, fields); });
        trial.Require(!IsSame(fields, Date) == done, "converts a time exactly when it says so");
    }
}

// The seconds that the clock was to be set to; -1 if it was not.
void SetsTheClock(Trial& trial) {
    long long seconds = -1;
    Platform::settimeofday.Do([&seconds](const timeval* now, const void*) {
        seconds = now->tv_sec;
        return 0;
    });
    bool set = trial.Works([] { return Vorn::SetCurTime(Moment); });
    trial.Require((seconds == Moment / 1000) == set, "sets the clock exactly when it says so");
    seconds = -1;
    set = trial.Works([] { return Vorn::SetCurLocalTime(Moment); });
    trial.Require((seconds == Moment / 1000) == set, "sets the clock exactly when it says so");
    seconds = -1;
    set = trial.Works([] { return Vorn::SetCurTime(Date); });
    trial.Require((seconds != -1) == set, "sets the clock exactly when it says so");
}

void PrintsADate(Trial& trial) {
    const std::string pattern = "yyyy-MM-dd HH:mm:ss.fff, which is at 'x'";
    std::string text;
    const bool printed =
        trial.WorksOrThrows([&] { return Vorn::GetDateTimeFormat(text, pattern, Date); });
    trial.Require(!printed || text.substr(0, 23) == "0124-02-05 07:08:09.045", "prints all");
    std::array<char, 100> buffer{"old"};
    const bool fits = trial.WorksOrThrows(
        [&] { return Vorn::GetDateTimeFormat(buffer.data(), buffer.size(), pattern, Date); });
    trial.Require((std::strcmp(buffer.data(), "old") != 0) == fits,
                  "fills the buffer exactly when it says so");
}

// A time that cannot be converted is printed as zeros.
void PrintsATime(Trial& trial) {
    const std::string pattern = "yyyy-MM";
    std::string text;
    trial.Works([&] { return Vorn::GetLocalDateTimeFormat(text, pattern, Moment); });
    trial.Require(text == (Trial::HasFailed(Platform::localtime_r) ? "0000-00" : "2024-10"),
                  "prints the time, or zeros");
}

void KnowsProcesses(Trial& trial) {
    const unsigned int process = trial.Try([] { return Vorn::GetProcessId(); });
    const int exists = trial.Try([&] { return Vorn::IsExistProcess(process); });
    trial.Require(exists == 1 || Trial::HasFailed(Platform::kill), "knows that it is there");
}

void KnowsItsDirectory(Trial& trial) {
    std::array<char, 4096> buffer{"old"};
    const int known = trial.Try([&] { return Vorn::GetModulePath(buffer.data(), buffer.size()); });
    trial.Require(known == 1 || Trial::HasFailed(Platform::readlink), "knows it");
    trial.Require((std::strcmp(buffer.data(), "old") != 0) == (known == 1),
                  "fills the buffer exactly when it says so");
    std::string path = "old";
    trial.TryOrThrow([&] { Vorn::GetModuleDir(path); });
    trial.Require(trial.HasThrown() || path.starts_with("/") ||
                      (path.empty() && Trial::HasFailed(Platform::readlink)),
                  "is empty when it is not known");
}

const Scenarios g_scenarios{
    {"DaysAreCounted", CountsDays},
    {"ClockIsRead", ReadsTheClock},
    {"CountersAreRead", ReadsTheCounters},
    {"TimesAreConverted", ConvertsTimes},
    {"ClockIsSet", SetsTheClock},
    {"DateIsPrinted", PrintsADate},
    {"TimeIsPrinted", PrintsATime},
    {"ProcessesAreKnown", KnowsProcesses},
    {"DirectoryOfTheProgramIsKnown", KnowsItsDirectory},
};

} // namespace

} // namespace VornTest::Sweep
