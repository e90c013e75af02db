#ifndef VORN_BASES_TEXT_H
#define VORN_BASES_TEXT_H

// Text: conversions between character sets, integers and sizes as text, and Base64.
//
// The conversions know four kinds of string. Which encoding the narrow ones have is decided by a
// locale, never by the library, which has no codec of its own:
//
//     | name   | type           | encoding                                                     |
//     | ------ | -------------- | ------------------------------------------------------------ |
//     | `mbs`  | `std::string`  | that of the standard-library locale handed to the function   |
//     | `wcs`  | `std::wstring` | one code point in each 32-bit character, no surrogate pairs  |
//     | `utf8` | `std::string`  | that of the C library's current locale (LC_CTYPE); it is     |
//     |        |                | UTF-8 exactly when that locale is a UTF-8 one                |
//     | `tcs`  | `std::string`  | the library's own text string, the same as `mbs`             |
//
// BasesInit makes the environment's locale both the C library's locale and the default of every
// locale parameter below. Before it, both are the "C" locale, which knows ASCII only.
//
//     #include <Bases/Bases.h>
//     #include <Bases/Text.h>
//
//     Vorn::BasesInit(); // with LANG=C.UTF-8 in the environment
//     std::wstring wide = Vorn::mbs_to_wcs("\xF0\x9F\x98\x80"); // wide.size() is 1: 0x1F600
//     std::string back = Vorn::wcs_to_mbs(wide); // "\xF0\x9F\x98\x80"
//
// Everything here may be called from any thread, but no other thread may change the C library's
// locale (as BasesInit does) while a conversion from or to `utf8`, or GetSizeFormat of a double,
// runs.

#include <locale>
#include <string>

#include <Bases/Export.h>

namespace Vorn {

/// Converts a narrow string in the encoding of `loc` to a wide string, with the codecvt facet of
/// `loc`.
///
/// Returns the wide string; an empty one for an empty string. Throws std::runtime_error with "can't
/// convert string to wstring" when the facet reports an error.
///
/// Note: a character cut off at the end is no error; the result is what came before it. Note: an
/// embedded zero ends the result, though a malformed sequence after it still throws.
VORN_BASES_API std::wstring mbs_to_wcs(const std::string& s,
                                       const std::locale& loc = std::locale());

/// Converts a wide string to a narrow string in the encoding of `loc`, with the codecvt facet of
/// `loc`.
///
/// Returns the narrow string; an empty one for an empty string. Throws std::runtime_error with
/// "can't convert wstring to string" when the facet reports an error, such as for a character that
/// the encoding does not have.
///
/// Note: an embedded zero ends the result.
VORN_BASES_API std::string wcs_to_mbs(const std::wstring& w,
                                      const std::locale& loc = std::locale());

/// Converts a narrow string in the encoding of the C library's locale to a wide string, with
/// mbstowcs.
///
/// Returns the wide string, which is never empty. Throws std::runtime_error: with "Invalid UTF-8
/// sequence." (whatever that locale's encoding is called) when the string is malformed, which
/// includes a character cut off at its end; with "Error in conversion." when it yields no
/// character; with "Unknown Error" when the C library counts differently the second time.
///
/// Note: an empty string is an error here, unlike in mbs_to_wcs. Note: an embedded zero ends the
/// input; what follows it is not looked at.
VORN_BASES_API std::wstring utf8_to_wcs(const std::string& s);

/// Checks whether a wide string can be written in the encoding of the C library's locale. Never
/// returns a string.
///
/// Throws std::runtime_error with "Invalid wide string sequence." when a character cannot be
/// written, and with "Error in conversion." when there is none before the first zero (so also for
/// an empty string). For every other string throws std::logic_error with "basic_string:
/// construction from null is not valid".
///
/// Note: callers tell "convertible" from "not convertible" by the kind of exception, so there is no
/// way to obtain the text; wcs_to_mbs with a locale of the wanted encoding gives it.
VORN_BASES_API std::string wcs_to_utf8(const std::wstring& w);

/// Converts with mbs_to_wcs, then with wcs_to_utf8. Note: never returns a string; the exceptions
/// are those of the two steps.
VORN_BASES_API std::string mbs_to_utf8(const std::string& s,
                                       const std::locale& loc = std::locale());

/// Converts a narrow string in the encoding of the C library's locale to one in the encoding of
/// `loc`: utf8_to_wcs, then wcs_to_mbs. The exceptions are those of the two steps.
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

/// Return a copy of the string, embedded zeros included; both kinds are the same. The locale is not
/// used, and nothing is checked.
VORN_BASES_API std::string mbs_to_tcs(const std::string& s, const std::locale& loc = std::locale());
VORN_BASES_API std::string tcs_to_mbs(const std::string& s, const std::locale& loc = std::locale());

/// The room, in characters, that the text of any 64-bit integer takes in any radix, its terminating
/// zero included; see _itoa.
inline constexpr unsigned long IntegerTextSize = 65;

} // namespace Vorn

// Clang warns of names like _itoa; GCC does not know that warning.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpragmas"
#pragma GCC diagnostic ignored "-Wreserved-identifier"

extern "C" {

/// Integers as text, for platforms whose C library lacks these names.
///
/// Each function writes `value` in the given radix, as digits 0 to 9 and then lower-case letters,
/// with a terminating zero, to the start of `buffer`, and returns `buffer`. Nothing is written behind
/// the terminator.
///
/// The caller must hand over a radix from 2 to 36 and a buffer with room for the text; neither is
/// checked. IntegerTextSize characters are enough for every value and radix, 21 for every value in radix 10. With
/// a radix above 36 the digits go on behind 'z'; a radix below 2 is an error of the caller's that may
/// crash or never return.
///
///     |                  | text of a negative value                  | null buffer                 |
///     | ---------------- | ----------------------------------------- | --------------------------- |
///     | _itoa, _ltoa,    | radix 10: '-' and the magnitude;          | the caller's error          |
///     | _i64toa          | other radixes: the 64-bit two's complement |                            |
///     | _ultoa           | -                                         | null, before anything else  |
///     | _ui64toa         | -                                         | the caller's error          |
///     | _itow, _ltow,    | as the narrow forms                       | null, after the value was   |
///     | _i64tow          |                                           | converted                   |
///     | _ultow, _ui64tow | -                                         | null, after the value was   |
///     |                  |                                           | converted                   |
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

/// The units of GetSizeUnit.
namespace SizeUnit {
inline constexpr int Bytes = 0;
inline constexpr int Kibibytes = 1;
inline constexpr int Mebibytes = 2;
inline constexpr int Gibibytes = 3;
inline constexpr int Tebibytes = 4;
inline constexpr int Pebibytes = 5;
inline constexpr int Exbibytes = 6;
} // namespace SizeUnit

/// Scales a count of bytes for display. Stores `bytes`, divided by 1024 as often as it takes to
/// come below 1024 but at most six times, in `scaled`, and returns the number of divisions, one
/// of SizeUnit. There is no failure. The library has no names for the units; callers have their own labels. May be
/// called from any thread.
///
/// Note: a negative count is always in bytes. Note: the count becomes a double first, so that one
/// just below a unit that needs more than 53 bits is already in that unit.
///
///     double scaled;
///     int unit = Vorn::GetSizeUnit(1536, scaled); // Vorn::SizeUnit::Kibibytes; scaled is 1.5
VORN_BASES_API int GetSizeUnit(long long bytes, double& scaled);

/// Writes a number for display, with a separator, into `buffer`, which holds `size` bytes: as much
/// of the text as fits with its terminating zero, and zeros up to the end of the buffer.
///
/// Returns 1. Returns 0 for a null buffer and for a size of 0; the buffer is then untouched. A text
/// that is cut is not reported. May be called from any thread.
///
///     | value              | text             |
///     | ------------------ | ---------------- |
///     | 12                 | "12"             |
///     | 999                | ",999"           |
///     | 1234567            | "1234,567"       |
///     | -123               | "-,123"          |
///     | 1234.5 (precision  | "12,34.500000"   |
///     | 0 or more)         |                  |
///     | 1234.5 (precision  | "%.0-3f" (glibc) |
///     | -3)                |                  |
///
/// Note: there is at most one comma. It stands before the third character from the end of the text,
/// or, when there is a ".", before the second character in front of it, whether those are digits,
/// a sign or the letters of "inf". A text too short for that gets none.
///
/// Note: a floating-point value always has six decimals; a `precision` of 0 or more is not used. A
/// negative one makes the text what the C library prints for the format "%.-Nf", which is hardly
/// ever a number. Note: the decimal point is that of the C library's locale. Where it is not a ".",
/// the comma stands among the decimals: "1234,500,000".
///
/// Note: the text of a value is cut to 254 characters before the comma is inserted, so that values
/// whose text is longer lose decimals, and those with more digits than that their last digits, too.
VORN_BASES_API int GetSizeFormat(char* buffer, unsigned long size, long long value);
VORN_BASES_API int GetSizeFormat(char* buffer, unsigned long size, double value, int precision);

/// Assign the same text to `out`, cut to 254 characters with the comma. Return 1.
VORN_BASES_API int GetSizeFormat(std::string& out, long long value);
VORN_BASES_API int GetSizeFormat(std::string& out, double value, int precision);

/// Base64 text (RFC 4648, the standard alphabet with "+" and "/"): encodes bytes, decodes text.
///
/// An object holds nothing. Any thread may use it, one call at a time for each object; the static
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
    Base64(const Base64& other);
    Base64& operator=(const Base64& other);

    /// Encodes the `len` bytes at `pData` and assigns the text to `out`, filled up with "=" to a
    /// multiple of four characters, without line breaks. The bytes must not lie in `out`.
    ///
    /// Returns 1; no bytes give an empty text. A null `pData` stops the program on the assertion
    /// "pData != __null"; where assertions are compiled out it returns 0, with `out` unchanged.
    ///
    /// Note: `len` is not checked, and a null `pData` is an error even with a `len` of 0.
    virtual int Encode(const char* pData, unsigned long len, std::string& out);

    /// Decodes the text at `pszEnc`, which ends at its terminating zero, to `pDecData`, which holds
    /// at least strlen(pszEnc) + 1 bytes. That many bytes are set to zero first, so that zeros
    /// follow the decoded bytes.
    ///
    /// Returns the number of bytes decoded. Returns 0 for an empty text, with `pDecData` untouched,
    /// and for a text with a character that is neither of the alphabet nor "=", such as a space or
    /// a line break; what was decoded before that character then stays in `pDecData`. A null
    /// argument stops the program on the assertion "pszEnc != __null" or "pDecData != __null";
    /// where assertions are compiled out it returns 0, with `pDecData` untouched.
    ///
    /// Note: "=" is skipped wherever it stands and never asked for. Bits behind the last whole byte
    /// are dropped, whatever they are. Note: the highest bit of every character is ignored: 0xDA is
    /// a "Z" as 0x5A is. Note: 0 is also the result for a text that is valid but too short for a
    /// byte, such as "Z" or "==". Note: decoding in place gives 0, for the text is cleared first.
    virtual unsigned long Decode(const char* pszEnc, char* pDecData);

    /// Takes the next `nBits` bits, 0 to 8, from the `len` bytes at `pData`, highest bit first.
    ///
    /// `pos`, `nBitsWaiting` and `acc` hold the state between the calls: the next byte, the number
    /// of bits that were read but not taken, and those bits, in the low end of `acc`. The caller
    /// starts with 0 in all three and leaves them alone.
    ///
    /// Returns the bits, in the low end, and stores their number in `*pnRead`: `nBits`, or fewer
    /// when the bytes have run out. The bits that are missing are zeros at the low end. 0 in
    /// `*pnRead` for an `nBits` above 0 means the end.
    ///
    /// Note: nothing is checked. Other widths, a null pointer or a state of the caller's own making
    /// are the caller's error.
    static unsigned int ReadBits(int nBits, int* pnRead, const char* pData, unsigned long len,
                                 unsigned long& pos, int& nBitsWaiting, unsigned long& acc);

    /// Appends the `nBits` low bits, 0 to 8, of `value` to the bytes at `pOut`, highest bit first.
    /// Writes a byte to `pOut[pos]`, and moves `pos` on, as soon as there are eight bits for it.
    /// The state is held as for ReadBits.
    ///
    /// Note: bits that do not fill a byte stay in the state; there is no operation to write them.
    /// Note: nothing is checked. `value` must have no bits above the `nBits` low ones: they are not
    /// masked and change the bits that are waiting.
    static void WriteBits(unsigned int value, int nBits, char* pOut, unsigned long& pos,
                          int& nBitsWaiting, unsigned long& acc);

private:
    VORN_BASES_LOCAL static const char s_szBase64Alphabet[128];
    VORN_BASES_LOCAL static const unsigned long s_nMask[9];
};

} // namespace Vorn

#endif
