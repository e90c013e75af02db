// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_COMMON_FILE_NAME_H
#define VORN_BASES_EXAMPLES_COMMON_FILE_NAME_H

#include <string>

namespace Examples {

// A file name may hold any bytes but NUL and "/". Not all of them may appear in an XML document or
// on a terminal.

/// Returns true when the text consists of printable characters of the current locale, which are all
/// valid in XML.
bool IsPlain(const std::string& text);

/// Percent-encodes every byte that is not printable ASCII, and "%" itself. Unescape reverses that;
/// a "%" without two hexadecimal digits stays as it is.
std::string Escape(const std::string& text);
std::string Unescape(const std::string& text);

/// Returns a plain text unchanged, and any other or an empty one as $'...', which is safe on a
/// terminal and can be pasted into a shell.
std::string ForDisplay(const std::string& text);

} // namespace Examples

#endif
