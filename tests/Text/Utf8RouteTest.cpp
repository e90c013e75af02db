// SPDX-License-Identifier: MIT
// Conversions of UTF-8 on every route, against the C library's.

#include <Bases/Impl/Route/Utf8Kernel.h>
#include <Bases/Impl/Utf8.h>
#include <Bases/Text.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cwchar>
#include <iterator>
#include <locale>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "support/ConversionSteps.h"
#include "support/GuardedBytes.h"
#include "support/Locale.h"
#include "support/RouteTest.h"
#include "support/Thorough.h"

// Concerns: on every route the conversions of UTF-8 give what the C library's functions and the
// locale's facet give, errors included, for texts of all kinds and lengths, whatever is wrong with
// them and wherever; nothing beside the texts is read, nothing beyond the capacity written. Plan:
// each route that the machine has, against mbstowcs and the facet, with texts and buffers that end
// at a page that may not be touched.

namespace {

using VornTest::Codecvt;
using VornTest::GuardedBytes;
using VornTest::MultibyteToWide;
using VornTest::Utf8Locale;
using VornTest::Utf8ToWide;
using VornTest::WideToMultibyte;

constexpr unsigned int Seed = 20261122;
constexpr std::size_t MostCharacters = 300; // more than any kernel takes at a time, several times
constexpr std::size_t LongText = 20000;     // more than the library converts at once

// What a conversion gave: a text or an exception, and what it left in errno.
template <typename Char>
struct Outcome {
    std::basic_string<Char> text;
    std::string exception;
    int error = 0;
    bool operator==(const Outcome& other) const = default;
};

template <typename Char, typename Conversion>
Outcome<Char> OutcomeOf(Conversion convert) {
    Outcome<Char> outcome;
    errno = 0;
    try {
        outcome.text = convert();
    } catch (const std::runtime_error& error) {
        outcome.exception = error.what();
    }
    outcome.error = errno;
    return outcome;
}

// --- Texts ---------------------------------------------------------------------------------------

enum class Kind { OneByte, TwoBytes, ThreeBytes, FourBytes, Runs, Mixture };

constexpr Kind AllKinds[] = {Kind::OneByte,   Kind::TwoBytes, Kind::ThreeBytes,
                             Kind::FourBytes, Kind::Runs,     Kind::Mixture};

class Utf8Route : public VornTest::RouteTestOf<VornTest::LocaleTest> {
protected:
    void SetUp() override {
        RouteTestOf::SetUp();
        SetCLocale(Utf8Locale);
    }

    unsigned Random(unsigned first, unsigned last) {
        return std::uniform_int_distribution<unsigned>(first, last)(m_random);
    }

    wchar_t RandomCharacter(Kind kind) {
        switch (kind) {
        case Kind::OneByte:
            return static_cast<wchar_t>(Random(1, 0x7F));
        case Kind::TwoBytes:
            return static_cast<wchar_t>(Random(0x80, 0x7FF));
        case Kind::ThreeBytes:
            return static_cast<wchar_t>(Random(0, 9) == 0 ? Random(0xE000, 0xFFFF)
                                                          : Random(0x800, 0xD7FF));
        default:
            return static_cast<wchar_t>(Random(0x10000, 0x10FFFF));
        }
    }

    std::wstring RandomText(Kind kind, std::size_t length) {
        std::wstring text;
        while (text.size() < length) {
            const Kind next = kind < Kind::Runs ? kind : AllKinds[Random(0, 3)];
            const unsigned run = kind == Kind::Runs ? Random(1, 70) : 1;
            for (unsigned i = 0; i < run && text.size() < length; ++i)
                text += RandomCharacter(next);
        }
        return text;
    }

    std::string RandomUtf8(Kind kind, std::size_t length) {
        return WideToMultibyte(RandomText(kind, length), m_facet);
    }

    void ExpectTheSame(const std::string& s) {
        ASSERT_EQ(OutcomeOf<wchar_t>([&] { return Utf8ToWide(s); }),
                  OutcomeOf<wchar_t>([&] { return Vorn::utf8_to_wcs(s); }));
        ASSERT_EQ(OutcomeOf<wchar_t>([&] { return MultibyteToWide(s, m_facet); }),
                  OutcomeOf<wchar_t>([&] { return Vorn::mbs_to_wcs(s, m_locale); }));
    }

    void ExpectTheSame(const std::wstring& w) {
        ASSERT_EQ(OutcomeOf<char>([&] { return WideToMultibyte(w, m_facet); }),
                  OutcomeOf<char>([&] { return Vorn::wcs_to_mbs(w, m_locale); }));
    }

    const std::locale m_locale{Utf8Locale};
    const Codecvt& m_facet = std::use_facet<Codecvt>(m_locale);

private:
    std::mt19937 m_random{Seed};
};

// What is not plain: no lead, no tail, too short or too long a form, surrogates, code points beyond
// the last one, which some codecs take, and zeros.
const std::string_view Odd[] = {
    {"\xFF"},
    {"\x80"},
    {"\xBF\xBF"},
    {"\xC2"},
    {"\xC1\xBF"},
    {"\xC3\xC3"},
    {"\xE0\x9F\xBF"},
    {"\xE2\x82"},
    {"\xED\xA0\x80"},
    {"\xED\xBF\xBF"},
    {"\xEF\xBF\xBF\xBF"},
    {"\xF0\x8F\xBF\xBF"},
    {"\xF0\x9F\x98"},
    {"\xF4\x90\x80\x80"},
    {"\xF5\x80\x80\x80"},
    {"\xF8\x88\x80\x80\x80"},
    {"\xFC\x84\x80\x80\x80\x80"},
    {"\xC3\0", 2},
    {"\0\xC3", 2},
    {"\0", 1},
};

constexpr unsigned int OddCharacters[] = {0,        0xD800,   0xDBFF,     0xDC00,     0xDFFF,
                                          0x110000, 0x200000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};

// The ends of what each form has.
constexpr unsigned int Bounds[] = {0x7F,   0x80,   0x7FF,   0x800,   0xD7FF,
                                   0xE000, 0xFFFF, 0x10000, 0x10FFFF};

// --- The conversions -----------------------------------------------------------------------------

TEST_P(Utf8Route, ConvertsTextsOfEveryKindAndLength) {
    for (const Kind kind : AllKinds)
        for (std::size_t length = 0; length <= MostCharacters; ++length) {
            const std::wstring text = RandomText(kind, length);
            ASSERT_NO_FATAL_FAILURE(ExpectTheSame(text)) << length;
            ASSERT_NO_FATAL_FAILURE(ExpectTheSame(WideToMultibyte(text, m_facet))) << length;
        }
}

TEST_P(Utf8Route, ConvertsLongTexts) {
    for (const Kind kind : AllKinds) {
        const std::wstring text = RandomText(kind, LongText);
        ASSERT_NO_FATAL_FAILURE(ExpectTheSame(text));
        ASSERT_NO_FATAL_FAILURE(ExpectTheSame(WideToMultibyte(text, m_facet)));
    }
}

TEST_P(Utf8Route, ConvertsTheFirstAndLastCharacterOfEveryForm) {
    for (const Kind kind : AllKinds)
        for (const unsigned int bound : Bounds) {
            std::wstring text = RandomText(kind, 150);
            for (std::size_t place = 0; place < text.size(); place += 1 + Random(0, 3))
                text[place] = static_cast<wchar_t>(bound);
            ASSERT_NO_FATAL_FAILURE(ExpectTheSame(text)) << bound;
            ASSERT_NO_FATAL_FAILURE(ExpectTheSame(WideToMultibyte(text, m_facet))) << bound;
        }
}

// Every bit of a code point alone, which a wrong mask may leave out or take for another.
TEST_P(Utf8Route, ConvertsRunsOfOneCharacter) {
    for (unsigned int bit = 1; bit <= 0x100000; bit *= 2)
        for (const unsigned int character : {bit, bit | 1, bit | 0x80, bit | 0x800}) {
            const std::wstring text(150, static_cast<wchar_t>(character));
            ASSERT_NO_FATAL_FAILURE(ExpectTheSame(text)) << character;
            ASSERT_NO_FATAL_FAILURE(ExpectTheSame(WideToMultibyte(text, m_facet))) << character;
        }
}

// The codecs and the kernels look at ranges of bytes only.
bool IsEndOfARange(int byte) {
    constexpr int Ends[] = {0x00, 0x01, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0,
                            0xC1, 0xC2, 0xDF, 0xE0, 0xE1, 0xEC, 0xED, 0xEE, 0xEF, 0xF0,
                            0xF1, 0xF3, 0xF4, 0xF5, 0xF7, 0xF8, 0xFB, 0xFC, 0xFD, 0xFF};
    return std::find(std::begin(Ends), std::end(Ends), byte) != std::end(Ends);
}

TEST_P(Utf8Route, TakesABadByteAtEveryPlaceAsTheCodecsDo) {
    for (const Kind kind : {Kind::ThreeBytes, Kind::Mixture}) {
        const std::string valid = RandomUtf8(kind, 75);
        for (std::size_t place = 0; place < valid.size(); ++place)
            for (int byte = 0; byte < 256; ++byte) {
                if (!VornTest::IsThorough && !IsEndOfARange(byte))
                    continue;
                std::string text = valid;
                text[place] = static_cast<char>(byte);
                ASSERT_NO_FATAL_FAILURE(ExpectTheSame(text)) << byte << " at " << place;
            }
    }
}

TEST_P(Utf8Route, TakesATextThatIsCutOffAnywhereAsTheCodecsDo) {
    for (const Kind kind : AllKinds) {
        const std::string valid = RandomUtf8(kind, MostCharacters / 2);
        for (std::size_t length = 0; length <= valid.size(); ++length)
            ASSERT_NO_FATAL_FAILURE(ExpectTheSame(valid.substr(0, length))) << length;
    }
}

TEST_P(Utf8Route, TakesOddBytesAnywhereAsTheCodecsDo) {
    for (const Kind kind : AllKinds)
        for (const std::string_view odd : Odd)
            for (int round = 0; round < 20; ++round) {
                std::string text = RandomUtf8(kind, MostCharacters);
                text.insert(Random(0, static_cast<unsigned>(text.size())), odd);
                ASSERT_NO_FATAL_FAILURE(ExpectTheSame(text)) << testing::PrintToString(odd);
            }
}

TEST_P(Utf8Route, TakesTailsWithoutLeadInAnyNumberAsTheCodecsDo) {
    for (const Kind kind : AllKinds)
        for (unsigned count = 1; count <= 70; ++count) {
            std::string text = RandomUtf8(kind, MostCharacters);
            text.insert(Random(0, static_cast<unsigned>(text.size())), count, '\x80');
            ASSERT_NO_FATAL_FAILURE(ExpectTheSame(text)) << count;
        }
}

// A zero is what is left of a character when nothing is moved into its lane.
TEST_P(Utf8Route, TakesTailsAfterAZeroAsTheCodecsDo) {
    for (const Kind kind : AllKinds)
        for (std::size_t place = 0; place < 16; ++place)
            for (std::size_t count = 1; count <= 16; ++count) {
                std::string text = RandomUtf8(kind, MostCharacters);
                text.insert(place, std::string(1, '\0') + std::string(count, '\x80'));
                ASSERT_NO_FATAL_FAILURE(ExpectTheSame(text)) << count << " at " << place;
            }
}

TEST_P(Utf8Route, TakesOddCharactersAnywhereAsTheCodecsDo) {
    for (const Kind kind : AllKinds)
        for (const unsigned int odd : OddCharacters)
            for (std::size_t place = 0; place < 150; ++place) {
                std::wstring text = RandomText(kind, 150);
                text[place] = static_cast<wchar_t>(odd);
                ASSERT_NO_FATAL_FAILURE(ExpectTheSame(text)) << odd << " at " << place;
            }
}

TEST_P(Utf8Route, TakesOddBytesInALongTextAsTheCodecsDo) {
    for (int round = 0; round < 100; ++round) {
        std::string text = RandomUtf8(AllKinds[Random(0, 5)], LongText);
        for (unsigned changes = Random(1, 3); changes > 0; --changes)
            text.insert(Random(0, static_cast<unsigned>(text.size())), Odd[Random(0, 19)]);
        ASSERT_NO_FATAL_FAILURE(ExpectTheSame(text)) << round;
    }
}

// --- What is touched -----------------------------------------------------------------------------

template <typename Char>
class Guarded {
public:
    explicit Guarded(std::size_t size) : m_bytes(size * sizeof(Char)), m_size(size) {}
    explicit Guarded(const std::basic_string<Char>& text) : Guarded(text.size()) {
        std::copy(text.begin(), text.end(), Data());
    }
    Char* Data() { return reinterpret_cast<Char*>(m_bytes.Data()); }
    std::basic_string_view<Char> View() { return {Data(), m_size}; }

private:
    GuardedBytes m_bytes;
    std::size_t m_size;
};

TEST_P(Utf8Route, ReadsNothingBehindTheText) {
    for (const Kind kind : AllKinds)
        for (std::size_t length = 0; length <= MostCharacters; ++length) {
            const std::wstring text = RandomText(kind, length);
            Guarded<wchar_t> wide(text);
            std::string utf8;
            ASSERT_EQ(length, Vorn::AppendWideAsUtf8(wide.View(), utf8));
            Guarded<char> guarded(utf8);
            std::wstring back;
            ASSERT_EQ(utf8.size(), Vorn::AppendUtf8AsWide(guarded.View(), back));
            ASSERT_EQ(text, back);
        }
}

TEST_P(Utf8Route, ReadsNothingBehindATextThatIsCutOff) {
    const std::string utf8 = RandomUtf8(Kind::Mixture, MostCharacters / 2);
    for (std::size_t length = 0; length < utf8.size(); ++length) {
        std::size_t whole = length;
        while ((static_cast<unsigned char>(utf8[whole]) & 0xC0) == 0x80)
            --whole;
        Guarded<char> guarded(utf8.substr(0, length));
        std::wstring wide;
        ASSERT_EQ(whole, Vorn::AppendUtf8AsWide(guarded.View(), wide));
        ASSERT_EQ(MultibyteToWide(utf8.substr(0, whole), m_facet), wide);
    }
}

// A kernel may stop only when less is left than a step reads, or less room than it writes.
struct Step {
    std::size_t read;
    std::size_t written;
};

// A kernel converts what is in front, until either end is too near.
template <typename From, typename To, typename Kernel>
void ExpectInFront(const std::basic_string<From>& from, const std::basic_string<To>& to,
                   std::size_t capacity, Kernel kernel, Step step) {
    Guarded<From> text(from);
    Guarded<To> result(capacity);
    const Vorn::Utf8Progress done = kernel(text.Data(), from.size(), result.Data(), capacity);
    ASSERT_LE(done.read, from.size());
    ASSERT_LE(done.written, capacity);
    ASSERT_EQ(to.substr(0, done.written), result.View().substr(0, done.written));
    ASSERT_EQ(done.read == from.size(), done.written == to.size());
    ASSERT_TRUE(from.size() - done.read < step.read || capacity - done.written < step.written)
        << "stops after " << done.read << " of " << from.size();
}

struct Candidate {
    Vorn::Utf8Kernels kernels;
    Step decoding;
    Step encoding{16, 64};
};

// Those that the route takes, and those of Highway, which other routes may prefer others to.
std::vector<Candidate> CandidatesOf(Vorn::Route route) {
    std::vector<Candidate> candidates;
    const Vorn::Utf8Kernels taken = Vorn::FindUtf8Kernels(route);
#ifdef VORN_BASES_HIGHWAY
    const Vorn::Utf8Kernels others = Vorn::FindUtf8KernelsOfHighway(route);
    if (others.decode != nullptr)
        candidates.push_back({others, {67, 64}});
    if (taken.decode == others.decode)
        return candidates;
#endif
    if (taken.decode != nullptr)
        candidates.push_back({taken, {64, 64}});
    return candidates;
}

class Utf8Kernel : public Utf8Route {
protected:
    void SetUp() override {
        Utf8Route::SetUp();
        if (IsSkipped())
            return;
        m_candidates = CandidatesOf(GetParam());
        if (m_candidates.empty())
            GTEST_SKIP() << "no kernels";
    }

    std::vector<Candidate> m_candidates;
};

TEST_P(Utf8Kernel, WritesNothingBeyondTheCapacity) {
    for (const auto& [kernels, decoding, encoding] : m_candidates)
        for (const Kind kind : AllKinds)
            for (std::size_t capacity = 0; capacity <= MostCharacters; ++capacity) {
                const std::wstring wide = RandomText(kind, MostCharacters);
                const std::string utf8 = WideToMultibyte(wide, m_facet);
                ASSERT_NO_FATAL_FAILURE(
                    ExpectInFront(utf8, wide, capacity, kernels.decode, decoding))
                    << capacity;
                ASSERT_NO_FATAL_FAILURE(
                    ExpectInFront(wide, utf8, capacity, kernels.encode, encoding))
                    << capacity;
            }
}

TEST_P(Utf8Kernel, ConvertsAllOfAPlainTextButLessThanAStep) {
    for (const auto& [kernels, decoding, encoding] : m_candidates)
        for (const Kind kind : AllKinds)
            for (std::size_t length = 0; length <= MostCharacters; ++length) {
                const std::wstring wide = RandomText(kind, length);
                const std::string utf8 = WideToMultibyte(wide, m_facet);
                ASSERT_NO_FATAL_FAILURE(
                    ExpectInFront(utf8, wide, length + decoding.written, kernels.decode, decoding));
                ASSERT_NO_FATAL_FAILURE(ExpectInFront(wide, utf8, utf8.size() + encoding.written,
                                                      kernels.encode, encoding));
            }
}

TEST_P(Utf8Kernel, StopsInFrontOfWhatIsNotPlain) {
    for (const auto& [kernels, decoding, encoding] : m_candidates)
        for (const Kind kind : AllKinds)
            for (std::size_t place = 0; place < MostCharacters; place += 37) {
                const std::wstring wide = RandomText(kind, MostCharacters);
                const std::string front = WideToMultibyte(wide.substr(0, place), m_facet);
                const std::string back = WideToMultibyte(wide.substr(place), m_facet);
                std::vector<wchar_t> decoded(4 * MostCharacters);
                for (const std::string_view odd : Odd) {
                    if (odd[0] == '\0' || odd[0] == '\xEF')
                        continue; // begins with a plain character
                    const std::string text = front + std::string(odd) + back;
                    const auto done =
                        kernels.decode(text.data(), text.size(), decoded.data(), decoded.size());
                    ASSERT_LE(done.read, front.size()) << testing::PrintToString(odd);
                    ASSERT_LE(done.written, place);
                }
                std::vector<char> encoded(8 * MostCharacters);
                for (const unsigned int odd : OddCharacters) {
                    if (odd == 0)
                        continue; // plain
                    std::wstring text = wide;
                    text[place] = static_cast<wchar_t>(odd);
                    const auto done =
                        kernels.encode(text.data(), text.size(), encoded.data(), encoded.size());
                    ASSERT_LE(done.read, place) << odd;
                }
            }
}

TEST(Utf8Kernels, AreLostOnNoHigherRoute) {
    VornTest::ExpectNoKernelIsLostOnAHigherRoute(
        [](Vorn::Route route) { return Vorn::FindUtf8Kernels(route).decode != nullptr; });
    VornTest::ExpectNoKernelIsLostOnAHigherRoute(
        [](Vorn::Route route) { return Vorn::FindUtf8Kernels(route).encode != nullptr; });
}

#ifdef VORN_BASES_HIGHWAY
TEST(Utf8Kernels, OfHighwayAreThereForEveryRoute) {
    for (const Vorn::Route route : VornTest::RoutesOfThisKind()) {
        EXPECT_NE(nullptr, Vorn::FindUtf8KernelsOfHighway(route).encode) << Vorn::NameOf(route);
        EXPECT_NE(nullptr, Vorn::FindUtf8KernelsOfHighway(route).decode) << Vorn::NameOf(route);
        EXPECT_NE(nullptr, Vorn::FindUtf8Kernels(route).encode) << Vorn::NameOf(route);
        EXPECT_NE(nullptr, Vorn::FindUtf8Kernels(route).decode) << Vorn::NameOf(route);
    }
}
#endif

#ifdef VORN_BASES_VBMI
// On lower routes the processor need not have their instructions.
TEST(Utf8Kernels, OfVbmiAreTakenFromAvx512On) {
    for (const auto& [route, name] : Vorn::AllRoutes) {
        const Vorn::Utf8Kernels kernels = Vorn::FindUtf8Kernels(route);
        const bool isForIt = route >= Vorn::Route::Avx512;
        EXPECT_EQ(isForIt, kernels.encode == Vorn::Utf8EncodeKernelOfVbmi) << name;
        EXPECT_EQ(isForIt, kernels.decode == Vorn::Utf8DecodeKernelOfVbmi) << name;
    }
}
#endif

INSTANTIATE_TEST_SUITE_P(Every, Utf8Route, VornTest::AllRoutes(), VornTest::RouteNameOf);
INSTANTIATE_TEST_SUITE_P(Every, Utf8Kernel, VornTest::AllRoutes(), VornTest::RouteNameOf);

} // namespace
