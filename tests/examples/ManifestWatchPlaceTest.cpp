// SPDX-License-Identifier: MIT
// manifest watch: the shared place of the counters.

#include "ManifestWatch.h"
#include "fault/Platform.h"
#include "support/Program.h"
#include "support/Unprivileged.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include <sched.h>
#include <semaphore.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Publisher.h"

namespace {

using Manifest::Board;
using Manifest::Publisher;
using Manifest::Segment;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using VornTest::Child;
using VornTest::Impatient;
using VornTest::KeyOf;
using VornTest::Lines;
using VornTest::ManifestWatch;
using VornTest::NoRun;
using VornTest::Outcome;
using VornTest::Unprivileged;

namespace fs = std::filesystem;
namespace Platform = VornTest::Platform;

// Concerns: one place for several runs; what is not ours is neither trusted nor touched.

class ManifestWatchPlace : public ManifestWatch {
protected:
    /// Makes a segment as another program may have it.
    unsigned char* MakeForeign(int place, const std::function<void(Board&)>& write,
                               std::size_t size = Segment::Size) {
        const int id = shmget(KeyOf(Name(place)), size, IPC_CREAT | IPC_EXCL | 0666);
        EXPECT_NE(-1, id);
        void* const data = shmat(id, nullptr, 0);
        write(*new (data) Board{});
        m_foreign.emplace_back(static_cast<unsigned char*>(data), &shmdt);
        return m_foreign.back().get();
    }

    /// Makes one in the first place of a process that is killed.
    void MakeAndDie(const std::function<void(Board&)>& write, std::size_t size = Segment::Size) {
        const Child child([&] { MakeForeign(0, write, size); });
    }

    static std::string LockName(pid_t process) {
        return "/manifest-" + std::to_string(process) + "-0123";
    }

    /// Makes the first place's segment the board of a run of this process for a place's name.
    void Sign(int place) const {
        Segment segment;
        ASSERT_TRUE(segment.Open(Name(0), Segment::Access::Write));
        Manifest::Sign(segment, Name(place), LockName(getpid()));
    }

    /// A run must use another place, and find everything unchanged.
    void ExpectLeftAlone(const std::function<void(Board&)>& write) {
        MakeForeign(0, write);
        ExpectFirstPlaceLeftAlone();
    }

    void ExpectFirstPlaceLeftAlone() const {
        const int id = Find(0);
        const Lines locks = Locks();
        const auto content = [id] {
            void* const data = shmat(id, nullptr, SHM_RDONLY);
            if (reinterpret_cast<std::intptr_t>(data) == -1)
                return std::string("removed");
            std::string all(static_cast<const char*>(data), sizeof(Board));
            shmdt(data);
            return all;
        };
        const std::string before = content();
        {
            EXPECT_EQ(NoRun, WhyNot([](const std::string&) { throw std::runtime_error("seen"); }));
            Publisher publisher(m_manifest);
            EXPECT_THAT(Segments(), ElementsAre("0", "1"));
            EXPECT_EQ("finished: 0 of 0 files, 0 B of 0 B in 0:00",
                      Watch([&](const std::string&) { publisher.Finish(); }, Impatient));
        }
        EXPECT_THAT(Segments(), ElementsAre("0"));
        EXPECT_EQ(id, Find(0));
        EXPECT_EQ(before, content());
        EXPECT_EQ(locks, Locks());
    }

    /// Gives the first place's segment to a user.
    void GiveTo(uid_t user) const {
        shmid_ds status{};
        ASSERT_EQ(0, shmctl(Find(0), IPC_STAT, &status));
        status.shm_perm.uid = user;
        ASSERT_EQ(0, shmctl(Find(0), IPC_SET, &status));
    }

private:
    std::vector<std::unique_ptr<unsigned char, int (*)(const void*)>> m_foreign;
};

TEST_F(ManifestWatchPlace, IsTakenOverByALaterRunAndTheEarlierEndsCleanly) {
    Publisher first(m_manifest);
    first.Show({1, 1, 0, 1});
    Publisher second(m_manifest);
    second.Show({2, 2, 0, 2});
    EXPECT_THAT(Segments(), ElementsAre("0"));
    EXPECT_THAT(Locks(), SizeIs(1)); // only the second one's
    first.Show({1, 1, 1, 1});
    first.Finish();
    EXPECT_THAT(Segments(), ElementsAre("0"));
    EXPECT_THAT(Locks(), SizeIs(1));
    EXPECT_EQ("finished: 2 of 2 files, 0 B of 2 B in 0:00", Watch([&](const std::string& line) {
                  EXPECT_EQ("2 of 2 files, 0 B of 2 B", line);
                  second.Finish();
              }));
    ExpectNothingLeft();
}

TEST_F(ManifestWatchPlace, StaysInSightOfThoseWhoWatchTheEarlierRun) {
    Publisher first(m_manifest);
    std::unique_ptr<Publisher> second;
    Lines lines;
    EXPECT_EQ("finished: 1 of 1 files, 0 B of 1 B in 0:00", Watch([&](const std::string& line) {
                  lines.push_back(line);
                  if (lines.size() > 1)
                      return first.Finish();
                  second = std::make_unique<Publisher>(m_manifest);
                  first.Show({1, 1, 0, 1});
              }));
    EXPECT_THAT(lines, ElementsAre("looking for files", "1 of 1 files, 0 B of 1 B"));
    second->Finish();
    first.Finish(); // which has nothing left to do
    ExpectNothingLeft();
}

TEST_F(ManifestWatchPlace, EndsCleanlyAlsoWhenTheLaterRunEndedFirst) {
    Publisher first(m_manifest);
    Publisher(m_manifest).Finish();
    ExpectNothingLeft();
    first.Show({1, 1, 0, 1});
    first.Finish();
    ExpectNothingLeft();
}

TEST_F(ManifestWatchPlace, OfAnotherProgramIsLeftAlone) {
    ExpectLeftAlone(
        [](Board& board) { std::memset(static_cast<void*>(&board), 0xA5, Segment::Size); });
}

TEST_F(ManifestWatchPlace, ThatNobodyHasSignedIsLeftAlone) {
    ExpectLeftAlone([](Board&) {});
}

TEST_F(ManifestWatchPlace, OfARunForAnotherNameIsLeftAlone) {
    ExpectLeftAlone([this](Board&) { Sign(1); });
}

TEST_F(ManifestWatchPlace, OfAnotherVersionIsLeftAlone) {
    ExpectLeftAlone([this](Board& board) {
        Sign(0);
        ++board.head.version;
    });
}

TEST_F(ManifestWatchPlace, ThatWasGivenToAnotherUserIsLeftAlone) {
    ExpectLeftAlone([this](Board&) {
        Sign(0);
        GiveTo(Unprivileged::Nobody);
    });
}

// Anybody can write what a run writes, and even make the superuser its owner.
TEST_F(ManifestWatchPlace, ThatAnotherUserHasForgedIsLeftAlone) {
    const uid_t user = geteuid();
    const Publisher robbed(m_manifest);
    const Board& board = BoardAt(0);
    ASSERT_EQ(0, shmctl(Find(0), IPC_RMID, nullptr));
    const key_t key = KeyOf(Name(0));
    {
        const Unprivileged unprivileged;
        if (unprivileged.Failed() || user == Unprivileged::Nobody)
            GTEST_SKIP() << Unprivileged::WhyFailed;
        ASSERT_NE(-1, shmget(key, Segment::Size, IPC_CREAT | IPC_EXCL | 0666));
    }
    void* const forged = shmat(Find(0), nullptr, 0);
    std::memcpy(forged, static_cast<const void*>(&board), sizeof board);
    shmdt(forged);
    ExpectFirstPlaceLeftAlone();
    GiveTo(user);
    ExpectFirstPlaceLeftAlone();
    EXPECT_THAT(Locks(), SizeIs(1)); // of the run that was robbed
}

TEST_F(ManifestWatchPlace, ThatAnotherUserCreatedAndNobodySignedIsLeftAlone) {
    const uid_t user = geteuid();
    const key_t key = KeyOf(Name(0));
    Child child([key] {
        const Unprivileged unprivileged;
        EXPECT_NE(-1, shmget(key, Segment::Size, IPC_CREAT | IPC_EXCL | 0666));
    });
    shmid_ds status{};
    ASSERT_EQ(0, shmctl(Find(0), IPC_STAT, &status));
    if (status.shm_perm.cuid == user)
        GTEST_SKIP() << Unprivileged::WhyFailed;
    child.Kill();
    GiveTo(user);
    ExpectFirstPlaceLeftAlone();
}

TEST_F(ManifestWatchPlace, WithALocksNameThatMayBeAnybodysIsLeftAlone) {
    const std::string own = "/manifest-" + std::to_string(getpid());
    for (const std::string& name : {std::string(), std::string("/else"), LockName(getppid()),
                                    own + "0-12", own + "-1/2", own + "-1 2"}) {
        ExpectLeftAlone([&](Board& board) {
            Sign(0);
            std::memset(board.head.lockName, 0, sizeof board.head.lockName);
            name.copy(board.head.lockName, sizeof board.head.lockName);
        });
        CleanUp();
    }
}

TEST_F(ManifestWatchPlace, WithALocksNameWithoutAnEndIsLeftAlone) {
    ExpectLeftAlone([this](Board& board) {
        Sign(0);
        const std::size_t length = std::strlen(board.head.lockName);
        std::memset(board.head.lockName + length, '1', sizeof board.head.lockName - length);
    });
}

TEST_F(ManifestWatchPlace, WhoseCreatorDiedBeforeSigningIsTakenOver) {
    for (const std::uint64_t magic : {std::uint64_t{0}, Manifest::Signing}) {
        MakeAndDie([magic](Board& board) { board.magic.store(magic); });
        Publisher publisher(m_manifest);
        EXPECT_THAT(Segments(), ElementsAre("0"));
        publisher.Finish();
        ExpectNothingLeft();
    }
}

TEST_F(ManifestWatchPlace, OfAnotherProgramThatIsGoneIsLeftAlone) {
    MakeAndDie([](Board& board) { board.last.bytes = 1; });
    ExpectFirstPlaceLeftAlone();
}

TEST_F(ManifestWatchPlace, OfAnotherSizeIsLeftAlone) {
    MakeAndDie([](Board&) {}, Segment::Size + 1);
    ExpectFirstPlaceLeftAlone();
}

TEST_F(ManifestWatchPlace, ThatIsAnothersJustWhenItIsOpenedIsLeftAlone) {
    MakeForeign(0, [](Board&) {});
    BeforeOpening([this] {
        shmctl(Find(0), IPC_RMID, nullptr);
        MakeForeign(
            0, [](Board&) {}, 2 * Segment::Size);
    });
    Segment segment;
    EXPECT_FALSE(segment.Open(Name(0), Segment::Access::Write));
    EXPECT_EQ(nullptr, segment.Data());
    shmid_ds status{};
    ASSERT_EQ(0, shmctl(Find(0), IPC_STAT, &status));
    EXPECT_EQ(1U, status.shm_nattch); // by whom it is
}

TEST_F(ManifestWatchPlace, ThatADeadRunLeftIsFreedAlsoWhenItIsNotTheFirst) {
    MakeForeign(0, [](Board&) {});
    Child run([this] { EXPECT_TRUE((new Publisher(m_manifest))->IsPublic()); });
    Expect(run.Pid());
    run.Kill();
    ASSERT_EQ(0, shmctl(Find(0), IPC_RMID, nullptr));
    EXPECT_THAT(Segments(), ElementsAre("1"));
    EXPECT_EQ("the run was killed", WhyNot());
    Publisher(m_manifest).Finish();
    ExpectNothingLeft();
}

TEST_F(ManifestWatchPlace, OfADeadRunHidesNoLiveOne) {
    MakeForeign(0, [](Board&) {});
    Publisher publisher(m_manifest);
    ASSERT_EQ(0, shmctl(Find(0), IPC_RMID, nullptr));
    MakeAndDie([this](Board&) { Sign(0); });
    EXPECT_THAT(Segments(), ElementsAre("0", "1"));
    EXPECT_EQ("finished: 0 of 0 files, 0 B of 0 B in 0:00",
              Watch([&](const std::string&) { publisher.Finish(); }));
}

TEST_F(ManifestWatchPlace, IsFreeAgainWhenNoLockCanBeCreated) {
    Platform::sem_open.Fail(ENOMEM);
    EXPECT_FALSE(Publisher(m_manifest).IsPublic());
    EXPECT_THAT(Segments(), IsEmpty());
    Platform::sem_open.Do(
        [](const char*, int, mode_t, unsigned int) -> sem_t* { throw std::bad_alloc(); });
    EXPECT_THROW(Publisher{m_manifest}, std::bad_alloc);
    EXPECT_THAT(Segments(), IsEmpty());
}

TEST_F(ManifestWatchPlace, IsGivenUpOnlyWhenTheLockIsGone) {
    Publisher publisher(m_manifest);
    Lines left{"not removed"};
    BeforeRemoving([&](const shmid_ds&) { left = Locks(); });
    publisher.Finish();
    EXPECT_THAT(left, IsEmpty());
}

TEST_F(ManifestWatchPlace, RecordsThatItsLockIsGoneWhenItIsTakenOverAndAtTheEnd) {
    const Publisher first(m_manifest);
    const Board& earlier = BoardAt(0);
    Publisher second(m_manifest);
    const Board& later = BoardAt(0);
    EXPECT_EQ(1U, earlier.lockGone.load());
    EXPECT_EQ(0U, later.lockGone.load());
    second.Finish();
    EXPECT_EQ(1U, later.lockGone.load());
}

TEST_F(ManifestWatchPlace, WhenAllAreTakenTheJobIsDoneUnseen) {
    for (int place = 0; place < Manifest::Places; ++place)
        MakeForeign(place, [](Board&) {});
    EXPECT_FALSE(Publisher(m_manifest).IsPublic());
    Make("file", "12345");
    const Outcome outcome = Run({"create", "out.xml", "file"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("", outcome.out + outcome.err);
    EXPECT_TRUE(fs::exists(m_manifest));
    EXPECT_EQ(NoRun, WhyNot());
    EXPECT_THAT(Segments(), SizeIs(Manifest::Places));
}

TEST_F(ManifestWatchPlace, WhoseLockIsGoneIsNotWatchedAndGetsNoNewLock) {
    const Publisher publisher(m_manifest);
    Board& board = BoardAt(0);
    board.lockGone.store(1); // as the next run does just before it takes the place over
    { const Vorn::Mutex lock(board.head.lockName); }
    EXPECT_EQ(NoRun, WhyNot());
    EXPECT_THAT(Locks(), IsEmpty());
}

TEST_F(ManifestWatchPlace, OfARunThatHasEndedNeedsNoLock) {
    MakeForeign(0, [this](Board& board) { // it was killed before it could take the segment away
        Sign(0);
        board.last.measuring = 1;
        board.last.files = 7;
        board.last.allFiles = 7;
        board.lockGone.store(1);
        board.outcome.store(Manifest::Outcome::Finished);
    });
    EXPECT_EQ("finished: 7 of 7 files, 0 B of 0 B in 0:00", Watch());
    EXPECT_THAT(Locks(), IsEmpty());
}

TEST_F(ManifestWatchPlace, OfTheVeryFirstSegmentIsRemovedToo) {
    const pid_t child = fork();
    if (child == 0) {
        if (unshare(CLONE_NEWIPC) != 0)
            _exit(2);
        const bool shown = Publisher(m_manifest).IsPublic();
        shm_info info{};
        shmctl(0, SHM_INFO, reinterpret_cast<shmid_ds*>(&info));
        _exit(shown && info.used_ids == 0 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 2)
        GTEST_SKIP() << "no System V objects of one's own can be had here";
    EXPECT_EQ(0, WEXITSTATUS(status));
}

} // namespace
