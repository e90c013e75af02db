// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_XML_SILENCE_H
#define VORN_BASES_IMPL_XML_SILENCE_H

// Suppresses libxml2's error reports, and detects what it silently drops when memory runs out.

#include <libxml/xmlerror.h>

namespace Vorn {

/// Where libxml2 keeps the error functions of a thread. To look that up takes longer than most of
/// what is done in silence; who is silent often can keep it.
struct XmlErrorPlaces {
    static XmlErrorPlaces OfThread() noexcept;

    /// Returns true when they are those of the calling thread.
    bool AreOfThread() const;

    xmlGenericErrorFunc* pGeneric = nullptr;
    void** pGenericContext = nullptr;
    xmlStructuredErrorFunc* pStructured = nullptr;
    void** pStructuredContext = nullptr;
};

/// Replaces the error functions of libxml2 for the calling thread while it lives, so that nothing
/// is reported to the program, then restores them. May be nested; the innermost one receives the
/// reports. Not needed for calls that only read the tree or measure a text, which report nothing.
///
/// Many calls of libxml2 succeed after a failed allocation with part of their work missing, and
/// only report it: check HasLoss before relying on their result.
class XmlSilence {
public:
    explicit XmlSilence(const XmlErrorPlaces& places = XmlErrorPlaces::OfThread());
    ~XmlSilence();
    XmlSilence(const XmlSilence&) = delete;
    XmlSilence& operator=(const XmlSilence&) = delete;

    /// Returns true when libxml2 has dropped something for lack of memory since the construction.
    bool HasLoss() const { return m_bLoss; }
    void NoteLoss() { m_bLoss = true; }

private:
    XmlErrorPlaces m_places;

    // What was there before.
    xmlGenericErrorFunc m_pGeneric;
    void* m_pGenericContext;
    xmlStructuredErrorFunc m_pStructured;
    void* m_pStructuredContext;
    bool m_bLoss = false;
};

} // namespace Vorn

#endif
