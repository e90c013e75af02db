// SPDX-License-Identifier: MIT
// XmlWriter: the exact bytes of a document, and typed values.

#include <Bases/Xml.h>

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <tuple>

#include <libxml/tree.h>

#include <gtest/gtest.h>

#include <Bases/Utility.h>

#include "Xml/Writer.h"

namespace {

namespace Platform = VornTest::Platform;

using Vorn::Guid;
using Vorn::XmlReader;
using Vorn::XmlWriter;
using VornTest::Attribute;
using VornTest::Bytes;
using VornTest::EAcute;
using VornTest::Element;
using VornTest::Emoji;
using VornTest::Finish;
using VornTest::Hangul;
using VornTest::Parse;
using VornTest::TextOf;
using VornTest::Utf8;
using VornTest::XmlWriterTest;

// Concerns: the exact bytes of a document; each operation's own part of it; what is escaped;
// nothing is added; which calls are refused at which place.
using XmlWriterContent = XmlWriterTest;

TEST_F(XmlWriterContent, IsTheDeclarationAndTheElementsWithoutAnyAddedSpace) {
    XmlWriter writer;
    EXPECT_TRUE(writer.BeginDocument("UTF-8"));
    EXPECT_TRUE(writer.BeginElement("a"));
    EXPECT_TRUE(writer.WriteAttribute("n", 5));
    EXPECT_TRUE(writer.WriteEntity("x<y"));
    EXPECT_TRUE(writer.EndElement());
    EXPECT_TRUE(writer.EndDocument());
    EXPECT_EQ(Utf8 + "<a n=\"5\">x&lt;y</a>\n", Bytes(writer));
    EXPECT_EQ(0, std::get<1>(Platform::xmlNewTextWriterMemory.Calls().back()));
}

TEST_F(XmlWriterContent, NestsElementsAndClosesTheInnermostFirst) {
    EXPECT_EQ("<a><b><c/></b>t<d/></a>", Element([](XmlWriter& writer) {
                  EXPECT_TRUE(writer.BeginElement("b"));
                  EXPECT_TRUE(writer.BeginElement("c"));
                  EXPECT_TRUE(writer.EndElement());
                  EXPECT_TRUE(writer.EndElement());
                  EXPECT_TRUE(writer.WriteEntity("t"));
                  EXPECT_TRUE(writer.BeginElement("d"));
                  EXPECT_TRUE(writer.EndElement());
                  EXPECT_TRUE(writer.EndElement());
                  EXPECT_FALSE(writer.EndElement());
              }));
}

TEST_F(XmlWriterContent, ElementsStillOpenAreClosedAtTheEnd) {
    EXPECT_EQ("<a><b><c>t</c></b></a>", Element([](XmlWriter& writer) {
                  writer.BeginElement("b");
                  writer.BeginElement("c");
                  writer.WriteEntity("t");
              }));
}

TEST_F(XmlWriterContent, WriteElementWritesAWholeElement) {
    EXPECT_EQ("<a><b>1&lt;2</b><c></c></a>", Element([](XmlWriter& writer) {
                  EXPECT_TRUE(writer.WriteElement("b", "1<2"));
                  EXPECT_TRUE(writer.WriteElement("c", ""));
              }));
}

TEST_F(XmlWriterContent, WriteElementEntityWritesAWholeElement) {
    EXPECT_EQ("<a><b>1&lt;2</b><c></c>t</a>", Element([](XmlWriter& writer) {
                  EXPECT_TRUE(writer.WriteElementEntity("b", "1<2"));
                  EXPECT_TRUE(writer.WriteElementEntity("c", ""));
                  EXPECT_TRUE(writer.WriteEntity("t"));
              }));
}

TEST_F(XmlWriterContent, WriteElementEntityDoesNotAskHowTheElementEnded) {
    EXPECT_EQ("<a><b>t</b></a>", Element([](XmlWriter& writer) {
                  Platform::xmlTextWriterEndElement.At(1).Fail(ENOMEM);
                  EXPECT_TRUE(writer.WriteElementEntity("b", "t"));
                  EXPECT_EQ(1U, Platform::xmlTextWriterEndElement.Scripted());
              }));
}

TEST_F(XmlWriterContent, TextMayComeInPieces) {
    EXPECT_EQ("<a>one2<b/>3</a>", Element([](XmlWriter& writer) {
                  EXPECT_TRUE(writer.WriteEntity("one"));
                  EXPECT_TRUE(writer.WriteEntity(2));
                  EXPECT_TRUE(writer.BeginElement("b"));
                  EXPECT_TRUE(writer.EndElement());
                  EXPECT_TRUE(writer.WriteEntity("3"));
              }));
}

TEST_F(XmlWriterContent, CommentsAreWrittenAsTheyAre) {
    EXPECT_EQ("<a><!-- a<b & c --><!----></a>", Element([](XmlWriter& writer) {
                  EXPECT_TRUE(writer.WriteComment(" a<b & c "));
                  EXPECT_TRUE(writer.WriteComment(""));
              }));
}

TEST_F(XmlWriterContent, AttributesBelongToTheElementJustBegun) {
    EXPECT_EQ("<a x=\"1\" y=\"2\"><b z=\"3\"/>t</a>", Element([](XmlWriter& writer) {
                  EXPECT_TRUE(writer.WriteAttribute("x", "1"));
                  EXPECT_TRUE(writer.WriteAttribute("y", "2"));
                  EXPECT_TRUE(writer.BeginElement("b"));
                  EXPECT_TRUE(writer.WriteAttribute("z", "3"));
                  EXPECT_TRUE(writer.EndElement());
                  EXPECT_FALSE(writer.WriteAttribute("late", "4"));
                  EXPECT_TRUE(writer.WriteEntity("t"));
                  EXPECT_FALSE(writer.WriteAttribute("late", "5"));
              }));
}

TEST_F(XmlWriterContent, WithoutAnOpenElementAttributesAndEndsFail) {
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    EXPECT_FALSE(writer.WriteAttribute("x", "1"));
    EXPECT_FALSE(writer.EndElement());
    EXPECT_TRUE(writer.WriteComment("c"));
    EXPECT_TRUE(writer.BeginElement("a"));
    EXPECT_EQ(Utf8 + "<!--c--><a/>\n", Finish(writer));
}

TEST_F(XmlWriterContent, OutsideOfElementsTextIsNotEscaped) {
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    EXPECT_TRUE(writer.WriteEntity("<!DOCTYPE a>"));
    EXPECT_TRUE(writer.BeginElement("a"));
    EXPECT_EQ(Utf8 + "<!DOCTYPE a><a/>\n", Finish(writer));
}

TEST_F(XmlWriterContent, NeedsNames) {
    EXPECT_EQ("<a/>", Element([](XmlWriter& writer) {
                  EXPECT_FALSE(writer.BeginElement(""));
                  EXPECT_FALSE(writer.WriteElement("", "text"));
                  EXPECT_FALSE(writer.WriteElementEntity("", "text"));
                  EXPECT_FALSE(writer.WriteAttribute("", "value"));
              }));
}

TEST_F(XmlWriterContent, AZeroByteEndsEveryText) {
    const std::string text("ab\0cd", 5);
    EXPECT_EQ("<a ab=\"ab\"><ab>ab</ab><!--ab-->ab</a>", Element([&](XmlWriter& writer) {
                  EXPECT_TRUE(writer.WriteAttribute(text, text));
                  EXPECT_TRUE(writer.WriteElement(text, text));
                  EXPECT_TRUE(writer.WriteComment(text));
                  EXPECT_TRUE(writer.WriteEntity(text));
              }));
}

TEST_F(XmlWriterContent, NamesAndCommentsAreNotChecked) {
    const std::string written = Element([](XmlWriter& writer) {
        EXPECT_TRUE(writer.WriteAttribute("x", "1"));
        EXPECT_TRUE(writer.WriteAttribute("x", "2"));
        EXPECT_TRUE(writer.WriteComment("--"));
        EXPECT_TRUE(writer.BeginElement("1 2"));
    });
    EXPECT_EQ("<a x=\"1\" x=\"2\"><!------><1 2/></a>", written);
}

// The independent look: what libxml2's parser reads is what was written.
TEST_F(XmlWriterContent, IsReadBackAsWrittenByAParser) {
    const std::string difficult = "<&>\"'\t]]> " + EAcute + Hangul + Emoji + " \xE2\x80\xA8";
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    ASSERT_TRUE(writer.BeginElement("r" + EAcute));
    ASSERT_TRUE(writer.WriteAttribute("a" + Hangul, difficult + "\n"));
    ASSERT_TRUE(writer.WriteElement("b", difficult));
    ASSERT_TRUE(writer.WriteElementEntity("c", difficult));
    ASSERT_TRUE(writer.WriteComment(Emoji));
    ASSERT_TRUE(writer.WriteEntity(difficult));
    const auto parsed = Parse(Finish(writer));
    ASSERT_NE(nullptr, parsed);
    EXPECT_STREQ("UTF-8", reinterpret_cast<const char*>(parsed->encoding));
    EXPECT_STREQ("1.0", reinterpret_cast<const char*>(parsed->version));
    xmlNode* const root = xmlDocGetRootElement(parsed.get());
    EXPECT_EQ("r" + EAcute, reinterpret_cast<const char*>(root->name));
    EXPECT_EQ(difficult + "\n", Attribute(root, ("a" + Hangul).c_str()));
    xmlNode* const b = root->children;
    EXPECT_STREQ("b", reinterpret_cast<const char*>(b->name));
    EXPECT_EQ(difficult, TextOf(xmlNodeGetContent(b)));
    xmlNode* const c = b->next;
    EXPECT_STREQ("c", reinterpret_cast<const char*>(c->name));
    EXPECT_EQ(difficult, TextOf(xmlNodeGetContent(c)));
    EXPECT_EQ(XML_COMMENT_NODE, c->next->type);
    EXPECT_EQ(Emoji, reinterpret_cast<const char*>(c->next->content));
    EXPECT_EQ(difficult, reinterpret_cast<const char*>(c->next->next->content));
    EXPECT_EQ(nullptr, c->next->next->next);
}

// Concerns: the text of every type at its ends, in each of the three operations; the two kinds of
// wrap; the cut of long doubles; both forms of an identifier, and none.
class XmlWriterValue : public XmlWriterTest {
protected:
    // Checks that the three operations of the family write `text`.
    template <typename... Arguments>
    void Expect(const std::string& text, const Arguments&... arguments) {
        EXPECT_EQ("<a v=\"" + text + "\"><v>" + text + "</v>" + text + "</a>",
                  Element([&](XmlWriter& writer) {
                      EXPECT_TRUE(writer.WriteAttribute("v", arguments...));
                      EXPECT_TRUE(writer.WriteElementEntity("v", arguments...));
                      EXPECT_TRUE(writer.WriteEntity(arguments...));
                  }));
    }
};

TEST_F(XmlWriterValue, IntIsDecimal) {
    Expect("0", 0);
    Expect("-1", -1);
    Expect("2147483647", INT_MAX);
    Expect("-2147483648", INT_MIN);
}

TEST_F(XmlWriterValue, UnsignedIntIsWrittenAsInt) {
    Expect("2147483647", 2147483647u);
    Expect("-2147483648", 2147483648u);
    Expect("-1", 4294967295u);
}

TEST_F(XmlWriterValue, UnsignedLongLosesItsUpperHalfAndIsWrittenAsInt) {
    Expect("7", 7ul);
    Expect("-1", 4294967295ul);
    Expect("0", 4294967296ul);
    Expect("5", 0xABCDEF0000000005ul);
    Expect("-1", ULONG_MAX);
}

TEST_F(XmlWriterValue, LongLongIsDecimal) {
    Expect("4294967296", 4294967296ll);
    Expect("9223372036854775807", LLONG_MAX);
    Expect("-9223372036854775808", LLONG_MIN);
}

TEST_F(XmlWriterValue, UnsignedLongLongIsDecimal) {
    Expect("0", 0ull);
    Expect("4294967295", 4294967295ull);
    Expect("18446744073709551615", ULLONG_MAX);
}

TEST_F(XmlWriterValue, DoubleHasSixDigitsAfterThePoint) {
    Expect("3.140000", 3.14);
    Expect("1.500000", 1.5);
    Expect("-0.000000", -1e-9);
    Expect("0.000001", 0.0000005001);
    Expect("100000000000000000000.000000", 1e20);
    Expect("inf", std::numeric_limits<double>::infinity());
    Expect("-nan", -std::numeric_limits<double>::quiet_NaN());
}

TEST_F(XmlWriterValue, DoubleIsCutTo254Characters) {
    char whole[400];
    const double fits = std::ldexp(1.0, 800); // 241 digits before the point
    ASSERT_EQ(248, std::snprintf(whole, sizeof whole, "%lf", fits));
    Expect(whole, fits);
    ASSERT_EQ(254, std::snprintf(whole, sizeof whole, "%lf", 1e246));
    Expect(whole, 1e246);
    ASSERT_EQ(255, std::snprintf(whole, sizeof whole, "%lf", -1e246));
    Expect(std::string(whole, 254), -1e246);
    ASSERT_EQ(317, std::snprintf(whole, sizeof whole, "%lf", -std::numeric_limits<double>::max()));
    Expect(std::string(whole, 254), -std::numeric_limits<double>::max());
}

TEST_F(XmlWriterValue, DoubleFollowsTheLocalesDecimalPoint) {
    UseLocale(VornTest::Latin1Locale);
    Expect("3,140000", 3.14);
}

TEST_F(XmlWriterValue, GuidIsWrittenInTheFormAskedFor) {
    Guid value;
    ASSERT_TRUE(value.FromString("12345678-9abc-def0-1234-56789abcdef0"));
    Expect("2345678-9abc-def0-1234-56789abcdef", value, 0);
    Expect("12345678-9abc-def0-1234-56789abcdef0", value, 1);
    Expect("12345678-9abc-def0-1234-56789abcdef0", value, -7);
}

TEST_F(XmlWriterValue, GuidOfZerosIsAnEmptyTextAndNoFailure) {
    Expect("", Guid(), 1);
    Expect("", Guid(), 0);
}

TEST_F(XmlWriterValue, ComesBackThroughTheReader) {
    Guid guid;
    ASSERT_TRUE(guid.FromString("12345678-9abc-def0-1234-56789abcdef0"));
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    ASSERT_TRUE(writer.BeginElement("r"));
    ASSERT_TRUE(writer.WriteAttribute("u", 4294967295u));
    ASSERT_TRUE(writer.WriteAttribute("d", -2.25));
    ASSERT_TRUE(writer.WriteAttribute("g", guid, 1));
    ASSERT_TRUE(writer.WriteEntity("text " + Hangul));
    ASSERT_TRUE(writer.EndDocument());

    XmlReader reader;
    unsigned long size = 0;
    unsigned char* const bytes = writer.GetXmlBuffer(size);
    ASSERT_TRUE(reader.Load(bytes, size));
    std::string name;
    std::string text;
    unsigned int u = 0;
    double d = 0;
    Guid g;
    XmlReader::Attribute* attribute = reader.GetFirstAttribute(reader.GetRootElement());
    EXPECT_TRUE(reader.GetAttribute(attribute, name, u));
    attribute = reader.NextAttribute(attribute);
    EXPECT_TRUE(reader.GetAttribute(attribute, name, d));
    attribute = reader.NextAttribute(attribute);
    EXPECT_TRUE(reader.GetAttribute(attribute, name, g));
    EXPECT_TRUE(reader.GetEntity(reader.GetRootElement(), text));
    EXPECT_EQ(4294967295u, u);
    EXPECT_EQ(-2.25, d);
    EXPECT_EQ(guid, g);
    EXPECT_EQ("text " + Hangul, text);
}

} // namespace
