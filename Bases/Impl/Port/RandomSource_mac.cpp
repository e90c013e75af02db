// SPDX-License-Identifier: MIT
// macOS: arc4random_buf, which cannot fail. The tests build this over a simulation of it.

#include <Bases/Impl/Port/RandomSource.h>

#include <cstdlib>

namespace Vorn {

bool FillRandom(void* buffer, std::size_t size) {
    arc4random_buf(buffer, size);
    return true;
}

} // namespace Vorn
