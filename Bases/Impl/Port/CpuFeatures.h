// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_PORT_CPU_FEATURES_H
#define VORN_BASES_IMPL_PORT_CPU_FEATURES_H

// Features of the processor that only the host can query.

namespace Vorn {

/// Whether the processor has the AES instructions of 64-bit Arm; false on other processors. A
/// program may ask an x86 processor itself: see Route.cpp.
bool HasArmAes();

} // namespace Vorn

#endif
