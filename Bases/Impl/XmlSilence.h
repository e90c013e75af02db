#ifndef VORN_BASES_IMPL_XML_SILENCE_H
#define VORN_BASES_IMPL_XML_SILENCE_H

// Silence around libxml2, and an ear for what it loses when memory runs out.

#include <libxml/xmlerror.h>

namespace Vorn {

/// Keeps libxml2 from reporting anything for the calling thread while it lives, then puts back the
/// error functions that stood there before, which belong to the host. May be nested; the innermost
/// one hears the reports. Calls that only look at the tree or measure a text report nothing and do
/// without it.
///
/// Many calls of libxml2 succeed after an allocation failed, with a part missing, and only report
/// it: ask HasLoss before believing them.
class XmlSilence {
public:
    XmlSilence();
    ~XmlSilence();
    XmlSilence(const XmlSilence&) = delete;
    XmlSilence& operator=(const XmlSilence&) = delete;

    /// Returns true when something is missing for want of memory since this object was made.
    bool HasLoss() const { return m_bLoss; }
    void NoteLoss() { m_bLoss = true; }

private:
    xmlGenericErrorFunc m_pGeneric;
    void* m_pGenericContext;
    xmlStructuredErrorFunc m_pStructured;
    void* m_pStructuredContext;
    bool m_bLoss = false;
};

} // namespace Vorn

#endif
