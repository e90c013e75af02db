// SPDX-License-Identifier: MIT
// The parts of seal one by one.

#include "support/TempDir.h"
#include "support/Unprivileged.h"

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <sys/stat.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Armour.h"
#include "Cipher.h"
#include "Files.h"
#include "Seal.h"

namespace {

using Seal::Cipher;
using Seal::Sealed;
using VornTest::TempDir;
using VornTest::Unprivileged;

const char* const NoSealedFile = "not a sealed file";
const char* const NoLength = "line 2 does not state the length";
const char* const CutOff = "cut off: the last line is missing";
const char* const Behind = "there is more after the last line";
const char* const Unpadded = "the Base64 text is not padded correctly";
const char* const OtherKey = "sealed with another key, or damaged";

const std::string FirstLine = "Sealed file, version 1\n";
const std::string LastLine = "End of sealed file\n";

/// The bytes begin, begin + 1 and so on.
std::string Bytes(std::size_t count, std::size_t begin = 0) {
    std::string bytes;
    for (std::size_t i = 0; i < count; ++i)
        bytes.push_back(static_cast<char>(begin + i));
    return bytes;
}

const std::string Key = Bytes(16, 1);
const std::string Message = "Meet me at midnight.";

// Made of the key and the message with OpenSSL's SEED, the bytes of each word of key, input and
// output reversed, and with Python's hashlib and base64.
const std::string MessageBase64 =
    "ORAy+NLLiYozXp5XEZCIVlfCRXR9JaJyXi55fCms2ExSvdBI3GjLLl16MLcylCbO\n";
const std::string SealedMessage = FirstLine + "Length: 20\n" + MessageBase64 + LastLine;

/// Calls the function and returns what it throws, or "nothing".
template <typename Function>
std::string Refusal(Function function) {
    try {
        function();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "nothing";
}

std::string RefusalOf(const std::string& text) {
    return Refusal([&text] { Seal::Unarmour(text); });
}

std::string RefusalOfLength(const std::string& line) {
    return RefusalOf(FirstLine + line + "\n" + MessageBase64 + LastLine);
}

std::string WithLength(const std::string& length, const std::string& base64) {
    std::string text = FirstLine;
    text.append("Length: ").append(length).append("\n").append(base64).append(LastLine);
    return text;
}

std::string RefusalOfBase64(const std::string& base64, const std::string& length = "20") {
    return RefusalOf(WithLength(length, base64));
}

// Concerns: the exact text; every size around a block and a line; what a text may go through
// without harm.

TEST(SealArmour, HasTheLengthAndLinesOf64Characters) {
    EXPECT_EQ("Sealed file, version 1\n"
              "Length: 48\n"
              "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygpKissLS4v\n"
              "MDEyMzQ1Njc4OTo7PD0+Pw==\n"
              "End of sealed file\n",
              Seal::Armour({48, Bytes(64)}));
    EXPECT_EQ(FirstLine +
                  "Length: 32\n"
                  "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygpKissLS4v\n" +
                  LastLine,
              Seal::Armour({32, Bytes(48)}));
    EXPECT_EQ(FirstLine + "Length: 0\nAAECAwQFBgcICQoLDA0ODw==\n" + LastLine,
              Seal::Armour({0, Bytes(16)}));
}

TEST(SealArmour, KnowsTheSizeOfTheEncipheredBytes) {
    const std::vector<std::pair<unsigned long long, unsigned long long>> sizes{
        {0, 16}, {1, 32}, {15, 32}, {16, 32}, {17, 48}, {1ULL << 30U, (1ULL << 30U) + 16}};
    for (const auto& [length, size] : sizes)
        EXPECT_EQ(size, Seal::SealedSize(length)) << length;
}

TEST(SealArmour, GivesBackWhatItWasGiven) {
    for (unsigned long long length = 0; length <= 300; ++length) {
        const std::string bytes = Bytes(Seal::SealedSize(length), length);
        const Sealed sealed = Seal::Unarmour(Seal::Armour({length, bytes}));
        ASSERT_EQ(length, sealed.length);
        ASSERT_EQ(bytes, sealed.bytes);
    }
}

TEST(SealArmour, MayHaveItsLinesEndedAndBrokenInOtherWays) {
    const std::string expected = Seal::Unarmour(SealedMessage).bytes;
    std::string crlf;
    std::string narrow = FirstLine + "Length: 20\n";
    for (const char c : SealedMessage)
        crlf += c == '\n' ? "\r\n" : std::string(1, c);
    for (const char c : MessageBase64)
        narrow += std::string(1, c) + (c == '\n' ? "" : "\n");
    for (const std::string& text :
         {crlf, crlf.substr(0, crlf.size() - 1), crlf.substr(0, crlf.size() - 2), narrow + LastLine,
          SealedMessage.substr(0, SealedMessage.size() - 1)}) {
        const Sealed sealed = Seal::Unarmour(text);
        EXPECT_EQ(20U, sealed.length) << text;
        EXPECT_EQ(expected, sealed.bytes) << text;
    }
}

// Concerns: each part that can be damaged has its own message; nothing is guessed.

TEST(SealArmourRefuses, OtherFilesAndOtherVersions) {
    for (const std::string& begin :
         {std::string(), std::string("\n"), std::string("\0", 1),
          std::string("sealed file, version 1\n"), " " + FirstLine, "\n" + FirstLine,
          "\xEF\xBB\xBF" + FirstLine, std::string("Sealed file")})
        EXPECT_EQ(NoSealedFile, RefusalOf(begin + SealedMessage.substr(FirstLine.size())));
    EXPECT_EQ(NoSealedFile, RefusalOf(""));
    for (const char* version : {"", "2", "10", "01", "1 ", "1\r\r", "x"})
        EXPECT_EQ("a sealed file of an unknown version",
                  RefusalOf("Sealed file, version " + std::string(version) + "\n"));
}

TEST(SealArmourRefuses, LengthsThatAreNotPlainNumbers) {
    for (const char* line :
         {"", "Length:", "Length: ", "Length:20", "Length:  20", "Length: 20 ", "Length: +20",
          "Length: -20", "Length: 020", "Length: 00", "Length: 0x14", "Length: 2O", "Length: 20.0",
          "Length: 20\r\r", "length: 20", " Length: 20", "Length: 99999999999999999999x"})
        EXPECT_EQ(NoLength, RefusalOfLength(line)) << line;
    EXPECT_EQ(NoLength, RefusalOfLength(std::string("Length: 20\0", 11)));
    EXPECT_EQ(NoLength, RefusalOf(FirstLine));
    EXPECT_EQ(NoLength, RefusalOf(FirstLine + LastLine));
}

TEST(SealArmourRefuses, LengthsAboveTheLimit) {
    const std::string reason =
        "line 2 states a length above 1073741824, the most that can be sealed";
    for (const char* length : {"1073741825", "18446744073709551600", "18446744073709551615",
                               "18446744073709551616", "99999999999999999999999999"})
        EXPECT_EQ(reason, RefusalOfBase64(MessageBase64, length)) << length;
    EXPECT_EQ("64 characters of Base64, where the length needs 1431655788",
              RefusalOfBase64(MessageBase64, "1073741824"));
}

TEST(SealArmourRefuses, CharactersThatAreNotBase64AndNamesTheirLine) {
    const std::string line = MessageBase64.substr(0, MessageBase64.size() - 1);
    const std::string base64 = "+/09AZaz=";
    for (int value = 0; value < 256; ++value) {
        const char c = static_cast<char>(value);
        if (c == '\n' || base64.find(c) != std::string::npos || (c >= '0' && c <= '9') ||
            (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'))
            continue;
        EXPECT_EQ("line 4 holds a character that is not Base64",
                  RefusalOfBase64(line.substr(0, 30) + "\n" + line.substr(30, 4) + c +
                                  line.substr(35) + "\n"))
            << value;
    }
}

TEST(SealArmourRefuses, TextThatWasCutOff) {
    for (std::size_t size = FirstLine.size() + std::string("Length: 2").size();
         size < SealedMessage.size() - 1; ++size)
        EXPECT_EQ(CutOff, RefusalOf(SealedMessage.substr(0, size))) << size;
}

TEST(SealArmourRefuses, TextAfterTheLastLine) {
    for (const char* more : {"\n", "\r\n", " ", "x", "End of sealed file\n"})
        EXPECT_EQ(Behind, RefusalOf(SealedMessage + more)) << more;
    EXPECT_EQ(Behind, RefusalOf(SealedMessage + SealedMessage));
}

TEST(SealArmourRefuses, MoreOrLessBase64ThanTheLengthNeeds) {
    const std::string line = MessageBase64.substr(0, MessageBase64.size() - 1);
    EXPECT_EQ("63 characters of Base64, where the length needs 64",
              RefusalOfBase64(line.substr(1) + "\n"));
    EXPECT_EQ("65 characters of Base64, where the length needs 64",
              RefusalOfBase64("A" + MessageBase64));
    EXPECT_EQ("128 characters of Base64, where the length needs 64",
              RefusalOfBase64(MessageBase64 + MessageBase64));
    EXPECT_EQ("64 characters of Base64, where the length needs 44",
              RefusalOfBase64(MessageBase64, "16"));
    EXPECT_EQ("64 characters of Base64, where the length needs 88",
              RefusalOfBase64(MessageBase64, "33"));
    EXPECT_EQ("0 characters of Base64, where the length needs 24", RefusalOfBase64("", "0"));
}

TEST(SealArmourRefuses, PaddingInTheWrongPlaceAndBitsThatNoByteHas) {
    EXPECT_EQ("nothing", RefusalOfBase64("AAECAwQFBgcICQoLDA0ODw==\n", "0"));
    for (const char* base64 :
         {"AAECAwQFBgcICQoLDA0ODw=A", "AAECAwQFBgcICQoLDA0ODwAA",
          "AAECAwQFBgcICQoLDA0ODxA=", "==AAECAwQFBgcICQoLDA0ODw",
          "AAECAwQFBgcICQoLDA0O=w==", "AAECAwQFBgcICQoLDA0OD=w=", "=AECAwQFBgcICQoLDA0ODw==",
          "========================", "AAECAwQFBgcICQoLDA0ODx==", "AAECAwQFBgcICQoLDA0OD/=="})
        EXPECT_EQ(Unpadded, RefusalOfBase64(base64 + std::string("\n"), "0")) << base64;
}

// Concerns: keys that the cipher could not distinguish from longer ones; agreement with the
// library's SEED.

TEST(SealCipher, TakesKeysOf16BytesOnly) {
    for (std::size_t size = 0; size <= 33; ++size) {
        if (size == Cipher::KeySize)
            continue;
        EXPECT_THROW(Cipher{std::string(size, 'k')}, std::invalid_argument) << size;
    }
}

TEST(SealCipher, FillsUpWithZerosAndDeciphersThemToo) {
    Cipher cipher(Key);
    for (std::size_t size = 1; size <= 48; ++size) {
        const std::string bytes = Bytes(size, 1);
        const std::string enciphered = cipher.Encipher(bytes);
        const std::size_t filled = (size + 15) / 16 * 16;
        ASSERT_EQ(filled, enciphered.size());
        EXPECT_EQ(bytes + std::string(filled - size, '\0'), cipher.Decipher(enciphered));
    }
}

TEST(SealCipher, RefusesNoBytesAndPartsOfBlocks) {
    Cipher cipher(Key);
    EXPECT_THROW(cipher.Encipher(""), std::invalid_argument);
    for (const std::size_t size : {0U, 1U, 15U, 17U})
        EXPECT_THROW(cipher.Decipher(std::string(size, 'x')), std::invalid_argument) << size;
}

// Concerns: the text is what an independent program makes; every size comes back; no damage gives
// other bytes.

TEST(SealText, IsWhatAnotherImplementationProduces) {
    EXPECT_EQ(SealedMessage, Seal::Encipher(Message, Key));
    EXPECT_EQ(Message, Seal::Decipher(SealedMessage, Key));
    EXPECT_EQ(FirstLine + "Length: 0\n7G4NEJEuh7TFpTQdThuisQ==\n" + LastLine,
              Seal::Encipher("", Key));
    EXPECT_EQ(FirstLine +
                  "Length: 81\n"
                  "ZoaeVeMdNkfXodVd/v+owun3ztgpVaa/tMGYBk1/f4a5DWu42qUBqhn1Nynk6y3U\n"
                  "tm5fdeRUklbs/R97LWyR5pyign/ALdlC/kQvHGuLGuUsOYGRi7LdJ4hg1RZVz0Rs\n"
                  "3JCMrp+oCeP7WmTMNVR3hg==\n" +
                  LastLine,
              Seal::Encipher(Bytes(81), Key));
}

TEST(SealText, GivesBackEverySizeAndTheZerosAtTheEnd) {
    for (std::size_t size = 0; size <= 200; ++size) {
        for (const std::string& bytes : {Bytes(size, size), std::string(size, '\0')})
            ASSERT_EQ(bytes, Seal::Decipher(Seal::Encipher(bytes, Key), Key)) << size;
    }
}

TEST(SealText, ShowsEqualBlocksAndEqualFilesAsEqual) {
    const std::string twice = Seal::Encipher(std::string(96, 'x'), Key);
    EXPECT_EQ(twice, Seal::Encipher(std::string(96, 'x'), Key));
    const std::string bytes = Seal::Unarmour(twice).bytes;
    for (std::size_t block = 2; block <= 6; ++block)
        EXPECT_EQ(bytes.substr(16, 16), bytes.substr(16 * block, 16));
    EXPECT_NE(bytes.substr(0, 16), bytes.substr(16, 16));
}

TEST(SealText, IsRefusedWithEveryKeyThatDiffersInOneBit) {
    for (std::size_t bit = 0; bit < 128; ++bit) {
        std::string other = Key;
        other[bit / 8] = static_cast<char>(other[bit / 8] ^ 1 << bit % 8);
        EXPECT_EQ(OtherKey, Refusal([&] { Seal::Decipher(SealedMessage, other); })) << bit;
        EXPECT_EQ(OtherKey, Refusal([&] { Seal::Decipher(Seal::Encipher("", Key), other); }))
            << bit;
    }
}

TEST(SealText, IsRefusedWithAnotherLengthOfAsManyBlocks) {
    for (int length = 17; length <= 32; ++length) {
        if (length == 20)
            continue;
        const std::string text = WithLength(std::to_string(length), MessageBase64);
        EXPECT_EQ(OtherKey, Refusal([&] { Seal::Decipher(text, Key); })) << length;
    }
}

// The only byte that may be another one is what ends the last line: a carriage return will do.
TEST(SealText, IsRefusedWhenAnyByteIsAnyOtherOne) {
    std::size_t harmless = 0;
    for (std::size_t i = 0; i < SealedMessage.size(); ++i) {
        for (int change = 1; change < 256; ++change) {
            std::string text = SealedMessage;
            text[i] = static_cast<char>(text[i] ^ change);
            if (Refusal([&] { EXPECT_EQ(Message, Seal::Decipher(text, Key)); }) != "nothing")
                continue;
            ++harmless;
            EXPECT_EQ(SealedMessage.size() - 1, i);
            EXPECT_EQ('\r', text[i]);
        }
    }
    EXPECT_EQ(1U, harmless);
}

// Without the line feed at its end nothing is lost.
TEST(SealText, IsRefusedWhenCutOffAnywhere) {
    for (std::size_t size = 0; size < SealedMessage.size(); ++size) {
        const std::string reason =
            Refusal([&] { Seal::Decipher(SealedMessage.substr(0, size), Key); });
        EXPECT_EQ(size == SealedMessage.size() - 1, reason == "nothing") << size;
    }
}

// Base64 text may be broken anywhere, so that a missing line feed inside it does no harm.
TEST(SealText, IsRefusedWhenAByteIsMissingOrThereTwice) {
    const std::string sealed = Seal::Encipher(Bytes(81), Key);
    const std::size_t begin = (FirstLine + "Length: 81\n").size();
    std::set<std::size_t> harmless{sealed.size() - 1};
    for (const std::size_t line : {1U, 2U})
        harmless.insert(begin + 65 * line - 1);
    for (std::size_t i = 0; i < sealed.size(); ++i) {
        std::string text = sealed;
        text.erase(i, 1);
        const std::string reason =
            Refusal([&] { EXPECT_EQ(Bytes(81), Seal::Decipher(text, Key)); });
        EXPECT_EQ(harmless.count(i) == 1, reason == "nothing") << i;
        text.insert(i, 2, sealed[i]);
        const bool emptyLine = sealed[i] == '\n' && i >= begin - 1 && i != sealed.size() - 1;
        EXPECT_EQ(emptyLine, Refusal([&] { Seal::Decipher(text, Key); }) == "nothing") << i;
    }
}

// Concerns: what the user may not do; sizes that are known exactly without reading.

class SealFiles : public testing::Test {
protected:
    std::string Make(const std::string& name, const std::string& content) const {
        std::ofstream file(m_dir.File(name), std::ios::binary);
        file << content;
        EXPECT_TRUE(file.flush().good()) << name;
        return m_dir.File(name);
    }

    TempDir m_dir;
};

TEST_F(SealFiles, AreReadUpToTheLimitAndNotBeyond) {
    const std::string name = Make("file", Bytes(1000));
    EXPECT_EQ(Bytes(1000), Seal::ReadWhole(name, 1000));
    EXPECT_EQ(name + ": has 1000 bytes; at most 999 can be taken",
              Refusal([&] { Seal::ReadWhole(name, 999); }));
    EXPECT_EQ("", Seal::ReadWhole(Make("empty", ""), 0));
    const std::string one = Make("one", "1");
    EXPECT_EQ(one + ": has 1 byte; at most 0 can be taken",
              Refusal([&] { Seal::ReadWhole(one, 0); }));
}

// The system reports a size of 0 for such files, whatever is in them.
TEST_F(SealFiles, AreCountedWhenTheSystemDoesNotKnowTheirSize) {
    const std::string name = "/proc/self/stat";
    EXPECT_FALSE(Seal::ReadWhole(name, 10000).empty());
    EXPECT_THAT(Refusal([&] { Seal::ReadWhole(name, 10); }),
                testing::MatchesRegex(name + ": has [0-9]+ bytes; at most 10 can be taken"));
}

TEST_F(SealFiles, ThatMayNotBeReadAreRefused) {
    const std::string name = Make("secret", Key);
    ASSERT_EQ(0, chmod(name.c_str(), 0));
    VornTest::OpenToAll(m_dir);
    const Unprivileged user;
    if (user.Failed())
        GTEST_SKIP() << Unprivileged::WhyFailed;
    EXPECT_EQ(name + ": Permission denied", Refusal([&] { Seal::ReadWhole(name, 1000); }));
    EXPECT_EQ(name + ": Permission denied", Refusal([&] { Seal::ReadKey(name); }));
}

TEST_F(SealFiles, AreNotCreatedWhereTheUserMayNotWrite) {
    ASSERT_EQ(0, chmod(m_dir.Path().c_str(), 0555));
    const std::string name = m_dir.File("out");
    const Unprivileged user;
    if (user.Failed())
        GTEST_SKIP() << Unprivileged::WhyFailed;
    EXPECT_EQ(name + ": Permission denied", Refusal([&] { Seal::WriteWhole(name, "x"); }));
    EXPECT_FALSE(std::filesystem::exists(name));
}

TEST_F(SealFiles, AreWrittenWhateverTheirSize) {
    const std::string name = m_dir.File("out");
    for (const std::size_t size : {0U, 1U, (1U << 20U) - 1, 1U << 20U, (3U << 20U) + 7}) {
        Seal::WriteWhole(name, Bytes(size));
        EXPECT_TRUE(Bytes(size) == Seal::ReadWhole(name, size)) << size;
    }
}

TEST_F(SealFiles, OfTheKeyAndTheOutputMustDiffer) {
    const std::string key = Make("key", Key);
    const std::string other = Make("other", Key);
    EXPECT_EQ("nothing", Refusal([&] { Seal::KeepApart(key, other); }));
    EXPECT_EQ("nothing", Refusal([&] { Seal::KeepApart(key, m_dir.File("missing")); }));
    EXPECT_EQ("nothing", Refusal([&] { Seal::KeepApart(m_dir.File("missing"), key); }));
    const std::string link = m_dir.File("link");
    std::filesystem::create_hard_link(key, link);
    EXPECT_EQ(link + ": holds the key, which would be lost",
              Refusal([&] { Seal::KeepApart(key, link); }));
}

} // namespace
