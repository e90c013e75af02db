// SPDX-License-Identifier: MIT
// Documents that are open while the library is released.

#include <Bases/Bases.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <libxml/encoding.h>
#include <libxml/tree.h>

#include <gtest/gtest.h>

#include <Bases/Xml.h>

#include "support/IconvSpy.h"
#include "support/XmlTest.h"

namespace {

using Vorn::BasesInit;
using Vorn::BasesRelease;
using Vorn::XmlReader;
using Vorn::XmlWriter;
using VornTest::LoadText;
using VornTest::NamedText;

const std::string Declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

std::string Bytes(XmlWriter& writer) {
    unsigned long size = 0;
    const unsigned char* const bytes = writer.GetXmlBuffer(size);
    return bytes == nullptr ? "(none)" : std::string(bytes, bytes + size);
}

// The document is more than libxml2 holds back, so that a part of it has been encoded.
void Begin(XmlWriter& writer, const std::string& encoding = "UTF-8") {
    ASSERT_TRUE(writer.BeginDocument(encoding));
    ASSERT_TRUE(writer.BeginElement("r"));
    ASSERT_TRUE(writer.WriteEntity(std::string(10000, 'x')));
}

void ExpectWholeDocument(XmlWriter& writer) {
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    EXPECT_TRUE(writer.WriteElement("a", "b"));
    EXPECT_TRUE(writer.EndDocument());
    EXPECT_EQ(Declaration + "<a>b</a>\n", Bytes(writer));
}

void ExpectNothingWrites(XmlWriter& writer) {
    EXPECT_FALSE(writer.BeginElement("a"));
    EXPECT_FALSE(writer.WriteElement("a", "b"));
    EXPECT_FALSE(writer.WriteAttribute("a", 1));
    EXPECT_FALSE(writer.WriteEntity("a"));
    EXPECT_FALSE(writer.WriteElementEntity("a", "b"));
    EXPECT_FALSE(writer.WriteComment("a"));
    EXPECT_FALSE(writer.EndElement());
}

// Concerns: a release with documents that are being written, in every state and encoding; what the
// writer answers after it; any order of release, new set-up, end and destruction. The address
// sanitizer looks on.
class XmlRelease : public VornTest::XmlTest {
public:
    ~XmlRelease() override { BasesInit(); }
    XmlRelease(const XmlRelease&) = delete;
    XmlRelease& operator=(const XmlRelease&) = delete;

protected:
    XmlRelease() = default;

    XmlWriter m_writer;
};

class XmlReleaseOf : public XmlRelease, public testing::WithParamInterface<NamedText> {};

TEST_P(XmlReleaseOf, AnUnfinishedDocumentCanNeitherGoOnNorEndWell) {
    Begin(m_writer, GetParam().text);
    BasesRelease();
    ExpectNothingWrites(m_writer);
    EXPECT_FALSE(m_writer.EndDocument());
    EXPECT_FALSE(m_writer.EndDocument());
    ExpectNothingWrites(m_writer);
    EXPECT_EQ(0, VornTest::IconvSpy::live);
    ExpectWholeDocument(m_writer);
}

TEST_P(XmlReleaseOf, AnUnfinishedDocumentStaysLostAfterAnotherSetUp) {
    Begin(m_writer, GetParam().text);
    BasesRelease();
    BasesInit();
    ExpectNothingWrites(m_writer);
    EXPECT_FALSE(m_writer.EndDocument());
    ExpectWholeDocument(m_writer);
}

TEST_P(XmlReleaseOf, AnUnfinishedDocumentMayBeDropped) {
    {
        XmlWriter writer;
        Begin(writer, GetParam().text);
        BasesRelease();
    }
    {
        XmlWriter writer;
        Begin(writer, GetParam().text);
        BasesRelease();
        BasesInit();
    }
    ExpectWholeDocument(m_writer);
}

// Of the first, libxml2's release frees the encoder; that of the others is their own.
INSTANTIATE_TEST_SUITE_P(Encoding, XmlReleaseOf,
                         testing::Values(NamedText{"Utf8", "UTF-8"},
                                         NamedText{"Latin1", "ISO-8859-1"},
                                         NamedText{"Korean", "EUC-KR"}),
                         VornTest::NameOfText);

TEST_F(XmlRelease, NoDocumentBeginsUntilTheLostOneHasBeenEnded) {
    Begin(m_writer);
    BasesRelease();
    BasesInit();
    EXPECT_FALSE(m_writer.BeginDocument("UTF-8"));
    m_writer.Close();
    EXPECT_EQ("(none)", Bytes(m_writer));
    EXPECT_FALSE(m_writer.BeginDocument("UTF-8"));
    EXPECT_FALSE(m_writer.EndDocument());
    ExpectWholeDocument(m_writer);
}

TEST_F(XmlRelease, WhatWasWrittenCanStillBeFetched) {
    Begin(m_writer);
    BasesRelease();
    const std::string written = Declaration + "<r>" + std::string(10000, 'x');
    EXPECT_EQ(written, Bytes(m_writer));
    EXPECT_TRUE(m_writer.Save(m_dir.File("a.xml")));
    EXPECT_FALSE(m_writer.EndDocument());
    EXPECT_EQ(written, Bytes(m_writer));
    EXPECT_EQ(written, VornTest::TextOf(m_dir.File("a.xml")));
    m_writer.Close();
    EXPECT_EQ("(none)", Bytes(m_writer));
}

// libxml2 complains about bytes that the document cannot take when it frees the writer.
TEST_F(XmlRelease, DropsAnUnfinishedDocumentInSilence) {
    EXPECT_TRUE(m_writer.BeginDocument("ISO-8859-1"));
    EXPECT_TRUE(m_writer.BeginElement("a"));
    EXPECT_TRUE(m_writer.WriteEntity("\xC3\xA9"));
    EXPECT_TRUE(m_writer.WriteEntity("xyz abc")); // or the first byte might still be completed
    EXPECT_EQ("", VornTest::StderrOf(BasesRelease));
}

TEST_F(XmlRelease, LeavesAFinishedDocument) {
    ExpectWholeDocument(m_writer);
    BasesRelease();
    EXPECT_EQ(Declaration + "<a>b</a>\n", Bytes(m_writer));
    EXPECT_TRUE(m_writer.Save(m_dir.File("a.xml")));
    ExpectWholeDocument(m_writer);
}

TEST_F(XmlRelease, FreesAStuckWriterForANewDocument) {
    Begin(m_writer);
    m_writer.Close();
    BasesRelease();
    EXPECT_EQ("(none)", Bytes(m_writer));
    EXPECT_FALSE(m_writer.BeginDocument("UTF-8"));
    EXPECT_FALSE(m_writer.EndDocument());
    ExpectWholeDocument(m_writer);

    EXPECT_FALSE(m_writer.BeginDocument("no-such-encoding"));
    BasesRelease();
    EXPECT_FALSE(m_writer.BeginDocument("UTF-8"));
    EXPECT_FALSE(m_writer.EndDocument());
    ExpectWholeDocument(m_writer);
}

TEST_F(XmlRelease, MayComeTwiceOrBeforeAnything) {
    BasesRelease();
    Begin(m_writer);
    BasesRelease();
    BasesRelease();
    EXPECT_FALSE(m_writer.EndDocument());
    BasesInit();
    BasesInit();
    ExpectWholeDocument(m_writer);
}

TEST_F(XmlRelease, NeedsNoSetUpBeforeTheNextDocument) {
    BasesRelease();
    ExpectWholeDocument(m_writer);
    XmlReader reader;
    EXPECT_TRUE(LoadText(reader, Bytes(m_writer)));
}

TEST_F(XmlRelease, TakesAwayWhatTheProgramHasRegisteredWithLibxml2) {
    ASSERT_EQ(0, xmlAddEncodingAlias("UTF-8", "HOUSE-ENCODING"));
    ASSERT_NE(nullptr, xmlGetEncodingAlias("HOUSE-ENCODING"));
    xmlDoc* const document = xmlNewDoc(nullptr);
    xmlDocSetRootElement(document, xmlNewNode(nullptr, reinterpret_cast<const xmlChar*>("own")));
    BasesRelease();
    EXPECT_EQ(nullptr, xmlGetEncodingAlias("HOUSE-ENCODING"));
    EXPECT_STREQ("own", reinterpret_cast<const char*>(xmlDocGetRootElement(document)->name));
    xmlFreeDoc(document);
}

TEST_F(XmlRelease, LeavesALoadedDocument) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Declaration + "<r a='&lt;'><b>text</b></r>"));
    XmlReader::Element* const root = reader.GetRootElement();
    BasesRelease();
    EXPECT_EQ(root, reader.GetRootElement());
    std::string name;
    std::string text;
    XmlReader::Element* const b = reader.ChildElement(root, &name);
    EXPECT_EQ("b", name);
    EXPECT_TRUE(reader.GetEntity(b, text));
    EXPECT_EQ("text", text);
    EXPECT_TRUE(reader.GetAttribute(reader.GetFirstAttribute(root), name, text));
    EXPECT_EQ("<", text);
    BasesInit();
    EXPECT_TRUE(reader.GetElement(root, name));
    BasesRelease();
    reader.Close();
    EXPECT_TRUE(LoadText(reader, Declaration + "<again/>"));
}

// A writer that other code keeps in a static object goes after main has released the library.
TEST_F(XmlRelease, MayComeBeforeTheEndOfAStaticWriter) {
    EXPECT_EXIT(
        {
            static XmlWriter writer;
            Begin(writer);
            BasesRelease();
            std::exit(writer.BeginElement("a") ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(XmlRelease, MeetsWritersThatWereEndedInAnyOrder) {
    std::array<XmlWriter, 5> writers;
    for (XmlWriter& writer : writers)
        Begin(writer);
    EXPECT_TRUE(writers[2].EndDocument());
    EXPECT_TRUE(writers[0].EndDocument());
    EXPECT_TRUE(writers[4].EndDocument());
    Begin(writers[0]);
    BasesRelease();
    EXPECT_FALSE(writers[0].EndDocument());
    EXPECT_FALSE(writers[1].EndDocument());
    EXPECT_FALSE(writers[3].EndDocument());
    for (XmlWriter& writer : writers)
        ExpectWholeDocument(writer);
}

TEST_F(XmlRelease, MeetsWritersOfManyThreads) {
    std::vector<std::thread> threads;
    std::array<XmlWriter, 4> kept;
    threads.reserve(kept.size());
    for (XmlWriter& writer : kept)
        threads.emplace_back([&writer] {
            for (int i = 0; i < 50; ++i) {
                ExpectWholeDocument(writer);
                XmlWriter dropped;
                Begin(dropped);
            }
            Begin(writer);
        });
    for (std::thread& thread : threads)
        thread.join();
    BasesRelease();
    for (XmlWriter& writer : kept)
        EXPECT_FALSE(writer.EndDocument());
}

// Any order of calls gives the answers of a model: idle, writing, lost, finished.
class XmlReleaseOrder : public XmlRelease {
protected:
    enum class State { Idle, Writing, Lost, Finished };
    struct Model {
        std::unique_ptr<XmlWriter> writer = std::make_unique<XmlWriter>();
        State state = State::Idle;
    };

    unsigned Pick(unsigned count) { return static_cast<unsigned>(m_random()) % count; }

    void Release() {
        BasesRelease();
        for (Model& model : m_models)
            if (model.state == State::Writing)
                model.state = State::Lost;
    }

    void Step() {
        Model& model = m_models[Pick(3)];
        const bool open = model.state == State::Writing || model.state == State::Lost;
        switch (Pick(8)) {
        case 0:
            return Release();
        case 1:
            BasesInit();
            return;
        case 2:
        case 3:
            EXPECT_EQ(!open, model.writer->BeginDocument("UTF-8"));
            model.state = open ? model.state : State::Writing;
            return;
        case 4:
            EXPECT_EQ(model.state == State::Writing, model.writer->EndDocument());
            model.state = open ? State::Finished : model.state;
            return;
        case 5:
            model = Model();
            return;
        case 6:
            EXPECT_EQ(model.state == State::Idle, Bytes(*model.writer) == "(none)");
            return;
        default:
            EXPECT_EQ(model.state == State::Writing,
                      model.writer->WriteComment(std::string(3000, 'c')));
        }
    }

    std::mt19937 m_random;
    std::array<Model, 3> m_models;
};

TEST_F(XmlReleaseOrder, NeverMatters) {
    for (unsigned seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        m_random.seed(seed);
        for (int step = 0; step < 300 && !HasFailure(); ++step)
            Step();
    }
}

} // namespace
