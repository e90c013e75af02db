// SPDX-License-Identifier: MIT
#include "Digest.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <new>

#include <Bases/Crypto.h>
#include <Bases/Text.h>

namespace Manifest {

namespace {

constexpr std::size_t SizeInBase64(std::size_t size) { return (size + 2) / 3 * 4; }

std::size_t SizeOf(Algorithm algorithm) { return algorithm == Algorithm::Md5 ? 16 : 32; }

using Bytes = std::array<unsigned char, Digest::MostBytes>;

std::optional<Bytes> FromHex(std::string_view text) {
    if (text.find_first_not_of("0123456789abcdef") != std::string_view::npos)
        return std::nullopt;
    Bytes bytes{};
    for (std::size_t i = 0; i < text.size() / 2; ++i)
        std::from_chars(&text[2 * i], &text[2 * i] + 2, bytes[i], 16);
    return bytes;
}

std::string ToBase64(const Bytes& bytes, std::size_t size) {
    std::array<char, Digest::MostBytes> copy{};
    std::copy(bytes.begin(), bytes.end(), copy.begin());
    std::string text;
    Vorn::Base64().Encode(copy.data(), size, text);
    return text;
}

// Decoding forgives more than one spelling; only what is encoded is taken.
std::optional<Bytes> FromBase64(std::string_view text, std::size_t size) {
    std::array<char, SizeInBase64(Digest::MostBytes) + 1> decoded{};
    if (Vorn::Base64().Decode(std::string(text).c_str(), decoded.data()) != size)
        return std::nullopt;
    Bytes bytes{};
    std::copy_n(decoded.begin(), size, bytes.begin());
    return ToBase64(bytes, size) == text ? std::optional(bytes) : std::nullopt;
}

} // namespace

const char* NameOf(Algorithm algorithm) { return algorithm == Algorithm::Md5 ? "md5" : "sha256"; }

std::optional<Algorithm> AlgorithmNamed(std::string_view name) {
    for (const Algorithm algorithm : {Algorithm::Md5, Algorithm::Sha256})
        if (name == NameOf(algorithm))
            return algorithm;
    return std::nullopt;
}

std::optional<Digest> Digest::Parse(Algorithm algorithm, std::string_view text) {
    const std::size_t size = SizeOf(algorithm);
    std::optional<Bytes> bytes;
    if (text.size() == 2 * size)
        bytes = FromHex(text);
    else if (text.size() == SizeInBase64(size))
        bytes = FromBase64(text, size);
    return bytes ? std::optional(Digest(algorithm, *bytes)) : std::nullopt;
}

std::string Digest::Text() const {
    constexpr std::string_view Digits = "0123456789abcdef";
    std::string text;
    if (!m_known)
        return text;
    text.reserve(2 * SizeOf(m_algorithm));
    for (std::size_t i = 0; i < SizeOf(m_algorithm); ++i) {
        text.push_back(Digits[m_bytes[i] >> 4U]);
        text.push_back(Digits[m_bytes[i] & 15U]);
    }
    return text;
}

std::string Digest::ShortText() const {
    return m_known ? ToBase64(m_bytes, SizeOf(m_algorithm)) : "";
}

Hasher::Hasher(Algorithm algorithm) : m_algorithm(algorithm) {
    if (algorithm == Algorithm::Sha256) {
        m_sha256.reset(EVP_MD_CTX_new());
        if (m_sha256 == nullptr || EVP_DigestInit_ex(m_sha256.get(), EVP_sha256(), nullptr) != 1)
            throw std::bad_alloc();
    }
    Begin();
}

void Hasher::Begin() {
    if (m_sha256 != nullptr)
        EVP_DigestInit_ex(m_sha256.get(), nullptr, nullptr); // the same again, which cannot fail
    else
        Vorn::CryptoHashMd5::MD5Init(&m_md5);
}

void Hasher::Add(std::string_view piece) {
    if (m_sha256 != nullptr)
        EVP_DigestUpdate(m_sha256.get(), piece.data(), piece.size());
    else
        Vorn::CryptoHashMd5::MD5Update(&m_md5, piece.data(), piece.size());
}

Digest Hasher::Finish() {
    std::array<unsigned char, Digest::MostBytes> bytes{};
    if (m_sha256 != nullptr) {
        EVP_DigestFinal_ex(m_sha256.get(), bytes.data(), nullptr);
    } else {
        Vorn::CryptoHashMd5::MD5Digest_struct md5;
        Vorn::CryptoHashMd5::MD5Final(&md5, &m_md5);
        std::copy(std::begin(md5.bytes), std::end(md5.bytes), bytes.begin());
    }
    Begin();
    return {m_algorithm, bytes};
}

} // namespace Manifest
