#ifndef VORN_BASES_UTILITY_H
#define VORN_BASES_UTILITY_H

// Small values and helpers: identifiers.

#include <string>

#include <Bases/Export.h>

namespace Vorn {

/// A 128-bit identifier: 16 bytes and nothing else, so it can be copied, stored and sent as plain
/// bytes. All zero means none.
///
/// A plain value: several threads may read one Guid, but only one may use it while it is changed.
/// Different objects are independent; Generate may run on several threads at once.
///
///     Vorn::Guid id;
///     if (!id.Generate())
///         return false;                   // the system gave no random bytes
///     std::string text = id.ToString(1);  // "2f1c8d0e-6a55-4b0f-9d3e-7c0a51b2e994"
///
///     Vorn::Guid same;
///     same.FromString(text);              // may throw: text from outside needs a try block
class VORN_BASES_API Guid {
public:
    /// Makes a none value.
    Guid();

    /// Replaces this value by a new random one (version 4, RFC 4122 variant). Every call seeds a
    /// generator of its own with fresh bytes from the system, which makes it slow, and keeps nothing
    /// for the next call.
    ///
    /// Returns true on success. Returns false, with the value unchanged, when the system gives no
    /// random bytes or no memory. Never throws.
    bool Generate();

    /// Replaces this value by the one that `text` spells: 32 hexadecimal digits of either case,
    /// plain or with a "-" after the 8th, 12th, 16th and 20th, optionally enclosed in "{" and "}".
    ///
    /// Returns true on success. Returns false, with the value unchanged, for a null pointer, for an
    /// empty std::string, and for a text that spells the none value. Throws std::runtime_error with
    /// "invalid uuid string", the value unchanged, for a text that ends too early (an empty
    /// `const char*` text included), lacks one of the dashes or the closing brace.
    ///
    /// Note: what follows the last digit, or the closing brace, is not looked at. Note: for another
    /// character in place of a digit the result depends on the Boost version that the library was
    /// built with. Boost 1.74 is known to refuse it with the same exception; an older one may read
    /// it as the value 255, which sets all bits of its half-byte and, for the second half, all bits
    /// of the byte.
    bool FromString(const char* text);
    bool FromString(const std::string& text);

    /// Writes the value as text: 32 lower-case hexadecimal digits with a "-" after the 8th, 12th,
    /// 16th and 20th, 36 characters without braces.
    ///
    /// Returns true on success, with the text in `out` or, with a terminating zero, in `buffer`,
    /// which has to hold at least 37 bytes. Returns false for a none value and for a null buffer;
    /// `out` and `buffer` are then unchanged. The form that returns the text returns an empty string
    /// for a none value.
    ///
    /// Note: with `form` 0 the first and the last digit are dropped, which leaves 34 characters that
    /// FromString does not read back. Every other `form` gives the full text.
    bool ToString(std::string& out, int form) const;
    std::string ToString(int form) const;
    bool ToString(char* buffer, int form) const;

    /// Returns true when all 16 bytes are equal.
    bool Test(const Guid& other) const;
    bool operator==(const Guid& other) const;
    bool operator!=(const Guid& other) const;

    /// Returns true when all 16 bytes are zero.
    bool None() const;

    /// Makes this a none value.
    void Clear();

    /// Orders two values. Returns a negative value, 0 or a positive value when this one comes before
    /// `other`, equals it or comes after it; only the sign has a meaning.
    ///
    /// Note: bytes 0-3, 4-5 and 6-7 are compared as unsigned integers in the host's byte order, then
    /// bytes 8-15 one by one. On a little-endian host this is not the order of the texts.
    int Compare(const Guid& other) const;
    bool operator<(const Guid& other) const;
    bool operator>(const Guid& other) const;

private:
    unsigned char m_bytes[16]; // byte 0 is printed first
};

static_assert(sizeof(Guid) == 16, "a Guid is stored and sent as its 16 bytes");

} // namespace Vorn

#endif
