// SPDX-License-Identifier: MIT
// Concerns: texts that need no conversion skip iconv, and nothing else shows: whatever the bytes,
// results are those of iconv, which a document declared as "UTF8" still uses.
#include <Bases/Xml.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <libxml/entities.h>
#include <libxml/tree.h>

#include <gtest/gtest.h>
#include <unistd.h>

#include <Bases/Impl/Converter.h>

#include "Xml/Reader.h"
#include "fault/Xml.h"
#include "support/GuardedBytes.h"
#include "support/IconvSpy.h"
#include "support/XmlTest.h"

namespace {

namespace Platform = VornTest::Platform;

using Vorn::Converter;
using Vorn::XmlReader;
using Vorn::XmlWriter;
using VornTest::Declared;
using VornTest::GuardedBytes;
using VornTest::IconvSpy;
using VornTest::LoadText;
using VornTest::NodeOf;

// --- What counts as plain ------------------------------------------------------------------------

class PlainText : public testing::Test {
protected:
    PlainText() { EXPECT_TRUE(m_converter.Open("UTF-8", "UTF-8")); }

    // What iconv makes of the text and its terminator.
    std::optional<std::string> Converted(const std::string& text) const {
        std::string output(3 * (text.size() + 1), '#');
        const auto written =
            m_converter.Convert(text.c_str(), text.size() + 1, output.data(), output.size());
        if (!written)
            return std::nullopt;
        return output.substr(0, *written);
    }

    // Whether the text is kept and, if so, whether iconv would have copied it with its terminator.
    bool IsKeptAsByIconv(const std::string& text) const {
        if (!m_converter.Keeps(text))
            return false;
        EXPECT_EQ(text + '\0', Converted(text)) << testing::PrintToString(text);
        return true;
    }

    Converter m_converter;
};

std::string Utf8Of(unsigned code) {
    const auto tail = [code](int shift) {
        return static_cast<char>(0x80 | (code >> shift & 0x3F));
    };
    if (code < 0x80)
        return {static_cast<char>(code)};
    if (code < 0x800)
        return {static_cast<char>(0xC0 | code >> 6), tail(0)};
    if (code < 0x10000)
        return {static_cast<char>(0xE0 | code >> 12), tail(6), tail(0)};
    return {static_cast<char>(0xF0 | code >> 18), tail(12), tail(6), tail(0)};
}

TEST_F(PlainText, IsEveryCharacterButTheSurrogates) {
    for (unsigned code = 0; code <= 0x10FFFF; ++code)
        ASSERT_EQ(code < 0xD800 || code > 0xDFFF, IsKeptAsByIconv(Utf8Of(code))) << code;
    EXPECT_FALSE(IsKeptAsByIconv(Utf8Of(0x110000)));
}

TEST_F(PlainText, IsEveryAsciiCharacterBesideAnother) {
    for (unsigned code = 0; code < 0x80; ++code)
        EXPECT_TRUE(IsKeptAsByIconv(Utf8Of(0x20AC) + Utf8Of(code))) << code;
}

TEST_F(PlainText, IsNothingThatIconvRefusesOrChanges) {
    const std::string bytes("\x00\x41\x7F\x80\x8F\x90\x9F\xA0\xBF\xC0\xC1\xC2\xDF\xE0\xED\xEE\xEF"
                            "\xF0\xF1\xF4\xF5\xF7\xF8\xFB\xFC\xFD\xFE\xFF",
                            28);
    std::size_t kept = 0;
    std::string text(4, '\0');
    for (const char a : bytes)
        for (const char b : bytes)
            for (const char c : bytes)
                for (const char d : bytes) {
                    text = {a, b, c, d};
                    kept += IsKeptAsByIconv(text) ? 1 : 0;
                }
    EXPECT_LT(0U, kept);
    EXPECT_GT(bytes.size() * bytes.size() * bytes.size(), kept);
}

TEST_F(PlainText, IsFoundAtEveryLengthAndPlace) {
    for (std::size_t size = 0; size < 70; ++size) {
        EXPECT_TRUE(IsKeptAsByIconv(std::string(size, 'x'))) << size;
        for (std::size_t at = 0; at < size; ++at) {
            std::string text(size, 'x');
            text[at] = '\xBF';
            EXPECT_FALSE(IsKeptAsByIconv(text)) << size << " " << at;
            text.replace(at, 1, "\xE2\x82\xAC");
            EXPECT_TRUE(IsKeptAsByIconv(text)) << size << " " << at;
            EXPECT_FALSE(IsKeptAsByIconv(text.substr(0, at + 2))) << size << " " << at;
        }
    }
}

TEST_F(PlainText, IsReadToItsEndOnly) {
    for (const std::string& text :
         {std::string(31, 'x'), std::string(5, 'x'), std::string("x"), std::string("\xE2\x82\xAC"),
          std::string("xxxxxxxxx\xE2\x82")}) {
        GuardedBytes bytes(text.size());
        std::copy(text.begin(), text.end(), bytes.Data());
        const std::string_view guarded(reinterpret_cast<char*>(bytes.Data()), text.size());
        EXPECT_EQ(m_converter.Keeps(text), m_converter.Keeps(guarded));
    }
}

TEST_F(PlainText, IsReadFromItsBeginningOn) {
    GuardedBytes page(static_cast<std::size_t>(sysconf(_SC_PAGESIZE)));
    for (std::size_t size = 0; size < 40; ++size) {
        std::fill_n(page.Data(), size, static_cast<unsigned char>('x'));
        EXPECT_TRUE(m_converter.Keeps({reinterpret_cast<char*>(page.Data()), size})) << size;
    }
}

TEST(PlainTextConverter, KeepsNothingBetweenOtherEncodingsOrWhenClosed) {
    Converter converter;
    EXPECT_FALSE(converter.Keeps("x"));
    for (const auto& [to, from] : {std::pair("UTF-8", "ISO-8859-1"), std::pair("EUC-KR", "UTF-8"),
                                   std::pair("UTF-7", "UTF-8"), std::pair("UTF8", "UTF-8")}) {
        EXPECT_TRUE(converter.Open(to, from));
        EXPECT_FALSE(converter.Keeps("x")) << from << " to " << to;
    }
    EXPECT_TRUE(converter.Open("utf-8", "UTF-8"));
    EXPECT_TRUE(converter.Keeps("x"));
    EXPECT_FALSE(converter.Open("NO-SUCH", "UTF-8"));
    EXPECT_FALSE(converter.Keeps("x"));
    EXPECT_TRUE(converter.Open("UTF-8", "UTF-8"));
    converter.Close();
    EXPECT_FALSE(converter.Keeps("x"));
}

// --- Documents -----------------------------------------------------------------------------------

// Plain ones, odd ones, and random ones of the bytes that matter.
std::vector<std::string> Texts() {
    std::vector<std::string> texts{"",
                                   "x",
                                   "plain text",
                                   "a<b>&\"c\"\r\n\t",
                                   std::string(5000, 'x'),
                                   "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80",
                                   "\xEF\xBB\xBFmark",
                                   "\xEF\xBF\xBE",
                                   "\xEF\xBF\xBF",
                                   "\xEF\xB7\x90",
                                   "\xF4\x8F\xBF\xBF", // non-characters
                                   "\x01\x1F\x7F\xC2\x80",
                                   "\xED\xA0\x80",
                                   "\xC0\x80",
                                   "\xE0\x80\xAF",
                                   "\xF4\x90\x80\x80",
                                   "\xF8\x90\x80\x80",
                                   "\xFF malformed",
                                   "cut off \xEA\xB0",
                                   std::string("zero\0within", 11),
                                   std::string("zero\0\xFF", 6),
                                   std::string("\0", 1)};
    std::mt19937 random(20240229);
    const std::string bytes("ab<>&\"'\r\n \xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\x80\xFF\x00", 22);
    for (int i = 0; i < 2000; ++i) {
        std::string text(random() % 20, '\0');
        for (char& byte : text)
            byte = bytes[random() % bytes.size()];
        texts.push_back(text);
    }
    return texts;
}

// Without the declaration's line, which names the encoding.
std::string Content(XmlWriter& writer) {
    unsigned long size = 0;
    const auto* const bytes = reinterpret_cast<const char*>(writer.GetXmlBuffer(size));
    const std::string document(bytes, size);
    return document.substr(document.find('\n'));
}

// Every operation with the text, and what all of them gave.
std::string Write(const char* encoding, const std::string& text) {
    XmlWriter writer;
    std::string results;
    const auto note = [&results](bool result) { results += result ? '1' : '0'; };
    note(writer.BeginDocument(encoding));
    note(writer.BeginElement("r"));
    note(writer.WriteAttribute("a", text));
    note(writer.WriteAttribute(text, "a"));
    note(writer.WriteEntity(text));
    note(writer.WriteElement("e", text));
    note(writer.WriteComment(text));
    note(writer.WriteElementEntity("f", text));
    note(writer.BeginElement(text));
    note(writer.WriteEntity(text));
    note(writer.EndElement());
    note(writer.EndDocument());
    return results + Content(writer);
}

using XmlPlainText = VornTest::XmlTest;

TEST_F(XmlPlainText, IsWrittenAsThroughIconv) {
    for (const std::string& text : Texts())
        EXPECT_EQ(Write("UTF8", text), Write("UTF-8", text)) << testing::PrintToString(text);
}

std::string EscapedByLibxml2(const std::string& text) {
    const auto* const bytes = reinterpret_cast<const xmlChar*>(text.c_str());
    xmlChar* const escaped = xmlEncodeSpecialChars(nullptr, bytes);
    std::string result = reinterpret_cast<const char*>(escaped);
    xmlFree(escaped);
    return result;
}

TEST_F(XmlPlainText, IsEscapedAsByLibxml2) {
    for (char byte = 1; byte < 0x7F; ++byte) {
        const std::string text = std::string("a") + byte + "b";
        XmlWriter writer;
        ASSERT_TRUE(writer.BeginDocument("UTF-8"));
        EXPECT_TRUE(writer.WriteElementEntity("r", text));
        EXPECT_TRUE(writer.EndDocument());
        EXPECT_EQ("\n<r>" + EscapedByLibxml2(text) + "</r>\n", Content(writer));
    }
}

// What the reader gives for a text that stands at every place of the tree. libxml2 lets no
// malformed one in, so it is put there.
std::string Read(const std::string& encoding, const std::string& text) {
    XmlReader reader;
    EXPECT_TRUE(LoadText(reader, Declared(encoding) + "<r a='b'>c</r>"));
    XmlReader::Element* const root = reader.GetRootElement();
    xmlNode* const node = NodeOf(root);
    std::string bytes = text; // zero-terminated, like all that libxml2 has
    auto* const replaced = reinterpret_cast<xmlChar*>(bytes.data());
    const xmlChar* const name = std::exchange(node->name, replaced);
    xmlChar* const content = std::exchange(node->children->content, replaced);
    xmlChar* const value = std::exchange(node->properties->children->content, replaced);
    std::string results = VornTest::NameOf(reader, root) + "|" + VornTest::TextOf(reader, root) +
                          "|" + VornTest::ValueOf(reader);
    node->name = name;
    node->children->content = content;
    node->properties->children->content = value;
    return results;
}

TEST_F(XmlPlainText, IsReadAsThroughIconv) {
    for (const std::string& text : Texts())
        EXPECT_EQ(Read("UTF8", text), Read("UTF-8", text)) << testing::PrintToString(text);
}

TEST_F(XmlPlainText, DoesNotGoThroughIconv) {
    EXPECT_NE(std::string::npos, Write("UTF-8", "a<\xE2\x82\xAC").find("a&lt;\xE2\x82\xAC"));
    EXPECT_EQ("\xE2\x82\xAC|\xE2\x82\xAC|\xE2\x82\xAC", Read("utf-8", "\xE2\x82\xAC"));
    EXPECT_TRUE(IconvSpy::calls.empty());
    EXPECT_EQ("(fails)|(fails)|(fails)", Read("UTF-8", "\xFF"));
    EXPECT_EQ(3U, IconvSpy::calls.size());
}

TEST_F(XmlPlainText, GoesThroughIconvInOtherLocales) {
    for (const char* const locale : {"C", VornTest::KoreanLocale}) {
        UseLocale(locale);
        IconvSpy::calls.clear();
        EXPECT_EQ("x|x|x", Read("UTF-8", "x"));
        EXPECT_EQ(4U, IconvSpy::calls.size()) << "the attribute's name too";
    }
}

// The writer hands over the text itself: no block of its length is asked for.
TEST_F(XmlPlainText, IsNotCopiedForTheWriter) {
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    ASSERT_TRUE(writer.BeginElement("r"));
    const std::string text(1000, 'x');
    Platform::xml_malloc.Record();
    EXPECT_TRUE(writer.WriteEntity(text));
    for (const std::size_t size : Platform::xml_malloc.Calls())
        EXPECT_GT(text.size(), size);
    EXPECT_TRUE(writer.EndDocument());
}

} // namespace
