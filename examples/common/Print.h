// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_COMMON_PRINT_H
#define VORN_BASES_EXAMPLES_COMMON_PRINT_H

#include <string>

namespace Examples {

/// Prints a text on standard output. Throws std::runtime_error with `what` when that fails.
void Print(const std::string& text, const char* what);

} // namespace Examples

#endif
