// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXPORT_H
#define VORN_BASES_EXPORT_H

// The marks of what the library exports.

/// Exports a name from libVorn-Bases. Every other symbol is hidden and cannot be linked against.
#define VORN_BASES_API __attribute__((visibility("default")))

/// Hides a private member of an exported class.
#define VORN_BASES_LOCAL __attribute__((visibility("hidden")))

/// An attribute of Clang's thread-safety analysis, which checks that what a lock guards is used
/// only with the lock held. It has an effect when the library itself is compiled; in programs it
/// expands to nothing.
#if defined(__clang__) && defined(VORN_BASES_CHECK_LOCKS)
#define VORN_BASES_LOCK_MARK(attribute) __attribute__((attribute))
#else
#define VORN_BASES_LOCK_MARK(attribute)
#endif

#endif
