// SPDX-License-Identifier: MIT
// Concerns: ciphertexts and deciphered texts that another library makes, for single blocks and
// whole messages under random keys, with the bytes of each word reversed on the way there and back.
#include <Bases/Crypto.h>

#include <memory>
#include <random>
#include <string>

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

#include "support/SeedTest.h"

namespace {

using Vorn::CryptoBlockCipherSeed;
using VornTest::Deciphered;
using VornTest::Enciphered;
using VornTest::RandomBytes;
using VornTest::Schedule;
using VornTest::SeedBlockSize;
using VornTest::WordsReversed;

constexpr unsigned int Seed = 20060104;

template <typename Type, auto Free>
struct Deleter {
    void operator()(Type* object) const { Free(object); }
};

template <typename Type, auto Free>
using Handle = std::unique_ptr<Type, Deleter<Type, Free>>;

// The other library keeps SEED among its old ciphers, which have to be loaded, and which its
// packages may have left out.
class SeedPeer : public testing::Test {
protected:
    void SetUp() override {
        m_library.reset(OSSL_LIB_CTX_new());
        m_provider.reset(OSSL_PROVIDER_load(m_library.get(), "legacy"));
        if (m_provider == nullptr)
            GTEST_SKIP() << "this OpenSSL comes without its provider \"legacy\"";
        m_cipher.reset(EVP_CIPHER_fetch(m_library.get(), "SEED-ECB", nullptr));
        if (m_cipher == nullptr)
            GTEST_SKIP() << "this OpenSSL was built without SEED";
    }

    // Whole blocks, enciphered (1) or deciphered (0).
    std::string Peer(const std::string& key, const std::string& blocks, int encipher) const {
        const Handle<EVP_CIPHER_CTX, EVP_CIPHER_CTX_free> context(EVP_CIPHER_CTX_new());
        const std::string standardKey = WordsReversed(key);
        const std::string text = WordsReversed(blocks);
        std::string result(text.size(), '\0');
        int size = 0;
        EXPECT_EQ(1, EVP_CipherInit_ex2(context.get(), m_cipher.get(), Bytes(standardKey), nullptr,
                                        encipher, nullptr));
        EXPECT_EQ(1, EVP_CIPHER_CTX_set_padding(context.get(), 0));
        EXPECT_EQ(1,
                  EVP_CipherUpdate(context.get(), reinterpret_cast<unsigned char*>(result.data()),
                                   &size, Bytes(text), static_cast<int>(text.size())));
        EXPECT_EQ(text.size(), static_cast<std::size_t>(size));
        return WordsReversed(result);
    }

private:
    static const unsigned char* Bytes(const std::string& text) {
        return reinterpret_cast<const unsigned char*>(text.data());
    }

    Handle<OSSL_LIB_CTX, OSSL_LIB_CTX_free> m_library;
    Handle<OSSL_PROVIDER, OSSL_PROVIDER_unload> m_provider;
    Handle<EVP_CIPHER, EVP_CIPHER_free> m_cipher;
};

TEST_F(SeedPeer, AgreesForSingleBlocks) {
    SCOPED_TRACE(Seed);
    std::mt19937 random(Seed);
    for (int run = 0; run < 2000; ++run) {
        const std::string key = RandomBytes(random, SeedBlockSize);
        const std::string block = RandomBytes(random, SeedBlockSize);
        ASSERT_EQ(Peer(key, block, 1), Enciphered(block, Schedule(key))) << run;
        ASSERT_EQ(Peer(key, block, 0), Deciphered(block, Schedule(key))) << run;
    }
}

TEST_F(SeedPeer, AgreesForKeysAndBlocksOfOneBit) {
    for (std::size_t bit = 0; bit < 128; ++bit) {
        std::string one(SeedBlockSize, '\0');
        one[bit / 8] = static_cast<char>(1 << bit % 8);
        const std::string none(SeedBlockSize, '\0');
        ASSERT_EQ(Peer(one, none, 1), Enciphered(none, Schedule(one))) << bit;
        ASSERT_EQ(Peer(none, one, 1), Enciphered(one, Schedule(none))) << bit;
        ASSERT_EQ(Peer(one, one, 0), Deciphered(one, Schedule(one))) << bit;
    }
}

TEST_F(SeedPeer, AgreesForMessages) {
    SCOPED_TRACE(Seed);
    std::mt19937 random(Seed);
    CryptoBlockCipherSeed cipher;
    cipher.Create();
    for (int run = 0; run < 200; ++run) {
        const std::string key = RandomBytes(random, SeedBlockSize);
        const std::string message = RandomBytes(random, random() % 1000 + 1);
        std::string padded = message;
        padded.resize((message.size() + 15) / 16 * 16);
        VornTest::SetKey(cipher, key);
        ASSERT_EQ(Peer(key, padded, 1), VornTest::Encrypt(cipher, message).output) << run;
        ASSERT_EQ(Peer(key, padded, 0), VornTest::Decrypt(cipher, padded).output) << run;
    }
}

TEST_F(SeedPeer, AgreesForALongMessage) {
    SCOPED_TRACE(Seed);
    std::mt19937 random(Seed);
    const std::string key = RandomBytes(random, SeedBlockSize);
    const std::string message = RandomBytes(random, 1UL << 20);
    CryptoBlockCipherSeed cipher;
    cipher.Create();
    VornTest::SetKey(cipher, key);
    EXPECT_TRUE(Peer(key, message, 1) == VornTest::Encrypt(cipher, message).output);
    EXPECT_TRUE(Peer(key, message, 0) == VornTest::Decrypt(cipher, message).output);
}

} // namespace
