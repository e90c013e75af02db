#ifndef VORN_BASES_EXPORT_H
#define VORN_BASES_EXPORT_H

// The marks of what the library exports.

/// Exports a name from libVorn-Bases. Every other symbol is hidden and cannot be linked against.
#define VORN_BASES_API __attribute__((visibility("default")))

/// Hides a private member of an exported class.
#define VORN_BASES_LOCAL __attribute__((visibility("hidden")))

#endif
