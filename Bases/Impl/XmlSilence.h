#ifndef VORN_BASES_IMPL_XML_SILENCE_H
#define VORN_BASES_IMPL_XML_SILENCE_H

// Silence around libxml2.

#include <libxml/xmlerror.h>

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

} // namespace Vorn

#endif
