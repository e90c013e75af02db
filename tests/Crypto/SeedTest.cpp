// SPDX-License-Identifier: MIT
// Concerns: ciphertexts against published ones, in both directions; the round keys of a key; that
// the plain functions keep to 16 bytes and 32 words at any address; messages of every length
// against the block functions; padding; outputs on success, on refusal and without memory; what
// sets and keeps the round keys; use from several threads; the shape of the class. SeedPeerTest
// compares with another library.
#include <Bases/Crypto.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "fault/Platform.h"
#include "support/CryptoSlots.h"
#include "support/NoMemory.h"
#include "support/SeedTest.h"

namespace {

namespace Platform = VornTest::Platform;

using Vorn::Crypto;
using Vorn::CryptoBlockCipherSeed;
using VornTest::Deciphered;
using VornTest::Decrypt;
using VornTest::Enciphered;
using VornTest::Encrypt;
using VornTest::Exactly;
using VornTest::NoMemory;
using VornTest::RandomBytes;
using VornTest::RoundKeys;
using VornTest::Schedule;
using VornTest::SeedBlockSize;
using VornTest::SetKey;
using VornTest::Transformed;
using VornTest::WordsReversed;

constexpr unsigned int Seed = 20051201;
constexpr char Guard = '\x5A';
constexpr RoundKeys ZeroRoundKeys{};

std::string FromHex(const std::string& digits) {
    std::string bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2)
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    return bytes;
}

// A message in which no two blocks are the same.
std::string Message(std::size_t length) {
    std::mt19937 random(Seed);
    return RandomBytes(random, length);
}

const std::string& Key() {
    static const std::string key = FromHex("28DBC3BC49FFD87DCFA509B11D422BE7");
    return key;
}

std::string Padded(std::string message) {
    while (message.size() % SeedBlockSize != 0)
        message += '\0';
    return message;
}

// A whole message, block by block.
std::string Model(const std::string& message, const RoundKeys& roundKeys) {
    const std::string padded = Padded(message);
    std::string output;
    for (std::size_t i = 0; i < padded.size(); i += SeedBlockSize)
        output += Enciphered(padded.substr(i, SeedBlockSize), roundKeys);
    return output;
}

struct Vector {
    const char* key;
    const char* plain;
    const char* cipher;
};

// RFC 4269, appendix B.
constexpr Vector Vectors[] = {
    {"00000000000000000000000000000000", "000102030405060708090A0B0C0D0E0F",
     "5EBAC6E0054E166819AFF1CC6D346CDB"},
    {"000102030405060708090A0B0C0D0E0F", "00000000000000000000000000000000",
     "C11F22F20140505084483597E4370F43"},
    {"4706480851E61BE85D74BFB3FD956185", "83A2F8A288641FB9A4E9A5CC2F131C7D",
     "EE54D13EBCAE706D226BC3142CD40D4A"},
    {"28DBC3BC49FFD87DCFA509B11D422BE7", "B41E6BE2EBA84A148E2EED84593C5EC7",
     "9B9B7BFCD1813CB95D0B3618F40F5122"},
};

TEST(SeedStandard, MatchesThePublishedVectorsWithTheBytesOfEachWordReversed) {
    for (const Vector& vector : Vectors) {
        SCOPED_TRACE(vector.cipher);
        const RoundKeys roundKeys = Schedule(WordsReversed(FromHex(vector.key)));
        const std::string plain = WordsReversed(FromHex(vector.plain));
        const std::string cipher = WordsReversed(FromHex(vector.cipher));
        EXPECT_EQ(cipher, Enciphered(plain, roundKeys));
        EXPECT_EQ(plain, Deciphered(cipher, roundKeys));
    }
}

TEST(SeedStandard, IsNotMetByTheBytesAsTheyArePublished) {
    for (const Vector& vector : Vectors)
        EXPECT_NE(FromHex(vector.cipher),
                  Enciphered(FromHex(vector.plain), Schedule(FromHex(vector.key))));
}

// Each ciphertext is the next text, and each text the next key. The end is that of OpenSSL 3.0.
TEST(SeedStandard, GivesTheKnownEndOfAChainOfAThousandKeys) {
    std::string key(16, '\0');
    std::string block(16, '\0');
    for (int i = 0; i < 1000; ++i) {
        const std::string next = Enciphered(block, Schedule(key));
        key = block;
        block = next;
    }
    EXPECT_EQ(FromHex("718AEEBEB999D9F46632B91529057A53"), WordsReversed(block));
}

TEST(SeedSchedule, WritesTheTwoWordsOfEachRoundInTheOrderOfTheRounds) {
    const RoundKeys published = {
        // RFC 4269, appendix B.1, the key of zeros
        0x7C8F8C7E, 0xC737A22C, 0xFF276CDB, 0xA7CA684A, 0x2F9D01A1, 0x70049E41, 0xAE59B3C4,
        0x4245E90C, 0xA1D6400F, 0xDBC1394E, 0x85963508, 0x0C5F1FCB, 0xB684BDA7, 0x61A4AEAE,
        0xD17E0741, 0xFEE90AA1, 0x76CC05D5, 0xE97A7394, 0x50AC6F92, 0x1B2666E5, 0x65B7904A,
        0x8EC3A7B3, 0x2F7E2E22, 0xA2B121B9, 0x4D0BFDE4, 0x4E888D9B, 0x631C8DDC, 0x4378A6C4,
        0x216AF65F, 0x7878C031, 0x71891150, 0x98B255B0};
    EXPECT_EQ(published, Schedule(std::string(16, '\0')));
}

TEST(SeedSchedule, DependsOnEachBitOfTheKey) {
    std::vector<RoundKeys> all = {Schedule(Key())};
    for (std::size_t bit = 0; bit < 128; ++bit) {
        std::string key = Key();
        key[bit / 8] = static_cast<char>(key[bit / 8] ^ 1 << bit % 8);
        for (const RoundKeys& other : all)
            ASSERT_NE(other, Schedule(key)) << bit;
        all.push_back(Schedule(key));
    }
}

TEST(SeedSchedule, WritesThirtyTwoWordsAndReadsAKeyAtAnyAddress) {
    const RoundKeys expected = Schedule(Key());
    const std::string rest(16, Guard);
    for (std::size_t offset = 0; offset < 16; ++offset) {
        const std::string area = std::string(offset, Guard).append(Key()).append(rest);
        std::array<unsigned int, 48> words{};
        words.fill(0x5A5A5A5A);
        SeedRoundKey(words.data() + 8,
                     reinterpret_cast<const unsigned char*>(area.data()) + offset);
        for (std::size_t i = 0; i < words.size(); ++i)
            ASSERT_EQ(i < 8 || i >= 40 ? 0x5A5A5A5A : expected[i - 8], words[i]) << i;
        EXPECT_EQ(std::string(offset, Guard).append(Key()).append(rest), area);
    }
}

TEST(SeedSchedule, StaysWithinArraysOfExactlyItsSizes) {
    const auto words = std::make_unique<unsigned int[]>(32);
    Exactly key(Key());
    SeedRoundKey(words.get(), key.Get());
    Exactly block(Message(16));
    SeedEncrypt(block.Get(), words.get());
    EXPECT_EQ(Enciphered(Message(16), Schedule(Key())), block.Text());
    SeedDecrypt(block.Get(), words.get());
    EXPECT_EQ(Message(16), block.Text());
}

TEST(SeedBlock, IsTransformedInPlaceAtAnyAddressAndNothingAroundIt) {
    const RoundKeys roundKeys = Schedule(Key());
    const std::string plain = Message(16);
    const std::string cipher = Enciphered(plain, roundKeys);
    for (std::size_t offset = 0; offset < 16; ++offset) {
        const std::string before(16 + offset, Guard);
        const std::string after(16, Guard);
        const auto within = [&](const std::string& block) {
            return std::string(before).append(block).append(after);
        };
        std::string area = within(plain);
        auto* block = reinterpret_cast<unsigned char*>(area.data()) + before.size();
        SeedEncrypt(block, roundKeys.data());
        EXPECT_EQ(within(cipher), area) << offset;
        SeedDecrypt(block, roundKeys.data());
        EXPECT_EQ(within(plain), area) << offset;
    }
    EXPECT_EQ(Schedule(Key()), roundKeys);
}

TEST(SeedBlock, DependsOnEachWordOfTheRoundKeysAndOnNothingAroundThem) {
    const RoundKeys roundKeys = Schedule(Key());
    const std::string plain = Message(16);
    const std::string cipher = Enciphered(plain, roundKeys);
    std::array<unsigned int, 48> words{};
    words.fill(0x5A5A5A5A);
    std::copy(roundKeys.begin(), roundKeys.end(), words.begin() + 8);
    for (std::size_t i = 0; i < words.size(); ++i) {
        const bool within = i >= 8 && i < 40;
        ++words[i];
        Exactly block(plain);
        SeedEncrypt(block.Get(), words.data() + 8);
        EXPECT_EQ(within, block.Text() != cipher) << i;
        Exactly back(cipher);
        SeedDecrypt(back.Get(), words.data() + 8);
        EXPECT_EQ(within, back.Text() != plain) << i;
        --words[i];
    }
}

TEST(SeedBlock, IsDecipheredByTheRoundKeysInReverseOrder) {
    const RoundKeys roundKeys = Schedule(Key());
    RoundKeys reversed{};
    for (std::size_t round = 0; round < 16; ++round) {
        reversed[2 * round] = roundKeys[30 - 2 * round];
        reversed[2 * round + 1] = roundKeys[31 - 2 * round];
    }
    EXPECT_EQ(Enciphered(Message(16), reversed), Deciphered(Message(16), roundKeys));
}

TEST(SeedBlock, ComesBackForAnyRoundKeys) {
    SCOPED_TRACE(Seed);
    std::mt19937 random(Seed);
    for (int run = 0; run < 500; ++run) {
        RoundKeys roundKeys{};
        for (unsigned int& word : roundKeys)
            word = static_cast<unsigned int>(random());
        const std::string block = RandomBytes(random, 16);
        ASSERT_EQ(block, Deciphered(Enciphered(block, roundKeys), roundKeys)) << run;
        ASSERT_EQ(block, Enciphered(Deciphered(block, roundKeys), roundKeys)) << run;
    }
}

TEST(SeedPrefixed, FunctionsDoTheSameAsTheOthers) {
    SCOPED_TRACE(Seed);
    std::mt19937 random(Seed);
    for (int run = 0; run < 100; ++run) {
        const std::string key = RandomBytes(random, 16);
        const std::string plain = RandomBytes(random, 16);
        RoundKeys roundKeys{};
        VornSeedRoundKey(roundKeys.data(), Exactly(key).Get());
        ASSERT_EQ(Schedule(key), roundKeys);
        Exactly block(plain);
        VornSeedEncrypt(block.Get(), roundKeys.data());
        ASSERT_EQ(Enciphered(plain, roundKeys), block.Text());
        Exactly back(plain);
        VornSeedDecrypt(back.Get(), roundKeys.data());
        ASSERT_EQ(Deciphered(plain, roundKeys), back.Text());
    }
}

// Ciphertexts of ciphertexts, so that a wrong one shows at the end.
std::string Chained(char filling) {
    std::string block(16, filling);
    for (int i = 0; i < 2000; ++i)
        block = Deciphered(Enciphered(block, Schedule(block)), ZeroRoundKeys);
    return block;
}

TEST(SeedThreads, MayUseThePlainFunctionsAtOnce) {
    std::array<std::string, 4> ends;
    std::vector<std::thread> threads;
    char filling = 'a';
    for (std::string& end : ends)
        threads.emplace_back([&end, own = filling++] { end = Chained(own); });
    for (std::thread& thread : threads)
        thread.join();
    filling = 'a';
    for (const std::string& end : ends)
        EXPECT_EQ(Chained(filling++), end);
}

TEST(SeedThreads, MayUseAnObjectEach) {
    const std::string message = Message(5000);
    std::array<std::string, 4> outputs;
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < outputs.size(); ++i)
        threads.emplace_back([&output = outputs[i], &message, i] {
            CryptoBlockCipherSeed cipher;
            cipher.Create();
            SetKey(cipher, std::string(16, static_cast<char>(i)));
            const std::string once = Encrypt(cipher, message).output;
            output = Encrypt(cipher, Decrypt(cipher, once).output).output;
        });
    for (std::thread& thread : threads)
        thread.join();
    for (std::size_t i = 0; i < outputs.size(); ++i)
        EXPECT_EQ(Model(message, Schedule(std::string(16, static_cast<char>(i)))), outputs[i]) << i;
}

// An object that is ready for use, with a key unless that is empty.
CryptoBlockCipherSeed Cipher(const std::string& key = Key()) {
    CryptoBlockCipherSeed cipher;
    EXPECT_TRUE(cipher.Create());
    EXPECT_TRUE(key.empty() || SetKey(cipher, key));
    return cipher;
}

TEST(SeedKey, HasSixteenBytesAsBlocksHave) {
    CryptoBlockCipherSeed cipher = Cipher("");
    EXPECT_EQ(16UL, cipher.GetUserSecretKeySize());
    EXPECT_EQ(16UL, cipher.GetDataSizeUnit());
    SetKey(cipher, Key());
    EXPECT_EQ(16UL, cipher.GetUserSecretKeySize());
    EXPECT_EQ(16UL, cipher.GetDataSizeUnit());
}

TEST(SeedKey, IsScheduledForTheObject) {
    const std::string message = Message(64);
    CryptoBlockCipherSeed cipher = Cipher();
    EXPECT_EQ(Model(message, Schedule(Key())), Encrypt(cipher, message).output);
    const std::string other = Message(16);
    EXPECT_TRUE(SetKey(cipher, other));
    EXPECT_EQ(Model(message, Schedule(other)), Encrypt(cipher, message).output);
}

TEST(SeedKey, IsReadAtAnyAddressAndLeftAlone) {
    const std::string message = Message(32);
    for (std::size_t offset = 0; offset < 16; ++offset) {
        Exactly area(std::string(offset, Guard) + Key());
        CryptoBlockCipherSeed cipher = Cipher("");
        EXPECT_TRUE(cipher.SetUserSecretKey(area.Get() + offset));
        EXPECT_EQ(std::string(offset, Guard) + Key(), area.Text());
        EXPECT_EQ(Model(message, Schedule(Key())), Encrypt(cipher, message).output) << offset;
    }
}

TEST(SeedKey, ThatIsMissingMeansRoundKeysOfZero) {
    const std::string message = Message(64);
    CryptoBlockCipherSeed cipher = Cipher("");
    const Transformed encrypted = Encrypt(cipher, message);
    EXPECT_TRUE(encrypted.result);
    EXPECT_EQ(Model(message, ZeroRoundKeys), encrypted.output);
    EXPECT_EQ(message, Decrypt(cipher, encrypted.output).output);
    EXPECT_NE(Model(message, Schedule(std::string(16, '\0'))), encrypted.output);
}

TEST(SeedKey, IsMissingBeforeCreateToo) {
    alignas(CryptoBlockCipherSeed) unsigned char storage[sizeof(CryptoBlockCipherSeed)];
    std::memset(storage, Guard, sizeof storage);
    auto* const cipher = new (storage) CryptoBlockCipherSeed;
    EXPECT_EQ(Model(Message(64), ZeroRoundKeys), Encrypt(*cipher, Message(64)).output);
    cipher->~CryptoBlockCipherSeed();
}

TEST(SeedKey, NullIsRefusedAndKeepsTheRoundKeys) {
    const std::string message = Message(64);
    CryptoBlockCipherSeed cipher = Cipher("");
    EXPECT_FALSE(cipher.SetUserSecretKey(nullptr));
    EXPECT_EQ(Model(message, ZeroRoundKeys), Encrypt(cipher, message).output);
    SetKey(cipher, Key());
    EXPECT_FALSE(cipher.SetUserSecretKey(nullptr));
    EXPECT_EQ(Model(message, Schedule(Key())), Encrypt(cipher, message).output);
}

TEST(SeedKey, IsForgottenByCreate) {
    const std::string message = Message(64);
    CryptoBlockCipherSeed cipher = Cipher();
    EXPECT_TRUE(cipher.Create());
    EXPECT_EQ(Model(message, ZeroRoundKeys), Encrypt(cipher, message).output);
}

TEST(SeedKey, IsKeptByDestroy) {
    const std::string message = Message(64);
    CryptoBlockCipherSeed cipher = Cipher();
    cipher.Destroy();
    cipher.Destroy();
    EXPECT_EQ(Model(message, Schedule(Key())), Encrypt(cipher, message).output);
    EXPECT_EQ(message, Decrypt(cipher, Model(message, Schedule(Key()))).output);
}

TEST(SeedKey, GoesIntoCopiesThatAreObjectsOfTheirOwn) {
    const std::string message = Message(64);
    CryptoBlockCipherSeed cipher = Cipher();
    CryptoBlockCipherSeed copy(cipher);
    CryptoBlockCipherSeed assigned = Cipher("");
    assigned = cipher;
    cipher.Create();
    EXPECT_EQ(Model(message, Schedule(Key())), Encrypt(copy, message).output);
    EXPECT_EQ(Model(message, Schedule(Key())), Encrypt(assigned, message).output);
    EXPECT_EQ(Model(message, ZeroRoundKeys), Encrypt(cipher, message).output);
}

// Both directions of one message.
void ExpectBothDirections(Crypto& cipher, const std::string& message, const RoundKeys& roundKeys) {
    const Transformed encrypted = Encrypt(cipher, message);
    ASSERT_TRUE(encrypted.result);
    ASSERT_EQ(message.size(), encrypted.processedSize);
    ASSERT_EQ(Padded(message).size(), encrypted.outputSize);
    ASSERT_TRUE(Model(message, roundKeys) == encrypted.output);

    const Transformed decrypted = Decrypt(cipher, encrypted.output);
    ASSERT_TRUE(decrypted.result);
    ASSERT_EQ(encrypted.outputSize, decrypted.processedSize);
    ASSERT_EQ(encrypted.outputSize, decrypted.outputSize);
    ASSERT_TRUE(Padded(message) == decrypted.output);
}

TEST(SeedMessage, IsEncipheredBlockByBlockAtEveryLength) {
    CryptoBlockCipherSeed cipher = Cipher();
    const RoundKeys roundKeys = Schedule(Key());
    const std::string message = Message(600);
    for (std::size_t length = 1; length <= message.size(); ++length) {
        SCOPED_TRACE(length);
        ASSERT_NO_FATAL_FAILURE(ExpectBothDirections(cipher, message.substr(0, length), roundKeys));
    }
}

TEST(SeedMessage, MayBeLong) {
    CryptoBlockCipherSeed cipher = Cipher();
    const RoundKeys roundKeys = Schedule(Key());
    ExpectBothDirections(cipher, Message(1UL << 20), roundKeys);
    ExpectBothDirections(cipher, Message((1UL << 20) + 7), roundKeys);
}

TEST(SeedMessage, MayLieAtAnyAddress) {
    CryptoBlockCipherSeed cipher = Cipher();
    const std::string message = Message(80);
    const std::string expected = Model(message, Schedule(Key()));
    for (std::size_t offset = 0; offset < 16; ++offset) {
        EXPECT_EQ(expected, Encrypt(cipher, message, offset).output) << offset;
        EXPECT_EQ(message, Decrypt(cipher, expected, offset).output) << offset;
    }
}

TEST(SeedMessage, IsRoundedUpToWholeBlocks) {
    CryptoBlockCipherSeed cipher = Cipher();
    EXPECT_EQ(16UL, Encrypt(cipher, Message(1)).outputSize);
    EXPECT_EQ(1UL, Encrypt(cipher, Message(1)).processedSize);
    EXPECT_EQ(16UL, Encrypt(cipher, Message(16)).outputSize);
    EXPECT_EQ(16UL, Encrypt(cipher, Message(16)).processedSize);
    EXPECT_EQ(32UL, Encrypt(cipher, Message(17)).outputSize);
    EXPECT_EQ(17UL, Encrypt(cipher, Message(17)).processedSize);
}

TEST(SeedMessage, EndsInZerosThatDecryptLeaves) {
    CryptoBlockCipherSeed cipher = Cipher();
    const std::string encrypted = Encrypt(cipher, "seventeen letters").output;
    const Transformed decrypted = Decrypt(cipher, encrypted);
    EXPECT_EQ("seventeen letters" + std::string(15, '\0'), decrypted.output);
    EXPECT_EQ(32UL, decrypted.processedSize);
}

TEST(SeedMessage, IsTheSameWithZerosAtItsEndWithinTheLastBlock) {
    CryptoBlockCipherSeed cipher = Cipher();
    for (std::size_t length = 1; length <= 48; ++length) {
        const std::string message = Message(length);
        const std::string expected = Encrypt(cipher, message).output;
        for (std::string longer = message; longer.size() <= Padded(message).size(); longer += '\0')
            EXPECT_EQ(expected, Encrypt(cipher, longer).output) << length << ' ' << longer.size();
        EXPECT_NE(expected, Encrypt(cipher, Padded(message) + '\0').output) << length;
    }
}

TEST(SeedMessage, ShowsWhichOfItsBlocksAreEqual) {
    CryptoBlockCipherSeed cipher = Cipher();
    const std::string one = Message(16);
    const std::string two = Message(32).substr(16);
    const std::string output = Encrypt(cipher, one + two + one + one + two).output;
    const std::string first = output.substr(0, 16);
    const std::string second = output.substr(16, 16);
    EXPECT_NE(first, second);
    EXPECT_EQ(first + second + first + first + second, output);
    EXPECT_EQ(first, Encrypt(cipher, one).output);
}

TEST(SeedMessage, WithTheWrongKeyOrADamagedBlockIsDecipheredAllTheSame) {
    CryptoBlockCipherSeed cipher = Cipher();
    const std::string message = Message(48);
    std::string encrypted = Encrypt(cipher, message).output;
    CryptoBlockCipherSeed other = Cipher(Message(16));
    const Transformed wrong = Decrypt(other, encrypted);
    EXPECT_TRUE(wrong.result);
    EXPECT_EQ(48UL, wrong.outputSize);
    EXPECT_NE(message, wrong.output);
    encrypted[20] = static_cast<char>(encrypted[20] ^ 1);
    const Transformed damaged = Decrypt(cipher, encrypted);
    EXPECT_TRUE(damaged.result);
    EXPECT_EQ(message.substr(0, 16), damaged.output.substr(0, 16));
    EXPECT_NE(message.substr(16, 16), damaged.output.substr(16, 16));
    EXPECT_EQ(message.substr(32), damaged.output.substr(32));
}

// Calls one of the two and expects it to allocate an array of the size, and nothing else.
std::unique_ptr<unsigned char[]> ExpectOneArray(VornTest::Transform transform, unsigned char* input,
                                                unsigned long inputSize, std::size_t size) {
    CryptoBlockCipherSeed cipher = Cipher();
    unsigned char* output = nullptr;
    unsigned long processedSize = 0;
    unsigned long outputSize = 0;
    Platform::RecordAll();
    EXPECT_TRUE((cipher.*transform)(input, inputSize, processedSize, output, outputSize));
    const std::vector<std::string> order = Platform::Order();
    EXPECT_EQ(std::vector<std::string>{"operator new[]"}, order);
    EXPECT_EQ(std::vector<std::size_t>{size}, Platform::operator_new_array.Calls());
    Platform::Reset();
    return std::unique_ptr<unsigned char[]>(output);
}

TEST(SeedMessage, TakesOneArrayAndNothingForEachBlock) {
    Exactly input(Message(1599));
    const auto output = ExpectOneArray(&Crypto::Encrypt, input.Get(), 1599, 1600);
    ExpectOneArray(&Crypto::Decrypt, output.get(), 1600, 1600);
}

TEST(SeedMessage, MayComeFromTheVariablesThatTakeTheResults) {
    CryptoBlockCipherSeed cipher = Cipher();
    Exactly input(Message(20));
    unsigned char* text = input.Get();
    unsigned long size = 20;
    unsigned long outputSize = 0;
    ASSERT_TRUE(cipher.Encrypt(text, size, size, text, outputSize));
    const std::unique_ptr<unsigned char[]> encrypted(text);
    EXPECT_EQ(Model(Message(20), Schedule(Key())), std::string(text, text + outputSize));
    EXPECT_EQ(20UL, size);
    ASSERT_TRUE(cipher.Decrypt(text, outputSize, size, text, outputSize));
    const std::unique_ptr<unsigned char[]> decrypted(text);
    EXPECT_EQ(Padded(Message(20)), std::string(text, text + outputSize));
    EXPECT_EQ(32UL, size);
}

// Neither of the two may touch anything, whatever the outputs hold.
void ExpectRefusal(VornTest::Transform transform, unsigned char* input, unsigned long inputSize) {
    CryptoBlockCipherSeed cipher = Cipher();
    unsigned char old = 77;
    for (unsigned char* const before : {static_cast<unsigned char*>(nullptr), &old}) {
        unsigned char* output = before;
        unsigned long processedSize = 4711;
        unsigned long outputSize = 4712;
        Platform::operator_new_array.Record();
        EXPECT_FALSE((cipher.*transform)(input, inputSize, processedSize, output, outputSize));
        EXPECT_EQ(0U, Platform::operator_new_array.Count());
        Platform::operator_new_array.Reset();
        EXPECT_EQ(before, output);
        EXPECT_EQ(4711UL, processedSize);
        EXPECT_EQ(4712UL, outputSize);
        EXPECT_EQ(77, old);
    }
}

TEST(SeedRefusal, OfNothingByEncrypt) {
    Exactly input(Message(32));
    ExpectRefusal(&Crypto::Encrypt, input.Get(), 0);
    for (const unsigned long size : {0UL, 1UL, 16UL, 17UL, ULONG_MAX})
        ExpectRefusal(&Crypto::Encrypt, nullptr, size);
    EXPECT_EQ(Message(32), input.Text());
}

TEST(SeedRefusal, OfNothingAndOfPartsOfBlocksByDecrypt) {
    Exactly input(Message(64));
    for (unsigned long size = 0; size < 64; ++size) {
        if (size == 0 || size % 16 != 0)
            ExpectRefusal(&Crypto::Decrypt, input.Get(), size);
    }
    ExpectRefusal(&Crypto::Decrypt, input.Get(), ULONG_MAX);
    for (const unsigned long size : {0UL, 1UL, 15UL, 16UL, 17UL, 32UL})
        ExpectRefusal(&Crypto::Decrypt, nullptr, size);
    EXPECT_EQ(Message(64), input.Text());
}

// No memory for the output: 0 bytes of output, and nothing else changed.
void ExpectNoMemory(VornTest::Transform transform, unsigned long inputSize, std::size_t failFrom) {
    CryptoBlockCipherSeed cipher = Cipher();
    Exactly input(Message(32));
    unsigned char old = 77;
    unsigned char* output = &old;
    unsigned long processedSize = 4711;
    unsigned long outputSize = 4712;
    {
        const NoMemory none(Platform::operator_new_array, failFrom);
        EXPECT_THROW((cipher.*transform)(input.Get(), inputSize, processedSize, output, outputSize),
                     std::bad_alloc);
    }
    EXPECT_EQ(&old, output);
    EXPECT_EQ(4711UL, processedSize);
    EXPECT_EQ(0UL, outputSize);
    EXPECT_EQ(77, old);
    EXPECT_EQ(Message(32), input.Text());
    EXPECT_EQ(Model(Message(32), Schedule(Key())), Encrypt(cipher, Message(32)).output);
}

TEST(SeedMemory, ThatIsMissingLeavesNoOutput) {
    for (const unsigned long size : {1UL, 15UL, 16UL})
        ExpectNoMemory(&Crypto::Encrypt, size, 16);
    for (const unsigned long size : {17UL, 32UL})
        ExpectNoMemory(&Crypto::Encrypt, size, 32);
    ExpectNoMemory(&Crypto::Decrypt, 16, 16);
    ExpectNoMemory(&Crypto::Decrypt, 32, 32);
}

TEST(SeedMemory, IsMissingForSizesThatWouldWrapWhenRounded) {
    constexpr std::size_t TooMuch = 1UL << 40;
    for (unsigned long size = ULONG_MAX; size > ULONG_MAX - 40; --size) {
        SCOPED_TRACE(size);
        ExpectNoMemory(&Crypto::Encrypt, size, TooMuch);
        if (size % SeedBlockSize == 0)
            ExpectNoMemory(&Crypto::Decrypt, size, TooMuch);
    }
}

TEST(SeedLayout, HasTheOperationsOfTheInterfaceAndThenTheDestructor) {
    VornTest::ExpectTheSlotsOfACipher<CryptoBlockCipherSeed>();
    EXPECT_EQ(9U, VornTest::Slots<CryptoBlockCipherSeed>());
}

TEST(SeedLayout, HoldsTheRoundKeysAndNothingElse) {
    EXPECT_EQ(sizeof(void*) + 128, sizeof(CryptoBlockCipherSeed));
}

static_assert(std::has_virtual_destructor_v<CryptoBlockCipherSeed>);
static_assert(std::is_convertible_v<CryptoBlockCipherSeed*, Crypto*>);
static_assert(std::is_default_constructible_v<CryptoBlockCipherSeed>);
static_assert(
    std::is_same_v<void (*)(unsigned int*, const unsigned char*), decltype(&SeedRoundKey)>);
static_assert(
    std::is_same_v<void (*)(unsigned char*, const unsigned int*), decltype(&SeedEncrypt)>);
static_assert(
    std::is_same_v<void (*)(unsigned char*, const unsigned int*), decltype(&SeedDecrypt)>);
static_assert(std::is_same_v<decltype(&SeedRoundKey), decltype(&VornSeedRoundKey)>);
static_assert(std::is_same_v<decltype(&SeedEncrypt), decltype(&VornSeedEncrypt)>);
static_assert(std::is_same_v<decltype(&SeedDecrypt), decltype(&VornSeedDecrypt)>);

} // namespace
