#ifndef VORN_BASES_EXAMPLES_SEAL_SEAL_H
#define VORN_BASES_EXAMPLES_SEAL_SEAL_H

#include <string>

namespace Seal {

// What is enciphered is the MD5 digest of the bytes, and then the bytes. The digest tells a wrong
// key and damage; it does not stop anybody who changes a sealed file on purpose.

/// Returns the bytes enciphered with the key, as the text that Armour.h describes. There are at
/// most MostLength bytes, and Cipher::KeySize in the key.
std::string Encipher(const std::string& bytes, const std::string& key);

/// Returns the bytes that were enciphered with the key. Throws std::runtime_error with the reason
/// when the text is damaged or the key another one.
std::string Decipher(const std::string& text, const std::string& key);

} // namespace Seal

#endif
