// SPDX-License-Identifier: MIT
// Bits: the set of bits and its operators.

#include <Bases/Container.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <functional>
#include <new>
#include <utility>

#include <Bases/Impl/Reserve.h>
#include <Bases/Impl/Route/BitsKernel.h>
#include <Bases/Impl/WriteText.h>

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

// Counts the bits that are 1.
unsigned long CountOnes(const unsigned char* bytes, unsigned long size) {
    unsigned long count = 0;
    unsigned long done = 0;
    if (const BitsCountKernel kernel = FindBitsKernels(CurrentRoute()).count)
        done = kernel(bytes, size, count);
    for (; size - done >= sizeof(std::uint64_t); done += sizeof(std::uint64_t)) {
        std::uint64_t word = 0;
        std::memcpy(&word, bytes + done, sizeof word);
        count += static_cast<unsigned long>(std::popcount(word));
    }
    for (; done < size; ++done)
        count += static_cast<unsigned long>(std::popcount(bytes[done]));
    return count;
}

// An operation on bytes, and which kernel does the same.
template <typename Operation>
struct Logic {
    Operation combine;
    BitsLogicKernel BitsKernels::*kernel;
};

constexpr Logic<std::bit_and<unsigned char>> And = {{}, &BitsKernels::logicAnd};
constexpr Logic<std::bit_or<unsigned char>> Or = {{}, &BitsKernels::logicOr};
constexpr Logic<std::bit_xor<unsigned char>> Xor = {{}, &BitsKernels::logicXor};

// `result` may be an operand.
template <typename Operation>
void CombineBytes(const unsigned char* left, const unsigned char* right, unsigned long size,
                  unsigned char* result, Logic<Operation> logic) {
    unsigned long done = 0;
    if (const BitsLogicKernel kernel = FindBitsKernels(CurrentRoute()).*logic.kernel) {
        constexpr unsigned long Alignment = 64; // of the result, for the kernel
        done = std::min(size, -reinterpret_cast<std::uintptr_t>(result) % Alignment);
        std::transform(left, left + done, right, result, logic.combine);
        done += kernel(left + done, right + done, size - done, result + done);
    }
    std::transform(left + done, left + size, right + done, result + done, logic.combine);
}

struct Operand {
    const unsigned char* data;
    unsigned long size;
};

// Combines the bytes that both operands have. `result` may be an operand. Clears the unused bits,
// those beyond `size`, only for operands of equally many bytes.
template <typename Operation>
void Combine(unsigned char* result, unsigned long size, Operand left, Operand right,
             Logic<Operation> logic) {
    const unsigned long leftBytes = Bits::SizeToBytes(left.size);
    const unsigned long rightBytes = Bits::SizeToBytes(right.size);
    CombineBytes(left.data, right.data, std::min(leftBytes, rightBytes), result, logic);
    if (leftBytes == rightBytes)
        ClearUnused(result, size);
}

// A new set of `size` bits. Which bits of the last byte are cleared depends on the size of the left
// operand, even if the result has that of the right one; see
// BitsCombined.KeepsTheBitsWithinTheLeftSizeOnly.
template <typename Operation>
Bits Combined(unsigned long size, Operand left, Operand right, Logic<Operation> logic) {
    Bits result;
    if (result.SetSize(size) != 0)
        Combine(result.GetData(), left.size, left, right, logic);
    return result;
}

// The text of each byte, its highest bit first.
using ByteText = std::array<char, 8>;

constexpr std::array<ByteText, 256> TextTable() {
    std::array<ByteText, 256> texts{};
    for (unsigned byte = 0; byte < texts.size(); ++byte) {
        for (unsigned bit = 0; bit < 8; ++bit)
            texts[byte][7 - bit] = (byte >> bit & 1U) != 0 ? '1' : '0';
    }
    return texts;
}

constexpr std::array<ByteText, 256> Texts = TextTable();

// Eight characters at once, each of which is to be 0 or 1. They differ in their lowest bit.
class Digits {
public:
    explicit Digits(const char* text) { std::memcpy(&m_nCharacters, text, sizeof m_nCharacters); }

    bool AreAll() const { return (m_nCharacters & ~LowestBits) == LowestBits * '0'; }

    // The first character is the highest bit. A multiplication adds up shifted copies of them all
    // such that each character's bit gets to its place in the highest byte; no two bits meet.
    unsigned char Byte() const {
        return static_cast<unsigned char>((m_nCharacters & LowestBits) * ToHighestByte >> 56);
    }

private:
    static constexpr std::uint64_t LowestBits = 0x0101010101010101;
    static constexpr std::uint64_t ToHighestByte =
        std::endian::native == std::endian::little ? 0x8040201008040201 : 0x0102040810204080;

    std::uint64_t m_nCharacters = 0;
};

// The number of characters 0 and 1 at the end of a text.
std::size_t CountDigits(const std::string& text) {
    std::size_t begin = text.size();
    for (; begin >= 8 && Digits(&text[begin - 8]).AreAll(); begin -= 8) {
    }
    while (begin > 0 && (text[begin - 1] == '0' || text[begin - 1] == '1'))
        --begin;
    return text.size() - begin;
}

} // namespace

Bits::Bits() : m_nCapacity(0), m_nSize(0), m_nReserve(0) {}

Bits::Bits(unsigned long size) : Bits() { SetSize(size); }

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
    const unsigned long capacity = SizeToBytes(m_nCapacity);
    if (capacity < bytes) {
        // After SetData more bytes may be in use than the capacity says.
        const unsigned long kept = std::min(GetBytes(), bytes);
        if (!TakeReserve(m_pData.get(), capacity, bytes, m_nReserve)) {
            ReservedArray longer = NewArray(m_pData.get(), kept, bytes);
            if (longer.bytes == nullptr)
                return 0;
            m_pData = std::move(longer.bytes);
            m_nReserve = longer.reserve;
        }
        std::fill(m_pData.get() + kept, m_pData.get() + bytes, static_cast<unsigned char>(0));
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
    m_nReserve = 0;
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
    m_nReserve = 0;
}

unsigned long Bits::GetSetCount() {
    const unsigned long bytes = GetBytes();
    const unsigned long count = CountOnes(m_pData.get(), bytes);
    if (m_nSize % 8 == 0)
        return count;
    const unsigned unused = m_pData[bytes - 1] & ~(MaskOf(m_nSize) - 1U);
    return count - static_cast<unsigned long>(std::popcount(unused));
}

unsigned long Bits::GetUnsetCount() { return m_nSize - GetSetCount(); }

int Bits::Any() const { return None() == 0 ? 1 : 0; }

int Bits::None() const {
    const unsigned char* data = m_pData.get();
    const unsigned long bytes = SizeToBytes(m_nSize);
    // The first is 0, and each is the same as the one before it.
    return bytes == 0 || (data[0] == 0 && std::memcmp(data, data + 1, bytes - 1) == 0) ? 1 : 0;
}

Bits& Bits::operator~() {
    unsigned char* data = m_pData.get();
    std::transform(data, data + GetBytes(), data, std::bit_not<unsigned char>());
    ClearUnused(data, m_nSize);
    return *this;
}

Bits& Bits::operator&=(const Bits& other) {
    Combine(m_pData.get(), m_nSize, {m_pData.get(), m_nSize}, {other.m_pData.get(), other.m_nSize},
            And);
    return *this;
}

// SetSize may reallocate (the other's array too, if it is this set): remember the old size, which
// says what to combine, and read both pointers afterwards.
Bits& Bits::operator|=(const Bits& other) {
    const unsigned long size = m_nSize;
    SetSize(other.m_nSize);
    Combine(m_pData.get(), m_nSize, {m_pData.get(), size}, {other.m_pData.get(), other.m_nSize},
            Or);
    return *this;
}

Bits& Bits::operator^=(const Bits& other) {
    const unsigned long size = m_nSize;
    SetSize(other.m_nSize);
    Combine(m_pData.get(), m_nSize, {m_pData.get(), size}, {other.m_pData.get(), other.m_nSize},
            Xor);
    return *this;
}

// Callers rely on the size of each result, the left one for & and the right one for | and ^; see
// BitsCombined.HasTheLeftSizeForAndButTheRightSizeForOrAndXor.
Bits Bits::operator&(const Bits& other) const {
    return Combined(m_nSize, {m_pData.get(), m_nSize}, {other.m_pData.get(), other.m_nSize}, And);
}

Bits Bits::operator|(const Bits& other) const {
    return Combined(other.m_nSize, {m_pData.get(), m_nSize}, {other.m_pData.get(), other.m_nSize},
                    Or);
}

Bits Bits::operator^(const Bits& other) const {
    return Combined(other.m_nSize, {m_pData.get(), m_nSize}, {other.m_pData.get(), other.m_nSize},
                    Xor);
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

// Programs that chain shifts rely on the set staying as it is; see BitsShift.DoesNothing.
Bits& Bits::operator<<(unsigned long /*count*/) { return *this; }

Bits& Bits::operator>>(unsigned long /*count*/) { return *this; }

void Bits::ToString(std::string& out) const {
    WriteText(out, m_nSize, [data = m_pData.get(), size = m_nSize](char* text) {
        const unsigned long whole = size / 8;
        char* next = text + size;
        for (unsigned long i = 0; i < whole; ++i) {
            next -= 8;
            std::memcpy(next, Texts[data[i]].data(), 8);
        }
        if (const unsigned long rest = size % 8; rest != 0)
            std::memcpy(text, Texts[data[whole]].data() + 8 - rest, rest);
        return size;
    });
}

std::string Bits::ToString() const {
    std::string text;
    ToString(text);
    return text;
}

void Bits::FromString(const std::string& text) {
    Clear();
    const std::size_t digits = CountDigits(text);
    const char* const end = text.data() + text.size();
    std::size_t pos = 0;
    // Allocates once; growing bit by bit ends with the same capacity. If memory does not suffice
    // for all, growing bit by bit keeps what fits.
    if (SetSize(digits) != 0) {
        for (; digits - pos >= 8; pos += 8)
            m_pData[pos / 8] = Digits(end - pos - 8).Byte();
    }
    for (; pos < digits; ++pos) {
        SetSize(PosToSize(pos)); // its new bits are 0
        if (end[-1 - static_cast<std::ptrdiff_t>(pos)] == '1')
            Set(pos);
    }
}

void Bits::Clone(const Bits& other) {
    // If the size cannot be taken, this set may have fewer bytes than `other`, or more; see
    // BitsMemory.ClonesTheBytesThatBothHaveWhenItRunsOut.
    SetSize(other.m_nSize); // for the set itself, too: after SetData it reallocates
    if (&other == this)
        return;
    std::copy_n(other.m_pData.get(), std::min(GetBytes(), SizeToBytes(other.m_nSize)),
                m_pData.get());
}

} // namespace Vorn
