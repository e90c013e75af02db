// SPDX-License-Identifier: MIT
// Part of every test program whose library counts what runs: a process that aborts, as one with a
// failed assertion does, writes its counters first, and so does one that ends by _exit.
#include <csignal>

#include <unistd.h>

extern "C" void __gcov_dump();
extern "C" [[noreturn]] void __real__exit(int status);
extern "C" [[noreturn]] void __wrap__exit(int status);

namespace {

void WriteCounters(int /*signal*/) { __gcov_dump(); }

[[maybe_unused]] const auto Installed = std::signal(SIGABRT, WriteCounters);

} // namespace

extern "C" void __wrap__exit(int status) {
    __gcov_dump();
    __real__exit(status);
}
