// SPDX-License-Identifier: MIT
// XmlWriter as the header shows its use.

#include <Bases/Xml.h>

#include <random>
#include <string>

#include <libxml/tree.h>

#include <gtest/gtest.h>

#include "Xml/Writer.h"
#include "support/TempDir.h"
#include "support/XmlTest.h"

namespace {

using Vorn::XmlReader;
using Vorn::XmlWriter;
using VornTest::Attribute;
using VornTest::Bytes;
using VornTest::Finish;
using VornTest::Hangul;
using VornTest::Parse;
using VornTest::TextOf;
using VornTest::Utf8;
using VornTest::XmlWriterTest;

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
              TextOf(m_dir.File("shop.xml")));
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
