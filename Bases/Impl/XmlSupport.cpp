#include <Bases/Impl/XmlSupport.h>

#include <cstring>
#include <string_view>
#include <utility>

#include <langinfo.h>
#include <strings.h>

#include <libxml/catalog.h>
#include <libxml/globals.h>
#include <libxml/uri.h>
#include <libxml/xmlIO.h>

namespace Vorn {

namespace {

void IgnoreGeneric(void*, const char*, ...) {}

// Releases of libxml2 differ in whether the record is const, so the parameter is left open.
constexpr auto IgnoreStructured = [](void*, auto*) {};

Converter TryOpen(const char* to, const char* from) {
    const iconv_t converter = iconv_open(to, from);
    // The value for "none" is all ones, not null. NOLINTNEXTLINE(performance-no-int-to-ptr)
    return Converter(converter == reinterpret_cast<iconv_t>(-1) ? nullptr : converter);
}

const char* PlatformName(const char* encoding) {
    return std::strcmp(encoding, LocaleEncoding) == 0 ? nl_langinfo(CODESET) : encoding;
}

// libxml2 looks a name that is no file up in the catalogs of the machine, and what they answer may
// lead anywhere.
bool IsRedirected(const char* path) {
    if (xmlCheckFilename(path) != 0)
        return false;
    const auto* name = reinterpret_cast<const xmlChar*>(path);
    return XmlText(xmlCatalogResolveSystem(name)) || XmlText(xmlCatalogResolveURI(name));
}

bool StartsWith(const char* text, std::string_view prefix) {
    return strncasecmp(text, prefix.data(), prefix.size()) == 0;
}

} // namespace

XmlSilence::XmlSilence()
    : m_pGeneric(xmlGenericError), m_pGenericContext(xmlGenericErrorContext),
      m_pStructured(xmlStructuredError), m_pStructuredContext(xmlStructuredErrorContext) {
    xmlSetGenericErrorFunc(nullptr, IgnoreGeneric);
    xmlSetStructuredErrorFunc(nullptr, IgnoreStructured);
}

XmlSilence::~XmlSilence() {
    xmlSetGenericErrorFunc(m_pGenericContext, m_pGeneric);
    xmlSetStructuredErrorFunc(m_pStructuredContext, m_pStructured);
}

// The C library of Linux does not know the name "char"; the locale's own name for its encoding then
// stands in.
Converter OpenConverter(const char* to, const char* from) {
    Converter converter = TryOpen(to, from);
    return converter ? std::move(converter) : TryOpen(PlatformName(to), PlatformName(from));
}

std::optional<std::size_t> Convert(const Converter& converter, const char* text, std::size_t size,
                                   char* output, std::size_t room) {
    char* input = const_cast<char*>(text); // iconv only moves the pointer
    std::size_t left = room;
    if (iconv(converter.get(), &input, &size, &output, &left) == static_cast<std::size_t>(-1)) {
        // What a failed text has shifted must not show in the next one.
        iconv(converter.get(), nullptr, nullptr, nullptr, nullptr);
        return std::nullopt;
    }
    return room - left;
}

// libxml2 takes "-" for standard input, and it also tries the path with %-escapes resolved, so
// "%2D" would get there too.
bool IsForeignToFiles(const char* path) {
    if (StartsWith(path, "http://") || StartsWith(path, "ftp://"))
        return true;
    const std::unique_ptr<char, XmlDelete> unescaped(xmlURIUnescapeString(path, 0, nullptr));
    return std::strcmp(path, "-") == 0 || (unescaped && std::strcmp(unescaped.get(), "-") == 0) ||
           IsRedirected(path);
}

} // namespace Vorn
