// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_COMMON_SETUP_H
#define VORN_BASES_EXAMPLES_COMMON_SETUP_H

#include <stdexcept>

#include <Bases/Bases.h>

namespace Examples {

/// Initialises the library for a scope. Throws std::runtime_error with the reason when the
/// environment names a locale that the machine does not have.
class Setup {
public:
    Setup() {
        try {
            Vorn::BasesInit();
        } catch (const std::runtime_error&) { // the standard library's, which does not say why
            throw std::runtime_error("the environment asks for a locale that this machine does "
                                     "not have; LC_ALL=C will do");
        }
    }
    ~Setup() { Vorn::BasesRelease(); }
    Setup(const Setup&) = delete;
    Setup& operator=(const Setup&) = delete;
};

} // namespace Examples

#endif
