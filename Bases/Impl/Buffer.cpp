// SPDX-License-Identifier: MIT
// SerialBuffer: an array of bytes that grows at its end and shrinks at its front.

#include <Bases/Container.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include <Bases/Impl/Reserve.h>

namespace Vorn {

namespace {

using Array = std::unique_ptr<unsigned char[]>;

// The fields of a buffer that growth changes.
struct Storage {
    Array& array;
    unsigned long& capacity;
    unsigned long& reserve;
};

// Raises the capacity to `length` bytes and keeps the first `kept` ones; the rest is not written.
// Moves an array that is replaced to `old`, as the caller may still need its content. Returns
// false, with nothing changed, if memory runs out.
bool Grow(Storage storage, unsigned long kept, unsigned long length, Array& old) {
    if (!TakeReserve(storage.array.get(), storage.capacity, length, storage.reserve)) {
        ReservedArray longer = NewArray(storage.array.get(), kept, length);
        if (longer.bytes == nullptr)
            return false;
        old = std::exchange(storage.array, std::move(longer.bytes));
        storage.reserve = longer.reserve;
    }
    storage.capacity = length;
    return true;
}

// The number of bytes in use that exist: SetBuffer accepts any numbers.
unsigned long Present(const Array& array, unsigned long size, unsigned long maxSize) {
    return array == nullptr ? 0 : std::min(size, maxSize);
}

} // namespace

SerialBuffer::SerialBuffer() : m_nMaxSize(0), m_nSize(0), m_nReserve(0) {}

SerialBuffer::SerialBuffer(unsigned long maxSize) : SerialBuffer() { SetMaxSize(maxSize, 1); }

SerialBuffer::~SerialBuffer() = default;

unsigned char* SerialBuffer::GetBuffer() { return m_pBuffer.get(); }

unsigned long SerialBuffer::GetSize() { return m_nSize; }

unsigned long SerialBuffer::GetMaxSize() { return m_nMaxSize; }

void SerialBuffer::SetSize(unsigned long size) { m_nSize = std::min(size, m_nMaxSize); }

int SerialBuffer::SetMaxSize(unsigned long size, int keep) {
    if (m_nMaxSize >= size)
        return 1;
    // The size stays even if the bytes are not kept: callers that will overwrite all of them save
    // the copy; see SerialBufferCapacity.KeepsTheSizeWhenItDropsTheBytes.
    const unsigned long kept = keep != 0 ? Present(m_pBuffer, m_nSize, m_nMaxSize) : 0;
    Array old;
    return Grow({m_pBuffer, m_nMaxSize, m_nReserve}, kept, size, old) ? 1 : 0;
}

int SerialBuffer::AddBuffer(unsigned char* data, unsigned long len, int grow) {
    if (len > std::numeric_limits<unsigned long>::max() - m_nSize)
        return 0;
    const unsigned long size = m_nSize + len;
    Array old; // the data may lie in the array that growth replaces
    if (size > m_nMaxSize) {
        const unsigned long kept = Present(m_pBuffer, m_nSize, m_nMaxSize);
        if (grow == 0 || !Grow({m_pBuffer, m_nMaxSize, m_nReserve}, kept, size, old))
            return 0;
    }
    if (data == nullptr || len == 0)
        return 1;
    if (m_pBuffer == nullptr)
        return 0;
    std::memmove(m_pBuffer.get() + m_nSize, data, len);
    m_nSize = size;
    return 1;
}

int SerialBuffer::Shift(unsigned long n) {
    if (n == 0 || m_pBuffer == nullptr)
        return 1;
    const unsigned long dropped = std::min(n, m_nSize);
    const unsigned long present = Present(m_pBuffer, m_nSize, m_nMaxSize);
    if (present > dropped)
        std::memmove(m_pBuffer.get(), m_pBuffer.get() + dropped, present - dropped);
    m_nSize -= dropped;
    return 1;
}

int SerialBuffer::SetBuffer(unsigned char* data, unsigned long size, unsigned long maxSize) {
    if (m_nSize > m_nMaxSize)
        return 0;
    if (data != m_pBuffer.get())
        m_pBuffer.reset(data);
    m_nMaxSize = maxSize;
    m_nSize = size;
    m_nReserve = 0; // whatever there is behind the array is the caller's business
    return 1;
}

unsigned char* SerialBuffer::Fetch() {
    m_nMaxSize = 0;
    m_nSize = 0;
    m_nReserve = 0;
    return m_pBuffer.release();
}

void SerialBuffer::Clear() { m_nSize = 0; }

void SerialBuffer::Delete() {
    m_pBuffer.reset();
    m_nMaxSize = 0;
    m_nSize = 0;
    m_nReserve = 0;
}

} // namespace Vorn
