// SPDX-License-Identifier: MIT
// Concerns: the sweep itself. It notices a planted defect of each kind, and finds nothing without
// one; every call is made to fail, in every way and at every turn.
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/shm.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sweep/Holdings.h"
#include "sweep/Sweep.h"

namespace {

using namespace VornTest::Sweep;
namespace Platform = VornTest::Platform;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* Path = "/dev/null";

Report Sweep(void (*scenario)(Trial&)) { return SweepOver({"Canary", scenario}, Extent::Whole); }

int OpenFile() { return open(Path, O_RDWR, 0); }

// --- Success for work not done -------------------------------------------------------------------

TEST(SweepNotices, AnOperationThatReportsSuccessForWorkNotDone) {
    const Report report = Sweep([](Trial& trial) {
        const int file = OpenFile();
        ssize_t written = 0;
        const bool done = trial.Works([&] {
            written = write(file, "12345678", 8);
            return true; // whatever was written
        });
        trial.Require(!done || written == 8, "has written all");
        close(file);
    });
    EXPECT_THAT(report.broken, Contains("write, call 1: ENOSPC: broken: has written all"));
    EXPECT_THAT(report.broken, Contains("write, call 1: a short count: broken: has written all"));
}

TEST(SweepNotices, AnOperationThatFailsWithoutAFault) {
    const Report report = Sweep([](Trial& trial) { trial.Works([] { return false; }); });
    EXPECT_THAT(report.broken, ElementsAre("no fault: broken: succeeds while nothing fails"));
}

TEST(SweepNotices, AnOperationThatNeverWorksAgain) {
    static bool isStuck;
    isStuck = false;
    const Report report = Sweep([](Trial& trial) {
        trial.Works([] {
            isStuck = isStuck || access(Path, F_OK) != 0;
            return !isStuck;
        });
    });
    EXPECT_THAT(report.broken, Contains("no fault: broken: succeeds while nothing fails"));
}

TEST(SweepNotices, AnExceptionThatWasNotPromised) {
    const Report report = Sweep([](Trial& trial) { trial.Try([] { delete new int; }); });
    EXPECT_THAT(report.broken,
                Contains("operator new, call 1: ENOMEM: broken: throws no std::bad_alloc"));
    EXPECT_THAT(Sweep([](Trial& trial) { trial.TryOrThrow([] { delete new int; }); }).broken,
                IsEmpty());
}

// Says so and stops the process when the file is not there.
void CheckThatItIsThere() {
    if (access(Path, F_OK) != 0) {
        std::perror("it is there");
        std::abort();
    }
}

TEST(SweepNotices, AnotherAssertionThanThatOfTheOperation) {
    const auto sweep = [](const char* message) {
        static const char* expected;
        expected = message;
        return Sweep([](Trial& trial) { trial.RunOrStop(CheckThatItIsThere, expected); });
    };
    EXPECT_THAT(sweep("is elsewhere").broken,
                Contains("access, call 1: EACCES: broken: names the assertion"));
    EXPECT_THAT(sweep("it is there").broken, IsEmpty());
    EXPECT_LE(3 * Platform::access.Errors().size(), sweep("it is there").faults);
}

// As a sanitizer ends the process.
TEST(SweepNotices, AProcessThatEndsWithAStatusOfItsOwn) {
    const Report report = Sweep([](Trial& trial) {
        trial.RunOrStop(
            [] {
                if (access(Path, F_OK) != 0)
                    _exit(1);
            },
            "it is there");
    });
    EXPECT_THAT(report.broken, Contains("no fault: broken: works or stops by an assertion"));
}

TEST(SweepNotices, AnExceptionOfAnotherType) {
    const Report report = Sweep([](Trial& trial) {
        trial.TryOrThrow([] {
            if (access(Path, F_OK) != 0)
                throw std::runtime_error("surprise");
        });
    });
    EXPECT_THAT(report.broken, Contains("access, call 1: EIO: broken: throws no surprise"));
}

// --- What is left --------------------------------------------------------------------------------

// The operation keeps what it has taken if access fails after that.
template <typename Take, typename GiveBack>
std::vector<std::string> BrokenByKeeping(Take take, GiveBack giveBack) {
    static Take taker = take;
    static GiveBack giver = giveBack;
    return Sweep([](Trial& trial) {
               trial.Try([] {
                   const auto taken = taker();
                   if (access(Path, F_OK) == 0)
                       giver(taken);
               });
           })
        .broken;
}

auto IsLeft(const std::string& kind) {
    return Contains("access, call 1: EACCES: broken: leaves nothing: 1 of the kind " + kind);
}

TEST(SweepNotices, ALeakedDescriptor) {
    const std::vector<std::string> broken = BrokenByKeeping(OpenFile, close);
    EXPECT_THAT(broken, IsLeft("descriptor"));
    EXPECT_THAT(broken, IsLeft("descriptor (of the process)"));
}

TEST(SweepNotices, ALeakedAllocation) {
    static std::array<char*, 100> kept; // so that no other check blames the test
    static std::size_t count = 0;
    const auto take = [] { return new (std::nothrow) char[8]; };
    const auto broken = BrokenByKeeping([take] { return kept[count++ % kept.size()] = take(); },
                                        [](char* block) {
                                            delete[] block;
                                            --count;
                                        });
    EXPECT_THAT(broken, IsLeft("block of memory"));
    for (std::size_t i = 0; i < count; ++i)
        delete[] kept[i];
}

TEST(SweepNotices, ALeakedDirectoryStream) {
    static std::vector<DIR*> kept;
    const auto broken = BrokenByKeeping(
        [] {
            DIR* const stream = opendir("/");
            if (stream != nullptr) {
                const Platform::Bypass bypass;
                kept.push_back(stream);
            }
            return stream;
        },
        [](DIR* stream) {
            if (stream == nullptr)
                return;
            kept.pop_back();
            closedir(stream);
        });
    EXPECT_THAT(broken, IsLeft("directory stream"));
    for (DIR* const stream : kept)
        closedir(stream);
}

TEST(SweepNotices, ALockedMutex) {
    static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    const auto broken = BrokenByKeeping([] { return pthread_mutex_trylock(&mutex); },
                                        [](int error) {
                                            if (error == 0)
                                                pthread_mutex_unlock(&mutex);
                                        });
    EXPECT_THAT(broken, IsLeft("locked mutex"));
    pthread_mutex_unlock(&mutex);
}

TEST(SweepNotices, ThreadThatIsNotJoined) {
    static std::vector<pthread_t> kept;
    const auto broken = BrokenByKeeping(
        [] {
            pthread_t thread{};
            const auto body = [](void*) -> void* { return nullptr; };
            if (pthread_create(&thread, nullptr, body, nullptr) != 0)
                return pthread_t{};
            const Platform::Bypass bypass;
            kept.push_back(thread);
            return thread;
        },
        [](pthread_t thread) {
            if (thread == pthread_t{})
                return;
            pthread_join(thread, nullptr);
            kept.pop_back();
        });
    EXPECT_THAT(broken, IsLeft("thread"));
    for (const pthread_t thread : kept)
        pthread_join(thread, nullptr);
}

TEST(SweepNotices, NameOfASemaphoreThatStays) {
    static const std::string name = "/" + NamePrefix();
    const auto broken = BrokenByKeeping([] { return sem_open(name.c_str(), O_CREAT, 0600, 1U); },
                                        [](sem_t* semaphore) {
                                            if (semaphore != SEM_FAILED)
                                                sem_close(semaphore);
                                            sem_unlink(name.c_str());
                                        });
    EXPECT_THAT(broken, IsLeft("name of a semaphore"));
    sem_unlink(name.c_str());
}

TEST(SweepNotices, SegmentThatStays) {
    static std::vector<int> kept;
    const auto broken = BrokenByKeeping(
        [] {
            const int segment = shmget(IPC_PRIVATE, 1, IPC_CREAT | 0600);
            if (segment >= 0) {
                const Platform::Bypass bypass;
                kept.push_back(segment);
            }
            return segment;
        },
        [](int segment) {
            if (segment < 0)
                return;
            if (shmctl(segment, IPC_RMID, nullptr) == 0)
                kept.pop_back();
        });
    EXPECT_THAT(broken, IsLeft("segment of shared memory"));
    for (const int segment : kept)
        shmctl(segment, IPC_RMID, nullptr);
}

// --- What is made to fail ------------------------------------------------------------------------

// Repeats an interrupted read, as often as it takes.
void ReadsTwice(Trial& trial) {
    const int file = OpenFile();
    char byte = 0;
    for (int i = 0; i < 2; ++i)
        trial.Works([&] { return read(file, &byte, 1) == 0; });
    close(file);
}

TEST(Sweep, FailsEveryCallInEveryWayAloneAndWithAllLaterOnes) {
    const Report report = Sweep(ReadsTwice);
    EXPECT_THAT(report.broken, IsEmpty());
    // Only the first of two calls has a next one.
    EXPECT_EQ((3U * 2U + 1U) * Platform::read.Errors().size(), report.faults);
}

TEST(Sweep, FailsAllThatIsCalledAfterAFault) {
    static std::size_t failed;
    failed = 0;
    Sweep([](Trial& trial) {
        trial.Try([] {
            if (access(Path, F_OK) != 0 && kill(getpid(), 0) != 0)
                ++failed;
        });
    });
    EXPECT_EQ(Platform::access.Errors().size(), failed); // kill is called after a fault only
}

TEST(Sweep, TakesTheFirstTheSecondTheFourthAndSoOnAsASample) {
    const Scenario scenario{"Canary", [](Trial& trial) {
                                for (int i = 0; i < 10; ++i)
                                    trial.Try([] { return access(Path, F_OK); });
                            }};
    const std::size_t ways = Platform::access.Errors().size();
    EXPECT_EQ(ways * (3 * 10 + 9), SweepOver(scenario, Extent::Whole).faults);
    EXPECT_EQ(ways * 4 * 4, SweepOver(scenario, Extent::Sample).faults);
}

TEST(Sweep, LeavesOutOnlyWhatTheLibraryCannotMeet) {
    EXPECT_STREQ("the library unlocks only what it has locked",
                 WhyLeftOut({&Platform::pthread_mutex_unlock, EPERM}));
    EXPECT_EQ(nullptr, WhyLeftOut({&Platform::pthread_mutex_trylock, EAGAIN}));
    EXPECT_EQ(nullptr, WhyLeftOut({&Platform::getrandom, EINTR}));
    EXPECT_EQ(nullptr, WhyLeftOut({&Platform::getrandom, EINTR, 1, Then::ItFailsOnceMore}));
    EXPECT_NE(nullptr, WhyLeftOut({&Platform::getrandom, EINTR, 1, Then::ItFails}));
}

TEST(Sweep, NamesTheFault) {
    EXPECT_EQ("open, call 2 and all later ones: EMFILE",
              (Fault{&Platform::open, EMFILE, 2, Then::ItFails}.Text()));
    EXPECT_EQ("open, call 2 and the next one: EMFILE",
              (Fault{&Platform::open, EMFILE, 2, Then::ItFailsOnceMore}.Text()));
    EXPECT_EQ("open, call 1: EMFILE, and then all others",
              (Fault{&Platform::open, EMFILE, 1, Then::AllFails}.Text()));
    EXPECT_EQ("read, call 1: a short count", (Fault{&Platform::read, Platform::ShortCount}.Text()));
}

} // namespace
