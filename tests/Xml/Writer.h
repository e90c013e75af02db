// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_XML_WRITER_H
#define VORN_BASES_TESTS_XML_WRITER_H

// What the tests of XmlWriter share.

#include <memory>
#include <string>
#include <utility>

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <gtest/gtest.h>

#include <Bases/Utility.h>
#include <Bases/Xml.h>

#include "Xml/WriterSpy.h"
#include "support/XmlTest.h"

namespace VornTest {

inline const std::string Utf8 = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
inline const std::string EAcute = "\xC3\xA9";
inline const std::string Hangul = "\xEA\xB0\x80"; // U+AC00
inline const std::string Emoji = "\xF0\x9F\x98\x80";

inline std::string Bytes(Vorn::XmlWriter& writer) {
    unsigned long size = 77;
    const unsigned char* bytes = writer.GetXmlBuffer(size);
    if (bytes == nullptr)
        return size == 0 ? "(none)" : "(none, but a size)";
    return {reinterpret_cast<const char*>(bytes), size};
}

// Ends the document and returns it.
inline std::string Finish(Vorn::XmlWriter& writer) {
    EXPECT_TRUE(writer.EndDocument());
    return Bytes(writer);
}

// Returns what `write` puts into the element a of a UTF-8 document: "<a>...</a>" or "<a .../>".
template <typename Write>
inline std::string Element(Write&& write) {
    Vorn::XmlWriter writer;
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
inline std::unique_ptr<xmlDoc, XmlDocDelete> Parse(const std::string& document) {
    return std::unique_ptr<xmlDoc, XmlDocDelete>(
        xmlReadMemory(document.data(), static_cast<int>(document.size()), "written", nullptr, 0));
}

inline std::string TextOf(xmlChar* text) {
    std::string result = text == nullptr ? "(none)" : reinterpret_cast<const char*>(text);
    xmlFree(text);
    return result;
}

inline std::string Attribute(const xmlNode* node, const char* name) {
    return TextOf(xmlGetProp(node, reinterpret_cast<const xmlChar*>(name)));
}

// No operation that writes succeeds.
inline void ExpectNothingWrites(Vorn::XmlWriter& writer) {
    EXPECT_FALSE(writer.BeginElement("a"));
    EXPECT_FALSE(writer.WriteElement("a", "b"));
    EXPECT_FALSE(writer.WriteAttribute("a", "b"));
    EXPECT_FALSE(writer.WriteAttribute("a", 1));
    EXPECT_FALSE(writer.WriteEntity("a"));
    EXPECT_FALSE(writer.WriteEntity(1.5));
    EXPECT_FALSE(writer.WriteElementEntity("a", "b"));
    EXPECT_FALSE(writer.WriteElementEntity("a", 1ull));
    EXPECT_FALSE(writer.WriteElementEntity("a", Vorn::Guid(), 1));
    EXPECT_FALSE(writer.WriteComment("a"));
}

class XmlWriterTest : public XmlTest {
public:
    XmlWriterTest() { WriterSpy::Watch(); }
    ~XmlWriterTest() override { EXPECT_EQ(0, WriterSpy::Buffers()) << "buffers left behind"; }
    XmlWriterTest(const XmlWriterTest&) = delete;
    XmlWriterTest& operator=(const XmlWriterTest&) = delete;
};

// Counts the calls of Close, which a failing BeginDocument makes.
class CountingWriter : public Vorn::XmlWriter {
public:
    void Close() override {
        ++closed;
        Vorn::XmlWriter::Close();
    }
    int closed = 0;
};

} // namespace VornTest

#endif
