// SPDX-License-Identifier: MIT
// Concerns: a program that leaves shared memory fails and says what it left; one that does not, or
// beside which somebody else does, passes; both with System V objects of its own and without.
#include "support/Prepare.h"
#include "support/Program.h"

#include <string>

#include <linux/capability.h>
#include <sched.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::HasSubstr;
using VornTest::GiveUp;
using VornTest::Outcome;
using VornTest::RunProgram;
using VornTest::Surroundings;

/// What another test program did with its segment, and how it ended.
class Maker {
public:
    /// Whose System V objects the program uses: the test's, or its own if it may.
    enum class Objects { Shared, Own };

    Maker(const std::string& test, Objects objects) {
        Surroundings surroundings;
        if (objects == Objects::Shared)
            surroundings.prepare = [] { GiveUp({CAP_SYS_ADMIN}); };
        m_outcome =
            RunProgram({VORN_SEGMENT_MAKER, "--gtest_filter=SegmentMaker." + test}, surroundings);
        const std::string before = "\nmade ";
        const std::size_t at = m_outcome.out.find(before);
        EXPECT_NE(std::string::npos, at) << m_outcome.out;
        m_id = std::stoi(m_outcome.out.substr(at + before.size()));
    }
    ~Maker() { shmctl(m_id, IPC_RMID, nullptr); } // which is there only if it was shared
    Maker(const Maker&) = delete;
    Maker& operator=(const Maker&) = delete;

    int Id() const { return m_id; }

    void ExpectSuccess() const { EXPECT_EQ(0, m_outcome.status) << m_outcome.out; }

    void ExpectComplaint() const {
        EXPECT_EQ(1, m_outcome.status);
        EXPECT_THAT(m_outcome.out, HasSubstr("shared memory was left behind: key 0, identifier " +
                                             std::to_string(m_id) +
                                             ", 4096 bytes, permissions 666, made by process "));
    }

private:
    Outcome m_outcome;
    int m_id = -1;
};

bool MayHaveOwnObjects() {
    const pid_t child = fork();
    if (child == 0)
        _exit(unshare(CLONE_NEWIPC) == 0 ? 0 : 1);
    int status = 0;
    return waitpid(child, &status, 0) == child && status == 0;
}

constexpr const char* WhyNoOwnObjects = "no System V objects of one's own can be had here";

TEST(OwnSegments, ThatRemainFailTheProgram) {
    for (const Maker::Objects objects : {Maker::Objects::Shared, Maker::Objects::Own})
        Maker("LeavesOne", objects).ExpectComplaint();
}

TEST(OwnSegments, ThatAreRemovedDoNotAlsoWhileTheyAreMapped) {
    for (const char* test : {"RemovesOne", "KeepsARemovedOneMapped"})
        for (const Maker::Objects objects : {Maker::Objects::Shared, Maker::Objects::Own})
            Maker(test, objects).ExpectSuccess();
}

TEST(OwnSegments, AreThoseOfTheProgramsProcessesWhereTheObjectsAreItsOwn) {
    if (!MayHaveOwnObjects())
        GTEST_SKIP() << WhyNoOwnObjects;
    Maker("LetsAChildLeaveOne", Maker::Objects::Own).ExpectComplaint();
}

TEST(OwnSegments, AreOnlyTheProgramsWhereTheObjectsAreShared) {
    Maker("LetsAChildLeaveOne", Maker::Objects::Shared).ExpectSuccess();
}

TEST(OwnSegments, AreGoneWithTheProgramWhereTheObjectsAreItsOwn) {
    if (!MayHaveOwnObjects())
        GTEST_SKIP() << WhyNoOwnObjects;
    const Maker maker("LeavesOne", Maker::Objects::Own);
    shmid_ds status{};
    EXPECT_EQ(-1, shmctl(maker.Id(), IPC_STAT, &status));
}

} // namespace
