// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_BASES_H
#define VORN_BASES_BASES_H

// Library set-up and tear-down, and process queries.
//
// Call BasesInit once, from one thread, before any other service, and BasesRelease once at the end.
// Both change process-wide state, so no other thread may be using the library meanwhile. The
// process queries keep no state; any thread may call them.
//
// In a child that a program with several threads has forked, call nothing of the library, nor of
// most others, before `exec`: a thread that exists no more may have held a lock of the C library or
// of libxml2, and a conversion or the loading of a document then waits for it for ever.
//
//     #include <Bases/Bases.h>
//
//     int main() {
//         Vorn::BasesInit();
//         std::string directory;
//         Vorn::GetModuleDir(directory); // such as "/opt/engine/bin"
//         Vorn::BasesRelease();
//     }

#include <string>

#include <Bases/Export.h>

namespace Vorn {

/// Makes the environment's locale (LC_ALL, LC_CTYPE, LANG ...) the global locale of C++ and C, and
/// initialises the XML parser for use from several threads. The character conversions, the XML
/// classes and the decimal point of printed numbers follow that locale from here on.
///
/// Returns 1, always. Throws the standard library's std::runtime_error when the environment names a
/// locale that the machine does not have, and std::bad_alloc when there is no memory for it; the
/// locale then stays, and the XML parser is not initialised. Calling it again repeats every step.
VORN_BASES_API int BasesInit();

/// Frees the XML parser's process-wide state; every further call does so again. Note: the global
/// locale stays as BasesInit set it. Note: a document that an XmlWriter is still writing cannot be
/// continued; what was written can still be fetched.
///
/// Note: the state is libxml2's own (`xmlCleanupParser`), which it shares with a program that uses
/// libxml2 beside this library, or through another one. What such a program has registered is gone,
/// as encoding aliases, input and output handlers, and catalogs are; a parser or writer that is at
/// work with an encoder must not go on. Documents in memory stay. Such a program leaves
/// BasesRelease out; the system takes the memory back.
VORN_BASES_API void BasesRelease();

/// Returns the calling process's identifier.
VORN_BASES_API unsigned int GetProcessId();

/// Returns 1 when a process with this identifier exists, otherwise 0. No signal is delivered.
///
/// Note: only a definite "no such process" gives 0. A process that may not be signalled, such as
/// another user's, exists; so does one that has ended but has not been waited for (a zombie). On
/// Linux, a thread's identifier gives 1 too.
///
/// Note: identifiers have the meaning of kill(2): 0 is the caller's own process group, 0xFFFFFFFF
/// any process that may be signalled, and every other value above INT_MAX the group of the negated
/// number, such as 0xFFFFFFFB for group 5.
VORN_BASES_API int IsExistProcess(unsigned int pid);

/// Write the running program's directory into `buffer`, which holds `size` bytes: an absolute path,
/// zero-terminated, without a trailing separator. For a program directly in the root directory that
/// is "/".
///
/// Return 1 on success. Return 0, with the buffer untouched, for a null buffer, a size of 0, a path
/// that does not fit with its terminator, and an unknown directory.
///
/// Note: both give the same directory; GetModulePath does not append the program's file name.
///
/// Note: on macOS the directory of an application bundle is the bundle itself, such as
/// "/Applications/Engine.app", not the directory inside it that holds the executable.
VORN_BASES_API int GetModulePath(char* buffer, unsigned long size);
VORN_BASES_API int GetModuleDir(char* buffer, unsigned long size);

/// Assign the same directory to `path`. There is no failure result: `path` becomes empty when the
/// directory is unknown or needs more than 1024 bytes, terminator included.
VORN_BASES_API void GetModulePath(std::string& path);
VORN_BASES_API void GetModuleDir(std::string& path);

} // namespace Vorn

#endif
