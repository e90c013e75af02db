// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_COMMON_READ_FILE_H
#define VORN_BASES_EXAMPLES_COMMON_READ_FILE_H

#include <functional>
#include <string>
#include <string_view>

namespace Examples {

/// Reads the regular file `name` and passes it to `use` piece by piece. Returns an empty text on
/// success, otherwise the reason; some pieces may have been passed by then.
std::string ReadInPieces(const std::string& name, const std::function<void(std::string_view)>& use);

} // namespace Examples

#endif
