// SPDX-License-Identifier: MIT
// Concerns: what the small seams owe on every host, and over the simulated macOS what its variants
// make of the platform's answers.
#include <Bases/Impl/Port/ConverterName.h>
#include <Bases/Impl/Port/CpuFeatures.h>
#include <Bases/Impl/Port/FileCopy.h>
#include <Bases/Impl/Port/FileTimes.h>
#include <Bases/Impl/Port/Processors.h>
#include <Bases/Impl/Port/ProgramDir.h>
#include <Bases/Impl/Port/RandomSource.h>
#include <Bases/Impl/Port/ThreadIdentity.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include "fault/Platform.h"
#include "support/Files.h"
#include "support/OneProcessor.h"
#include "support/Program.h"
#include "support/TempDir.h"

#ifdef VORN_ON_SIMULATED_MAC
#include "support/mac/SimulatedBundle.h"
#endif

namespace {

TEST(FileCopy, AdvancesBothPositionsByWhatItCopies) {
    const VornTest::TempDir dir;
    const std::string text(100'000, 't');
    VornTest::WriteFile(dir.File("from"), "skipped" + text);
    VornTest::WriteFile(dir.File("to"), "kept");
    const int from = open(dir.File("from").c_str(), O_RDONLY);
    const int to = open(dir.File("to").c_str(), O_WRONLY);
    ASSERT_EQ(7, lseek(from, 7, SEEK_SET));
    ASSERT_EQ(4, lseek(to, 0, SEEK_END));
    Vorn::CopyInKernel(from, to);
    const off_t copied = lseek(to, 0, SEEK_CUR) - 4;
    EXPECT_EQ(copied, lseek(from, 0, SEEK_CUR) - 7);
    EXPECT_EQ("kept" + text.substr(0, static_cast<std::size_t>(copied)),
              VornTest::TextOf(dir.File("to")));
    close(from);
    close(to);
}

TEST(FileTimes, AreThoseOfTheStatus) {
    struct stat status = {};
    status.st_atim = {1, 111};
    status.st_mtim = {2, 222};
    status.st_ctim = {3, 333};
    EXPECT_EQ(1, Vorn::AccessTime(status).tv_sec);
    EXPECT_EQ(111, Vorn::AccessTime(status).tv_nsec);
    EXPECT_EQ(2, Vorn::ModificationTime(status).tv_sec);
    EXPECT_EQ(222, Vorn::ModificationTime(status).tv_nsec);
    EXPECT_EQ(3, Vorn::ChangeTime(status).tv_sec);
    EXPECT_EQ(333, Vorn::ChangeTime(status).tv_nsec);
}

TEST(RandomSource, FillsExactlyTheBytesAskedFor) {
    for (const std::size_t size : {0UL, 1UL, 16UL, 300UL}) {
        // A byte that happens to be drawn as it was is not drawn so every time.
        std::vector<unsigned char> changed(size + 1);
        for (int round = 0; round < 20; ++round) {
            std::vector<unsigned char> bytes(size + 1, 0xA5);
            ASSERT_TRUE(Vorn::FillRandom(bytes.data(), size));
            for (std::size_t i = 0; i < bytes.size(); ++i)
                changed[i] = static_cast<unsigned char>(changed[i] | (bytes[i] ^ 0xA5));
        }
        for (std::size_t i = 0; i < size; ++i)
            EXPECT_NE(0, changed[i]) << i << " of " << size;
        EXPECT_EQ(0, changed[size]);
    }
}

TEST(ThreadIdentity, DiffersBetweenTheThreadsOfAProcess) {
    const auto nothing = [] {};
    std::thread first(nothing);
    std::thread second(nothing);
    const std::set<std::uintptr_t> numbers{Vorn::ThreadIdentity(pthread_self()),
                                           Vorn::ThreadIdentity(first.native_handle()),
                                           Vorn::ThreadIdentity(second.native_handle())};
    EXPECT_EQ(3U, numbers.size());
    EXPECT_EQ(0U, numbers.count(0));
    EXPECT_EQ(Vorn::ThreadIdentity(first.native_handle()),
              Vorn::ThreadIdentity(first.native_handle()));
    first.join();
    second.join();
}

TEST(CpuFeatures, ArmsAesIsAsItsRegisterOfInstructionsSays) {
#if defined(__aarch64__)
    std::uint64_t instructions = 0; // hosts let programs read this register, or answer for it
    __asm__("mrs %0, ID_AA64ISAR0_EL1" : "=r"(instructions));
    EXPECT_EQ((instructions >> 4 & 0xF) != 0, Vorn::HasArmAes());
#else
    EXPECT_FALSE(Vorn::HasArmAes());
#endif
}

TEST(Processors, AreOneForAProgramThatIsStartedOnOne) {
    const VornTest::BoundToOneProcessor bound;
    const VornTest::Outcome outcome = VornTest::RunProgram(
        {std::filesystem::read_symlink("/proc/self/exe"), "--gtest_filter=Processors.AreThose*"});
    EXPECT_EQ(0, outcome.status) << outcome.out;
    EXPECT_NE(std::string::npos, outcome.out.find("[  PASSED  ] 1 test.")) << outcome.out;
}

#ifdef VORN_ON_SIMULATED_MAC

using VornTest::SimulatedBundle::Lack;

TEST(Processors, AreThoseOfTheMachineOnMacOS) {
    EXPECT_EQ(std::thread::hardware_concurrency() > 1, Vorn::HasSeveralProcessors());
}

TEST(ConverterName, IsCharOnMacOS) { EXPECT_STREQ("char", Vorn::LocaleConverterName()); }

TEST(ThreadIdentity, IsTheFirstWordOfTheThreadsObjectOnMacOS) {
    const pthread_t self = pthread_self();
    EXPECT_EQ(static_cast<std::uintptr_t>(self), Vorn::ThreadIdentity(self));
}

class ProgramDirOnMacOS : public testing::Test {
protected:
    ProgramDirOnMacOS() { std::memset(m_buffer, 'x', sizeof m_buffer); }
    void TearDown() override { EXPECT_EQ(0, VornTest::SimulatedBundle::Copies()); }

    bool IsBufferUntouched() const {
        return std::string(m_buffer, sizeof m_buffer) == std::string(sizeof m_buffer, 'x');
    }

    char m_buffer[64];
};

TEST_F(ProgramDirOnMacOS, IsTheBundles) {
    VornTest::SimulatedBundle::Set("/Applications/Some.app", Lack::Nothing);
    ASSERT_TRUE(Vorn::WriteProgramDir(m_buffer, sizeof m_buffer));
    EXPECT_STREQ("/Applications/Some.app", m_buffer);
    EXPECT_EQ('x', m_buffer[std::strlen(m_buffer) + 1]);
}

TEST_F(ProgramDirOnMacOS, NeedsCapacityForItsTerminatorOrLeavesTheBufferAlone) {
    VornTest::SimulatedBundle::Set("/App", Lack::Nothing);
    for (unsigned long size = 1; size < 5; ++size) {
        EXPECT_FALSE(Vorn::WriteProgramDir(m_buffer, size)) << size;
        EXPECT_TRUE(IsBufferUntouched()) << size;
    }
    EXPECT_TRUE(Vorn::WriteProgramDir(m_buffer, 5));
    EXPECT_STREQ("/App", m_buffer);
}

TEST_F(ProgramDirOnMacOS, MayBeAskedForWithAnySizeThatIsClaimed) {
    VornTest::SimulatedBundle::Set("/App", Lack::Nothing);
    EXPECT_TRUE(Vorn::WriteProgramDir(m_buffer, ~0UL));
    EXPECT_STREQ("/App", m_buffer);
}

TEST_F(ProgramDirOnMacOS, IsUnknownWithoutMemory) {
    VornTest::SimulatedBundle::Set("/App", Lack::Nothing);
    VornTest::Platform::operator_new_array_nothrow.Fail(ENOMEM);
    EXPECT_FALSE(Vorn::WriteProgramDir(m_buffer, sizeof m_buffer));
    EXPECT_TRUE(IsBufferUntouched());
}

TEST_F(ProgramDirOnMacOS, IsUnknownWithoutABundleOrItsPlace) {
    for (const Lack lack : {Lack::Bundle, Lack::Location}) {
        VornTest::SimulatedBundle::Set("/App", lack);
        EXPECT_FALSE(Vorn::WriteProgramDir(m_buffer, sizeof m_buffer));
        EXPECT_TRUE(IsBufferUntouched());
    }
}

#else

TEST(Processors, AreThoseThatTheProcessMightRunOnAtItsStart) {
    const cpu_set_t allowed = VornTest::AllowedProcessors();
    const VornTest::BoundToOneProcessor bound;
    EXPECT_EQ(CPU_COUNT(&allowed) > 1, Vorn::HasSeveralProcessors());
}

TEST(ProgramDir, IsAbsoluteWithoutATrailingSeparatorAndFitsExactly) {
    char buffer[4096];
    ASSERT_TRUE(Vorn::WriteProgramDir(buffer, sizeof buffer));
    const std::string directory = buffer;
    EXPECT_EQ('/', directory.front());
    EXPECT_NE('/', directory.back());

    char exact[4096];
    std::memset(exact, 'x', sizeof exact);
    EXPECT_FALSE(Vorn::WriteProgramDir(exact, directory.size()));
    EXPECT_EQ(std::string(sizeof exact, 'x'), std::string(exact, sizeof exact));
    EXPECT_TRUE(Vorn::WriteProgramDir(exact, directory.size() + 1));
    EXPECT_EQ(directory, exact);
}

TEST(ConverterName, IsTheLocalesCodeset) { EXPECT_STRNE("", Vorn::LocaleConverterName()); }

#endif

} // namespace
