// Bits: the set of bits and its operators.

#include <Bases/Container.h>

#include <algorithm>
#include <functional>
#include <new>
#include <utility>

namespace Vorn {

namespace {

using Array = std::unique_ptr<unsigned char[]>;

// A new array of `length` bytes: `count` bytes of `source`, then zeros. Null if memory runs out.
Array CopyOf(const unsigned char* source, unsigned long count, unsigned long length) {
    Array copy(new (std::nothrow) unsigned char[length]);
    if (copy != nullptr)
        std::fill(std::copy_n(source, count, copy.get()), copy.get() + length, 0);
    return copy;
}

unsigned char MaskOf(unsigned long pos) { return static_cast<unsigned char>(1U << pos % 8); }

// Clears the unused bits in the last byte of a set of `size` bits.
void ClearUnused(unsigned char* data, unsigned long size) {
    if (size % 8 != 0)
        data[size / 8] &= static_cast<unsigned char>(MaskOf(size) - 1);
}

struct Operand {
    const unsigned char* data;
    unsigned long size;
};

// Combines the bytes that both operands have. `result` may be an operand. Clears the unused bits,
// those beyond `size`, only for operands of equally many bytes.
template <typename Operation>
void Combine(unsigned char* result, unsigned long size, Operand left, Operand right,
             Operation operation) {
    const unsigned long leftBytes = Bits::SizeToBytes(left.size);
    const unsigned long rightBytes = Bits::SizeToBytes(right.size);
    const unsigned long common = std::min(leftBytes, rightBytes);
    std::transform(left.data, left.data + common, right.data, result, operation);
    if (leftBytes == rightBytes)
        ClearUnused(result, size);
}

// A new set of `size` bits. Which bits of the last byte are cleared depends on the size of the left
// operand, even if the result has that of the right one; see
// BitsCombined.KeepsTheBitsWithinTheLeftSizeOnly.
template <typename Operation>
Bits Combined(unsigned long size, Operand left, Operand right, Operation operation) {
    Bits result;
    if (result.SetSize(size, 1) != 0)
        Combine(result.GetData(), left.size, left, right, operation);
    return result;
}

} // namespace

Bits::Bits() : m_nCapacity(0), m_nSize(0) {}

Bits::Bits(unsigned long size) : Bits() { SetSize(size, 1); }

Bits::Bits(const Bits& other) : Bits() { Clone(other); }

Bits& Bits::operator=(const Bits& other) {
    Clone(other);
    return *this;
}

Bits::~Bits() = default;

unsigned long Bits::PosToBytePos(unsigned long pos) { return pos >> 3; }

unsigned long Bits::SizeToBytes(unsigned long size) { return size / 8 + (size % 8 != 0 ? 1 : 0); }

unsigned long Bits::PosToSize(unsigned long pos) { return pos + 1; }

unsigned long Bits::GetSize() { return m_nSize; }

unsigned char* Bits::GetData() { return m_pData.get(); }

unsigned long Bits::GetBytes() { return SizeToBytes(m_nSize); }

int Bits::SetSize(unsigned long size, int /*flag*/) {
    if (size == 0)
        return 0;
    const unsigned long bytes = SizeToBytes(size);
    if (SizeToBytes(m_nCapacity) < bytes) {
        // After SetData more bytes may be in use than the capacity says.
        Array data = CopyOf(m_pData.get(), std::min(GetBytes(), bytes), bytes);
        if (data == nullptr)
            return 0;
        m_pData = std::move(data);
        m_nCapacity = bytes * 8;
    }
    // Nothing is cleared: the bits that a set had before it shrank come back when it grows; see
    // BitsSize.BringsBackOldBitsWhenItGrowsWithinTheCapacity.
    m_nSize = size;
    return 1;
}

int Bits::SetData(unsigned char* data, unsigned long sizeInBits) {
    if (data == nullptr || sizeInBits == 0)
        return 0;
    // The capacity stays, and SetSize trusts it, so the array must not be shorter.
    const unsigned long bytes = SizeToBytes(sizeInBits);
    Array copy = CopyOf(data, bytes, std::max(bytes, SizeToBytes(m_nCapacity)));
    if (copy == nullptr)
        return 0;
    m_pData = std::move(copy);
    m_nSize = sizeInBits;
    return 1;
}

int Bits::Set(unsigned long pos) {
    if (pos >= m_nSize)
        return 0;
    m_pData[PosToBytePos(pos)] |= MaskOf(pos);
    return 1;
}

int Bits::Reset(unsigned long pos) {
    if (pos >= m_nSize)
        return 0;
    m_pData[PosToBytePos(pos)] &= static_cast<unsigned char>(~MaskOf(pos));
    return 1;
}

int Bits::Test(unsigned long pos) const {
    if (pos >= m_nSize)
        return 0;
    return (m_pData[PosToBytePos(pos)] & MaskOf(pos)) != 0 ? 1 : 0;
}

void Bits::SetAll() {
    std::fill_n(m_pData.get(), GetBytes(), static_cast<unsigned char>(0xFF));
    ClearUnused(m_pData.get(), m_nSize);
}

void Bits::ResetAll() { std::fill_n(m_pData.get(), GetBytes(), static_cast<unsigned char>(0)); }

void Bits::Clear() {
    m_pData.reset();
    m_nCapacity = 0;
    m_nSize = 0;
}

unsigned long Bits::GetSetCount() {
    unsigned long count = 0;
    for (unsigned long pos = 0; pos < m_nSize; ++pos) {
        if (Test(pos) != 0)
            ++count;
    }
    return count;
}

unsigned long Bits::GetUnsetCount() { return m_nSize - GetSetCount(); }

int Bits::Any() const { return None() == 0 ? 1 : 0; }

int Bits::None() const {
    const unsigned char* data = m_pData.get();
    const auto isZero = [](unsigned char byte) { return byte == 0; };
    return std::all_of(data, data + SizeToBytes(m_nSize), isZero) ? 1 : 0;
}

Bits& Bits::operator~() {
    unsigned char* data = m_pData.get();
    std::transform(data, data + GetBytes(), data, std::bit_not<unsigned char>());
    ClearUnused(data, m_nSize);
    return *this;
}

Bits& Bits::operator&=(const Bits& other) {
    Combine(m_pData.get(), m_nSize, {m_pData.get(), m_nSize}, {other.m_pData.get(), other.m_nSize},
            std::bit_and<unsigned char>());
    return *this;
}

// SetSize may reallocate (the other's array too, if it is this set): remember the old size, which
// says what to combine, and read both pointers afterwards.
Bits& Bits::operator|=(const Bits& other) {
    const unsigned long size = m_nSize;
    SetSize(other.m_nSize, 1);
    Combine(m_pData.get(), m_nSize, {m_pData.get(), size}, {other.m_pData.get(), other.m_nSize},
            std::bit_or<unsigned char>());
    return *this;
}

Bits& Bits::operator^=(const Bits& other) {
    const unsigned long size = m_nSize;
    SetSize(other.m_nSize, 1);
    Combine(m_pData.get(), m_nSize, {m_pData.get(), size}, {other.m_pData.get(), other.m_nSize},
            std::bit_xor<unsigned char>());
    return *this;
}

// Callers rely on the size of each result, the left one for & and the right one for | and ^; see
// BitsCombined.HasTheLeftSizeForAndButTheRightSizeForOrAndXor.
Bits Bits::operator&(const Bits& other) const {
    return Combined(m_nSize, {m_pData.get(), m_nSize}, {other.m_pData.get(), other.m_nSize},
                    std::bit_and<unsigned char>());
}

Bits Bits::operator|(const Bits& other) const {
    return Combined(other.m_nSize, {m_pData.get(), m_nSize}, {other.m_pData.get(), other.m_nSize},
                    std::bit_or<unsigned char>());
}

Bits Bits::operator^(const Bits& other) const {
    return Combined(other.m_nSize, {m_pData.get(), m_nSize}, {other.m_pData.get(), other.m_nSize},
                    std::bit_xor<unsigned char>());
}

int Bits::operator==(const Bits& other) const {
    if (m_nSize != other.m_nSize)
        return 0;
    const unsigned char* data = m_pData.get();
    return std::equal(data, data + SizeToBytes(m_nSize), other.m_pData.get()) ? 1 : 0;
}

int Bits::operator!=(const Bits& other) const {
    // Sets of different sizes are not comparable; callers compare the sizes first. See
    // BitsComparison.IsNeitherEqualNorUnequalForDifferentSizes.
    if (m_nSize != other.m_nSize)
        return 0;
    return *this == other ? 0 : 1;
}

// Hosts that chain shifts rely on the set staying as it is; see BitsShift.DoesNothing.
Bits& Bits::operator<<(unsigned long /*count*/) { return *this; }

Bits& Bits::operator>>(unsigned long /*count*/) { return *this; }

void Bits::ToString(std::string& out) const {
    out.assign(m_nSize, '0');
    for (unsigned long pos = 0; pos < m_nSize; ++pos) {
        if (Test(pos) != 0)
            out[m_nSize - 1 - pos] = '1';
    }
}

std::string Bits::ToString() const {
    std::string text;
    ToString(text);
    return text;
}

void Bits::FromString(const std::string& text) {
    Clear();
    const std::size_t other = text.find_last_not_of("01");
    const std::size_t first = other == std::string::npos ? 0 : other + 1;
    // Allocates once; growing bit by bit ends with the same capacity. If memory does not suffice
    // for all, growing bit by bit keeps what fits.
    SetSize(text.size() - first, 1);
    for (std::size_t pos = 0; pos < text.size() - first; ++pos) {
        SetSize(PosToSize(pos), 1);
        if (text[text.size() - 1 - pos] == '1')
            Set(pos);
        else
            Reset(pos);
    }
}

void Bits::Clone(const Bits& other) {
    // If the size cannot be taken, this set may have fewer bytes than `other`, or more; see
    // BitsMemory.ClonesTheBytesThatBothHaveWhenItRunsOut.
    SetSize(other.m_nSize, 1); // for the set itself, too: after SetData it reallocates
    if (&other == this)
        return;
    std::copy_n(other.m_pData.get(), std::min(GetBytes(), SizeToBytes(other.m_nSize)),
                m_pData.get());
}

} // namespace Vorn
