// SPDX-License-Identifier: MIT
// XmlReader: the encodings of documents and of the texts that come out.

#include <Bases/Xml.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Xml/Reader.h"
#include "fault/Xml.h"
#include "support/IconvSpy.h"
#include "support/NoMemory.h"
#include "support/XmlTest.h"

namespace {

namespace Platform = VornTest::Platform;

using Vorn::XmlReader;
using VornTest::Declared;
using VornTest::EAcute;
using VornTest::Euro;
using VornTest::IconvCall;
using VornTest::IconvSpy;
using VornTest::LoadText;
using VornTest::NameOf;
using VornTest::NoMemory;
using VornTest::Repeat;
using VornTest::TextOf;
using VornTest::Utf8;
using VornTest::ValueOf;
using VornTest::WriteFile;
using VornTest::XmlReaderTest;

// Concerns: texts come in the locale's encoding; the converter is opened once per document, from
// the declared encoding and not from the UTF-8 that libxml2 keeps; the one call with its exact
// capacity; what the scratch array holds between conversions.
using XmlReaderEncoding = XmlReaderTest;

TEST_F(XmlReaderEncoding, OfAUtf8DocumentIsExact) {
    const std::string text = EAcute + Euro + "\xF0\x9F\x98\x80 \xEA\xB0\x80";
    XmlReader reader;
    ASSERT_TRUE(
        LoadText(reader, Utf8 + "<" + EAcute + " a='" + text + "'>" + text + "</" + EAcute + ">"));
    EXPECT_EQ(EAcute, NameOf(reader, reader.GetRootElement()));
    EXPECT_EQ(text, TextOf(reader, reader.GetRootElement()));
    EXPECT_EQ(text, ValueOf(reader));
}

TEST_F(XmlReaderEncoding, LetsOnlyAsciiThroughInTheCLocale) {
    UseLocale("C");
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r a='x'>x<b>" + EAcute + "</b></r>"));
    EXPECT_EQ("r", NameOf(reader, reader.GetRootElement()));
    EXPECT_EQ("x", TextOf(reader, reader.GetRootElement()));
    EXPECT_EQ("x", ValueOf(reader));
    EXPECT_EQ("(fails)", TextOf(reader, reader.ChildElement(reader.GetRootElement())));
    EXPECT_EQ("x", ValueOf(reader)) << "a failure is of its own text only";
}

TEST_F(XmlReaderEncoding, FollowsADoubleByteLocale) {
    UseLocale(VornTest::KoreanLocale);
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r>\xEA\xB0\x80</r>"));
    EXPECT_EQ("\xB0\xA1", TextOf(reader, reader.GetRootElement()));
}

TEST_F(XmlReaderEncoding, IsLookedUpOncePerDocument) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r>" + EAcute + "</r>"));
    UseLocale("C");
    EXPECT_EQ(EAcute, TextOf(reader, reader.GetRootElement()));
    reader.Close();
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r>" + EAcute + "</r>"));
    EXPECT_EQ("(fails)", TextOf(reader, reader.GetRootElement()));
}

TEST_F(XmlReaderEncoding, IsOpenedFromTheDeclaredOneWithTheLocalesNameWhereCharIsUnknown) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Declared("ISO-8859-1") + "<r/>"));
    EXPECT_EQ((std::vector<std::string>{"ISO-8859-1 to char", "ISO-8859-1 to UTF-8"}),
              IconvSpy::opened);
    EXPECT_EQ(1, IconvSpy::live);
    reader.Close();
    EXPECT_EQ(0, IconvSpy::live);

    IconvSpy::opened.clear();
    UseLocale(VornTest::KoreanLocale);
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r/>"));
    EXPECT_EQ((std::vector<std::string>{"UTF-8 to char", "UTF-8 to EUC-KR"}), IconvSpy::opened);
}

// What iconv allocates behind the tree would slow down its release.
TEST_F(XmlReaderEncoding, IsOpenedBeforeTheTreeIsBuilt) {
    WriteFile(m_dir.File("a.xml"), Utf8 + "<r/>");
    Platform::iconv_open.Record();
    Platform::xml_malloc.Record();
    const auto expectAllocationsBehindIt = [] {
        const std::vector<std::string> order = Platform::Order();
        const auto opened = std::find(order.rbegin(), order.rend(), "iconv_open");
        EXPECT_LE(2, std::count(order.rbegin(), opened, "xml malloc"))
            << "the element and its name";
    };
    XmlReader fromMemory;
    ASSERT_TRUE(LoadText(fromMemory, Utf8 + "<r/>"));
    expectAllocationsBehindIt();
    XmlReader fromFile;
    ASSERT_TRUE(fromFile.Load(m_dir.File("a.xml")));
    expectAllocationsBehindIt();
}

TEST_F(XmlReaderEncoding, IsOpenedAsCharWhereThePlatformKnowsIt) {
    IconvSpy::platformKnowsChar = true;
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r>" + EAcute + "</r>"));
    EXPECT_EQ(std::vector<std::string>{"UTF-8 to char"}, IconvSpy::opened);
    EXPECT_EQ(EAcute, TextOf(reader, reader.GetRootElement()));
}

TEST_F(XmlReaderEncoding, OtherThanUtf8IsAppliedToTheUtf8FormOfTheText) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Declared("ISO-8859-1") + "<r>caf\xE9</r>"));
    EXPECT_EQ("r", NameOf(reader, reader.GetRootElement()));
    EXPECT_EQ("caf\xC3\x83\xC2\xA9", TextOf(reader, reader.GetRootElement()));
    reader.Close();

    // Declared and written EUC-KR: U+AC00, in UTF-8 three bytes, read as two characters of EUC-KR.
    ASSERT_TRUE(LoadText(reader, Declared("EUC-KR") + "<r a='ok'>\xB0\xA1</r>"));
    EXPECT_EQ("ok", ValueOf(reader));
    EXPECT_NE("\xEA\xB0\x80", TextOf(reader, reader.GetRootElement()));
    reader.Close();

    // U+0101 is C4 81 in UTF-8, and 81 follows no lead byte of EUC-KR.
    ASSERT_TRUE(LoadText(reader, Declared("EUC-KR") + "<r>&#x101;</r>"));
    EXPECT_EQ("(fails)", TextOf(reader, reader.GetRootElement()));
    reader.Close();

    ASSERT_TRUE(LoadText(reader, Declared("US-ASCII") + "<r a='ok'>&#233;</r>"));
    EXPECT_EQ("ok", ValueOf(reader));
    EXPECT_EQ("(fails)", TextOf(reader, reader.GetRootElement()));
}

// Each byte of a character in UTF-8 is read as a Latin-1 letter, and a letter beyond ASCII comes
// out as two bytes.
TEST_F(XmlReaderEncoding, AllowsNineBytesMoreThanTheTextAndNotTen) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Declared("ISO-8859-1") +
                                     "<r><a>&#x20AC;&#x20AC;&#x20AC;</a>"
                                     "<b>&#xE9;&#xE9;&#xE9;&#xE9;&#xE9;</b>"
                                     "<c>" +
                                     std::string(500, 'x') + "</c></r>"));
    XmlReader::Element* const a = reader.ChildElement(reader.GetRootElement());
    EXPECT_EQ(Repeat("\xC3\xA2\xC2\x82\xC2\xAC", 3), TextOf(reader, a));
    XmlReader::Element* const b = reader.NextElement(a);
    EXPECT_EQ("(fails)", TextOf(reader, b));
    EXPECT_EQ(std::string(500, 'x'), TextOf(reader, reader.NextElement(b)));
}

TEST_F(XmlReaderEncoding, ConvertsInOneCallWithTheTerminatorIntoTenBytesMore) {
    UseLocale(VornTest::KoreanLocale); // ASCII is converted, and stays the same
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<name a=''>" + std::string(5000, 'x') + "</name>"));
    EXPECT_TRUE(IconvSpy::calls.empty());
    NameOf(reader, reader.GetRootElement());
    TextOf(reader, reader.GetRootElement());
    ValueOf(reader);
    EXPECT_EQ((std::vector<IconvCall>{{5, 14}, {5001, 5010}, {2, 11}, {1, 10}}), IconvSpy::calls);
}

// Read as UTF-16, "abc" and its terminator are two characters and no terminator, so what follows
// them in the scratch array shows.
class XmlReaderScratch : public XmlReaderTest {
protected:
    static constexpr char Wide[] = "\xE6\x89\xA1"
                                   "c"; // "abc" taken for U+6261 and U+0063

    void Load() {
        const std::string document = Declared("UTF-16") + "<abc><a/><ab/><abcabcabc/><a>" +
                                     std::string(9001, 'a') + "</a></abc>";
        ASSERT_TRUE(LoadText(m_reader, "\xFF\xFE" + VornTest::Utf16(document)));
        m_a = m_reader.ChildElement(m_reader.GetRootElement());
    }

    XmlReader m_reader;
    XmlReader::Element* m_a = nullptr;
};

TEST_F(XmlReaderScratch, StartsZeroed) {
    Load();
    EXPECT_EQ("a", NameOf(m_reader, m_a));
}

TEST_F(XmlReaderScratch, KeepsTheTailOfAnEarlierTextAfterAShorterOne) {
    Load();
    EXPECT_EQ(Wide, NameOf(m_reader, m_reader.GetRootElement()));
    EXPECT_EQ("a\x89\xA1"
              "c",
              NameOf(m_reader, m_a));
}

TEST_F(XmlReaderScratch, IsNotMadeShorterForAShorterText) {
    Load();
    std::string name;
    XmlReader::Element* const ab = m_reader.NextElement(m_a);
    ASSERT_NE(nullptr, m_reader.NextElement(ab, &name));
    ASSERT_EQ(13u, name.size()) << "more than the capacity for a text of one byte";
    EXPECT_EQ("a" + name.substr(1), NameOf(m_reader, m_a));
}

TEST_F(XmlReaderScratch, IsZeroedAgainByTheNextDocument) {
    Load();
    EXPECT_EQ(Wide, NameOf(m_reader, m_reader.GetRootElement()));
    m_reader.Close();
    Load();
    EXPECT_EQ("a", NameOf(m_reader, m_a));
}

TEST_F(XmlReaderScratch, AnOddTextInATwoByteEncodingFails) {
    Load();
    XmlReader::Element* const ab = m_reader.NextElement(m_a);
    EXPECT_EQ("(fails)", NameOf(m_reader, ab));
}

TEST_F(XmlReaderScratch, GrowsForALongTextAndStaysAtThatSizeUntilClose) {
    UseLocale(VornTest::KoreanLocale); // ASCII is converted, and stays the same
    XmlReader reader;
    const std::string document =
        Utf8 + "<r a='" + std::string(4087, 'x') + "'>" + std::string(4086, 'x') + "</r>";
    ASSERT_TRUE(LoadText(reader, document));
    TextOf(reader, reader.GetRootElement());
    NameOf(reader, reader.GetRootElement());
    char* const first = IconvSpy::calls.back().output;
    EXPECT_EQ(first, IconvSpy::calls.front().output) << "4096 bytes are there from the start";
    EXPECT_EQ(4096u, IconvSpy::calls.front().capacity);

    auto none = std::make_unique<NoMemory>(Platform::operator_new, 4097U);
    EXPECT_EQ("(fails)", ValueOf(reader)) << "one byte more has to be fetched";
    std::string name;
    std::string value = "as it was";
    XmlReader::Attribute* const a = reader.GetFirstAttribute(reader.GetRootElement());
    EXPECT_FALSE(reader.GetAttribute(a, name, value));
    EXPECT_EQ("as it was", value);
    EXPECT_EQ(4086u, TextOf(reader, reader.GetRootElement()).size());
    none.reset();
    EXPECT_EQ(4087u, ValueOf(reader).size());
    char* const grown = IconvSpy::calls.back().output;
    NameOf(reader, reader.GetRootElement());
    EXPECT_EQ(grown, IconvSpy::calls.back().output);

    reader.Close();
    none = std::make_unique<NoMemory>(Platform::operator_new, 4096U);
    EXPECT_TRUE(LoadText(reader, Utf8 + "<r/>")) << "Close keeps the capacity";
    none.reset();
}

} // namespace
