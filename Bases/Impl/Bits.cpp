#include <Bases/Container.h>

#include <algorithm>
#include <functional>
#include <new>
#include <utility>

namespace Vorn {

namespace {

using Array = std::unique_ptr<unsigned char[]>;

// A new array of `room` bytes that starts with `count` bytes of `source` and goes on with zeros.
// Null when there is no memory.
Array CopyOf(const unsigned char* source, unsigned long count, unsigned long room) {
    Array copy(new (std::nothrow) unsigned char[room]);
    if (copy != nullptr)
        std::fill(std::copy_n(source, count, copy.get()), copy.get() + room, 0);
    return copy;
}

unsigned char MaskOf(unsigned long pos) { return static_cast<unsigned char>(1U << pos % 8); }

// Clears the bits of the last byte behind the last one of `size` bits.
void ClearUnused(unsigned char* data, unsigned long size) {
    if (size % 8 != 0)
        data[size / 8] &= static_cast<unsigned char>(MaskOf(size) - 1);
}

struct Operand {
    const unsigned char* data;
    unsigned long size;
};

// Combines as many bytes as both operands have. `result` may be an operand. Only for operands of
// equally many bytes are the bits of the last byte cleared that lie behind `size`.
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

// A set of `size` bits for the result. The left operand's size says which bits of the last byte
// are cleared, whichever operand's size the result has; see
// BitsCombined.KeepsTheBitsWithinTheLeftSizeOnly.
template <typename Operation>
Bits Combined(unsigned long size, Operand left, Operand right, Operation operation) {
    Bits result;
    if (result.SetSize(size, 1) != 0)
        Combine(result.GetData(), left.size, left, right, operation);
    return result;
}

} // namespace

Bits::Bits() : m_capacity(0), m_size(0) {}

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

unsigned long Bits::GetSize() { return m_size; }

unsigned char* Bits::GetData() { return m_data.get(); }

unsigned long Bits::GetBytes() { return SizeToBytes(m_size); }

int Bits::SetSize(unsigned long size, int /*flag*/) {
    if (size == 0)
        return 0;
    const unsigned long bytes = SizeToBytes(size);
    if (SizeToBytes(m_capacity) < bytes) {
        // After SetData there may be more bytes in use than the capacity says.
        Array data = CopyOf(m_data.get(), std::min(GetBytes(), bytes), bytes);
        if (data == nullptr)
            return 0;
        m_data = std::move(data);
        m_capacity = bytes * 8;
    }
    // Nothing is cleared, so that what a set held before it shrank is there when it grows again;
    // see BitsSize.BringsBackOldBitsWhenItGrowsWithinTheRoom.
    m_size = size;
    return 1;
}

int Bits::SetData(unsigned char* data, unsigned long sizeInBits) {
    if (data == nullptr || sizeInBits == 0)
        return 0;
    // The capacity stays, and SetSize trusts it: the array must not be shorter than it says.
    const unsigned long bytes = SizeToBytes(sizeInBits);
    Array copy = CopyOf(data, bytes, std::max(bytes, SizeToBytes(m_capacity)));
    if (copy == nullptr)
        return 0;
    m_data = std::move(copy);
    m_size = sizeInBits;
    return 1;
}

int Bits::Set(unsigned long pos) {
    if (pos >= m_size)
        return 0;
    m_data[PosToBytePos(pos)] |= MaskOf(pos);
    return 1;
}

int Bits::Reset(unsigned long pos) {
    if (pos >= m_size)
        return 0;
    m_data[PosToBytePos(pos)] &= static_cast<unsigned char>(~MaskOf(pos));
    return 1;
}

int Bits::Test(unsigned long pos) const {
    if (pos >= m_size)
        return 0;
    return (m_data[PosToBytePos(pos)] & MaskOf(pos)) != 0 ? 1 : 0;
}

void Bits::SetAll() {
    std::fill_n(m_data.get(), GetBytes(), static_cast<unsigned char>(0xFF));
    ClearUnused(m_data.get(), m_size);
}

void Bits::ResetAll() { std::fill_n(m_data.get(), GetBytes(), static_cast<unsigned char>(0)); }

void Bits::Clear() {
    m_data.reset();
    m_capacity = 0;
    m_size = 0;
}

unsigned long Bits::GetSetCount() {
    unsigned long count = 0;
    for (unsigned long pos = 0; pos < m_size; ++pos) {
        if (Test(pos) != 0)
            ++count;
    }
    return count;
}

unsigned long Bits::GetUnsetCount() { return m_size - GetSetCount(); }

int Bits::Any() const { return None() == 0 ? 1 : 0; }

int Bits::None() const {
    const unsigned char* data = m_data.get();
    const auto isZero = [](unsigned char byte) { return byte == 0; };
    return std::all_of(data, data + SizeToBytes(m_size), isZero) ? 1 : 0;
}

Bits& Bits::operator~() {
    unsigned char* data = m_data.get();
    std::transform(data, data + GetBytes(), data, std::bit_not<unsigned char>());
    ClearUnused(data, m_size);
    return *this;
}

Bits& Bits::operator&=(const Bits& other) {
    Combine(m_data.get(), m_size, {m_data.get(), m_size}, {other.m_data.get(), other.m_size},
            std::bit_and<unsigned char>());
    return *this;
}

// What this set has to combine are the bytes that were in use before it takes the other size. Its
// array may be another one then, and so is the other set's when both are the same.
Bits& Bits::operator|=(const Bits& other) {
    const unsigned long size = m_size;
    SetSize(other.m_size, 1);
    Combine(m_data.get(), m_size, {m_data.get(), size}, {other.m_data.get(), other.m_size},
            std::bit_or<unsigned char>());
    return *this;
}

Bits& Bits::operator^=(const Bits& other) {
    const unsigned long size = m_size;
    SetSize(other.m_size, 1);
    Combine(m_data.get(), m_size, {m_data.get(), size}, {other.m_data.get(), other.m_size},
            std::bit_xor<unsigned char>());
    return *this;
}

// Callers count on the size of each result: the left one for &, the right one for | and ^; see
// BitsCombined.HasTheLeftSizeForAndButTheRightSizeForOrAndXor.
Bits Bits::operator&(const Bits& other) const {
    return Combined(m_size, {m_data.get(), m_size}, {other.m_data.get(), other.m_size},
                    std::bit_and<unsigned char>());
}

Bits Bits::operator|(const Bits& other) const {
    return Combined(other.m_size, {m_data.get(), m_size}, {other.m_data.get(), other.m_size},
                    std::bit_or<unsigned char>());
}

Bits Bits::operator^(const Bits& other) const {
    return Combined(other.m_size, {m_data.get(), m_size}, {other.m_data.get(), other.m_size},
                    std::bit_xor<unsigned char>());
}

int Bits::operator==(const Bits& other) const {
    if (m_size != other.m_size)
        return 0;
    const unsigned char* data = m_data.get();
    return std::equal(data, data + SizeToBytes(m_size), other.m_data.get()) ? 1 : 0;
}

int Bits::operator!=(const Bits& other) const {
    // Sets of different sizes are not comparable: callers ask for the size first; see
    // BitsComparison.IsNeitherEqualNorUnequalForDifferentSizes.
    if (m_size != other.m_size)
        return 0;
    return *this == other ? 0 : 1;
}

// Hosts that chain shifts rely on the set staying as it is; see BitsShift.DoesNothing.
Bits& Bits::operator<<(unsigned long /*count*/) { return *this; }

Bits& Bits::operator>>(unsigned long /*count*/) { return *this; }

void Bits::ToString(std::string& out) const {
    out.assign(m_size, '0');
    for (unsigned long pos = 0; pos < m_size; ++pos) {
        if (Test(pos) != 0)
            out[m_size - 1 - pos] = '1';
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
    // Room for all at once; growing bit by bit ends with the same room. When there is not enough
    // memory, it is the growing bit by bit that keeps what fits.
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
    // When the size could not be taken there may be fewer bytes than in `other`, or more; see
    // BitsMemory.ClonesTheBytesThatBothHaveWhenThereIsNone.
    SetSize(other.m_size, 1); // for the set itself, too: after SetData it makes new room
    if (&other == this)
        return;
    std::copy_n(other.m_data.get(), std::min(GetBytes(), SizeToBytes(other.m_size)), m_data.get());
}

} // namespace Vorn
