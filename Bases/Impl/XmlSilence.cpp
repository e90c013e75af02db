#include <Bases/Impl/XmlSilence.h>

#include <libxml/globals.h>

namespace Vorn {

namespace {

void IgnoreGeneric(void*, const char*, ...) {}

// Releases of libxml2 differ in whether the record is const, so the parameter is left open.
constexpr auto IgnoreStructured = [](void*, auto*) {};

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

} // namespace Vorn
