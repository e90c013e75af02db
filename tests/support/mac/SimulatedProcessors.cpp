// SPDX-License-Identifier: MIT
// The processors of the machine, of which the C++ library tells: those that the process may run on,
// so that a test can start a program on a machine with one.
#include <sched.h>

// By its name it stands in front of std::thread::hardware_concurrency.
unsigned ProcessorsOfTheMachine() noexcept __asm__("_ZNSt6thread20hardware_concurrencyEv");

unsigned ProcessorsOfTheMachine() noexcept {
    cpu_set_t processors;
    if (sched_getaffinity(0, sizeof processors, &processors) != 0)
        return 0;
    return static_cast<unsigned>(CPU_COUNT(&processors));
}
