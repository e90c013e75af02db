#ifndef VORN_BASES_IMPL_PORT_CPU_FEATURES_H
#define VORN_BASES_IMPL_PORT_CPU_FEATURES_H

// What the processor can do, as far as only the host may ask it.

namespace Vorn {

/// Whether the processor has the AES instructions of 64-bit Arm; false on other processors. A
/// program may ask an x86 processor itself: see Route.cpp.
bool HasArmAes();

} // namespace Vorn

#endif
