// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_THREAD_NAMING_H
#define VORN_BASES_TESTS_THREAD_NAMING_H

// The two kinds of every lock and event, without and with a name, for suites that run the same
// cases on both. How they differ is the table here, and nowhere else.

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <semaphore.h>
#include <unistd.h>

#include <Bases/Thread.h>

#include "fault/WaitHooks.h"

namespace VornTest {

struct Unnamed {
    static constexpr bool HasName = false;
    static constexpr bool PostReleasesEveryWaiter = true; // otherwise one of them
    static constexpr bool LimitedWaitBlocks = true;       // otherwise it is a single try
    static constexpr bool WaitOutlivesASignal = true;     // otherwise an unlimited one fails
    static constexpr int CountAfterAFailedTry = -1;       // of a semaphore that had nothing free

    // Of posts with nobody waiting, at least one.
    static constexpr int FreeAfterPosts(int /*posts*/) { return 1; }
    static constexpr int CountAfterPosts(int /*posts*/) { return 0; }
};

struct Named {
    static constexpr bool HasName = true;
    static constexpr bool PostReleasesEveryWaiter = false;
    static constexpr bool LimitedWaitBlocks = false;
    static constexpr bool WaitOutlivesASignal = false;
    static constexpr int CountAfterAFailedTry = 0;

    static constexpr int FreeAfterPosts(int posts) { return posts; }
    static constexpr int CountAfterPosts(int posts) { return posts; }
};

using BothNamings = testing::Types<Unnamed, Named>;

struct NamingNames {
    template <typename Naming>
    static std::string GetName(int) {
        return Naming::HasName ? "Named" : "Unnamed";
    }
};

/// A fixture for tests of one kind.
template <typename Naming>
class OfOneKind : public testing::Test {
protected:
    OfOneKind() : m_name("/vorn-test-kind-" + std::to_string(getpid())) {
        sem_unlink(m_name.c_str()); // what a killed run with the same number may have left
    }
    ~OfOneKind() override { sem_unlink(m_name.c_str()); }
    OfOneKind(const OfOneKind&) = delete;
    OfOneKind& operator=(const OfOneKind&) = delete;

    const char* Name() const { return Naming::HasName ? m_name.c_str() : nullptr; }

    /// Hands `make` a name under which the platform makes nothing. Returns its result.
    template <typename Make>
    bool Refused(Make make) {
        if (Naming::HasName)
            return make("/no/such/place");
        const WaitsRefused refused;
        return make(nullptr);
    }

    /// The time-outs with which a wait blocks.
    static std::vector<unsigned int> BlockingTimeOuts() {
        if (Naming::LimitedWaitBlocks)
            return {Vorn::WaitForever, 600000U};
        return {Vorn::WaitForever};
    }

private:
    std::string m_name;
};

} // namespace VornTest

#endif
