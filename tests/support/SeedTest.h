// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_SEED_TEST_H
#define VORN_BASES_TESTS_SUPPORT_SEED_TEST_H

#include <Bases/Crypto.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <memory>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace VornTest {

using RoundKeys = std::array<unsigned int, 32>;

inline constexpr std::size_t SeedBlockSize = 16;

inline std::string RandomBytes(std::mt19937& random, std::size_t length) {
    std::string bytes(length, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

/// The bytes of whole 32-bit words with those of each word in reverse order, which is how the
/// standard and other programs have them.
inline std::string WordsReversed(std::string bytes) {
    for (std::size_t i = 0; i < bytes.size(); i += 4)
        std::reverse(bytes.data() + i, bytes.data() + i + 4);
    return bytes;
}

/// A copy of the bytes with nothing around it that could be read or written unnoticed.
class Exactly {
public:
    explicit Exactly(const std::string& bytes) : m_bytes(new unsigned char[bytes.size()]) {
        std::memcpy(m_bytes.get(), bytes.data(), bytes.size());
        m_size = bytes.size();
    }

    unsigned char* Get() { return m_bytes.get(); }
    std::string Text() const { return {m_bytes.get(), m_bytes.get() + m_size}; }

private:
    std::unique_ptr<unsigned char[]> m_bytes;
    std::size_t m_size = 0;
};

/// The round keys of a key, and a block transformed with them, by the functions without an object.
inline RoundKeys Schedule(const std::string& key) {
    RoundKeys roundKeys{};
    SeedRoundKey(roundKeys.data(), Exactly(key).Get());
    return roundKeys;
}

inline std::string Enciphered(const std::string& block, const RoundKeys& roundKeys) {
    Exactly bytes(block);
    SeedEncrypt(bytes.Get(), roundKeys.data());
    return bytes.Text();
}

inline std::string Deciphered(const std::string& block, const RoundKeys& roundKeys) {
    Exactly bytes(block);
    SeedDecrypt(bytes.Get(), roundKeys.data());
    return bytes.Text();
}

/// What Encrypt or Decrypt of an object did.
struct Transformed {
    bool result;
    std::string output;
    unsigned long processedSize;
    unsigned long outputSize;
};

using Transform = bool (Vorn::Crypto::*)(unsigned char*, unsigned long, unsigned long&,
                                         unsigned char*&, unsigned long&);

/// Calls one of them for a message that starts `offset` bytes off its alignment. Releases the
/// output as a caller does.
inline Transformed Run(Vorn::Crypto& crypto, Transform transform, const std::string& message,
                       std::size_t offset = 0) {
    Exactly input(std::string(offset, '\x5A') + message);
    unsigned char old = 77;
    unsigned char* output = &old;
    Transformed transformed{false, "", 4711, 4712};
    transformed.result =
        (crypto.*transform)(input.Get() + offset, message.size(), transformed.processedSize, output,
                            transformed.outputSize);
    EXPECT_EQ(77, old);
    EXPECT_EQ(std::string(offset, '\x5A') + message, input.Text());
    if (!transformed.result) {
        EXPECT_EQ(&old, output);
        return transformed;
    }
    const std::unique_ptr<unsigned char[]> owned(output);
    transformed.output.assign(output, output + transformed.outputSize);
    return transformed;
}

inline Transformed Encrypt(Vorn::Crypto& crypto, const std::string& message,
                           std::size_t offset = 0) {
    return Run(crypto, &Vorn::Crypto::Encrypt, message, offset);
}

inline Transformed Decrypt(Vorn::Crypto& crypto, const std::string& message,
                           std::size_t offset = 0) {
    return Run(crypto, &Vorn::Crypto::Decrypt, message, offset);
}

inline bool SetKey(Vorn::Crypto& crypto, const std::string& key) {
    return crypto.SetUserSecretKey(Exactly(key).Get());
}

} // namespace VornTest

#endif
