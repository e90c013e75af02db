// SPDX-License-Identifier: MIT
#include "Describe.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

#include <Bases/Text.h>

namespace Manifest {

namespace {

constexpr std::array<const char*, 7> Units{" B", " KiB", " MiB", " GiB", " TiB", " PiB", " EiB"};

// The library's own formatting of a double has six decimals, with a separator among them.
std::string WithOneDecimal(double value) {
    std::array<char, 32> text{};
    char* const end = text.data() + text.size();
    return {text.data(), std::to_chars(text.data(), end, value, std::chars_format::fixed, 1).ptr};
}

using ToFields = bool (*)(const Vorn::Time&, Vorn::SysTime&);

// The seconds are rounded down, so that the milliseconds are not negative before 1970. Date and
// time of day are formatted separately: "ddTHH" is no field of a pattern.
std::string DescribeTime(Vorn::Time time, ToFields toFields) {
    const Vorn::Time milliseconds = (time % 1000 + 1000) % 1000;
    Vorn::SysTime fields{};
    if (!toFields(time - milliseconds, fields))
        return "";
    fields.milliseconds = static_cast<short>(milliseconds);
    return Vorn::GetDateTimeFormat("yyyy-MM-dd", fields) + "T" +
           Vorn::GetDateTimeFormat("HH:mm:ss.fff", fields);
}

// A colon and two digits.
std::string NextField(unsigned long long number) {
    return {':', static_cast<char>('0' + number / 10), static_cast<char>('0' + number % 10)};
}

} // namespace

const char* NameOf(Kind kind) {
    switch (kind) {
    case Kind::File:
        return "file";
    case Kind::Directory:
        return "directory";
    case Kind::Link:
        return "link";
    case Kind::Fifo:
        return "fifo";
    case Kind::Socket:
        return "socket";
    case Kind::Device:
        break;
    }
    return "device";
}

std::string DescribeSize(unsigned long long bytes) {
    constexpr unsigned long long Most = std::numeric_limits<long long>::max();
    double scaled = 0;
    auto unit = static_cast<std::size_t>(
        Vorn::GetSizeUnit(static_cast<long long>(std::min(bytes, Most)), scaled));
    if (unit == 0)
        return std::to_string(bytes) + Units[0];
    if (scaled >= 1023.95 && unit + 1 < Units.size()) { // one decimal would make it 1024.0
        scaled /= 1024;
        ++unit;
    }
    return WithOneDecimal(scaled) + Units[unit];
}

std::string DescribeUtcTime(Vorn::Time time) { return DescribeTime(time, Vorn::TimeToSysTime); }

std::string DescribeLocalTime(Vorn::Time time) {
    return DescribeTime(time, Vorn::TimeToLocalSysTime);
}

std::string DescribeMode(mode_t mode) {
    std::string text = "0000";
    for (std::size_t i = text.size(); i-- > 0; mode >>= 3U)
        text[i] = static_cast<char>('0' + (mode & 7U));
    return text;
}

std::string DescribeDuration(unsigned long long seconds) {
    const unsigned long long hours = seconds / 3600;
    const unsigned long long minutes = seconds / 60 % 60;
    std::string text = hours == 0 ? std::to_string(minutes) : std::to_string(hours);
    if (hours > 0)
        text += NextField(minutes);
    return text + NextField(seconds % 60);
}

} // namespace Manifest
