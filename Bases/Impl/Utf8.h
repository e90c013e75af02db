// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_UTF8_H
#define VORN_BASES_IMPL_UTF8_H

// UTF-8 as far as a text is plain: every code point up to 0x10FFFF but the surrogates, each in its
// shortest form. All codecs agree on that. What anything else gives, malformed or cut off, is for
// the codec of the caller's locale or document to say; these functions stop there.

#include <cstddef>
#include <string>
#include <string_view>

namespace Vorn {

/// Returns true when all of `text` is plain.
bool IsPlainUtf8(std::string_view text);

/// Appends the characters of `utf8` to `wide`. Returns how many bytes they were: all, or those in
/// front of the first that is not plain.
std::size_t AppendUtf8AsWide(std::string_view utf8, std::wstring& wide);

/// Appends the UTF-8 form of `wide` to `utf8`. Returns how many characters that is: all, or those
/// in front of the first that is not plain.
std::size_t AppendWideAsUtf8(std::wstring_view wide, std::string& utf8);

} // namespace Vorn

#endif
