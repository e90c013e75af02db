#ifndef VORN_BASES_EXAMPLES_SEAL_FILES_H
#define VORN_BASES_EXAMPLES_SEAL_FILES_H

#include <string>

namespace Seal {

// All throw std::runtime_error with a message that names the file when something is wrong with it.

/// Returns the key that the file holds: Cipher::KeySize bytes and nothing else.
std::string ReadKey(const std::string& name);

/// Returns all bytes of a file that has at most `most`.
std::string ReadWhole(const std::string& name, unsigned long long most);

/// Puts a file with these bytes in the place of `name` in one step, or leaves what is there. A new
/// file is for its owner only; one that is replaced keeps its permissions.
void WriteWhole(const std::string& name, const std::string& bytes);

/// Throws when both names lead to the same file.
void KeepApart(const std::string& keyName, const std::string& outName);

} // namespace Seal

#endif
