// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_COMMON_SETUP_H
#define VORN_BASES_EXAMPLES_COMMON_SETUP_H

#include <Bases/Bases.h>

namespace Examples {

/// Initialises the library for a scope. Throws what BasesInit does: std::runtime_error when the
/// environment names a locale that the machine does not have.
class Setup {
public:
    Setup() { Vorn::BasesInit(); }
    ~Setup() { Vorn::BasesRelease(); }
    Setup(const Setup&) = delete;
    Setup& operator=(const Setup&) = delete;
};

} // namespace Examples

#endif
