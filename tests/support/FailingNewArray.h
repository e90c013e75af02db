#ifndef VORN_BASES_TESTS_SUPPORT_FAILING_NEW_ARRAY_H
#define VORN_BASES_TESTS_SUPPORT_FAILING_NEW_ARRAY_H

#include <cstddef>

namespace VornTest {

/// Lets non-throwing allocations of arrays fail, and watches them. What they hand out is filled, so
/// that it shows where bytes were not written. A program that uses this adds FailingNewArray.cpp to
/// its sources and wraps _ZnamRKSt9nothrow_t, that form of operator new[].
struct FailingNewArray {
    static constexpr unsigned char Unwritten = 0xD7;
    static inline std::size_t failFrom = 0; // those of this many bytes and above fail; 0: none
    static inline int count = 0;            // how many there were, failed ones included
    static inline std::size_t lastSize = 0; // what the last one asked for
};

/// Fails all such allocations of `failFrom` bytes and above while it lives.
class NoMemory {
public:
    explicit NoMemory(std::size_t failFrom = 1) { FailingNewArray::failFrom = failFrom; }
    ~NoMemory() { FailingNewArray::failFrom = 0; }
    NoMemory(const NoMemory&) = delete;
    NoMemory& operator=(const NoMemory&) = delete;
};

} // namespace VornTest

#endif
