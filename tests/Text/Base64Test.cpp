// SPDX-License-Identifier: MIT
// Concerns: the text of every length and byte value against an encoder of another make; what Decode
// returns and leaves in the buffer, to the byte, for valid and invalid text of every kind; the bit
// reader and writer on their own, state included; null arguments; the shape of the class.
#include <Bases/Text.h>

#include <cstdint>
#include <iterator>
#include <limits>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "support/Slot.h"

namespace {

using Vorn::Base64;
using VornTest::Slot;

constexpr unsigned int Seed = 20240612;
constexpr char Guard = '\x5A';

const std::string Alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string RandomBytes(std::mt19937& random, std::size_t length) {
    std::string bytes(length, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

std::string AllBytes() {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte)
        bytes += static_cast<char>(byte);
    return bytes;
}

std::string Encode(const std::string& data) {
    Base64 base64;
    std::string out = "old";
    EXPECT_EQ(1, base64.Encode(data.data(), data.size(), out));
    return out;
}

// Groups of three bytes, as sums and remainders.
std::string EncodeInGroups(const std::string& data) {
    std::string out;
    for (std::size_t i = 0; i < data.size(); i += 3) {
        unsigned int group = 0;
        for (std::size_t k = 0; k < 3; ++k)
            group = group * 256 + (i + k < data.size() ? std::uint8_t(data[i + k]) : 0U);
        out += Alphabet[group / 262144];
        out += Alphabet[group / 4096 % 64];
        out += i + 1 < data.size() ? Alphabet[group / 64 % 64] : '=';
        out += i + 2 < data.size() ? Alphabet[group % 64] : '=';
    }
    return out;
}

struct Decoded {
    unsigned long count;
    std::string buffer; // with the bytes beyond the capacity that Decode may use

    bool operator==(const Decoded& other) const {
        return count == other.count && buffer == other.buffer;
    }
};

std::ostream& operator<<(std::ostream& stream, const Decoded& decoded) {
    return stream << decoded.count << ' ' << testing::PrintToString(decoded.buffer);
}

Decoded Decode(const std::string& text) {
    Base64 base64;
    std::string buffer(text.size() + 9, Guard);
    const unsigned long count = base64.Decode(text.c_str(), buffer.data());
    return {count, buffer};
}

// What `text` must give when `bytes` were written and `count` is the result.
Decoded Expected(const std::string& text, unsigned long count, const std::string& bytes) {
    std::string buffer = bytes;
    buffer.resize(text.size() + 1, '\0');
    return {count, buffer + std::string(8, Guard)};
}

// A plain decoder, with the bits as a row of characters.
Decoded PlainDecode(const std::string& text) {
    int table[256];
    for (int& entry : table)
        entry = -2;
    for (unsigned int i = 0; i < 64; ++i) {
        const unsigned int c = std::uint8_t(Alphabet[i]);
        table[c] = table[c + 128] = static_cast<int>(i);
    }
    table[61] = table[61 + 128] = -1;

    std::string bytes;
    std::string bits;
    for (const char c : text) {
        const int entry = table[c & 127];
        if (entry < -1)
            return Expected(text, 0, bytes);
        for (int bit = 32; entry >= 0 && bit > 0; bit /= 2)
            bits += entry / bit % 2 != 0 ? '1' : '0';
        if (bits.size() >= 8) {
            bytes += static_cast<char>(std::stoi(bits.substr(0, 8), nullptr, 2));
            bits.erase(0, 8);
        }
    }
    return Expected(text, bytes.size(), bytes);
}

TEST(Base64Encode, GivesThePublishedTexts) { // RFC 4648, section 10
    EXPECT_EQ("", Encode(""));
    EXPECT_EQ("Zg==", Encode("f"));
    EXPECT_EQ("Zm8=", Encode("fo"));
    EXPECT_EQ("Zm9v", Encode("foo"));
    EXPECT_EQ("Zm9vYg==", Encode("foob"));
    EXPECT_EQ("Zm9vYmE=", Encode("fooba"));
    EXPECT_EQ("Zm9vYmFy", Encode("foobar"));
}

TEST(Base64Encode, GivesTheTextOfAnotherEncoderForAllByteValues) { // openssl base64 -A
    EXPECT_EQ("AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygpKissLS4vMDEyMzQ1Njc4OTo7PD0+"
              "P0BBQkNERUZHSElKS0xNTk9QUVJTVFVWV1hZWltcXV5fYGFiY2RlZmdoaWprbG1ub3BxcnN0dXZ3eHl6e3x9"
              "fn+AgYKDhIWGh4iJiouMjY6PkJGSk5SVlpeYmZqbnJ2en6ChoqOkpaanqKmqq6ytrq+wsbKztLW2t7i5uru8"
              "vb6/wMHCw8TFxsfIycrLzM3Oz9DR0tPU1dbX2Nna29zd3t/g4eLj5OXm5+jp6uvs7e7v8PHy8/T19vf4+fr7"
              "/P3+/w==",
              Encode(AllBytes()));
}

TEST(Base64Encode, AgreesWithGroupsOfThreeBytesForEveryLength) {
    std::mt19937 random(Seed);
    for (std::size_t length = 0; length <= 300; ++length) {
        const std::string data = RandomBytes(random, length);
        ASSERT_EQ(EncodeInGroups(data), Encode(data)) << "seed " << Seed << " length " << length;
    }
}

TEST(Base64Encode, AgreesWithGroupsOfThreeBytesForEveryByteAndPairOfBytes) {
    for (int value = 0; value < 65536; ++value) {
        const std::string pair{static_cast<char>(value / 256), static_cast<char>(value)};
        ASSERT_EQ(EncodeInGroups(pair), Encode(pair)) << value;
        ASSERT_EQ(EncodeInGroups(pair.substr(1)), Encode(pair.substr(1))) << value;
    }
}

TEST(Base64Encode, ReadsNoFartherThanItsLength) {
    Base64 base64;
    const std::vector<char> data = {'f', 'o', 'o'}; // on the heap, where one byte more is seen
    std::string out;
    EXPECT_EQ(1, base64.Encode(data.data(), 3, out));
    EXPECT_EQ("Zm9v", out);
    EXPECT_EQ(1, base64.Encode(data.data(), 1, out));
    EXPECT_EQ("Zg==", out);
}

TEST(Base64Encode, ReplacesWhatTheStringHeld) {
    Base64 base64;
    std::string out(1000, 'x');
    EXPECT_EQ(1, base64.Encode("foo", 3, out));
    EXPECT_EQ("Zm9v", out);
    EXPECT_EQ(1, base64.Encode("foo", 0, out));
    EXPECT_EQ("", out);
}

TEST(Base64Encode, ClearsTheStringEvenIfNoTextIsAsLong) {
    Base64 base64;
    std::string out = "old";
    EXPECT_THROW(base64.Encode("foo", std::numeric_limits<unsigned long>::max() / 2, out),
                 std::length_error);
    EXPECT_EQ("", out);
}

TEST(Base64Decode, GivesThePublishedBytes) { // RFC 4648, section 10
    EXPECT_EQ(Expected("Zg==", 1, "f"), Decode("Zg=="));
    EXPECT_EQ(Expected("Zm8=", 2, "fo"), Decode("Zm8="));
    EXPECT_EQ(Expected("Zm9v", 3, "foo"), Decode("Zm9v"));
    EXPECT_EQ(Expected("Zm9vYg==", 4, "foob"), Decode("Zm9vYg=="));
    EXPECT_EQ(Expected("Zm9vYmE=", 5, "fooba"), Decode("Zm9vYmE="));
    EXPECT_EQ(Expected("Zm9vYmFy", 6, "foobar"), Decode("Zm9vYmFy"));
}

TEST(Base64Decode, UndoesEncodeForEveryLengthAndClearsTheRestOfTheBuffer) {
    std::mt19937 random(Seed);
    for (std::size_t length = 1; length <= 300; ++length) {
        const std::string data = RandomBytes(random, length);
        const std::string text = Encode(data);
        ASSERT_EQ(Expected(text, length, data), Decode(text)) << "seed " << Seed;
    }
}

TEST(Base64Decode, LeavesTheBufferAloneForAnEmptyText) {
    Base64 base64;
    char buffer = Guard;
    EXPECT_EQ(0U, base64.Decode("", &buffer));
    EXPECT_EQ(Guard, buffer);
}

TEST(Base64Decode, SkipsPaddingWhereverItStands) {
    for (const char* text : {"Zm==9v", "=Zm9v", "Z=m=9=v=", "====Zm9v", "Zm9v====="})
        EXPECT_EQ(Expected(text, 3, "foo"), Decode(text)) << text;
    EXPECT_EQ(Expected("Zg==Zg==", 3, "f\x06\x60"), Decode("Zg==Zg=="));
}

TEST(Base64Decode, NeedsNoPaddingAndDropsTheBitsThatFillNoByte) {
    EXPECT_EQ(Expected("Zg", 1, "f"), Decode("Zg"));
    EXPECT_EQ(Expected("Zv", 1, "f"), Decode("Zv"));
    EXPECT_EQ(Expected("Zm8", 2, "fo"), Decode("Zm8"));
    EXPECT_EQ(Expected("Zm//", 3, std::string("f\x6f\xff")), Decode("Zm//"));
    EXPECT_EQ(Expected("Zm9vZ", 3, "foo"), Decode("Zm9vZ"));
}

TEST(Base64Decode, GivesZeroForAValidTextTooShortForAByteButClearsTheBuffer) {
    for (const char* text : {"Z", "=", "==", "Z===", "===="})
        EXPECT_EQ(Expected(text, 0, ""), Decode(text)) << text;
}

TEST(Base64Decode, RefusesSpacesAndLineBreaksAndKeepsTheBytesBeforeThem) {
    EXPECT_EQ(Expected("Zm9v\n", 0, "foo"), Decode("Zm9v\n"));
    EXPECT_EQ(Expected("Zm9v\r\nYmFy", 0, "foo"), Decode("Zm9v\r\nYmFy"));
    EXPECT_EQ(Expected("Zm 9v", 0, "f"), Decode("Zm 9v"));
    EXPECT_EQ(Expected(" Zm9v", 0, ""), Decode(" Zm9v"));
    EXPECT_EQ(Expected("Zm9\tv", 0, "fo"), Decode("Zm9\tv"));
}

TEST(Base64Decode, RefusesTheLettersOfTheUrlAlphabet) {
    EXPECT_EQ(Expected("Zm9v-", 0, "foo"), Decode("Zm9v-"));
    EXPECT_EQ(Expected("Zm9v_", 0, "foo"), Decode("Zm9v_"));
}

TEST(Base64Decode, IgnoresTheHighestBitOfEveryCharacter) {
    for (const char* text : {"\xDAm9v", "Zm9\xF6", "\xDA\xED\xB9\xF6", "\xBDZm9v\xBD"})
        EXPECT_EQ(Expected(text, 3, "foo"), Decode(text)) << testing::PrintToString(text);
    EXPECT_EQ(Expected("Zm9v\x80", 0, "foo"), Decode("Zm9v\x80"));
    EXPECT_EQ(Expected("Zm9v\x8A", 0, "foo"), Decode("Zm9v\x8A"));
}

TEST(Base64Decode, AgreesWithThePlainDecoderForEveryCharacterAtEveryPlace) {
    for (std::size_t place = 0; place < 8; ++place) {
        for (int c = 1; c < 256; ++c) {
            std::string text = "Zm9vYmFy";
            text[place] = static_cast<char>(c);
            ASSERT_EQ(PlainDecode(text), Decode(text)) << c << " at " << place;
        }
    }
}

TEST(Base64Decode, AcceptsTheAlphabetAndPaddingAndNothingElse) {
    for (int c = 1; c < 128; ++c) {
        const std::string text = std::string("Zm9v") + static_cast<char>(c);
        const bool known = c == '=' || Alphabet.find(static_cast<char>(c)) != std::string::npos;
        EXPECT_EQ(Expected(text, known ? 3 : 0, "foo"), Decode(text)) << c;
    }
}

std::string RandomText(std::mt19937& random) {
    std::string text(random() % 80, '\0');
    const unsigned long oddities = 1 + random() % 100;
    for (char& c : text) {
        c = Alphabet[random() % 64];
        if (random() % oddities == 0)
            c = static_cast<char>(1 + random() % 255);
        else if (random() % 8 == 0)
            c = '=';
        else if (random() % 8 == 0)
            c = static_cast<char>(c | '\x80');
    }
    return text;
}

TEST(Base64Decode, AgreesWithThePlainDecoderForRandomText) {
    std::mt19937 random(Seed);
    int failed = 0;
    int decoded = 0;
    for (int i = 0; i < 8000; ++i) {
        const std::string text = RandomText(random);
        if (text.empty())
            continue;
        const Decoded result = Decode(text);
        ++(result.count == 0 ? failed : decoded);
        ASSERT_EQ(PlainDecode(text), result)
            << "seed " << Seed << " text " << testing::PrintToString(text);
    }
    EXPECT_LT(500, failed); // both kinds were tried
    EXPECT_LT(500, decoded);
}

TEST(Base64Decode, GivesZeroInPlaceForTheTextIsClearedFirst) {
    Base64 base64;
    char text[] = "Zm9vYmFy";
    EXPECT_EQ(0U, base64.Decode(text, text));
    EXPECT_EQ(std::string(sizeof text, '\0'), std::string(text, sizeof text));
}

// One byte more is cleared than the text has characters.
TEST(Base64Decode, GivesZeroWhereTheLastClearedByteIsTheFirstOfTheText) {
    Base64 base64;
    char area[] = "....Zm9v";
    EXPECT_EQ(0U, base64.Decode(area + 4, area));
    EXPECT_EQ(std::string(5, '\0') + "m9v", std::string(area, 8));
}

// All eight bits of every byte, as characters.
std::string BitsOf(const std::string& bytes) {
    std::string bits;
    for (const char byte : bytes) {
        for (int bit = 128; bit > 0; bit /= 2)
            bits += (byte & bit) != 0 ? '1' : '0';
    }
    return bits;
}

unsigned long ValueOf(const std::string& bits) {
    return bits.empty() ? 0 : std::stoul(bits, nullptr, 2);
}

std::string LastOf(const std::string& text, std::size_t length) {
    return text.size() > length ? text.substr(text.size() - length) : text;
}

struct BitState {
    unsigned long pos = 0;
    int waiting = 0;
    unsigned long acc = 0;
};

struct Reader : BitState {
    unsigned int Read(int width, const std::vector<char>& data) {
        return Base64::ReadBits(width, &read, data.data(), data.size(), pos, waiting, acc);
    }
    int read = -1;
};

void ExpectBitsOf(const std::string& bytes, std::mt19937& random) {
    const std::vector<char> data(bytes.begin(), bytes.end());
    const std::string bits = BitsOf(bytes);
    Reader reader;
    std::size_t taken = 0;
    for (int call = 0; call < 40; ++call) {
        const std::size_t width = random() % 9;
        const std::string expected = bits.substr(taken, width);
        const unsigned int value = reader.Read(static_cast<int>(width), data);
        taken += expected.size();
        ASSERT_EQ(static_cast<int>(expected.size()), reader.read);
        ASSERT_EQ(ValueOf(expected + std::string(width - expected.size(), '0')), value);
        ASSERT_EQ((taken + 7) / 8, reader.pos);
        ASSERT_EQ(static_cast<int>(reader.pos * 8 - taken), reader.waiting);
        ASSERT_EQ(ValueOf(LastOf(bits.substr(0, reader.pos * 8), 64)), reader.acc);
    }
}

TEST(Base64ReadBits, TakesEveryWidthHighestBitFirstAndHoldsItsStateOutside) {
    std::mt19937 random(Seed);
    for (int i = 0; i < 500; ++i) {
        ExpectBitsOf(RandomBytes(random, random() % 24), random);
        ASSERT_FALSE(testing::Test::HasFailure()) << "seed " << Seed << " round " << i;
    }
}

TEST(Base64ReadBits, TakesTheBytesAsUnsigned) {
    Reader reader;
    EXPECT_EQ(0U, reader.Read(4, {'\x0F', '\xFF'}));
    EXPECT_EQ(0xFFU, reader.Read(8, {'\x0F', '\xFF'}));
    EXPECT_EQ(0x0FFFU, reader.acc);
}

TEST(Base64ReadBits, FillsTheLastBitsUpWithZerosAndThenReportsTheEnd) {
    Reader reader;
    EXPECT_EQ(0x3FU, reader.Read(6, {'\xFF'}));
    EXPECT_EQ(6, reader.read);
    EXPECT_EQ(0x30U, reader.Read(6, {'\xFF'}));
    EXPECT_EQ(2, reader.read);
    EXPECT_EQ(0U, reader.Read(6, {'\xFF'}));
    EXPECT_EQ(0, reader.read);
    EXPECT_EQ(0, reader.waiting);
    EXPECT_EQ(1U, reader.pos);
}

TEST(Base64ReadBits, TakesNothingWithWidthZero) {
    Reader reader;
    EXPECT_EQ(0U, reader.Read(0, {'\xFF'}));
    EXPECT_EQ(0, reader.read);
    EXPECT_EQ(0U, reader.pos);
    EXPECT_EQ(7U, reader.Read(3, {'\xFF'}));
    EXPECT_EQ(0U, reader.Read(0, {'\xFF'}));
    EXPECT_EQ(5, reader.waiting);
}

TEST(Base64ReadBits, ServesSeveralReadersAtOnce) {
    Reader first;
    Reader second;
    const std::vector<char> low = {'\x12', '\x34'};
    const std::vector<char> high = {'\xFE', '\xDC'};
    for (const unsigned int digit : {1U, 2U, 3U, 4U}) {
        EXPECT_EQ(digit, first.Read(4, low));
        EXPECT_EQ(16 - digit, second.Read(4, high));
    }
}

struct Writer : BitState {
    void Write(unsigned int value, int width) {
        Base64::WriteBits(value, width, out.data(), pos, waiting, acc);
    }
    std::string out = std::string(64, Guard);
};

void ExpectWrittenBits(std::mt19937& random) {
    Writer writer;
    std::string bits;
    for (int call = 0; call < 40; ++call) {
        const std::size_t width = random() % 9;
        const std::string added = BitsOf(RandomBytes(random, 1)).substr(0, width);
        writer.Write(static_cast<unsigned int>(ValueOf(added)), static_cast<int>(width));
        bits += added;
        const std::size_t bytes = bits.size() / 8;
        ASSERT_EQ(bytes, writer.pos);
        ASSERT_EQ(static_cast<int>(bits.size() % 8), writer.waiting);
        ASSERT_EQ(ValueOf(LastOf(bits, 64)), writer.acc);
        ASSERT_EQ(bits.substr(0, bytes * 8), BitsOf(writer.out.substr(0, bytes)));
        ASSERT_EQ(std::string(64 - bytes, Guard), writer.out.substr(bytes));
    }
}

TEST(Base64WriteBits, AppendsEveryWidthHighestBitFirstAndHoldsItsStateOutside) {
    std::mt19937 random(Seed);
    for (int i = 0; i < 500; ++i) {
        ExpectWrittenBits(random);
        ASSERT_FALSE(testing::Test::HasFailure()) << "seed " << Seed << " round " << i;
    }
}

TEST(Base64WriteBits, NeverWritesTheBitsThatFillNoByte) {
    Writer writer;
    writer.Write(0x7F, 7);
    EXPECT_EQ(0U, writer.pos);
    EXPECT_EQ(Guard, writer.out[0]);
    writer.Write(0, 0);
    EXPECT_EQ(Guard, writer.out[0]);
    writer.Write(0, 1);
    EXPECT_EQ('\xFE', writer.out[0]);
    EXPECT_EQ(0, writer.waiting);
}

TEST(Base64WriteBits, LetsExcessBitsOfAValueIntoTheWaitingOnes) {
    Writer writer;
    writer.Write(0, 4);
    writer.Write(0x3F, 2);
    writer.Write(0, 2);
    EXPECT_EQ('\xFC', writer.out[0]);
}

TEST(Base64WriteBits, EmptiesAStateThatHoldsSeveralBytes) {
    Writer writer;
    writer.acc = 0x123;
    writer.waiting = 12;
    writer.Write(0x45, 8);
    EXPECT_EQ("\x12\x34", writer.out.substr(0, 2));
    EXPECT_EQ(2U, writer.pos);
    EXPECT_EQ(4, writer.waiting);
    EXPECT_EQ(0x12345U, writer.acc);
}

#ifndef NDEBUG
TEST(Base64DeathTest, StopsOnANullArgument) {
    Base64 base64;
    std::string out;
    char buffer[8];
    EXPECT_DEATH(base64.Encode(nullptr, 3, out),
                 "Bases/Impl/Base64.cpp:.*Base64::Encode.*pData != __null");
    EXPECT_DEATH(base64.Encode(nullptr, 0, out),
                 "Bases/Impl/Base64.cpp:.*Base64::Encode.*pData != __null");
    EXPECT_DEATH(base64.Decode(nullptr, buffer),
                 "Bases/Impl/Base64.cpp:.*Base64::Decode.*pszEnc != __null");
    EXPECT_DEATH(base64.Decode("Zm9v", nullptr),
                 "Bases/Impl/Base64.cpp:.*Base64::Decode.*pDecData != __null");
    EXPECT_DEATH(base64.Decode("", nullptr),
                 "Bases/Impl/Base64.cpp:.*Base64::Decode.*pDecData != __null");
    EXPECT_DEATH(base64.Decode(nullptr, nullptr),
                 "Bases/Impl/Base64.cpp:.*Base64::Decode.*pszEnc != __null");
}
#else
TEST(Base64, GivesZeroForANullArgumentWhereAssertionsAreCompiledOut) {
    Base64 base64;
    std::string out = "old";
    EXPECT_EQ(0, base64.Encode(nullptr, 3, out));
    EXPECT_EQ(0, base64.Encode(nullptr, 0, out));
    EXPECT_EQ("old", out);
    char buffer = Guard;
    EXPECT_EQ(0U, base64.Decode(nullptr, &buffer));
    EXPECT_EQ(Guard, buffer);
    EXPECT_EQ(0U, base64.Decode("Zm9v", nullptr));
    EXPECT_EQ(0U, base64.Decode("", nullptr));
    EXPECT_EQ(0U, base64.Decode(nullptr, nullptr));
}
#endif

TEST(Base64, WorksOnSeveralThreadsWithAnObjectEach) {
    const std::string data = AllBytes();
    const std::string text = EncodeInGroups(data);
    std::vector<int> correct(4);
    std::vector<std::thread> threads;
    threads.reserve(correct.size());
    for (int& count : correct) {
        threads.emplace_back([&] {
            for (int i = 0; i < 100; ++i)
                count += Encode(data) == text && Decode(text) == Expected(text, 256, data) ? 1 : 0;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(std::vector<int>(4, 100), correct);
}

class Overriding : public Base64 {
public:
    explicit Overriding(bool& destroyed) : m_destroyed(destroyed) {}
    ~Overriding() override { m_destroyed = true; }
    Overriding(const Overriding&) = delete;
    Overriding& operator=(const Overriding&) = delete;
    int Encode(const char*, unsigned long, std::string&) override { return 11; }
    unsigned long Decode(const char*, char*) override { return 12; }

private:
    bool& m_destroyed;
};

TEST(Base64, MayBeOverriddenAndIsDestroyedThroughItsBase) {
    bool destroyed = false;
    std::string out;
    Base64* const base64 = new Overriding(destroyed);
    EXPECT_EQ(11, base64->Encode("", 0, out));
    EXPECT_EQ(12U, base64->Decode("", out.data()));
    delete base64;
    EXPECT_TRUE(destroyed);
}

static_assert(std::is_same_v<decltype(&Base64::Encode),
                             int (Base64::*)(const char*, unsigned long, std::string&)>);
static_assert(
    std::is_same_v<decltype(&Base64::Decode), unsigned long (Base64::*)(const char*, char*)>);

TEST(Base64, CopyIsOneMoreEncoderThatOutlivesTheFirst) {
    auto first = std::make_unique<Base64>();
    Base64 copy(*first);
    first.reset();
    std::string text;
    EXPECT_EQ(1, copy.Encode("foob", 4, text));
    EXPECT_EQ("Zm9vYg==", text);
}

TEST(Base64, AssignmentGivesTheObjectItselfAndLeavesBothUsable) {
    Base64 first;
    Base64 second;
    EXPECT_EQ(&second, &(second = first));
    for (Base64* const base64 : {&first, &second}) {
        char bytes[9] = {};
        EXPECT_EQ(4U, base64->Decode("Zm9vYg==", bytes));
        EXPECT_STREQ("foob", bytes);
    }
}

// Slicing: what a derived class overrides does not come along.
TEST(Base64, CopyOfADerivedObjectIsAPlainEncoder) {
    bool destroyed = false;
    const Overriding derived(destroyed);
    Base64 copy(derived);
    Base64 assigned;
    assigned = derived;
    for (Base64* const base64 : {&copy, &assigned}) {
        std::string text;
        EXPECT_EQ(1, base64->Encode("f", 1, text));
        EXPECT_EQ("Zg==", text);
    }
}

TEST(Base64, HasNoDataAndKeepsTheOrderOfItsVirtualFunctions) {
    EXPECT_EQ(sizeof(void*), sizeof(Base64));
    EXPECT_TRUE(std::has_virtual_destructor_v<Base64>);
    EXPECT_EQ(2U, Slot(&Base64::Encode)); // the destructor has two
    EXPECT_EQ(3U, Slot(&Base64::Decode));
}

// An explicit instantiation may name private members, and hands them out here.
using AlphabetTable = const char (*)[128];
using MaskTable = const unsigned long (*)[9];
AlphabetTable AlphabetOfBase64();
MaskTable MasksOfBase64();

template <AlphabetTable Alphabets, MaskTable Masks>
struct TablesOfBase64 {
    friend AlphabetTable AlphabetOfBase64() { return Alphabets; }
    friend MaskTable MasksOfBase64() { return Masks; }
};
template struct TablesOfBase64<&Base64::s_szBase64Alphabet, &Base64::s_nMask>;

TEST(Base64, HasItsAlphabetInATableFilledUpWithZeros) {
    const std::string table(std::begin(*AlphabetOfBase64()), std::end(*AlphabetOfBase64()));
    EXPECT_EQ(Alphabet + std::string(64, '\0'), table);
}

TEST(Base64, HasATableOfTheMasksOfAllWidths) {
    for (unsigned long width = 0; width <= 8; ++width)
        EXPECT_EQ((1UL << width) - 1, (*MasksOfBase64())[width]);
}

} // namespace
