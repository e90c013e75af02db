// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_MAC_HEADERS_ARC4RANDOM_H
#define VORN_BASES_TESTS_SUPPORT_MAC_HEADERS_ARC4RANDOM_H

// macOS declares it in <stdlib.h>; so do newer C libraries of Linux, but not all that are in use.
// SimulatedRandom.cpp implements it.

#include <stddef.h>

extern "C" void arc4random_buf(void* buffer, size_t size) noexcept;

#endif
