// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_ASSERT_H
#define VORN_BASES_IMPL_ASSERT_H

// The library's assertion.

#include <cassert>

// A macro, because the standard assert prints the text of its argument: this one passes it on
// expanded, so that a failed check reads "pData != __null", as programs know it, whatever name the
// source used. Where assertions are compiled out, the expression is still evaluated, so that a
// check with an effect behaves alike in every build.
#ifdef NDEBUG
#define VORN_ASSERT(expression) static_cast<void>(expression)
#else
#define VORN_ASSERT(expression) assert(expression)
#endif

#endif
