// SPDX-License-Identifier: MIT
// Guid: its bytes, its texts, its order, and new ones.

#include <Bases/Utility.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <random>
#include <set>
#include <thread>
#include <type_traits>
#include <vector>

#include <boost/random/mersenne_twister.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/string_generator.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/types.h>
#include <unistd.h>

#include "fault/Platform.h"
#include "support/GuardedBytes.h"
#include "support/Thrown.h"

namespace {

namespace Platform = VornTest::Platform;

using testing::Each;
using testing::ElementsAre;
using Vorn::Guid;
using VornTest::Thrown;

static_assert(sizeof(Guid) == 16);
static_assert(std::is_trivially_copyable_v<Guid>);
static_assert(std::is_standard_layout_v<Guid>);
static_assert(!std::is_polymorphic_v<Guid>);

constexpr char Invalid[] = "runtime_error: invalid uuid string";
constexpr unsigned int Seed = 20240607;

using Bytes = std::array<unsigned char, 16>;

constexpr Bytes Sample = {0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0,
                          0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0};
constexpr char SampleText[] = "12345678-9abc-def0-1234-56789abcdef0";

Guid GuidOf(const Bytes& bytes) {
    Guid guid;
    std::memcpy(&guid, bytes.data(), bytes.size());
    return guid;
}

Bytes BytesOf(const Guid& guid) {
    Bytes bytes;
    std::memcpy(bytes.data(), &guid, bytes.size());
    return bytes;
}

// Gives the bytes that ExpectedFromScript knows, as many as asked for.
class ScriptedBytes {
public:
    ssize_t operator()(void* buffer, std::size_t size, unsigned int /*flags*/) {
        std::generate_n(static_cast<unsigned char*>(buffer), size, [this] { return m_next += 37; });
        return static_cast<ssize_t>(size);
    }

private:
    unsigned char m_next = 0;
};

// Lets the system's random source answer so, one call after the other; an answer is a number of
// bytes, or the negative error number.
void AnswerInTurn(const std::vector<ssize_t>& answers) {
    const auto bytes = std::make_shared<ScriptedBytes>();
    for (std::size_t n = 0; n < answers.size(); ++n) {
        const ssize_t answer = answers[n];
        if (answer < 0)
            Platform::getrandom.At(n + 1).Fail(static_cast<int>(-answer));
        else
            Platform::getrandom.At(n + 1).Do([bytes, answer](void* buffer, std::size_t, unsigned) {
                return (*bytes)(buffer, static_cast<std::size_t>(answer), 0);
            });
    }
}

constexpr ssize_t WholeSeed = 2496; // 624 words of 32 bits

// The identifier that a generator gives with this complete state.
Bytes ExpectedFrom(const std::vector<std::uint32_t>& state) {
    struct Words {
        const std::vector<std::uint32_t>& state;
        void generate(std::uint32_t* first, std::uint32_t* last) const {
            std::copy_n(state.begin(), last - first, first);
        }
    };
    Words words{state};
    boost::random::mt19937 engine(words);
    const auto value = boost::uuids::basic_random_generator<boost::random::mt19937>(engine)();
    Bytes bytes;
    std::copy(value.begin(), value.end(), bytes.begin());
    return bytes;
}

Bytes ExpectedFromScript() {
    std::vector<std::uint32_t> state(WholeSeed / 4);
    ScriptedBytes()(state.data(), WholeSeed, 0);
    return ExpectedFrom(state);
}

class GuidGenerate : public testing::Test {
protected:
    GuidGenerate() { Platform::getrandom.Record(); }

    // How many bytes were asked for, call by call.
    static std::vector<std::size_t> Requests() {
        std::vector<std::size_t> requests;
        for (const auto& [buffer, size, flags] : Platform::getrandom.Calls())
            requests.push_back(size);
        return requests;
    }
};

// Concerns: a complete fresh seed from the system on each call and nothing kept; version and
// variant bits; every failure of the system leaves the value as it was and throws nothing.

TEST_F(GuidGenerate, GeneratesDifferentValuesOfVersionFour) {
    std::set<Bytes> seen;
    for (int i = 0; i < 500; ++i) {
        Guid guid;
        ASSERT_TRUE(guid.Generate());
        const Bytes bytes = BytesOf(guid);
        EXPECT_EQ(0x40, bytes[6] & 0xF0);
        EXPECT_EQ(0x80, bytes[8] & 0xC0);
        EXPECT_FALSE(guid.None());
        seen.insert(bytes);
    }
    EXPECT_EQ(500U, seen.size());
}

TEST_F(GuidGenerate, LeavesEveryOtherBitToChance) {
    Bytes ones{};
    Bytes zeros{};
    for (int i = 0; i < 200; ++i) {
        Guid guid;
        ASSERT_TRUE(guid.Generate());
        const Bytes bytes = BytesOf(guid);
        for (std::size_t k = 0; k < 16; ++k) {
            ones[k] = static_cast<unsigned char>(ones[k] | bytes[k]);
            zeros[k] = static_cast<unsigned char>(zeros[k] | ~bytes[k]);
        }
    }
    Bytes both;
    std::transform(ones.begin(), ones.end(), zeros.begin(), both.begin(), std::bit_and<>());
    EXPECT_THAT(both, ElementsAre(255, 255, 255, 255, 255, 255, 0x0F, 255, 0x3F, 255, 255, 255, 255,
                                  255, 255, 255));
}

TEST_F(GuidGenerate, AsksTheSystemOnceForACompleteState) {
    Guid guid;
    ASSERT_TRUE(guid.Generate());
    ASSERT_TRUE(guid.Generate());
    EXPECT_THAT(Requests(), ElementsAre(WholeSeed, WholeSeed));
}

// While the system starts, it may have none yet.
TEST_F(GuidGenerate, WaitsUntilTheSystemHasRandomBytes) {
    Guid guid;
    ASSERT_TRUE(guid.Generate());
    for (const auto& [buffer, size, flags] : Platform::getrandom.Calls())
        EXPECT_EQ(0U, flags) << "and neither GRND_NONBLOCK nor another source";
}

TEST_F(GuidGenerate, IsAMersenneTwisterSeededWithTheBytesOfTheSystem) {
    AnswerInTurn({WholeSeed});
    Guid guid;
    ASSERT_TRUE(guid.Generate());
    EXPECT_EQ(ExpectedFromScript(), BytesOf(guid));
}

// States with few bits, of which the engine makes something else if there are none that count.
TEST_F(GuidGenerate, IsThatOfTheEngineForEveryBitOfTheState) {
    std::vector<std::uint32_t> state(WholeSeed / 4);
    Platform::getrandom.OnAnyThread().Do([&](void* buffer, std::size_t size, unsigned) {
        std::memcpy(buffer, state.data(), size);
        return static_cast<ssize_t>(size);
    });
    const auto expectEngines = [&] {
        Guid guid;
        ASSERT_TRUE(guid.Generate());
        ASSERT_EQ(ExpectedFrom(state), BytesOf(guid));
    };
    expectEngines();
    for (std::uint32_t& word : state) {
        for (unsigned bit = 0; bit < 32; ++bit) {
            word = 1U << bit;
            expectEngines();
        }
        word = 0;
    }
}

TEST_F(GuidGenerate, KeepsNothingForTheNextCall) {
    Guid guid;
    ASSERT_TRUE(guid.Generate());
    AnswerInTurn({WholeSeed});
    ASSERT_TRUE(guid.Generate());
    EXPECT_EQ(ExpectedFromScript(), BytesOf(guid));
    AnswerInTurn({WholeSeed});
    ASSERT_TRUE(guid.Generate());
    EXPECT_EQ(ExpectedFromScript(), BytesOf(guid));
}

TEST_F(GuidGenerate, GoesOnAfterASignalOrAShortRead) {
    AnswerInTurn({-EINTR, 256, -EINTR, 1, WholeSeed - 257});
    Guid guid;
    ASSERT_TRUE(guid.Generate());
    EXPECT_EQ(ExpectedFromScript(), BytesOf(guid));
    EXPECT_THAT(Requests(), ElementsAre(WholeSeed, WholeSeed, WholeSeed - 256, WholeSeed - 256,
                                        WholeSeed - 257));
}

TEST_F(GuidGenerate, FailsAndKeepsItsValueWhenTheSystemHasNoRandomBytes) {
    const std::vector<std::vector<ssize_t>> failures = {
        {-ENOSYS}, {-EAGAIN}, {0}, {1000, -EIO}, {WholeSeed - 1, 0}};
    for (const auto& failure : failures) {
        Platform::getrandom.Forget();
        AnswerInTurn(failure);
        Guid guid = GuidOf(Sample);
        bool result = true;
        errno = EINTR; // an old error number, of which nobody may take notice
        EXPECT_EQ("nothing", Thrown([&] { result = guid.Generate(); }));
        EXPECT_FALSE(result);
        EXPECT_EQ(Sample, BytesOf(guid));
        EXPECT_EQ(failure.size(), Requests().size());
        EXPECT_TRUE(guid.Generate());
    }
}

// An optimising compiler may do without the allocation, and then there is no failure.
TEST_F(GuidGenerate, SucceedsOrFailsWithItsValueKeptWithoutMemory) {
    Guid guid = GuidOf(Sample);
    bool result = false;
    bool threw = false;
    Platform::operator_new.Fail(ENOMEM);
    try {
        result = guid.Generate();
    } catch (...) {
        threw = true;
    }
    Platform::operator_new.Reset();
    EXPECT_FALSE(threw);
    EXPECT_EQ(result, BytesOf(guid) != Sample);
}

TEST_F(GuidGenerate, RunsOnSeveralThreadsAtOnce) {
    std::mutex lock;
    std::set<Bytes> seen;
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int k = 0; k < 100; ++k) {
                Guid guid;
                const bool generated = guid.Generate();
                const std::lock_guard<std::mutex> guard(lock);
                EXPECT_TRUE(generated);
                seen.insert(BytesOf(guid));
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(400U, seen.size());
}

// Concerns: the four accepted shapes and both cases; what is refused how, and that the value then
// stands; what is not looked at; the one character class that depends on the Boost version.

std::string Undashed(const std::string& text) {
    std::string digits = text;
    digits.erase(std::remove(digits.begin(), digits.end(), '-'), digits.end());
    return digits;
}

std::string Upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

// The four shapes of one identifier.
std::vector<std::string> Shapes(const std::string& dashed) {
    const std::string plain = Undashed(dashed);
    return {dashed, plain, '{' + dashed + '}', '{' + plain + '}'};
}

// A text, its terminator included, at the end of a page that is the last one.
class GuardedText {
public:
    explicit GuardedText(const std::string& text) : m_bytes(text.size() + 1) {
        std::copy_n(text.c_str(), text.size() + 1, m_bytes.Data());
    }
    const char* Data() { return reinterpret_cast<const char*>(m_bytes.Data()); }

private:
    VornTest::GuardedBytes m_bytes;
};

// Checks that both text forms throw, leave the value unchanged and read no further than the text.
void ExpectInvalid(const std::string& text) {
    Guid guid = GuidOf(Sample);
    GuardedText guarded(text);
    EXPECT_EQ(Invalid, Thrown([&] { guid.FromString(guarded.Data()); })) << text;
    if (!text.empty()) {
        EXPECT_EQ(Invalid, Thrown([&] { guid.FromString(text); })) << text;
    }
    EXPECT_EQ(Sample, BytesOf(guid)) << text;
}

void ExpectSample(const std::string& text) {
    Guid fromPointer;
    Guid fromText;
    EXPECT_TRUE(fromPointer.FromString(text.c_str())) << text;
    EXPECT_TRUE(fromText.FromString(text)) << text;
    EXPECT_EQ(Sample, BytesOf(fromPointer)) << text;
    EXPECT_EQ(Sample, BytesOf(fromText)) << text;
}

TEST(GuidParse, AcceptsDigitsWithAndWithoutDashesAndBraces) {
    for (const std::string& text : Shapes(SampleText)) {
        ExpectSample(text);
        ExpectSample(Upper(text));
    }
    ExpectSample("123456789ABCDEF0123456789abcdef0");
}

TEST(GuidParse, ReadsEveryByteAtItsPlace) {
    std::mt19937 random(Seed);
    for (int i = 0; i < 500; ++i) {
        Bytes bytes;
        std::generate(bytes.begin(), bytes.end(),
                      [&] { return static_cast<unsigned char>(random()); });
        for (const std::string& text : Shapes(GuidOf(bytes).ToString(1))) {
            Guid guid;
            ASSERT_TRUE(guid.FromString(text)) << text << ", seed " << Seed;
            ASSERT_EQ(bytes, BytesOf(guid)) << text << ", seed " << Seed;
        }
    }
}

TEST(GuidParse, ReadsEveryHexadecimalDigit) {
    const std::string digits = "0123456789abcdefABCDEF";
    for (std::size_t i = 0; i < digits.size(); ++i) {
        const auto value = static_cast<unsigned char>(i < 16 ? i : i - 6);
        Guid guid;
        std::string text(32, '1');
        text[6] = digits[i];
        ASSERT_TRUE(guid.FromString(text));
        EXPECT_EQ(value << 4 | 1, BytesOf(guid)[3]);
        std::swap(text[6], text[7]);
        ASSERT_TRUE(guid.FromString(text));
        EXPECT_EQ(0x10 | value, BytesOf(guid)[3]);
    }
}

TEST(GuidParse, RefusesANullPointer) {
    Guid guid = GuidOf(Sample);
    EXPECT_FALSE(guid.FromString(static_cast<const char*>(nullptr)));
    EXPECT_EQ(Sample, BytesOf(guid));
}

TEST(GuidParse, RefusesAnEmptyStringButThrowsForAnEmptyText) {
    Guid guid = GuidOf(Sample);
    EXPECT_FALSE(guid.FromString(std::string()));
    EXPECT_EQ(Invalid, Thrown([&] { guid.FromString(""); }));
    EXPECT_EQ(Sample, BytesOf(guid));
}

TEST(GuidParse, ReadsAStringUpToItsFirstZero) {
    ExpectSample(SampleText + std::string("\0tail", 5));
    Guid guid;
    EXPECT_EQ(Invalid, Thrown([&] { guid.FromString(std::string(1, '\0') + SampleText); }));
}

TEST(GuidParse, RefusesTheNilValueInEveryForm) {
    for (const std::string& text : Shapes("00000000-0000-0000-0000-000000000000")) {
        Guid guid = GuidOf(Sample);
        EXPECT_FALSE(guid.FromString(text)) << text;
        EXPECT_FALSE(guid.FromString(text.c_str())) << text;
        EXPECT_EQ(Sample, BytesOf(guid)) << text;
    }
}

TEST(GuidParse, ThrowsForATextThatEndsTooEarly) {
    for (const std::string& text : Shapes(SampleText))
        for (std::size_t length = 0; length < text.size(); ++length)
            ExpectInvalid(text.substr(0, length));
    ExpectInvalid("1234");
}

TEST(GuidParse, ThrowsForAMissingDash) {
    for (const std::size_t dash : {13U, 18U, 23U}) {
        std::string text = SampleText;
        text[dash] = '1';
        ExpectInvalid(text);
        ExpectInvalid('{' + text + '}');
        text.erase(dash, 1);
        ExpectInvalid(text);
        ExpectInvalid(text + "111");
    }
}

TEST(GuidParse, ThrowsForAMissingClosingBrace) {
    for (const std::string& text : {std::string(SampleText), Undashed(SampleText)})
        for (const char* end : {"", "x", ")", "{", " }"})
            ExpectInvalid('{' + text + end);
}

TEST(GuidParse, DoesNotLookAtWhatFollowsTheIdentifier) {
    for (const std::string& text : Shapes(SampleText))
        for (const char* tail : {"}", "-", "0", " and more", "\n", "\xFF"})
            ExpectSample(text + tail);
    ExpectSample(SampleText + std::string(100000, '{'));
}

// What Boost's parser, which gets the identifier alone, makes of a text.
std::string ParsedByBoost(const std::string& text) {
    const std::size_t brace = text[0] == '{' ? 1 : 0;
    const bool dashed = text.size() > brace + 8 && text[brace + 8] == '-';
    const std::string identifier = text.substr(0, 2 * brace + (dashed ? 36 : 32));
    boost::uuids::uuid value{};
    const std::string thrown =
        Thrown([&] { value = boost::uuids::string_generator()(identifier); });
    return thrown != "nothing" ? Invalid : std::string(value.begin(), value.end());
}

std::string ParsedByTheLibrary(const std::string& text) {
    Guid guid;
    const std::string thrown = Thrown([&] { guid.FromString(text.c_str()); });
    const Bytes bytes = BytesOf(guid);
    return thrown != "nothing" ? thrown : std::string(bytes.begin(), bytes.end());
}

TEST(GuidParse, ReadsDamagedTextsAsBoostDoes) {
    std::mt19937 random(Seed);
    const std::string characters = "0123456789abcdefABCDEF--{}gG/:@` x";
    const std::vector<std::string> shapes = Shapes(SampleText);
    for (int i = 0; i < 20000; ++i) {
        std::string text = shapes[random() % shapes.size()] + "tail";
        for (unsigned changes = random() % 4; changes > 0; --changes) {
            const std::size_t place = random() % text.size();
            const char c = characters[random() % characters.size()];
            if (random() % 2 == 0)
                text[place] = c;
            else if (random() % 2 == 0)
                text.insert(place, 1, c);
            else
                text.erase(place, 1 + random() % 3);
        }
        ASSERT_EQ(ParsedByBoost(text), ParsedByTheLibrary(text)) << text << ", seed " << Seed;
    }
}

// A dash after each byte whose bit is 1.
std::string Dashed(unsigned dashes) {
    std::string text;
    for (unsigned byte = 0; byte < 16; ++byte) {
        text += "1f";
        text += (dashes >> byte & 1U) != 0 ? "-" : "";
    }
    return text;
}

// Up to two dashes more or fewer than there should be, and the same for a text with one after every
// byte from the fourth on; one after the last byte makes no difference.
TEST(GuidParse, ReadsDashesBetweenAnyBytesAsBoostDoes) {
    for (const unsigned dashes : {0x2A8U, 0x7FF8U}) {
        for (unsigned i = 0; i < 16; ++i) {
            for (unsigned j = 0; j <= i; ++j) {
                const std::string text = Dashed(dashes ^ 1U << i ^ 1U << j);
                ASSERT_EQ(ParsedByBoost(text), ParsedByTheLibrary(text)) << text;
            }
        }
    }
}

TEST(GuidParse, ReadsAnyCharacterInPlaceOfABraceAsBoostDoes) {
    for (const std::string& inside : {std::string(SampleText), Undashed(SampleText)}) {
        for (int value = 1; value < 256; ++value) {
            const std::string character(1, static_cast<char>(value));
            for (const std::string& text : {character + inside + '}', '{' + inside + character})
                ASSERT_EQ(ParsedByBoost(text), ParsedByTheLibrary(text)) << text;
        }
    }
}

TEST(GuidParse, ReadsBytesThatAllLackADigitAsBoostDoes) {
    for (const char* byte : {"g1", "1g", "gg", "\xFF\x31", "1\xFF"}) {
        std::string text;
        for (int i = 0; i < 16; ++i)
            text += byte;
        ASSERT_EQ(ParsedByBoost(text), ParsedByTheLibrary(text)) << text;
    }
}

TEST(GuidParse, DoesNotLookAtWhatIsBeforeTheIdentifier) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    for (const std::string& text : Shapes(SampleText)) {
        for (const char before : {'{', '-', '0', 'f'}) {
            Guid guid;
            ASSERT_TRUE(guid.FromString((before + text).c_str() + 1));
            EXPECT_EQ(Sample, BytesOf(guid)) << before << text;
        }
        GuardedText first(text + std::string(page - text.size() - 1, 'x'));
        Guid guid;
        ASSERT_TRUE(guid.FromString(first.Data()));
        EXPECT_EQ(Sample, BytesOf(guid)) << text;
    }
}

// Boost 1.74 refuses a character that is no digit; older versions read it as 255. Both are sound.
void ExpectInvalidOr(const std::string& text, std::size_t byte, unsigned char value) {
    Guid guid = GuidOf(Sample);
    const std::string thrown = Thrown([&] { guid.FromString(text); });
    if (thrown == Invalid) {
        EXPECT_EQ(Sample, BytesOf(guid));
        return;
    }
    EXPECT_EQ("nothing", thrown) << text;
    EXPECT_EQ(value, BytesOf(guid)[byte]) << text;
}

TEST(GuidParse, RefusesOrReadsAsAllBitsACharacterThatIsNoDigit) {
    for (const char wrong : {'g', 'G', '/', ':', '@', '`', ' ', 'x', '-', '}', '\x7F', '\xE1'}) {
        std::string text(32, '1');
        text[2] = wrong;
        ExpectInvalidOr(text, 1, 0xF1);
        std::swap(text[2], text[3]);
        ExpectInvalidOr(text, 1, 0xFF);
    }
}

// Concerns: the 36-character form, the two characters that form 0 loses, and that a none value and
// a null buffer leave the output alone.

TEST(GuidText, IsThirtyTwoLowerCaseDigitsInFiveGroups) {
    std::string text;
    EXPECT_TRUE(GuidOf(Sample).ToString(text, 1));
    EXPECT_EQ(SampleText, text);
    Bytes bytes{};
    bytes[0] = 0xAB;
    bytes[15] = 0x0C;
    EXPECT_EQ("ab000000-0000-0000-0000-00000000000c", GuidOf(bytes).ToString(1));
}

TEST(GuidText, HasEveryByteAtItsPlace) {
    for (std::size_t place = 0; place < 16; ++place) {
        for (unsigned value = 1; value < 256; ++value) {
            Bytes bytes = Sample;
            bytes[place] = static_cast<unsigned char>(value);
            std::string expected;
            for (std::size_t i = 0; i < 16; ++i) {
                expected += i == 4 || i == 6 || i == 8 || i == 10 ? "-" : "";
                expected += "0123456789abcdef"[bytes[i] / 16];
                expected += "0123456789abcdef"[bytes[i] % 16];
            }
            ASSERT_EQ(expected, GuidOf(bytes).ToString(1));
            ASSERT_EQ(expected.substr(1, 34), GuidOf(bytes).ToString(0));
            char buffer[Vorn::GuidTextSize];
            ASSERT_TRUE(GuidOf(bytes).ToString(buffer, 1));
            ASSERT_EQ(expected, buffer);
        }
    }
}

TEST(GuidText, DropsTheFirstAndLastDigitWithFormZero) {
    std::string text;
    EXPECT_TRUE(GuidOf(Sample).ToString(text, 0));
    EXPECT_EQ("2345678-9abc-def0-1234-56789abcdef", text);
    EXPECT_EQ(34U, text.size());
    EXPECT_EQ(text, GuidOf(Sample).ToString(0));
}

TEST(GuidText, IsFullWithEveryOtherForm) {
    for (const int form : {1, 2, -1, 36, INT32_MAX, INT32_MIN})
        EXPECT_EQ(SampleText, GuidOf(Sample).ToString(form)) << form;
}

TEST(GuidText, ReplacesWhatTheStringHeld) {
    std::string text = "a long text that is not needed any more, longer than an identifier";
    EXPECT_TRUE(GuidOf(Sample).ToString(text, 1));
    EXPECT_EQ(SampleText, text);
}

TEST(GuidText, ReadsBackAsTheSameValue) {
    for (int i = 0; i < 200; ++i) {
        Guid guid;
        ASSERT_TRUE(guid.Generate());
        Guid back;
        ASSERT_TRUE(back.FromString(guid.ToString(1)));
        EXPECT_TRUE(back == guid);
    }
}

TEST(GuidText, DoesNotReadBackFromFormZero) { ExpectInvalid(GuidOf(Sample).ToString(0)); }

TEST(GuidText, OfTheNilValueFailsAndLeavesTheOutputAlone) {
    const Guid none;
    for (const int form : {0, 1}) {
        std::string text = "old";
        EXPECT_FALSE(none.ToString(text, form));
        EXPECT_EQ("old", text);
        EXPECT_EQ("", none.ToString(form));
        char buffer[] = "old";
        EXPECT_FALSE(none.ToString(buffer, form));
        EXPECT_STREQ("old", buffer);
    }
}

TEST(GuidText, OfABufferFormEndsWithItsTerminator) {
    for (const int form : {0, 1}) {
        const std::size_t length = form == 0 ? 34 : 36;
        std::array<char, 64> buffer;
        buffer.fill('#');
        EXPECT_TRUE(GuidOf(Sample).ToString(buffer.data(), form));
        EXPECT_EQ(GuidOf(Sample).ToString(form), buffer.data());
        EXPECT_EQ('\0', buffer[length]);
        EXPECT_THAT(std::vector<char>(buffer.begin() + length + 1, buffer.end()), Each('#'));
    }
}

TEST(GuidText, OfANullBufferFails) {
    EXPECT_FALSE(GuidOf(Sample).ToString(static_cast<char*>(nullptr), 1));
    EXPECT_FALSE(Guid().ToString(static_cast<char*>(nullptr), 1));
}

// Concerns: a new value is none; equality looks at every bit; the order reads the first eight bytes
// as host integers without sign, the others as bytes, each group only when all before it are equal.

TEST(GuidValue, IsNilAtFirstAndAfterClear) {
    EXPECT_EQ(Bytes{}, BytesOf(Guid()));
    EXPECT_TRUE(Guid().None());
    Guid guid = GuidOf(Sample);
    EXPECT_FALSE(guid.None());
    guid.Clear();
    EXPECT_TRUE(guid.None());
    EXPECT_EQ(Bytes{}, BytesOf(guid));
}

TEST(GuidValue, IsInitialisedHoweverItIsConstructed) {
    alignas(Guid) unsigned char storage[sizeof(Guid)];
    std::memset(storage, 0xEE, sizeof storage);
    const Guid* guid = new (storage) Guid;
    EXPECT_TRUE(guid->None());
}

TEST(GuidValue, DiffersWithEverySingleBit) {
    for (std::size_t bit = 0; bit < 128; ++bit) {
        Bytes bytes{};
        bytes[bit / 8] = static_cast<unsigned char>(1U << (bit % 8));
        const Guid guid = GuidOf(bytes);
        EXPECT_FALSE(guid.None()) << bit;
        EXPECT_FALSE(guid.Test(Guid())) << bit;
        EXPECT_FALSE(guid == Guid()) << bit;
        EXPECT_TRUE(guid != Guid()) << bit;
    }
}

TEST(GuidValue, EqualsItsCopy) {
    const Guid guid = GuidOf(Sample);
    const Guid copy = guid;
    EXPECT_TRUE(guid.Test(copy));
    EXPECT_TRUE(guid == copy);
    EXPECT_FALSE(guid != copy);
    EXPECT_EQ(0, guid.Compare(copy));
    EXPECT_EQ(0, guid.Compare(guid));
    EXPECT_FALSE(guid < copy);
    EXPECT_FALSE(guid > copy);
}

struct Fields {
    std::uint32_t first;
    std::uint16_t second;
    std::uint16_t third;
    unsigned char rest[8];
};
static_assert(sizeof(Fields) == 16);

Guid GuidOf(const Fields& fields) {
    Guid guid;
    std::memcpy(static_cast<void*>(&guid), &fields, sizeof fields);
    return guid;
}

void ExpectBefore(const Guid& left, const Guid& right) {
    EXPECT_LT(left.Compare(right), 0);
    EXPECT_GT(right.Compare(left), 0);
    EXPECT_TRUE(left < right);
    EXPECT_TRUE(right > left);
    EXPECT_FALSE(left > right);
    EXPECT_FALSE(right < left);
}

TEST(GuidOrder, ReadsTheFirstBytesAsHostIntegersWithoutSign) {
    for (const auto& [low, high] : {std::pair{0U, 1U}, std::pair{0xFFU, 0x100U},
                                    std::pair{0x7FFFU, 0x8000U}, std::pair{0U, 0xFFFFU}}) {
        const auto low16 = static_cast<std::uint16_t>(low);
        const auto high16 = static_cast<std::uint16_t>(high);
        ExpectBefore(GuidOf(Fields{low << 16, 5, 5, {}}), GuidOf(Fields{high << 16, 5, 5, {}}));
        ExpectBefore(GuidOf(Fields{low, 5, 5, {}}), GuidOf(Fields{high, 5, 5, {}}));
        ExpectBefore(GuidOf(Fields{5, low16, 5, {}}), GuidOf(Fields{5, high16, 5, {}}));
        ExpectBefore(GuidOf(Fields{5, 5, low16, {}}), GuidOf(Fields{5, 5, high16, {}}));
    }
    ExpectBefore(GuidOf(Fields{0, 5, 5, {}}), GuidOf(Fields{0xFFFFFFFF, 5, 5, {}}));
}

TEST(GuidOrder, IsExactlyOneForADifferenceInTheIntegers) {
    const Guid base = GuidOf(Fields{5, 5, 5, {}});
    for (const Fields& fields :
         {Fields{900, 5, 5, {}}, Fields{5, 900, 5, {}}, Fields{5, 5, 900, {}}}) {
        EXPECT_EQ(1, GuidOf(fields).Compare(base));
        EXPECT_EQ(-1, base.Compare(GuidOf(fields)));
    }
}

TEST(GuidOrder, ReadsTheLastBytesOneByOneWithoutSign) {
    for (std::size_t i = 0; i < 8; ++i) {
        Fields low{5, 5, 5, {}};
        Fields high = low;
        low.rest[i] = 0x7F;
        high.rest[i] = 0x80;
        if (i < 7)
            low.rest[i + 1] = 0xFF;
        ExpectBefore(GuidOf(low), GuidOf(high));
    }
}

TEST(GuidOrder, LetsEachGroupDecideBeforeTheNext) {
    ExpectBefore(GuidOf(Fields{1, 9, 9, {9}}), GuidOf(Fields{2, 0, 0, {0}}));
    ExpectBefore(GuidOf(Fields{1, 1, 9, {9}}), GuidOf(Fields{1, 2, 0, {0}}));
    ExpectBefore(GuidOf(Fields{1, 1, 1, {9}}), GuidOf(Fields{1, 1, 2, {0}}));
}

} // namespace
