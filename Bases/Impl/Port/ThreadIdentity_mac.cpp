// SPDX-License-Identifier: MIT
// macOS: the handle of a thread points to its object, whose first word is the number. The tests
// build this over a simulation of such an object.

#include <Bases/Impl/Port/ThreadIdentity.h>

#include <cstring>

namespace Vorn {

std::uintptr_t ThreadIdentity(pthread_t thread) {
    std::uintptr_t word = 0;
    std::memcpy(&word, thread, sizeof(word));
    return word;
}

} // namespace Vorn
