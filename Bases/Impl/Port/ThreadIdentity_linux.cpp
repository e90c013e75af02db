#include <Bases/Impl/Port/ThreadIdentity.h>

namespace Vorn {

// The handle is a number itself.
std::uintptr_t ThreadIdentity(pthread_t thread) { return thread; }

} // namespace Vorn
