// SPDX-License-Identifier: MIT
// Programs that use a named object, killed before each of their system calls.
//
// Concerns: what a killed program leaves is the object as its last step left it, or as the next
// step leaves it, and nothing else but a file of the C library's; what the next program meets.
// Plan: a traced child that tells of each step, killed before its call n, for every n to its end.
#include <Bases/Thread.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <semaphore.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include "Thread/ShmTest.h"
#include "support/KillAtCall.h"
#include "support/Program.h"

namespace {

namespace fs = std::filesystem;
using VornTest::KilledAtCall;

const std::string Nothing = "nothing";

// Where the names of semaphores are files.
constexpr const char* Files = "/dev/shm";

class KilledAmongNamedObjects : public testing::Test {
protected:
    KilledAmongNamedObjects()
        : m_name("vorn-test-kill-" + std::to_string(getpid())),
          m_bOwnFiles(VornTest::TakeOwnSemaphoreFiles()) {}
    ~KilledAmongNamedObjects() override { sem_unlink(Name().c_str()); }
    KilledAmongNamedObjects(const KilledAmongNamedObjects&) = delete;
    KilledAmongNamedObjects& operator=(const KilledAmongNamedObjects&) = delete;

    std::string Name() const { return "/" + m_name; }

    // The semaphore's count, or that there is none.
    std::string Semaphore() const {
        sem_t* const semaphore = sem_open(Name().c_str(), 0);
        if (semaphore == SEM_FAILED)
            return Nothing;
        int count = -1;
        EXPECT_EQ(0, sem_getvalue(semaphore, &count));
        sem_close(semaphore);
        return std::to_string(count);
    }

    // The segment's first byte, or that there is none.
    std::string Segment() const {
        const int identifier = shmget(VornTest::KeyOf(Name()), 0, 0);
        if (identifier == -1)
            return Nothing;
        void* const bytes = shmat(identifier, nullptr, SHM_RDONLY);
        if (reinterpret_cast<std::intptr_t>(bytes) == -1)
            return "unreadable";
        const int first = *static_cast<unsigned char*>(bytes);
        shmdt(bytes);
        return std::to_string(first);
    }

    // Kills the program before each of its calls. `states` are what its steps leave, one after the
    // other, at first before the first step; `refused` is the state in which the next one, and only
    // that one, cannot work. Each state has to be met: the C library asks for random bits once more
    // now and then, so that a run may have one call more than another, and a state be missed.
    template <typename State>
    void KillEverywhere(const std::string& object, const std::vector<std::string>& states,
                        const std::string& refused, State state) {
        const std::set<std::string> all(states.begin(), states.end());
        std::set<std::string> left;
        for (int pass = 0; pass < 6 && left != all && !HasFailure(); ++pass)
            for (unsigned long n = 1; KillAt(n, object, states, state); ++n) {
                const std::string found = state();
                left.insert(found);
                EXPECT_EQ(found == refused ? 1 : 0, Run(object)) << n;
                EXPECT_EQ(Nothing, state()) << n;
                EXPECT_EQ(0, Run(object)) << n;
                EXPECT_EQ(Nothing, state()) << n;
            }
        EXPECT_EQ(all, left);
    }

private:
    int Run(const std::string& object) const {
        return VornTest::RunProgram({VORN_NAMED_STEPS, object, Name()}).status;
    }

    // Returns false if the program has ended before.
    template <typename State>
    bool KillAt(unsigned long n, const std::string& object, const std::vector<std::string>& states,
                State state) {
        const KilledAtCall killed({VORN_NAMED_STEPS, object, Name(), "traced"}, n,
                                  KilledAtCall::CallsCount::OnceItStops);
        const std::size_t steps = killed.Printed().size();
        if (killed.HasEndedBefore()) {
            EXPECT_EQ(states.size(), steps + 1);
            return false;
        }
        const std::vector<std::string> possible{states.at(steps),
                                                states[std::min(steps + 1, states.size() - 1)]};
        EXPECT_THAT(possible, testing::Contains(state())) << n << ", after " << killed.Printed();
        ExpectAtMostAFileOfTheCLibrary(steps);
        return true;
    }

    // It makes a file with a name of its own, and then gives it the semaphore's.
    void ExpectAtMostAFileOfTheCLibrary(std::size_t steps) const {
        if (!m_bOwnFiles)
            return;
        std::vector<std::string> others;
        for (const auto& entry : fs::directory_iterator(Files))
            if (entry.path().filename() != "sem." + m_name)
                others.push_back(entry.path().filename());
        EXPECT_LE(others.size(), steps == 0 ? 1U : 0U);
        for (const std::string& other : others) {
            EXPECT_TRUE(std::regex_match(other, std::regex("sem\\.[A-Za-z0-9]{6}"))) << other;
            fs::remove(fs::path(Files) / other);
        }
    }

    std::string m_name;
    bool m_bOwnFiles;
};

TEST_F(KilledAmongNamedObjects, MutexStaysLockedOrFree) {
    KillEverywhere("mutex", {Nothing, "1", "0", "1", Nothing}, "0", [this] { return Semaphore(); });
}

TEST_F(KilledAmongNamedObjects, SemaphoreKeepsItsCount) {
    KillEverywhere("semaphore", {Nothing, "1", "0", "1", Nothing}, "0",
                   [this] { return Semaphore(); });
}

TEST_F(KilledAmongNamedObjects, EventStaysSetUntilAWaitDrainsIt) {
    KillEverywhere("event", {Nothing, "0", "1", "1", "0", Nothing}, "none",
                   [this] { return Semaphore(); });
}

TEST_F(KilledAmongNamedObjects, SegmentStaysWithWhatWasWritten) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only the superuser may write to shared memory";
    // The system's first segment has the identifier 0, which the library takes for none.
    shmctl(shmget(IPC_PRIVATE, 1, IPC_CREAT | 0600), IPC_RMID, nullptr);
    KillEverywhere("memory", {Nothing, "0", "0", "7", "7", Nothing}, "none",
                   [this] { return Segment(); });
}

} // namespace
