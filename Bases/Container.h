// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_CONTAINER_H
#define VORN_BASES_CONTAINER_H

// Containers of raw bytes: a set of bits and a buffer.
//
// Nothing locks: one thread at a time may use an object, const operations included if another
// thread changes it meanwhile. Different objects are independent.
//
// An int result is 1 for success or "yes" and 0 for failure or "no". Only the std::string
// operations throw, and only if memory runs out.

#include <memory>
#include <string>

#include <Bases/Export.h>

namespace Vorn {

/// A resizable set of bits, addressed by position from 0 to the size less 1. Position p is in byte
/// p / 8, at bit p % 8 counted from the least significant.
///
///     Vorn::Bits bits(3);
///     bits.Set(0);
///     std::string text = bits.ToString(); // "001": the last character is position 0
///
///     Vorn::Bits same;
///     same.FromString(text);
///     if (same == bits)                   // but see operator!= for sets of different sizes
///         bits.SetAll();                  // bits.ToString() is "111"
///
/// Note: a set that shrinks keeps its capacity and its bytes (but see SetData), so bits that were
/// set before are set again when it grows within the capacity. Clear and FromString release the
/// capacity.
///
/// Note: the last byte may hold unused bits, beyond the last position. None, Any, operator== and
/// operator!= look at whole bytes and so at these: Any may be 1 with a GetSetCount of 0, and sets
/// with the same text may differ. SetAll, ResetAll, operator~ and, for operands of equally many
/// bytes, the in-place logic operators and operator& clear the unused bits; operator|, operator^,
/// SetSize, SetData and Clone do not.
///
/// Note: a const `Bits` cannot call the non-const members; GetSize is one of them.
class VORN_BASES_API Bits {
public:
    /// Constructs an empty set: size 0, no data.
    Bits();

    /// Constructs a set of `size` bits, all 0; an empty one if `size` is 0 or memory runs out.
    explicit Bits(unsigned long size);

    /// Constructs a copy of `other`, with no more capacity than its bits take; see Clone.
    Bits(const Bits& other);

    /// Clones `other`; see Clone. Returns this set.
    ///
    /// Note: an empty `other` changes nothing. A larger capacity stays, with its bytes.
    Bits& operator=(const Bits& other);

    virtual ~Bits();

    /// Returns the byte that holds position `pos`: pos / 8.
    static unsigned long PosToBytePos(unsigned long pos);

    /// Returns the number of bytes that hold `size` bits: size / 8 rounded up, for every `size`.
    static unsigned long SizeToBytes(unsigned long size);

    /// Returns the size of the smallest set that has the position `pos`: pos + 1.
    static unsigned long PosToSize(unsigned long pos);

    /// Returns the number of bits.
    unsigned long GetSize();

    /// Returns the bytes, null for an empty set. The set owns them and the caller may write to
    /// them; the pointer is valid until the next operation that changes the size or the data.
    unsigned char* GetData();

    /// Returns the number of bytes in use: SizeToBytes(GetSize()).
    unsigned long GetBytes();

    /// Resizes the set to `size` bits. The flag is ignored.
    ///
    /// Returns 1 on success. Returns 0, with nothing changed, if `size` is 0 or memory runs out.
    /// Growing beyond the capacity keeps the bytes in use, whole, and adds bytes that are 0.
    ///
    /// Note: 0 does not empty the set; Clear does.
    /// Note: nothing is cleared when the set shrinks, or grows within its capacity.
    int SetSize(unsigned long size, int flag = 1);

    /// Replaces the bits with the first `sizeInBits` bits at `data`, copied in whole bytes. The
    /// bytes may be this set's own.
    ///
    /// Returns 1 on success. Returns 0, with nothing changed, if `data` is null, `sizeInBits` is 0
    /// or memory runs out.
    ///
    /// Note: the capacity stays what it was. If a later SetSize needs more bytes than that, it
    /// reallocates to exactly so many, even to shrink, and what does not fit is lost. If it needs
    /// no more, nothing moves: the bytes of `data` stay, and bytes of the capacity beyond them are
    /// 0.
    int SetData(unsigned char* data, unsigned long sizeInBits);

    /// Sets the bit at `pos` to 1 or to 0.
    ///
    /// Returns 1, or 0 if there is no such position.
    int Set(unsigned long pos);
    int Reset(unsigned long pos);

    /// Returns the bit at `pos`, or 0 if there is no such position.
    int Test(unsigned long pos) const;

    /// Sets every bit to 1 or to 0. Clears the unused bits.
    void SetAll();
    void ResetAll();

    /// Empties the set and releases its capacity.
    void Clear();

    /// Return the number of bits that are 1 and of those that are 0.
    unsigned long GetSetCount();
    unsigned long GetUnsetCount();

    /// Return whether any bit is 1 and whether none is; in an empty set none is. Both look at whole
    /// bytes, unused bits included.
    int Any() const;
    int None() const;

    /// Inverts every bit in place and clears the unused bits. Returns this set.
    Bits& operator~();

    /// Combines the bits with those of `other` in place, byte by byte, over the bytes that both
    /// have. If both have equally many, clears the unused bits. `other` may be this set. Return
    /// this set.
    ///
    /// Note: operator&= keeps the size, and the bytes that `other` lacks. operator|= and operator^=
    /// first resize to the size of `other`, as by SetSize, and so may shrink the set; they keep the
    /// size if `other` is empty or memory runs out. Bytes that only `other` has are not copied.
    Bits& operator&=(const Bits& other);
    Bits& operator|=(const Bits& other);
    Bits& operator^=(const Bits& other);

    /// Return a new set that combines the bits of both, byte by byte, over the bytes that both
    /// have; an empty one if memory runs out.
    ///
    /// Note: the result of operator& has the size of this set, that of operator| and operator^ the
    /// size of `other`. Beyond the bytes of the shorter set it is 0.
    /// Note: if both have equally many bytes, the last one keeps only the bits within the size of
    /// this set, even if the result has the size of `other`.
    Bits operator&(const Bits& other) const;
    Bits operator|(const Bits& other) const;
    Bits operator^(const Bits& other) const;

    /// Return whether the sets have equal bytes (operator!=: different ones), unused bits included.
    ///
    /// Note: both return 0 for sets of different sizes.
    int operator==(const Bits& other) const;
    int operator!=(const Bits& other) const;

    /// Return this set, unchanged. Note: no bit is shifted.
    Bits& operator<<(unsigned long count);
    Bits& operator>>(unsigned long count);

    /// Writes the bits as "1" and "0", the highest position first and position 0 last. An empty set
    /// gives an empty text.
    void ToString(std::string& out) const;
    std::string ToString() const;

    /// Replaces the bits with those that `text` spells, from its last character, position 0, to its
    /// first. Releases the old capacity.
    ///
    /// Note: reading stops at the first character from the end that is neither "0" nor "1", and
    /// keeps what it has: "10x1" gives the one bit "1", and a text that does not end in a bit gives
    /// an empty set. If memory runs out, as many low positions stay as fit.
    void FromString(const std::string& text);

    /// Resizes to the size of `other`, as by SetSize, and copies its bytes, whole. `other` may be
    /// this set.
    ///
    /// Note: an empty `other` changes nothing; Clear makes a set empty.
    /// Note: if memory runs out, this set keeps its size, and the bytes that both have are copied.
    /// Compare GetSize where that matters.
    void Clone(const Bits& other);

private:
    std::unique_ptr<unsigned char[]> m_pData;
    unsigned long m_nCapacity; // in bits; SetData does not adjust it
    unsigned long m_nSize;
    unsigned long m_nReserve; // bytes of the array behind the capacity
};

/// A buffer of bytes that is filled at its end and consumed from its front. Its one array can be
/// adopted from the caller and handed over to the caller.
///
///     constexpr unsigned long HeaderLength = 2;
///     unsigned char packet[] = {0x01, 0x03, 'a', 'b', 'c'};
///
///     Vorn::SerialBuffer received;
///     received.AddBuffer(packet, sizeof packet, 1);           // grows as needed
///     if (received.GetSize() >= HeaderLength) {
///         unsigned char length = received.GetBuffer()[1];     // 3
///         received.Shift(HeaderLength);                       // the rest moves to the front
///         std::string text(length, '\0');
///         std::memcpy(text.data(), received.GetBuffer(), 3);  // text is "abc"
///     }
class VORN_BASES_API SerialBuffer {
public:
    /// Constructs an empty buffer without an array.
    SerialBuffer();

    /// Constructs an empty buffer with a capacity of `maxSize` bytes; without an array if that is 0
    /// or memory runs out.
    explicit SerialBuffer(unsigned long maxSize);

    virtual ~SerialBuffer();

    SerialBuffer(const SerialBuffer&) = delete;
    SerialBuffer& operator=(const SerialBuffer&) = delete;

    /// Returns the array, null if there is none. The buffer owns it and the caller may write to it;
    /// the pointer is valid until the array is replaced, handed over or freed.
    unsigned char* GetBuffer();

    /// Returns the number of bytes in use, from the start of the array.
    unsigned long GetSize();

    /// Returns the capacity: the length of the array in bytes.
    unsigned long GetMaxSize();

    /// Sets the number of bytes in use to `size`, or to the capacity if that is less. Touches no
    /// byte.
    void SetSize(unsigned long size);

    /// Grows the capacity to at least `size` bytes: if it is less, reallocates to exactly `size`
    /// bytes that begin with the bytes in use unless `keep` is 0.
    ///
    /// Returns 1 on success. Returns 0, with nothing changed, if memory runs out.
    ///
    /// Note: the capacity never shrinks.
    /// Note: reallocating with `keep` 0 leaves the number of bytes in use; their values are
    /// indeterminate until they are written.
    int SetMaxSize(unsigned long size, int keep);

    /// Appends a copy of the `len` bytes at `data`, which may lie in the buffer's own array. If
    /// they do not fit, the array grows to exactly the bytes needed, unless `grow` is 0.
    ///
    /// Returns 1 on success. Returns 0, with nothing changed, if the bytes do not fit and `grow` is
    /// 0, if memory runs out or the sum exceeds 64 bits, and if there are bytes to append but the
    /// array with the claimed capacity is null; see SetBuffer.
    ///
    /// Note: with a null `data` the array still grows, nothing is appended, and the result is 1.
    /// Note: the capacity is exactly the bytes needed. A long array may have a hidden reserve
    /// behind it, of at most half the bytes in use, so that appending costs the same per byte
    /// however many there are.
    int AddBuffer(unsigned char* data, unsigned long len, int grow);

    /// Drops `n` bytes, or all if there are fewer, from the front and moves the rest there. The
    /// capacity stays. Returns 1, always; without an array nothing changes.
    int Shift(unsigned long n);

    /// Frees the array and adopts the one at `data`, with `size` bytes in use and a capacity of
    /// `maxSize` bytes. It must come from array new; the buffer frees it with array delete unless
    /// Fetch hands it back. Passing the buffer's own array again keeps it.
    ///
    /// Returns 1 on success. Returns 0, with nothing changed and `data` still the caller's, if the
    /// buffer has more bytes in use than its capacity.
    ///
    /// Note: the arguments are not checked. `maxSize` must not exceed the length of the array. A
    /// `size` above `maxSize` is accepted, and makes the next SetBuffer fail unless SetSize, Clear,
    /// Delete, Fetch, a large enough Shift or growth has corrected it.
    int SetBuffer(unsigned char* data, unsigned long size, unsigned long maxSize);

    /// Hands the array over, null if there is none, and leaves the buffer without one, with size
    /// and capacity 0. The caller frees it with array delete.
    unsigned char* Fetch();

    /// Sets the number of bytes in use to 0. The array stays.
    void Clear();

    /// Frees the array and leaves the buffer without one, with size and capacity 0.
    void Delete();

private:
    std::unique_ptr<unsigned char[]> m_pBuffer;
    unsigned long m_nMaxSize;
    unsigned long m_nSize;
    unsigned long m_nReserve; // bytes of the array behind the capacity
};

} // namespace Vorn

#endif
