// SPDX-License-Identifier: MIT
// Concerns: a host that has functions with the names of the library's. Linked against the shared
// library, as a host is.
#include <Bases/Crypto.h>
#include <Bases/Text.h>
#include <Bases/Xml.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

int g_calls = 0;

} // namespace

// The host's own.
void SeedRoundKey(unsigned int* /*roundKeys*/, const unsigned char* /*key*/) { ++g_calls; }
void SeedEncrypt(unsigned char* /*block*/, const unsigned int* /*roundKeys*/) { ++g_calls; }
void SeedDecrypt(unsigned char* /*block*/, const unsigned int* /*roundKeys*/) { ++g_calls; }
char* _i64toa(long long /*value*/, char* buffer, int /*radix*/) {
    ++g_calls;
    *buffer = '\0';
    return buffer;
}

namespace {

// The first vector of RFC 4269, with the bytes of each word reversed.
TEST(HostNames, DoNotReachTheCipher) {
    const unsigned char key[16] = {};
    unsigned char text[] = {3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12};
    const std::vector<unsigned char> expected = {0xE0, 0xC6, 0xBA, 0x5E, 0x68, 0x16, 0x4E, 0x05,
                                                 0xCC, 0xF1, 0xAF, 0x19, 0xDB, 0x6C, 0x34, 0x6D};
    Vorn::Crypto* cipher = Vorn::CreateCrypto(Vorn::Crypto::BlockCipherSeed);
    ASSERT_NE(nullptr, cipher);
    ASSERT_TRUE(cipher->SetUserSecretKey(key));
    unsigned char* output = nullptr;
    unsigned long done = 0;
    unsigned long size = 0;
    ASSERT_TRUE(cipher->Encrypt(text, sizeof text, done, output, size));
    EXPECT_EQ(expected, std::vector<unsigned char>(output, output + size));
    delete[] output;
    Vorn::DestroyCrypto(cipher);
    EXPECT_EQ(0, g_calls);
}

TEST(HostNames, DoNotReachTheNumbersOfADocument) {
    Vorn::XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    ASSERT_TRUE(writer.BeginElement("a"));
    ASSERT_TRUE(writer.WriteAttribute("b", -7LL));
    ASSERT_TRUE(writer.EndElement());
    ASSERT_TRUE(writer.EndDocument());
    unsigned long size = 0;
    const unsigned char* const text = writer.GetXmlBuffer(size);
    EXPECT_THAT(std::string(text, text + size), testing::HasSubstr("b=\"-7\""));
    EXPECT_EQ(0, g_calls);
}

} // namespace
