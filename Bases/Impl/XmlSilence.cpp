// SPDX-License-Identifier: MIT
// The error functions that replace the program's own, and recognise in a report that libxml2 has
// dropped something for lack of memory.

#include <Bases/Impl/XmlSilence.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include <libxml/globals.h>
#include <libxml/parser.h>

namespace Vorn {

namespace {

// The only channel that libxml2's lists report through, and only a lack of memory.
void OnGenericError(void* silence, const char* message, ...) {
    if (std::string_view(message).find("memory") != std::string_view::npos)
        static_cast<XmlSilence*>(silence)->NoteLoss();
}

constexpr std::string_view Blanks = " \t\r\n";

// Whether trimming leaves nothing of the value that ends before `quote`: only blanks and references
// back to its opening quote, or to the base of the parser's buffer.
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

// A namespace for which there is no memory is reported as an empty one, and the document continues
// without it. The parser is then just past the declaration; in one that really is empty, trimming
// leaves nothing between the quotes.
bool IsLostNamespace(const xmlError& error) {
    if (error.code != XML_NS_ERR_XML_NAMESPACE || error.str1 == nullptr || error.ctxt == nullptr)
        return false;
    const xmlParserInput& input = *static_cast<const xmlParserCtxt*>(error.ctxt)->input;
    return !IsEmptyWhenTrimmed(input.base, input.cur - 1);
}

// Releases of libxml2 differ in whether the record is const, hence the template.
template <typename Error>
void OnStructuredError(void* silence, Error* error) {
    if (error->code == XML_ERR_NO_MEMORY || IsLostNamespace(*error))
        static_cast<XmlSilence*>(silence)->NoteLoss();
}

} // namespace

XmlErrorPlaces XmlErrorPlaces::OfThread() noexcept {
    return {&xmlGenericError, &xmlGenericErrorContext, &xmlStructuredError,
            &xmlStructuredErrorContext};
}

// All four are in one block for each thread, so one that is where it was means that all are.
bool XmlErrorPlaces::AreOfThread() const { return pGeneric == &xmlGenericError; }

XmlSilence::XmlSilence(const XmlErrorPlaces& places)
    : m_places(places), m_pGeneric(std::exchange(*places.pGeneric, OnGenericError)),
      m_pGenericContext(std::exchange(*places.pGenericContext, this)),
      m_pStructured(std::exchange(*places.pStructured, OnStructuredError)),
      m_pStructuredContext(std::exchange(*places.pStructuredContext, this)) {}

XmlSilence::~XmlSilence() {
    *m_places.pGeneric = m_pGeneric;
    *m_places.pGenericContext = m_pGenericContext;
    *m_places.pStructured = m_pStructured;
    *m_places.pStructuredContext = m_pStructuredContext;
}

} // namespace Vorn
