// SPDX-License-Identifier: MIT
// manifest verify.

#include "ManifestProgram.h"
#include "support/Prepare.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using VornTest::Begin;
using VornTest::CannotGiveUp;
using VornTest::GiveUpFileAccess;
using VornTest::ManifestProgram;
using VornTest::Names;
using VornTest::Outcome;
using VornTest::PrintNowhere;
using VornTest::RunProgram;
using VornTest::SomeId;
using VornTest::Surroundings;
using VornTest::WhyNotGivenUp;

namespace fs = std::filesystem;

// Concerns: everything that differs from what was recorded is found, reported once, in the order of
// the names, and gives the exit status 1; nothing else does. What cannot be known is reported as
// such, and a manifest without enough information is refused.

class ManifestVerify : public ManifestProgram {
protected:
    void Create(const Names& paths, int status = 0) const {
        Names arguments{"create", "out.xml"};
        arguments.insert(arguments.end(), paths.begin(), paths.end());
        ASSERT_EQ(status, Manifest(arguments).status);
    }

    /// A directory with a file of two bytes and another directory with an empty one, recorded.
    void MakeAndRecord() const {
        MakeDirectory("d/sub");
        Make("d/a", "a\n");
        Make("d/sub/empty");
        Create({"d"});
    }

    void ExpectAllAsRecorded(std::size_t count) const {
        const Outcome outcome = Manifest({"verify", "out.xml"});
        EXPECT_EQ(0, outcome.status);
        EXPECT_EQ(std::to_string(count) + " as recorded, 0 missing, 0 changed, 0 new, 0 unread\n",
                  outcome.out);
        EXPECT_EQ("", outcome.err);
    }

    void ExpectDifferences(const std::string& out, const std::string& err = "",
                           const std::function<void()>& prepare = {}) const {
        const Outcome outcome = Manifest({"verify", "out.xml"}, prepare);
        if (outcome.status == CannotGiveUp)
            GTEST_SKIP() << WhyNotGivenUp;
        EXPECT_EQ(1, outcome.status);
        EXPECT_EQ(out, outcome.out);
        EXPECT_EQ(err, outcome.err);
    }

    void ExpectRefused(const std::string& reason, const std::string& locale = "C.UTF-8") const {
        const Outcome outcome = Manifest({"verify", "out.xml"}, locale);
        EXPECT_EQ(1, outcome.status) << Content("out.xml");
        EXPECT_EQ("", outcome.out);
        EXPECT_EQ("manifest: out.xml: " + reason + "\n", outcome.err);
    }

    void ExpectRefusedContent(const std::string& elements, const std::string& reason) const {
        Make("out.xml", Begin + elements + "</manifest>\n");
        ExpectRefused(reason);
    }
};

TEST_F(ManifestVerify, SaysNothingButTheSummaryWhenAllIsAsRecorded) {
    MakeDirectory("d/sub/empty");
    Make("d/empty");
    Make("d/sub/two", "1\n2\n");
    MakeLink("nowhere", "d/link");
    MakeFifo("d/fifo");
    MakeSocket("d/socket");
    Create({"d", "d/sub/two"});
    ExpectAllAsRecorded(8);
    ExpectAllAsRecorded(8); // the first time has changed nothing
}

TEST_F(ManifestVerify, IsNotConcernedWithTimes) {
    MakeAndRecord();
    for (const char* name : {"d", "d/a"})
        fs::last_write_time(m_dir.File(name),
                            fs::file_time_type::clock::now() - std::chrono::hours(9));
    ExpectAllAsRecorded(4);
}

TEST_F(ManifestVerify, FindsWhatIsMissing) {
    MakeAndRecord();
    Remove("d/a");
    ExpectDifferences("missing  d/a\n3 as recorded, 1 missing, 0 changed, 0 new, 0 unread\n");
}

TEST_F(ManifestVerify, FindsARemovedDirectoryWithAllThatWasInIt) {
    MakeAndRecord();
    Remove("d/sub");
    ExpectDifferences("missing  d/sub\nmissing  d/sub/empty\n"
                      "2 as recorded, 2 missing, 0 changed, 0 new, 0 unread\n");
}

TEST_F(ManifestVerify, FindsThatAPathIsGoneWithAllThatWasBelowIt) {
    MakeDirectory("d/sub");
    Make("d/sub/x");
    Make("file");
    Create({"d/", "file"});
    Remove("d");
    Remove("file");
    ExpectDifferences("missing  d/\nmissing  d/sub\nmissing  d/sub/x\nmissing  file\n"
                      "0 as recorded, 4 missing, 0 changed, 0 new, 0 unread\n");
}

TEST_F(ManifestVerify, FindsWhatIsNewBelowThePaths) {
    MakeAndRecord();
    Make("outside");
    Make("d/sub/new");
    MakeDirectory("d/directory");
    Make("d/directory/new");
    ExpectDifferences("new      d/directory\nnew      d/directory/new\nnew      d/sub/new\n"
                      "4 as recorded, 0 missing, 0 changed, 3 new, 0 unread\n");
}

TEST_F(ManifestVerify, FindsOtherBytesLinesAndDigest) {
    MakeAndRecord();
    const std::string before = Md5Sum("d/a");
    std::ofstream(m_dir.File("d/a"), std::ios::app) << "more\n";
    ExpectDifferences("changed  d/a (bytes 2 -> 7, lines 1 -> 2, md5 " + before + " -> " +
                      Md5Sum("d/a") + ")\n3 as recorded, 0 missing, 1 changed, 0 new, 0 unread\n");
}

TEST_F(ManifestVerify, FindsOtherContentOfTheSameLengthAndTime) {
    MakeAndRecord();
    const std::string before = Md5Sum("d/a");
    const std::string path = m_dir.File("d/a");
    struct stat status {};
    ASSERT_EQ(0, stat(path.c_str(), &status));
    Make("d/a", "b\n");
    const std::array<timespec, 2> times{status.st_atim, status.st_mtim};
    ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times.data(), 0));
    ExpectDifferences("changed  d/a (md5 " + before + " -> " + Md5Sum("d/a") +
                      ")\n3 as recorded, 0 missing, 1 changed, 0 new, 0 unread\n");
}

TEST_F(ManifestVerify, FindsThatAFileWasEmptied) {
    MakeAndRecord();
    const std::string before = Md5Sum("d/a");
    Make("d/a");
    ExpectDifferences("changed  d/a (bytes 2 -> 0, lines 1 -> 0, md5 " + before +
                      " -> d41d8cd98f00b204e9800998ecf8427e)\n"
                      "3 as recorded, 0 missing, 1 changed, 0 new, 0 unread\n");
}

TEST_F(ManifestVerify, FindsOtherKinds) {
    MakeAndRecord();
    MakeLink("a", "d/link");
    Make("copy", "a\n");
    Create({"d"});
    for (const char* name : {"d/a", "d/link", "d/sub"})
        Remove(name);
    MakeLink("../copy", "d/a"); // where the same content is
    MakeDirectory("d/link");
    MakeFifo("d/sub");
    ExpectDifferences("changed  d/a (file -> link)\nchanged  d/link (link -> directory)\n"
                      "changed  d/sub (directory -> fifo)\nmissing  d/sub/empty\n"
                      "1 as recorded, 1 missing, 3 changed, 0 new, 0 unread\n");
}

TEST_F(ManifestVerify, DoesNotLookThroughALinkInADirectorysPlace) {
    MakeAndRecord();
    fs::rename(m_dir.File("d/sub"), m_dir.File("moved"));
    MakeLink("../moved", "d/sub");
    ExpectDifferences("changed  d/sub (directory -> link)\nmissing  d/sub/empty\n"
                      "2 as recorded, 1 missing, 1 changed, 0 new, 0 unread\n");
}

TEST_F(ManifestVerify, SortsByNameWhateverTheOrderOfThePaths) {
    for (const char* name : {"z", "m", "a"})
        Make(name);
    MakeDirectory("n");
    Create({"z", "n", "m", "a"});
    Remove("a");
    Make("n/new");
    Make("m", "x");
    Remove("z");
    ExpectDifferences("missing  a\n"
                      "changed  m (bytes 0 -> 1, md5 d41d8cd98f00b204e9800998ecf8427e -> "
                      "9dd4e461268c8034f5c8564e155c67a6)\n"
                      "new      n/new\nmissing  z\n"
                      "1 as recorded, 2 missing, 1 changed, 1 new, 0 unread\n");
}

TEST_F(ManifestVerify, TakesNamesOfAnyBytesAndShowsThemSafely) {
    MakeDirectory("\xff %\n");
    for (const char* name : {"\xff %\n/ two  spaces", "\xff %\n/\x1b[31m", "100%41"})
        Make(name);
    Create({"\xff %\n", "100%41"});
    ExpectAllAsRecorded(4);
    Remove("\xff %\n/\x1b[31m");
    Make("\xff %\n/\n");
    Remove("100%41");
    ExpectDifferences(R"(missing  100%41
new      $'\xFF %\x0A/\x0A'
missing  $'\xFF %\x0A/\x1B[31m'
2 as recorded, 2 missing, 0 changed, 1 new, 0 unread
)");
}

TEST_F(ManifestVerify, ReportsOverlappingPathsOnlyOnce) {
    MakeDirectory("d");
    for (const char* name : {"d/a", "d/b", "d/c"})
        Make(name);
    Create({"d/a", "d", "d", "d/a", "d/c"});
    ExpectAllAsRecorded(4);
    Make("d/a", "\n");
    Make("d/new");
    Remove("d/c");
    ExpectDifferences("changed  d/a (bytes 0 -> 1, lines 0 -> 1, md5 "
                      "d41d8cd98f00b204e9800998ecf8427e -> 68b329da9893e34099c7d8ad5cb9c940)\n"
                      "missing  d/c\nnew      d/new\n"
                      "2 as recorded, 1 missing, 1 changed, 1 new, 0 unread\n");
}

TEST_F(ManifestVerify, KnowsALinkThatIsAPathFromTheSameOneInADirectory) {
    MakeDirectory("d");
    Make("file", "x");
    MakeLink("../file", "d/link");
    for (const Names& paths : {Names{"d/link", "d"}, Names{"d", "d/link"}}) {
        Create(paths);
        ExpectAllAsRecorded(2);
    }
    fs::rename(m_dir.File("file"), m_dir.File("moved")); // the link is still there
    ExpectDifferences("missing  d/link\n1 as recorded, 1 missing, 0 changed, 0 new, 0 unread\n");
}

TEST_F(ManifestVerify, LeavesTheManifestOutAsCreateDoes) {
    MakeDirectory("d");
    Make("d/a");
    ASSERT_EQ(0, Manifest({"create", "d/out.xml", "d"}).status);
    Make(std::string("d/.manifest-") + SomeId + ".tmp");
    for (const char* out : {"d/out.xml", "./d/../d/out.xml"}) {
        const Outcome outcome = Manifest({"verify", out});
        EXPECT_EQ(0, outcome.status);
        EXPECT_EQ("2 as recorded, 0 missing, 0 changed, 0 new, 0 unread\n", outcome.out);
    }
}

TEST_F(ManifestVerify, LeavesTheManifestOutAlsoWhereItIsAPath) {
    Make("a");
    for (int run = 0; run < 2; ++run) { // there is no manifest before the first one
        const bool exists = run > 0;
        Create({"out.xml", "a", "./out.xml"}, exists ? 0 : 1);
        ExpectAllAsRecorded(1);
    }
    Create({"out.xml"});
    ExpectAllAsRecorded(0);
}

TEST_F(ManifestVerify, LooksForRelativePathsWhereItRuns) {
    Make("a");
    MakeDirectory("elsewhere");
    Create({"a"});
    Surroundings elsewhere = Here();
    elsewhere.directory = m_dir.File("elsewhere");
    const Outcome outcome = RunProgram(Arguments({"verify", "../out.xml"}), elsewhere);
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("missing  a\n0 as recorded, 1 missing, 0 changed, 0 new, 0 unread\n", outcome.out);
    ASSERT_EQ(0, Manifest({"create", "out.xml", m_dir.File("a")}).status);
    EXPECT_EQ(0, RunProgram(Arguments({"verify", "../out.xml"}), elsewhere).status);
}

TEST_F(ManifestVerify, TakesTenThousandFiles) {
    constexpr std::size_t Count = 10000;
    for (std::size_t i = 0; i < Count; ++i) {
        if (i % 100 == 0)
            MakeDirectory("d/" + std::to_string(i / 100));
        Make("d/" + std::to_string(i / 100) + "/" + std::to_string(i));
    }
    Create({"d"});
    Remove("d/7/777");
    ExpectDifferences(
        "missing  d/7/777\n10100 as recorded, 1 missing, 0 changed, 0 new, 0 unread\n");
}

// Concerns: no failure is taken for a difference, and none for a success.

class ManifestVerifyFailures : public ManifestVerify {};

TEST_F(ManifestVerifyFailures, ThatWereRecordedAndStayAreNoDifference) {
    Make("a");
    MakeLink("nowhere", "link");
    Create({"gone", "a", "link", "gone"}, 1);
    const Outcome outcome = Manifest({"verify", "out.xml"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("1 as recorded, 0 missing, 0 changed, 0 new, 0 unread, 2 failing as before\n",
              outcome.out);
    EXPECT_EQ("", outcome.err);
}

TEST_F(ManifestVerifyFailures, ThatAreOverAreChanges) {
    Create({"a", "d"}, 1);
    Make("a");
    MakeDirectory("d");
    Make("d/x");
    ExpectDifferences(
        "changed  a (failed -> file)\nchanged  d (failed -> directory)\nnew      d/x\n"
        "0 as recorded, 0 missing, 2 changed, 1 new, 0 unread\n");
}

TEST_F(ManifestVerifyFailures, ForAnotherReasonAreReported) {
    Create({"a"}, 1);
    MakeFifo("a");
    ExpectDifferences("0 as recorded, 0 missing, 0 changed, 0 new, 1 unread\n",
                      "manifest: a: not a regular file\n");
    Create({"a"}, 1);
    Remove("a");
    ExpectDifferences("missing  a\n0 as recorded, 1 missing, 0 changed, 0 new, 0 unread\n");
}

TEST_F(ManifestVerifyFailures, OfAFifoInAPathsPlaceHideNothing) {
    MakeAndRecord();
    Remove("d");
    MakeFifo("d");
    ExpectDifferences("missing  d/a\nmissing  d/sub\nmissing  d/sub/empty\n"
                      "0 as recorded, 3 missing, 0 changed, 0 new, 1 unread\n",
                      "manifest: d: not a regular file\n");
}

TEST_F(ManifestVerifyFailures, OfAFileThatCannotBeReadAreReported) {
    MakeAndRecord();
    Permit("d/a", fs::perms::none);
    ExpectDifferences("3 as recorded, 0 missing, 0 changed, 0 new, 1 unread\n",
                      "manifest: d/a: Permission denied\n", GiveUpFileAccess);
}

TEST_F(ManifestVerifyFailures, OfADirectoryThatCannotBeListedMakeNothingInItMissing) {
    MakeAndRecord();
    Make("d/sub.x");
    Create({"d/"});
    Remove("d/sub.x");
    Permit("d/sub", fs::perms::owner_exec);
    ExpectDifferences("missing  d/sub.x\n2 as recorded, 1 missing, 0 changed, 0 new, 2 unread\n",
                      "manifest: d/sub: Permission denied\n", GiveUpFileAccess);
    Permit("d", fs::perms::none);
    ExpectDifferences("0 as recorded, 0 missing, 0 changed, 0 new, 5 unread\n",
                      "manifest: d/: Permission denied\n", GiveUpFileAccess);
}

TEST_F(ManifestVerifyFailures, OfPathsThatOverlapAreReportedOnce) {
    MakeDirectory("d");
    Make("d/a");
    Create({"d/a", "d"});
    Permit("d", fs::perms::none);
    ExpectDifferences("0 as recorded, 0 missing, 0 changed, 0 new, 2 unread\n",
                      "manifest: d: Permission denied\nmanifest: d/a: Permission denied\n",
                      GiveUpFileAccess);
}

TEST_F(ManifestVerifyFailures, OfWhatCannotBeLookedAtMakeNothingInItMissing) {
    MakeDirectory("d/sub/deep");
    Make("d/sub/deep/x");
    Create({"d"});
    Permit("d/sub", fs::perms::owner_read); // names, but nothing else
    ExpectDifferences("2 as recorded, 0 missing, 0 changed, 0 new, 2 unread\n",
                      "manifest: d/sub/deep: Permission denied\n", GiveUpFileAccess);
}

TEST_F(ManifestVerifyFailures, OfWhatIsNewAreOnlyThatItIsNew) {
    MakeAndRecord();
    Make("d/new");
    Permit("d/new", fs::perms::none);
    ExpectDifferences("new      d/new\n4 as recorded, 0 missing, 0 changed, 1 new, 0 unread\n", "",
                      GiveUpFileAccess);
}

TEST_F(ManifestVerifyFailures, OfPrintingAreFailures) {
    MakeAndRecord();
    ExpectDifferences("", "manifest: out.xml: the result could not be printed\n", PrintNowhere);
}

TEST_F(ManifestVerifyFailures, OfManifestsWithoutDigestsOrPathsAreReported) {
    const std::string noDigests = "it records no digests; create it again";
    const std::string noPaths = "it does not record its paths; create it again";
    const std::string rest = std::string(" id='") + SomeId + "'/>";
    const std::string old = "<file name='a' bytes='1' lines='0'" + rest;
    const std::string digest =
        "<file name='a' bytes='1' lines='0' md5='" + std::string(32, '0') + "'" + rest;
    ExpectRefusedContent(old, noDigests);
    ExpectRefusedContent("<path name='a'/>" + old, noDigests);
    ExpectRefusedContent("<path name='a'/>" + digest + old, noDigests);
    ExpectRefusedContent(digest, noPaths);
    ExpectRefusedContent("<directory name='a'" + rest, noPaths);
    ExpectRefusedContent("", noPaths);
}

TEST_F(ManifestVerifyFailures, OfManifestsThatCannotBeLoadedAreReported) {
    ExpectRefused("No such file or directory");
    MakeAndRecord();
    const std::string whole = Content("out.xml");
    std::string damaged = whole;
    damaged.replace(damaged.find(" md5=\"") + 6, 1, "x");
    Make("out.xml", damaged);
    ExpectRefused("line 6: md5 is not a digest");
}

TEST_F(ManifestVerifyFailures, OfALocaleWithoutTheNamesCharactersAreReported) {
    Make("ü");
    Create({"ü"});
    ExpectRefused(
        "it has names that this locale cannot show; verify it in the locale in which it was "
        "created",
        "C");
    Make("out.xml", Begin + std::string("<path name='ü'/></manifest>"));
    ExpectRefused(
        "it has names that this locale cannot show; verify it in the locale in which it was "
        "created",
        "C");
    ASSERT_EQ(0, Manifest({"create", "out.xml", "ü"}, std::string("C")).status);
    ExpectAllAsRecorded(1); // in another one, as what does not exist in C was escaped
}

} // namespace
