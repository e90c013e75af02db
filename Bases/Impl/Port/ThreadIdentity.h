// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_PORT_THREAD_IDENTITY_H
#define VORN_BASES_IMPL_PORT_THREAD_IDENTITY_H

// The number that identifies a thread within its process.

#include <cstdint>

#include <pthread.h>

namespace Vorn {

/// Returns a number that no other thread of the process has while this one exists. The thread must
/// not have been joined.
std::uintptr_t ThreadIdentity(pthread_t thread);

} // namespace Vorn

#endif
