// Handlers in place of the host's that report nothing and recognise what libxml2 lost for want of
// memory.

#include <Bases/Impl/XmlSilence.h>

#include <algorithm>
#include <string_view>

#include <libxml/globals.h>
#include <libxml/parser.h>

namespace Vorn {

namespace {

// libxml2's lists report nowhere else, and for nothing but want of memory.
void HearGeneric(void* silence, const char* message, ...) {
    if (std::string_view(message).find("memory") != std::string_view::npos)
        static_cast<XmlSilence*>(silence)->NoteLoss();
}

constexpr std::string_view Blanks = " \t\r\n";

// Whether nothing of the value that ends before `quote` is left when it is trimmed: blanks and
// references, back to the quote that opens it or to the base of the parser's buffer.
bool IsEmptyWhenTrimmed(const xmlChar* base, const xmlChar* quote) {
    const xmlChar* begin = quote;
    while (begin != base && begin[-1] != *quote)
        --begin;
    while (begin != quote) {
        if (*begin == '&')
            begin = std::find(begin, quote, static_cast<xmlChar>(';'));
        else if (Blanks.find(static_cast<char>(*begin)) == Blanks.npos)
            return false;
        if (begin != quote)
            ++begin;
    }
    return true;
}

// A namespace for which there is no memory is reported as an empty one, and the document goes on
// without it. The parser then stands after the declaration; one that is empty indeed has nothing
// but what trimming takes away between its quotes.
bool IsLostNamespace(const xmlError& error) {
    if (error.code != XML_NS_ERR_XML_NAMESPACE || error.str1 == nullptr || error.ctxt == nullptr)
        return false;
    const xmlParserInput& input = *static_cast<const xmlParserCtxt*>(error.ctxt)->input;
    return !IsEmptyWhenTrimmed(input.base, input.cur - 1);
}

// Releases of libxml2 differ in whether the record is const, so the parameter is left open.
template <typename Error>
void HearStructured(void* silence, Error* error) {
    if (error->code == XML_ERR_NO_MEMORY || IsLostNamespace(*error))
        static_cast<XmlSilence*>(silence)->NoteLoss();
}

} // namespace

XmlSilence::XmlSilence()
    : m_pGeneric(xmlGenericError), m_pGenericContext(xmlGenericErrorContext),
      m_pStructured(xmlStructuredError), m_pStructuredContext(xmlStructuredErrorContext) {
    xmlSetGenericErrorFunc(this, HearGeneric);
    xmlSetStructuredErrorFunc(this, HearStructured);
}

XmlSilence::~XmlSilence() {
    xmlSetGenericErrorFunc(m_pGenericContext, m_pGeneric);
    xmlSetStructuredErrorFunc(m_pStructuredContext, m_pStructured);
}

} // namespace Vorn
