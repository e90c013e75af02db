// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_SEAL_SEAL_H
#define VORN_BASES_EXAMPLES_SEAL_SEAL_H

#include <string>

namespace Seal {

// The MD5 digest of the bytes is encrypted in front of them. It detects a wrong key and damage, but
// not every deliberate change.

/// Encrypts at most MostLength bytes with a key of Cipher::KeySize bytes. Returns the text that
/// Armour.h describes.
std::string Encipher(const std::string& bytes, const std::string& key);

/// Returns the bytes that were encrypted with the key. Throws std::runtime_error with the reason
/// when the text is damaged or the key is another one.
std::string Decipher(const std::string& text, const std::string& key);

} // namespace Seal

#endif
