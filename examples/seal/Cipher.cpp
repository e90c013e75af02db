// SPDX-License-Identifier: MIT
#include "Cipher.h"

#include <stdexcept>

namespace Seal {

namespace {

// Bytes as the library's ciphers take them.
unsigned char* Raw(std::string& bytes) { return reinterpret_cast<unsigned char*>(bytes.data()); }

const unsigned char* Raw(const std::string& bytes) {
    return reinterpret_cast<const unsigned char*>(bytes.data());
}

} // namespace

Cipher::Cipher(const std::string& key)
    : m_crypto(Vorn::CreateCrypto(Vorn::Crypto::BlockCipherSeed)) {
    // The cipher gets a pointer only and cannot check the length.
    if (key.size() != KeySize)
        throw std::invalid_argument("a key of the wrong length");
    if (!m_crypto || !m_crypto->SetUserSecretKey(Raw(key)))
        throw std::runtime_error("the cipher cannot be used");
}

std::string Cipher::Encipher(std::string bytes) { return Apply(&Vorn::Crypto::Encrypt, bytes); }

std::string Cipher::Decipher(std::string bytes) { return Apply(&Vorn::Crypto::Decrypt, bytes); }

std::string Cipher::Apply(Transform transform, std::string& bytes) {
    unsigned char* output = nullptr;
    unsigned long processed = 0;
    unsigned long size = 0;
    if (!((*m_crypto).*transform)(Raw(bytes), bytes.size(), processed, output, size))
        throw std::invalid_argument("bytes that the cipher does not take");
    const std::unique_ptr<unsigned char[]> owner(output);
    return {reinterpret_cast<const char*>(output), size};
}

} // namespace Seal
