// SPDX-License-Identifier: MIT
// Date and time as text by a pattern.

#include <Bases/Time.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <initializer_list>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fault/Platform.h"
#include "support/Zone.h"

namespace {

namespace Platform = VornTest::Platform;

using Vorn::SysTime;
using Vorn::Time;

constexpr unsigned Seed = 20240305;
const std::string PatternLetters = "FHMSTYdfhmsty";

const SysTime Morning{2024, 3, 2, 5, 7, 8, 9, 45, -1};
const SysTime Evening{1987, 11, 3, 25, 19, 38, 49, 678, -1};

// --- The grammar once more, written from its description and without the library's parts ---------

std::string Digits(int value, std::size_t width) {
    std::string digits = std::to_string(value < 0 ? -value : value);
    const std::string sign = value < 0 ? "-" : "";
    while (sign.size() + digits.size() < width)
        digits.insert(0, 1, '0');
    return sign + digits;
}

std::string DigitsUnlessZero(int value, std::size_t width) {
    return value == 0 ? "" : Digits(value, width);
}

std::map<std::string, std::string> OracleTokens(const SysTime& t) {
    const int half = t.hour - (t.hour >= 13 ? 12 : 0);
    const std::string noon = t.hour >= 12 ? "P" : "A";
    return {{"y", Digits(t.year / 100, 1)},
            {"yy", Digits(t.year / 100, 2)},
            {"yyy", Digits(t.year, 3)},
            {"yyyy", Digits(t.year, 4)},
            {"M", Digits(t.month, 1)},
            {"MM", Digits(t.month, 2)},
            {"d", Digits(t.day, 1)},
            {"dd", Digits(t.day, 2)},
            {"h", Digits(half, 1)},
            {"hh", Digits(half, 2)},
            {"H", Digits(t.hour, 1)},
            {"HH", Digits(t.hour, 2)},
            {"m", Digits(t.minute, 1)},
            {"mm", Digits(t.minute, 2)},
            {"s", Digits(t.second, 1)},
            {"ss", Digits(t.second, 2)},
            {"f", Digits(t.milliseconds / 100, 1)},
            {"ff", Digits(t.milliseconds / 10, 2)},
            {"fff", Digits(t.milliseconds, 3)},
            {"F", DigitsUnlessZero(t.milliseconds / 100, 1)},
            {"FF", DigitsUnlessZero(t.milliseconds / 10, 2)},
            {"FFF", DigitsUnlessZero(t.milliseconds, 3)},
            {"t", noon},
            {"tt", noon + "M"}};
}

std::string OracleFormat(const std::string& pattern, const SysTime& sysTime) {
    const std::map<std::string, std::string> tokens = OracleTokens(sysTime);
    std::string out;
    std::size_t position = 0;
    while (position < pattern.size()) {
        const std::size_t token =
            std::min(pattern.find_first_of(PatternLetters, position), pattern.size());
        out.append(pattern, position, token - position);
        position = std::min(pattern.find_first_not_of(PatternLetters, token), pattern.size());
        const std::string run = pattern.substr(token, position - token);
        const auto found = tokens.find(run);
        out += found == tokens.end() ? run : found->second;
    }
    return out;
}

// -------------------------------------------------------------------------------------------------

std::string Format(const std::string& pattern, const SysTime& sysTime) {
    return Vorn::GetDateTimeFormat(pattern, sysTime);
}

class TimeFormatTest : public testing::Test {
protected:
    TimeFormatTest() { VornTest::CurrentZone(); }
};

// Concerns: each token's field, width and sign at every value it can have, and the particulars: the
// century, the half day's hours, the fractions that vanish.

using DateTimeToken = TimeFormatTest;

TEST_F(DateTimeToken, PrintsItsField) {
    const std::vector<std::vector<std::string>> rows = {
        {"y", "20", "19"},        {"yy", "20", "19"}, {"yyy", "2024", "1987"},
        {"yyyy", "2024", "1987"}, {"M", "3", "11"},   {"MM", "03", "11"},
        {"d", "5", "25"},         {"dd", "05", "25"}, {"h", "7", "7"},
        {"hh", "07", "07"},       {"H", "7", "19"},   {"HH", "07", "19"},
        {"m", "8", "38"},         {"mm", "08", "38"}, {"s", "9", "49"},
        {"ss", "09", "49"},       {"f", "0", "6"},    {"ff", "04", "67"},
        {"fff", "045", "678"},    {"F", "", "6"},     {"FF", "04", "67"},
        {"FFF", "045", "678"},    {"t", "A", "P"},    {"tt", "AM", "PM"}};
    for (const auto& row : rows) {
        EXPECT_EQ(row[1], Format(row[0], Morning)) << row[0];
        EXPECT_EQ(row[2], Format(row[0], Evening)) << row[0];
        EXPECT_EQ("<" + row[1] + ">", Format("<" + row[0] + ">", Morning));
        EXPECT_EQ(row[1] + ">", Format(row[0] + ">", Morning));
        EXPECT_EQ("<" + row[2], Format("<" + row[0], Evening));
    }
}

TEST_F(DateTimeToken, PrintsEveryHourOfTheDay) {
    SysTime sysTime = Morning;
    for (short hour = 0; hour < 24; ++hour) {
        sysTime.hour = hour;
        for (const auto& [token, text] : OracleTokens(sysTime))
            EXPECT_EQ(text, Format(token, sysTime)) << token << ' ' << hour;
    }
}

TEST_F(DateTimeToken, ReducesOnlyTheHoursAfterNoon) {
    SysTime sysTime = Morning;
    sysTime.minute = 30;
    const std::vector<std::pair<short, std::string>> hours = {
        {short{0}, "0:30 AM"},   {short{11}, "11:30 AM"}, {short{12}, "12:30 PM"},
        {short{13}, "1:30 PM"},  {short{23}, "11:30 PM"}, {short{24}, "12:30 PM"},
        {short{-1}, "-1:30 AM"}, {short{99}, "87:30 PM"}};
    for (const auto& [hour, text] : hours) {
        sysTime.hour = hour;
        EXPECT_EQ(text, Format("h:mm tt", sysTime));
    }
}

TEST_F(DateTimeToken, PrintsEveryMillisecond) {
    SysTime sysTime = Morning;
    for (short milliseconds = -999; milliseconds < 1000; ++milliseconds) {
        sysTime.milliseconds = milliseconds;
        for (const std::string token : {"f", "ff", "fff", "F", "FF", "FFF"})
            ASSERT_EQ(OracleTokens(sysTime)[token], Format(token, sysTime))
                << token << ' ' << milliseconds;
    }
}

TEST_F(DateTimeToken, LeavesOutAFractionOfZero) {
    SysTime sysTime = Morning;
    EXPECT_EQ("09.04", Format("ss.ff", sysTime));
    EXPECT_EQ("09.|04|045", Format("ss.F|FF|FFF", sysTime));
    sysTime.milliseconds = 0;
    EXPECT_EQ("09.", Format("ss.FFF", sysTime));
    EXPECT_EQ("0|00|000", Format("f|ff|fff", sysTime));
    // What counts is the number that would be printed, not the milliseconds.
    sysTime.milliseconds = 9;
    EXPECT_EQ("||009", Format("F|FF|FFF", sysTime));
    sysTime.milliseconds = 99;
    EXPECT_EQ("|09|099", Format("F|FF|FFF", sysTime));
}

TEST_F(DateTimeToken, PrintsValuesOutOfRangeAsTheyAre) {
    const SysTime low{-32768, -7, -7, -70, -700, -7000, -7, -32768, -7};
    EXPECT_EQ("-327|-327|-32768|-32768", Format("y|yy|yyy|yyyy", low));
    EXPECT_EQ("-7|-7|-70|-70", Format("M|MM|d|dd", low));
    EXPECT_EQ("-700|-700|-700|-700|A|AM", Format("H|HH|h|hh|t|tt", low));
    EXPECT_EQ("-7000|-7000|-7|-7", Format("m|mm|s|ss", low));
    EXPECT_EQ("-327|-3276|-32768", Format("f|FF|fff", low));
    const SysTime high{32767, 32767, 0, 32767, 32767, 32767, 32767, 32767, 0};
    EXPECT_EQ("327|32767|32767|32755", Format("yy|yyyy|MM|hh", high));
    const SysTime zero{};
    EXPECT_EQ("0|00|000|0000", Format("y|yy|yyy|yyyy", zero));
    const SysTime negative{-5, -5, 0, -5, -5, -5, -5, -5, 0};
    EXPECT_EQ("0|00|-05|-005", Format("y|yy|yyy|yyyy", negative));
    EXPECT_EQ("-5|-05|0|00", Format("MM|fff|f|ff", negative));
}

TEST_F(DateTimeToken, GetsLongerWhereItsNumberDoes) {
    const auto expectValues = [](int first, int last) {
        for (int value = first; value <= last; ++value) {
            SysTime sysTime{};
            sysTime.year = sysTime.minute = sysTime.milliseconds = static_cast<short>(value);
            const std::string expected = Digits(value, 4) + ' ' + Digits(value, 3) + ' ' +
                                         Digits(value, 2) + ' ' + Digits(value, 1) + ' ' +
                                         Digits(value, 3);
            ASSERT_EQ(expected, Format("yyyy yyy mm m fff", sysTime));
        }
    };
    expectValues(SHRT_MIN, SHRT_MIN + 10);
    expectValues(-10010, -9990);
    expectValues(-1010, 1010);
    expectValues(9990, 10010);
    expectValues(SHRT_MAX - 10, SHRT_MAX);
}

TEST_F(DateTimeToken, NeverPrintsTheWeekdayAndTheReservedField) {
    SysTime other = Morning;
    other.dayOfWeek = 77;
    other.reserved = 777;
    for (const auto& [token, text] : OracleTokens(Morning))
        EXPECT_EQ(Format(token, Morning), Format(token, other)) << token;
}

// Concerns: which characters are letters of the pattern, that a run is looked up whole, that every
// other run is copied, and random patterns against the grammar written once more.

using DateTimePattern = TimeFormatTest;

TEST_F(DateTimePattern, MixesFieldsAndText) {
    EXPECT_EQ("2024-03-05 07:08:09.045", Format("yyyy-MM-dd HH:mm:ss.fff", Morning));
    EXPECT_EQ("20/3/5", Format("yy/M/d", Morning));
}

TEST_F(DateTimePattern, CopiesARunThatIsNoToken) {
    for (const std::string run :
         {"yyyyMMdd", "MMM",  "ddd",   "yyyyy", "HHmm", "S",    "T",   "Y",   "SS",
          "TT",       "YYYY", "yyyyT", "Tyyyy", "ffff", "FFFF", "ttt", "hhh", "HHH",
          "mmm",      "sss",  "Ff",    "fF",    "Hh",   "Mm",   "mM",  "tT"})
        EXPECT_EQ(run, Format(run, Morning));
    EXPECT_EQ("yyyyMMddTHHmmss 08", Format("yyyyMMddTHHmmss mm", Morning));
}

TEST_F(DateTimePattern, CopiesEveryRunOfUpToFourLettersThatIsNoToken) {
    const std::map<std::string, std::string> tokens = OracleTokens(Evening);
    std::vector<std::string> runs = {""};
    std::size_t found = 0;
    for (std::size_t next = 0; next < runs.size(); ++next) {
        const std::string run = runs[next];
        const auto token = tokens.find(run);
        found += token != tokens.end() ? 1 : 0;
        ASSERT_EQ(token != tokens.end() ? token->second : run, Format(run, Evening)) << run;
        for (std::size_t i = 0; run.size() < 4 && i < PatternLetters.size(); ++i)
            runs.push_back(run + PatternLetters[i]);
    }
    EXPECT_EQ(1U + 13 + 169 + 2197 + 28561, runs.size());
    EXPECT_EQ(tokens.size(), found);
}

TEST_F(DateTimePattern, SeparatesAtEveryOtherCharacter) {
    for (int code = 0; code < 256; ++code) {
        const char c = static_cast<char>(code);
        const bool letter = PatternLetters.find(c) != std::string::npos;
        const std::string pattern = std::string("MM") + c + "dd";
        const std::string text = std::string("03") + c + "05";
        EXPECT_EQ(letter ? pattern : text, Format(pattern, Morning)) << code;
    }
}

TEST_F(DateTimePattern, TakesTheLettersOfWordsForFields) {
    EXPECT_EQ("Da20 5", Format("Day d", Morning));
    EXPECT_EQ("'9' \"7\" \\8", Format("'s' \"h\" \\m", Morning)); // no quoting, no escape
}

TEST_F(DateTimePattern, AgreesWithTheGrammarForRandomPatterns) {
    std::mt19937 random(Seed);
    std::uniform_int_distribution<short> anyShort(SHRT_MIN, SHRT_MAX);
    std::uniform_int_distribution<short> twoDigits(-3, 99);
    const std::string alphabet =
        PatternLetters + "yyMMddHHmmssffFFtt -:/.aDz\\'%\xC3\xA9" + std::string(1, '\0');
    for (int i = 0; i < 4000; ++i) {
        const bool wild = random() % 4 == 0;
        const auto field = [&] { return wild ? anyShort(random) : twoDigits(random); };
        const SysTime sysTime{anyShort(random), field(), field(),          field(), field(),
                              field(),          field(), anyShort(random), -1};
        std::string pattern;
        const std::size_t length = random() % 40;
        while (pattern.size() < length) {
            const char c = alphabet[random() % alphabet.size()];
            pattern.append(1 + random() % 4, c);
        }
        std::string out = "before";
        const std::string expected = OracleFormat(pattern, sysTime);
        ASSERT_EQ(!expected.empty(), Vorn::GetDateTimeFormat(out, pattern, sysTime));
        ASSERT_EQ(expected, out) << "pattern " << testing::PrintToString(pattern) << " number " << i
                                 << " seed " << Seed;
        ASSERT_EQ(expected, Vorn::GetDateTimeFormat(pattern, sysTime));
    }
}

TEST_F(DateTimePattern, MayBeVeryLong) {
    const std::string run(100000, 'y');
    EXPECT_EQ(run, Format(run, Morning));
    const std::string separators(100000, '-');
    EXPECT_EQ(separators + "05" + separators, Format(separators + "dd" + separators, Morning));
}

// Concerns: what replaces the output and when the result is false.

using DateTimeString = TimeFormatTest;

TEST_F(DateTimeString, ReplacesWhatWasThere) {
    std::string out = "a text from before";
    EXPECT_TRUE(Vorn::GetDateTimeFormat(out, "dd", Morning));
    EXPECT_EQ("05", out);
}

TEST_F(DateTimeString, IsEmptyAndFalseWithoutAnyText) {
    std::string out = "a text from before";
    EXPECT_FALSE(Vorn::GetDateTimeFormat(out, "", Morning));
    EXPECT_EQ("", out);
    out = "a text from before";
    EXPECT_FALSE(Vorn::GetDateTimeFormat(out, "F", Morning)); // 45 milliseconds, no tenth
    EXPECT_EQ("", out);
    EXPECT_EQ("", Vorn::GetDateTimeFormat("", Morning));
}

TEST_F(DateTimeString, MayBeThePatternAndIsThenEmptied) {
    std::string both = "yyyy-MM-dd and much more, so that it lives on the heap";
    EXPECT_FALSE(Vorn::GetDateTimeFormat(both, both, Morning));
    EXPECT_EQ("", both);
    both = "yyyy-MM-dd and much more, so that it lives on the heap";
    EXPECT_FALSE(Vorn::GetDateTimeFormat(both, both, Time{1500}));
    EXPECT_EQ("", both);
    both = "yyyy-MM-dd and much more, so that it lives on the heap";
    EXPECT_FALSE(Vorn::GetLocalDateTimeFormat(both, both, Time{1500}));
    EXPECT_EQ("", both);
}

// Concerns: the buffer's edge to the byte, the bytes after the text, and what leaves the buffer
// untouched.

using DateTimeBuffer = TimeFormatTest;

TEST_F(DateTimeBuffer, HoldsTheTextAndItsZero) {
    const std::string text = "2024-03-05";
    for (unsigned long size = 1; size <= text.size() + 3; ++size) {
        std::string buffer(20, '#');
        const bool fits = text.size() < size;
        EXPECT_EQ(fits, Vorn::GetDateTimeFormat(buffer.data(), size, "yyyy-MM-dd", Morning))
            << size;
        const std::string written = fits ? text + '\0' : "";
        EXPECT_EQ(written + std::string(20 - written.size(), '#'), buffer) << size;
    }
}

// The three forms that fill a buffer; returns how many of them succeed.
int FillByEveryForm(char* buffer, unsigned long size) {
    int filled = 0;
    filled += Vorn::GetDateTimeFormat(buffer, size, "dd", Morning) ? 1 : 0;
    filled += Vorn::GetDateTimeFormat(buffer, size, "dd", Time{0}) ? 1 : 0;
    filled += Vorn::GetLocalDateTimeFormat(buffer, size, "dd", Time{0}) ? 1 : 0;
    return filled;
}

TEST_F(DateTimeBuffer, FailsWhenItIsNullOrHoldsNothing) {
    char buffer[] = "####";
    EXPECT_EQ(0, FillByEveryForm(nullptr, 100));
    EXPECT_EQ(0, FillByEveryForm(nullptr, 0));
    EXPECT_EQ(0, FillByEveryForm(buffer, 0));
    EXPECT_STREQ("####", buffer);
}

TEST_F(DateTimeBuffer, IsCheckedBeforeAnythingIsConverted) {
    Platform::gmtime_r.Record();
    Platform::localtime_r.Record();
    char buffer[] = "####";
    EXPECT_EQ(0, FillByEveryForm(nullptr, 100));
    EXPECT_EQ(0, FillByEveryForm(nullptr, 0));
    EXPECT_EQ(0, FillByEveryForm(buffer, 0));
    EXPECT_THAT(Platform::Order(), testing::IsEmpty());
    // The counts do count.
    EXPECT_EQ(3, FillByEveryForm(buffer, sizeof buffer));
    EXPECT_EQ(2U, Platform::gmtime_r.Count() + Platform::localtime_r.Count());
}

TEST_F(DateTimeBuffer, StaysUntouchedWithoutAnyText) {
    char buffer[] = "####";
    EXPECT_FALSE(Vorn::GetDateTimeFormat(buffer, sizeof buffer, "", Morning));
    EXPECT_FALSE(Vorn::GetDateTimeFormat(buffer, sizeof buffer, "F", Morning));
    EXPECT_FALSE(Vorn::GetDateTimeFormat(buffer, sizeof buffer, "", Time{0}));
    EXPECT_FALSE(Vorn::GetLocalDateTimeFormat(buffer, sizeof buffer, "", Time{0}));
    EXPECT_STREQ("####", buffer);
}

TEST_F(DateTimeBuffer, CopiesZerosOfThePattern) {
    char buffer[8] = "#######";
    EXPECT_TRUE(Vorn::GetDateTimeFormat(buffer, sizeof buffer, std::string("d\0M", 3), Morning));
    EXPECT_EQ(0, std::memcmp("5\0003\0###", buffer, sizeof buffer));
}

// Concerns: which of the forms prints local time in every zone, and what they print for a time that
// cannot be converted.

using DateTimeFormatOfATime = TimeFormatTest;

const std::string FullPattern = "yyyy-MM-dd HH:mm:ss.fff";

std::string Universal(Time time) {
    SysTime sysTime{};
    EXPECT_TRUE(Vorn::TimeToSysTime(time, sysTime));
    return Format(FullPattern, sysTime);
}

std::string Local(Time time) {
    return Universal(time + VornTest::LocalOffset(time / 1000) * 1000LL);
}

struct Texts {
    std::string string;
    std::string buffer;
    std::string value;
    std::string localString;
    std::string localBuffer;
    std::string localValue;
};

Texts EveryForm(const std::string& pattern, Time time) {
    Texts texts;
    char buffer[100] = {};
    EXPECT_TRUE(Vorn::GetDateTimeFormat(texts.string, pattern, time));
    EXPECT_TRUE(Vorn::GetDateTimeFormat(buffer, sizeof buffer, pattern, time));
    texts.buffer = buffer;
    texts.value = Vorn::GetDateTimeFormat(pattern, time);
    EXPECT_TRUE(Vorn::GetLocalDateTimeFormat(texts.localString, pattern, time));
    EXPECT_TRUE(Vorn::GetLocalDateTimeFormat(buffer, sizeof buffer, pattern, time));
    texts.localBuffer = buffer;
    texts.localValue = Vorn::GetLocalDateTimeFormat(pattern, time);
    return texts;
}

TEST_F(DateTimeFormatOfATime, IsLocalInAStringAndUtcInABuffer) {
    for (const Time time : {1709622489045LL, 1719835199999LL, 31536000000LL, 4102444800000LL}) {
        const Texts texts = EveryForm(FullPattern, time);
        EXPECT_EQ(Local(time), texts.string);
        EXPECT_EQ(Universal(time), texts.buffer);
        EXPECT_EQ(Local(time), texts.value);
        EXPECT_EQ(Local(time), texts.localString);
        EXPECT_EQ(Local(time), texts.localBuffer);
        EXPECT_EQ(Local(time), texts.localValue);
    }
    char buffer[100] = {};
    EXPECT_TRUE(Vorn::GetDateTimeFormat(buffer, sizeof buffer, FullPattern, Time{1709622489045}));
    EXPECT_STREQ("2024-03-05 07:08:09.045", buffer);
}

TEST_F(DateTimeFormatOfATime, FollowsLocalTimeThroughAYear) {
    for (Time time = 1704067200000; time < 1735689600000; time += 7200000) {
        ASSERT_EQ(Local(time), Vorn::GetDateTimeFormat(FullPattern, time));
        ASSERT_EQ(Local(time), Vorn::GetLocalDateTimeFormat(FullPattern, time));
    }
}

TEST_F(DateTimeFormatOfATime, FillsBuffersToTheEdge) {
    for (unsigned long size = 1; size <= 8; ++size) {
        std::string buffer(10, '#');
        EXPECT_EQ(size > 5, Vorn::GetDateTimeFormat(buffer.data(), size, "mm:ss", Time{0})) << size;
        EXPECT_EQ(size > 5 ? std::string("00:00\0####", 10) : "##########", buffer);
        buffer.assign(10, '#');
        EXPECT_EQ(size > 5, Vorn::GetLocalDateTimeFormat(buffer.data(), size, "ss:ss", Time{0}));
        EXPECT_EQ(size > 5 ? std::string("00:00\0####", 10) : "##########", buffer);
    }
}

TEST_F(DateTimeFormatOfATime, PrintsZerosForATimeThatCannotBeConverted) {
    Platform::gmtime_r.Fail(EOVERFLOW);
    Platform::localtime_r.Fail(EOVERFLOW);
    const std::string zeros = "0000-00-00 00:00:00.000";
    const Texts texts = EveryForm(FullPattern, 1709622489045);
    EXPECT_EQ(zeros, texts.string);
    EXPECT_EQ(zeros, texts.buffer);
    EXPECT_EQ(zeros, texts.value);
    EXPECT_EQ(zeros, texts.localString);
    EXPECT_EQ(zeros, texts.localBuffer);
    EXPECT_EQ(zeros, texts.localValue);
}

} // namespace
