// SPDX-License-Identifier: MIT
// Opening iconv, and converting one text with it unless it needs no conversion.

#include <Bases/Impl/Converter.h>

#include <cstring>

#include <strings.h>

#include <Bases/Impl/Port/ConverterName.h>
#include <Bases/Impl/Utf8.h>

namespace Vorn {

namespace {

const char* NameOnHost(const char* encoding) {
    return std::strcmp(encoding, LocaleEncoding) == 0 ? LocaleConverterName() : encoding;
}

bool IsNameOfUtf8(const char* encoding) { return strcasecmp(encoding, "UTF-8") == 0; }

} // namespace

Converter::Handle Converter::TryOpen(const char* to, const char* from) {
    const iconv_t handle = iconv_open(to, from);
    // iconv_open fails with all ones, not null. NOLINTNEXTLINE(performance-no-int-to-ptr)
    return Handle(handle == reinterpret_cast<iconv_t>(-1) ? nullptr : handle);
}

bool Converter::Open(const char* to, const char* from) {
    m_hConverter = TryOpen(to, from);
    if (!m_hConverter)
        m_hConverter = TryOpen(NameOnHost(to), NameOnHost(from));
    m_bUtf8 = IsOpen() && IsNameOfUtf8(NameOnHost(to)) && IsNameOfUtf8(NameOnHost(from));
    return IsOpen();
}

void Converter::Close() {
    m_hConverter.reset();
    m_bUtf8 = false;
}

// Where iconv is laxer than the check, it decides.
bool Converter::Keeps(std::string_view text) const { return m_bUtf8 && IsPlainUtf8(text); }

std::optional<std::size_t> Converter::Convert(const char* text, std::size_t size, char* output,
                                              std::size_t capacity) const {
    char* input = const_cast<char*>(text); // iconv only moves the pointer
    std::size_t left = capacity;
    const iconv_t handle = m_hConverter.get();
    if (iconv(handle, &input, &size, &output, &left) == static_cast<std::size_t>(-1)) {
        // The shift state that a failed text leaves must not affect the next one.
        iconv(handle, nullptr, nullptr, nullptr, nullptr);
        return std::nullopt;
    }
    return capacity - left;
}

} // namespace Vorn
