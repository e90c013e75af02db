// SPDX-License-Identifier: MIT
// Compiled like the library's macOS variant, whose handle of a thread is a pointer to the thread's
// object. The rest of the library has the handles of Linux here.
#include <cstdint>

#include <pthread.h>

namespace Vorn {

std::uintptr_t ThreadIdentity(SimulatedThread* thread);
std::uintptr_t ThreadIdentity(unsigned long thread);

std::uintptr_t ThreadIdentity(unsigned long thread) {
    SimulatedThread object{thread};
    return ThreadIdentity(&object);
}

} // namespace Vorn
