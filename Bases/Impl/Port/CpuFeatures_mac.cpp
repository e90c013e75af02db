// SPDX-License-Identifier: MIT
// macOS: every Arm processor that it runs on has AES. The tests build this for Linux.

#include <Bases/Impl/Port/CpuFeatures.h>

namespace Vorn {

bool HasArmAes() {
#if defined(__aarch64__)
    return true;
#else
    return false;
#endif
}

} // namespace Vorn
