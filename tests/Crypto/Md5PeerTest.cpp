// SPDX-License-Identifier: MIT
// Concerns: digests that another library computes, for every length around the block boundaries,
// for long messages, and for messages in pieces.
#include <Bases/Crypto.h>

#include <cstddef>
#include <random>
#include <string>

#include <gtest/gtest.h>
#include <openssl/evp.h>

namespace {

using Vorn::CryptoHashMd5;
using Digest = CryptoHashMd5::MD5Digest_struct;

constexpr unsigned int Seed = 20231107;

std::string RandomBytes(std::mt19937& random, std::size_t length) {
    std::string bytes(length, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

std::string Bytes(const unsigned char (&bytes)[16]) {
    return {reinterpret_cast<const char*>(bytes), sizeof bytes};
}

std::string PeerSum(const std::string& message) {
    unsigned char digest[16];
    unsigned int size = 0;
    EXPECT_EQ(1, EVP_Digest(message.data(), message.size(), digest, &size, EVP_md5(), nullptr));
    EXPECT_EQ(16u, size);
    return Bytes(digest);
}

std::string Sum(const std::string& message) {
    Digest digest;
    CryptoHashMd5::MD5Sum(message.data(), message.size(), &digest);
    return Bytes(digest.bytes);
}

// The same, with the message in pieces of any length up to the given one.
std::string SumInPieces(const std::string& message, std::size_t longest, std::mt19937& random) {
    char context[88];
    CryptoHashMd5::MD5Init(&context);
    for (std::size_t taken = 0; taken < message.size();) {
        const std::string piece = message.substr(taken, random() % (longest + 1));
        CryptoHashMd5::MD5Update(&context, piece.data(), piece.size());
        taken += piece.size();
    }
    Digest digest;
    CryptoHashMd5::MD5Final(&digest, &context);
    return Bytes(digest.bytes);
}

TEST(Md5Peer, AgreesForEveryLength) {
    SCOPED_TRACE(Seed);
    std::mt19937 random(Seed);
    for (std::size_t length = 0; length <= 300; ++length) {
        const std::string message = RandomBytes(random, length);
        ASSERT_EQ(PeerSum(message), Sum(message)) << length;
    }
}

TEST(Md5Peer, AgreesForMessagesInPieces) {
    SCOPED_TRACE(Seed);
    std::mt19937 random(Seed);
    for (int run = 0; run < 200; ++run) {
        const std::string message = RandomBytes(random, random() % 5000);
        ASSERT_EQ(PeerSum(message), SumInPieces(message, random() % 300 + 1, random)) << run;
    }
}

TEST(Md5Peer, AgreesForLongMessages) {
    SCOPED_TRACE(Seed);
    std::mt19937 random(Seed);
    const std::string message = RandomBytes(random, (std::size_t{1} << 20) + 59);
    EXPECT_EQ(PeerSum(message), Sum(message));
    EXPECT_EQ(PeerSum(message), SumInPieces(message, 100000, random));
}

} // namespace
