// SPDX-License-Identifier: MIT
// Linux: the features of the processor that the kernel passes to every program.

#include <Bases/Impl/Port/CpuFeatures.h>

#if defined(__aarch64__)
#include <asm/hwcap.h>
#include <sys/auxv.h>
#endif

namespace Vorn {

bool HasArmAes() {
#if defined(__aarch64__)
    return (getauxval(AT_HWCAP) & HWCAP_AES) != 0;
#else
    return false;
#endif
}

} // namespace Vorn
