// SPDX-License-Identifier: MIT
// Date-time text, against the table of tokens.

#include <cstdio>
#include <cstring>
#include <string>

#include <Bases/Time.h>

#include "support/Fuzz.h"

namespace {

using Vorn::SysTime;

struct Token {
    const char* name;
    const char* format;
    int value;
    bool isPrinted = true;
};

std::string Formatted(const char* format, int value) {
    char text[64];
// The format is the one that is stated.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::snprintf(text, sizeof text, format, value);
#pragma GCC diagnostic pop
    return text;
}

std::string OfToken(const std::string& name, const SysTime& st) {
    const int ms = st.milliseconds;
    const int hour = st.hour > 12 ? st.hour - 12 : st.hour;
    const Token tokens[] = {
        {"y", "%d", st.year / 100},
        {"yy", "%02d", st.year / 100},
        {"yyy", "%03d", st.year},
        {"yyyy", "%04d", st.year},
        {"M", "%d", st.month},
        {"MM", "%02d", st.month},
        {"d", "%d", st.day},
        {"dd", "%02d", st.day},
        {"h", "%d", hour},
        {"hh", "%02d", hour},
        {"H", "%d", st.hour},
        {"HH", "%02d", st.hour},
        {"m", "%d", st.minute},
        {"mm", "%02d", st.minute},
        {"s", "%d", st.second},
        {"ss", "%02d", st.second},
        {"f", "%d", ms / 100},
        {"ff", "%02d", ms / 10},
        {"fff", "%03d", ms},
        {"F", "%d", ms / 100, ms / 100 != 0},
        {"FF", "%02d", ms / 10, ms / 10 != 0},
        {"FFF", "%03d", ms, ms != 0},
    };
    for (const Token& token : tokens)
        if (name == token.name)
            return token.isPrinted ? Formatted(token.format, token.value) : "";
    if (name == "t" || name == "tt")
        return std::string(st.hour < 12 ? "AM" : "PM").substr(0, name.size());
    return name;
}

std::string Text(const std::string& pattern, const SysTime& st) {
    std::string text;
    std::string token;
    for (const char c : pattern) {
        if (c != '\0' && std::strchr("FHMSTYdfhmsty", c) != nullptr) {
            token += c;
            continue;
        }
        text += OfToken(token, st) + c;
        token.clear();
    }
    return text + OfToken(token, st);
}

void TryRecord(const std::string& pattern, const SysTime& st, std::size_t size) {
    const std::string expected = Text(pattern, st);
    std::string text = "what was there before";
    VornFuzz::Check(Vorn::GetDateTimeFormat(text, pattern, st) == !expected.empty(),
                    "GetDateTimeFormat");
    VornFuzz::Check(text == expected, "its text");
    VornFuzz::Check(Vorn::GetDateTimeFormat(pattern, st) == expected, "the text that it returns");

    std::string buffer(size + 1, '~');
    const bool fits = !expected.empty() && expected.size() < size;
    VornFuzz::Check(Vorn::GetDateTimeFormat(buffer.data(), size, pattern, st) == fits,
                    "GetDateTimeFormat with a buffer");
    VornFuzz::Check(buffer.substr(0, fits ? expected.size() + 1 : 1) ==
                        (fits ? expected + '\0' : "~"),
                    "its buffer");
}

void TryTime(const std::string& pattern, Vorn::Time time) {
    SysTime utc{};
    SysTime local{};
    Vorn::TimeToSysTime(time, utc);
    Vorn::TimeToLocalSysTime(time, local);
    VornFuzz::Check(Vorn::GetDateTimeFormat(pattern, time) == Text(pattern, local), "of a time");
    VornFuzz::Check(Vorn::GetLocalDateTimeFormat(pattern, time) == Text(pattern, local),
                    "GetLocalDateTimeFormat");
    std::string buffer(4096, '\0');
    const std::string expected = Text(pattern, utc);
    if (Vorn::GetDateTimeFormat(buffer.data(), buffer.size(), pattern, time))
        VornFuzz::Check(buffer.compare(0, expected.size() + 1, expected + '\0') == 0,
                        "of a time with a buffer");
}

} // namespace

void VornFuzz::Try(Input& input) {
    SysTime st{};
    for (short* const pField : {&st.year, &st.month, &st.dayOfWeek, &st.day, &st.hour, &st.minute,
                                &st.second, &st.milliseconds})
        *pField = input.Number<short>();
    const std::size_t size = input.Below(64);
    const int shift = static_cast<int>(input.Below(64));
    const Vorn::Time time = input.Number<Vorn::Time>() >> shift;
    const std::string pattern = input.Rest();
    TryRecord(pattern, st, size);
    TryTime(pattern, time);
}
