// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_PORT_RANDOM_SOURCE_H
#define VORN_BASES_IMPL_PORT_RANDOM_SOURCE_H

// Random bytes of the system, to seed the generator of identifiers.

#include <cstddef>

namespace Vorn {

/// Fills the `size` bytes at `buffer` from the system's random source. Returns false when the
/// source fails; the contents of the buffer must then not be used.
bool FillRandom(void* buffer, std::size_t size);

} // namespace Vorn

#endif
