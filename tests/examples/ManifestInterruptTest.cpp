// SPDX-License-Identifier: MIT
// manifest create and verify when the user ends them.

#include "ManifestWatch.h"
#include "support/Pipe.h"
#include "support/Program.h"

#include <chrono>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>

#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Bases/Thread.h>

#include "Board.h"

namespace {

using Manifest::Board;
using testing::ElementsAre;
using testing::EndsWith;
using testing::SizeIs;
using VornTest::Lines;
using VornTest::ManifestWatch;
using VornTest::Outcome;
using VornTest::Pipe;
using VornTest::Program;
using VornTest::Surroundings;

// Concerns: a run that is ended by a signal leaves no lock, no segment and no file, and a shell
// sees which signal it was; one that is told to ignore the signal goes on.

class ManifestInterrupt : public ManifestWatch {
protected:
    void ExpectShared(const Program& program) {
        Expect(program.Pid());
        ASSERT_TRUE(Sees("0 of 1 files, "));
        EXPECT_THAT(Segments(), ElementsAre("0"));
        EXPECT_THAT(Locks(), SizeIs(1));
    }

    /// Returns false when the run ends, or stands still for a minute. Between two updates it looks
    /// for signals.
    static bool GoesOn(const Board& board, Vorn::Mutex& lock) {
        constexpr std::uint64_t Enough = 2;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        const std::uint64_t before = Updates(board, lock);
        while (board.outcome.load() == Manifest::Outcome::Running &&
               std::chrono::steady_clock::now() < deadline) {
            if (Updates(board, lock) >= before + Enough)
                return true;
            std::this_thread::yield();
        }
        return false;
    }

private:
    static std::uint64_t Updates(const Board& board, Vorn::Mutex& lock) {
        constexpr unsigned int Milliseconds = 10000;
        EXPECT_TRUE(Manifest::LockWithin(lock, Milliseconds));
        const std::uint64_t updates = board.now.updates;
        lock.Unlock();
        return updates;
    }
};

TEST_F(ManifestInterrupt, EndsARunAndLeavesNothing) {
    MakeEndless("endless");
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        Program program(Arguments({"create", "-j2", "out.xml", "endless"}), Here());
        ExpectShared(program);
        program.Kill(signal);
        const Outcome outcome = program.Wait();
        EXPECT_EQ(signal, outcome.signal);
        EXPECT_EQ("manifest: out.xml: interrupted\n", outcome.err);
        ExpectNothingLeft();
        EXPECT_THAT(Directory(), ElementsAre("endless"));
    }
}

TEST_F(ManifestInterrupt, EndsAVerificationToo) {
    Make("file", "12345");
    ASSERT_EQ(0, Run({"create", "out.xml", "file"}).status);
    MakeEndless("file");
    Program program(Arguments({"verify", "out.xml"}), Here());
    ExpectShared(program);
    program.Kill(SIGINT);
    const Outcome outcome = program.Wait();
    EXPECT_EQ(SIGINT, outcome.signal);
    EXPECT_EQ("", outcome.out);
    ExpectNothingLeft();
}

TEST_F(ManifestInterrupt, IsLeftToARunThatIgnoresIt) {
    MakeEndless("endless");
    Surroundings surroundings = Here();
    surroundings.prepare = [] { signal(SIGHUP, SIG_IGN); };
    Program program(Arguments({"create", "out.xml", "endless"}), surroundings);
    ExpectShared(program);
    Vorn::Mutex& lock = OpenLock();
    const Board& board = BoardAt(0);
    program.Kill(SIGHUP);
    EXPECT_TRUE(GoesOn(board, lock));
    program.Kill(SIGINT);
    EXPECT_EQ(SIGINT, program.Wait().signal);
    ExpectNothingLeft();
}

// Concerns: a signal is not lost when everything is measured already. What a run writes is more
// than a pipe holds, so that the run cannot end before the test has sent the signal.

class ManifestLateInterrupt : public ManifestInterrupt {
protected:
    /// Runs the program, sends it SIGINT after the first line that it writes to the descriptor, and
    /// returns how it ended, with what it wrote after that line.
    std::pair<Outcome, std::string> InterruptAfterALine(const Lines& arguments, int descriptor) {
        Pipe pipe;
        Surroundings surroundings = Here();
        surroundings.prepare = [&] { dup2(pipe.Writer(), descriptor); };
        Program program(Arguments(arguments), surroundings);
        Expect(program.Pid());
        pipe.CloseOwnWriter();
        pipe.ReadLine();
        program.Kill(SIGINT);
        std::string rest = pipe.ReadAll();
        return {program.Wait(), std::move(rest)};
    }
};

TEST_F(ManifestLateInterrupt, KeepsTheOldManifestWhileFailuresAreReported) {
    Make("out.xml", "old");
    const auto [outcome, err] =
        InterruptAfterALine(Repeat({"create", "out.xml"}, "missing"), STDERR_FILENO);
    EXPECT_EQ(SIGINT, outcome.signal);
    EXPECT_THAT(err, EndsWith("manifest: out.xml: interrupted\n"));
    EXPECT_EQ("old", Content("out.xml"));
    ExpectNothingLeft();
}

TEST_F(ManifestLateInterrupt, EndsARunThatHasWrittenTheManifest) {
    Make("file");
    const auto [outcome, out] = InterruptAfterALine(Repeat({"create", "-"}, "file"), STDOUT_FILENO);
    EXPECT_EQ(SIGINT, outcome.signal);
    EXPECT_EQ("manifest: -: interrupted\n", outcome.err);
    EXPECT_THAT(out, EndsWith("</manifest>\n"));
}

TEST_F(ManifestLateInterrupt, EndsAVerificationThatHasPrintedItsResult) {
    MakeDirectory("d");
    const std::string longName(250, 'f');
    for (int i = 0; i < 400; ++i)
        Make("d/" + longName + std::to_string(i));
    ASSERT_EQ(0, Run({"create", "out.xml", "d"}).status);
    Remove("d");
    const auto [outcome, out] = InterruptAfterALine({"verify", "out.xml"}, STDOUT_FILENO);
    EXPECT_EQ(SIGINT, outcome.signal);
    EXPECT_EQ("manifest: out.xml: interrupted\n", outcome.err);
    EXPECT_THAT(out, EndsWith(" unread\n"));
    ExpectNothingLeft();
}

} // namespace
