#ifndef VORN_BASES_EXAMPLES_COMMON_FILE_NAME_H
#define VORN_BASES_EXAMPLES_COMMON_FILE_NAME_H

#include <string>

namespace Examples {

// A file name is any bytes but zero and the slash. Not all of them can stand in an XML document or
// be sent to a terminal.

/// Returns true when the text is made of printable characters of the current locale, all of which
/// may stand in an XML document.
bool IsPlain(const std::string& text);

/// Returns the text with "%" and two hexadecimal digits for every byte that is no printable ASCII
/// character, and for the percent sign itself. Unescape gives the text back; a percent sign that
/// no two hexadecimal digits follow stays.
std::string Escape(const std::string& text);
std::string Unescape(const std::string& text);

/// Returns a plain text as it is and any other, the empty one too, in the shell's $'...' form,
/// which can be pasted into a command line and cannot disturb a terminal.
std::string ForDisplay(const std::string& text);

} // namespace Examples

#endif
