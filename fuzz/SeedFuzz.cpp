// SPDX-License-Identifier: MIT
// SEED on every route, against OpenSSL's, with the bytes of each word reversed on the way there and
// back.

#include <algorithm>
#include <memory>
#include <string>

#include <openssl/evp.h>
#include <openssl/provider.h>

#include <Bases/Crypto.h>

#include "support/Fuzz.h"

namespace {

using Vorn::CryptoBlockCipherSeed;

const unsigned char* BytesOf(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

std::string WordsReversed(std::string text) {
    for (auto word = text.begin(); word < text.end(); word += 4)
        std::reverse(word, word + 4);
    return text;
}

const EVP_CIPHER* PeersCipher() {
    static OSSL_PROVIDER* const pLegacy = OSSL_PROVIDER_load(nullptr, "legacy");
    static const EVP_CIPHER* const pCipher = EVP_CIPHER_fetch(nullptr, "SEED-ECB", nullptr);
    VornFuzz::Check(pLegacy != nullptr && pCipher != nullptr, "OpenSSL has no SEED");
    return pCipher;
}

// Whole blocks, enciphered (1) or deciphered (0).
std::string ByPeer(const std::string& key, const std::string& blocks, int encipher) {
    const std::string standardKey = WordsReversed(key);
    const std::string text = WordsReversed(blocks);
    std::string result(text.size(), '\0');
    int size = 0;
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(
        EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    VornFuzz::Check(EVP_CipherInit_ex2(context.get(), PeersCipher(), BytesOf(standardKey), nullptr,
                                       encipher, nullptr) == 1 &&
                        EVP_CIPHER_CTX_set_padding(context.get(), 0) == 1 &&
                        EVP_CipherUpdate(context.get(),
                                         reinterpret_cast<unsigned char*>(result.data()), &size,
                                         BytesOf(text), static_cast<int>(text.size())) == 1,
                    "OpenSSL fails");
    return WordsReversed(result);
}

using Transform = bool (CryptoBlockCipherSeed::*)(unsigned char*, unsigned long, unsigned long&,
                                                  unsigned char*&, unsigned long&);

// Nothing when the cipher refuses.
std::string Transformed(CryptoBlockCipherSeed& cipher, Transform transform, std::string message) {
    unsigned char* pOutput = nullptr;
    unsigned long processed = 0;
    unsigned long size = 0;
    if (!(cipher.*transform)(reinterpret_cast<unsigned char*>(message.data()), message.size(),
                             processed, pOutput, size))
        return {};
    const std::unique_ptr<unsigned char[]> output(pOutput);
    VornFuzz::Check(processed == message.size(), "how much has been processed");
    return {output.get(), output.get() + size};
}

void TryOneBlock(const std::string& key, const std::string& block) {
    unsigned roundKeys[Vorn::CryptoSize::SeedRoundKeyWords];
    std::string bytes = block;
    auto* const pBytes = reinterpret_cast<unsigned char*>(bytes.data());
    SeedRoundKey(roundKeys, BytesOf(key));
    SeedEncrypt(pBytes, roundKeys);
    VornFuzz::Check(bytes == ByPeer(key, block, 1), "SeedEncrypt");
    SeedDecrypt(pBytes, roundKeys);
    VornFuzz::Check(bytes == block, "SeedDecrypt");
}

} // namespace

// A message of few bytes is repeated, so that kernels have enough blocks.
void VornFuzz::Try(Input& input) {
    std::string key = input.Text(Vorn::CryptoSize::SeedKey);
    key.resize(Vorn::CryptoSize::SeedKey);
    const std::size_t times = input.Below(40) + 1;
    const std::string part = input.Rest();
    std::string message;
    for (std::size_t i = 0; i < times; ++i)
        message += part;

    std::string padded = message;
    padded.resize((message.size() + 15) / 16 * 16);
    const std::string enciphered = padded.empty() ? std::string() : ByPeer(key, padded, 1);
    const std::string deciphered = padded.empty() ? std::string() : ByPeer(key, padded, 0);
    OnEachRoute([&] {
        CryptoBlockCipherSeed cipher;
        cipher.Create();
        cipher.SetUserSecretKey(BytesOf(key));
        Check(Transformed(cipher, &CryptoBlockCipherSeed::Encrypt, message) == enciphered,
              "Encrypt");
        Check(Transformed(cipher, &CryptoBlockCipherSeed::Decrypt, padded) == deciphered,
              "Decrypt");
        Check(message.size() == padded.size() ||
                  Transformed(cipher, &CryptoBlockCipherSeed::Decrypt, message).empty(),
              "Decrypt of less than a block");
    });
    padded.resize(16);
    TryOneBlock(key, padded);
}
