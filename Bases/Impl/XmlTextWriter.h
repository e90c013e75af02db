#ifndef VORN_BASES_IMPL_XML_TEXT_WRITER_H
#define VORN_BASES_IMPL_XML_TEXT_WRITER_H

// libxml2's text writer, made to survive the release of libxml2.

#include <libxml/tree.h>
#include <libxml/xmlwriter.h>

namespace Vorn {

/// Owns a text writer of libxml2 that writes into a buffer.
///
/// BasesRelease frees the encoders that such writers hold, so it takes every writer away first.
/// The object then is still open, as a begun document is until it is ended, but has no writer.
class XmlTextWriter {
public:
    XmlTextWriter() = default;
    ~XmlTextWriter();
    XmlTextWriter(const XmlTextWriter&) = delete;
    XmlTextWriter& operator=(const XmlTextWriter&) = delete;

    /// Opens the writer, which is not open, over `buffer`, which outlives it. Returns false when
    /// there is no memory for it.
    bool Open(xmlBuffer* buffer);

    /// Flushes into the buffer and frees the writer, if it is open and was not taken away.
    void Close();

    bool IsOpen() const { return m_bOpen; }

    /// Returns the writer, or null when it is not open or was taken away.
    xmlTextWriter* Get() const { return m_pWriter; }

    /// Takes the writers of all open objects away, flushed. No other thread may be using one.
    static void TakeAllAway();

private:
    void Free();

    bool m_bOpen = false;
    xmlTextWriter* m_pWriter = nullptr;

    // All objects with a writer.
    XmlTextWriter* m_pPrevious = nullptr;
    XmlTextWriter* m_pNext = nullptr;
    static XmlTextWriter* s_pFirst;
};

} // namespace Vorn

#endif
