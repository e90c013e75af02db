// SPDX-License-Identifier: MIT
// XmlWriter: the encodings of documents and of the texts that go in.

#include <Bases/Xml.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "Xml/Writer.h"
#include "fault/Xml.h"
#include "support/IconvSpy.h"
#include "support/XmlTest.h"

namespace {

namespace Platform = VornTest::Platform;

using Vorn::XmlWriter;
using VornTest::Bytes;
using VornTest::EAcute;
using VornTest::Element;
using VornTest::Emoji;
using VornTest::Finish;
using VornTest::Hangul;
using VornTest::IconvCall;
using VornTest::IconvSpy;
using VornTest::NamedText;
using VornTest::Utf8;
using VornTest::XmlWriterTest;

// Concerns: texts come in the locale's encoding and go into the document's; a text that cannot go
// fails alone and never reaches libxml2; the one call, its capacity, and what ends its result.
using XmlWriterEncoding = XmlWriterTest;

TEST_F(XmlWriterEncoding, IsOpenedFromTheLocalesWhichIsNamedWhereCharIsUnknown) {
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("EUC-KR"));
    EXPECT_EQ((std::vector<std::string>{"char to EUC-KR", "UTF-8 to EUC-KR"}), IconvSpy::opened);
    EXPECT_EQ(1, IconvSpy::live);
    writer.EndDocument();
    EXPECT_EQ(0, IconvSpy::live);

    IconvSpy::opened.clear();
    UseLocale(VornTest::KoreanLocale);
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    EXPECT_EQ((std::vector<std::string>{"char to UTF-8", "EUC-KR to UTF-8"}), IconvSpy::opened);
}

TEST_F(XmlWriterEncoding, IsOpenedAsCharWhereThePlatformKnowsIt) {
    IconvSpy::platformKnowsChar = true;
    EXPECT_EQ("<a>" + Hangul + "</a>",
              Element([](XmlWriter& writer) { EXPECT_TRUE(writer.WriteEntity(Hangul)); }));
    EXPECT_EQ(std::vector<std::string>{"char to UTF-8"}, IconvSpy::opened);
}

TEST_F(XmlWriterEncoding, FollowsADoubleByteLocale) {
    UseLocale(VornTest::KoreanLocale);
    EXPECT_EQ("<a>" + Hangul + "</a>",
              Element([](XmlWriter& writer) { EXPECT_TRUE(writer.WriteEntity("\xB0\xA1")); }));
}

TEST_F(XmlWriterEncoding, LetsOnlyAsciiThroughInTheCLocale) {
    UseLocale("C");
    EXPECT_EQ("<a x=\"y\">t</a>", Element([](XmlWriter& writer) {
                  EXPECT_TRUE(writer.WriteAttribute("x", "y"));
                  EXPECT_FALSE(writer.WriteEntity(EAcute));
                  EXPECT_TRUE(writer.WriteEntity("t"));
              }));
}

class XmlWriterUnwritable : public XmlWriterTest, public testing::WithParamInterface<NamedText> {};

// Every operation with a text that fails, and between them the proof that nothing was left open.
TEST_P(XmlWriterUnwritable, TextFailsAloneAndWritesNothing) {
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("ISO-8859-1"));
    ASSERT_TRUE(writer.BeginElement("r"));
    EXPECT_FALSE(writer.WriteAttribute("a", GetParam().text));
    EXPECT_FALSE(writer.WriteAttribute(GetParam().text, "b"));
    EXPECT_TRUE(writer.WriteAttribute("ok", 1));
    EXPECT_FALSE(writer.BeginElement(GetParam().text));
    EXPECT_FALSE(writer.WriteElement("a", GetParam().text));
    EXPECT_FALSE(writer.WriteElement(GetParam().text, "b"));
    EXPECT_FALSE(writer.WriteComment(GetParam().text));
    EXPECT_FALSE(writer.WriteEntity(GetParam().text));
    EXPECT_TRUE(writer.WriteAttribute("still", 2));
    EXPECT_FALSE(writer.WriteElementEntity(GetParam().text, "b"));
    EXPECT_TRUE(writer.WriteComment("c"));
    EXPECT_TRUE(writer.EndElement());
    EXPECT_FALSE(writer.EndElement());
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n"
              "<r ok=\"1\" still=\"2\"><!--c--></r>\n",
              Finish(writer));
}

INSTANTIATE_TEST_SUITE_P(Text, XmlWriterUnwritable,
                         testing::Values(NamedText{"Foreign", Hangul},
                                         NamedText{"ForeignAtItsEnd", "ok until " + Emoji},
                                         NamedText{"Malformed", "\xFF malformed"},
                                         NamedText{"CutOff", "cut off \xEA\xB0"}),
                         VornTest::NameOfText);

// The encoding shifts into another character set for the first character and fails at the second.
TEST_F(XmlWriterEncoding, AFailedTextDoesNotShiftTheNextOne) {
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("ISO-2022-JP"));
    ASSERT_TRUE(writer.BeginElement("r"));
    EXPECT_FALSE(writer.WriteEntity("\xE3\x81\x82" + Emoji));
    EXPECT_TRUE(writer.WriteAttribute("n", 1));
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"ISO-2022-JP\"?>\n<r n=\"1\"/>\n", Finish(writer));
}

TEST_F(XmlWriterEncoding, AnElementWhoseTextFailsIsWrittenEmpty) {
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("ISO-8859-1"));
    ASSERT_TRUE(writer.BeginElement("r"));
    EXPECT_FALSE(writer.WriteElementEntity("e", Hangul));
    EXPECT_TRUE(writer.WriteElementEntity("f", "g"));
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<r><e/><f>g</f></r>\n",
              Finish(writer));
}

TEST_F(XmlWriterEncoding, ConvertsInOneCallWithTheTerminatorIntoThreeBytesForEach) {
    UseLocale(VornTest::KoreanLocale); // ASCII is converted, and stays the same
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    EXPECT_TRUE(IconvSpy::calls.empty());
    writer.BeginElement("name");
    writer.WriteEntity("");
    writer.WriteElement("e", std::string(1000, 'x'));
    EXPECT_EQ((std::vector<IconvCall>{{5, 15}, {1, 3}, {2, 6}, {1001, 3003}}), IconvSpy::calls);
}

// Fills fresh memory with 'Z', so that a text without an end shows, and can refuse one size.
struct ZMemory {
    static inline std::size_t refused = 0;
    static inline int asked = 0;

    static void* Fill(std::size_t size) {
        if (size == refused) {
            ++asked;
            return nullptr;
        }
        void* const memory = std::malloc(size);
        return memory == nullptr ? nullptr : std::memset(memory, 'Z', size);
    }

    ZMemory() { Platform::xml_malloc.Do(Fill); }
    ~ZMemory() {
        Platform::xml_malloc.Reset();
        refused = 0;
    }
    ZMemory(const ZMemory&) = delete;
    ZMemory& operator=(const ZMemory&) = delete;
};

// UTF-7 writes the terminator as letters. With a fresh converter those of the empty text fill the
// capacity to the last byte, those of "a" do not. libxml2 encodes once more on its way to the
// buffer and turns the "+" into "+-".
TEST_F(XmlWriterEncoding, AConvertedTextEndsEvenWhereItsTerminatorIsNoZeroByte) {
    const ZMemory memory;
    for (const auto& [text, expected] : {std::pair("", "--+-AA--"), std::pair("a", "--a+-AA--")}) {
        XmlWriter writer;
        ASSERT_TRUE(writer.BeginDocument("UTF-7"));
        EXPECT_TRUE(writer.WriteComment(text));
        const std::string document = Finish(writer);
        EXPECT_NE(std::string::npos, document.find(expected)) << document;
        EXPECT_EQ(std::string::npos, document.find('Z')) << document;
    }
}

TEST_F(XmlWriterEncoding, WithMoreThanThreeBytesForACharacterNoAsciiTextFits) {
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("UTF-32"));
    EXPECT_FALSE(writer.BeginElement("a"));
    EXPECT_FALSE(writer.WriteComment("abc"));
    EXPECT_TRUE(writer.EndDocument());
}

TEST_F(XmlWriterEncoding, WithoutMemoryTheOperationFailsAlone) {
    UseLocale(VornTest::KoreanLocale); // ASCII is converted, and stays the same
    const ZMemory memory;
    ZMemory::asked = 0;
    EXPECT_EQ("<a>ok</a>", Element([&](XmlWriter& writer) {
                  ZMemory::refused = 3 * (1000 + 1) + 1;
                  EXPECT_FALSE(writer.WriteEntity(std::string(1000, 'x')));
                  EXPECT_FALSE(writer.WriteComment(std::string(1000, 'x')));
                  EXPECT_EQ(2, ZMemory::asked);
                  EXPECT_TRUE(writer.WriteEntity("ok"));
              }));
}

// Non-ASCII Latin-1 is no UTF-8, which libxml2 takes it for; the document is lost, the writer not.
TEST_F(XmlWriterEncoding, TextsBeyondAsciiAreForUtf8DocumentsOnly) {
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("ISO-8859-1"));
    ASSERT_TRUE(writer.BeginElement("r"));
    writer.WriteEntity(EAcute);
    writer.EndDocument();
    EXPECT_EQ(std::string::npos, Bytes(writer).find('\xE9'));
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    ASSERT_TRUE(writer.WriteElement("r", EAcute));
    EXPECT_EQ(Utf8 + "<r>" + EAcute + "</r>\n", Finish(writer));
}

TEST_F(XmlWriterEncoding, ALostDocumentShowsInTheResultOfItsEndOnly) {
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("ISO-8859-1"));
    ASSERT_TRUE(writer.BeginElement("r"));
    EXPECT_TRUE(writer.WriteElementEntity("a", "plain"));
    EXPECT_TRUE(writer.WriteElementEntity("b", EAcute));
    EXPECT_TRUE(writer.EndElement());
    EXPECT_FALSE(writer.EndDocument());
    EXPECT_EQ("", Bytes(writer));
    EXPECT_TRUE(writer.Save(m_dir.File("lost.xml")));
    EXPECT_EQ("", VornTest::TextOf(m_dir.File("lost.xml")));
}

} // namespace
