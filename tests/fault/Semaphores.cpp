// SPDX-License-Identifier: MIT
// The scripted calls to the platform for semaphores.

#include "fault/Platform.h"

#include <fcntl.h>

extern "C" {
sem_t* __real_sem_open(const char* name, int flags, ...);
int __real_sem_close(sem_t* semaphore);
int __real_sem_unlink(const char* name);
int __real_sem_wait(sem_t* semaphore);
int __real_sem_trywait(sem_t* semaphore);
int __real_sem_post(sem_t* semaphore);
int __real_sem_getvalue(sem_t* semaphore, int* value);
}

namespace VornTest::Platform {

namespace {

sem_t* RealSemOpen(const char* name, int flags, mode_t mode, unsigned int value) {
    return __real_sem_open(name, flags, mode, value);
}

} // namespace

constinit Function<sem_t*(const char*, int, mode_t, unsigned int)> sem_open{
    "sem_open", RealSemOpen,
    Errors<EACCES, EEXIST, EINVAL, EMFILE, ENAMETOOLONG, ENFILE, ENOENT, ENOMEM>};
constinit Function<int(sem_t*)> sem_close{"sem_close", __real_sem_close, Errors<EINVAL>};
constinit Function<int(const char*)> sem_unlink{"sem_unlink", __real_sem_unlink,
                                                Errors<EACCES, ENAMETOOLONG, ENOENT>};
constinit Function<int(sem_t*)> sem_wait{"sem_wait", __real_sem_wait, Errors<EINTR, EINVAL>};
constinit Function<int(sem_t*)> sem_trywait{"sem_trywait", __real_sem_trywait,
                                            Errors<EAGAIN, EINTR, EINVAL>};
constinit Function<int(sem_t*)> sem_post{"sem_post", __real_sem_post, Errors<EINVAL, EOVERFLOW>};
constinit Function<int(sem_t*, int*)> sem_getvalue{"sem_getvalue", __real_sem_getvalue,
                                                   Errors<EINVAL, ENOSYS>};

namespace {

const Family g_semaphores{&sem_open,    &sem_close, &sem_unlink,  &sem_wait,
                          &sem_trywait, &sem_post,  &sem_getvalue};

} // namespace

extern "C" {

sem_t* __wrap_sem_open(const char* name, int flags, ...) {
    mode_t mode = 0;
    unsigned int value = 0;
    if ((flags & O_CREAT) != 0) {
        std::va_list arguments;
        va_start(arguments, flags);
        // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_start above, not seen by Clang 14
        mode = va_arg(arguments, mode_t);
        value = va_arg(arguments, unsigned int);
        va_end(arguments);
    }
    return sem_open(name, flags, mode, value);
}

int __wrap_sem_close(sem_t* semaphore) { return sem_close(semaphore); }

int __wrap_sem_unlink(const char* name) { return sem_unlink(name); }

int __wrap_sem_wait(sem_t* semaphore) { return sem_wait(semaphore); }

int __wrap_sem_trywait(sem_t* semaphore) { return sem_trywait(semaphore); }

int __wrap_sem_post(sem_t* semaphore) { return sem_post(semaphore); }

int __wrap_sem_getvalue(sem_t* semaphore, int* value) { return sem_getvalue(semaphore, value); }
}

} // namespace VornTest::Platform
