// SPDX-License-Identifier: MIT
// manifest export.

#include "ManifestProgram.h"
#include "support/Prepare.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using VornTest::Begin;
using VornTest::ManifestProgram;
using VornTest::Names;
using VornTest::Outcome;
using VornTest::PrintNowhere;
using VornTest::RunProgram;

// Concerns: other programs read what is printed, whatever the names, and find the same; what cannot
// be exported is told.

class ManifestExport : public ManifestProgram {
protected:
    /// Creates a manifest of the paths and has another program check what is exported.
    Outcome Check(const std::string& digest, const Names& paths) const {
        Names arguments{"create", "--digest", digest, "--", "out.xml"};
        arguments.insert(arguments.end(), paths.begin(), paths.end());
        EXPECT_EQ(0, Manifest(arguments).status);
        return RunProgram({"/bin/sh", "-c",
                           std::string(VORN_MANIFEST) + " export out.xml | " + digest +
                               "sum --check --strict --quiet"},
                          Here());
    }
};

TEST_F(ManifestExport, IsReadByTheProgramsForSums) {
    MakeDirectory("d/sub");
    const Names names{"d/a",
                      "d/sub/two  spaces ",
                      "d/back\\slash",
                      "d/line\nbreak",
                      "d/return\r",
                      "d/\\n",
                      "d/\xff*",
                      "-",
                      "-x",
                      " lead",
                      "\\"};
    for (const std::string& name : names)
        Make(name, name);
    MakeLink("a", "d/link");
    for (const char* digest : {"md5", "sha256"}) {
        const Outcome outcome = Check(digest, {"d", "./-", "-", "-x", " lead", "\\"});
        EXPECT_EQ(0, outcome.status);
        EXPECT_EQ("", outcome.out + outcome.err);
    }
    Make("d/line\nbreak", "other");
    const Outcome outcome = RunProgram(
        {"/bin/sh", "-c", std::string(VORN_MANIFEST) + " export - <out.xml | sha256sum -c --quiet"},
        Here());
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("\\d/line\\nbreak: FAILED\n", outcome.out);
}

TEST_F(ManifestExport, PrintsTheSameDigestsWhicheverWayTheyAreRecorded) {
    MakeDirectory("d");
    Make("d/a", "x");
    Make("d/b", "y");
    for (const char* digest : {"md5", "sha256"}) {
        ASSERT_EQ(0, Manifest({"create", "-d", digest, "out.xml", "d"}).status);
        ASSERT_EQ(0, Manifest({"create", "-b", "-d", digest, "brief.xml", "d"}).status);
        const Outcome outcome = Manifest({"export", "brief.xml"});
        EXPECT_EQ(0, outcome.status);
        EXPECT_EQ(Manifest({"export", "out.xml"}).out, outcome.out);
    }
}

TEST_F(ManifestExport, PrintsALineForEveryFile) {
    MakeDirectory("d");
    Make("d/a");
    Make("d/b\\");
    ASSERT_EQ(0, Manifest({"create", "out.xml", "d"}).status);
    const Outcome outcome = Manifest({"export", "out.xml"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("d41d8cd98f00b204e9800998ecf8427e  d/a\n"
              "\\d41d8cd98f00b204e9800998ecf8427e  d/b\\\\\n",
              outcome.out);
}

TEST_F(ManifestExport, ReportsWhatWasNotRead) {
    Make("a");
    ASSERT_EQ(1, Manifest({"create", "out.xml", "a", "gone"}).status);
    const Outcome outcome = Manifest({"export", "out.xml"});
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("d41d8cd98f00b204e9800998ecf8427e  a\n", outcome.out);
    EXPECT_EQ("manifest: gone: No such file or directory\n", outcome.err);
}

TEST_F(ManifestExport, RefusesManifestsWithoutDigestsAndFailsWhenItCannotPrint) {
    Make("out.xml", Begin + std::string("<file name='a' bytes='1' lines='0'/></manifest>"));
    EXPECT_EQ("manifest: out.xml: it records no digests; create it again\n",
              Manifest({"export", "out.xml"}).err);
    Make("a");
    ASSERT_EQ(0, Manifest({"create", "out.xml", "a"}).status);
    const Outcome outcome = Manifest({"export", "out.xml"}, PrintNowhere);
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("manifest: out.xml: the digests could not be printed\n", outcome.err);
}

} // namespace
