// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_UNPRIVILEGED_H
#define VORN_BASES_TESTS_SUPPORT_UNPRIVILEGED_H

#include "TempDir.h"

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace VornTest {

/// The effective user is one without privileges while this lives, if the tests do not run as such
/// already.
class Unprivileged {
public:
    Unprivileged() : m_before(geteuid()) {
        if (m_before == 0 && seteuid(Nobody) != 0)
            m_failed = true;
    }
    ~Unprivileged() {
        if (seteuid(m_before) != 0)
            ADD_FAILURE() << "cannot become the first user again";
    }
    Unprivileged(const Unprivileged&) = delete;
    Unprivileged& operator=(const Unprivileged&) = delete;

    /// True in containers whose superuser cannot become anybody else.
    bool Failed() const { return m_failed; }

    static constexpr uid_t Nobody = 65534;
    static constexpr const char* WhyFailed = "the superuser cannot become another user here";

private:
    uid_t m_before;
    bool m_failed = false;
};

/// Lets everybody into a test's directory.
inline void OpenToAll(const TempDir& dir) { ASSERT_EQ(0, chmod(dir.Path().c_str(), 0777)); }

} // namespace VornTest

#endif
