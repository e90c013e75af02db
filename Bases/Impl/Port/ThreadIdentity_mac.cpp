// Built on macOS, and in the tests over a simulation of what it calls.
#include <Bases/Impl/Port/ThreadIdentity.h>

#include <cstring>

namespace Vorn {

// The handle points to the thread's object, whose first word is the number.
std::uintptr_t ThreadIdentity(pthread_t thread) {
    std::uintptr_t word = 0;
    std::memcpy(&word, thread, sizeof(word));
    return word;
}

} // namespace Vorn
