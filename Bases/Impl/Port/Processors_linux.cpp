// SPDX-License-Identifier: MIT
// Linux: the processors that the process is bound to. The C++ library counts all of the machine's.

#include <Bases/Impl/Port/Processors.h>

#include <sched.h>

namespace Vorn {

namespace {

// A set that is too small for the machine's processors is refused.
bool MayRunOnSeveral() {
    cpu_set_t processors;
    return sched_getaffinity(0, sizeof processors, &processors) != 0 || CPU_COUNT(&processors) > 1;
}

// Asked while the library is loaded: later, each thread may be bound to a processor of its own.
const bool Several = MayRunOnSeveral();

} // namespace

bool HasSeveralProcessors() { return Several; }

} // namespace Vorn
