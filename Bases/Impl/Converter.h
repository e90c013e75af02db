// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_CONVERTER_H
#define VORN_BASES_IMPL_CONVERTER_H

// Conversion of texts between two encodings, by iconv where there is something to convert.

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>
#include <type_traits>

#include <iconv.h>

namespace Vorn {

/// iconv's name for the multibyte encoding of the C library's current locale.
inline constexpr char LocaleEncoding[] = "char";

/// The conversion between two encodings. It is closed at first.
class Converter {
public:
    /// Opens the conversion; either encoding may be LocaleEncoding. Returns false, and is closed,
    /// when it does not exist.
    bool Open(const char* to, const char* from);
    void Close();
    bool IsOpen() const { return m_hConverter != nullptr; }

    /// Returns true when Convert would only copy `text`, which is then best used as it is. False
    /// says nothing.
    bool Keeps(std::string_view text) const;

    /// Converts `size` bytes of `text` with a single call of iconv into at most `capacity` bytes at
    /// `output`. Returns the number of bytes written, or nothing when the text is malformed or cut
    /// off, has no counterpart in the other encoding, or does not fit.
    std::optional<std::size_t> Convert(const char* text, std::size_t size, char* output,
                                       std::size_t capacity) const;

private:
    struct HandleClose {
        void operator()(iconv_t handle) const { iconv_close(handle); }
    };
    using Handle = std::unique_ptr<std::remove_pointer_t<iconv_t>, HandleClose>;

    static Handle TryOpen(const char* to, const char* from);

    Handle m_hConverter;
    bool m_bUtf8 = false; // from UTF-8 to UTF-8
};

} // namespace Vorn

#endif
