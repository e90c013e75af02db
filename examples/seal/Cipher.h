// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_SEAL_CIPHER_H
#define VORN_BASES_EXAMPLES_SEAL_CIPHER_H

#include <memory>
#include <string>

#include <Bases/Crypto.h>

namespace Seal {

/// SEED with one key; strings hold the bytes.
class Cipher {
public:
    static constexpr std::size_t KeySize = 16;
    static constexpr std::size_t BlockSize = 16;

    /// Throws std::invalid_argument when the key has not KeySize bytes.
    explicit Cipher(const std::string& key);

    /// Encrypts at least one byte, padded with zeros to a multiple of BlockSize.
    std::string Encipher(std::string bytes);

    /// Decrypts bytes whose number is a multiple of BlockSize and not 0. A wrong key gives other
    /// bytes.
    std::string Decipher(std::string bytes);

private:
    using Transform = bool (Vorn::Crypto::*)(unsigned char*, unsigned long, unsigned long&,
                                             unsigned char*&, unsigned long&);

    /// Not delete, which the library's objects do not allow.
    struct Destroy {
        void operator()(Vorn::Crypto* crypto) const { Vorn::DestroyCrypto(crypto); }
    };

    std::string Apply(Transform transform, std::string& bytes);

    std::unique_ptr<Vorn::Crypto, Destroy> m_crypto;
};

} // namespace Seal

#endif
