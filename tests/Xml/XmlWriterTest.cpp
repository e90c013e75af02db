#include <Bases/Xml.h>

#include <atomic>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <unistd.h>

#include <libxml/encoding.h>
#include <libxml/tree.h>
#include <libxml/xmlmemory.h>
#include <libxml/xmlwriter.h>

#include <gtest/gtest.h>

#include <Bases/Utility.h>

#include "support/FailingNew.h"
#include "support/IconvSpy.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"
#include "support/XmlTest.h"

extern "C" {
xmlBufferPtr __real_xmlBufferCreate();
void __real_xmlBufferFree(xmlBufferPtr buffer);
xmlTextWriterPtr __real_xmlNewTextWriterMemory(xmlBufferPtr buffer, int compression);
int __real_xmlTextWriterEndElement(xmlTextWriterPtr writer);
int __real_xmlTextWriterEndDocument(xmlTextWriterPtr writer);
}

namespace {

// Makes the next call of a libxml2 function fail.
std::atomic<bool> g_failBufferCreate = false;
std::atomic<bool> g_failNewWriter = false;
std::atomic<bool> g_failEndElement = false;
std::atomic<bool> g_failEndDocument = false;

// What the library asked for and holds.
std::atomic<int> g_compression = -1;
std::atomic<int> g_buffers = 0;
std::atomic<int> g_buffersBeforeCreation = 0;

} // namespace

extern "C" {

xmlBufferPtr __wrap_xmlBufferCreate() {
    g_buffersBeforeCreation = g_buffers.load();
    if (g_failBufferCreate.exchange(false))
        return nullptr;
    ++g_buffers;
    return __real_xmlBufferCreate();
}

void __wrap_xmlBufferFree(xmlBufferPtr buffer) {
    --g_buffers;
    __real_xmlBufferFree(buffer);
}

xmlTextWriterPtr __wrap_xmlNewTextWriterMemory(xmlBufferPtr buffer, int compression) {
    g_compression = compression;
    return g_failNewWriter.exchange(false) ? nullptr
                                           : __real_xmlNewTextWriterMemory(buffer, compression);
}

int __wrap_xmlTextWriterEndElement(xmlTextWriterPtr writer) {
    return g_failEndElement.exchange(false) ? -1 : __real_xmlTextWriterEndElement(writer);
}

int __wrap_xmlTextWriterEndDocument(xmlTextWriterPtr writer) {
    return g_failEndDocument.exchange(false) ? -1 : __real_xmlTextWriterEndDocument(writer);
}
}

namespace {

using Vorn::Guid;
using Vorn::XmlReader;
using Vorn::XmlWriter;
using VornTest::FailingNew;
using VornTest::HostErrors;
using VornTest::IconvCall;
using VornTest::IconvSpy;
using VornTest::NamedText;
using VornTest::ReadFile;
using VornTest::StderrOf;
using VornTest::StdoutOf;
using VornTest::WriteFile;

const std::string Utf8 = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
const std::string EAcute = "\xC3\xA9";
const std::string Hangul = "\xEA\xB0\x80"; // U+AC00
const std::string Emoji = "\xF0\x9F\x98\x80";

std::string Bytes(XmlWriter& writer) {
    unsigned long size = 77;
    const unsigned char* bytes = writer.GetXmlBuffer(size);
    if (bytes == nullptr)
        return size == 0 ? "(none)" : "(none, but a size)";
    return {reinterpret_cast<const char*>(bytes), size};
}

// Ends the document and returns it.
std::string Finish(XmlWriter& writer) {
    EXPECT_TRUE(writer.EndDocument());
    return Bytes(writer);
}

// Returns what `write` puts into the element a of a UTF-8 document: "<a>...</a>" or "<a .../>".
template <typename Write>
std::string Element(Write&& write) {
    XmlWriter writer;
    EXPECT_TRUE(writer.BeginDocument("UTF-8"));
    EXPECT_TRUE(writer.BeginElement("a"));
    std::forward<Write>(write)(writer);
    const std::string document = Finish(writer);
    EXPECT_EQ(Utf8, document.substr(0, Utf8.size()));
    EXPECT_EQ('\n', document.back());
    return document.substr(Utf8.size(), document.size() - Utf8.size() - 1);
}

struct XmlDocDelete {
    void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};

// What libxml2's own parser makes of the document; null when it is not well-formed.
std::unique_ptr<xmlDoc, XmlDocDelete> Parse(const std::string& document) {
    return std::unique_ptr<xmlDoc, XmlDocDelete>(
        xmlReadMemory(document.data(), static_cast<int>(document.size()), "written", nullptr, 0));
}

std::string TextOf(xmlChar* text) {
    std::string result = text == nullptr ? "(none)" : reinterpret_cast<const char*>(text);
    xmlFree(text);
    return result;
}

std::string Attribute(const xmlNode* node, const char* name) {
    return TextOf(xmlGetProp(node, reinterpret_cast<const xmlChar*>(name)));
}

// No operation that writes succeeds.
void ExpectNothingWrites(XmlWriter& writer) {
    EXPECT_FALSE(writer.BeginElement("a"));
    EXPECT_FALSE(writer.WriteElement("a", "b"));
    EXPECT_FALSE(writer.WriteAttribute("a", "b"));
    EXPECT_FALSE(writer.WriteAttribute("a", 1));
    EXPECT_FALSE(writer.WriteEntity("a"));
    EXPECT_FALSE(writer.WriteEntity(1.5));
    EXPECT_FALSE(writer.WriteElementEntity("a", "b"));
    EXPECT_FALSE(writer.WriteElementEntity("a", 1ull));
    EXPECT_FALSE(writer.WriteElementEntity("a", Guid(), 1));
    EXPECT_FALSE(writer.WriteComment("a"));
}

class XmlWriterTest : public VornTest::XmlTest {
public:
    XmlWriterTest() = default;
    ~XmlWriterTest() override { EXPECT_EQ(0, g_buffers) << "buffers left behind"; }
    XmlWriterTest(const XmlWriterTest&) = delete;
    XmlWriterTest& operator=(const XmlWriterTest&) = delete;
};

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
    EXPECT_EQ(0, g_compression);
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
                  g_failEndElement = true;
                  EXPECT_TRUE(writer.WriteElementEntity("b", "t"));
                  EXPECT_FALSE(g_failEndElement);
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

// Concerns: texts come in the locale's encoding and go into the document's; a text that cannot go
// fails alone and never reaches libxml2; the one call, its room, and what ends its result.
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
TEST_P(XmlWriterUnwritable, TextFailsAloneAndLeavesNothingBehind) {
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

TEST_F(XmlWriterEncoding, ConvertsInOneCallWithTheTerminatorAndThreeBytesOfRoomForEach) {
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

    ZMemory() { xmlMemSetup(std::free, Fill, std::realloc, strdup); }
    ~ZMemory() {
        xmlMemSetup(std::free, std::malloc, std::realloc, strdup);
        refused = 0;
    }
    ZMemory(const ZMemory&) = delete;
    ZMemory& operator=(const ZMemory&) = delete;
};

// UTF-7 writes the terminator as letters. Behind a fresh converter those of the empty text fill
// the room to the last byte, those of "a" do not. libxml2 encodes once more on its way to the
// buffer and makes "+-" of the "+".
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

// Counts the calls of Close, which a failing BeginDocument makes.
class CountingWriter : public XmlWriter {
public:
    void Close() override {
        ++m_closed;
        XmlWriter::Close();
    }
    int m_closed = 0;
};

// Concerns: the four states and every operation in each; what a failing BeginDocument leaves, by
// the step that failed; what lives how long.
using XmlWriterLife = XmlWriterTest;

TEST_F(XmlWriterLife, BeforeADocumentNothingSucceeds) {
    XmlWriter writer;
    ExpectNothingWrites(writer);
    EXPECT_FALSE(writer.EndElement());
    EXPECT_FALSE(writer.EndDocument());
    EXPECT_EQ("(none)", Bytes(writer));
    EXPECT_FALSE(writer.Save(m_dir.File("none.xml")));
    EXPECT_FALSE(std::filesystem::exists(m_dir.File("none.xml")));
    writer.Close();
    EXPECT_TRUE(writer.BeginDocument("UTF-8"));
}

TEST_F(XmlWriterLife, ASecondBeginFailsAndTheDocumentGoesOn) {
    CountingWriter writer;
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    ASSERT_TRUE(writer.BeginElement("a"));
    EXPECT_FALSE(writer.BeginDocument("UTF-8"));
    EXPECT_FALSE(writer.BeginDocument("no-such-encoding"));
    EXPECT_TRUE(writer.WriteAttribute("x", 1));
    EXPECT_EQ(0, writer.m_closed);
    EXPECT_EQ(Utf8 + "<a x=\"1\"/>\n", Finish(writer));
}

TEST_F(XmlWriterLife, AfterTheEndNothingIsWrittenAndTheDocumentStays) {
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    ASSERT_TRUE(writer.BeginElement("a"));
    const std::string document = Finish(writer);
    EXPECT_EQ(Utf8 + "<a/>\n", document);
    ExpectNothingWrites(writer);
    EXPECT_FALSE(writer.EndElement());
    EXPECT_FALSE(writer.EndDocument());
    EXPECT_EQ(document, Bytes(writer));
    writer.Close();
    EXPECT_EQ("(none)", Bytes(writer));
    EXPECT_FALSE(writer.Save(m_dir.File("none.xml")));
}

TEST_F(XmlWriterLife, ANewDocumentTakesThePlaceOfTheFinishedOne) {
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    ASSERT_TRUE(writer.WriteElement("old", "1"));
    ASSERT_TRUE(writer.EndDocument());
    EXPECT_EQ(1, g_buffers);
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    EXPECT_EQ(0, g_buffersBeforeCreation) << "the old one goes first";
    EXPECT_EQ(std::string::npos, Bytes(writer).find("old"));
    ASSERT_TRUE(writer.WriteElement("new", "2"));
    EXPECT_EQ(Utf8 + "<new>2</new>\n", Finish(writer));
}

TEST_F(XmlWriterLife, AFailedEndStillEndsTheWriting) {
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    ASSERT_TRUE(writer.WriteElement("a", "1"));
    g_failEndDocument = true;
    EXPECT_FALSE(writer.EndDocument());
    EXPECT_EQ(0, IconvSpy::live);
    EXPECT_EQ(Utf8 + "<a>1</a>", Bytes(writer)) << "what was written is flushed";
    EXPECT_TRUE(writer.BeginDocument("UTF-8"));
}

TEST_F(XmlWriterLife, WithoutABufferBeginFailsAndDoesNotClose) {
    CountingWriter writer;
    g_failBufferCreate = true;
    EXPECT_FALSE(writer.BeginDocument("UTF-8"));
    EXPECT_EQ(0, writer.m_closed);
    EXPECT_EQ("(none)", Bytes(writer));
    EXPECT_TRUE(writer.BeginDocument("UTF-8"));
}

TEST_F(XmlWriterLife, WithoutAWriterBeginFailsAndClosesAndCanBeRepeated) {
    CountingWriter writer;
    g_failNewWriter = true;
    EXPECT_FALSE(writer.BeginDocument("UTF-8"));
    EXPECT_EQ(1, writer.m_closed);
    EXPECT_EQ("(none)", Bytes(writer));
    EXPECT_FALSE(writer.EndDocument());
    EXPECT_TRUE(writer.BeginDocument("UTF-8"));
}

TEST_F(XmlWriterLife, AFailedBeginHasDroppedTheFinishedDocument) {
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    ASSERT_TRUE(writer.EndDocument());
    g_failBufferCreate = true;
    EXPECT_FALSE(writer.BeginDocument("UTF-8"));
    EXPECT_EQ("(none)", Bytes(writer));
}

// A writer whose BeginDocument failed over the encoding, in one of the two ways.
class XmlWriterStuck : public XmlWriterTest, public testing::WithParamInterface<NamedText> {
protected:
    void SetUp() override {
        ASSERT_EQ(0, xmlAddEncodingAlias("UTF-8", "HOUSE-ENCODING"));
        EXPECT_FALSE(m_writer.BeginDocument(GetParam().text));
        EXPECT_EQ(1, m_writer.m_closed);
    }
    void TearDown() override { xmlDelEncodingAlias("HOUSE-ENCODING"); }

    CountingWriter m_writer;
};

TEST_P(XmlWriterStuck, BeginsNoDocumentUntilTheEndAndThenAgain) {
    EXPECT_FALSE(m_writer.BeginDocument("UTF-8"));
    EXPECT_FALSE(m_writer.BeginDocument(GetParam().text));
    m_writer.Close();
    EXPECT_FALSE(m_writer.BeginDocument("UTF-8"));
    EXPECT_EQ(2, m_writer.m_closed) << "the failed attempts end before Close";
    EXPECT_EQ(1, g_buffers) << "the writer still points at it";
    EXPECT_TRUE(m_writer.EndDocument());
    EXPECT_EQ(0, g_buffers);
    EXPECT_EQ("(none)", Bytes(m_writer));
    EXPECT_FALSE(m_writer.EndDocument());
    ASSERT_TRUE(m_writer.BeginDocument("UTF-8"));
    EXPECT_TRUE(m_writer.WriteElement("a", "b"));
    EXPECT_EQ(Utf8 + "<a>b</a>\n", Finish(m_writer));
}

TEST_P(XmlWriterStuck, WritesAndHandsOutNothing) {
    ExpectNothingWrites(m_writer);
    EXPECT_FALSE(m_writer.EndElement());
    EXPECT_EQ("(none)", Bytes(m_writer));
    EXPECT_FALSE(m_writer.Save(m_dir.File("none.xml")));
    EXPECT_FALSE(std::filesystem::exists(m_dir.File("none.xml")));
    EXPECT_EQ(0, IconvSpy::live);
}

TEST_P(XmlWriterStuck, IsReleasedByTheDestructor) {
    // The leak check of the sanitizer build looks on.
    EXPECT_FALSE(m_writer.BeginDocument("UTF-8"));
}

INSTANTIATE_TEST_SUITE_P(Encoding, XmlWriterStuck,
                         testing::Values(NamedText{"UnknownToLibxml2", "no-such-encoding"},
                                         NamedText{"Empty", ""}, NamedText{"OfTheLocale", "char"},
                                         NamedText{"UnknownToIconv", "HOUSE-ENCODING"}),
                         VornTest::NameOfText);

TEST_F(XmlWriterLife, CloseInTheMiddleHidesTheBytesWhileTheWriterStillUsesThem) {
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    const std::string longName(200, 'n');
    for (int i = 0; i < 100; ++i)
        ASSERT_TRUE(writer.BeginElement(longName));
    ASSERT_TRUE(writer.WriteEntity("innermost"));
    EXPECT_NE("(none)", Bytes(writer));
    writer.Close();
    EXPECT_EQ(0, IconvSpy::live);
    EXPECT_EQ("(none)", Bytes(writer));
    EXPECT_FALSE(writer.Save(m_dir.File("none.xml")));
    ExpectNothingWrites(writer);
    writer.Close();
    EXPECT_FALSE(writer.BeginDocument("UTF-8"));
    // The end tags are more than the writer holds back, so they reach the hidden bytes.
    for (int i = 0; i < 60; ++i)
        EXPECT_TRUE(writer.EndElement());
    EXPECT_EQ("(none)", Bytes(writer));
    EXPECT_TRUE(writer.EndDocument());
    EXPECT_EQ("(none)", Bytes(writer));
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    ASSERT_TRUE(writer.WriteElement("a", "b"));
    EXPECT_EQ(Utf8 + "<a>b</a>\n", Finish(writer));
}

TEST_F(XmlWriterLife, IsReleasedInEveryState) {
    const auto begun = [](XmlWriter& writer) {
        EXPECT_TRUE(writer.BeginDocument("UTF-8"));
        EXPECT_TRUE(writer.BeginElement(std::string(10000, 'n')));
    };
    {
        XmlWriter writing;
        begun(writing);
    }
    {
        XmlWriter closed;
        begun(closed);
        closed.Close();
    }
    {
        XmlWriter finished;
        begun(finished);
        finished.EndDocument();
    }
    EXPECT_EQ(0, IconvSpy::live);
}

// A class that keeps Close from doing its work leaves the bytes in place; nothing breaks.
class NeverClosing : public XmlWriter {
public:
    void Close() override {}
};

TEST_F(XmlWriterLife, SurvivesAnOverriddenClose) {
    const std::unique_ptr<XmlWriter> writer = std::make_unique<NeverClosing>();
    EXPECT_FALSE(writer->BeginDocument("no-such-encoding"));
    EXPECT_FALSE(writer->BeginDocument("UTF-8"));
    EXPECT_TRUE(writer->EndDocument());
    EXPECT_TRUE(writer->BeginDocument("UTF-8"));
    writer->Close();
    EXPECT_TRUE(writer->WriteElement("a", "b"));
    EXPECT_EQ(Utf8 + "<a>b</a>\n", Finish(*writer));
}

// The operations that the class names virtual can all be replaced.
class Replaced : public XmlWriter {
public:
    bool BeginDocument(const std::string& encoding) override {
        return XmlWriter::BeginDocument(encoding) && BeginElement("wrapped");
    }
    bool EndDocument() override { return EndElement() && XmlWriter::EndDocument(); }
};

TEST_F(XmlWriterLife, BeginAndEndCanBeOverridden) {
    static_assert(std::has_virtual_destructor_v<XmlWriter>);
    const std::unique_ptr<XmlWriter> writer = std::make_unique<Replaced>();
    ASSERT_TRUE(writer->BeginDocument("UTF-8"));
    EXPECT_EQ(Utf8 + "<wrapped/>\n", Finish(*writer));
    EXPECT_FALSE(writer->EndDocument());
}

#ifdef __x86_64__
TEST_F(XmlWriterLife, BeginEndAndCloseFollowTheDestructorsInTheTableOfVirtualFunctions) {
    EXPECT_EQ(2, VornTest::SlotOf(&XmlWriter::BeginDocument));
    EXPECT_EQ(3, VornTest::SlotOf(&XmlWriter::EndDocument));
    EXPECT_EQ(4, VornTest::SlotOf(&XmlWriter::Close));
    EXPECT_EQ(-1, VornTest::SlotOf(&XmlWriter::Save));
}
#endif

TEST_F(XmlWriterLife, CannotBeCopied) {
    EXPECT_FALSE(std::is_copy_constructible_v<XmlWriter>);
    EXPECT_FALSE(std::is_copy_assignable_v<XmlWriter>);
}

TEST_F(XmlWriterLife, WithoutMemoryForItsDataStopsAtTheAssertion) {
#ifndef NDEBUG
    EXPECT_DEATH(
        {
            FailingNew::nothrowUntilFailure = 1;
            const XmlWriter writer;
        },
        R"(Bases/Impl/XmlDoc\.cpp.*XmlWriter.*m_pPrivateData != __null)");
#else
    FailingNew::nothrowUntilFailure = 1;
    XmlWriter writer;
    EXPECT_FALSE(writer.BeginDocument("UTF-8"));
    ExpectNothingWrites(writer);
    EXPECT_FALSE(writer.EndElement());
    EXPECT_FALSE(writer.EndDocument());
    EXPECT_EQ("(none)", Bytes(writer));
    EXPECT_FALSE(writer.Save(m_dir.File("none.xml")));
    writer.Close();
#endif
}

// Concerns: the two ways out, in all states; files that exist, cannot be opened or cannot take the
// bytes.
using XmlWriterOutput = XmlWriterTest;

TEST_F(XmlWriterOutput, TheBytesStayInPlaceUntilClose) {
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    ASSERT_TRUE(writer.WriteElement("a", "b"));
    ASSERT_TRUE(writer.EndDocument());
    unsigned long size = 0;
    unsigned char* const bytes = writer.GetXmlBuffer(size);
    ASSERT_NE(nullptr, bytes);
    EXPECT_EQ(Utf8.size() + 9, size);
    unsigned long again = 0;
    EXPECT_TRUE(writer.Save(m_dir.File("a.xml")));
    EXPECT_EQ(bytes, writer.GetXmlBuffer(again));
    EXPECT_EQ(size, again);
}

TEST_F(XmlWriterOutput, SaveWritesTheDocumentInPlaceOfWhatWasThere) {
    WriteFile(m_dir.File("a.xml"), std::string(5000, 'x'));
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    ASSERT_TRUE(writer.WriteElement("a", Hangul + "\n"));
    ASSERT_TRUE(writer.EndDocument());
    EXPECT_TRUE(writer.Save(m_dir.File("a.xml")));
    EXPECT_EQ(Utf8 + "<a>" + Hangul + "\n</a>\n", ReadFile(m_dir.File("a.xml")));
    EXPECT_TRUE(writer.Save(m_dir.File("b.xml"))) << "as often as wanted";
    EXPECT_EQ(Bytes(writer), ReadFile(m_dir.File("b.xml")));
}

TEST_F(XmlWriterOutput, SaveFailsWhereTheFileCannotBeOpened) {
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    ASSERT_TRUE(writer.EndDocument());
    std::string printed;
    EXPECT_EQ("", StderrOf([&] {
                  printed = StdoutOf([&] {
                      EXPECT_FALSE(writer.Save(m_dir.File("missing/a.xml")));
                      EXPECT_FALSE(writer.Save(m_dir.Path()));
                      EXPECT_FALSE(writer.Save(""));
                  });
              }));
    EXPECT_EQ("", printed);
    EXPECT_TRUE(writer.Save(m_dir.File("a.xml")));
}

TEST_F(XmlWriterOutput, SaveDoesNotNoticeAFullDisk) {
    if (access("/dev/full", W_OK) != 0)
        GTEST_SKIP() << "needs /dev/full";
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    ASSERT_TRUE(writer.EndDocument());
    EXPECT_TRUE(writer.Save("/dev/full"));
}

TEST_F(XmlWriterOutput, BeforeTheEndOnlyABeginningIsThere) {
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    ASSERT_TRUE(writer.BeginElement("r"));
    for (int i = 0; i < 2000; ++i)
        ASSERT_TRUE(writer.WriteElementEntity("number", i));
    const std::string early = Bytes(writer);
    EXPECT_TRUE(writer.Save(m_dir.File("early.xml")));
    EXPECT_EQ(early, ReadFile(m_dir.File("early.xml")));
    const std::string whole = Finish(writer);
    EXPECT_LT(0u, early.size());
    EXPECT_LT(early.size(), whole.size());
    EXPECT_EQ(whole.substr(0, early.size()), early);
}

// Concerns: as for the reader: no report reaches anybody, and the host's functions stand.
using XmlWriterSilence = XmlWriterTest;

// Leaves two bytes waiting in a document that cannot take them; libxml2 reports them with the call
// that makes it look.
void WriteWrongBytes(XmlWriter& writer) {
    EXPECT_TRUE(writer.BeginDocument("ISO-8859-1"));
    EXPECT_TRUE(writer.BeginElement("a"));
    EXPECT_TRUE(writer.WriteEntity(EAcute));
}

void LetWrongBytesBeSeen() {
    XmlWriter ending;
    WriteWrongBytes(ending);
    ending.EndDocument();

    // About 4000 bytes are held back. The elements stay below that, the end tags cross it.
    XmlWriter closing;
    WriteWrongBytes(closing);
    for (int i = 0; i < 800; ++i)
        EXPECT_TRUE(closing.BeginElement("e"));
    for (int i = 0; i < 800; ++i)
        closing.EndElement();

    XmlWriter writing;
    WriteWrongBytes(writing);
    EXPECT_FALSE(writing.WriteEntity(std::string(20000, 'x')));

    XmlWriter writingElement;
    WriteWrongBytes(writingElement);
    EXPECT_FALSE(writingElement.WriteElement("e", std::string(20000, 'x')));

    XmlWriter dropped;
    WriteWrongBytes(dropped);
}

// Everything that libxml2 would complain about.
void Misuse() {
    LetWrongBytesBeSeen();
    XmlWriter writer;
    EXPECT_FALSE(writer.BeginDocument("no-such-encoding"));
    EXPECT_TRUE(writer.EndDocument());
    EXPECT_TRUE(writer.BeginDocument("ISO-8859-1"));
    EXPECT_FALSE(writer.EndElement());
    EXPECT_FALSE(writer.WriteAttribute("a", "b"));
    EXPECT_TRUE(writer.BeginElement("a"));
    EXPECT_FALSE(writer.WriteEntity(Hangul));
    EXPECT_TRUE(writer.EndDocument());
    EXPECT_TRUE(writer.BeginDocument("UTF-7"));
    writer.WriteComment(EAcute);
    writer.Close();
}

TEST_F(XmlWriterSilence, NothingIsPrinted) {
    std::string printed;
    EXPECT_EQ("", StderrOf([&] { printed = StdoutOf(Misuse); }));
    EXPECT_EQ("", printed);
}

TEST_F(XmlWriterSilence, LeavesTheHostsErrorFunctionsUncalledAndInPlace) {
    HostErrors host;
    Misuse();
    EXPECT_EQ(0, host.Count());
    EXPECT_TRUE(host.Stand());
    XmlWriter writer;
    EXPECT_TRUE(writer.BeginDocument("UTF-8"));
    EXPECT_TRUE(host.Stand());
    EXPECT_TRUE(writer.WriteElement("a", "b"));
    EXPECT_TRUE(host.Stand());
    EXPECT_FALSE(writer.EndElement());
    EXPECT_TRUE(host.Stand());
    EXPECT_TRUE(writer.EndDocument());
    EXPECT_TRUE(host.Stand());
    writer.Close();
    EXPECT_TRUE(host.Stand());
    VornTest::ProvokeReport();
    EXPECT_LT(0, host.Count()) << "the host does see what is not ours";
}

// A host's own Close is called where the document could not be begun.
class ReportingClose : public XmlWriter {
public:
    void Close() override {
        VornTest::ProvokeReport();
        XmlWriter::Close();
    }
};

TEST_F(XmlWriterSilence, DoesNotReachIntoAHostsOwnClose) {
    HostErrors host;
    ReportingClose writer;
    EXPECT_FALSE(writer.BeginDocument("no such encoding"));
    EXPECT_LT(0, host.Count());
}

TEST_F(XmlWriterSilence, HoldsOnEveryThreadByItself) {
    const auto work = [] {
        HostErrors host;
        for (int i = 0; i < 50; ++i)
            Misuse();
        EXPECT_EQ(0, host.Count());
        EXPECT_TRUE(host.Stand());
    };
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(work);
    for (std::thread& thread : threads)
        thread.join();
}

// Concerns: what the header shows works as it stands.
using XmlWriterExample = XmlWriterTest;

TEST_F(XmlWriterExample, WritesAShop) {
    Vorn::XmlWriter writer;
    writer.BeginDocument("UTF-8");
    writer.BeginElement("shop");
    writer.WriteAttribute("items", 1);
    writer.WriteElementEntity("item", "salt & pepper");
    writer.EndElement();
    writer.EndDocument();
    writer.Save(m_dir.File("shop.xml"));
    EXPECT_EQ(Utf8 + "<shop items=\"1\"><item>salt &amp; pepper</item></shop>\n",
              ReadFile(m_dir.File("shop.xml")));
}

// Concerns: sizes of real use.
using XmlWriterSize = XmlWriterTest;

TEST_F(XmlWriterSize, WritesAHundredThousandElements) {
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    ASSERT_TRUE(writer.BeginElement("r"));
    for (int i = 0; i < 100000; ++i) {
        ASSERT_TRUE(writer.BeginElement("e"));
        ASSERT_TRUE(writer.WriteAttribute("n", i));
        ASSERT_TRUE(writer.WriteEntity(i));
        ASSERT_TRUE(writer.EndElement());
    }
    const auto parsed = Parse(Finish(writer));
    ASSERT_NE(nullptr, parsed);
    int expected = 0;
    for (const xmlNode* node = xmlDocGetRootElement(parsed.get())->children; node != nullptr;
         node = node->next) {
        ASSERT_EQ(std::to_string(expected), Attribute(node, "n"));
        ASSERT_EQ(std::to_string(expected), TextOf(xmlNodeGetContent(node)));
        ++expected;
    }
    EXPECT_EQ(100000, expected);
}

TEST_F(XmlWriterSize, WritesATextOfTenMillionCharacters) {
    std::string text;
    text.resize(10000000, 'x');
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    ASSERT_TRUE(writer.WriteElement("r", text));
    EXPECT_TRUE(Utf8 + "<r>" + text + "</r>\n" == Finish(writer));
    XmlReader reader;
    unsigned long size = 0;
    unsigned char* const bytes = writer.GetXmlBuffer(size);
    ASSERT_TRUE(reader.Load(bytes, size));
    std::string read;
    ASSERT_TRUE(reader.GetEntity(reader.GetRootElement(), read));
    EXPECT_TRUE(text == read);
}

TEST_F(XmlWriterSize, NestsAThousandElements) {
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    std::string expected = Utf8;
    for (int i = 0; i < 1000; ++i) {
        ASSERT_TRUE(writer.BeginElement("a"));
        expected += i < 999 ? "<a>" : "<a/>";
    }
    for (int i = 0; i < 999; ++i)
        expected += "</a>";
    EXPECT_EQ(expected + "\n", Finish(writer));
}

// Concerns: any order of calls gives the answers of a model that knows the state, the depth and
// whether a start tag is open, and the bytes that follow from them.
class XmlWriterOrder : public XmlWriterTest {
protected:
    enum class State { Idle, Writing, Finished, Stuck };

    unsigned Pick(unsigned count) { return static_cast<unsigned>(m_random()) % count; }

    void CloseTag() {
        if (m_tagOpen)
            m_written += ">";
        m_tagOpen = false;
    }

    void BeginElement() {
        const bool expected = m_state == State::Writing;
        EXPECT_EQ(expected, m_writer.BeginElement("e"));
        if (!expected)
            return;
        CloseTag();
        m_written += "<e";
        m_tagOpen = true;
        ++m_depth;
    }

    void EndElement() {
        EXPECT_EQ(m_depth > 0, m_writer.EndElement());
        if (m_depth == 0)
            return;
        --m_depth;
        m_written += m_tagOpen ? "/>" : "</e>";
        m_tagOpen = false;
    }

    void WriteAttribute() {
        const bool expected = m_state == State::Writing && m_tagOpen;
        EXPECT_EQ(expected, m_writer.WriteAttribute("a", 1));
        if (expected)
            m_written += " a=\"1\"";
    }

    void WriteInside(bool result, const std::string& text) {
        EXPECT_EQ(m_state == State::Writing, result);
        if (!result)
            return;
        CloseTag();
        m_written += text;
    }

    void BeginDocument() {
        const bool known = Pick(3) != 0;
        const bool possible = m_state == State::Idle || m_state == State::Finished;
        EXPECT_EQ(known && possible, m_writer.BeginDocument(known ? "UTF-8" : "no-such-encoding"));
        if (!possible)
            return;
        m_state = known ? State::Writing : State::Stuck;
        m_written = Utf8;
    }

    void EndDocument() {
        const bool expected = m_state == State::Writing || m_state == State::Stuck;
        EXPECT_EQ(expected, m_writer.EndDocument());
        if (!expected)
            return;
        while (m_depth > 0) {
            m_written += m_tagOpen ? "/>" : "</e>";
            m_tagOpen = false;
            --m_depth;
        }
        m_written += "\n";
        m_state = m_state == State::Writing ? State::Finished : State::Idle;
    }

    void Close() {
        m_writer.Close();
        m_state = m_state == State::Writing || m_state == State::Stuck ? State::Stuck : State::Idle;
    }

    void CheckBytes() {
        const std::string bytes = Bytes(m_writer);
        if (m_state == State::Finished)
            EXPECT_EQ(m_written, bytes);
        else if (m_state == State::Writing)
            EXPECT_EQ(m_written.substr(0, bytes.size()), bytes);
        else
            EXPECT_EQ("(none)", bytes);
        if (Pick(8) != 0)
            return;
        EXPECT_EQ(bytes != "(none)", m_writer.Save(m_dir.File("a.xml")));
    }

    void Step() {
        switch (Pick(24)) {
        case 0:
        case 1:
            return BeginDocument();
        case 2:
            return EndDocument();
        case 3:
            return Pick(3) == 0 ? Close() : CheckBytes();
        case 4:
        case 5:
            return EndElement();
        case 6:
        case 7:
        case 8:
            return BeginElement();
        case 9:
        case 10:
            return WriteAttribute();
        case 11:
            EXPECT_FALSE(m_writer.WriteElement("e", "\xFF"));
            EXPECT_FALSE(m_writer.WriteComment("\xFF"));
            return;
        case 12:
            return WriteInside(m_writer.WriteComment("c"), "<!--c-->");
        case 13:
            return WriteInside(m_writer.WriteElement("e", Hangul), "<e>" + Hangul + "</e>");
        case 14:
            return WriteInside(m_writer.WriteElementEntity("e", 7), "<e>7</e>");
        case 15:
            return CheckBytes();
        default:
            return WriteInside(m_writer.WriteEntity("<t>"), m_depth > 0 ? "&lt;t&gt;" : "<t>");
        }
    }

    std::mt19937 m_random;
    XmlWriter m_writer;
    State m_state = State::Idle;
    std::string m_written;
    int m_depth = 0;
    bool m_tagOpen = false;
};

TEST_F(XmlWriterOrder, NeverMatters) {
    for (unsigned seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        m_random.seed(seed);
        for (int step = 0; step < 1000 && !HasFailure(); ++step)
            Step();
    }
}

} // namespace
