// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_FAULT_BYPASS_H
#define VORN_BASES_TESTS_FAULT_BYPASS_H

// For what shall not be scripted by the platform that Platform.h explains. It is C++17, as some
// programs that use it are.

namespace VornTest::Platform {

/// While it lives, the calls of this thread go to the system, neither scripted nor recorded.
class Bypass {
public:
    Bypass() { ++s_depth; }
    ~Bypass() { --s_depth; }
    Bypass(const Bypass&) = delete;
    Bypass& operator=(const Bypass&) = delete;

    static bool IsOn() { return s_depth != 0; }

private:
    static inline thread_local int s_depth = 0;
};

} // namespace VornTest::Platform

#endif
