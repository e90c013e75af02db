// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_COMMON_REPLACE_FILE_H
#define VORN_BASES_EXAMPLES_COMMON_REPLACE_FILE_H

#include <filesystem>
#include <string>
#include <string_view>

namespace Examples {

/// Replaces the file `target`, or the one it links to, with one that holds the bytes, in one step:
/// at any time, even after the program was killed, there is the old file or the new one, never a
/// part. The bytes are first written to a temporary file beside the target, with `program` in its
/// name.
///
/// A replaced file keeps its permissions; a new one gets `permissions` less the process's mask. The
/// temporary file is never readable by more users than the final one.
///
/// If `target` names a descriptor of this process, such as /dev/stdout, the bytes are written to
/// the descriptor instead, whatever it leads to. Any other target that exists and is not a regular
/// file is refused.
///
/// On failure throws std::runtime_error with the reason; the target is then as before, and the
/// temporary file is removed.
void ReplaceFile(const std::filesystem::path& target, const std::string& program,
                 std::filesystem::perms permissions, std::string_view bytes);

/// Returns true for names of the temporary files of `program`.
bool IsTemporaryName(const std::string& name, const std::string& program);

} // namespace Examples

#endif
