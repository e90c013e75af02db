// SPDX-License-Identifier: MIT
// The scripted calls to the platform for shared memory.

#include "fault/Platform.h"

#include <bit>
#include <cstdint>

extern "C" {
int __real_shmget(key_t key, std::size_t size, int flags);
void* __real_shmat(int id, const void* address, int flags);
int __real_shmdt(const void* address);
int __real_shmctl(int id, int command, shmid_ds* data);
}

namespace VornTest::Platform {

namespace {

void* FailToAttach(int error) {
    errno = error;
    return std::bit_cast<void*>(std::intptr_t{-1});
}

} // namespace

constinit Function<int(key_t, std::size_t, int)> shmget{
    "shmget", __real_shmget, Errors<EACCES, EEXIST, EINVAL, ENOENT, ENOMEM, ENOSPC>};
constinit Function<void*(int, const void*, int)> shmat{
    "shmat", __real_shmat, Errors<EACCES, EIDRM, EINVAL, ENOMEM>, FailToAttach};
constinit Function<int(const void*)> shmdt{"shmdt", __real_shmdt, Errors<EINVAL>};
constinit Function<int(int, int, shmid_ds*)> shmctl{"shmctl", __real_shmctl,
                                                    Errors<EACCES, EIDRM, EINVAL, EPERM>};

namespace {

const Family g_sharedMemory{&shmget, &shmat, &shmdt, &shmctl};

} // namespace

extern "C" {

int __wrap_shmget(key_t key, std::size_t size, int flags) { return shmget(key, size, flags); }

void* __wrap_shmat(int id, const void* address, int flags) { return shmat(id, address, flags); }

int __wrap_shmdt(const void* address) { return shmdt(address); }

int __wrap_shmctl(int id, int command, shmid_ds* data) { return shmctl(id, command, data); }
}

} // namespace VornTest::Platform
