#ifndef VORN_BASES_CONTAINER_H
#define VORN_BASES_CONTAINER_H

// Containers of raw bytes: a set of bits and a buffer.
//
// No object locks: one thread at a time may use it, the const operations included when another
// thread changes it meanwhile. Different objects are independent.
//
// Where the result is an int, 1 means success or "yes" and 0 failure or "no". Nothing throws but
// the std::string operations, and those only for want of memory.

#include <memory>
#include <string>

#include <Bases/Export.h>

namespace Vorn {

/// A set of bits that are addressed by position, from 0 to the size less 1, and that grows and
/// shrinks on request. Position p is bit p % 8, counted from the lowest one, of byte p / 8.
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
/// Note: the set keeps more than its bits. When it shrinks, its room stays (but see SetData), and
/// so does what stands in the bytes: SetSize brings it back. Clear and FromString give the room
/// back.
///
/// Note: None, Any, operator== and operator!= look at whole bytes and so see what stands in the
/// last byte behind the last bit. SetAll, ResetAll, operator~ and, for operands of equally many
/// bytes, the in-place logic operators and operator& leave zeros there; operator|, operator^,
/// SetSize, SetData and Clone do not.
///
/// Note: the operations that are not marked const can be called on a set that is not const only,
/// GetSize among them.
class VORN_BASES_API Bits {
public:
    /// Makes an empty set: size 0, no data.
    Bits();

    /// Makes a set of `size` bits, all 0. It is empty when `size` is 0 or there is no memory.
    explicit Bits(unsigned long size);

    /// Makes a copy of the bits of `other`, with no more room than they need; see Clone.
    Bits(const Bits& other);

    /// Makes this set the same as `other`, by Clone. Returns this set.
    ///
    /// Note: a larger room stays, with what stands in it. Note: an empty `other` changes nothing.
    Bits& operator=(const Bits& other);

    virtual ~Bits();

    /// Returns the byte that holds position `pos`: pos / 8.
    static unsigned long PosToBytePos(unsigned long pos);

    /// Returns how many bytes hold `size` bits: size / 8, rounded up, for every `size`.
    static unsigned long SizeToBytes(unsigned long size);

    /// Returns the size of the smallest set that has the position `pos`: pos + 1.
    static unsigned long PosToSize(unsigned long pos);

    /// Returns the number of bits.
    unsigned long GetSize();

    /// Returns the bytes, null for an empty set. They belong to the set and can be written to; the
    /// pointer is good until the next operation that changes the size or the data.
    unsigned char* GetData();

    /// Returns the number of bytes that the bits take: SizeToBytes(GetSize()).
    unsigned long GetBytes();

    /// Makes the set `size` bits long. The flag is not used.
    ///
    /// Returns 1 on success. Returns 0, with nothing changed, when `size` is 0 or there is no
    /// memory. Bytes for which there was no room before are 0.
    ///
    /// Note: a set cannot be made empty so; Clear does that. Note: bits that were set before the
    /// set shrank are set again when it grows within its room.
    int SetSize(unsigned long size, int flag = 1);

    /// Replaces the bits by the first `sizeInBits` ones of the bytes at `data`, which are copied
    /// whole. They may be bytes of this set.
    ///
    /// Returns 1 on success. Returns 0, with nothing changed, when `data` is null, `sizeInBits` is
    /// 0 or there is no memory.
    ///
    /// Note: the set goes on counting with the room it had before. When a later SetSize needs more
    /// bytes than that, even to shrink, it makes new room of exactly that many bytes, and what does
    /// not fit is lost; when it needs no more, it grows within the old room over bytes that are 0.
    int SetData(unsigned char* data, unsigned long sizeInBits);

    /// Sets the bit at `pos` to 1 or to 0.
    ///
    /// Returns 1, or 0 with nothing changed when there is no such position.
    int Set(unsigned long pos);
    int Reset(unsigned long pos);

    /// Returns the bit at `pos`, 0 when there is no such position.
    int Test(unsigned long pos) const;

    /// Sets every bit to 1 or to 0. The bits of the last byte behind the last bit become 0.
    void SetAll();
    void ResetAll();

    /// Makes the set empty and gives its room back.
    void Clear();

    /// Returns how many of the bits are 1, or 0.
    unsigned long GetSetCount();
    unsigned long GetUnsetCount();

    /// Returns whether any bit is 1, or none. No bit of an empty set is.
    ///
    /// Note: whole bytes are looked at. Where the last one has bits behind the last bit, which come
    /// from shrinking, SetData, operator|, operator^ or cloning a set that has some, Any may be 1
    /// with a GetSetCount of 0.
    int Any() const;
    int None() const;

    /// Inverts every bit in place. The bits of the last byte behind the last bit become 0. Returns
    /// this set.
    Bits& operator~();

    /// Combines the bits with those of `other` in place, byte by byte for as many bytes as both
    /// have. When both have equally many, the bits of the last byte behind the last bit become 0.
    /// `other` may be this set. Return this set.
    ///
    /// Note: operator&= leaves the size, and the bytes that `other` does not have, as they are.
    /// operator|= and operator^= take the size of `other` first, as by SetSize, so that they may
    /// shrink the set; an empty `other`, and want of memory, leave the size. Bytes that `other`
    /// alone has are not taken over.
    Bits& operator&=(const Bits& other);
    Bits& operator|=(const Bits& other);
    Bits& operator^=(const Bits& other);

    /// Return a new set that combines the bits of both, byte by byte for as many bytes as both
    /// have; it is empty for want of memory.
    ///
    /// Note: the result of operator& has the size of this set, that of operator| and operator^ the
    /// size of `other`; bits of the longer set behind the bytes of the shorter one are 0 in it.
    /// When both have equally many bytes, the last one keeps the bits within the size of this set
    /// only, also where the result has the size of `other`.
    Bits operator&(const Bits& other) const;
    Bits operator|(const Bits& other) const;
    Bits operator^(const Bits& other) const;

    /// Return whether the sets have the same bytes, or different ones.
    ///
    /// Note: both return 0 for sets of different sizes. Note: whole bytes are compared. Where the
    /// last one has bits behind the last bit, which come from shrinking, SetData, operator|,
    /// operator^ or cloning a set that has some, the sets may differ while all bits are the same.
    int operator==(const Bits& other) const;
    int operator!=(const Bits& other) const;

    /// Note: both do nothing and return this set. The bits are not shifted.
    Bits& operator<<(unsigned long count);
    Bits& operator>>(unsigned long count);

    /// Writes the bits as text, a "1" or a "0" for each. The first character is the highest
    /// position, the last one is position 0. The text of an empty set is empty.
    void ToString(std::string& out) const;
    std::string ToString() const;

    /// Replaces the bits by those that `text` spells, read from its last character, which is
    /// position 0, to its first. Gives the room back that the set had before.
    ///
    /// Note: reading stops at the first character from the end that is neither "0" nor "1"; what
    /// was read so far stays. "10x1" gives the one bit "1", and a text without a bit at its end
    /// gives an empty set. For want of memory the low positions stay that there is memory for.
    void FromString(const std::string& text);

    /// Takes the size of `other`, as by SetSize, and copies its bytes, whole. `other` may be this
    /// set.
    ///
    /// Note: when there is no memory for that size, this set keeps its own, and as many bytes are
    /// copied as both have. Compare GetSize where that matters. Note: an empty `other` changes
    /// nothing, so that assigning an empty set does not make this one empty; Clear does that.
    void Clone(const Bits& other);

private:
    std::unique_ptr<unsigned char[]> m_data;
    unsigned long m_capacity; // in bits; SetData does not adjust it
    unsigned long m_size;
};

/// A buffer of bytes that is filled at its end and used up from its front, in one array that can be
/// taken over from the caller and handed to the caller.
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
    /// Makes an empty buffer without an array.
    SerialBuffer();

    /// Makes an empty buffer with room for `maxSize` bytes, without an array when `maxSize` is 0 or
    /// there is no memory.
    explicit SerialBuffer(unsigned long maxSize);

    virtual ~SerialBuffer();

    SerialBuffer(const SerialBuffer&) = delete;
    SerialBuffer& operator=(const SerialBuffer&) = delete;

    /// Returns the array, null when there is none. It belongs to the buffer and can be written to;
    /// the pointer is good until the array is replaced, handed over or freed.
    unsigned char* GetBuffer();

    /// Returns the number of bytes in use, from the start of the array.
    unsigned long GetSize();

    /// Returns the length of the array in bytes.
    unsigned long GetMaxSize();

    /// Makes `size` bytes count as in use, at most as many as the array is long. Touches no byte.
    void SetSize(unsigned long size);

    /// Makes the array at least `size` bytes long. A longer array is exactly `size` bytes long and
    /// starts with the bytes in use unless `keep` is 0.
    ///
    /// Returns 1 on success, also when the array is long enough and stays. Returns 0, with nothing
    /// changed, when there is no memory.
    ///
    /// Note: the array never becomes shorter. Note: the bytes in use stay as many when `keep` is 0;
    /// with a new array their values are indeterminate then, until they are written.
    int SetMaxSize(unsigned long size, int keep);

    /// Appends a copy of the `len` bytes at `data`, which may lie in the own array. Unless they
    /// fit, the array grows to exactly the bytes needed, unless `grow` is 0.
    ///
    /// Returns 1 on success. Returns 0, with nothing changed, when the bytes do not fit and `grow`
    /// is 0, when there is no memory or the sum of bytes exceeds 64 bits, and when there are bytes
    /// to append but room is claimed for an array that is null; see SetBuffer.
    ///
    /// Note: with a null `data` the array grows all the same, nothing is appended, and the result
    /// is 1. Note: nothing is kept in reserve, so every append that grows copies all bytes in use;
    /// call SetMaxSize first where the total is known.
    int AddBuffer(unsigned char* data, unsigned long len, int grow);

    /// Drops `n` bytes, or all if there are fewer, from the front and moves the rest there. The
    /// array keeps its length.
    ///
    /// Returns 1, always; without an array nothing changes.
    int Shift(unsigned long n);

    /// Frees the array and takes over the one at `data`, with `size` bytes in use and `maxSize`
    /// bytes long. It must come from array new and is freed by the buffer with array delete, unless
    /// Fetch hands it back. The buffer's own array may be given again; it is kept then.
    ///
    /// Returns 1 on success. Returns 0, with nothing changed and `data` still the caller's, when
    /// the buffer reports more bytes in use than its array is long.
    ///
    /// Note: the arguments are not checked. `maxSize` must not exceed the length of the array. A
    /// `size` above `maxSize` is accepted, and then refuses the next SetBuffer until SetSize,
    /// Clear, Delete or Fetch, or enough of Shift or growth, has put it right.
    int SetBuffer(unsigned char* data, unsigned long size, unsigned long maxSize);

    /// Hands the array over and leaves the buffer without one; GetSize and GetMaxSize are then 0.
    /// Returns the array, null when there is none; the caller frees it with array delete.
    unsigned char* Fetch();

    /// Makes no byte count as in use. The array stays.
    void Clear();

    /// Frees the array and leaves the buffer without one; GetSize and GetMaxSize are then 0.
    void Delete();

private:
    std::unique_ptr<unsigned char[]> m_buffer;
    unsigned long m_maxSize;
    unsigned long m_size;
};

} // namespace Vorn

#endif
