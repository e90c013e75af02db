#ifndef VORN_BASES_IMPL_CONVERTER_H
#define VORN_BASES_IMPL_CONVERTER_H

// Conversion of texts between two encodings, by iconv.

#include <cstddef>
#include <memory>
#include <optional>
#include <type_traits>

#include <iconv.h>

namespace Vorn {

struct ConverterClose {
    void operator()(iconv_t converter) const { iconv_close(converter); }
};

using Converter = std::unique_ptr<std::remove_pointer_t<iconv_t>, ConverterClose>;

/// iconv's name for the multibyte encoding of the C library's current locale.
inline constexpr char LocaleEncoding[] = "char";

/// Opens the conversion between two encodings; either may be LocaleEncoding. Returns null when it
/// does not exist.
Converter OpenConverter(const char* to, const char* from);

/// Converts `size` bytes of `text` with a single call of iconv into at most `capacity` bytes at
/// `output`. Returns the number of bytes written, or nothing when the text is malformed or cut off,
/// has no counterpart in the other encoding, or does not fit.
std::optional<std::size_t> Convert(const Converter& converter, const char* text, std::size_t size,
                                   char* output, std::size_t capacity);

} // namespace Vorn

#endif
