// SPDX-License-Identifier: MIT
#include "Colours.h"

#include <cstdlib>

#include <unistd.h>

namespace Manifest {

namespace {

std::string_view Environment(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

} // namespace

std::string Colours::Paint(Colour colour, std::string_view text) const {
    if (!m_on)
        return std::string(text);
    return "\x1b[" + std::to_string(static_cast<int>(colour)) + "m" + std::string(text) + "\x1b[0m";
}

bool ColoursAreWanted() {
    const std::string_view terminal = Environment("TERM");
    return isatty(STDOUT_FILENO) == 1 && Environment("NO_COLOR").empty() && !terminal.empty() &&
           terminal != "dumb";
}

} // namespace Manifest
