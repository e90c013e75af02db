// SPDX-License-Identifier: MIT
// manifest with names of any bytes.

#include "ManifestProgram.h"

#include <cstddef>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::HasSubstr;
using VornTest::IdsIn;
using VornTest::ManifestProgram;
using VornTest::Names;
using VornTest::Outcome;

// Concerns: a name may be any bytes; the document stays well formed in every locale, the name can
// be restored exactly, and nothing that reaches the terminal can control it.

class ManifestNames : public ManifestProgram {
protected:
    /// Creates a manifest of the one file in one locale and returns the row that another one shows.
    std::string Row(const std::string& name, const std::string& creating,
                    const std::string& showing) {
        Make(name, "x\n");
        EXPECT_EQ(0, Manifest({"create", "--", "out.xml", name}, creating).status) << name;
        ExpectWellFormed("out.xml");
        const Outcome shown = Manifest({"show", "out.xml"}, showing);
        EXPECT_EQ(0, shown.status) << shown.err;
        const Names ids = IdsIn(Content("out.xml"));
        const std::size_t id = ids.empty() ? std::string::npos : shown.out.find(ids.front() + "  ");
        if (id == std::string::npos)
            return "(no row)";
        const std::size_t begin = id + ids.front().size() + 2;
        return shown.out.substr(begin, shown.out.find('\n', begin) - begin);
    }
};

TEST_F(ManifestNames, MarkupIsAnOrdinaryName) {
    for (const char* name : {"a&b", "<file>", "\"quoted\"", "it's", "]]>", "-->", "&amp;", "&#65;"})
        EXPECT_EQ(name, Row(name, "C.UTF-8", "C.UTF-8"));
}

TEST_F(ManifestNames, SpacesAndPercentSignsStay) {
    for (const char* name : {" lead", "trail ", "two  spaces", "100%", "%41", "%%"})
        EXPECT_EQ(name, Row(name, "C.UTF-8", "C.UTF-8"));
}

TEST_F(ManifestNames, LettersOfTheLocaleStandAsTheyAre) {
    EXPECT_EQ("Grüße 😀", Row("Grüße 😀", "C.UTF-8", "C.UTF-8"));
    EXPECT_THAT(Content("out.xml"), HasSubstr("name=\"Grüße 😀\" bytes"));
}

TEST_F(ManifestNames, LettersBeyondTheLocaleAreEscapedAndComeBackWhereTheyExist) {
    EXPECT_EQ("Grüße 5%", Row("Grüße 5%", "C", "C.UTF-8"));
    EXPECT_THAT(Content("out.xml"), HasSubstr(R"(name="Gr%C3%BC%C3%9Fe 5%25" escaped="percent")"));
    EXPECT_EQ(R"($'Gr\xC3\xBC\xC3\x9Fe')", Row("Grüße", "C", "C"));
}

TEST_F(ManifestNames, AManifestOfAnotherLocaleShowsAllItCan) {
    EXPECT_EQ("(a name that this locale cannot show)", Row("Grüße", "C.UTF-8", "C"));
}

TEST_F(ManifestNames, ControlCharactersNeverReachTheTerminal) {
    EXPECT_EQ(R"($'a\x0Ab')", Row("a\nb", "C.UTF-8", "C.UTF-8"));
    EXPECT_THAT(Content("out.xml"), HasSubstr(R"(name="a%0Ab" escaped="percent")"));
    EXPECT_EQ(R"($'\x1B[31m\x7F')", Row("\x1b[31m\x7f", "C.UTF-8", "C.UTF-8"));
    EXPECT_EQ(R"($'\xC2\x9B31m')", Row("\xc2\x9b"
                                       "31m",
                                       "C.UTF-8", "C.UTF-8"));
    EXPECT_EQ(R"($'\xE2\x80\xAEgpj.sh')", Row("\xe2\x80\xaegpj.sh", "C.UTF-8", "C.UTF-8"));
    EXPECT_EQ(R"($'\x0D\x27\x5C')", Row("\r'\\", "C.UTF-8", "C.UTF-8"));
}

TEST_F(ManifestNames, BytesThatAreNoCharactersSurvive) {
    EXPECT_EQ(R"($'\xFFx\xC3')", Row("\xffx\xc3", "C.UTF-8", "C.UTF-8"));
    EXPECT_THAT(Content("out.xml"), HasSubstr(R"(name="%FFx%C3" escaped="percent")"));
}

TEST_F(ManifestNames, CharactersThatNoDocumentMayHoldAreEscaped) {
    EXPECT_EQ(R"($'\xEF\xBF\xBE')", Row("\xef\xbf\xbe", "C.UTF-8", "C.UTF-8"));
    EXPECT_EQ(R"($'\xED\xA0\x80')", Row("\xed\xa0\x80", "C.UTF-8", "C.UTF-8"));
}

TEST_F(ManifestNames, ComplaintsShowThemSafely) {
    const Outcome outcome = Manifest({"create", "out.xml", "\x1b[2J", ""});
    EXPECT_EQ("manifest: $'\\x1B[2J': No such file or directory\n"
              "manifest: $'': No such file or directory\n",
              outcome.err);
    ExpectWellFormed("out.xml");
}

TEST_F(ManifestNames, TheManifestsOwnNameMayBeStrangeToo) {
    Make("a");
    for (const char* out : {"./-", "a%20b.xml", "sp ace\n.xml", "\xff.xml", "http:x"}) {
        EXPECT_EQ(0, Manifest({"create", out, "a"}).status) << out;
        EXPECT_EQ(0, Manifest({"show", out}).status) << out;
    }
}

} // namespace
