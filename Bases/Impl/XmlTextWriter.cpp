// SPDX-License-Identifier: MIT
// The list of open writers, so that BasesRelease finds them.

#include <Bases/Impl/XmlTextWriter.h>

#include <cstddef>
#include <new>
#include <utility>

#include <Bases/Impl/Lock.h>
#include <Bases/Impl/XmlSilence.h>

namespace Vorn {

constinit XmlTextWriter* XmlTextWriter::s_pFirst = nullptr;

// Guards the list of objects with a writer. Never destroyed: static writers may be closed later.
Lock& XmlTextWriter::ListLock() {
    alignas(Lock) static std::byte place[sizeof(Lock)];
    static Lock& lock = *new (place) Lock; // GCOVR_EXCL_BR_LINE race
    return lock;
}

XmlTextWriter::~XmlTextWriter() { Close(); }

bool XmlTextWriter::Open(xmlBuffer* buffer) {
    m_pWriter = xmlNewTextWriterMemory(buffer, 0);
    if (m_pWriter == nullptr)
        return false;
    m_bOpen = true;
    const Locker locker(ListLock());
    m_pNext = std::exchange(s_pFirst, this);
    if (m_pNext != nullptr)
        m_pNext->m_pPrevious = this;
    return true;
}

void XmlTextWriter::Close() {
    m_bOpen = false;
    if (m_pWriter == nullptr)
        return;
    const Locker locker(ListLock());
    Free();
}

void XmlTextWriter::Free() {
    xmlFreeTextWriter(std::exchange(m_pWriter, nullptr));
    (m_pPrevious != nullptr ? m_pPrevious->m_pNext : s_pFirst) = m_pNext;
    if (m_pNext != nullptr)
        m_pNext->m_pPrevious = m_pPrevious;
    m_pPrevious = m_pNext = nullptr;
}

void XmlTextWriter::DetachAll() {
    const XmlSilence silence;
    const Locker locker(ListLock());
    while (s_pFirst != nullptr)
        s_pFirst->Free();
}

} // namespace Vorn
