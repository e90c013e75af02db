// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_WRITE_TEXT_H
#define VORN_BASES_IMPL_WRITE_TEXT_H

// Writing a text of known length into a string.

#include <cstddef>
#include <string>

namespace Vorn {

/// Gives `text` that length and lets `write`, which does not throw, write all of it. Filling it
/// first, as a longer string is, would take as long as a quick way of writing it; the standard
/// library can do without from C++23 on.
template <typename Write>
void WriteText(std::string& text, std::size_t length, const Write& write) {
#ifdef __cpp_lib_string_resize_and_overwrite
    text.resize_and_overwrite(length, [&](char* begin, std::size_t /*size*/) {
        write(begin);
        return length;
    });
#else
    text.resize(length);
    write(text.data());
#endif
}

} // namespace Vorn

#endif
