#include <Bases/Impl/XmlSilence.h>

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

// The characters before the closing quote of a value that is made empty by trimming.
constexpr std::string_view Trimmed = "; \t\r\n";

// A namespace for which there is no memory is reported as an empty one, and the document goes on
// without it. The parser then stands after the declaration; one that is empty indeed has two quotes
// there, or spaces or a reference to one before the quote.
bool IsLostNamespace(const xmlError& error) {
    if (error.code != XML_NS_ERR_XML_NAMESPACE || error.str1 == nullptr || error.ctxt == nullptr)
        return false;
    const xmlChar* const end = static_cast<const xmlParserCtxt*>(error.ctxt)->input->cur;
    const auto last = static_cast<char>(end[-2]);
    return last != static_cast<char>(end[-1]) && Trimmed.find(last) == Trimmed.npos;
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
