// SPDX-License-Identifier: MIT
// The scripted calls to the platform for processes and random numbers.

#include "fault/Platform.h"

extern "C" {
pid_t __real_getpid();
int __real_kill(pid_t process, int signal);
ssize_t __real_getrandom(void* buffer, std::size_t size, unsigned int flags);
}

namespace VornTest::Platform {

namespace {

ssize_t HalfGetrandom(void* buffer, std::size_t size, unsigned int flags) {
    return __real_getrandom(buffer, size / 2, flags);
}

} // namespace

constinit Function<pid_t()> getpid{"getpid", __real_getpid};
constinit Function<int(pid_t, int)> kill{"kill", __real_kill, Errors<EPERM, ESRCH>};
constinit Function<ssize_t(void*, std::size_t, unsigned int)> getrandom{
    "getrandom", __real_getrandom, Errors<EAGAIN, EINTR, ENOSYS, ShortCount>,
    Detail::Usual<ssize_t>(), HalfGetrandom};

namespace {

const Family g_processes{&getpid, &kill, &getrandom};

} // namespace

extern "C" {

pid_t __wrap_getpid() { return getpid(); }

int __wrap_kill(pid_t process, int signal) { return kill(process, signal); }

ssize_t __wrap_getrandom(void* buffer, std::size_t size, unsigned int flags) {
    return getrandom(buffer, size, flags);
}
}

} // namespace VornTest::Platform
