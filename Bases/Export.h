#ifndef VORN_BASES_EXPORT_H
#define VORN_BASES_EXPORT_H

/// Marks what libVorn-Bases offers to programs and other libraries. The library is compiled with
/// every other symbol hidden, so a name without this mark cannot be linked against.
#define VORN_BASES_API __attribute__((visibility("default")))

/// Marks the private members of a class that is offered as a whole.
#define VORN_BASES_LOCAL __attribute__((visibility("hidden")))

#endif
