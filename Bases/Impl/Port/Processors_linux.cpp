// SPDX-License-Identifier: MIT
// Linux: the processors that the process is bound to. The C++ library counts all of the machine's.

#include <Bases/Impl/Port/Processors.h>

#include <sched.h>

namespace Vorn {

namespace {

// Linux refuses a set that is too small for the machine's processors, and leaves it empty.
bool MayRunOnSeveral() {
    cpu_set_t processors{};
    sched_getaffinity(0, sizeof processors, &processors);
    return CPU_COUNT(&processors) != 1;
}

// Asked while the library is loaded: later, each thread may be bound to a processor of its own.
const bool Several = MayRunOnSeveral();

} // namespace

bool HasSeveralProcessors() { return Several; }

} // namespace Vorn
