// SPDX-License-Identifier: MIT
#include "Export.h"

namespace Manifest {

namespace {

// Line breaks and backslashes in a name, which a backslash before the digest announces.
std::string EscapeName(const std::string& name) {
    std::string escaped;
    for (const char c : name) {
        if (c == '\\')
            escaped += "\\\\";
        else if (c == '\n')
            escaped += "\\n";
        else if (c == '\r')
            escaped += "\\r";
        else
            escaped += c;
    }
    return escaped;
}

} // namespace

std::string FormatForSum(const Entry& file) {
    const std::string name = file.name == "-" ? "./-" : file.name; // "-" is standard input there
    const std::string escaped = EscapeName(name);
    return (escaped == name ? "" : "\\") + file.digest.Text() + "  " + escaped + "\n";
}

} // namespace Manifest
