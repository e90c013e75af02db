// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_DELETED_AS_BASE_H
#define VORN_BASES_TESTS_SUPPORT_DELETED_AS_BASE_H

#include <memory>

namespace VornTest {

/// Returns whether an object of a program's own subclass is destroyed as a whole when it is deleted
/// as one of the class.
template <typename Class>
bool IsWhollyDeletedAsBase() {
    struct Derived : Class {
        explicit Derived(bool& gone) : m_gone(gone) {}
        Derived(const Derived&) = delete;
        Derived& operator=(const Derived&) = delete;
        ~Derived() override { m_gone = true; }

    private:
        bool& m_gone;
    };
    bool gone = false;
    std::unique_ptr<Class>(new Derived(gone)).reset();
    return gone;
}

} // namespace VornTest

#endif
