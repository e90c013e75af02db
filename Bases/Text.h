// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TEXT_H
#define VORN_BASES_TEXT_H

// Text: conversions between character sets, integers and sizes as text, and Base64.
//
// There are four kinds of string. A locale decides the encoding of the narrow ones; the library has
// no codec of its own:
//
//     | name   | type           | encoding                                                       |
//     | ------ | -------------- | -------------------------------------------------------------- |
//     | `mbs`  | `std::string`  | that of the std::locale passed to the function                 |
//     | `wcs`  | `std::wstring` | one code point in each 32-bit character, no surrogate pairs    |
//     | `utf8` | `std::string`  | that of the C library's current locale (LC_CTYPE), so UTF-8    |
//     |        |                | only if that is a UTF-8 locale                                 |
//     | `tcs`  | `std::string`  | the library's own text string, the same as `mbs`               |
//
// BasesInit makes the environment's locale both the C library's locale and the default of every
// locale parameter below. Until then both are the "C" locale, which knows only ASCII.
//
//     #include <Bases/Bases.h>
//     #include <Bases/Text.h>
//
//     Vorn::BasesInit(); // with LANG=C.UTF-8 in the environment
//     std::wstring wide = Vorn::mbs_to_wcs("\xF0\x9F\x98\x80"); // wide.size() is 1: 0x1F600
//     std::string back = Vorn::wcs_to_mbs(wide); // "\xF0\x9F\x98\x80"
//
// What counts as malformed is the C library's to say. That of GNU takes, in UTF-8 locales, the 5-
// and 6-byte forms and every number up to 0x7FFFFFFF, in both directions: a program that must keep
// to 0x10FFFF, the last code point of Unicode, looks at the wide characters itself. Surrogates and
// overlong forms are malformed.
//
// Any thread may call these functions. While a conversion from or to `utf8`, or GetSizeFormat of a
// double, runs, no other thread may change the C library's locale, as BasesInit does.

#include <locale>
#include <string>

#include <Bases/Export.h>

namespace Vorn {

/// Converts a narrow string in the encoding of `loc` to a wide string, with the codecvt facet of
/// `loc`.
///
/// Returns the wide string; empty for an empty string. Throws std::runtime_error with "can't
/// convert string to wstring" if the facet reports an error.
///
/// Note: a character cut off at the end is dropped without an error. So is the start of one there
/// that could not be completed any more, such as "\xE0\x80" or "\xED\xA0", while "\xFF" throws.
/// Note: an embedded zero ends the result, but a malformed sequence after it still throws.
VORN_BASES_API std::wstring mbs_to_wcs(const std::string& s,
                                       const std::locale& loc = std::locale());

/// Converts a wide string to a narrow string in the encoding of `loc`, with the codecvt facet of
/// `loc`.
///
/// Returns the narrow string; empty for an empty string. Throws std::runtime_error with "can't
/// convert wstring to string" if the facet reports an error, as for a character that the encoding
/// lacks.
///
/// Note: an embedded zero ends the result, but a character after it that the encoding lacks still
/// throws.
VORN_BASES_API std::string wcs_to_mbs(const std::wstring& w,
                                      const std::locale& loc = std::locale());

/// Converts a narrow string in the encoding of the C library's locale to a wide string, with
/// mbstowcs.
///
/// Returns the wide string, never empty. Throws std::runtime_error: "Invalid UTF-8 sequence."
/// (whatever that encoding is) for a malformed string, including one that ends in the middle of a
/// character; "Error in conversion." for one that yields no character; "Unknown Error" if the C
/// library's second count differs from its first.
///
/// Note: unlike for mbs_to_wcs, an empty string is an error.
/// Note: an embedded zero ends the input; what follows it is ignored.
VORN_BASES_API std::wstring utf8_to_wcs(const std::string& s);

/// Checks whether a wide string can be encoded in the C library's locale. Never returns: throws
/// std::runtime_error with "Invalid wide string sequence." if a character cannot be encoded and
/// with "Error in conversion." if there is none before the first zero (an empty string included),
/// and std::logic_error with "basic_string: construction from null is not valid" for every other
/// string.
///
/// Note: the type of the exception tells callers whether the string can be encoded. For the text
/// itself call wcs_to_mbs with a locale of the wanted encoding.
VORN_BASES_API std::string wcs_to_utf8(const std::wstring& w);

/// mbs_to_wcs, then wcs_to_utf8, with the exceptions of both; so it never returns either.
VORN_BASES_API std::string mbs_to_utf8(const std::string& s,
                                       const std::locale& loc = std::locale());

/// Converts a narrow string in the encoding of the C library's locale to one in the encoding of
/// `loc`: utf8_to_wcs, then wcs_to_mbs, with the exceptions of both.
VORN_BASES_API std::string utf8_to_mbs(const std::string& s,
                                       const std::locale& loc = std::locale());

/// The same as mbs_to_wcs, wcs_to_mbs, mbs_to_utf8 and utf8_to_mbs, for the library's text string.
VORN_BASES_API std::wstring tcs_to_wcs(const std::string& s,
                                       const std::locale& loc = std::locale());
VORN_BASES_API std::string wcs_to_tcs(const std::wstring& w,
                                      const std::locale& loc = std::locale());
VORN_BASES_API std::string tcs_to_utf8(const std::string& s,
                                       const std::locale& loc = std::locale());
VORN_BASES_API std::string utf8_to_tcs(const std::string& s,
                                       const std::locale& loc = std::locale());

/// Return an unchecked copy of the string, embedded zeros included; `loc` is ignored.
VORN_BASES_API std::string mbs_to_tcs(const std::string& s, const std::locale& loc = std::locale());
VORN_BASES_API std::string tcs_to_mbs(const std::string& s, const std::locale& loc = std::locale());

/// Enough characters for every 64-bit integer in every radix, terminating zero included; see _itoa.
inline constexpr unsigned long IntegerTextSize = 65;

} // namespace Vorn

// Clang warns of names like _itoa; GCC does not know that warning.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpragmas"
#pragma GCC diagnostic ignored "-Wreserved-identifier"

extern "C" {

/// Integers as text, for platforms whose C library lacks these functions.
///
/// Each writes `value` in the given radix to `buffer`, in the digits 0 to 9 and then lower-case
/// letters, with a terminating zero and nothing after it, and returns `buffer`. A negative value
/// has a "-" in radix 10; in every other radix its 64-bit two's complement is written.
///
/// The radix must be 2 to 36 and the buffer's capacity sufficient; neither is checked.
/// IntegerTextSize characters hold every value in every radix, 21 every value in radix 10. Above
/// radix 36 the digits continue with the characters after 'z'; a radix below 2 may crash or never
/// return. For a null buffer _ultoa returns null before anything else and the wide forms return
/// null after the conversion; for the other narrow forms it is the caller's error.
///
/// Note: an int is widened to long first, so _itoa(-1, buffer, 16) gives sixteen "f", not eight.
///
///     char text[Vorn::IntegerTextSize];
///     std::puts(_i64toa(-255, text, 10)); // prints "-255"
///     std::puts(_i64toa(-255, text, 16)); // prints "ffffffffffffff01"
VORN_BASES_API char* _itoa(int value, char* buffer, int radix);
VORN_BASES_API char* _ltoa(long value, char* buffer, int radix);
VORN_BASES_API char* _ultoa(unsigned long value, char* buffer, int radix);
VORN_BASES_API char* _i64toa(long long value, char* buffer, int radix);
VORN_BASES_API char* _ui64toa(unsigned long long value, char* buffer, int radix);

} // extern "C"

#pragma GCC diagnostic pop

namespace Vorn {

/// The same, in wide characters and in this namespace.
VORN_BASES_API wchar_t* _itow(int value, wchar_t* buffer, int radix);
VORN_BASES_API wchar_t* _ltow(long value, wchar_t* buffer, int radix);
VORN_BASES_API wchar_t* _ultow(unsigned long value, wchar_t* buffer, int radix);
VORN_BASES_API wchar_t* _i64tow(long long value, wchar_t* buffer, int radix);
VORN_BASES_API wchar_t* _ui64tow(unsigned long long value, wchar_t* buffer, int radix);

/// The units of GetSizeUnit: powers of 1024 bytes.
namespace SizeUnit {
inline constexpr int Bytes = 0;
inline constexpr int Kibibytes = 1;
inline constexpr int Mebibytes = 2;
inline constexpr int Gibibytes = 3;
inline constexpr int Tebibytes = 4;
inline constexpr int Pebibytes = 5;
inline constexpr int Exbibytes = 6;
} // namespace SizeUnit

/// Scales a byte count for display: stores it in `scaled`, divided by 1024 until it is below 1024,
/// but at most six times, and returns the number of divisions, one of SizeUnit. Cannot fail. Labels
/// for the units are the caller's.
///
/// Note: a negative count stays in bytes.
/// Note: the count becomes a double first, so one of more than 53 bits just below a unit is rounded
/// up to it.
///
///     double scaled;
///     int unit = Vorn::GetSizeUnit(1536, scaled); // Vorn::SizeUnit::Kibibytes; scaled is 1.5
VORN_BASES_API int GetSizeUnit(long long bytes, double& scaled);

/// Writes a number for display, with a separator, to the `size` bytes at `buffer`: as much of the
/// text as fits with a terminating zero, and zeros up to the end of the buffer.
///
/// Returns 1. Returns 0 for a null buffer or a size of 0, with the buffer untouched. Truncation is
/// not reported.
///
///     | value                   | text             |
///     | ----------------------- | ---------------- |
///     | 12                      | "12"             |
///     | 999                     | ",999"           |
///     | 1234567                 | "1234,567"       |
///     | -123                    | "-,123"          |
///     | 1234.5 with precision 2 | "12,34.500000"   |
///     | the same with -3        | "%.0-3f" (glibc) |
///
/// Note: there is at most one comma: before the third character from the end, or, in a text with a
/// ".", before the second character in front of it. Signs and the letters of "inf" count like
/// digits; a text too short for that has no comma.
/// Note: a floating-point value always has six decimals; a `precision` of 0 or more is ignored. A
/// negative one, -N, gives what the C library prints for "%.-Nf", which is hardly ever a number.
/// Note: the decimal point is that of the C library's locale. If that is not ".", the comma ends up
/// among the decimals: "1234,500,000".
/// Note: the text is cut to 254 characters before the comma is inserted: longer values lose
/// decimals, and values with more digits than that also lose digits.
VORN_BASES_API int GetSizeFormat(char* buffer, unsigned long size, long long value);
VORN_BASES_API int GetSizeFormat(char* buffer, unsigned long size, double value, int precision);

/// Assign the same text to `out`, cut to 254 characters including the comma. Return 1.
VORN_BASES_API int GetSizeFormat(std::string& out, long long value);
VORN_BASES_API int GetSizeFormat(std::string& out, double value, int precision);

/// Encodes bytes as Base64 text (RFC 4648, the standard alphabet with "+" and "/") and decodes such
/// text.
///
/// An object has no state. Any thread may use it, one call at a time per object; the static
/// functions may run on several threads at once.
///
///     Vorn::Base64 base64;
///     std::string text;
///     base64.Encode("foob", 4, text); // text is "Zm9vYg=="
///
///     std::vector<char> data(text.size() + 1);               // what Decode needs at least
///     data.resize(base64.Decode(text.c_str(), data.data())); // data.size() is 4: "foob"
class VORN_BASES_API Base64 {
public:
    Base64();
    virtual ~Base64();

    /// Copy nothing: an object has no state.
    Base64(const Base64& other);
    Base64& operator=(const Base64& other);

    /// Encodes the `len` bytes at `pData` into `out`, padded with "=" to a multiple of four
    /// characters, without line breaks. The bytes must not lie in `out`.
    ///
    /// Returns 1; no bytes give an empty text. A null `pData`, even with a `len` of 0, stops the
    /// program on the assertion "pData != __null"; with assertions compiled out it returns 0, with
    /// `out` unchanged. `len` is not checked.
    virtual int Encode(const char* pData, unsigned long len, std::string& out);

    /// Decodes the zero-terminated text at `pszEnc` to `pDecData`, which must have a capacity of
    /// strlen(pszEnc) + 1 bytes: that many are zeroed first, so zeros follow the decoded bytes.
    ///
    /// Returns the number of bytes decoded. Returns 0 for an empty text, with `pDecData` untouched,
    /// and for a text with a character that is neither in the alphabet nor "=", such as a space or
    /// a line break; what was decoded before that character stays in `pDecData`. A null argument
    /// stops the program on the assertion "pszEnc != __null" or "pDecData != __null"; with
    /// assertions compiled out it returns 0, with `pDecData` untouched.
    ///
    /// Note: "=" is skipped wherever it stands and never required. Bits after the last whole byte
    /// are dropped, whatever their value.
    /// Note: the high bit of every character is ignored: 0xDA is a "Z", like 0x5A.
    /// Note: a valid text too short for a byte, such as "Z" or "==", also gives 0.
    /// Note: decoding in place gives 0, because the text is zeroed first.
    virtual unsigned long Decode(const char* pszEnc, char* pDecData);

    /// Reads the next `nBits` bits, 0 to 8, from the `len` bytes at `pData`, most significant bit
    /// first.
    ///
    /// `pos`, `nBitsWaiting` and `acc` carry the state from call to call: the next byte, the number
    /// of bits read but not yet returned, and those bits, in the low end of `acc`. The caller sets
    /// all three to 0 before the first call and leaves them alone after it.
    ///
    /// Returns the bits, in the low end, and stores their number in `*pnRead`: `nBits`, or fewer at
    /// the end of the data, where zeros at the low end replace the missing bits. 0 in `*pnRead` for
    /// an `nBits` above 0 means that no bits are left.
    ///
    /// Nothing is checked: other widths, null pointers and a state that the caller has changed are
    /// the caller's error.
    static unsigned int ReadBits(int nBits, int* pnRead, const char* pData, unsigned long len,
                                 unsigned long& pos, int& nBitsWaiting, unsigned long& acc);

    /// Appends the low `nBits` bits, 0 to 8, of `value` to the bytes at `pOut`, most significant
    /// bit first. As soon as eight bits are waiting, writes them to `pOut[pos]` and increments
    /// `pos`. The state and its errors are those of ReadBits.
    ///
    /// Note: bits that do not fill a byte stay in the state; no operation writes them.
    /// Note: `value` must have no bits above its low `nBits`: they are not masked and would change
    /// the waiting bits.
    static void WriteBits(unsigned int value, int nBits, char* pOut, unsigned long& pos,
                          int& nBitsWaiting, unsigned long& acc);

private:
    VORN_BASES_LOCAL static const char s_szBase64Alphabet[128];
    VORN_BASES_LOCAL static const unsigned long s_nMask[9];
};

} // namespace Vorn

#endif
