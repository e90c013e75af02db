#ifndef VORN_BASES_BASES_H
#define VORN_BASES_BASES_H

// Set-up and tear-down of the library, and small questions about processes.
//
// A host calls BasesInit once, from one thread, before it uses any other service, and BasesRelease
// once at the end. Both change state of the whole process, so no other thread may be using the
// library meanwhile. The process queries keep no state and may be called from any thread.
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

/// Makes the environment's locale (LC_ALL, LC_CTYPE, LANG ...) the global one and prepares the XML
/// parser for use from several threads.
///
/// Because that locale has a name, the C library's locale changes with it: the character
/// conversions, the XML classes and the decimal point of printed numbers follow it from here on.
///
/// Returns 1, always. If the environment names a locale that the machine does not have, the
/// standard library's std::runtime_error leaves this function and the XML parser stays unprepared.
/// Calling it again repeats every step.
VORN_BASES_API int BasesInit();

/// Releases what the XML parser holds for the whole process; each further call does so again. Note:
/// the global locale stays as BasesInit made it.
VORN_BASES_API void BasesRelease();

/// Returns the calling process's identifier.
VORN_BASES_API unsigned int GetProcessId();

/// Returns 1 when a process with this identifier exists and 0 when there is none.
///
/// Note: only a definite "no such process" gives 0. A process that may not be signalled, such as
/// one of another user, exists. No signal is delivered.
///
/// Note: identifiers have the meaning of kill(2): 0 asks for the caller's own process group,
/// 0xFFFFFFFF for any process that may be signalled, and every other value above INT_MAX for the
/// group of the negated number, such as 0xFFFFFFFB for group 5.
VORN_BASES_API int IsExistProcess(unsigned int pid);

/// Writes the directory of the running program, as an absolute path without a trailing separator
/// and with a terminating zero, into `buffer`, which holds `size` bytes. A program directly in the
/// root directory gives "/".
///
/// Returns 1 on success. Returns 0 for a null buffer, a size of 0, or a path that does not fit with
/// its terminator; the buffer is then untouched.
///
/// Note: both names give the same directory; GetModulePath does not add the program's file name.
/// Note: on macOS the directory of an application bundle is the bundle itself, such as
/// "/Applications/Engine.app", not the directory inside of it that holds the executable.
VORN_BASES_API int GetModulePath(char* buffer, unsigned long size);
VORN_BASES_API int GetModuleDir(char* buffer, unsigned long size);

/// Assign the same directory to `path`. There is no failure result: `path` becomes empty when the
/// directory is unknown or needs more than 1024 bytes, terminator included.
VORN_BASES_API void GetModulePath(std::string& path);
VORN_BASES_API void GetModuleDir(std::string& path);

} // namespace Vorn

#endif
