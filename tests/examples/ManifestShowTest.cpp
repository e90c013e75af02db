// SPDX-License-Identifier: MIT
// manifest show.

#include "ManifestProgram.h"
#include "support/Prepare.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using VornTest::Begin;
using VornTest::ManifestProgram;
using VornTest::Outcome;
using VornTest::PrintNowhere;
using VornTest::RunProgram;
using VornTest::SomeId;

// Concerns: the exact table; numbers beyond 32 bits; documents that are no manifests, are damaged
// or hostile; growth of the format; output that cannot be written.

class ManifestShow : public ManifestProgram {
protected:
    void MakeManifest(const std::string& elements) const {
        Make("in.xml", Begin + elements + "</manifest>\n");
    }

    void ExpectRefused(const std::string& name, const std::string& reason) const {
        const Outcome outcome = Manifest({"show", name});
        EXPECT_EQ(1, outcome.status) << Content(name);
        EXPECT_EQ("manifest: " + name + ": " + reason + "\n", outcome.err) << Content(name);
    }

    /// The parser's own words differ between its versions.
    void ExpectMalformed(const std::string& content, const std::string& line) const {
        Make("in.xml", content);
        const Outcome outcome = Manifest({"show", "in.xml"});
        EXPECT_EQ(1, outcome.status) << content;
        EXPECT_THAT(outcome.err, MatchesRegex("manifest: in.xml: " + line + ": .+\n")) << content;
    }

    void ExpectRefusedContent(const std::string& content, const std::string& reason) const {
        Make("in.xml", content);
        ExpectRefused("in.xml", reason);
    }

    void ExpectRefusedAttributes(const std::string& attributes, const std::string& reason) const {
        ExpectRefusedContent(Begin + ("<file " + attributes) + "/></manifest>",
                             "line 4: " + reason);
    }
};

TEST_F(ManifestShow, PrintsAlignedColumnsFailuresAndATotal) {
    const std::string id = SomeId;
    const std::string written = "written-local='2026-11-21T10:00:00.000' id='" + id + "'/>";
    MakeManifest("<directory name='d' " + written + //
                 "<file name='long' bytes='1234567' lines='89' " + written +
                 "<failure name='gone'>No such file or directory</failure>" +
                 "<file name='short' bytes='1' lines='0' " + written);
    const Outcome outcome = Manifest({"show", "in.xml"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("", outcome.err);
    const std::string time = "2026-11-21T10:00:00.000  ";
    const std::string blank(36, ' ');
    EXPECT_EQ("KIND         BYTES     SIZE  LINES  WRITTEN                  ID" + blank +
                  "NAME\n"
                  "directory        -        -      -  " +
                  time + id +
                  "  d\n"
                  "file       1234567  1.2 MiB     89  " +
                  time + id +
                  "  long\n"
                  "failed           -        -      -  -                        -" +
                  blank +
                  " gone: No such file or directory\n"
                  "file             1      1 B      0  " +
                  time + id +
                  "  short\n"
                  "total      1234568  1.2 MiB     89                           " +
                  blank + "  2 files, 1 other, 1 failed\n",
              outcome.out);
}

TEST_F(ManifestShow, PrintsAnEmptyManifest) {
    MakeManifest("");
    EXPECT_EQ("KIND   BYTES  SIZE  LINES  WRITTEN  ID  NAME\n"
              "total      0   0 B      0               0 files, 0 others, 0 failed\n",
              Manifest({"show", "in.xml"}).out);
}

TEST_F(ManifestShow, PrintsNumbersBeyondThirtyTwoBitsInFull) {
    MakeManifest(
        std::string("<file name='a' bytes='18446744073709551615' lines='5000000000' id='") +
        SomeId + "'/>");
    EXPECT_THAT(Manifest({"show", "in.xml"}).out,
                HasSubstr("\nfile   18446744073709551615  8.0 EiB  5000000000  -        " +
                          std::string(SomeId) + "  a\n"));
}

TEST_F(ManifestShow, PrintsEveryKind) {
    const std::vector<std::string> kinds{"directory", "link", "fifo", "socket", "device"};
    std::string elements;
    for (const std::string& kind : kinds)
        elements += "<" + kind + " name='x' id='" + SomeId + "'/>";
    MakeManifest(elements);
    const Outcome outcome = Manifest({"show", "in.xml"});
    for (const std::string& kind : kinds)
        EXPECT_THAT(outcome.out, HasSubstr("\n" + kind + " "));
    EXPECT_THAT(outcome.out, EndsWith("  0 files, 5 others, 0 failed\n"));
}

TEST_F(ManifestShow, ShowsManifestsWithoutTimes) {
    MakeManifest(std::string("<file name='a' bytes='1' lines='0' id='") + SomeId + "'/>");
    EXPECT_THAT(
        Manifest({"show", "in.xml"}).out,
        HasSubstr("\nfile       1   1 B      0  -        " + std::string(SomeId) + "  a\n"));
}

TEST_F(ManifestShow, ListsNoPaths) {
    MakeManifest("<path name='a'/><path name='%zz' escaped='percent'/>");
    EXPECT_EQ("KIND   BYTES  SIZE  LINES  WRITTEN  ID  NAME\n"
              "total      0   0 B      0               0 files, 0 others, 0 failed\n",
              Manifest({"show", "in.xml"}).out);
}

TEST_F(ManifestShow, IgnoresWhatLaterVersionsMayAdd) {
    MakeManifest(std::string("<archive name='d'/><file digest='1' name='a' bytes='1' lines='0' "
                             "id='") +
                 SomeId + "'><block/></file>");
    const Outcome outcome = Manifest({"show", "in.xml"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_THAT(outcome.out, EndsWith("  1 file, 0 others, 0 failed\n"));
}

TEST_F(ManifestShow, RefusesWhatIsNoManifestWithTheLineAndTheCause) {
    const std::string declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    ExpectMalformed("", "line 1");
    ExpectMalformed("plain text\n", "line 1");
    ExpectMalformed(std::string(Begin) + "<failure name='a'>", "line 4"); // cut off
    ExpectMalformed(std::string(Begin) + "  <link name='a'></file>", "line 4");
    ExpectRefusedContent(declaration + "<inventory version='1'/>", "line 2: not a manifest");
    ExpectRefusedContent(declaration + "<manifest/>", "line 2: version is missing");
    ExpectRefusedContent(declaration + "\n<manifest version='x'/>",
                         "line 3: version is not a number");
    ExpectMalformed(declaration + "<manifest version='1'>&other;</manifest>", "line 2");
}

TEST_F(ManifestShow, RefusesDocumentTypesAndWhateverTheyDeclare) {
    Make("secret", "hidden");
    for (const char* value : {"'text'", "SYSTEM 'secret'"})
        for (const char* use :
             {"<failure name='a'>&x;</failure>", "<failure name='&x;'>a</failure>"})
            ExpectRefusedContent(std::string("\n<!DOCTYPE manifest [<!ENTITY x ") + value +
                                     ">]>\n<manifest version='1'>" + use + "</manifest>",
                                 "line 2: it has a document type");
}

TEST_F(ManifestShow, RefusesFilesThatAreNotFullyDescribed) {
    const std::string id = SomeId;
    const std::string noNumber = "bytes is not a number";
    const std::string noId = "id is not an identifier";
    ExpectRefusedAttributes("bytes='1' lines='0' id='" + id + "'", "name is missing");
    ExpectRefusedAttributes("name='a' lines='0' id='" + id + "'", "bytes is missing");
    ExpectRefusedAttributes("name='a' bytes='1' id='" + id + "'", "lines is missing");
    ExpectRefusedAttributes("name='a' bytes='' lines='0' id='" + id + "'", noNumber);
    ExpectRefusedAttributes("name='a' bytes='-1' lines='0' id='" + id + "'", noNumber);
    ExpectRefusedAttributes("name='a' bytes='1x' lines='0' id='" + id + "'", noNumber);
    ExpectRefusedAttributes("name='a' bytes='18446744073709551616' lines='0' id='" + id + "'",
                            noNumber);
    ExpectRefusedAttributes("name='a' bytes='1' lines='0' id=''", noId);
    ExpectRefusedAttributes("name='a' bytes='1' lines='0' id='0f8fad5b'", noId);
    ExpectRefusedAttributes("name='a' bytes='1' lines='0' "
                            "id='00000000-0000-0000-0000-000000000000'",
                            noId);
    const std::string known = "name='a' bytes='1' lines='0' id='" + id + "' ";
    for (const std::string& digest :
         {std::string("''"), "'" + std::string(31, '0') + "'", "'" + std::string(33, '0') + "'",
          "'" + std::string(32, 'g') + "'", "'" + std::string(32, 'A') + "'",
          "'" + std::string(31, '0') + "&#x9b;'", // and in Base64:
          "'" + std::string(23, 'A') + "'", "'" + std::string(22, 'A') + "=A'",
          "'" + std::string(21, 'A') + "B=='", "'" + std::string(19, 'A') + " AA=='",
          "'" + std::string(20, 'A') + "&#xc1;=='", "'" + std::string(42, 'A') + "B='"}) {
        ExpectRefusedAttributes(known + "md5=" + digest, "md5 is not a digest");
        ExpectRefusedAttributes(known + "sha256=" + digest, "sha256 is not a digest");
    }
}

TEST_F(ManifestShow, TakesFilesWithoutIdentifiers) {
    MakeManifest("<file name='a' bytes='1' lines='0'/>");
    EXPECT_THAT(Manifest({"show", "in.xml"}).out,
                HasSubstr("\nfile       1   1 B      0  -        -   a\n"));
}

TEST_F(ManifestShow, ReadsStandardInput) {
    MakeManifest("");
    const std::string command = std::string(VORN_MANIFEST) + " show - <in.xml";
    const Outcome outcome = RunProgram({"/bin/sh", "-c", command}, Here());
    EXPECT_EQ(0, outcome.status) << outcome.err;
    EXPECT_THAT(outcome.out, EndsWith("  0 files, 0 others, 0 failed\n"));
}

TEST_F(ManifestShow, RefusesAManifestOfAnotherVersion) {
    Make("in.xml", R"(<?xml version="1.0" encoding="UTF-8"?><manifest version="2"/>)");
    ExpectRefused("in.xml", "line 1: a manifest of an unknown version");
}

TEST_F(ManifestShow, RefusesWhatCannotBeRead) {
    ExpectRefused("missing.xml", "No such file or directory");
    ExpectRefused(".", "not a regular file");
    MakeFifo("fifo");
    ExpectRefused("fifo", "not a regular file");
}

TEST_F(ManifestShow, LetsNoDocumentControlTheTerminal) {
    const std::string rest = std::string("' bytes='1' lines='0' id='") + SomeId + "'/>";
    MakeManifest("<file name='&#x9b;31m" + rest + "<file escaped='percent' name='%1B%zz%4" + rest +
                 "<file escaped='percent' name='ends?%00%1B" + rest +
                 "<directory name='d' written-local='&#x9b;31m' id='" + SomeId + "'/>" +
                 "<failure name='a'>&#x9b;31m</failure>");
    const Outcome outcome = Manifest({"show", "in.xml"});
    EXPECT_EQ(0, outcome.status) << outcome.err;
    for (const char* name :
         {R"($'\xC2\x9B31m')", R"($'\x1B%zz%4')", R"($'ends?\x00\x1B')", R"(a: $'\xC2\x9B31m')"})
        EXPECT_THAT(outcome.out, HasSubstr("  " + std::string(name) + "\n"));
    EXPECT_THAT(outcome.out, HasSubstr(R"(-  $'\xC2\x9B31m')")); // the time
    EXPECT_THAT(outcome.out, Not(HasSubstr("\x9b")));
}

TEST_F(ManifestShow, FailsWhenTheTableCannotBePrinted) {
    MakeManifest("");
    const Outcome outcome = Manifest({"show", "in.xml"}, PrintNowhere);
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ("manifest: in.xml: the table could not be printed\n", outcome.err);
}

} // namespace
