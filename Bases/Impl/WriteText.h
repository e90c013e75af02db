// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_WRITE_TEXT_H
#define VORN_BASES_IMPL_WRITE_TEXT_H

// Writing into a string of which it is known how long it can become.

#include <cstddef>
#include <string>

namespace Vorn {

/// Makes room for `most` characters in `text`, which keeps those it has, and lets `write`,
/// which does not throw, write there; what it returns is the new length. Filling the room first, as
/// a longer string is, would take as long as a quick way of writing it; the standard library can do
/// without from C++23 on.
template <typename Char, typename Write>
void WriteText(std::basic_string<Char>& text, std::size_t most, const Write& write) {
#ifdef __cpp_lib_string_resize_and_overwrite
    text.resize_and_overwrite(most,
                              [&](Char* begin, std::size_t /*size*/) { return write(begin); });
#else
    text.resize(most);
    text.resize(write(text.data()));
#endif
}

} // namespace Vorn

#endif
