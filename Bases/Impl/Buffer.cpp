// SPDX-License-Identifier: MIT
// SerialBuffer: an array of bytes that grows at its end and shrinks at its front.

#include <Bases/Container.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
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
bool Grow(const Storage& storage, unsigned long kept, unsigned long length, Array& old) {
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

// The first and the last bytes of a piece, `Count` of each, which may overlap: together they are a
// piece of any length from `Count` to twice that. All are read before any is written.
template <std::size_t Count>
class Ends {
public:
    Ends(const unsigned char* from, unsigned long size) {
        std::memcpy(m_first.data(), from, Count);
        std::memcpy(m_last.data(), from + size - Count, Count);
    }

    void Write(unsigned char* to, unsigned long size) const {
        std::memcpy(to, m_first.data(), Count);
        std::memcpy(to + size - Count, m_last.data(), Count);
    }

private:
    std::array<unsigned char, Count> m_first;
    std::array<unsigned char, Count> m_last;
};

// As memmove, for at least one byte, but without the call, which takes as long as all the rest of
// appending a few bytes.
void Move(const unsigned char* from, unsigned long size, unsigned char* to) {
    if (size == 1) {
        *to = *from;
    } else if (size > 64) {
        std::memmove(to, from, size);
    } else if (size > 32) {
        const Ends<16> front(from, 32);
        const Ends<16> back(from + size - 32, 32);
        front.Write(to, 32);
        back.Write(to + size - 32, 32);
    } else if (size >= 16) {
        Ends<16>(from, size).Write(to, size);
    } else if (size >= 8) {
        Ends<8>(from, size).Write(to, size);
    } else if (size >= 4) {
        Ends<4>(from, size).Write(to, size);
    } else {
        Ends<2>(from, size).Write(to, size);
    }
}

// Writes the bytes at the end of the array, which has the capacity unless it is null.
bool Append(unsigned char* array, unsigned long& size, const unsigned char* data,
            unsigned long len) {
    if (data == nullptr || len == 0)
        return true;
    if (array == nullptr)
        return false;
    unsigned char* const end = array + size;
    size += len;
    Move(data, len, end);
    return true;
}

// Not inlined: its clean-up would cost every append the saving of all registers.
[[gnu::noinline]] bool AppendGrowing(const Storage& storage, unsigned long& size,
                                     const unsigned char* data, unsigned long len) {
    Array old; // the data may lie in the array that growth replaces
    if (!Grow(storage, Present(storage.array, size, storage.capacity), size + len, old))
        return false;
    return Append(storage.array.get(), size, data, len);
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
    unsigned long size = 0;
    if (__builtin_add_overflow(m_nSize, len, &size))
        return 0;
    if (size > m_nMaxSize) [[unlikely]] {
        if (grow == 0)
            return 0;
        if (!TakeReserve(m_pBuffer.get(), m_nMaxSize, size, m_nReserve))
            return AppendGrowing({m_pBuffer, m_nMaxSize, m_nReserve}, m_nSize, data, len) ? 1 : 0;
        m_nMaxSize = size;
    }
    return Append(m_pBuffer.get(), m_nSize, data, len) ? 1 : 0;
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
