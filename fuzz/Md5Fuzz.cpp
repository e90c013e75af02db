// SPDX-License-Identifier: MIT
// MD5 of a message in one piece and in several, against OpenSSL.

#include <array>
#include <cstring>
#include <memory>
#include <string>

#include <openssl/evp.h>

#include <Bases/Crypto.h>

#include "support/Fuzz.h"

namespace {

using Vorn::CryptoHashMd5;
using Digest = CryptoHashMd5::MD5Digest_struct;

std::string BytesOf(const Digest& digest) {
    return {std::begin(digest.bytes), std::end(digest.bytes)};
}

std::string DigestByPeer(const std::string& message) {
    static const EVP_MD* const pMd5 = EVP_MD_fetch(nullptr, "MD5", nullptr);
    std::array<unsigned char, 16> digest{};
    unsigned size = 0;
    VornFuzz::Check(
        EVP_Digest(message.data(), message.size(), digest.data(), &size, pMd5, nullptr) == 1 &&
            size == digest.size(),
        "OpenSSL has no MD5");
    return {digest.begin(), digest.end()};
}

std::string Hexadecimal(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        const auto number = static_cast<unsigned char>(byte);
        text += "0123456789abcdef"[number / 16];
        text += "0123456789abcdef"[number % 16];
    }
    return text;
}

} // namespace

void VornFuzz::Try(Input& input) {
    char context[Vorn::CryptoSize::Md5Context];
    CryptoHashMd5::MD5Init(&context);
    std::string message;
    while (!input.IsEmpty()) {
        // Each byte that comes with a count stands for up to four, so that blocks fill up.
        const std::size_t size = input.Below(150);
        std::string part = input.Text(size / 4 + 1);
        part.resize(part.size() * (size % 4 + 1), 'z');
        CryptoHashMd5::MD5Update(&context, part.data(), part.size());
        message += part;
    }
    Digest digest{};
    CryptoHashMd5::MD5Final(&digest, &context);

    const std::string expected = DigestByPeer(message);
    Check(BytesOf(digest) == expected, "MD5Final");
    Check(std::string(context, 8) == std::string(8, '\0'), "the context after MD5Final");
    Check(std::string(context + 8, 8) == expected.substr(8), "the rest of it");
    CryptoHashMd5::MD5Sum(message.data(), message.size(), &digest);
    Check(BytesOf(digest) == expected, "MD5Sum");
    Check(CryptoHashMd5::MD5String(message) == Hexadecimal(expected), "MD5String");

    unsigned char* pOutput = nullptr;
    unsigned long processed = 0;
    unsigned long size = 0;
    Check(CryptoHashMd5().Encrypt(reinterpret_cast<unsigned char*>(message.data()), message.size(),
                                  processed, pOutput, size),
          "Encrypt");
    const std::unique_ptr<unsigned char[]> output(pOutput);
    Check(std::string(output.get(), output.get() + size) == expected, "what Encrypt gives");
    Check(processed == message.size(), "how much Encrypt has processed");
}
