// SPDX-License-Identifier: MIT
// XmlReader as the header shows its use.

#include <Bases/Xml.h>

#include <random>
#include <string>

#include <libxml/tree.h>

#include <gtest/gtest.h>

#include "Xml/Reader.h"
#include "support/TempDir.h"
#include "support/XmlTest.h"

namespace {

using Vorn::XmlReader;
using VornTest::ExpectEmpty;
using VornTest::HandleOf;
using VornTest::LoadText;
using VornTest::NameOf;
using VornTest::NodeOf;
using VornTest::Repeat;
using VornTest::TextOf;
using VornTest::Utf8;
using VornTest::XmlReaderTest;

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
// libxml2's own functions report.
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
