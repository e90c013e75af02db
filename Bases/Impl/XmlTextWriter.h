// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_XML_TEXT_WRITER_H
#define VORN_BASES_IMPL_XML_TEXT_WRITER_H

// A wrapper of libxml2's text writer that survives the release of libxml2.

#include <libxml/tree.h>
#include <libxml/xmlwriter.h>

#include <Bases/Impl/Lock.h>

namespace Vorn {

/// Owns a text writer of libxml2 that writes into a buffer.
///
/// BasesRelease frees the encoders that such writers hold, so it first frees every writer. The
/// objects stay open, as a document is until it is ended, but are detached: they have no writer.
class XmlTextWriter {
public:
    XmlTextWriter() = default;
    ~XmlTextWriter();
    XmlTextWriter(const XmlTextWriter&) = delete;
    XmlTextWriter& operator=(const XmlTextWriter&) = delete;

    /// Opens the writer, which must not be open, over `buffer`, which must outlive it. Returns
    /// false when memory runs out.
    bool Open(xmlBuffer* buffer);

    /// Flushes into the buffer and frees the writer, if it is open and not detached.
    void Close();

    bool IsOpen() const { return m_bOpen; }

    /// Returns the writer, or null when it is not open or detached.
    xmlTextWriter* Get() const { return m_pWriter; }

    /// Flushes and frees the writers of all open objects. No other thread may be using one.
    static void DetachAll();

private:
    static Lock& ListLock();
    void Free() VORN_REQUIRES(ListLock());

    bool m_bOpen = false;
    xmlTextWriter* m_pWriter = nullptr;

    // All objects with a writer.
    XmlTextWriter* m_pPrevious VORN_GUARDED_BY(ListLock()) = nullptr;
    XmlTextWriter* m_pNext VORN_GUARDED_BY(ListLock()) = nullptr;
    static XmlTextWriter* s_pFirst VORN_GUARDED_BY(ListLock());
};

} // namespace Vorn

#endif
