// SPDX-License-Identifier: MIT
// Reading and writing XML while memory runs out.

#include <Bases/Xml.h>

#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include <libxml/catalog.h>
#include <libxml/globals.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <gtest/gtest.h>

#include <Bases/Impl/XmlSilence.h>
#include <Bases/Impl/XmlTextWriter.h>

#include "support/FailingXmlMemory.h"
#include "support/IconvSpy.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"
#include "support/Thorough.h"
#include "support/XmlTest.h"

namespace {

using Vorn::XmlReader;
using Vorn::XmlWriter;
using VornTest::FailingXmlMemory;
using VornTest::LoadText;
using VornTest::NamedText;
using VornTest::StderrOf;
using VornTest::StdoutOf;
using VornTest::SweepXmlMemory;
using VornTest::WriteFile;

const std::string Utf8 = R"(<?xml version="1.0" encoding="UTF-8"?>)";

std::string Declared(const std::string& encoding) {
    return R"(<?xml version="1.0" encoding=")" + encoding + R"("?>)";
}

// What the reader gives for `element` and all below it.
std::string Walk(XmlReader& reader, XmlReader::Element* element) {
    std::string name = "(fails)";
    reader.GetElement(element, name);
    std::string walked = "<" + name;
    for (XmlReader::Attribute* attribute = reader.GetFirstAttribute(element); attribute != nullptr;
         attribute = reader.NextAttribute(attribute)) {
        std::string value = "(fails)";
        reader.GetAttribute(attribute, name, value);
        walked += " " + name + "=" + value;
    }
    std::string text = "(none)";
    reader.GetEntity(element, text);
    walked += ">" + text;
    for (XmlReader::Element* child = reader.ChildElement(element); child != nullptr;
         child = reader.NextElement(child))
        walked += Walk(reader, child);
    return walked;
}

// An element as libxml2 prints it, with what the reader does not reach.
std::string Dump(xmlNode* element) {
    if (element == nullptr)
        return "(none)";
    xmlBuffer* const buffer = xmlBufferCreate();
    xmlNodeDump(buffer, element->doc, element, 0, 0);
    std::string dumped = reinterpret_cast<const char*>(xmlBufferContent(buffer));
    xmlBufferFree(buffer);
    return dumped;
}

// The handles are libxml2's nodes.
xmlNode* RootOf(XmlReader& reader) { return reinterpret_cast<xmlNode*>(reader.GetRootElement()); }

std::string Tree(XmlReader& reader) {
    return Dump(RootOf(reader)) + "\n" + Walk(reader, reader.GetRootElement());
}

// Concerns: one allocation of libxml2 that fails, each in turn, alone or with all after it: Load is
// false and leaves an empty reader, or true with all that is in the document; nothing is printed;
// nothing is lost; the next Load works.
class XmlReaderMemory : public VornTest::XmlTest {
protected:
    using Load = std::function<bool(XmlReader&)>;

    void Check(const Load& load, std::initializer_list<FailingXmlMemory::Mode> modes = {
                                     FailingXmlMemory::Once, FailingXmlMemory::FromThenOn}) {
        XmlReader reference;
        ASSERT_TRUE(load(reference));
        const std::string expected = Tree(reference);
        m_converters = VornTest::IconvSpy::live;
        const auto scenario = [&](FailingXmlMemory& memory) { CheckOnce(load, expected, memory); };
        for (const auto mode : modes)
            EXPECT_EQ("", StdoutOf([&] { SweepXmlMemory(mode, scenario); }));
    }

    void CheckOnce(const Load& load, const std::string& expected, FailingXmlMemory& memory) {
        XmlReader reader;
        const bool loaded = load(reader);
        memory.Recover();
        if (loaded)
            EXPECT_EQ(expected, Tree(reader));
        else
            EXPECT_EQ(nullptr, reader.GetRootElement());
        EXPECT_TRUE(loaded || memory.HasFailed());
        reader.Close();
        EXPECT_TRUE(m_libxml2Loses || memory.Lost() == 0);
        EXPECT_EQ(m_converters, VornTest::IconvSpy::live);
        EXPECT_TRUE(load(reader));
        EXPECT_EQ(expected, Tree(reader));
    }

    bool m_libxml2Loses = false; // blocks, when its own allocation fails
    int m_converters = 0;
};

class XmlReaderMemoryOf : public XmlReaderMemory, public testing::WithParamInterface<NamedText> {};

TEST_P(XmlReaderMemoryOf, FailsOrLoadsAllFromMemory) {
    Check([](XmlReader& reader) { return LoadText(reader, GetParam().text); });
}

TEST_P(XmlReaderMemoryOf, FailsOrLoadsAllFromAFile) {
    const std::string path = m_dir.File("a.xml");
    WriteFile(path, GetParam().text);
    XmlReader().Load(m_dir.File("missing.xml")); // lets libxml2 read the machine's catalogs
    Check([&](XmlReader& reader) { return reader.Load(path); });
}

std::string TwentyElements() {
    std::string document = Utf8 + "<shop>";
    for (int i = 0; i < 20; ++i) {
        const std::string number = std::to_string(i);
        document += "<item id='" + number + "' name='n" + number + "'>text " + number + "</item>";
    }
    return document + "</shop>";
}

std::string DeepElements() {
    std::string document = "x";
    for (int i = 0; i < 40; ++i) {
        const std::string name = "d" + std::to_string(i);
        document = "<" + name + ">" + document + "</" + name + ">";
    }
    return Utf8 + document;
}

std::string Namespaces() {
    std::string document = Utf8 + "<r xmlns='v' xmlns:empty='' empty:a='0'>";
    for (int i = 0; i < 30; ++i) {
        const std::string p = "p" + std::to_string(i);
        document += "<" + p + ":e xmlns:" + p + "='urn:" + p + "' xml:lang='en' " + p + ":a='2'/>";
    }
    return document + "</r>";
}

// Longer than what libxml2 keeps a place for, and ending in what is trimmed from an empty one.
std::string LongNamespaces() {
    const std::string uri = "urn:" + std::string(3000, 'y');
    return Utf8 + "<p:r xmlns:p='" + uri + ";' p:a='1'><q:e xmlns:q='" + uri + " '/></p:r>";
}

std::string UndeclaredPrefixes() {
    constexpr int Elements = VornTest::IsThorough ? 30 : 15; // libxml2 reports each
    std::string document = Utf8 + "<r>";
    for (int i = 0; i < Elements; ++i) {
        const std::string p = "p" + std::to_string(i);
        document += "<" + p + ":e " + p + ":a='1' " + p + ":b='2'/>";
    }
    return document + "</r>";
}

INSTANTIATE_TEST_SUITE_P(
    Document, XmlReaderMemoryOf,
    testing::Values(
        NamedText{"OfTwentyElements", TwentyElements()},
        NamedText{"OfDeepElements", DeepElements()}, NamedText{"WithNamespaces", Namespaces()},
        NamedText{"WithLongNamespaces", LongNamespaces()},
        NamedText{"WithUndeclaredPrefixes", UndeclaredPrefixes()},
        NamedText{"WithPiecesOfAllKinds",
                  Utf8 + "<!--c--><?pi x?><r a='1&lt;2'>t&#65;u<!--c--><![CDATA[d]]><?pi x?>"
                         "<b/>v</r><!--c-->"},
        NamedText{"WithEntities", Utf8 + "<!DOCTYPE r SYSTEM 'unread.dtd' [<!ENTITY e 'one'>"
                                         "<!ENTITY f 'two'>]><r a='&e; and &f;'>&e;&f;</r>"},
        NamedText{"InUtf16",
                  "\xFF\xFE" + VornTest::Utf16(Declared("UTF-16") + "<r a='b'>text</r>")}),
    VornTest::NameOfText);

TEST_F(XmlReaderMemory, FailsOrLoadsTextsThatGrowTheParsersBuffers) {
    std::string document = Declared("ISO-8859-1") + "<r>";
    for (int i = 0; i < 3; ++i)
        document += "<t a='" + std::string(300, 'v') + "'>" + std::string(3000, '\xE9') + "</t>";
    document += "</r>";
    const std::string path = m_dir.File("a.xml");
    WriteFile(path, document);
    Check([&](XmlReader& reader) { return reader.Load(path); });
    m_libxml2Loses = true;
    Check([&](XmlReader& reader) { return LoadText(reader, document); });
}

TEST_F(XmlReaderMemory, FailsOrLoadsTheTypesByWhichValuesAreTrimmed) {
    std::string types;
    std::string elements;
    for (int i = 0; i < 20; ++i) {
        const std::string name = "e" + std::to_string(i);
        types += "<!ATTLIST " + name + " a NMTOKEN #IMPLIED b CDATA #IMPLIED>";
        elements += "<" + name + " a=' x ' b=' y '/>";
    }
    const std::string document = Utf8 + "<!DOCTYPE r [" + types + "]><r>" + elements + "</r>";
    m_libxml2Loses = true;
    Check([&](XmlReader& reader) { return LoadText(reader, document); });
}

// libxml2 looks for such a name once more after the reader did.
TEST_F(XmlReaderMemory, FailsOrLoadsNamesWithPrefixesWhenTwoAllocationsInARowFail) {
    std::string document = Utf8 + "<r>";
    for (std::size_t i = 0; i < 8; ++i) {
        document += "<" + std::string(100 + i, 'p') + ":e/>";
        document += "<e " + std::string(100 + i, 'q') + ":a='1'/>";
    }
    document += "</r>";
    m_libxml2Loses = true;
    Check([&](XmlReader& reader) { return LoadText(reader, document); }, {FailingXmlMemory::Twice});
}

// Standard input is a pipe that holds a document; a catalog leads from a missing name to another.
TEST_F(XmlReaderMemory, NeverMakesTheReaderLookElsewhere) {
    const std::string document = Utf8 + "<a/>";
    const VornTest::StdinText input(document);
    WriteFile(m_dir.File("other.xml"), document);
    WriteFile(m_dir.File("catalog.xml"),
              "<catalog xmlns='urn:oasis:names:tc:entity:xmlns:xml:catalog'>"
              "<system systemId='moved.xml' uri='file://" +
                  m_dir.File("other.xml") + "'/></catalog>");
    ASSERT_EQ(0, xmlLoadCatalog(m_dir.File("catalog.xml").c_str()));
    EXPECT_FALSE(XmlReader().Load("moved.xml")) << "and libxml2 has read the catalog";
    SweepXmlMemory([&](FailingXmlMemory&) {
        XmlReader moved;
        EXPECT_FALSE(moved.Load("moved.xml"));
        XmlReader dash;
        EXPECT_FALSE(dash.Load("%2D"));
    });
    xmlCatalogCleanup();
    EXPECT_EQ(document, input.Left());
}

// Documents that are not quite right and still load; what the reader looks for in order to notice a
// loss is no loss there.
class XmlReaderOddity : public VornTest::XmlTest, public testing::WithParamInterface<NamedText> {};

TEST_P(XmlReaderOddity, LoadsAsLibxml2ParsesIt) {
    const std::string document = Utf8 + GetParam().text;
    xmlDoc* parsed = nullptr;
    StderrOf([&] {
        const int size = static_cast<int>(document.size());
        parsed = xmlReadMemory(document.data(), size, "odd.xml", nullptr, 0);
    });
    ASSERT_NE(nullptr, parsed);
    const std::string expected = Dump(xmlDocGetRootElement(parsed));
    xmlFreeDoc(parsed);
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, document));
    EXPECT_EQ(expected, Dump(RootOf(reader)));
}

INSTANTIATE_TEST_SUITE_P(
    Document, XmlReaderOddity,
    testing::Values(
        NamedText{"UndeclaredPrefix", "<p:r p:a='1'/>"},
        NamedText{"EmptyNamespace", "<p:r xmlns:p='' p:a='1'/>"},
        NamedText{"NamespaceOfAReferenceToASpaceThatIsTrimmed",
                  "<!DOCTYPE r [<!ATTLIST r xmlns:p NMTOKEN #IMPLIED>]><r xmlns:p='&#32;'/>"},
        NamedText{"NamespaceOfSpacesThatAreTrimmed",
                  "<!DOCTYPE r [<!ATTLIST r xmlns:p NMTOKEN #IMPLIED>]><r xmlns:p=' ' p:a='1'/>"},
        NamedText{"ForbiddenNamespace", "<r xmlns:xmlns='u' xmlns:xml='v'/>"},
        NamedText{"UndeclaredEntity", "<!DOCTYPE r SYSTEM 'unread.dtd'><r a='&e;1'>&e;</r>"},
        NamedText{"EntityDeclaredTwice", "<!DOCTYPE r [<!ENTITY e '1'><!ENTITY e '2'>]><r>&e;</r>"},
        NamedText{"PredefinedEntityDeclared",
                  "<!DOCTYPE r [<!ENTITY lt '&#38;#60;'><!ENTITY gt 'x'>]><r>&lt;&gt;</r>"},
        NamedText{"ParameterEntities", "<!DOCTYPE r [<!ENTITY % p '<!ATTLIST r a NMTOKEN \" x \">'>"
                                       "%p;<!ENTITY % unread SYSTEM 'u'>%unread;]><r/>"},
        NamedText{"UnparsedEntity", "<!DOCTYPE r [<!NOTATION n SYSTEM 'n'>"
                                    "<!ENTITY u SYSTEM 'u' NDATA n>]><r/>"},
        NamedText{"AttributesDeclaredTwice",
                  "<!DOCTYPE r [<!ATTLIST r a NMTOKEN #IMPLIED><!ATTLIST r a CDATA 'x'>]>"
                  "<r a=' 1 '/>"},
        NamedText{"AttributesWithPrefixes",
                  "<!DOCTYPE p:r [<!ATTLIST p:r p:a NMTOKENS ' x  y ' xml:lang NMTOKEN 'en' "
                  ": ID #IMPLIED>]><p:r xmlns:p='u' :=' 1 '/>"}),
    VornTest::NameOfText);

// Concerns: one allocation of libxml2 that fails, each in turn, alone or with all after it: an
// operation is false or has written all of its part; a document that is not whole does not end with
// true; nothing is lost but what libxml2 itself loses; the next document is whole.
class XmlWriterMemory : public VornTest::XmlTest {
protected:
    // Writes pieces, and returns what the document has to be: of each the text if it succeeded.
    std::string Write(XmlWriter& writer) {
        const auto piece = [this](bool result, const std::string& text) {
            m_all = m_all && result;
            return result ? text : "";
        };
        m_all = writer.BeginDocument("UTF-8") && writer.BeginElement("r");
        m_ended = false;
        if (!m_all)
            return writer.EndDocument() ? "(no root)" : "(none)";
        std::string tag = "<r";
        tag += piece(writer.WriteAttribute("a", "1<2" + m_euro), " a=\"1&lt;2" + m_euro + "\"");
        tag += piece(writer.WriteAttribute("n", 7), " n=\"7\"");
        std::string content = piece(writer.WriteEntity("x<y" + m_euro), "x&lt;y" + m_euro);
        content += piece(writer.WriteElement("e", m_long), "<e>" + m_long + "</e>");
        content += piece(writer.WriteComment("c"), "<!--c-->");
        content += piece(writer.WriteElementEntity("f", "g"), "<f>g</f>");
        content += piece(writer.WriteEntity(m_long), m_long);
        m_ended = writer.EndDocument();
        return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + tag +
               (content.empty() ? "/>\n" : ">" + content + "</r>\n");
    }

    // The document, without the empty element that a failed WriteElementEntity may leave.
    static std::string Bytes(XmlWriter& writer) {
        unsigned long size = 0;
        const unsigned char* const bytes = writer.GetXmlBuffer(size);
        std::string document(bytes, bytes + size);
        const std::size_t empty = document.find("<f/>");
        return empty == std::string::npos ? document : document.erase(empty, 4);
    }

    const std::string m_euro = "\xE2\x82\xAC";
    const std::string m_long = std::string(9000, 'x');
    bool m_all = false;   // every operation before the end succeeded
    bool m_ended = false; // and that
};

TEST_F(XmlWriterMemory, EndsNoDocumentInWhichASuccessfulPieceIsMissing) {
    XmlWriter reference;
    const std::string expected = Write(reference);
    ASSERT_TRUE(m_all && m_ended);
    ASSERT_EQ(expected, Bytes(reference));
    SweepXmlMemory([&](FailingXmlMemory& memory) {
        {
            XmlWriter writer;
            const std::string written = Write(writer);
            memory.Recover();
            EXPECT_TRUE(!m_ended || written == Bytes(writer)) << Bytes(writer);
            EXPECT_NE(m_all && m_ended, memory.HasFailed());
            EXPECT_EQ(expected, Write(writer));
            EXPECT_TRUE(m_all && m_ended);
            EXPECT_EQ(expected, Bytes(writer));
        }
        EXPECT_GE(2u, memory.Lost()) << "libxml2 itself loses an element and its name";
    });
}

TEST_F(XmlWriterMemory, FailsTheOperationInWhichItRunsOut) {
    SweepXmlMemory([&](FailingXmlMemory& memory) {
        bool known = false;
        const auto check = [&](bool result) {
            EXPECT_TRUE(known || result != memory.HasFailed());
            known = memory.HasFailed();
        };
        XmlWriter writer;
        check(writer.BeginDocument("UTF-8"));
        check(writer.BeginElement("r"));
        check(writer.WriteAttribute("a", "1<2" + m_euro));
        check(writer.WriteAttribute("n", 7));
        check(writer.WriteEntity("x<y" + m_euro));
        check(writer.WriteElement("e", m_long));
        check(writer.WriteComment("c"));
        check(writer.WriteEntity(m_long));
        check(writer.BeginElement("f"));
        check(writer.EndElement());
        check(writer.EndDocument());
    });
}

TEST_F(XmlWriterMemory, IsMissedInSilence) {
    EXPECT_EQ("", StderrOf([&] {
                  SweepXmlMemory([&](FailingXmlMemory&) {
                      XmlWriter writer;
                      Write(writer);
                  });
              }));
}

TEST_F(XmlWriterMemory, LeavesTheTextWriterClosedWithoutAny) {
    xmlBuffer* const buffer = xmlBufferCreate();
    Vorn::XmlTextWriter writer;
    {
        const FailingXmlMemory memory(1, FailingXmlMemory::FromThenOn);
        const Vorn::XmlSilence silence;
        EXPECT_FALSE(writer.Open(buffer));
    }
    EXPECT_FALSE(writer.IsOpen());
    EXPECT_EQ(nullptr, writer.Get());
    EXPECT_TRUE(writer.Open(buffer));
    writer.Close();
    xmlBufferFree(buffer);
}

// Reports, as the parser does right behind a declaration of a namespace, that it is empty.
// `buffered` is what the parser's buffer holds up to there. Returns whether that is taken for a
// namespace without memory.
bool IsTakenForLoss(std::string buffered, bool hasPrefix = true, bool hasParser = true) {
    const Vorn::XmlSilence silence;
    xmlParserInput input{};
    input.base = reinterpret_cast<const xmlChar*>(buffered.data());
    input.cur = input.base + buffered.size();
    xmlParserCtxt parser{};
    parser.input = &input;
    std::string prefix = "p";
    xmlError error{};
    error.code = XML_NS_ERR_XML_NAMESPACE;
    error.str1 = hasPrefix ? prefix.data() : nullptr;
    error.ctxt = hasParser ? &parser : nullptr;
    xmlStructuredError(xmlStructuredErrorContext, &error);
    return silence.HasLoss();
}

TEST(XmlNamespaceReport, IsOfLostMemoryWhereTheNamespaceIsNotEmpty) {
    EXPECT_TRUE(IsTakenForLoss(R"(<a xmlns:p="u")"));
    EXPECT_TRUE(IsTakenForLoss(R"(<a xmlns:p=' "u')"));
    EXPECT_TRUE(IsTakenForLoss(R"(<a xmlns:p="&#32;u")"));
    EXPECT_FALSE(IsTakenForLoss(R"(<a xmlns:p="")"));
    EXPECT_FALSE(IsTakenForLoss(R"(<a xmlns:p=" &#9;&#xA;")"));
}

TEST(XmlNamespaceReport, IsOfLostMemoryWhateverCharacterTheNamespaceIs) {
    for (char character = '!'; character <= '~'; ++character) {
        if (character == '"' || character == '&')
            continue;
        EXPECT_TRUE(IsTakenForLoss(std::string("<a xmlns:p=\"") + character + "\"")) << character;
    }
}

TEST(XmlNamespaceReport, IsJudgedByWhatTheBufferStillHolds) {
    EXPECT_TRUE(IsTakenForLoss(R"(u ")"));
    EXPECT_FALSE(IsTakenForLoss(R"( ")"));
    EXPECT_FALSE(IsTakenForLoss(R"(")"));
    EXPECT_FALSE(IsTakenForLoss(R"(<a xmlns:p="&#32")"));
}

TEST(XmlNamespaceReport, WithoutAPrefixOrAParserIsNotOfMemory) {
    EXPECT_FALSE(IsTakenForLoss(R"(<a xmlns:p="u")", false));
    EXPECT_FALSE(IsTakenForLoss(R"(<a xmlns:p="u")", true, false));
}

} // namespace
