// SPDX-License-Identifier: MIT
// manifest create: which files of a directory it takes.

#include "ManifestProgram.h"
#include "support/Prepare.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <string>

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using VornTest::Begin;
using VornTest::CannotGiveUp;
using VornTest::GiveUpFileAccess;
using VornTest::LastLine;
using VornTest::ManifestProgram;
using VornTest::Names;
using VornTest::Outcome;
using VornTest::SomeId;
using VornTest::WhyNotGivenUp;

namespace fs = std::filesystem;

// Concerns: directories are recorded with all that is below them, in an order that does not depend
// on the file system's; links never lead out of the walk or around in it; nothing but files is
// opened; what cannot be looked at costs nothing else; the manifest itself is not in the manifest.

class ManifestWalk : public ManifestProgram {
protected:
    static std::string Directory(const std::string& name) { return Other("directory", name); }

    static std::string Other(const std::string& kind, const std::string& name) {
        return "  <" + kind + " name=\"" + name + "\" written id/>\n";
    }

    static std::string Empty(const std::string& name) {
        return "  <file name=\"" + name +
               "\" bytes=\"0\" size=\"0 B\" lines=\"0\" md5 written id/>\n";
    }

    static std::string Failure(const std::string& name, const std::string& reason) {
        return "  <failure name=\"" + name + "\">" + reason + "</failure>\n";
    }

    void ExpectManifest(const std::string& elements, const std::string& out = "out.xml") const {
        EXPECT_EQ(Begin + elements + "</manifest>\n", Steady(out));
        ExpectWellFormed(out);
    }

    /// Runs without the superuser's privileges and expects failures, which are complained of.
    void ExpectFailures(const std::string& elements, const Names& complaints) const {
        const Outcome outcome = Manifest({"create", "out.xml", "d"}, GiveUpFileAccess);
        if (outcome.status == CannotGiveUp)
            GTEST_SKIP() << WhyNotGivenUp;
        EXPECT_EQ(1, outcome.status);
        std::string expected;
        for (const std::string& complaint : complaints)
            expected += "manifest: " + complaint + "\n";
        EXPECT_EQ(expected, outcome.err);
        ExpectManifest(elements);
    }
};

TEST_F(ManifestWalk, GoesDepthFirstInTheOrderOfTheBytesOfTheNames) {
    for (const char* directory : {"d", "d/a", "d/a/deep", "d/a/deep/er", "d/empty"})
        MakeDirectory(directory);
    for (const char* file : {"d/ä", "d/b", "d/a.b", "d/B", "d/a/z", "d/a/deep/er/x", "d/10", "d/9"})
        Make(file);
    const Outcome outcome = Manifest({"create", "out.xml", "d"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("", outcome.err);
    ExpectManifest(Directory("d") + Empty("d/10") + Empty("d/9") + Empty("d/B") + Directory("d/a") +
                   Directory("d/a/deep") + Directory("d/a/deep/er") + Empty("d/a/deep/er/x") +
                   Empty("d/a/z") + Empty("d/a.b") + Empty("d/b") + Directory("d/empty") +
                   Empty("d/ä"));
}

TEST_F(ManifestWalk, KeepsTheOrderOfThePathsGiven) {
    for (const char* directory : {"b", "a"})
        MakeDirectory(directory);
    for (const char* file : {"b/x", "a/x", "c"})
        Make(file);
    EXPECT_EQ(0, Manifest({"create", "out.xml", "c", "b/", "a", "c"}).status);
    ExpectManifest(Empty("c") + Directory("b/") + Empty("b/x") + Directory("a") + Empty("a/x") +
                   Empty("c"));
}

TEST_F(ManifestWalk, RecordsLinksAndDoesNotFollowThem) {
    MakeDirectory("outside");
    Make("outside/file", "x");
    MakeDirectory("d");
    MakeDirectory("d/sub");
    MakeLink("..", "d/sub/around");
    MakeLink("nowhere", "d/dangling");
    MakeLink("../outside", "d/directory");
    MakeLink("../outside/file", "d/file");
    MakeLink("self", "d/self");
    EXPECT_EQ(0, Manifest({"create", "out.xml", "d"}).status);
    ExpectManifest(Directory("d") + Other("link", "d/dangling") + Other("link", "d/directory") +
                   Other("link", "d/file") + Other("link", "d/self") + Directory("d/sub") +
                   Other("link", "d/sub/around"));
}

TEST_F(ManifestWalk, FindsEverythingBesideManyDanglingLinks) {
    constexpr std::size_t Count = 50; // wherever the system puts them, also at both ends
    MakeDirectory("d");
    std::string expected = Directory("d");
    for (std::size_t i = 0; i < Count; ++i) {
        const std::string name = "d/" + std::to_string(100 + i);
        MakeLink("nowhere", name);
        Make(name + "f");
        expected += Other("link", name) + Empty(name + "f");
    }
    EXPECT_EQ(0, Manifest({"create", "out.xml", "d"}).status);
    ExpectManifest(expected);
}

TEST_F(ManifestWalk, RecordsADirectoryWithNothingButADanglingLink) {
    MakeDirectory("d");
    MakeLink("nowhere", "d/link");
    EXPECT_EQ(0, Manifest({"create", "out.xml", "d"}).status);
    ExpectManifest(Directory("d") + Other("link", "d/link"));
}

TEST_F(ManifestWalk, FollowsALinkThatIsGivenAsAPath) {
    MakeDirectory("d");
    Make("d/x");
    MakeLink("d", "link");
    EXPECT_EQ(0, Manifest({"create", "out.xml", "link"}).status);
    ExpectManifest(Directory("link") + Empty("link/x"));
}

TEST_F(ManifestWalk, RecordsFifosAndSocketsWithoutOpeningThem) {
    MakeDirectory("d");
    MakeFifo("d/fifo");
    MakeSocket("d/socket");
    EXPECT_EQ(0, Manifest({"create", "out.xml", "d"}).status);
    ExpectManifest(Directory("d") + Other("fifo", "d/fifo") + Other("socket", "d/socket"));
}

TEST_F(ManifestWalk, RecordsDevicesWithoutOpeningThem) {
    MakeDirectory("d");
    if (mknod(m_dir.File("d/zero").c_str(), S_IFCHR | 0600, makedev(1, 5)) != 0)
        GTEST_SKIP() << "no device can be made here";
    EXPECT_EQ(0, Manifest({"create", "out.xml", "d"}).status);
    ExpectManifest(Directory("d") + Other("device", "d/zero"));
}

TEST_F(ManifestWalk, AnUnreadableDirectoryIsAFailureThatCostsNothingElse) {
    for (const char* directory : {"d", "d/closed"})
        MakeDirectory(directory);
    for (const char* file : {"d/a", "d/closed/x", "d/z"})
        Make(file);
    Permit("d/closed", fs::perms::none);
    ExpectFailures(Directory("d") + Empty("d/a") + Failure("d/closed", "Permission denied") +
                       Empty("d/z"),
                   {"d/closed: Permission denied"});
}

TEST_F(ManifestWalk, WhatCannotBeLookedAtIsAFailureUnderItsName) {
    for (const char* directory : {"d", "d/list"})
        MakeDirectory(directory);
    for (const char* file : {"d/a", "d/list/x", "d/list/y", "d/z"})
        Make(file);
    Permit("d/list", fs::perms::owner_read); // names, but nothing else
    ExpectFailures(Directory("d") + Empty("d/a") + Directory("d/list") +
                       Failure("d/list/x", "Permission denied") +
                       Failure("d/list/y", "Permission denied") + Empty("d/z"),
                   {"d/list/x: Permission denied", "d/list/y: Permission denied"});
}

TEST_F(ManifestWalk, LeavesTheManifestOut) {
    MakeDirectory("d");
    MakeDirectory("d/sub");
    MakeLink(".", "here");
    for (const char* file : {"d/a", "d/sub/out.xml"})
        Make(file);
    const std::string expected =
        Directory("d") + Empty("d/a") + Directory("d/sub") + Empty("d/sub/out.xml");
    for (const char* out : {"d/out.xml", "d/out.xml", "here/d/out.xml", "./d/sub/../out.xml"}) {
        EXPECT_EQ(0, Manifest({"create", out, "d"}).status);
        ExpectManifest(expected, "d/out.xml");
    }
}

TEST_F(ManifestWalk, LeavesTheManifestOutOfTheCurrentDirectory) {
    Make("a");
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(0, Manifest({"create", "out.xml", "."}).status);
        ExpectManifest(Directory(".") + Empty("./a"));
    }
}

TEST_F(ManifestWalk, LeavesTheManifestOutWhereALinkLeadsToIt) {
    for (const char* directory : {"d", "d/real"})
        MakeDirectory(directory);
    Make("d/real/out.xml", "old");
    MakeLink("real/out.xml", "d/link.xml");
    EXPECT_EQ(0, Manifest({"create", "d/link.xml", "d"}).status);
    ExpectManifest(Directory("d") + Directory("d/real"), "d/real/out.xml");
}

TEST_F(ManifestWalk, LeavesOutWhatAKilledRunLeftBesideTheManifest) {
    MakeDirectory("d");
    const std::string left = std::string(".manifest-") + SomeId + ".tmp";
    for (const std::string& file : {"d/" + left, left, std::string("d/.manifest-x.tmp")})
        Make(file);
    EXPECT_EQ(0, Manifest({"create", "d/out.xml", "d"}).status);
    ExpectManifest(Directory("d") + Empty("d/.manifest-x.tmp"), "d/out.xml");
    EXPECT_EQ(0, Manifest({"create", "out.xml", "d"}).status); // whose place is another one
    EXPECT_THAT(Steady("out.xml"), HasSubstr(Empty("d/" + left)));
}

TEST_F(ManifestWalk, FindsNamesOfAnyBytes) {
    MakeDirectory("d");
    MakeDirectory("d/\xff");
    for (const char* file : {"d/\xff/\n", "d/a&b", "d/ ", "d/...", "d/-"})
        Make(file);
    EXPECT_EQ(0, Manifest({"create", "out.xml", "d"}).status);
    const std::string begin = R"(  <file name="d/%FF/%0A" escaped="percent")";
    ExpectManifest(Directory("d") + Empty("d/ ") + Empty("d/-") + Empty("d/...") +
                   Empty("d/a&amp;b") +
                   "  <directory name=\"d/%FF\" escaped=\"percent\" written id/>\n" + begin +
                   " bytes=\"0\" size=\"0 B\" lines=\"0\" md5 written id/>\n");
}

TEST_F(ManifestWalk, TakesTenThousandFiles) {
    constexpr std::size_t Count = 10000;
    for (std::size_t i = 0; i < Count; ++i) {
        if (i % 100 == 0)
            MakeDirectory("d/" + std::to_string(i / 100));
        Make("d/" + std::to_string(i / 100) + "/" + std::to_string(i), "x\n");
    }
    EXPECT_EQ(0, Manifest({"create", "out.xml", "d"}).status);
    ExpectWellFormed("out.xml");
    const Outcome shown = Manifest({"show", "out.xml"});
    EXPECT_EQ(Count + 101 + 2, std::count(shown.out.begin(), shown.out.end(), '\n'));
    EXPECT_THAT(LastLine(shown.out), EndsWith("  10000 files, 101 others, 0 failed"));
}

} // namespace
