#ifndef VORN_BASES_EXAMPLES_SEAL_CIPHER_H
#define VORN_BASES_EXAMPLES_SEAL_CIPHER_H

#include <memory>
#include <string>

#include <Bases/Crypto.h>

namespace Seal {

/// SEED with one key. Bytes are held in strings.
class Cipher {
public:
    static constexpr std::size_t KeySize = 16;
    static constexpr std::size_t BlockSize = 16;

    /// Throws std::invalid_argument when the key has not KeySize bytes.
    explicit Cipher(const std::string& key);

    /// Returns the bytes enciphered, filled up with zeros to a multiple of BlockSize. There is at
    /// least one byte.
    std::string Encipher(std::string bytes);

    /// Returns the bytes deciphered; their number is a multiple of BlockSize and not 0. A wrong key
    /// gives other bytes.
    std::string Decipher(std::string bytes);

private:
    using Transform = bool (Vorn::Crypto::*)(unsigned char*, unsigned long, unsigned long&,
                                             unsigned char*&, unsigned long&);

    /// The library's objects are not released with delete.
    struct Destroy {
        void operator()(Vorn::Crypto* crypto) const { Vorn::DestroyCrypto(crypto); }
    };

    std::string Apply(Transform transform, std::string& bytes);

    std::unique_ptr<Vorn::Crypto, Destroy> m_crypto;
};

} // namespace Seal

#endif
