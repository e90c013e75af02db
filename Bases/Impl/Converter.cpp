// Opening iconv and converting one text with it.

#include <Bases/Impl/Converter.h>

#include <cstring>
#include <utility>

#include <Bases/Impl/Port/ConverterName.h>

namespace Vorn {

namespace {

Converter TryOpen(const char* to, const char* from) {
    const iconv_t converter = iconv_open(to, from);
    // iconv_open fails with all ones, not null. NOLINTNEXTLINE(performance-no-int-to-ptr)
    return Converter(converter == reinterpret_cast<iconv_t>(-1) ? nullptr : converter);
}

const char* NameOnHost(const char* encoding) {
    return std::strcmp(encoding, LocaleEncoding) == 0 ? LocaleConverterName() : encoding;
}

} // namespace

Converter OpenConverter(const char* to, const char* from) {
    Converter converter = TryOpen(to, from);
    return converter ? std::move(converter) : TryOpen(NameOnHost(to), NameOnHost(from));
}

std::optional<std::size_t> Convert(const Converter& converter, const char* text, std::size_t size,
                                   char* output, std::size_t capacity) {
    char* input = const_cast<char*>(text); // iconv only moves the pointer
    std::size_t left = capacity;
    if (iconv(converter.get(), &input, &size, &output, &left) == static_cast<std::size_t>(-1)) {
        // The shift state that a failed text leaves must not affect the next one.
        iconv(converter.get(), nullptr, nullptr, nullptr, nullptr);
        return std::nullopt;
    }
    return capacity - left;
}

} // namespace Vorn
