// SPDX-License-Identifier: MIT
#include "Print.h"

#include <cstdio>
#include <stdexcept>

namespace Examples {

void Print(const std::string& text, const char* what) {
    if (std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0)
        throw std::runtime_error(std::string(what) + " could not be printed");
}

} // namespace Examples
