// SPDX-License-Identifier: MIT
// Concerns: digests against published ones and against a plain model, for every length around the
// block boundaries, however the message is cut and wherever it and the context lie; what stands in
// a context, to the byte, before, during and after a digest; the count of bits past each of its
// words; empty messages without data; the hexadecimal text; the interface of a cipher, whose
// outputs are filled by Encrypt and left alone by Decrypt; the shape of the class. Md5PeerTest
// compares with another library, Md5LargeTest takes messages of gigabytes.
#include <Bases/Crypto.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <latch>
#include <limits>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <Bases/Impl/Md5Count.h>

#include "fault/Platform.h"
#include "support/CryptoSlots.h"

namespace {

namespace Platform = VornTest::Platform;

using Vorn::Crypto;
using Vorn::CryptoHashMd5;
using Digest = CryptoHashMd5::MD5Digest_struct;
using Context = char[88];

constexpr unsigned int Seed = 19920401;
constexpr char Guard = '\x5A';
constexpr std::size_t BlockSize = 64;

std::string WordBytes(std::uint32_t word) {
    std::string bytes;
    for (int i = 0; i < 4; ++i, word /= 256)
        bytes += static_cast<char>(word % 256);
    return bytes;
}

// The digest as RFC 1321 describes it: one loop, with the constants from the sine. It can start
// from a number of bits as if that many had come before.
class Model {
public:
    explicit Model(const std::string& message, std::uint64_t bitsBefore = 0)
        : m_bits(bitsBefore + 8 * message.size()) {
        std::size_t taken = 0;
        for (; message.size() - taken >= BlockSize; taken += BlockSize)
            TakeBlock(message.substr(taken, BlockSize));
        m_chainBeforeEnd = Chain();
        m_rest = message.substr(taken);

        std::string end = m_rest + '\x80';
        while (end.size() % BlockSize != BlockSize - 8)
            end += '\0';
        end += Count();
        for (std::size_t i = 0; i < end.size(); i += BlockSize)
            TakeBlock(end.substr(i, BlockSize));
        m_lastBlock = end.substr(end.size() - BlockSize);
    }

    std::string Digest() const { return Chain(); }

    std::string Count() const {
        return WordBytes(static_cast<std::uint32_t>(m_bits)) +
               WordBytes(static_cast<std::uint32_t>(m_bits >> 32));
    }

    // The chaining words after the whole blocks, and what follows those.
    const std::string& ChainBeforeEnd() const { return m_chainBeforeEnd; }
    const std::string& Rest() const { return m_rest; }

    const std::string& LastBlock() const { return m_lastBlock; }

private:
    std::string Chain() const {
        std::string bytes;
        for (const std::uint32_t word : m_words)
            bytes += WordBytes(word);
        return bytes;
    }

    static std::uint32_t WordAt(const std::string& block, std::size_t i) {
        std::uint32_t word = 0;
        for (std::size_t k = 4; k-- > 0;)
            word = word * 256 + static_cast<unsigned char>(block[4 * i + k]);
        return word;
    }

    static std::uint32_t Mix(std::size_t round, std::uint32_t x, std::uint32_t y, std::uint32_t z) {
        switch (round) {
        case 0:
            return (x & y) | (~x & z);
        case 1:
            return (x & z) | (y & ~z);
        case 2:
            return x ^ y ^ z;
        default:
            return y ^ (x | ~z);
        }
    }

    void TakeBlock(const std::string& block) {
        static constexpr std::size_t Factors[] = {1, 5, 3, 7};
        static constexpr std::size_t Offsets[] = {0, 1, 5, 0};
        static constexpr unsigned int Shifts[4][4] = {
            {7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
        std::array<std::uint32_t, 4> words = m_words;
        for (std::size_t i = 0; i < 64; ++i) {
            const std::size_t round = i / 16;
            const unsigned int shift = Shifts[round][i % 4];
            const std::uint32_t sum = words[0] + Mix(round, words[1], words[2], words[3]) +
                                      WordAt(block, (Factors[round] * i + Offsets[round]) % 16) +
                                      Constant(i);
            words = {words[3], words[1] + (sum << shift | sum >> (32 - shift)), words[1], words[2]};
        }
        for (std::size_t i = 0; i < 4; ++i)
            m_words[i] += words[i];
    }

    static std::uint32_t Constant(std::size_t i) {
        static const std::array<std::uint32_t, 64> constants = [] {
            std::array<std::uint32_t, 64> all{};
            for (std::size_t k = 0; k < all.size(); ++k)
                all[k] = static_cast<std::uint32_t>(
                    std::floor(4294967296.0 * std::fabs(std::sin(static_cast<double>(k + 1)))));
            return all;
        }();
        return constants[i];
    }

    std::array<std::uint32_t, 4> m_words = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
    std::uint64_t m_bits;
    std::string m_chainBeforeEnd;
    std::string m_rest;
    std::string m_lastBlock;
};

std::string RandomBytes(std::mt19937& random, std::size_t length) {
    std::string bytes(length, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

// A message of which no two bytes that a block could swap are the same.
std::string Message(std::size_t length) {
    std::mt19937 random(Seed);
    return RandomBytes(random, length);
}

std::string Bytes(const Digest& digest) {
    return {reinterpret_cast<const char*>(digest.bytes), sizeof digest.bytes};
}

std::string Bytes(const Context& context, std::size_t begin = 0, std::size_t end = 88) {
    return {context + begin, end - begin};
}

// The digest in one call, of a copy beyond which nothing can be read.
std::string Sum(const std::string& message) {
    const auto copy = std::make_unique<char[]>(message.size());
    message.copy(copy.get(), message.size());
    Digest digest;
    CryptoHashMd5::MD5Sum(copy.get(), message.size(), &digest);
    return Bytes(digest);
}

void Update(Context& context, const std::string& piece) {
    CryptoHashMd5::MD5Update(&context, piece.data(), piece.size());
}

std::string Final(Context& context) {
    Digest digest;
    CryptoHashMd5::MD5Final(&digest, &context);
    return Bytes(digest);
}

// A context that has begun, with guard bytes in the buffer.
void Begin(Context& context) {
    std::memset(context, Guard, sizeof context);
    CryptoHashMd5::MD5Init(&context);
}

TEST(Md5Sum, GivesThePublishedDigests) { // RFC 1321, appendix A.5
    EXPECT_EQ("d41d8cd98f00b204e9800998ecf8427e", CryptoHashMd5::MD5String(""));
    EXPECT_EQ("0cc175b9c0f1b6a831c399e269772661", CryptoHashMd5::MD5String("a"));
    EXPECT_EQ("900150983cd24fb0d6963f7d28e17f72", CryptoHashMd5::MD5String("abc"));
    EXPECT_EQ("f96b697d7cb7938d525a2f31aaf161d0", CryptoHashMd5::MD5String("message digest"));
    EXPECT_EQ("c3fcd3d76192e4007dfb496cca67e13b",
              CryptoHashMd5::MD5String("abcdefghijklmnopqrstuvwxyz"));
    EXPECT_EQ(
        "d174ab98d277d9f5a5611c2c9f419d9f",
        CryptoHashMd5::MD5String("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"));
    EXPECT_EQ("57edf4a22be3c955ac49da2e2107b67a",
              CryptoHashMd5::MD5String("1234567890123456789012345678901234567890"
                                       "1234567890123456789012345678901234567890"));
}

TEST(Md5Sum, NeedsASecondLastBlockFromARemainderOf56BytesOn) {
    const auto of = [](std::size_t length) {
        return CryptoHashMd5::MD5String(std::string(length, 'a'));
    };
    EXPECT_EQ("ef1772b6dff9a122358552954ad0df65", of(55));
    EXPECT_EQ("3b0c8ac703f828b04c6c197006d17218", of(56));
    EXPECT_EQ("b06521f39153d618550606be297466d5", of(63));
    EXPECT_EQ("014842d480b571495a4a0363793f7367", of(64));
    EXPECT_EQ("c743a45e0d2e6a95cb859adae0248435", of(65));
    EXPECT_EQ("8a7bd0732ed6a28ce75f6dabc90e1613", of(119));
    EXPECT_EQ("5f61c0ccad4cac44c75ff505e1f1e537", of(120));
}

TEST(Md5Sum, AgreesWithThePlainModelForEveryLength) {
    const std::string message = Message(300);
    for (std::size_t length = 0; length <= message.size(); ++length) {
        const std::string part = message.substr(0, length);
        ASSERT_EQ(Model(part).Digest(), Sum(part)) << length;
    }
}

TEST(Md5Sum, TakesNoDataForTheEmptyMessage) {
    Digest digest;
    CryptoHashMd5::MD5Sum(nullptr, 0, &digest);
    EXPECT_EQ("d41d8cd98f00b204e9800998ecf8427e", CryptoHashMd5::MD5DigestToBase16(digest));
}

TEST(Md5Sum, ReadsAndWritesAtAnyAddress) {
    const std::string message = Message(200);
    const std::string expected = Model(message).Digest();
    for (std::size_t offset = 0; offset < 8; ++offset) {
        std::string data = std::string(offset, Guard) + message;
        std::string out(offset + 32, Guard);
        auto* digest = reinterpret_cast<Digest*>(out.data() + offset + 8);
        CryptoHashMd5::MD5Sum(data.data() + offset, message.size(), digest);
        EXPECT_EQ(std::string(offset + 8, Guard) + expected + std::string(8, Guard), out) << offset;
    }
}

// Digests of digests, so that a wrong one shows at the end.
std::string Chained(char filling) {
    std::string message;
    for (std::size_t round = 0; round < 1000; ++round) {
        message = Sum(message);
        message.append(round % 100, filling);
    }
    return message;
}

TEST(Md5Sum, MayRunOnSeveralThreadsAtOnce) {
    std::array<std::string, 4> digests;
    std::vector<std::thread> threads;
    std::latch ready(digests.size());
    char filling = 'a';
    for (std::string& digest : digests) {
        threads.emplace_back([&ready, &digest, own = filling++] {
            ready.arrive_and_wait();
            digest = Chained(own);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    filling = 'a';
    for (const std::string& digest : digests)
        EXPECT_EQ(Chained(filling++), digest);
}

TEST(Md5Init, WritesTheStartOfTheContextAndNothingElse) {
    Context context;
    Begin(context);
    EXPECT_EQ(WordBytes(0x67452301) + WordBytes(0xEFCDAB89) + WordBytes(0x98BADCFE) +
                  WordBytes(0x10325476) + std::string(8, '\0'),
              Bytes(context, 0, 24));
    EXPECT_EQ(std::string(64, Guard), Bytes(context, 24));
}

TEST(Md5Init, BeginsADigestWhateverTheContextHolds) {
    Context context;
    Begin(context);
    Update(context, Message(100));
    CryptoHashMd5::MD5Init(&context);
    Update(context, "abc");
    EXPECT_EQ(Model("abc").Digest(), Final(context));
    CryptoHashMd5::MD5Init(&context);
    EXPECT_EQ(Model("").Digest(), Final(context));
}

TEST(Md5Update, KeepsChainCountAndRemainderInTheContext) {
    const std::string message = Message(300);
    for (std::size_t length = 0; length <= message.size(); ++length) {
        const std::string part = message.substr(0, length);
        const Model model(part);
        Context context;
        Begin(context);
        Update(context, part);
        ASSERT_EQ(model.ChainBeforeEnd(), Bytes(context, 0, 16)) << length;
        ASSERT_EQ(model.Count(), Bytes(context, 16, 24)) << length;
        ASSERT_EQ(model.Rest(), Bytes(context, 24, 24 + length % BlockSize)) << length;
    }
}

// Whole blocks are digested where they are, so that nothing of them stays in the context.
TEST(Md5Update, WritesOnlyTheRemainderBehindTheCount) {
    for (std::size_t length = 0; length <= 200; ++length) {
        const std::size_t end = 24 + length % BlockSize;
        Context context;
        Begin(context);
        Update(context, Message(length));
        ASSERT_EQ(std::string(sizeof context - end, Guard), Bytes(context, end)) << length;
    }
}

TEST(Md5Update, TakesAMessageInTwoPiecesCutAnywhere) {
    const std::string message = Message(195);
    for (std::size_t length = 0; length <= message.size(); ++length) {
        const std::string expected = Model(message.substr(0, length)).Digest();
        for (std::size_t cut = 0; cut <= length; ++cut) {
            Context context;
            Begin(context);
            CryptoHashMd5::MD5Update(&context, message.data(), cut);
            CryptoHashMd5::MD5Update(&context, message.data() + cut, length - cut);
            ASSERT_EQ(expected, Final(context)) << length << ' ' << cut;
        }
    }
}

TEST(Md5Update, TakesAMessageInManyPieces) {
    SCOPED_TRACE(Seed);
    std::mt19937 random(Seed);
    for (int run = 0; run < 300; ++run) {
        const std::string message = RandomBytes(random, random() % 1500);
        const std::size_t longest = random() % 200 + 1;
        Context context;
        Begin(context);
        for (std::size_t taken = 0; taken < message.size();) {
            const std::string piece = message.substr(taken, random() % (longest + 1));
            Update(context, piece);
            taken += piece.size();
        }
        ASSERT_EQ(Model(message).Digest(), Final(context)) << run;
    }
}

TEST(Md5Update, OfNothingChangesNothing) {
    for (const std::size_t length : {0U, 1U, 63U, 64U, 65U}) {
        Context context;
        Begin(context);
        Update(context, Message(length));
        const std::string before = Bytes(context);
        CryptoHashMd5::MD5Update(&context, nullptr, 0);
        EXPECT_EQ(before, Bytes(context)) << length;
        CryptoHashMd5::MD5Update(&context, "abc", 0);
        EXPECT_EQ(before, Bytes(context)) << length;
    }
}

TEST(Md5Update, LeavesTheDataAlone) {
    const std::string message = Message(200);
    std::string data = message;
    Context context;
    Begin(context);
    CryptoHashMd5::MD5Update(&context, data.data(), 13);
    CryptoHashMd5::MD5Update(&context, data.data() + 13, data.size() - 13);
    Final(context);
    EXPECT_EQ(message, data);
}

// A message that so many bits have gone before, whole blocks of them, but without their chain.
void ExpectToCountOnFrom(std::uint64_t bits, const std::string& message) {
    const Model model(message, bits);
    Context context;
    Begin(context);
    for (std::size_t i = 16; i < 24; ++i, bits /= 256)
        context[i] = static_cast<char>(bits % 256);
    Update(context, message);
    EXPECT_EQ(model.Count(), Bytes(context, 16, 24));
    EXPECT_EQ(model.Digest(), Final(context));
}

TEST(Md5Update, CarriesTheCountIntoItsHighWord) {
    ExpectToCountOnFrom(0xFFFFFE00, std::string(63, 'x'));
    ExpectToCountOnFrom(0xFFFFFE00, std::string(64, 'x'));
    ExpectToCountOnFrom(0xFFFFFE00, std::string(65, 'x'));
    ExpectToCountOnFrom(0x12FFFFFE00, std::string(300, 'x'));
    ExpectToCountOnFrom(0x1200000000, std::string(300, 'x'));
    ExpectToCountOnFrom(0x0FFFFFFFFFFFFE00, std::string(64, 'x'));
}

TEST(Md5Update, CountsModuloTwoToTheSixtyFourth) {
    ExpectToCountOnFrom(0xFFFFFFFFFFFFFE00, std::string(63, 'x'));
    ExpectToCountOnFrom(0xFFFFFFFFFFFFFE00, std::string(64, 'x'));
    ExpectToCountOnFrom(0xFFFFFFFFFFFFFE00, std::string(100, 'x'));
}

// What the count is after `length` more bytes, beginning with `count` bits.
std::uint64_t CountedOn(std::uint64_t count, unsigned long length) {
    Context context{};
    for (std::size_t i = 0; i < 8; ++i)
        context[16 + i] = static_cast<char>(count >> 8 * i);
    Vorn::CountMd5Bits(context, length);
    std::uint64_t result = 0;
    for (std::size_t i = 8; i-- > 0;)
        result = result << 8 | static_cast<unsigned char>(context[16 + i]);
    return result;
}

TEST(Md5Update, CountsTheBitsOfLengthsThatNoArrayHas) {
    constexpr unsigned long Lengths[] = {1,
                                         (1UL << 29) - 1,
                                         1UL << 29,
                                         (1UL << 29) + 1,
                                         (1UL << 32) - 1,
                                         1UL << 32,
                                         (1UL << 32) + 1,
                                         (1UL << 60) + 7,
                                         (1UL << 61) - 1,
                                         1UL << 61,
                                         1UL << 63,
                                         std::numeric_limits<unsigned long>::max()};
    constexpr std::uint64_t Counts[] = {0, 8, 0xFFFFFE00, 0xFFFFFFF8, 0x12FFFFFFF8, ~0ULL - 7};
    for (const std::uint64_t count : Counts) {
        for (const unsigned long length : Lengths)
            EXPECT_EQ(count + std::uint64_t{length} * 8, CountedOn(count, length))
                << length << " bytes after " << count << " bits";
    }
}

TEST(Md5Final, ClearsOnlyTheFirstTwoChainingWords) {
    const std::string message = Message(200);
    for (std::size_t length = 0; length <= message.size(); ++length) {
        const std::string part = message.substr(0, length);
        const Model model(part);
        Context context;
        Begin(context);
        Update(context, part);
        ASSERT_EQ(model.Digest(), Final(context));
        ASSERT_EQ(std::string(8, '\0'), Bytes(context, 0, 8)) << length;
        ASSERT_EQ(model.Digest().substr(8), Bytes(context, 8, 16)) << length;
        ASSERT_EQ(model.Count(), Bytes(context, 16, 24)) << length;
        ASSERT_EQ(model.LastBlock(), Bytes(context, 24)) << length;
    }
}

TEST(Md5Final, LeavesTheEndOfAShortMessageInTheContext) {
    Context context;
    Begin(context);
    Update(context, "secret");
    Final(context);
    EXPECT_EQ(std::string("secret\x80") + std::string(49, '\0') + '\x30' + std::string(7, '\0'),
              Bytes(context, 24));
}

TEST(Md5Context, MayBeCopiedInTheMiddleOfAMessage) {
    Context first;
    Begin(first);
    Update(first, "common beginning, ");
    Context second;
    std::memcpy(second, first, sizeof second);
    Update(first, "one end");
    Update(second, "another");
    EXPECT_EQ(Model("common beginning, one end").Digest(), Final(first));
    EXPECT_EQ(Model("common beginning, another").Digest(), Final(second));
}

TEST(Md5Context, IsUsedAtAnyAddressAndNotBeyond) {
    const std::string message = Message(170);
    for (std::size_t at = 0; at < 8; ++at) {
        for (std::size_t offset = 0; offset < 8; ++offset) {
            std::string area(at + 8 + sizeof(Context) + 8, Guard);
            auto* context = reinterpret_cast<Context*>(area.data() + at + 8);
            const std::string data = std::string(offset, Guard) + message;
            CryptoHashMd5::MD5Init(context);
            CryptoHashMd5::MD5Update(context, data.data() + offset, 21);
            CryptoHashMd5::MD5Update(context, data.data() + offset + 21, message.size() - 21);
            EXPECT_EQ(Model(message).Digest(), Final(*context)) << at << ' ' << offset;
            EXPECT_EQ(std::string(at + 8, Guard), area.substr(0, at + 8));
            EXPECT_EQ(std::string(8, Guard), area.substr(area.size() - 8));
        }
    }
}

TEST(Md5String, DoesNotEndAtAZero) {
    const std::string text("a\0b\0", 4);
    Digest digest;
    CryptoHashMd5::MD5Sum(text.data(), 4, &digest);
    EXPECT_EQ(CryptoHashMd5::MD5DigestToBase16(digest), CryptoHashMd5::MD5String(text));
    EXPECT_EQ("aa3a791e273bce9cf4a2a7caa9028b36", CryptoHashMd5::MD5String(text));
    EXPECT_EQ("93b885adfe0da089cdf634904fd59f71", CryptoHashMd5::MD5String(std::string(1, '\0')));
}

TEST(Md5Base16, WritesEveryByteAsTwoLowerCaseDigitsHighOneFirst) {
    for (unsigned int first = 0; first < 256; first += 16) {
        Digest digest;
        std::string expected;
        for (unsigned int i = 0; i < 16; ++i) {
            digest.bytes[i] = static_cast<unsigned char>(first + i);
            char digits[9];
            std::snprintf(digits, sizeof digits, "%02x", first + i);
            expected += digits;
        }
        EXPECT_EQ(expected, CryptoHashMd5::MD5DigestToBase16(digest));
    }
}

struct Encrypted {
    bool result;
    std::string output;
    unsigned long processedSize;
    unsigned long outputSize;
};

Encrypted Encrypt(Crypto& crypto, unsigned char* input, unsigned long inputSize) {
    unsigned char old = 0;
    unsigned char* output = &old;
    unsigned long processedSize = 4711;
    unsigned long outputSize = 4712;
    const bool result = crypto.Encrypt(input, inputSize, processedSize, output, outputSize);
    EXPECT_NE(&old, output);
    const std::unique_ptr<unsigned char[]> owned(output);
    return {result, std::string(output, output + 16), processedSize, outputSize};
}

TEST(Md5Encrypt, GivesTheDigestInAnArrayThatTheCallerOwns) {
    CryptoHashMd5 md5;
    ASSERT_TRUE(md5.Create());
    for (const std::size_t length : {1U, 3U, 16U, 64U, 300U}) {
        const std::string message = Message(length);
        std::string input = message;
        const auto encrypted =
            Encrypt(md5, reinterpret_cast<unsigned char*>(input.data()), input.size());
        EXPECT_TRUE(encrypted.result);
        EXPECT_EQ(Model(message).Digest(), encrypted.output) << length;
        EXPECT_EQ(length, encrypted.processedSize);
        EXPECT_EQ(16u, encrypted.outputSize);
        EXPECT_EQ(message, input);
    }
}

TEST(Md5Encrypt, OfNothingGivesTheDigestOfTheEmptyMessage) {
    CryptoHashMd5 md5;
    unsigned char byte = 1;
    for (unsigned char* input : {static_cast<unsigned char*>(nullptr), &byte}) {
        const auto encrypted = Encrypt(md5, input, 0);
        EXPECT_TRUE(encrypted.result);
        EXPECT_EQ(Model("").Digest(), encrypted.output);
        EXPECT_EQ(0u, encrypted.processedSize);
        EXPECT_EQ(16u, encrypted.outputSize);
    }
}

TEST(Md5Encrypt, IsTheSameWhateverWasEncryptedBefore) {
    CryptoHashMd5 md5;
    unsigned char text[] = {'a', 'b', 'c'};
    const std::string expected = Model("abc").Digest();
    EXPECT_EQ(expected, Encrypt(md5, text, sizeof text).output);
    EXPECT_EQ(expected, Encrypt(md5, text, sizeof text).output);
}

TEST(Md5Encrypt, ThrowsWithoutMemoryBeforeItReturnsAnything) {
    CryptoHashMd5 md5;
    unsigned char text[] = {'a', 'b', 'c'};
    unsigned char* output = text;
    unsigned long processedSize = 4711;
    unsigned long outputSize = 4712;
    Platform::operator_new_array.Record();
    Platform::operator_new_array.Fail(ENOMEM);
    EXPECT_THROW(md5.Encrypt(text, sizeof text, processedSize, output, outputSize), std::bad_alloc);
    EXPECT_EQ(std::vector<std::size_t>{16}, Platform::operator_new_array.Calls());
    Platform::operator_new_array.Reset();
    EXPECT_EQ(text, output);
    EXPECT_EQ(4712u, outputSize);
    EXPECT_EQ(3u, processedSize);
}

TEST(Md5Decrypt, FailsAndTouchesNothingWhateverIsAsked) {
    CryptoHashMd5 md5;
    unsigned char input[32] = {1, 2, 3};
    unsigned char before[32];
    std::memcpy(before, input, sizeof before);
    unsigned char old = 5;
    for (unsigned char* data : {static_cast<unsigned char*>(nullptr), input}) {
        for (const unsigned long size : {0U, 1U, 16U, 32U}) {
            for (unsigned char* const out : {static_cast<unsigned char*>(nullptr), &old}) {
                unsigned char* output = out;
                unsigned long processedSize = 4711;
                unsigned long outputSize = 4712;
                EXPECT_FALSE(md5.Decrypt(data, size, processedSize, output, outputSize));
                EXPECT_EQ(out, output);
                EXPECT_EQ(4711u, processedSize);
                EXPECT_EQ(4712u, outputSize);
            }
        }
    }
    EXPECT_EQ(0, std::memcmp(before, input, sizeof before));
    EXPECT_EQ(5, old);
}

TEST(Md5Crypto, HasNeitherBlocksNorAKey) {
    CryptoHashMd5 md5;
    EXPECT_EQ(0u, md5.GetDataSizeUnit());
    EXPECT_EQ(0u, md5.GetUserSecretKeySize());
}

TEST(Md5Crypto, IgnoresTheKey) {
    CryptoHashMd5 md5;
    unsigned char text[] = {'a', 'b', 'c'};
    const std::string expected = Model("abc").Digest();
    EXPECT_TRUE(md5.SetUserSecretKey(nullptr));
    EXPECT_EQ(expected, Encrypt(md5, text, sizeof text).output);
    const unsigned char key[16] = {1, 2, 3};
    EXPECT_TRUE(md5.SetUserSecretKey(key));
    EXPECT_EQ(expected, Encrypt(md5, text, sizeof text).output);
}

TEST(Md5Crypto, MayBeCopied) {
    CryptoHashMd5 md5;
    CryptoHashMd5 copy(md5);
    copy = md5;
    unsigned char text[] = {'a', 'b', 'c'};
    EXPECT_EQ(Model("abc").Digest(), Encrypt(copy, text, sizeof text).output);
}

TEST(Md5Crypto, IsReadyWithoutCreateAndAfterDestroy) {
    CryptoHashMd5 md5;
    unsigned char text[] = {'a', 'b', 'c'};
    const std::string expected = Model("abc").Digest();
    EXPECT_EQ(expected, Encrypt(md5, text, sizeof text).output);
    md5.Destroy();
    EXPECT_EQ(expected, Encrypt(md5, text, sizeof text).output);
    EXPECT_TRUE(md5.Create());
    EXPECT_TRUE(md5.Create());
    EXPECT_EQ(expected, Encrypt(md5, text, sizeof text).output);
    md5.Destroy();
    md5.Destroy();
}

TEST(Md5Layout, TheOperationsKeepTheirSlotsAndTheDestructorFollowsThem) {
    VornTest::ExpectTheSlotsOfACipher<CryptoHashMd5>();
    EXPECT_EQ(9u, VornTest::Slots<CryptoHashMd5>());
}

TEST(Md5Layout, HoldsNothingBesidesTheInterface) {
    EXPECT_EQ(sizeof(void*), sizeof(CryptoHashMd5));
    EXPECT_EQ(16u, sizeof(Digest));
    EXPECT_EQ(1u, alignof(Digest));
    EXPECT_TRUE(std::is_trivial_v<Digest> && std::is_standard_layout_v<Digest>);
    EXPECT_TRUE((std::is_convertible_v<CryptoHashMd5*, Crypto*>));
    EXPECT_TRUE(std::has_virtual_destructor_v<CryptoHashMd5>);
    EXPECT_FALSE(std::has_virtual_destructor_v<Crypto>);
}

TEST(Md5Layout, TheFunctionsNeedNoObject) {
    EXPECT_TRUE((std::is_same_v<void (*)(char(*)[88]), decltype(&CryptoHashMd5::MD5Init)>));
    EXPECT_TRUE((std::is_same_v<void (*)(char(*)[88], const void*, unsigned long),
                                decltype(&CryptoHashMd5::MD5Update)>));
    EXPECT_TRUE(
        (std::is_same_v<void (*)(Digest*, char(*)[88]), decltype(&CryptoHashMd5::MD5Final)>));
    EXPECT_TRUE((std::is_same_v<void (*)(const void*, unsigned long, Digest*),
                                decltype(&CryptoHashMd5::MD5Sum)>));
    EXPECT_TRUE(
        (std::is_same_v<std::string (*)(const std::string&), decltype(&CryptoHashMd5::MD5String)>));
    EXPECT_TRUE((std::is_same_v<std::string (*)(const Digest&),
                                decltype(&CryptoHashMd5::MD5DigestToBase16)>));
}

} // namespace
