#ifndef VORN_BASES_TESTS_SUPPORT_FAILING_NEW_H
#define VORN_BASES_TESTS_SUPPORT_FAILING_NEW_H

#include <cstddef>

namespace VornTest {

/// Lets single allocations of the library fail. A program that uses this adds FailingNew.cpp to its
/// sources and wraps _Znwm and _ZnwmRKSt9nothrow_t, the two forms of operator new.
struct FailingNew {
    static inline int nothrowUntilFailure = 0; // which non-throwing allocation fails; 0: none
    static inline std::size_t failFrom = 0;    // throwing ones of this size and above fail; 0: none
};

} // namespace VornTest

#endif
