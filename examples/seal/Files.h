// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_SEAL_FILES_H
#define VORN_BASES_EXAMPLES_SEAL_FILES_H

#include <string>

namespace Seal {

// On failure all throw std::runtime_error with a message that names the file.

/// Returns the key in a file that holds Cipher::KeySize bytes and nothing else.
std::string ReadKey(const std::string& name);

/// Returns the bytes of a file, or of standard input for "-", at most `most`.
std::string ReadWhole(const std::string& name, unsigned long long most);

/// Replaces the file `name` in one step, as Examples::ReplaceFile does. A new file is for its owner
/// only.
void WriteWhole(const std::string& name, const std::string& bytes);

/// Throws when both names lead to the same file. The key "-" is in standard input.
void KeepApart(const std::string& keyName, const std::string& outName);

} // namespace Seal

#endif
