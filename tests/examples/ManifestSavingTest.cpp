// SPDX-License-Identifier: MIT
// manifest create: how the document replaces an earlier one.

#include "ManifestProgram.h"
#include "support/Prepare.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <system_error>
#include <thread>

#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using VornTest::AppendTo;
using VornTest::Begin;
using VornTest::CannotGiveUp;
using VornTest::FailWritesBeyond;
using VornTest::GiveUpFileAccess;
using VornTest::LimitFileSize;
using VornTest::ManifestProgram;
using VornTest::Names;
using VornTest::Outcome;
using VornTest::PrintNowhere;
using VornTest::Program;
using VornTest::RunProgram;
using VornTest::WhyNotGivenUp;

namespace fs = std::filesystem;

/// Waits until the process has a file of this name open.
bool OpensWithin(pid_t pid, const std::string& name, std::chrono::seconds limit) {
    const fs::path descriptors = "/proc/" + std::to_string(pid) + "/fd";
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (std::chrono::steady_clock::now() < deadline) {
        std::error_code gone; // a descriptor may be closed while it is looked at
        for (const auto& entry : fs::directory_iterator(descriptors, gone))
            if (fs::read_symlink(entry.path(), gone).filename() == name)
                return true;
        std::this_thread::yield();
    }
    return false;
}

// Concerns: whoever looks at OUT.xml finds the old manifest or the new one, whatever goes wrong and
// whenever the program dies; after a failure that it survives nothing is left behind; if OUT.xml is
// not a file of the user's, it is not replaced.

class ManifestSaving : public ManifestProgram {
protected:
    void ExpectFailure(const std::string& out, const std::string& reason,
                       const std::function<void()>& prepare = {}) {
        Make("a", "x\n");
        const Outcome outcome = Manifest({"create", out, "a"}, prepare);
        if (outcome.status == CannotGiveUp)
            GTEST_SKIP() << WhyNotGivenUp;
        EXPECT_EQ(1, outcome.status);
        EXPECT_EQ("manifest: " + out + ": " + reason + "\n", outcome.err);
    }

    /// A manifest's arguments that need more than a limit of a thousand bytes.
    static Names Long() {
        Names arguments{"create", "out.xml"};
        arguments.resize(arguments.size() + 100, "a");
        return arguments;
    }
};

TEST_F(ManifestSaving, ReplacesAnOlderManifestAndKeepsItsPermissions) {
    Make("a");
    Make("out.xml", "old");
    const auto permissions = fs::perms::owner_read | fs::perms::owner_write;
    Permit("out.xml", permissions);
    EXPECT_EQ(0, Manifest({"create", "out.xml", "a"}).status);
    ExpectWellFormed("out.xml");
    EXPECT_EQ(permissions, Permissions("out.xml"));
    EXPECT_THAT(Directory(), ElementsAre("a", "out.xml"));
}

TEST_F(ManifestSaving, CreatesANewManifestAsTheMaskAllows) {
    Make("a");
    EXPECT_EQ(0, Manifest({"create", "out.xml", "a"}, [] { umask(0027); }).status);
    EXPECT_EQ(fs::perms{0640}, Permissions("out.xml"));
}

TEST_F(ManifestSaving, ReplacesWhatALinkLeadsToAndKeepsTheLink) {
    Make("a");
    MakeDirectory("elsewhere");
    Make("elsewhere/real.xml", "old");
    MakeLink("elsewhere/real.xml", "out.xml");
    EXPECT_EQ(0, Manifest({"create", "out.xml", "a"}).status);
    EXPECT_TRUE(fs::is_symlink(m_dir.File("out.xml")));
    ExpectWellFormed("elsewhere/real.xml");
}

TEST_F(ManifestSaving, AManifestMayListItsOwnPredecessor) {
    Make("out.xml", "old\n");
    EXPECT_EQ(0, Manifest({"create", "out.xml", "out.xml"}).status);
    EXPECT_THAT(Steady("out.xml"), HasSubstr(R"(name="out.xml" bytes="4" size="4 B" lines="1")"));
}

TEST_F(ManifestSaving, FailsInADirectoryThatDoesNotExist) {
    ExpectFailure("nowhere/out.xml", "No such file or directory");
    EXPECT_THAT(Directory(), ElementsAre("a"));
}

TEST_F(ManifestSaving, FailsInADirectoryThatIsNotWritable) {
    MakeDirectory("closed");
    Permit("closed", fs::perms::owner_read | fs::perms::owner_exec);
    ExpectFailure("closed/out.xml", "Permission denied", GiveUpFileAccess);
    EXPECT_TRUE(fs::is_empty(m_dir.File("closed")));
}

TEST_F(ManifestSaving, FailsWithoutAName) {
    Make("a");
    const Outcome outcome = Manifest({"create", "", "a"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("manifest: $'': No such file or directory\n", outcome.err);
    EXPECT_THAT(Directory(), ElementsAre("a"));
}

TEST_F(ManifestSaving, DoesNotReplaceADirectory) {
    MakeDirectory("out.xml");
    ExpectFailure("out.xml", "not a regular file");
    EXPECT_TRUE(fs::is_directory(m_dir.File("out.xml")));
    EXPECT_THAT(Directory(), ElementsAre("a", "out.xml"));
}

TEST_F(ManifestSaving, DoesNotReplaceAFifo) {
    MakeFifo("out.xml");
    ExpectFailure("out.xml", "not a regular file");
    EXPECT_TRUE(fs::is_fifo(m_dir.File("out.xml")));
}

TEST_F(ManifestSaving, DoesNotReplaceADanglingLink) {
    MakeLink("nowhere", "out.xml");
    ExpectFailure("out.xml", "No such file or directory");
    EXPECT_TRUE(fs::is_symlink(m_dir.File("out.xml")));
}

TEST_F(ManifestSaving, KeepsTheOldManifestWhenTheDiskIsFull) {
    Make("a");
    Make("out.xml", "old");
    const Outcome outcome = Manifest(Long(), [] { FailWritesBeyond(1000); });
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("manifest: out.xml: File too large\n", outcome.err);
    EXPECT_EQ("old", Content("out.xml"));
    EXPECT_THAT(Directory(), ElementsAre("a", "out.xml"));
}

TEST_F(ManifestSaving, KeepsTheOldManifestWhenKilledInTheMiddleOfWriting) {
    Make("a");
    Make("out.xml", "old");
    const Outcome outcome = Manifest(Long(), [] { LimitFileSize(1000); });
    EXPECT_EQ(SIGXFSZ, outcome.signal);
    EXPECT_EQ("old", Content("out.xml"));
    const std::set<std::string> names = Directory();
    ASSERT_EQ(3U, names.size()); // the half manifest is there, under another name
    EXPECT_THAT(*names.begin(), StartsWith(".manifest-"));
    EXPECT_EQ(1000U, fs::file_size(m_dir.File(*names.begin())));
}

// What a run that is killed has left shows what could be seen before.
TEST_F(ManifestSaving, NeverExposesAPrivateManifest) {
    Make("a");
    for (const fs::perms permissions : {fs::perms{0600}, fs::perms{0640}, fs::perms{0666}}) {
        Make("out.xml", "old");
        Permit("out.xml", permissions);
        const Outcome outcome = Manifest(Long(), [] {
            umask(0);
            LimitFileSize(1000);
        });
        EXPECT_EQ(SIGXFSZ, outcome.signal);
        const std::string half = m_dir.File(*Directory().begin());
        EXPECT_THAT(half, HasSubstr("/.manifest-"));
        EXPECT_EQ(fs::perms{0600}, fs::status(half).permissions());
        fs::remove(half);
    }
}

TEST_F(ManifestSaving, LeavesNothingWhenKilledWhileMeasuring) {
    MakeEndless("endless");
    Program program(Arguments({"create", "out.xml", "endless"}), Here());
    ASSERT_TRUE(OpensWithin(program.Pid(), "endless", std::chrono::seconds(50)));
    program.Kill(SIGKILL);
    EXPECT_EQ(SIGKILL, program.Wait().signal);
    EXPECT_THAT(Directory(), ElementsAre("endless"));
}

// Concerns: a descriptor of the program's own is written to and not replaced, whatever it leads to
// and however it is named.

class ManifestDescriptor : public ManifestProgram {
protected:
    /// Runs the program with a file for its standard output, which it appends to.
    Outcome Append(const std::string& file, const Names& arguments) const {
        return Manifest(arguments, [path = m_dir.File(file)] { AppendTo(path); });
    }
};

TEST_F(ManifestDescriptor, GetsTheManifestAfterWhatIsAlreadyThere) {
    Make("a");
    ASSERT_EQ(0, Manifest({"create", "out.xml", "a"}).status);
    const std::string expected = "before\n" + Steady("out.xml");
    Make("kept");
    fs::create_hard_link(m_dir.File("kept"), m_dir.File("same"));
    MakeLink("/dev/stdout", "link");
    for (const char* out : {"/dev/stdout", "/dev/fd/1", "/proc/self/fd/1", "link"}) {
        Make("kept", "before\n");
        const Outcome outcome = Append("kept", {"create", out, "a"});
        EXPECT_EQ(0, outcome.status) << out;
        EXPECT_EQ("", outcome.err) << out;
        EXPECT_EQ(expected, Steady("same")) << out;
    }
    EXPECT_THAT(Directory(), ElementsAre("a", "kept", "link", "out.xml", "same"));
}

TEST_F(ManifestDescriptor, MayBeAPipe) {
    Make("a");
    const std::string command = std::string(VORN_MANIFEST) + " create /dev/stdout a | cat >piped";
    EXPECT_EQ(0, RunProgram({"/bin/sh", "-c", command}, Here()).status);
    EXPECT_THAT(Steady("piped"), StartsWith(Begin));
    EXPECT_EQ(0, Manifest({"verify", "piped"}).status);
}

TEST_F(ManifestDescriptor, IsLeftOutWhereItsFileIsFound) {
    MakeDirectory("d");
    Make("d/out.xml");
    EXPECT_EQ(0, Append("d/out.xml", {"create", "/dev/stdout", "d"}).status);
    EXPECT_EQ(std::string(Begin) + "  <directory name=\"d\" written id/>\n</manifest>\n",
              Steady("d/out.xml"));
}

TEST_F(ManifestDescriptor, ThatTakesNothingIsReported) {
    Make("a");
    const Outcome outcome = Manifest({"create", "/dev/stdout", "a"}, PrintNowhere);
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("manifest: /dev/stdout: No space left on device\n", outcome.err);
    const Outcome closed = Manifest({"create", "/dev/stdout", "a"}, [] { close(STDOUT_FILENO); });
    EXPECT_EQ(1, closed.status);
    EXPECT_EQ("manifest: /dev/stdout: No such file or directory\n", closed.err);
}

} // namespace
