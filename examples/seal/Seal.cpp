// SPDX-License-Identifier: MIT
#include "Seal.h"

#include <cstddef>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <Bases/Crypto.h>

#include "Armour.h"
#include "Cipher.h"

namespace Seal {

namespace {

std::string DigestOf(std::string_view bytes) {
    Vorn::CryptoHashMd5::MD5Digest_struct digest{};
    static_assert(sizeof digest.bytes == DigestSize);
    Vorn::CryptoHashMd5::MD5Sum(bytes.data(), bytes.size(), &digest);
    return {reinterpret_cast<const char*>(digest.bytes), DigestSize};
}

} // namespace

std::string Encipher(const std::string& bytes, const std::string& key) {
    return Armour({bytes.size(), Cipher(key).Encipher(DigestOf(bytes) + bytes)});
}

std::string Decipher(const std::string& text, const std::string& key) {
    Sealed sealed = Unarmour(text);
    std::string bytes = Cipher(key).Decipher(std::move(sealed.bytes));
    const std::string digest = bytes.substr(0, DigestSize);
    bytes.erase(0, DigestSize);
    bytes.resize(sealed.length); // without the padding
    if (DigestOf(bytes) != digest)
        throw std::runtime_error("sealed with another key, or damaged");
    return bytes;
}

} // namespace Seal
