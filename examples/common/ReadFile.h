// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_COMMON_READ_FILE_H
#define VORN_BASES_EXAMPLES_COMMON_READ_FILE_H

#include <functional>
#include <string>
#include <string_view>

namespace Examples {

/// The name that stands for standard input and standard output.
constexpr const char* Standard = "-";

/// Takes a piece; returns false when it wants no more.
using UsePiece = std::function<bool(std::string_view)>;

/// Reads the regular file `name` and passes it to `use` piece by piece. Returns an empty text on
/// success, otherwise the reason; some pieces may have been passed by then. Never waits for anybody
/// to write, as opening a FIFO would. `expected` is the size that the file has just been found to
/// have, if it is known; small files that still have it are read faster.
std::string ReadInPieces(const std::string& name, const UsePiece& use,
                         unsigned long long expected = 0);

/// The same with standard input, whatever it is, when the name is Standard.
std::string ReadInputInPieces(const std::string& name, const UsePiece& use);

} // namespace Examples

#endif
