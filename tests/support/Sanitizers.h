// SPDX-License-Identifier: MIT
// Which sanitizer watches the program: GCC says it by macros of its own, Clang by features.
#ifndef VORN_BASES_TESTS_SUPPORT_SANITIZERS_H
#define VORN_BASES_TESTS_SUPPORT_SANITIZERS_H

#ifdef __has_feature
#if __has_feature(address_sanitizer)
#define VORN_ADDRESS_SANITIZER
#endif
#if __has_feature(thread_sanitizer)
#define VORN_THREAD_SANITIZER
#endif
#endif

#ifdef __SANITIZE_ADDRESS__
#define VORN_ADDRESS_SANITIZER
#endif
#ifdef __SANITIZE_THREAD__
#define VORN_THREAD_SANITIZER
#endif

#endif
