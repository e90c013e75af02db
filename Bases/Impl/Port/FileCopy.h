// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_PORT_FILE_COPY_H
#define VORN_BASES_IMPL_PORT_FILE_COPY_H

// Copying between two open files inside the kernel.

namespace Vorn {

/// Copies what the host can copy without passing the bytes through this process, from the position
/// of one descriptor to that of the other, and advances both positions by that. May stop anywhere,
/// for any reason: the caller continues from there.
void CopyInKernel(int from, int to);

} // namespace Vorn

#endif
