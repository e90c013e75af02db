#ifndef VORN_BASES_EXAMPLES_COMMON_REPLACE_FILE_H
#define VORN_BASES_EXAMPLES_COMMON_REPLACE_FILE_H

#include <filesystem>
#include <string>
#include <string_view>

namespace Examples {

/// Replaces the file `target`, or what it links to, with one that holds the bytes, in one step:
/// whoever looks at it meanwhile, or after the program was killed, finds the old file or the new
/// one, never a part. The bytes are first written to a temporary file beside the target, named
/// after `program`, a part of a file name.
///
/// A replaced file's permissions are kept, a new file gets `permissions` less the process's mask;
/// at no time can anybody read the temporary file who may not read the final one.
///
/// A descriptor of the process's own, such as /dev/stdout, is written to as it is, whatever it
/// leads to. Any other target that is there but no regular file is refused.
///
/// Throws std::runtime_error; the old file, or none, is then there and the temporary one is gone.
void ReplaceFile(const std::filesystem::path& target, const std::string& program,
                 std::filesystem::perms permissions, std::string_view bytes);

/// Returns true for a name such as the temporary files of `program` have.
bool IsTemporaryName(const std::string& name, const std::string& program);

} // namespace Examples

#endif
