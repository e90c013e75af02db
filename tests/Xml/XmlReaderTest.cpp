#include <Bases/Xml.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <libxml/catalog.h>
#include <libxml/encoding.h>
#include <libxml/tree.h>
#include <libxml/xmlIO.h>

#include <gtest/gtest.h>

#include <Bases/Utility.h>

#include "support/FailingNew.h"
#include "support/IconvSpy.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"
#include "support/XmlTest.h"

namespace {

using Vorn::Guid;
using Vorn::XmlReader;
using VornTest::FailingNew;
using VornTest::HostErrors;
using VornTest::IconvCall;
using VornTest::IconvSpy;
using VornTest::LoadText;
using VornTest::NamedText;
using VornTest::StderrOf;
using VornTest::StdoutOf;
using VornTest::WriteFile;

const std::string Utf8 = R"(<?xml version="1.0" encoding="UTF-8"?>)";

// One letter of two bytes and one of three, in UTF-8.
const std::string EAcute = "\xC3\xA9";
const std::string Euro = "\xE2\x82\xAC";

std::string Declared(const std::string& encoding) {
    return R"(<?xml version="1.0" encoding=")" + encoding + R"("?>)";
}

std::string Repeat(const std::string& text, int count) {
    std::string result;
    for (int i = 0; i < count; ++i)
        result += text;
    return result;
}

// The handles are libxml2's nodes.
xmlNode* NodeOf(XmlReader::Element* element) { return reinterpret_cast<xmlNode*>(element); }
xmlAttr* NodeOf(XmlReader::Attribute* attribute) { return reinterpret_cast<xmlAttr*>(attribute); }
XmlReader::Element* HandleOf(xmlNode* node) { return reinterpret_cast<XmlReader::Element*>(node); }

// Handles that crash when they are looked into.
XmlReader::Element* Dangling() { return reinterpret_cast<XmlReader::Element*>(8); }
XmlReader::Attribute* DanglingAttribute() { return reinterpret_cast<XmlReader::Attribute*>(8); }

std::string NameOf(XmlReader& reader, XmlReader::Element* element) {
    std::string name = "(fails)";
    reader.GetElement(element, name);
    return name;
}

std::string TextOf(XmlReader& reader, XmlReader::Element* element) {
    std::string text = "(fails)";
    reader.GetEntity(element, text);
    return text;
}

// The value of the root's first attribute.
std::string ValueOf(XmlReader& reader) {
    std::string name;
    std::string value = "(fails)";
    reader.GetAttribute(reader.GetFirstAttribute(reader.GetRootElement()), name, value);
    return value;
}

// Every operation on an empty reader fails, and looks into no handle.
void ExpectEmpty(XmlReader& reader) {
    EXPECT_EQ(nullptr, reader.GetRootElement());
    std::string name = "kept";
    EXPECT_EQ(nullptr, reader.ChildElement(Dangling(), &name));
    EXPECT_EQ(nullptr, reader.NextElement(Dangling(), &name));
    EXPECT_EQ(nullptr, reader.GetFirstAttribute(Dangling()));
    EXPECT_EQ(nullptr, reader.NextAttribute(DanglingAttribute()));
    EXPECT_FALSE(reader.GetElement(Dangling(), name));
    EXPECT_FALSE(reader.GetEntity(Dangling(), name));
    std::string value = "kept too";
    EXPECT_FALSE(reader.GetAttribute(DanglingAttribute(), name, value));
    unsigned int number = 77;
    EXPECT_FALSE(reader.GetAttribute(DanglingAttribute(), name, number));
    EXPECT_EQ("kept", name);
    EXPECT_EQ("kept too", value);
    EXPECT_EQ(77u, number);
}

using XmlReaderTest = VornTest::XmlTest;

// Concerns: what is accepted from memory and from files; what is refused, with which line on
// standard output and nothing on standard error; that a refusal leaves an empty reader that can
// load again; how libxml2 is asked; that files are meant and nothing else.
using XmlReaderLoad = XmlReaderTest;

TEST_F(XmlReaderLoad, TakesADocumentFromMemoryAndNeedsTheBytesNoLonger) {
    XmlReader reader;
    EXPECT_EQ("", StdoutOf([&] { EXPECT_TRUE(LoadText(reader, Utf8 + "<shop>open</shop>")); }));
    EXPECT_EQ("shop", NameOf(reader, reader.GetRootElement()));
    EXPECT_EQ("open", TextOf(reader, reader.GetRootElement()));
}

TEST_F(XmlReaderLoad, TakesADocumentFromAFile) {
    WriteFile(m_dir.File("shop.xml"), Utf8 + "<shop>open</shop>");
    XmlReader reader;
    EXPECT_EQ("", StdoutOf([&] { EXPECT_TRUE(reader.Load(m_dir.File("shop.xml"))); }));
    EXPECT_EQ("shop", NameOf(reader, reader.GetRootElement()));
    EXPECT_EQ("open", TextOf(reader, reader.GetRootElement()));
}

TEST_F(XmlReaderLoad, AsksForTheDocumentByItsPathOrAsNonameWithoutOptions) {
    WriteFile(m_dir.File("shop.xml"), Utf8 + "<a/>");
    XmlReader reader;
    ASSERT_TRUE(reader.Load(m_dir.File("shop.xml")));
    const xmlDoc* document = NodeOf(reader.GetRootElement())->doc;
    EXPECT_EQ(m_dir.File("shop.xml"), reinterpret_cast<const char*>(document->URL));
    EXPECT_EQ(0, document->parseFlags);

    reader.Close();
    ASSERT_TRUE(LoadText(reader, Utf8 + "<a/>"));
    document = NodeOf(reader.GetRootElement())->doc;
    EXPECT_STREQ("noname.xml", reinterpret_cast<const char*>(document->URL));
    EXPECT_EQ(0, document->parseFlags);
}

TEST_F(XmlReaderLoad, TakesAPathWithCharactersOfTheLocale) {
    const std::string path = m_dir.File("h" + EAcute + " 100%s.xml");
    WriteFile(path, Utf8 + "<a/>");
    XmlReader reader;
    EXPECT_TRUE(reader.Load(path));
}

TEST_F(XmlReaderLoad, RefusesNoBufferNoBytesAndMoreThanAnIntCounts) {
    std::string text = Utf8 + "<a/>";
    auto* bytes = reinterpret_cast<unsigned char*>(text.data());
    XmlReader reader;
    const std::string printed = StdoutOf([&] {
        EXPECT_FALSE(reader.Load(nullptr, text.size()));
        EXPECT_FALSE(reader.Load(bytes, 0));
        EXPECT_FALSE(reader.Load(bytes, INT_MAX + 1UL));
        EXPECT_FALSE(reader.Load(bytes, (1UL << 32) + text.size()));
        EXPECT_FALSE(reader.Load(bytes, ULONG_MAX));
    });
    EXPECT_EQ("", printed);
    ExpectEmpty(reader);
    EXPECT_TRUE(reader.Load(bytes, text.size()));
}

TEST_F(XmlReaderLoad, FailsWhileADocumentIsLoadedAndKeepsIt) {
    WriteFile(m_dir.File("other.xml"), Utf8 + "<other/>");
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<first/>"));
    EXPECT_FALSE(LoadText(reader, Utf8 + "<other/>"));
    EXPECT_FALSE(reader.Load(m_dir.File("other.xml")));
    EXPECT_EQ("first", NameOf(reader, reader.GetRootElement()));
    reader.Close();
    EXPECT_TRUE(reader.Load(m_dir.File("other.xml")));
}

TEST_F(XmlReaderLoad, PrintsALineForMemoryThatDeclaresNoEncoding) {
    for (const std::string text :
         {"<a/>", "<?xml version=\"1.0\"?><a/>", "<?xml version='1.0' standalone='yes'?><a/>"}) {
        XmlReader reader;
        bool result = true;
        EXPECT_EQ("[XmlDoc] Load from memory (not xml document)\n",
                  StdoutOf([&] { result = LoadText(reader, text); }));
        EXPECT_FALSE(result) << text;
        ExpectEmpty(reader);
        EXPECT_TRUE(LoadText(reader, Utf8 + "<a/>"));
    }
}

TEST_F(XmlReaderLoad, PrintsALineWithThePathAsGivenForAFileThatDeclaresNoEncoding) {
    std::filesystem::create_directory(m_dir.File("sub"));
    WriteFile(m_dir.File("50%d.xml"), "<a/>");
    const std::string path = m_dir.Path() + "/sub/.././50%d.xml";
    XmlReader reader;
    bool result = true;
    EXPECT_EQ("[XmlDoc] Load from file (" + path + " file is not xml document)\n",
              StdoutOf([&] { result = reader.Load(path); }));
    EXPECT_FALSE(result);
    ExpectEmpty(reader);
    WriteFile(m_dir.File("50%d.xml"), Utf8 + "<a/>");
    EXPECT_TRUE(reader.Load(path));
}

TEST_F(XmlReaderLoad, ANamelessEncodingIsMissingEvenWhereAByteOrderMarkTells) {
    const std::string wide = "\xFF\xFE" + VornTest::Utf16("<?xml version=\"1.0\"?><a/>");
    XmlReader reader;
    bool result = true;
    EXPECT_EQ("[XmlDoc] Load from memory (not xml document)\n",
              StdoutOf([&] { result = LoadText(reader, wide); }));
    EXPECT_FALSE(result);
}

class XmlReaderBroken : public XmlReaderTest, public testing::WithParamInterface<NamedText> {};

TEST_P(XmlReaderBroken, IsRefusedInSilence) {
    WriteFile(m_dir.File("broken.xml"), GetParam().text);
    XmlReader reader;
    std::string printed;
    EXPECT_EQ("", StderrOf([&] {
                  printed = StdoutOf([&] {
                      EXPECT_FALSE(LoadText(reader, GetParam().text));
                      EXPECT_FALSE(reader.Load(m_dir.File("broken.xml")));
                  });
              }));
    EXPECT_EQ("", printed);
    ExpectEmpty(reader);
    EXPECT_TRUE(LoadText(reader, Utf8 + "<a/>"));
}

INSTANTIATE_TEST_SUITE_P(
    Document, XmlReaderBroken,
    testing::Values(
        NamedText{"OfWords", "no xml at all"}, NamedText{"OfOneBracket", "<"},
        NamedText{"OfAZeroByte", std::string(1, '\0')}, NamedText{"WithoutElement", Utf8},
        NamedText{"NotEnded", Utf8 + "<a>"}, NamedText{"CutOffInAName", Utf8 + "<p:a"},
        NamedText{"WrongEndTag", Utf8 + "<a></b>"}, NamedText{"TwoRoots", Utf8 + "<a/><b/>"},
        NamedText{"DoubledAttribute", Utf8 + "<a x='1' x='2'/>"},
        NamedText{"ValueWithoutQuotes", Utf8 + "<a x=1/>"},
        NamedText{"UnknownEntity", Utf8 + "<a>&unknown;</a>"},
        NamedText{"OpenCdata", Utf8 + "<a><![CDATA[x</a>"},
        NamedText{"EntityInItself", Utf8 + "<!DOCTYPE a [<!ENTITY e '&e;'>]><a x='&e;'/>"},
        NamedText{"MalformedUtf8", Utf8 + "<a>\xFF</a>"},
        NamedText{"UnknownEncoding", Declared("no-such-encoding") + "<a/>"},
        NamedText{"EmptyEncoding", Declared("") + "<a/>"},
        NamedText{"NotInItsEncoding", Declared("UTF-16") + "<a/>"},
        NamedText{"EncodingOfTheLocale", Declared("char") + "<a/>"}),
    VornTest::NameOfText);

TEST_F(XmlReaderLoad, RefusesAFileThatCannotBeReadInSilence) {
    WriteFile(m_dir.File("empty.xml"), "");
    XmlReader reader;
    std::string printed;
    EXPECT_EQ("", StderrOf([&] {
                  printed = StdoutOf([&] {
                      EXPECT_FALSE(reader.Load(m_dir.File("missing.xml")));
                      EXPECT_FALSE(reader.Load(m_dir.File("empty.xml")));
                      EXPECT_FALSE(reader.Load(m_dir.Path()));
                      EXPECT_FALSE(reader.Load(""));
                  });
              }));
    EXPECT_EQ("", printed);
    ExpectEmpty(reader);
}

// libxml2 resolves the private name to an encoding, iconv does not know it.
TEST_F(XmlReaderLoad, RefusesAnEncodingThatOnlyLibxml2KnowsInSilence) {
    ASSERT_EQ(0, xmlAddEncodingAlias("UTF-8", "HOUSE-ENCODING"));
    WriteFile(m_dir.File("a.xml"), Declared("HOUSE-ENCODING") + "<a/>");
    XmlReader reader;
    std::string printed;
    EXPECT_EQ("", StderrOf([&] {
                  printed = StdoutOf([&] {
                      EXPECT_FALSE(LoadText(reader, Declared("HOUSE-ENCODING") + "<a/>"));
                      EXPECT_FALSE(reader.Load(m_dir.File("a.xml")));
                  });
              }));
    xmlDelEncodingAlias("HOUSE-ENCODING");
    EXPECT_EQ("", printed);
    EXPECT_EQ("HOUSE-ENCODING to char", IconvSpy::opened.front());
    ExpectEmpty(reader);
}

TEST_F(XmlReaderLoad, NeverReadsStandardInput) {
    const std::string document = Utf8 + "<a/>";
    const VornTest::StdinText input(document);
    XmlReader reader;
    for (const std::string& path : std::vector<std::string>{
             "-", "%2D", "%2d", "-%00", std::string("-\0x", 3), std::string("%2D\0x", 5)})
        EXPECT_FALSE(reader.Load(path)) << path;
    EXPECT_EQ(document, input.Left());
}

TEST_F(XmlReaderLoad, AFileWithTheNameOfADashNeedsItsDirectory) {
    WriteFile(m_dir.File("-"), Utf8 + "<dash/>");
    const std::filesystem::path old = std::filesystem::current_path();
    std::filesystem::current_path(m_dir.Path());
    XmlReader reader;
    EXPECT_FALSE(reader.Load("-"));
    EXPECT_TRUE(reader.Load("./-"));
    std::filesystem::current_path(old);
    EXPECT_EQ("dash", NameOf(reader, reader.GetRootElement()));
}

// Serves every address from memory, so that nothing reaches the network and every attempt counts.
struct AddressServer {
    static inline int asked = 0;

    static int Match(const char* name) {
        const std::string text = name;
        return text.find("://") != std::string::npos && text.find("file:") == std::string::npos;
    }
    static void* Open(const char*) {
        ++asked;
        return nullptr;
    }
    static int Read(void*, char*, int) { return -1; }
    static int Close(void*) { return 0; }
};

TEST_F(XmlReaderLoad, NeverAsksTheNetwork) {
    AddressServer::asked = 0;
    ASSERT_LE(0, xmlRegisterInputCallbacks(AddressServer::Match, AddressServer::Open,
                                           AddressServer::Read, AddressServer::Close));
    XmlReader reader;
    for (const std::string path :
         {"http://127.0.0.1:9/a.xml", "HTTP://127.0.0.1:9/a.xml", "hTTp://127.0.0.1:9/a.xml",
          "ftp://127.0.0.1:9/a.xml", "FTP://127.0.0.1:9/a.xml", "http://", "ftp://"})
        EXPECT_FALSE(reader.Load(path)) << path;
    EXPECT_EQ(0, AddressServer::asked);
    EXPECT_FALSE(reader.Load("house://127.0.0.1/a.xml"));
    EXPECT_EQ(1, AddressServer::asked) << "the server above sees what libxml2 is asked for";
    xmlPopInputCallbacks();
}

TEST_F(XmlReaderLoad, RefusesWhatACatalogWouldPutInThePlaceOfAMissingFile) {
    const std::string other = m_dir.File("other.xml");
    WriteFile(other, Utf8 + "<other/>");
    WriteFile(m_dir.File("catalog.xml"),
              "<catalog xmlns='urn:oasis:names:tc:entity:xmlns:xml:catalog'>"
              "<system systemId='moved.xml' uri='file://" +
                  other +
                  "'/>"
                  "<uri name='net.xml' uri='http://127.0.0.1:9/a.xml'/></catalog>");
    ASSERT_EQ(0, xmlLoadCatalog(m_dir.File("catalog.xml").c_str()));
    AddressServer::asked = 0;
    ASSERT_LE(0, xmlRegisterInputCallbacks(AddressServer::Match, AddressServer::Open,
                                           AddressServer::Read, AddressServer::Close));
    XmlReader reader;
    EXPECT_FALSE(reader.Load("moved.xml"));
    EXPECT_FALSE(reader.Load("net.xml"));
    EXPECT_EQ(0, AddressServer::asked);
    EXPECT_TRUE(reader.Load(other)) << "what is there is not looked up";
    xmlPopInputCallbacks();
    xmlCatalogCleanup();
}

TEST_F(XmlReaderLoad, LoadsNothingFromOutsideEvenWhereTheHostsDefaultsAskForIt) {
    WriteFile(m_dir.File("outside.txt"), "secret");
    WriteFile(m_dir.File("outside.dtd"), "<!ATTLIST a extra CDATA 'secret'>");
    WriteFile(m_dir.File("a.xml"), Utf8 + "<!DOCTYPE a SYSTEM 'outside.dtd' ["
                                          "<!ENTITY e SYSTEM 'outside.txt'>]><a>&e;</a>");
    const int substitute = xmlSubstituteEntitiesDefault(1);
    const int load = xmlLoadExtDtdDefaultValue;
    xmlLoadExtDtdDefaultValue = 6; // also completes attributes
    XmlReader reader;
    const bool loaded = reader.Load(m_dir.File("a.xml"));
    xmlSubstituteEntitiesDefault(substitute);
    xmlLoadExtDtdDefaultValue = load;
    ASSERT_TRUE(loaded);
    EXPECT_EQ("(fails)", TextOf(reader, reader.GetRootElement()));
    EXPECT_EQ(nullptr, reader.GetFirstAttribute(reader.GetRootElement()));
}

// Concerns: the walk sees elements only, in order; the optional name is an output and no filter;
// null and exhausted positions; what the attributes of an element are.
using XmlReaderWalk = XmlReaderTest;

TEST_F(XmlReaderWalk, TheRootIsTheOutermostElement) {
    XmlReader reader;
    EXPECT_EQ(nullptr, reader.GetRootElement());
    ASSERT_TRUE(LoadText(reader, Utf8 + "<!--c--><?pi x?>\n<root/><!--c-->"));
    EXPECT_EQ("root", NameOf(reader, reader.GetRootElement()));
}

TEST_F(XmlReaderWalk, VisitsElementsInOrderAndStepsOverEverythingElse) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r>\n text <!--c--><?pi x?><![CDATA[d]]><a><in/></a>\n"
                                        "tail <b/><!--c--><b/>end</r><!--after-->"));
    XmlReader::Element* const root = reader.GetRootElement();
    XmlReader::Element* const a = reader.ChildElement(root, nullptr);
    EXPECT_EQ("a", NameOf(reader, a));
    EXPECT_EQ("in", NameOf(reader, reader.ChildElement(a)));
    EXPECT_EQ(nullptr, reader.NextElement(reader.ChildElement(a), nullptr));
    XmlReader::Element* const b = reader.NextElement(a, nullptr);
    EXPECT_EQ("b", NameOf(reader, b));
    XmlReader::Element* const second = reader.NextElement(b);
    EXPECT_EQ("b", NameOf(reader, second));
    EXPECT_NE(b, second);
    EXPECT_EQ(nullptr, reader.NextElement(second, nullptr));
    EXPECT_EQ(nullptr, reader.ChildElement(b, nullptr));
    EXPECT_EQ(nullptr, reader.NextElement(root, nullptr));
}

TEST_F(XmlReaderWalk, HandsOutTheNameOfTheElementFoundAndAsksForNone) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r>\n<a/>\n<b/>\n</r>"));
    std::string name = "b";
    XmlReader::Element* const a = reader.ChildElement(reader.GetRootElement(), &name);
    EXPECT_EQ("a", name);
    name = "c";
    XmlReader::Element* const b = reader.NextElement(a, &name);
    EXPECT_EQ("b", name);
    EXPECT_EQ("b", NameOf(reader, b));
}

TEST_F(XmlReaderWalk, LeavesTheNameAloneWhereNothingIsFound) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r>text</r>"));
    std::string name = "kept";
    EXPECT_EQ(nullptr, reader.ChildElement(reader.GetRootElement(), &name));
    EXPECT_EQ(nullptr, reader.NextElement(reader.GetRootElement(), &name));
    EXPECT_EQ(nullptr, reader.ChildElement(nullptr, &name));
    EXPECT_EQ(nullptr, reader.NextElement(nullptr, &name));
    EXPECT_EQ("kept", name);
}

TEST_F(XmlReaderWalk, FindsAnElementWhoseNameCannotBeConverted) {
    UseLocale("C");
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r><h" + EAcute + "/><" + EAcute + "/></r>"));
    std::string name = "kept";
    XmlReader::Element* const first = reader.ChildElement(reader.GetRootElement(), &name);
    ASSERT_NE(nullptr, first);
    EXPECT_NE(nullptr, reader.NextElement(first, &name));
    EXPECT_FALSE(reader.GetElement(first, name));
    EXPECT_EQ("kept", name);
}

TEST_F(XmlReaderWalk, ListsAttributesInTheOrderOfTheDocument) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r z='1' a='2' m='3'><none/></r>"));
    std::string listed;
    for (XmlReader::Attribute* attribute = reader.GetFirstAttribute(reader.GetRootElement());
         attribute != nullptr; attribute = reader.NextAttribute(attribute)) {
        std::string name;
        std::string value;
        EXPECT_TRUE(reader.GetAttribute(attribute, name, value));
        listed.append(name).append("=").append(value).append(";");
    }
    EXPECT_EQ("z=1;a=2;m=3;", listed);
    EXPECT_EQ(nullptr, reader.GetFirstAttribute(reader.ChildElement(reader.GetRootElement())));
    EXPECT_EQ(nullptr, reader.GetFirstAttribute(nullptr));
    EXPECT_EQ(nullptr, reader.NextAttribute(nullptr));
}

TEST_F(XmlReaderWalk, DropsPrefixesAndCountsNamespacesAsNoAttributes) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<p:r xmlns='v' xmlns:p='u' p:q='x'/>"));
    EXPECT_EQ("r", NameOf(reader, reader.GetRootElement()));
    XmlReader::Attribute* const attribute = reader.GetFirstAttribute(reader.GetRootElement());
    std::string name;
    std::string value;
    EXPECT_TRUE(reader.GetAttribute(attribute, name, value));
    EXPECT_EQ("q", name);
    EXPECT_EQ("x", value);
    EXPECT_EQ(nullptr, reader.NextAttribute(attribute));
}

// Hosts put a different root under the operations of their own.
class FixedRoot : public XmlReader {
public:
    Element* GetRootElement() override { return m_pRoot; }
    Element* m_pRoot = nullptr;
};

TEST_F(XmlReaderWalk, TheRootAndTheDestructorCanBeOverridden) {
    static_assert(std::has_virtual_destructor_v<XmlReader>);
    auto reader = std::make_unique<FixedRoot>();
    ASSERT_TRUE(LoadText(*reader, Utf8 + "<r><a/></r>"));
    EXPECT_EQ(nullptr, static_cast<XmlReader&>(*reader).GetRootElement());
    reader->m_pRoot = reader->ChildElement(reader->XmlReader::GetRootElement());
    const std::unique_ptr<XmlReader> base = std::move(reader);
    EXPECT_EQ("a", NameOf(*base, base->GetRootElement()));
}

#ifdef __x86_64__
TEST_F(XmlReaderWalk, TheRootFollowsTheDestructorsInTheTableOfVirtualFunctions) {
    EXPECT_EQ(2, VornTest::SlotOf(&XmlReader::GetRootElement));
    EXPECT_EQ(-1, VornTest::SlotOf(&XmlReader::Close));
}
#endif

// Concerns: which piece of an element counts as its text; outputs stay as they were on failure;
// values that libxml2 keeps without a node or without content.
using XmlReaderText = XmlReaderTest;

TEST_F(XmlReaderText, IsThePieceThatTheElementBeginsWith) {
    XmlReader reader;
    const std::pair<const char*, const char*> cases[] = {
        {"<r>hello</r>", "hello"},
        {"<r> \n </r>", " \n "},
        {"<r>one<b/>two</r>", "one"},
        {"<r>one<!--c-->two</r>", "one"},
        {"<r>a&lt;b&amp;c&#65;&#x42;</r>", "a<b&cAB"},
        {"<r>one<![CDATA[two]]></r>", "one"},
        {"<r/>", "(fails)"},
        {"<r></r>", "(fails)"},
        {"<r><b/>text</r>", "(fails)"},
        {"<r><!--c-->text</r>", "(fails)"},
        {"<r><?pi x?>text</r>", "(fails)"},
        {"<r><![CDATA[text]]></r>", "(fails)"},
        {"<!DOCTYPE r [<!ENTITY e 'text'>]><r>&e;</r>", "(fails)"},
    };
    for (const auto& [document, expected] : cases) {
        ASSERT_TRUE(LoadText(reader, Utf8 + document)) << document;
        EXPECT_EQ(expected, TextOf(reader, reader.GetRootElement())) << document;
        reader.Close();
    }
}

TEST_F(XmlReaderText, FailsForNullWithTheOutputsAsTheyWere) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r/>"));
    std::string name = "kept";
    std::string value = "kept too";
    EXPECT_FALSE(reader.GetElement(nullptr, name));
    EXPECT_FALSE(reader.GetEntity(nullptr, name));
    EXPECT_FALSE(reader.GetAttribute(nullptr, name, value));
    EXPECT_EQ("kept", name);
    EXPECT_EQ("kept too", value);
}

TEST_F(XmlReaderText, ReadsAnAttributeWithoutAValueAsEmpty) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r a=''/>"));
    EXPECT_EQ("", ValueOf(reader));

    // Whether an empty value has a node is up to libxml2; take it away.
    xmlAttr* const attribute = NodeOf(reader.GetFirstAttribute(reader.GetRootElement()));
    xmlFreeNodeList(attribute->children);
    attribute->children = attribute->last = nullptr;
    EXPECT_EQ("", ValueOf(reader));
    std::string name;
    double number = 7;
    EXPECT_TRUE(
        reader.GetAttribute(reader.GetFirstAttribute(reader.GetRootElement()), name, number));
    EXPECT_EQ(0.0, number);
}

TEST_F(XmlReaderText, ReadsAValueWhoseFirstNodeHasNoContentAsEmpty) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r a='x'/>"));
    xmlAttr* const attribute = NodeOf(reader.GetFirstAttribute(reader.GetRootElement()));
    xmlFreeNodeList(attribute->children);
    attribute->children = attribute->last =
        xmlNewReference(attribute->doc, reinterpret_cast<const xmlChar*>("unknown"));
    ASSERT_NE(nullptr, attribute->children);
    ASSERT_EQ(nullptr, attribute->children->content);
    EXPECT_EQ("", ValueOf(reader));
}

TEST_F(XmlReaderText, OfAValueOnlyTheFirstPieceIsRead) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<!DOCTYPE r [<!ENTITY e 'ent'>]><r a='one&e;two'/>"));
    EXPECT_EQ("one", ValueOf(reader));
    reader.Close();
    ASSERT_TRUE(LoadText(reader, Utf8 + "<!DOCTYPE r [<!ENTITY e 'ent'>]><r a='&e;two'/>"));
    EXPECT_EQ("ent", ValueOf(reader));
    reader.Close();
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r a='1&lt;2 &#65;'/>"));
    EXPECT_EQ("1<2 A", ValueOf(reader));
}

TEST_F(XmlReaderText, SetsTheNameOfAnAttributeWhoseValueFails) {
    UseLocale("C");
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r a='" + EAcute + "' " + EAcute + "='b'/>"));
    XmlReader::Attribute* const first = reader.GetFirstAttribute(reader.GetRootElement());
    std::string name = "old";
    std::string value = "kept";
    EXPECT_FALSE(reader.GetAttribute(first, name, value));
    EXPECT_EQ("a", name);
    EXPECT_EQ("kept", value);
    EXPECT_FALSE(reader.GetAttribute(reader.NextAttribute(first), name, value));
    EXPECT_EQ("a", name);
    EXPECT_EQ("kept", value);
}

// Concerns: each type's own narrowing at and beyond its ends; texts that are no numbers; the three
// answers of an identifier; a failing text leaves the value as it was.
class XmlReaderValue : public XmlReaderTest {
protected:
    // Reads the value of an attribute that is written as `text`.
    template <typename Type>
    Type Read(const std::string& text, Type value = Type()) {
        XmlReader reader;
        EXPECT_TRUE(LoadText(reader, Utf8 + "<r a='" + text + "'/>"));
        std::string name;
        EXPECT_TRUE(
            reader.GetAttribute(reader.GetFirstAttribute(reader.GetRootElement()), name, value));
        EXPECT_EQ("a", name);
        return value;
    }
};

TEST_F(XmlReaderValue, UnsignedLongIsAnIntWithItsSign) {
    EXPECT_EQ(0ul, Read<unsigned long>("0", 9));
    EXPECT_EQ(2147483647ul, Read<unsigned long>("2147483647"));
    EXPECT_EQ(ULONG_MAX, Read<unsigned long>("-1"));
    EXPECT_EQ(0xFFFFFFFF80000000ul, Read<unsigned long>("-2147483648"));
    EXPECT_EQ(0xFFFFFFFF80000000ul, Read<unsigned long>("2147483648"));
    EXPECT_EQ(ULONG_MAX, Read<unsigned long>("4294967295"));
    EXPECT_EQ(1ul, Read<unsigned long>("4294967297"));
    EXPECT_EQ(ULONG_MAX, Read<unsigned long>("99999999999999999999999"));
    EXPECT_EQ(0ul, Read<unsigned long>("-99999999999999999999999", 9));
}

TEST_F(XmlReaderValue, UnsignedIntIsAnInt) {
    EXPECT_EQ(2147483647u, Read<unsigned int>("2147483647"));
    EXPECT_EQ(4294967295u, Read<unsigned int>("-1"));
    EXPECT_EQ(4294967295u, Read<unsigned int>("4294967295"));
    EXPECT_EQ(1u, Read<unsigned int>("4294967297"));
}

TEST_F(XmlReaderValue, UnsignedCharIsTheLowByteOfAnInt) {
    EXPECT_EQ(255, Read<unsigned char>("255"));
    EXPECT_EQ(44, Read<unsigned char>("300"));
    EXPECT_EQ(255, Read<unsigned char>("-1"));
    EXPECT_EQ(0, Read<unsigned char>("256", 9));
}

TEST_F(XmlReaderValue, NumbersSkipWhiteSpaceAndStopAtTheFirstUnusableCharacter) {
    EXPECT_EQ(12ul, Read<unsigned long>("  12abc"));
    EXPECT_EQ(12u, Read<unsigned int>("+12.9"));
    EXPECT_EQ(0u, Read<unsigned int>("0x10", 9));
    EXPECT_EQ(7, Read<unsigned char>(" 07 8"));
    EXPECT_EQ(-12.5, Read<double>("  -1.25e1x"));
}

TEST_F(XmlReaderValue, TextWithoutANumberIsZeroAndNoFailure) {
    for (const std::string text : {"abc", "", "-", "x12"}) {
        EXPECT_EQ(0ul, Read<unsigned long>(text, 9)) << text;
        EXPECT_EQ(0u, Read<unsigned int>(text, 9)) << text;
        EXPECT_EQ(0, Read<unsigned char>(text, 9)) << text;
        EXPECT_EQ(0.0, Read<double>(text, 9)) << text;
    }
}

TEST_F(XmlReaderValue, DoubleFollowsTheLocalesDecimalPoint) {
    EXPECT_EQ(1.5, Read<double>("1.5"));
    UseLocale(VornTest::Latin1Locale);
    EXPECT_EQ(1.0, Read<double>("1.5"));
    EXPECT_EQ(1.5, Read<double>("1,5"));
}

TEST_F(XmlReaderValue, GuidIsReadInItsForms) {
    Guid expected;
    ASSERT_TRUE(expected.FromString("12345678-9abc-def0-1234-56789abcdef0"));
    for (const std::string text :
         {"12345678-9abc-def0-1234-56789abcdef0", "{12345678-9ABC-DEF0-1234-56789ABCDEF0}",
          "123456789abcdef0123456789abcdef0"})
        EXPECT_EQ(expected, Read<Guid>(text)) << text;
}

TEST_F(XmlReaderValue, GuidStaysAsItWasForAnEmptyTextAndForZeros) {
    Guid old;
    ASSERT_TRUE(old.FromString("12345678-9abc-def0-1234-56789abcdef0"));
    EXPECT_EQ(old, Read<Guid>("", old));
    EXPECT_EQ(old, Read<Guid>("00000000-0000-0000-0000-000000000000", old));
}

TEST_F(XmlReaderValue, GuidThrowsForAMalformedTextAndTheReaderGoesOn) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r a='1234'/>"));
    XmlReader::Attribute* const attribute = reader.GetFirstAttribute(reader.GetRootElement());
    Guid value;
    ASSERT_TRUE(value.FromString("12345678-9abc-def0-1234-56789abcdef0"));
    const Guid old = value;
    std::string name;
    try {
        reader.GetAttribute(attribute, name, value);
        ADD_FAILURE() << "nothing thrown";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ("invalid uuid string", e.what());
    }
    EXPECT_EQ(old, value);
    EXPECT_EQ("a", name);
    EXPECT_EQ("1234", ValueOf(reader));
}

// Null, and a value that the locale lacks, for every type.
template <typename Type>
class XmlReaderFailingValue : public XmlReaderTest {};

using ValueTypes = testing::Types<unsigned long, unsigned int, unsigned char, double, Guid>;
TYPED_TEST_SUITE(XmlReaderFailingValue, ValueTypes);

TYPED_TEST(XmlReaderFailingValue, StaysAsItWas) {
    TypeParam value;
    std::memset(static_cast<void*>(&value), 0x11, sizeof value);
    const TypeParam old = value;
    this->UseLocale("C");
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r a='7" + EAcute + "'/>"));
    XmlReader::Attribute* const attribute = reader.GetFirstAttribute(reader.GetRootElement());
    std::string name;
    EXPECT_FALSE(reader.GetAttribute(nullptr, name, value));
    EXPECT_FALSE(reader.GetAttribute(attribute, name, value));
    reader.Close();
    EXPECT_FALSE(reader.GetAttribute(DanglingAttribute(), name, value));
    EXPECT_TRUE(old == value);
}

// Concerns: texts come in the locale's encoding; the converter is opened once per document, from
// the declared encoding and not from the UTF-8 that libxml2 keeps; the one call with its exact
// room; what the scratch array holds between conversions.
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

TEST_F(XmlReaderEncoding, ConvertsInOneCallWithTheTerminatorAndTenBytesOfRoomMore) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<name a=''>" + std::string(5000, 'x') + "</name>"));
    EXPECT_TRUE(IconvSpy::calls.empty());
    NameOf(reader, reader.GetRootElement());
    TextOf(reader, reader.GetRootElement());
    ValueOf(reader);
    EXPECT_EQ((std::vector<IconvCall>{{5, 14}, {5001, 5010}, {2, 11}, {1, 10}}), IconvSpy::calls);
}

// Read as UTF-16, "abc" and its terminator are two characters and no terminator, so what stands in
// the scratch array behind them shows.
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

TEST_F(XmlReaderScratch, KeepsWhatAnEarlierTextLeftBehindAShorterOne) {
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
    ASSERT_EQ(13u, name.size()) << "more than the room that a text of one byte asks for";
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
    XmlReader reader;
    const std::string document =
        Utf8 + "<r a='" + std::string(4087, 'x') + "'>" + std::string(4086, 'x') + "</r>";
    ASSERT_TRUE(LoadText(reader, document));
    TextOf(reader, reader.GetRootElement());
    NameOf(reader, reader.GetRootElement());
    char* const first = IconvSpy::calls.back().output;
    EXPECT_EQ(first, IconvSpy::calls.front().output) << "4096 bytes are there from the start";
    EXPECT_EQ(4096u, IconvSpy::calls.front().room);

    FailingNew::failFrom = 4097;
    EXPECT_EQ("(fails)", ValueOf(reader)) << "one byte more has to be fetched";
    EXPECT_EQ(4086u, TextOf(reader, reader.GetRootElement()).size());
    FailingNew::failFrom = 0;
    EXPECT_EQ(4087u, ValueOf(reader).size());
    char* const grown = IconvSpy::calls.back().output;
    NameOf(reader, reader.GetRootElement());
    EXPECT_EQ(grown, IconvSpy::calls.back().output);

    reader.Close();
    FailingNew::failFrom = 4096;
    EXPECT_TRUE(LoadText(reader, Utf8 + "<r/>")) << "Close keeps the room";
    FailingNew::failFrom = 0;
}

// Concerns: nothing reaches standard error or the host's error functions, whatever happens; the
// host's functions, or none, stand afterwards; threads do not disturb each other.
using XmlReaderSilence = XmlReaderTest;

TEST_F(XmlReaderSilence, LeavesTheHostsErrorFunctionsUncalledAndInPlace) {
    HostErrors host;
    XmlReader reader;
    EXPECT_FALSE(LoadText(reader, Utf8 + "<a>&undefined;</b>"));
    EXPECT_TRUE(host.Stand());
    EXPECT_FALSE(LoadText(reader, Declared("no-such-encoding") + "<a/>"));
    EXPECT_FALSE(reader.Load(m_dir.File("missing.xml")));
    EXPECT_FALSE(reader.Load("-"));
    EXPECT_TRUE(host.Stand());
    // Well-formed, and still worth a report to libxml2: an undeclared prefix.
    EXPECT_TRUE(LoadText(reader, Utf8 + "<p:a/>"));
    EXPECT_TRUE(host.Stand());
    reader.Close();
    EXPECT_TRUE(host.Stand());
    EXPECT_EQ(0, host.Count());

    VornTest::ProvokeReport();
    EXPECT_LT(0, host.Count()) << "the host does see what is not ours";
}

TEST_F(XmlReaderSilence, RestoresTheAbsenceOfErrorFunctions) {
    ASSERT_EQ(nullptr, xmlStructuredError);
    const xmlGenericErrorFunc generic = xmlGenericError;
    XmlReader reader;
    EXPECT_FALSE(LoadText(reader, "<a"));
    EXPECT_EQ(nullptr, xmlStructuredError);
    EXPECT_EQ(nullptr, xmlStructuredErrorContext);
    EXPECT_EQ(generic, xmlGenericError);
    EXPECT_EQ(nullptr, xmlGenericErrorContext);
    EXPECT_NE("", StderrOf([] { VornTest::ProvokeReport(); }));
}

// What libxml2 says about its catalogs goes past the structured function.
TEST_F(XmlReaderSilence, CoversUnstructuredReports) {
    HostErrors host;
    xmlCatalogSetDebug(1);
    XmlReader reader;
    EXPECT_FALSE(reader.Load(m_dir.File("missing.xml")));
    EXPECT_EQ(0, host.Count());
    xmlFreeDoc(xmlReadFile(m_dir.File("missing.xml").c_str(), nullptr, 0));
    EXPECT_LT(1, host.Count()) << "the host does see what is not ours";
    xmlCatalogSetDebug(0);
}

TEST_F(XmlReaderSilence, HoldsOnEveryThreadByItself) {
    const auto work = [this] {
        HostErrors host;
        for (int i = 0; i < 50; ++i) {
            XmlReader reader;
            EXPECT_FALSE(LoadText(reader, Utf8 + "<a>"));
            EXPECT_FALSE(reader.Load(m_dir.File("missing.xml")));
            EXPECT_EQ(0, host.Count());
            EXPECT_TRUE(host.Stand());
        }
        VornTest::ProvokeReport();
        EXPECT_LT(0, host.Count());
    };
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(work);
    for (std::thread& thread : threads)
        thread.join();
}

// Concerns: the states empty and loaded, with every operation in each; what is released when; a
// constructor without memory.
using XmlReaderLife = XmlReaderTest;

TEST_F(XmlReaderLife, StartsEmpty) {
    XmlReader reader;
    ExpectEmpty(reader);
    reader.Close();
    ExpectEmpty(reader);
}

TEST_F(XmlReaderLife, IsEmptyAfterCloseAndLoadsAgain) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r a='1'>text</r>"));
    XmlReader::Element* const stale = reader.GetRootElement();
    XmlReader::Attribute* const staleAttribute = reader.GetFirstAttribute(stale);
    reader.Close();
    EXPECT_EQ(0, IconvSpy::live);
    ExpectEmpty(reader);
    EXPECT_EQ(nullptr, reader.ChildElement(stale, nullptr));
    EXPECT_EQ(nullptr, reader.NextAttribute(staleAttribute));
    reader.Close();
    ASSERT_TRUE(LoadText(reader, Utf8 + "<again/>"));
    EXPECT_EQ("again", NameOf(reader, reader.GetRootElement()));
}

TEST_F(XmlReaderLife, TheDestructorReleasesTheConverter) {
    {
        XmlReader reader;
        ASSERT_TRUE(LoadText(reader, Utf8 + "<r/>"));
        EXPECT_EQ(1, IconvSpy::live);
    }
    EXPECT_EQ(0, IconvSpy::live);
}

TEST_F(XmlReaderLife, CannotBeCopied) {
    EXPECT_FALSE(std::is_copy_constructible_v<XmlReader>);
    EXPECT_FALSE(std::is_copy_assignable_v<XmlReader>);
}

TEST_F(XmlReaderLife, WithoutMemoryForItsDataStopsAtTheAssertion) {
    for (const int failing : {1, 2}) {
#ifndef NDEBUG
        EXPECT_DEATH(
            {
                FailingNew::nothrowUntilFailure = failing;
                const XmlReader reader;
            },
            R"(Bases/Impl/XmlDoc\.cpp.*XmlReader.*m_pPrivateData != __null)");
#else
        FailingNew::nothrowUntilFailure = failing;
        XmlReader reader;
        EXPECT_FALSE(LoadText(reader, Utf8 + "<r/>"));
        EXPECT_FALSE(reader.Load("missing.xml"));
        ExpectEmpty(reader);
        reader.Close();
#endif
    }
    FailingNew::nothrowUntilFailure = 0;
}

TEST_F(XmlReaderLife, LoadWithoutMemoryForTheScratchArrayFailsAndEndsEmpty) {
    XmlReader reader;
    FailingNew::failFrom = 4096;
    EXPECT_FALSE(LoadText(reader, Utf8 + "<r/>"));
    FailingNew::failFrom = 0;
    ExpectEmpty(reader);
    EXPECT_EQ(0, IconvSpy::live);
    EXPECT_TRUE(LoadText(reader, Utf8 + "<r/>"));
}

// Concerns: what the header shows works as it stands.
using XmlReaderExample = XmlReaderTest;

TEST_F(XmlReaderExample, ReadsAShop) {
    unsigned char text[] = R"(<?xml version="1.0" encoding="UTF-8"?><shop><item id="7"/></shop>)";
    Vorn::XmlReader reader;
    std::string name;
    std::string attributeName;
    unsigned int id = 0;
    if (reader.Load(text, sizeof text - 1)) {
        Vorn::XmlReader::Element* item = reader.ChildElement(reader.GetRootElement(), &name);
        reader.GetAttribute(reader.GetFirstAttribute(item), attributeName, id);
    }
    EXPECT_EQ("item", name);
    EXPECT_EQ("id", attributeName);
    EXPECT_EQ(7u, id);
}

// Concerns: sizes of real use, up to libxml2's limits.
using XmlReaderSize = XmlReaderTest;

TEST_F(XmlReaderSize, WalksAHundredThousandElements) {
    std::string document = Utf8 + "<r>";
    for (int i = 0; i < 100000; ++i)
        document += "<e n='" + std::to_string(i) + "'>" + std::to_string(i) + "</e>";
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, document + "</r>"));
    unsigned int expected = 0;
    std::string name;
    for (XmlReader::Element* element = reader.ChildElement(reader.GetRootElement(), &name);
         element != nullptr; element = reader.NextElement(element, &name)) {
        unsigned int number = 0;
        ASSERT_EQ("e", name);
        ASSERT_TRUE(reader.GetAttribute(reader.GetFirstAttribute(element), name, number));
        ASSERT_EQ(expected, number);
        ASSERT_EQ(std::to_string(expected), TextOf(reader, element));
        ++expected;
    }
    EXPECT_EQ(100000u, expected);
}

TEST_F(XmlReaderSize, ReadsATextOfTenMillionCharacters) {
    std::string text;
    text.resize(10000000, 'x');
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r>" + text + "</r>"));
    EXPECT_TRUE(text == TextOf(reader, reader.GetRootElement()));
    EXPECT_EQ("r", NameOf(reader, reader.GetRootElement()));
}

TEST_F(XmlReaderSize, TakesTwoHundredAndFiftySixNestedElementsButNotManyMore) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + Repeat("<a>", 256) + Repeat("</a>", 256)));
    reader.Close();
    EXPECT_FALSE(LoadText(reader, Utf8 + Repeat("<a>", 300) + Repeat("</a>", 300)));
}

// Concerns: any order of calls gives the answers of a model: empty, or a document whose tree
// libxml2's own functions tell.
class XmlReaderOrder : public XmlReaderTest {
protected:
    static constexpr char Tree[] = "<r a='1' b='two'>t<x/> <y c=''>u<z/>v</y><!--c--><x>w</x></r>";

    unsigned Pick(unsigned count) { return static_cast<unsigned>(m_random()) % count; }

    void Step() {
        switch (Pick(8)) {
        case 0:
            EXPECT_EQ(!m_loaded, LoadText(m_reader, Utf8 + Tree));
            if (!m_loaded)
                m_element = m_reader.GetRootElement();
            m_loaded = true;
            break;
        case 1:
            EXPECT_FALSE(LoadText(m_reader, Utf8 + "<r>"));
            break;
        case 2:
            EXPECT_FALSE(m_reader.Load(m_dir.File("missing.xml")));
            break;
        case 3:
            if (Pick(4) == 0) {
                m_reader.Close();
                m_loaded = false;
            }
            break;
        case 4:
            EXPECT_EQ(m_loaded, m_reader.GetRootElement() != nullptr);
            break;
        default:
            m_loaded ? CompareElement() : ExpectEmpty(m_reader);
        }
    }

    void CompareElement() {
        xmlNode* const node = NodeOf(m_element);
        EXPECT_EQ(reinterpret_cast<const char*>(node->name), NameOf(m_reader, m_element));
        XmlReader::Element* const child = HandleOf(xmlFirstElementChild(node));
        XmlReader::Element* const next = HandleOf(xmlNextElementSibling(node));
        EXPECT_EQ(child, m_reader.ChildElement(m_element, nullptr));
        EXPECT_EQ(next, m_reader.NextElement(m_element, nullptr));
        const bool text = node->children != nullptr && xmlNodeIsText(node->children) != 0;
        std::string read;
        EXPECT_EQ(text, m_reader.GetEntity(m_element, read));
        CompareAttributes(node);
        m_element = Pick(2) == 0 && child ? child : next ? next : m_reader.GetRootElement();
    }

    void CompareAttributes(xmlNode* node) {
        XmlReader::Attribute* attribute = m_reader.GetFirstAttribute(m_element);
        for (xmlAttr* expected = node->properties; expected != nullptr; expected = expected->next) {
            std::string name;
            std::string value;
            ASSERT_TRUE(m_reader.GetAttribute(attribute, name, value));
            xmlChar* const content = xmlGetProp(node, expected->name);
            EXPECT_EQ(reinterpret_cast<const char*>(content), value);
            xmlFree(content);
            attribute = m_reader.NextAttribute(attribute);
        }
        EXPECT_EQ(nullptr, attribute);
    }

    std::mt19937 m_random;
    XmlReader m_reader;
    bool m_loaded = false;
    XmlReader::Element* m_element = nullptr;
};

TEST_F(XmlReaderOrder, NeverMatters) {
    for (unsigned seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        m_random.seed(seed);
        for (int step = 0; step < 300 && !HasFailure(); ++step)
            Step();
    }
}

} // namespace
