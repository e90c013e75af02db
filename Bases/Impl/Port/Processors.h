// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_PORT_PROCESSORS_H
#define VORN_BASES_IMPL_PORT_PROCESSORS_H

// The processors that the host lets this process run on.

namespace Vorn {

/// Whether the process was allowed several when the library was loaded, so that another thread may
/// run while one looks on.
bool HasSeveralProcessors();

} // namespace Vorn

#endif
