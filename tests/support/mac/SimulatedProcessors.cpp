// SPDX-License-Identifier: MIT
// The processors that the C++ library reports for the machine: those that the process may run on,
// so that a test can start a program on a machine with one.
#include <sched.h>

// Replaces std::thread::hardware_concurrency, whose mangled name it has.
unsigned ProcessorsOfTheMachine() noexcept __asm__("_ZNSt6thread20hardware_concurrencyEv");

unsigned ProcessorsOfTheMachine() noexcept {
    cpu_set_t processors;
    if (sched_getaffinity(0, sizeof processors, &processors) != 0)
        return 0;
    return static_cast<unsigned>(CPU_COUNT(&processors));
}
