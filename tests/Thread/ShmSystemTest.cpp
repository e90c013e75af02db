// SPDX-License-Identifier: MIT
// Concerns: the permissions are what decides who may write; a segment lives until it is removed and
// unmapped, in every process. Segments of the platform are looked at and removed past the class.
#include <Bases/Thread.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Thread/ShmTest.h"
#include "support/Peer.h"
#include "support/Unprivileged.h"

namespace {

using namespace VornTest;
using testing::Each;

// Concerns: what the class promises holds on the platform itself, too. Nothing is left there,
// however a test ends, and no segment of these tests is the platform's first one, whose identifier
// is 0.

bool RemoveSegment(int id) { return Platform::shmctl.Real(id, IPC_RMID, nullptr) == 0; }

// A segment attached past the class, for reading and writing. What refuses that is the platform.
class RawMapping {
public:
    explicit RawMapping(int id)
        : m_pBytes(static_cast<unsigned char*>(Platform::shmat.Real(id, nullptr, 0))) {}
    ~RawMapping() {
        if (Succeeded())
            Platform::shmdt.Real(m_pBytes);
    }
    RawMapping(const RawMapping&) = delete;
    RawMapping& operator=(const RawMapping&) = delete;

    bool Succeeded() const { return m_pBytes != Failure(); }
    unsigned char* Bytes() const { return m_pBytes; }

private:
    unsigned char* m_pBytes;
};

// Whether permissions do not count for this process. Makes the platform's first segment, too.
bool OverridesPermissions() {
    const int id = Platform::shmget.Real(IPC_PRIVATE, 1, 0);
    EXPECT_NE(-1, id);
    const bool bSucceeded = RawMapping(id).Succeeded();
    EXPECT_TRUE(RemoveSegment(id));
    return bSucceeded;
}

constexpr const char* WhyNoWriter = "this process may not write into segments by way of Shm";

// A process that removes the segment with a key when this object or its process goes, however that
// comes about.
class Janitor {
public:
    explicit Janitor(key_t key) : m_key(key) {
        EXPECT_EQ(0, pipe2(m_pipe.data(), O_CLOEXEC));
        m_pid = fork();
        if (m_pid == 0)
            WaitAndRemove();
        EXPECT_LT(0, m_pid);
        close(m_pipe[0]);
    }

    ~Janitor() {
        close(m_pipe[1]);
        int status = 0;
        EXPECT_EQ(m_pid, waitpid(m_pid, &status, 0));
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the segment stays behind";
    }

    Janitor(const Janitor&) = delete;
    Janitor& operator=(const Janitor&) = delete;

private:
    // The pipe ends when the last process goes that holds its other end.
    [[noreturn]] void WaitAndRemove() {
        close(m_pipe[1]);
        char nothing = 0;
        while (read(m_pipe[0], &nothing, 1) < 0 && errno == EINTR) {
        }
        const int id = Id();
        if (id != -1 && !RemoveSegment(id) && geteuid() == 0 && seteuid(Unprivileged::Nobody) == 0)
            RemoveSegment(id); // some superusers may not remove what others made
        _exit(Id() == -1 ? 0 : 1);
    }

    int Id() const { return Platform::shmget.Real(m_key, 0, 0); }

    key_t m_key;
    std::array<int, 2> m_pipe{};
    pid_t m_pid = -1;
};

// A name of this test's own, and the platform itself.
class Segment : public ShmFixture {
protected:
    Segment()
        : m_name("vorn-test-" + std::to_string(getpid()) + "-" +
                 testing::UnitTest::GetInstance()->current_test_info()->name()),
          m_bMayWrite(OverridesPermissions()), m_janitor(KeyOf(m_name)) {
        g_platform.bRemovesRefused = true;
    }

    // What has no key, or another one than it should have, is known by its identifier only.
    void TearDown() override {
        for (const int id : g_platform.made)
            RemoveSegment(id);
    }

    const char* Name() const { return m_name.c_str(); }

    // The identifier of the segment with the name; -1 when there is none.
    int Id() const { return Platform::shmget.Real(KeyOf(m_name), 0, 0); }

    int ModeOfSegment() const {
        shmid_ds state{};
        EXPECT_EQ(0, Platform::shmctl.Real(Id(), IPC_STAT, &state));
        return state.shm_perm.mode & 0777;
    }

    static bool Exists(int id) {
        shmid_ds state{};
        return Platform::shmctl.Real(id, IPC_STAT, &state) == 0;
    }

    std::string m_name;
    bool m_bMayWrite;

private:
    Janitor m_janitor;
};

using SharedMemory = Segment;
using SharedMemoryOfAWriter = Segment;
using SharedMemoryWithoutPrivilege = Segment;
using SharedMemoryOfTwoProcesses = Segment;
using ShmDeathTest = Segment;
using ShmTestSupport = Segment;

// Without this a test that fails or dies would leave its segment to the machine for good.
TEST_F(ShmTestSupport, LeavesNoSegmentOfATestThatFailsOrDies) {
    const std::string name = m_name + "-2";
    const key_t key = KeyOf(name);
    {
        const Janitor janitor(key);
        EXPECT_NE(-1, Platform::shmget.Real(key, Size, IPC_CREAT | IPC_EXCL | 0600));
    }
    EXPECT_EQ(-1, Platform::shmget.Real(key, 0, 0));

    const pid_t child = fork();
    if (child == 0) {
        const Janitor janitor(key);
        const int id = Platform::shmget.Real(key, Size, IPC_CREAT | IPC_EXCL | 0600);
        raise(id == -1 ? SIGTERM : SIGKILL);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(SIGKILL, WTERMSIG(status));
    const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (Platform::shmget.Real(key, 0, 0) != -1 && std::chrono::steady_clock::now() < limit)
        usleep(1000);
    EXPECT_EQ(-1, Platform::shmget.Real(key, 0, 0));
}

TEST_F(SharedMemory, HasTheSizeAndThePermissionsOfItsFlag) {
    for (const auto& [bReadOnly, mode] : {std::pair{1, 0666}, std::pair{0, 0555}}) {
        Shm shm;
        ASSERT_TRUE(shm.Create(5000, Name(), bReadOnly, 0));
        EXPECT_EQ(mode, ModeOfSegment());
        shmid_ds state{};
        ASSERT_EQ(0, Platform::shmctl.Real(Id(), IPC_STAT, &state));
        EXPECT_EQ(5000U, state.shm_segsz);
        EXPECT_EQ(FieldsOf(shm).hShm, Id());
    }
}

TEST_F(SharedMemory, IsZeroAtFirstAlsoWhereNothingFillsIt) {
    for (const auto& [bReadOnly, bZeroFill] : {std::pair{1, 1}, std::pair{1, 0}}) {
        Shm shm;
        ASSERT_TRUE(shm.Create(Size, Name(), bReadOnly, bZeroFill));
        unsigned char* const p = shm.Map();
        ASSERT_NE(Failure(), p);
        EXPECT_THAT(std::vector<unsigned char>(p, p + Size), Each(0));
        EXPECT_TRUE(shm.Unmap(p));
    }
}

TEST_F(SharedMemory, IsReachedByAllObjectsThatUseTheName) {
    Shm first;
    ASSERT_TRUE(first.Create(Size, Name(), 1, 0));
    Shm second;
    ASSERT_TRUE(second.Open(Name(), 1));
    unsigned char* const seenByFirst = first.Map();
    unsigned char* const seenBySecond = second.Map();
    ASSERT_NE(Failure(), seenByFirst);
    ASSERT_NE(Failure(), seenBySecond);
    const RawMapping writer(Id());
    ASSERT_TRUE(writer.Succeeded());
    for (const std::size_t at : {std::size_t{0}, Size - 1}) {
        writer.Bytes()[at] = 42;
        EXPECT_EQ(42, seenByFirst[at]);
        EXPECT_EQ(42, seenBySecond[at]);
    }
    second.Close();
    first.Close(); // again, which is fine as long as it is mapped
    EXPECT_TRUE(first.Unmap(seenByFirst));
    EXPECT_TRUE(first.Unmap(seenBySecond)); // of another object
}

TEST_F(SharedMemory, IsDetachedOnceForEachMap) {
    Shm shm;
    ASSERT_TRUE(shm.Create(Size, Name(), 1, 0));
    unsigned char* const first = shm.Map();
    unsigned char* const second = shm.Map();
    ASSERT_NE(Failure(), first);
    ASSERT_NE(Failure(), second);
    EXPECT_NE(first, second);
    EXPECT_TRUE(shm.Unmap(first));
    EXPECT_FALSE(shm.Unmap(first));
    EXPECT_EQ(0, second[0]);
    EXPECT_FALSE(shm.Unmap(second + 1));
    EXPECT_TRUE(shm.Unmap(second));
}

TEST_F(SharedMemory, IsNotCreatedWhereTheNameExists) {
    Shm first;
    ASSERT_TRUE(first.Create(Size, Name(), 1, 0));
    const int id = Id();
    Shm second;
    EXPECT_FALSE(second.Create(Size, Name(), 1, 0));
    EXPECT_TRUE(second.IsOpened());
    EXPECT_EQ(Failure(), second.Map());
    EXPECT_EQ(id, Id());
}

TEST_F(SharedMemory, IsNotCreatedWithoutASize) {
    Shm shm;
    EXPECT_FALSE(shm.Create(0, Name(), 1, 0));
    EXPECT_TRUE(shm.IsOpened());
    EXPECT_EQ(-1, Id());
}

TEST_F(SharedMemory, ReportsSuccessWhenOpenFindsNothing) {
    for (const int bReadOnly : {0, 1}) {
        Shm shm;
        EXPECT_TRUE(shm.Open(Name(), bReadOnly));
        EXPECT_EQ((Fields{-1, bReadOnly}), FieldsOf(shm));
        EXPECT_TRUE(shm.IsOpened());
        EXPECT_EQ(Failure(), shm.Map());
        EXPECT_EQ(-1, Id());
    }
}

TEST_F(SharedMemory, LosesItsNameToWhoeverClosesFirst) {
    Shm creator;
    ASSERT_TRUE(creator.Create(Size, Name(), 1, 0));
    unsigned char* const old = creator.Map();
    ASSERT_NE(Failure(), old);
    {
        Shm opener;
        ASSERT_TRUE(opener.Open(Name(), 1));
    }
    EXPECT_EQ(-1, Id());

    Shm successor;
    ASSERT_TRUE(successor.Create(Size, Name(), 1, 0));
    const RawMapping writer(Id());
    ASSERT_TRUE(writer.Succeeded());
    writer.Bytes()[0] = 42;
    EXPECT_EQ(0, old[0]); // another segment
    creator.Close();
    EXPECT_NE(-1, Id()); // closing the old one again leaves the new one alone
    EXPECT_TRUE(creator.Unmap(old));
}

TEST_F(SharedMemory, StaysMappedAfterCloseAndGoesWithTheLastMapping) {
    auto pShm = std::make_unique<Shm>();
    ASSERT_TRUE(pShm->Create(Size, Name(), 1, 0));
    unsigned char* const p = pShm->Map();
    ASSERT_NE(Failure(), p);
    const int id = Id();
    const auto pWriter = std::make_unique<RawMapping>(id);
    ASSERT_TRUE(pWriter->Succeeded());
    pShm->Close();
    pShm.reset();
    pWriter->Bytes()[0] = 42;
    EXPECT_EQ(42, p[0]);
    EXPECT_EQ(0, Platform::shmdt.Real(pWriter->Bytes()));
    EXPECT_TRUE(Exists(id));
    EXPECT_TRUE(Shm().Unmap(p));
    EXPECT_FALSE(Exists(id));
}

TEST_F(SharedMemory, IsPrivateForANameWhoseKeyIsZero) {
    ASSERT_EQ(0, KeyOf(NameOfKeyZero));
    Shm first;
    EXPECT_TRUE(first.Create(Size, NameOfKeyZero, 1, 0));
    Shm second;
    EXPECT_TRUE(second.Create(Size, NameOfKeyZero, 1, 0)); // exclusive, and yet
    EXPECT_GT(FieldsOf(first).hShm, 0);
    EXPECT_GT(FieldsOf(second).hShm, 0);
    EXPECT_NE(FieldsOf(first).hShm, FieldsOf(second).hShm);
    Shm third;
    EXPECT_TRUE(third.Open(NameOfKeyZero, 1)); // nothing is found, and a new one has no size
    EXPECT_EQ(Failure(), third.Map());
}

TEST_F(SharedMemory, OfANewSystemBeginsWithTheIdentifierZero) {
    const pid_t child = fork();
    if (child == 0) {
        if (unshare(CLONE_NEWIPC) != 0)
            _exit(2);
        Shm shm;
        const bool bLost = shm.Create(Size, Name(), 1, 0) && Id() == 0 && !shm.IsOpened() &&
                           shm.Map() == nullptr && !shm.Open(Name(), 1);
        shm.Close();
        _exit(bLost && Id() == 0 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 2)
        GTEST_SKIP() << "this process may not make a system of its own";
    EXPECT_EQ(0, WEXITSTATUS(status));
}

// Concerns: only a process for which permissions do not count gets memory that it may write; for
// such a process every combination of flags does what the flag says.

TEST_F(SharedMemoryOfAWriter, IsWrittenThroughEitherObject) {
    if (!m_bMayWrite)
        GTEST_SKIP() << WhyNoWriter;
    Shm first;
    ASSERT_TRUE(first.Create(Size, Name(), 0, 1));
    Shm second;
    ASSERT_TRUE(second.Open(Name(), 0));
    unsigned char* const p = first.Map();
    unsigned char* const q = second.Map();
    ASSERT_NE(Failure(), p);
    ASSERT_NE(Failure(), q);
    EXPECT_THAT(std::vector<unsigned char>(p, p + Size), Each(0));
    p[0] = 42;
    EXPECT_EQ(42, q[0]);
    q[Size - 1] = 43;
    EXPECT_EQ(43, p[Size - 1]);
    first.Close();
    second.Close();
    p[1] = 44;
    EXPECT_EQ(44, q[1]);
    EXPECT_TRUE(first.Unmap(p));
    EXPECT_TRUE(second.Unmap(q));
}

TEST_F(SharedMemoryOfAWriter, IsOpenedWithEitherFlagWhicheverItWasCreatedWith) {
    if (!m_bMayWrite)
        GTEST_SKIP() << WhyNoWriter;
    for (const int created : {0, 1}) {
        for (const int opened : {0, 1}) {
            Shm creator;
            ASSERT_TRUE(creator.Create(Size, Name(), created, 0));
            Shm opener;
            ASSERT_TRUE(opener.Open(Name(), opened));
            EXPECT_EQ(Id(), FieldsOf(opener).hShm);
            unsigned char* const p = opener.Map();
            ASSERT_NE(Failure(), p);
            if (opened == 0)
                p[0] = 42;
            opener.Close();
            creator.Close();
            EXPECT_TRUE(opener.Unmap(p));
        }
    }
}

TEST_F(SharedMemoryWithoutPrivilege, IsNotWrittenEvenByTheProcessThatCreatedIt) {
    const Unprivileged user;
    if (user.Failed())
        GTEST_SKIP() << Unprivileged::WhyFailed;
    ASSERT_FALSE(OverridesPermissions());
    for (const int bZeroFill : {0, 1}) {
        Shm shm;
        EXPECT_TRUE(shm.Create(Size, Name(), 0, bZeroFill));
        EXPECT_NE(-1, Id());
        EXPECT_EQ(Failure(), shm.Map());
        const void* const reader = Platform::shmat.Real(Id(), nullptr, SHM_RDONLY);
        ASSERT_NE(Failure(), reader);
        const auto* const bytes = static_cast<const unsigned char*>(reader);
        EXPECT_THAT(std::vector<unsigned char>(bytes, bytes + Size), Each(0));
        EXPECT_EQ(0, Platform::shmdt.Real(reader));
    }
}

TEST_F(SharedMemoryWithoutPrivilege, IsReadByAllWhoPassTheReadersFlag) {
    const Unprivileged user;
    if (user.Failed())
        GTEST_SKIP() << Unprivileged::WhyFailed;
    Shm creator;
    ASSERT_TRUE(creator.Create(Size, Name(), 1, 1));
    Shm opener;
    ASSERT_TRUE(opener.Open(Name(), 1));
    unsigned char* const p = creator.Map();
    unsigned char* const q = opener.Map();
    ASSERT_NE(Failure(), p);
    ASSERT_NE(Failure(), q);
    EXPECT_EQ(0, p[Size - 1]);
    EXPECT_EQ(0, q[Size - 1]);
    creator.Close();
    opener.Close();
    EXPECT_TRUE(creator.Unmap(p));
    EXPECT_TRUE(opener.Unmap(q));
    EXPECT_EQ(-1, Id());
}

TEST_F(SharedMemoryWithoutPrivilege, IsRefusedWithTheOtherFlagWhichIsReportedAsSuccess) {
    const Unprivileged user;
    if (user.Failed())
        GTEST_SKIP() << Unprivileged::WhyFailed;
    ASSERT_FALSE(OverridesPermissions());
    for (const int created : {0, 1}) {
        Shm creator;
        ASSERT_TRUE(creator.Create(Size, Name(), created, 0));
        Shm same;
        EXPECT_TRUE(same.Open(Name(), created));
        EXPECT_EQ(Id(), FieldsOf(same).hShm);
        Shm other;
        EXPECT_TRUE(other.Open(Name(), 1 - created));
        EXPECT_EQ(-1, FieldsOf(other).hShm);
        EXPECT_TRUE(other.IsOpened());
        EXPECT_EQ(Failure(), other.Map());
        g_platform.control = 0; // both are this segment, which is mapped nowhere
        same.Close();
        g_platform.control.reset();
    }
}

TEST_F(SharedMemoryWithoutPrivilege, OfAnotherUserIsGrantedAndRefusedByTheSameRules) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only the superuser can be two users";
    for (const int created : {0, 1}) {
        Shm creator;
        ASSERT_TRUE(creator.Create(Size, Name(), created, 0));
        const Unprivileged user;
        if (user.Failed())
            GTEST_SKIP() << Unprivileged::WhyFailed;
        g_platform.control = 0; // only the creator's user may remove it
        Shm same;
        EXPECT_TRUE(same.Open(Name(), created));
        EXPECT_EQ(Id(), FieldsOf(same).hShm);
        unsigned char* const p = same.Map();
        EXPECT_EQ(created == 0, p == Failure());
        EXPECT_EQ(created == 1, same.Unmap(p));
        Shm other;
        EXPECT_TRUE(other.Open(Name(), 1 - created));
        EXPECT_EQ(-1, FieldsOf(other).hShm);
        same.Close();
        other.Close();
        g_platform.control.reset();
    }
}

// Concerns: processes share a segment by its name only; creation is exclusive between them, and a
// removal counts for all. The second process of these tests is a real one.

TEST_F(SharedMemoryOfTwoProcesses, IsCreatedByOneOfThem) {
    Peer peer;
    Shm shm;
    ASSERT_TRUE(shm.Create(Size, Name(), 1, 0));
    EXPECT_FALSE(peer.Do("shm-create 4096 1 " + m_name));

    Peer second;
    shm.Close();
    EXPECT_TRUE(second.Do("shm-create 4096 1 " + m_name));
    EXPECT_FALSE(shm.Create(Size, Name(), 1, 0));
    EXPECT_TRUE(second.Do("shm-close"));
}

TEST_F(SharedMemoryOfTwoProcesses, ShowsEachWhatTheOtherWrites) {
    if (!m_bMayWrite)
        GTEST_SKIP() << WhyNoWriter;
    Shm shm;
    ASSERT_TRUE(shm.Create(Size, Name(), 0, 1));
    unsigned char* const p = shm.Map();
    ASSERT_NE(Failure(), p);
    Peer peer;
    ASSERT_TRUE(peer.Do("shm-open 0 " + m_name));
    ASSERT_TRUE(peer.Do("shm-map"));
    EXPECT_TRUE(peer.Do("shm-holds 0"));
    p[0] = 42;
    EXPECT_TRUE(peer.Do("shm-holds 42"));
    EXPECT_TRUE(peer.Do("shm-write 43"));
    EXPECT_EQ(43, p[0]);
    shm.Close();
    EXPECT_TRUE(peer.Do("shm-close"));
    EXPECT_TRUE(peer.Do("shm-unmap"));
    EXPECT_EQ(43, p[0]);
    EXPECT_TRUE(shm.Unmap(p));
}

TEST_F(SharedMemoryOfTwoProcesses, ShowsReadersWhatIsWrittenPastTheClass) {
    Peer peer;
    ASSERT_TRUE(peer.Do("shm-create 4096 1 " + m_name));
    ASSERT_TRUE(peer.Do("shm-map"));
    const RawMapping writer(Id());
    ASSERT_TRUE(writer.Succeeded());
    EXPECT_TRUE(peer.Do("shm-holds 0"));
    writer.Bytes()[0] = 42;
    EXPECT_TRUE(peer.Do("shm-holds 42"));
    EXPECT_TRUE(peer.Do("shm-close"));
}

TEST_F(SharedMemoryOfTwoProcesses, LosesItsNameToTheOneThatOnlyOpenedIt) {
    Shm shm;
    ASSERT_TRUE(shm.Create(Size, Name(), 1, 0));
    unsigned char* const p = shm.Map();
    ASSERT_NE(Failure(), p);
    Peer peer;
    ASSERT_TRUE(peer.Do("shm-open 1 " + m_name));
    EXPECT_TRUE(peer.Do("shm-close"));
    EXPECT_EQ(-1, Id());
    EXPECT_EQ(0, p[Size - 1]); // still mapped here
    EXPECT_TRUE(peer.Do("shm-create 4096 1 " + m_name));
    EXPECT_NE(-1, Id());
    EXPECT_TRUE(peer.Do("shm-close"));
    shm.Close();
    EXPECT_TRUE(shm.Unmap(p));
}

TEST_F(SharedMemoryOfTwoProcesses, OutlivesAProcessThatDoesNotCloseIt) {
    {
        Peer peer;
        ASSERT_TRUE(peer.Do("shm-create 4096 1 " + m_name));
    }
    Shm shm;
    ASSERT_TRUE(shm.Open(Name(), 1));
    unsigned char* const p = shm.Map();
    ASSERT_NE(Failure(), p);
    EXPECT_EQ(0, p[Size - 1]);
    EXPECT_TRUE(shm.Unmap(p));
}

// Concerns: what cannot be removed stops a build with assertions, by the message that
// programs compare, and goes on in one without, where removing is tried all the same.

#ifndef NDEBUG
constexpr const char* ClosingFailed = "Bases/Impl/Shm_posix.cpp:104: void Vorn::Shm::Close\\(\\): "
                                      "Assertion `::shmctl\\(m_hShm, 0, __null\\) == 0' failed";

// Closes the segment of two objects, the second time when its last mapping is gone.
void CloseTwice(const char* name) {
    Shm creator;
    creator.Create(Size, name, 1, 0);
    Shm opener;
    opener.Open(name, 1);
    opener.Unmap(opener.Map());
    opener.Close();
    creator.Close();
}

TEST_F(ShmDeathTest, ClosingARemovedSegmentNamesTheLine) {
    EXPECT_DEATH(CloseTwice(Name()), ClosingFailed);
}

TEST_F(ShmDeathTest, ClosingAfterARefusalStops) {
    g_platform.bRemovesRefused = false;
    EXPECT_DEATH(
        {
            Shm shm;
            shm.Create(0, Name(), 1, 0);
            shm.Close();
        },
        ClosingFailed);
    EXPECT_DEATH(
        {
            Shm shm;
            shm.Open(Name(), 1);
            shm.Close();
        },
        ClosingFailed);
}

TEST_F(ShmDeathTest, DestroyingAfterARefusalStops) {
    g_platform.bRemovesRefused = false;
    EXPECT_DEATH(
        {
            Shm shm;
            shm.Open(Name(), 1);
        },
        ClosingFailed);
}

TEST_F(ShmDeathTest, ClosingAnotherUsersSegmentStops) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only the superuser can be two users";
    Shm creator;
    ASSERT_TRUE(creator.Create(Size, Name(), 1, 0));
    {
        const Unprivileged user;
        if (user.Failed())
            GTEST_SKIP() << Unprivileged::WhyFailed;
        Shm opener;
        EXPECT_TRUE(opener.Open(Name(), 1));
        EXPECT_DEATH(opener.Close(), ClosingFailed);
        g_platform.control = 0;
        opener.Close();
        g_platform.control.reset();
    }
    EXPECT_NE(-1, Id());
}
#else
TEST_F(SharedMemory, MayBeClosedTwiceWhereAssertionsAreCompiledOut) {
    Shm creator;
    ASSERT_TRUE(creator.Create(Size, Name(), 1, 0));
    Shm opener;
    ASSERT_TRUE(opener.Open(Name(), 1));
    opener.Close();
    creator.Close();
    EXPECT_FALSE(creator.IsOpened());
}
#endif

TEST_F(ShmDeathTest, WritingToAReadersMappingStops) {
    Shm shm;
    ASSERT_TRUE(shm.Create(Size, Name(), 1, 0));
    unsigned char* const p = shm.Map();
    ASSERT_NE(Failure(), p);
    EXPECT_DEATH(p[0] = 1, "");
    EXPECT_EQ(0, p[0]);
    shm.Close();
    EXPECT_TRUE(shm.Unmap(p));
}

} // namespace
