// SPDX-License-Identifier: MIT
// manifest create: the document.

#include "ManifestProgram.h"
#include "support/Prepare.h"
#include "support/Sanitizers.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <ctime>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using VornTest::Begin;
using VornTest::CannotGiveUp;
using VornTest::DigestsIn;
using VornTest::GiveUpFileAccess;
using VornTest::IdsIn;
using VornTest::LastLine;
using VornTest::ManifestProgram;
using VornTest::Names;
using VornTest::Outcome;
using VornTest::RunProgram;
using VornTest::Surroundings;
using VornTest::WhyNotGivenUp;

namespace fs = std::filesystem;

// Concerns: exact document; counts over the edges of the pieces in which files are read; order,
// repetition and number of files; fresh identifiers; silence.

class ManifestCreate : public ManifestProgram {};

TEST_F(ManifestCreate, RecordsNameBytesAndLinesOfEveryFileInTheOrderGiven) {
    Make("b", "one\ntwo\n");
    Make("a", "no line feed");
    Make("empty");
    const Outcome outcome = Manifest({"create", "out.xml", "b", "a", "empty", "b"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("", outcome.out);
    EXPECT_EQ("", outcome.err);
    EXPECT_EQ(std::string(Begin) +
                  R"(  <file name="b" bytes="8" size="8 B" lines="2" md5 written id/>
  <file name="a" bytes="12" size="12 B" lines="0" md5 written id/>
  <file name="empty" bytes="0" size="0 B" lines="0" md5 written id/>
  <file name="b" bytes="8" size="8 B" lines="2" md5 written id/>
</manifest>
)",
              Steady("out.xml"));
    ExpectWellFormed("out.xml");
    EXPECT_THAT(Directory(), ElementsAre("a", "b", "empty", "out.xml"));
}

TEST_F(ManifestCreate, CountsOverTheEdgesOfItsPieces) {
    constexpr std::size_t Piece = 65536;
    for (const std::size_t size : {Piece - 1, Piece, Piece + 1, 3 * Piece + 7})
        Make(std::to_string(size), std::string(size - 1, '\n') + "x");
    ASSERT_EQ(0, Manifest({"create", "out.xml", "65535", "65536", "65537", "196615"}).status);
    EXPECT_EQ(
        std::string(Begin) +
            R"(  <file name="65535" bytes="65535" size="64.0 KiB" lines="65534" md5 written id/>
  <file name="65536" bytes="65536" size="64.0 KiB" lines="65535" md5 written id/>
  <file name="65537" bytes="65537" size="64.0 KiB" lines="65536" md5 written id/>
  <file name="196615" bytes="196615" size="192.0 KiB" lines="196614" md5 written id/>
</manifest>
)",
        Steady("out.xml"));
}

TEST_F(ManifestCreate, RecordsTheDigestOfTheWholeContent) {
    Make("empty");
    Make("short", "message digest");
    Names arguments{"create", "out.xml", "empty", "short"};
    Names expected{"d41d8cd98f00b204e9800998ecf8427e", "f96b697d7cb7938d525a2f31aaf161d0"};
    constexpr std::size_t Piece = 65536;
    for (const std::size_t size : {Piece - 1, Piece, Piece + 1, 3 * Piece + 7}) {
        arguments.push_back(std::to_string(size));
        Make(arguments.back(), std::string(size / 2, '\0') + std::string(size - size / 2, 'x'));
        expected.push_back(Md5Sum(arguments.back()));
    }
    ASSERT_EQ(0, Manifest(arguments).status);
    EXPECT_EQ(expected, DigestsIn(Content("out.xml")));
}

TEST_F(ManifestCreate, RecordsThePathsThatItWasGiven) {
    MakeDirectory("d");
    Make("d/a");
    const Outcome outcome =
        Manifest({"create", "out.xml", "d/", "gone", "\n", "./d/a", "gone", ""});
    EXPECT_EQ(1, outcome.status);
    EXPECT_THAT(Content("out.xml"), StartsWith(std::string(Begin) + R"(  <path name="d/"/>
  <path name="gone"/>
  <path name="%0A" escaped="percent"/>
  <path name="./d/a"/>
  <path name="gone"/>
  <path name=""/>
  <directory name="d/" )"));
    ExpectWellFormed("out.xml");
}

TEST_F(ManifestCreate, GivesEveryFileAFreshIdentifierInEveryRun) {
    Make("a");
    std::set<std::string> ids;
    for (const char* out : {"1.xml", "2.xml"}) {
        ASSERT_EQ(0, Manifest({"create", out, "a", "a", "a"}).status);
        for (const std::string& id : IdsIn(Content(out)))
            ids.insert(id);
    }
    EXPECT_EQ(6U, ids.size());
}

TEST_F(ManifestCreate, TakesTenThousandFiles) {
    constexpr std::size_t Count = 10000;
    Names arguments{"create", "out.xml"};
    for (std::size_t i = 0; i < Count; ++i) {
        arguments.push_back("f" + std::to_string(i));
        Make(arguments.back(), "x\n");
    }
    EXPECT_EQ(0, Manifest(arguments).status);
    ExpectWellFormed("out.xml");
    const Outcome shown = Manifest({"show", "out.xml"});
    EXPECT_EQ(Count + 2, std::count(shown.out.begin(), shown.out.end(), '\n'));
    const std::string total = LastLine(shown.out);
    EXPECT_THAT(total, StartsWith("total  20000  19.5 KiB  10000  "));
    EXPECT_THAT(total, EndsWith("  10000 files, 0 others, 0 failed"));
}

TEST_F(ManifestCreate, FollowsLinksToFiles) {
    Make("file", "text");
    MakeLink("file", "link");
    EXPECT_EQ(0, Manifest({"create", "out.xml", "link"}).status);
    EXPECT_THAT(Steady("out.xml"),
                HasSubstr(R"(<file name="link" bytes="4" size="4 B" lines="0" md5 written id/>)"));
}

// Concerns: whatever cannot be measured is named with its reason, on standard error and in an
// element of its own in its place, makes the exit status 1, and costs no other file; nothing
// blocks.

class ManifestFailures : public ManifestProgram {
protected:
    /// Creates a manifest of a good file, the bad one, and another good one.
    void ExpectReported(const std::string& name, const std::string& reason,
                        const std::function<void()>& prepare = {}) {
        Make("good", "x\n");
        const Outcome outcome = Manifest({"create", "out.xml", "good", name, "good"}, prepare);
        if (outcome.status == CannotGiveUp)
            GTEST_SKIP() << WhyNotGivenUp;
        EXPECT_EQ(1, outcome.status);
        EXPECT_EQ("", outcome.out);
        EXPECT_EQ("manifest: " + name + ": " + reason + "\n", outcome.err);
        std::string expected = Begin;
        expected += R"(  <file name="good" bytes="2" size="2 B" lines="1" md5 written id/>)";
        expected += "\n  <failure name=\"" + name + "\">" + reason + "</failure>\n";
        expected += R"(  <file name="good" bytes="2" size="2 B" lines="1" md5 written id/>)";
        EXPECT_EQ(expected + "\n</manifest>\n", Steady("out.xml"));
        ExpectWellFormed("out.xml");
    }
};

TEST_F(ManifestFailures, AMissingFileIsReported) {
    ExpectReported("missing.txt", "No such file or directory");
}

TEST_F(ManifestFailures, APathThroughAFileIsReported) {
    Make("file");
    ExpectReported("file/below", "Not a directory");
}

TEST_F(ManifestFailures, AnUnreadableFileIsReported) {
    Make("secret", "text");
    Permit("secret", fs::perms::none);
    ExpectReported("secret", "Permission denied", GiveUpFileAccess);
}

TEST_F(ManifestFailures, AFileThatFailsWhileItIsReadIsReported) {
    // A regular file that opens, and whose first page is never there.
    ExpectReported("/proc/self/mem", "Input/output error");
}

TEST_F(ManifestFailures, AFifoIsReportedWithoutWaitingForItsWriter) {
    MakeFifo("fifo");
    ExpectReported("fifo", "not a regular file");
}

TEST_F(ManifestFailures, ASocketIsReported) {
    MakeSocket("socket");
    ExpectReported("socket", "not a regular file");
}

TEST_F(ManifestFailures, AnEndlessDeviceIsReported) {
    ExpectReported("/dev/zero", "not a regular file");
}

TEST_F(ManifestFailures, ADanglingLinkIsReported) {
    MakeLink("nowhere", "link");
    ExpectReported("link", "No such file or directory");
}

TEST_F(ManifestFailures, AllOfThemAreReportedInOneRun) {
    const Outcome outcome = Manifest({"create", "out.xml", "x", "y", "z"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("manifest: x: No such file or directory\nmanifest: y: No such file or directory\n"
              "manifest: z: No such file or directory\n",
              outcome.err);
    ExpectWellFormed("out.xml");
}

TEST_F(ManifestFailures, ARefusedWorkerThreadIsReportedInsteadOfWaitedFor) {
#ifdef VORN_THREAD_SANITIZER
    GTEST_SKIP() << "the thread sanitizer cannot start with a stack limit like this";
#endif
    // A new thread's stack is as large as the limit of the first one's; none is as large as this.
    const Outcome outcome = Manifest({"create", "out.xml", "x"}, [] {
        rlimit limit{};
        getrlimit(RLIMIT_STACK, &limit);
        limit.rlim_cur = rlim_t{1} << 47U;
        if (setrlimit(RLIMIT_STACK, &limit) != 0)
            _exit(CannotGiveUp);
    });
    if (outcome.status == CannotGiveUp)
        GTEST_SKIP() << "the stack cannot be made that large here";
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("manifest: out.xml: no worker thread could be started\n", outcome.err);
    EXPECT_THAT(Directory(), IsEmpty());
}

// Concerns: times are those of the last writing, to the millisecond, in UTC and in the
// local zone; the date program is asked.

class ManifestTimes : public ManifestProgram {
protected:
    std::string DateOf(const std::string& file, const std::string& options) const {
        const Outcome outcome = RunProgram(
            {"/bin/sh", "-c", "date " + options + " -r " + file + " +%Y-%m-%dT%H:%M:%S.%3N"},
            InZone());
        EXPECT_EQ(0, outcome.status) << outcome.err;
        return outcome.out.substr(0, outcome.out.find('\n'));
    }

    Surroundings InZone() const {
        Surroundings surroundings = Here();
        surroundings.environment.emplace_back("TZ", "EST5EDT,M3.2.0,M11.1.0");
        return surroundings;
    }
};

TEST_F(ManifestTimes, AreWhatDateSays) {
    const std::vector<timespec> times{
        {1700000000, 123999999}, {1720000000, 0}, {0, 0}, {-2, 250000000}, {4102444800, 999000000}};
    for (const timespec& time : times) {
        Make("file");
        const std::array<timespec, 2> both{time, time};
        ASSERT_EQ(0, utimensat(AT_FDCWD, m_dir.File("file").c_str(), both.data(), 0));
        const Names create = Arguments({"create", "out.xml", "file"});
        ASSERT_EQ(0, RunProgram(create, InZone()).status);
        EXPECT_THAT(Content("out.xml"),
                    HasSubstr(" written-utc=\"" + DateOf("file", "-u") + "\" written-local=\"" +
                              DateOf("file", "") + "\" "));
        const Outcome shown = Manifest({"show", "out.xml"});
        EXPECT_THAT(shown.out, HasSubstr("  " + DateOf("file", "") + "  "));
    }
}

TEST_F(ManifestTimes, OfALinkAreItsOwn) {
    MakeDirectory("d");
    Make("file");
    MakeLink("../file", "d/link");
    const std::array<timespec, 2> both{timespec{1000, 0}, timespec{1000, 0}};
    ASSERT_EQ(0,
              utimensat(AT_FDCWD, m_dir.File("d/link").c_str(), both.data(), AT_SYMLINK_NOFOLLOW));
    ASSERT_EQ(0, Manifest({"create", "out.xml", "d"}).status);
    EXPECT_THAT(Content("out.xml"),
                HasSubstr("<link name=\"d/link\" written-utc=\"1970-01-01T00:16:40.000\""));
}

} // namespace
