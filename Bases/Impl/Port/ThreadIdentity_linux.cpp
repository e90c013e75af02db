// SPDX-License-Identifier: MIT
// Linux: the handle of a thread is a number itself.

#include <Bases/Impl/Port/ThreadIdentity.h>

namespace Vorn {

std::uintptr_t ThreadIdentity(pthread_t thread) { return thread; }

} // namespace Vorn
