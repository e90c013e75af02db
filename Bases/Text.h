#ifndef VORN_BASES_TEXT_H
#define VORN_BASES_TEXT_H

// Text: conversions between character sets, and integers as text.
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
//     std::wstring wide = Vorn::mbs_to_wcs("\xF0\x9F\x98\x80"); // one character, 0x1F600
//     std::string back = Vorn::wcs_to_mbs(wide);                // the four bytes again
//
// Everything here may be called from any thread, but no other thread may change the C library's
// locale (as BasesInit does) while a conversion from or to `utf8` runs.

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

} // namespace Vorn

// Integers as text, for platforms whose C library lacks these names.
//
// Each function writes `value` in the given radix, as digits 0 to 9 and then lower-case letters,
// with a terminating zero, to the start of `buffer`, and returns `buffer`. Nothing is written behind
// the terminator.
//
// The caller must hand over a radix from 2 to 36 and a buffer with room for the text; neither is
// checked. 65 characters are enough for every value and radix, 21 for every value in radix 10. With
// a radix above 36 the digits go on behind 'z'; a radix below 2 is an error of the caller's that may
// crash or never return.
//
//     |                  | text of a negative value                  | null buffer                 |
//     | ---------------- | ----------------------------------------- | --------------------------- |
//     | _itoa, _ltoa,    | radix 10: '-' and the magnitude;          | the caller's error          |
//     | _i64toa          | other radixes: the 64-bit two's complement |                            |
//     | _ultoa           | -                                         | null, before anything else  |
//     | _ui64toa         | -                                         | the caller's error          |
//     | _itow, _ltow,    | as the narrow forms                       | null, after the value was   |
//     | _i64tow          |                                           | converted                   |
//     | _ultow, _ui64tow | -                                         | null, after the value was   |
//     |                  |                                           | converted                   |
//
// Note: an int is widened to long first, so _itoa(-1, buffer, 16) gives sixteen "f", not eight.
//
//     char text[65];
//     std::puts(_i64toa(-255, text, 10)); // -255
//     std::puts(_i64toa(-255, text, 16)); // ffffffffffffff01

extern "C" {

VORN_BASES_API char* _itoa(int value, char* buffer, int radix);
VORN_BASES_API char* _ltoa(long value, char* buffer, int radix);
VORN_BASES_API char* _ultoa(unsigned long value, char* buffer, int radix);
VORN_BASES_API char* _i64toa(long long value, char* buffer, int radix);
VORN_BASES_API char* _ui64toa(unsigned long long value, char* buffer, int radix);

} // extern "C"

namespace Vorn {

/// The same, in wide characters and in this namespace.
VORN_BASES_API wchar_t* _itow(int value, wchar_t* buffer, int radix);
VORN_BASES_API wchar_t* _ltow(long value, wchar_t* buffer, int radix);
VORN_BASES_API wchar_t* _ultow(unsigned long value, wchar_t* buffer, int radix);
VORN_BASES_API wchar_t* _i64tow(long long value, wchar_t* buffer, int radix);
VORN_BASES_API wchar_t* _ui64tow(unsigned long long value, wchar_t* buffer, int radix);

} // namespace Vorn

#endif
