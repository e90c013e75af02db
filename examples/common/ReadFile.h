#ifndef VORN_BASES_EXAMPLES_COMMON_READ_FILE_H
#define VORN_BASES_EXAMPLES_COMMON_READ_FILE_H

#include <functional>
#include <string>
#include <string_view>

namespace Examples {

/// Reads the regular file `name` from begin to end and hands every piece to `use`. Returns an empty
/// text when all of it was read, otherwise the reason why not; pieces may have been used by then.
std::string ReadInPieces(const std::string& name, const std::function<void(std::string_view)>& use);

} // namespace Examples

#endif
