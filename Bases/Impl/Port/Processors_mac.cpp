// SPDX-License-Identifier: MIT
// macOS binds no process to processors: it may run on all of the machine's.

#include <Bases/Impl/Port/Processors.h>

#include <thread>

namespace Vorn {

namespace {

const bool Several = std::thread::hardware_concurrency() > 1;

} // namespace

bool HasSeveralProcessors() { return Several; }

} // namespace Vorn
