// SPDX-License-Identifier: MIT
// XmlReader::Load: what is accepted, what is refused, and what is printed.

#include <Bases/Xml.h>

#include <climits>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <libxml/catalog.h>
#include <libxml/encoding.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlIO.h>

#include <gtest/gtest.h>
#include <sys/mman.h>

#include "Xml/Reader.h"
#include "fault/Xml.h"
#include "support/IconvSpy.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"
#include "support/XmlTest.h"

namespace {

namespace Platform = VornTest::Platform;

using Vorn::XmlReader;
using VornTest::Declared;
using VornTest::EAcute;
using VornTest::ExpectEmpty;
using VornTest::IconvSpy;
using VornTest::LoadText;
using VornTest::NamedText;
using VornTest::NameOf;
using VornTest::NodeOf;
using VornTest::StderrOf;
using VornTest::StdoutOf;
using VornTest::TextOf;
using VornTest::Utf8;
using VornTest::WriteFile;
using VornTest::XmlReaderTest;

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
    Platform::xmlInitializeCatalog.Record();
    XmlReader reader;
    const std::string printed = StdoutOf([&] {
        EXPECT_FALSE(reader.Load(nullptr, text.size()));
        EXPECT_FALSE(reader.Load(bytes, 0));
        EXPECT_FALSE(reader.Load(bytes, INT_MAX + 1UL));
        EXPECT_FALSE(reader.Load(bytes, (1UL << 32) + text.size()));
        EXPECT_FALSE(reader.Load(bytes, ULONG_MAX));
    });
    EXPECT_EQ("", printed);
    EXPECT_EQ(0U, Platform::xmlInitializeCatalog.Count()) << "a parser's first step";
    ExpectEmpty(reader);
    EXPECT_TRUE(reader.Load(bytes, text.size()));
}

// The pages are read at the beginning only, since there is no memory for a copy.
TEST_F(XmlReaderLoad, PassesOnAsManyBytesAsAnIntCounts) {
    void* const pages =
        mmap(nullptr, INT_MAX, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (pages == MAP_FAILED)
        GTEST_SKIP() << "no address space for so many bytes";
    Platform::xml_malloc.Do([](std::size_t) -> void* { return nullptr; });
    Platform::xmlInitializeCatalog.Record();
    XmlReader reader;
    EXPECT_FALSE(reader.Load(static_cast<unsigned char*>(pages), INT_MAX));
    EXPECT_EQ(1U, Platform::xmlInitializeCatalog.Count()) << "a parser's first step";
    munmap(pages, INT_MAX);
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

TEST_F(XmlReaderLoad, AnUndeclaredEncodingIsMissingDespiteAByteOrderMark) {
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
    for (const std::string path : {"--", "-x", "~-"}) {
        WriteFile(path, Utf8 + "<file/>");
        EXPECT_TRUE(XmlReader().Load(path)) << path;
    }
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

TEST_F(XmlReaderLoad, TakesAFileWhoseNameOnlyResemblesAnAddress) {
    const auto old = std::filesystem::current_path();
    std::filesystem::current_path(m_dir.Path());
    for (const std::string directory : {"http:", "ftp:", "https:"})
        std::filesystem::create_directory(directory);
    for (const std::string path :
         {"http:/x", "ftp:/x", "https:/x", "http", "ftp", "http:x", "ftp:x"}) {
        WriteFile(path, Utf8 + "<file/>");
        XmlReader reader;
        EXPECT_TRUE(reader.Load(path)) << path;
        EXPECT_EQ("file", NameOf(reader, reader.GetRootElement()));
    }
    std::filesystem::current_path(old);
}

TEST_F(XmlReaderLoad, RefusesAMissingFileThatACatalogWouldReplace) {
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

} // namespace
