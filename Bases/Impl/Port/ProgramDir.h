// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_PORT_PROGRAM_DIR_H
#define VORN_BASES_IMPL_PORT_PROGRAM_DIR_H

// The directory of the running program.

namespace Vorn {

/// Writes the running program's directory, absolute, without a trailing separator and
/// zero-terminated, into the `size` bytes at `buffer`. The caller has checked that the buffer is
/// not null and the size not 0. Returns false, with the buffer untouched, when the directory is
/// unknown or does not fit.
bool WriteProgramDir(char* buffer, unsigned long size);

} // namespace Vorn

#endif
