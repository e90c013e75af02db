// SPDX-License-Identifier: MIT
// manifest watch: what it shows, and every end of a run.

#include "ManifestWatch.h"
#include "support/Pipe.h"
#include "support/Prepare.h"
#include "support/Program.h"
#include "support/Terminal.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>

#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Publisher.h"

namespace {

using Manifest::Publisher;
using testing::ElementsAre;
using testing::MatchesRegex;
using testing::SizeIs;
using VornTest::Child;
using VornTest::FailWritesBeyond;
using VornTest::Impatient;
using VornTest::Lines;
using VornTest::Locked;
using VornTest::ManifestWatch;
using VornTest::NoRun;
using VornTest::Outcome;
using VornTest::Pipe;
using VornTest::Program;
using VornTest::Surroundings;
using VornTest::Terminal;

namespace fs = std::filesystem;

// Concerns: what is shown is what the run published, to the end; every way in which a run ends; the
// real program on either side; nothing is left behind.

TEST_F(ManifestWatch, ShowsWhatTheRunPublishesAndItsEnd) {
    StopTheClock();
    Publisher publisher(m_manifest);
    Lines lines;
    const std::string end = Watch([&](const std::string& line) {
        lines.push_back(line);
        if (lines.size() == 1)
            publisher.Show({0, 4, 0, 4096});
        else if (lines.size() == 2)
            publisher.Show({1, 4, 1024, 4096});
        else
            publisher.Finish();
    });
    ASSERT_THAT(lines, SizeIs(3));
    EXPECT_EQ("looking for files", lines[0]);
    EXPECT_EQ("0 of 4 files, 0 B of 4.0 KiB", lines[1]);
    EXPECT_EQ("1 of 4 files, 1.0 KiB of 4.0 KiB", lines[2]); // no time, no rate
    EXPECT_EQ("finished: 1 of 4 files, 1.0 KiB of 4.0 KiB in 0:00", end);
    ExpectNothingLeft();
}

TEST_F(ManifestWatch, ReportsEveryChangeOnce) {
    Publisher publisher(m_manifest);
    publisher.Show({0, 1, 0, 5});
    int looks = 0;
    Lines lines;
    // The time passes between updates that change nothing else; without bytes it is not shown.
    Watch([&](const std::string& line) {
        lines.push_back(line);
        publisher.Show({0, 1, 0, 5});
        publisher.Show({0, 1, 0, static_cast<unsigned long long>(5 + ++looks)});
        if (looks == 3)
            publisher.Finish();
    });
    EXPECT_THAT(lines, ElementsAre("0 of 1 files, 0 B of 5 B", "0 of 1 files, 0 B of 6 B",
                                   "0 of 1 files, 0 B of 7 B"));
}

TEST_F(ManifestWatch, FindsTheRunHoweverThePathIsWritten) {
    MakeDirectory("sub");
    fs::create_directory_symlink(m_dir.Path(), m_dir.File("sub/up"));
    const Publisher publisher(m_dir.File("sub/up/sub/../out.xml"));
    EXPECT_THAT(Segments(), ElementsAre("0"));
    EXPECT_EQ(Name(0), Manifest::SegmentName(m_dir.File("./out.xml"), 0));
    EXPECT_NE(Name(0), Manifest::SegmentName(m_dir.File("other.xml"), 0));
}

TEST_F(ManifestWatch, ReportsThatTheRunFailed) {
    auto publisher = std::make_unique<Publisher>(m_manifest);
    EXPECT_EQ("the run failed", WhyNot([&](const std::string&) { publisher.reset(); }));
    ExpectNothingLeft();
}

TEST_F(ManifestWatch, ReportsThatThereIsNoRun) {
    EXPECT_EQ(NoRun, WhyNot());
    const Outcome outcome = Run({"watch", "out.xml"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("", outcome.out);
    EXPECT_EQ(std::string("manifest: out.xml: ") + NoRun + "\n", outcome.err);
}

TEST_F(ManifestWatch, GivesUpARunThatIsSilentWhileItMeasures) {
    Publisher publisher(m_manifest);
    publisher.Show({0, 1, 0, 5});
    EXPECT_EQ("the run has been silent for too long", WhyNot([](const std::string&) {}, Impatient));
    EXPECT_THAT(Segments(), ElementsAre("0")); // which is the run's
    EXPECT_THAT(Locks(), SizeIs(1));
}

TEST_F(ManifestWatch, IsPatientWithARunThatLooksForFilesOrSaves) {
    constexpr Manifest::Patience WithoutPatience{1, 5, 0}; // any silence is too long
    Publisher publisher(m_manifest);
    Lines lines;
    const std::string end = Watch(
        [&](const std::string& line) {
            lines.push_back(line);
            if (lines.size() > 1)
                publisher.Finish();
            else
                publisher.Show({1, 1, 0, 0});
        },
        WithoutPatience);
    EXPECT_THAT(lines, ElementsAre("looking for files", "1 of 1 files, 0 B of 0 B"));
    EXPECT_EQ("finished: 1 of 1 files, 0 B of 0 B in 0:00", end);
}

TEST_F(ManifestWatch, ProgramPrintsALineForEveryChangeIntoAPipe) {
    StopTheClock();
    Publisher publisher(m_manifest);
    Pipe out;
    Surroundings surroundings = Here();
    surroundings.prepare = [&] { dup2(out.Writer(), STDOUT_FILENO); };
    Program watch(Arguments({"watch", "./out.xml"}), surroundings);
    out.CloseOwnWriter();
    EXPECT_EQ("looking for files", out.ReadLine());
    publisher.Show({2, 3, 0, 5});
    EXPECT_EQ("2 of 3 files, 0 B of 5 B", out.ReadLine());
    publisher.Show({3, 3, 5, 5});
    EXPECT_EQ("3 of 3 files, 5 B of 5 B", out.ReadLine());
    publisher.Finish();
    EXPECT_EQ("finished: 3 of 3 files, 5 B of 5 B in 0:00\n", out.ReadAll());
    const Outcome outcome = watch.Wait();
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("", outcome.err);
    ExpectNothingLeft();
}

TEST_F(ManifestWatch, ProgramShowsOneChangingLineOnATerminal) {
    Publisher publisher(m_manifest);
    Terminal terminal;
    Surroundings surroundings = Here();
    surroundings.prepare = [&] {
        dup2(terminal.ProgramsEnd(), STDOUT_FILENO);
        dup2(terminal.ProgramsEnd(), STDERR_FILENO);
    };
    Program watch(Arguments({"watch", "out.xml"}), surroundings);
    terminal.LeaveToProgram();
    EXPECT_EQ("\rlooking for files", terminal.ReadUntil("files"));
    publisher.Show({2, 3, 0, 5});
    EXPECT_EQ("\r2 of 3 files, 0 B of 5 B", terminal.ReadUntil("5 B"));
    publisher.Finish();
    const std::string cleared = "\r" + std::string(24, ' ') + "\r";
    EXPECT_EQ(cleared + "finished: 2 of 3 files, 0 B of 5 B in 0:00\r\n", terminal.ReadUntil("\n"));
    EXPECT_EQ(0, watch.Wait().status);
}

// The program stands still while the test watches it: its last update is made, and it waits until
// somebody reads the rest of its complaints, which are more than the pipe holds.
TEST_F(ManifestWatch, SeesTheProgramCreateAManifestToTheEnd) {
    Make("file", "12345");
    Pipe err;
    Surroundings surroundings = Here();
    surroundings.prepare = [&] { dup2(err.Writer(), STDERR_FILENO); };
    const auto start = std::chrono::steady_clock::now();
    Program create(Arguments(Repeat({"create", "out.xml", "file"}, "missing")), surroundings);
    Expect(create.Pid());
    err.CloseOwnWriter();
    err.ReadLine();
    ASSERT_TRUE(Sees("1 of 1 files, 5 B of 5 B"));
    const std::string end =
        Watch([&](const std::string&) { err.ReadAll(); }); // which ends with the program
    ASSERT_THAT(end, MatchesRegex("finished: 1 of 1 files, 5 B of 5 B in 0:[0-5][0-9]"));
    const std::chrono::seconds told(std::stoi(end.substr(end.size() - 2)));
    EXPECT_LE(told, std::chrono::steady_clock::now() - start);
    EXPECT_EQ(1, create.Wait().status);
    EXPECT_TRUE(fs::exists(m_manifest));
    ExpectNothingLeft();
}

// The complaints come before the manifest is saved.
TEST_F(ManifestWatch, SeesTheProgramFailWhenItCannotSave) {
    Make("file", "12345");
    for (const bool directory : {true, false}) {
        if (directory)
            fs::create_directory(m_manifest);
        else
            fs::remove(m_manifest);
        Pipe err;
        Surroundings surroundings = Here();
        surroundings.prepare = [&] {
            dup2(err.Writer(), STDERR_FILENO);
            if (!directory)
                FailWritesBeyond(64); // a lock is small enough, but no manifest
        };
        Program create(Arguments(Repeat({"create", "out.xml", "file"}, "missing")), surroundings);
        Expect(create.Pid());
        err.CloseOwnWriter();
        err.ReadLine();
        ASSERT_TRUE(Sees("1 of 1 files, 5 B of 5 B"));
        EXPECT_EQ("the run failed", WhyNot([&](const std::string&) { err.ReadAll(); }));
        EXPECT_EQ(1, create.Wait().status);
        ExpectNothingLeft();
    }
    EXPECT_FALSE(fs::exists(m_manifest));
}

// Concerns: whoever is killed, at whatever moment, stops nobody else.

class ManifestWatchKill : public ManifestWatch {
protected:
    /// Starts a program that reads an endless file, kills it as soon as its counters show that, and
    /// returns why watching it ended.
    std::string KillWhileReading(const Lines& arguments) {
        Program program(Arguments(arguments), Here());
        Expect(program.Pid());
        EXPECT_TRUE(Sees("0 of 1 files, "));
        return WhyNot([&](const std::string&) {
            program.Kill(SIGKILL);
            program.Wait(); // as a shell does; a process that nobody waits for exists on
        });
    }
};

TEST_F(ManifestWatchKill, ACreatingRunIsNoticedAndItsPlaceTakenByTheNext) {
    MakeEndless("endless");
    EXPECT_EQ("the run was killed", KillWhileReading({"create", "out.xml", "endless"}));
    EXPECT_THAT(Segments(), ElementsAre("0"));
    EXPECT_THAT(Locks(), SizeIs(1));
    const Outcome watch = Run({"watch", "out.xml"});
    EXPECT_EQ(1, watch.status);
    EXPECT_EQ("manifest: out.xml: the run was killed\n", watch.err);

    Make("file", "12345");
    const Outcome create = Run({"create", "out.xml", "file"});
    EXPECT_EQ(0, create.status);
    EXPECT_EQ("", create.out + create.err);
    ExpectNothingLeft();
}

TEST_F(ManifestWatchKill, AVerifyingRunIsSeenToo) {
    Make("file", "12345");
    ASSERT_EQ(0, Run({"create", "out.xml", "file"}).status);
    MakeEndless("file");
    EXPECT_EQ("the run was killed", KillWhileReading({"verify", "out.xml"}));
}

TEST_F(ManifestWatchKill, ARunThatHoldsTheLockHoldsUpNobody) {
    Child run([this] {
        (new Publisher(m_manifest))->Show({1, 2, 0, 4});
        TakeLock();
    });
    Expect(run.Pid());
    Lines lines;
    EXPECT_EQ("the run was killed", WhyNot([&](const std::string& line) {
                  lines.push_back(line);
                  run.Kill();
              }));
    EXPECT_THAT(lines, ElementsAre(Locked));

    Publisher next(m_manifest);
    next.Show({0, 3, 0, 5});
    EXPECT_EQ("finished: 0 of 3 files, 0 B of 5 B in 0:00", Watch([&](const std::string& line) {
                  EXPECT_EQ("0 of 3 files, 0 B of 5 B", line);
                  next.Finish();
              }));
    ExpectNothingLeft();
}

TEST_F(ManifestWatchKill, AWatcherThatHoldsTheLockDoesNotHoldUpTheRun) {
    StopTheClock();
    Publisher publisher(m_manifest);
    publisher.Show({1, 3, 0, 5});
    Child watcher([this] { TakeLock(); });
    watcher.Kill();
    publisher.Show({2, 3, 0, 5});
    Lines lines;
    EXPECT_EQ("finished: 3 of 3 files, 5 B of 5 B in 0:00", Watch([&](const std::string& line) {
                  lines.push_back(line);
                  publisher.Show({3, 3, 5, 5});
                  publisher.Finish();
              }));
    EXPECT_THAT(lines, ElementsAre(Locked));
    ExpectNothingLeft();
}

TEST_F(ManifestWatchKill, AWatcherThatHoldsTheLockDoesNotHoldUpTheProgram) {
    Make("file", "12345");
    Pipe err;
    Surroundings surroundings = Here();
    surroundings.prepare = [&] { dup2(err.Writer(), STDERR_FILENO); };
    Program create(Arguments(Repeat({"create", "out.xml", "file"}, "missing")), surroundings);
    Expect(create.Pid());
    err.CloseOwnWriter();
    err.ReadLine();
    ASSERT_TRUE(Sees("1 of 1 files"));
    Child watcher([this] { TakeLock(); });
    watcher.Kill();
    err.ReadAll();
    EXPECT_EQ(1, create.Wait().status);
    EXPECT_TRUE(fs::exists(m_manifest));
    ExpectNothingLeft();
}

TEST_F(ManifestWatchKill, AStoppedWatcherCostsNewsOnlyUntilItGoesOn) {
    Publisher publisher(m_manifest);
    publisher.Show({0, 3, 0, 5});
    Vorn::Mutex& lock = OpenLock();
    Lines lines;
    Watch([&](const std::string& line) {
        lines.push_back(line);
        if (lines.size() == 1) {
            ASSERT_TRUE(lock.Lock(0));
            publisher.Show({1, 3, 0, 5}); // not seen
        } else if (lines.size() == 2) {
            publisher.Show({2, 3, 0, 5}); // nor is this
            lock.Unlock();
        } else if (lines.size() == 3) {
            publisher.Show({3, 3, 0, 5});
        } else {
            publisher.Finish();
        }
    });
    EXPECT_THAT(lines, ElementsAre("0 of 3 files, 0 B of 5 B",
                                   "0 of 3 files, 0 B of 5 B, " + std::string(Locked),
                                   "0 of 3 files, 0 B of 5 B", "3 of 3 files, 0 B of 5 B"));
    ExpectNothingLeft();
}

} // namespace
