#ifndef EXAMPLES_REPLACE_FILE_H
#define EXAMPLES_REPLACE_FILE_H

#include <filesystem>
#include <functional>
#include <string>

namespace Examples {

/// Puts a new file in the place of `target`, or of what it links to, in one step: `write` makes the
/// file at the temporary path beside the target that it is given, and throws when it cannot. Whoever
/// looks at the target meanwhile, or after the program was killed, finds the old file or the new
/// one, never a part. A replaced file's permissions are kept. The temporary file is named after
/// `program`, a part of a file name.
///
/// Throws std::runtime_error, or what `write` throws; the old file, or none, is then there and the
/// temporary one is gone. A target that is there but no regular file is refused.
void ReplaceFile(const std::filesystem::path& target, const std::string& program,
                 const std::function<void(const std::filesystem::path&)>& write);

/// Returns true for a name such as the temporary files of `program` have.
bool IsTemporaryName(const std::string& name, const std::string& program);

} // namespace Examples

#endif
