#ifndef VORN_BASES_IMPL_XML_SUPPORT_H
#define VORN_BASES_IMPL_XML_SUPPORT_H

// What the XML reader and the XML writer share: silence around libxml2, the objects of libxml2 and
// iconv as owners, and one way to convert a text.

#include <cstddef>
#include <memory>
#include <optional>
#include <type_traits>

#include <iconv.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlwriter.h>

namespace Vorn {

/// Keeps libxml2 from reporting anything for the calling thread while it lives, then puts back the
/// error functions that stood there before, which belong to the host. May be nested. Calls that
/// only look at the tree or measure a text report nothing and do without it.
class XmlSilence {
public:
    XmlSilence();
    ~XmlSilence();
    XmlSilence(const XmlSilence&) = delete;
    XmlSilence& operator=(const XmlSilence&) = delete;

private:
    xmlGenericErrorFunc m_pGeneric;
    void* m_pGenericContext;
    xmlStructuredErrorFunc m_pStructured;
    void* m_pStructuredContext;
};

struct XmlDelete {
    void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
    void operator()(xmlBuffer* buffer) const { xmlBufferFree(buffer); }
    void operator()(xmlTextWriter* writer) const { xmlFreeTextWriter(writer); }
    void operator()(xmlChar* text) const { xmlFree(text); }
    void operator()(char* text) const { xmlFree(text); }
};

using XmlDocument = std::unique_ptr<xmlDoc, XmlDelete>;
using XmlBuffer = std::unique_ptr<xmlBuffer, XmlDelete>;
using XmlTextWriter = std::unique_ptr<xmlTextWriter, XmlDelete>;
using XmlText = std::unique_ptr<xmlChar, XmlDelete>;

struct ConverterClose {
    void operator()(iconv_t converter) const { iconv_close(converter); }
};

using Converter = std::unique_ptr<std::remove_pointer_t<iconv_t>, ConverterClose>;

/// iconv's name for the multibyte encoding of the C library's current locale.
inline constexpr char LocaleEncoding[] = "char";

/// Opens the conversion between two encodings; either may be LocaleEncoding. Null when it does not
/// exist.
Converter OpenConverter(const char* to, const char* from);

/// Converts `size` bytes of `text` with a single call of iconv into at most `room` bytes at `output`.
/// Returns the number of bytes written, or nothing when the text is malformed or cut off, has no
/// counterpart in the other encoding, or does not fit.
std::optional<std::size_t> Convert(const Converter& converter, const char* text, std::size_t size,
                                   char* output, std::size_t room);

/// Returns true when libxml2 would not take `path` for a file, but read standard input, the network
/// or what an XML catalog of the machine puts in its place.
bool IsForeignToFiles(const char* path);

} // namespace Vorn

#endif
