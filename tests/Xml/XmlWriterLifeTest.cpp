// SPDX-License-Identifier: MIT
// XmlWriter: its states, and what a failure leaves.

#include <Bases/Xml.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <unistd.h>

#include <libxml/encoding.h>

#include <gtest/gtest.h>

#include "Xml/Writer.h"
#include "fault/Xml.h"
#include "support/IconvSpy.h"
#include "support/Slot.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"
#include "support/XmlTest.h"

namespace {

namespace Platform = VornTest::Platform;

using Vorn::XmlWriter;
using VornTest::Bytes;
using VornTest::CountingWriter;
using VornTest::EAcute;
using VornTest::ExpectNothingWrites;
using VornTest::Finish;
using VornTest::Hangul;
using VornTest::HostErrors;
using VornTest::IconvSpy;
using VornTest::NamedText;
using VornTest::StderrOf;
using VornTest::StdoutOf;
using VornTest::TextOf;
using VornTest::Utf8;
using VornTest::WriteFile;
using VornTest::WriterSpy;
using VornTest::XmlWriterTest;

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
    EXPECT_EQ(0, writer.closed);
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
    EXPECT_EQ(1, WriterSpy::Buffers());
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    EXPECT_EQ(
        (std::vector<std::string>{"xmlBufferCreate", "xmlNewTextWriterMemory", "xmlBufferFree",
                                  "xmlBufferCreate", "xmlNewTextWriterMemory"}),
        Platform::Order())
        << "the old one goes first";
    EXPECT_EQ(std::string::npos, Bytes(writer).find("old"));
    ASSERT_TRUE(writer.WriteElement("new", "2"));
    EXPECT_EQ(Utf8 + "<new>2</new>\n", Finish(writer));
}

TEST_F(XmlWriterLife, AFailedEndStillEndsTheWriting) {
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    ASSERT_TRUE(writer.WriteElement("a", "1"));
    Platform::xmlTextWriterEndDocument.At(1).Fail(ENOMEM);
    EXPECT_FALSE(writer.EndDocument());
    EXPECT_EQ(0, IconvSpy::live);
    EXPECT_EQ(Utf8 + "<a>1</a>", Bytes(writer)) << "what was written is flushed";
    EXPECT_TRUE(writer.BeginDocument("UTF-8"));
}

TEST_F(XmlWriterLife, WithoutABufferBeginFailsAndDoesNotClose) {
    CountingWriter writer;
    Platform::xmlBufferCreate.At(1).Fail(ENOMEM);
    EXPECT_FALSE(writer.BeginDocument("UTF-8"));
    EXPECT_EQ(0, writer.closed);
    EXPECT_EQ("(none)", Bytes(writer));
    EXPECT_TRUE(writer.BeginDocument("UTF-8"));
}

TEST_F(XmlWriterLife, WithoutAWriterBeginFailsAndClosesAndCanBeRepeated) {
    CountingWriter writer;
    Platform::xmlNewTextWriterMemory.At(1).Fail(ENOMEM);
    EXPECT_FALSE(writer.BeginDocument("UTF-8"));
    EXPECT_EQ(1, writer.closed);
    EXPECT_EQ("(none)", Bytes(writer));
    EXPECT_FALSE(writer.EndDocument());
    EXPECT_TRUE(writer.BeginDocument("UTF-8"));
}

TEST_F(XmlWriterLife, AFailedBeginHasDroppedTheFinishedDocument) {
    XmlWriter writer;
    ASSERT_TRUE(writer.BeginDocument("UTF-8"));
    ASSERT_TRUE(writer.EndDocument());
    Platform::xmlBufferCreate.At(1).Fail(ENOMEM);
    EXPECT_FALSE(writer.BeginDocument("UTF-8"));
    EXPECT_EQ("(none)", Bytes(writer));
}

// A writer whose BeginDocument failed over the encoding, in one of the two ways.
class XmlWriterStuck : public XmlWriterTest, public testing::WithParamInterface<NamedText> {
protected:
    void SetUp() override {
        ASSERT_EQ(0, xmlAddEncodingAlias("UTF-8", "HOUSE-ENCODING"));
        EXPECT_FALSE(m_writer.BeginDocument(GetParam().text));
        EXPECT_EQ(1, m_writer.closed);
    }
    void TearDown() override { xmlDelEncodingAlias("HOUSE-ENCODING"); }

    CountingWriter m_writer;
};

TEST_P(XmlWriterStuck, BeginsNoDocumentUntilTheEndAndThenAgain) {
    EXPECT_FALSE(m_writer.BeginDocument("UTF-8"));
    EXPECT_FALSE(m_writer.BeginDocument(GetParam().text));
    m_writer.Close();
    EXPECT_FALSE(m_writer.BeginDocument("UTF-8"));
    EXPECT_EQ(2, m_writer.closed) << "the failed attempts end before Close";
    EXPECT_EQ(1, WriterSpy::Buffers()) << "the writer still points at it";
    EXPECT_TRUE(m_writer.EndDocument());
    EXPECT_EQ(0, WriterSpy::Buffers());
    EXPECT_EQ("(none)", Bytes(m_writer));
    EXPECT_FALSE(m_writer.EndDocument());
    ASSERT_TRUE(m_writer.BeginDocument("UTF-8"));
    EXPECT_TRUE(m_writer.WriteElement("a", "b"));
    EXPECT_EQ(Utf8 + "<a>b</a>\n", Finish(m_writer));
}

TEST_P(XmlWriterStuck, WritesAndReturnsNothing) {
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

TEST_F(XmlWriterLife, BeginEndAndCloseFollowTheDestructorsInTheTableOfVirtualFunctions) {
    EXPECT_EQ(2U, VornTest::Slot(&XmlWriter::BeginDocument)); // the destructor has two
    EXPECT_EQ(3U, VornTest::Slot(&XmlWriter::EndDocument));
    EXPECT_EQ(4U, VornTest::Slot(&XmlWriter::Close));
    EXPECT_EQ(5U, VornTest::Slots<XmlWriter>());
}

TEST_F(XmlWriterLife, CannotBeCopied) {
    EXPECT_FALSE(std::is_copy_constructible_v<XmlWriter>);
    EXPECT_FALSE(std::is_copy_assignable_v<XmlWriter>);
}

TEST_F(XmlWriterLife, WithoutMemoryForItsDataStopsAtTheAssertion) {
#ifndef NDEBUG
    EXPECT_DEATH(
        {
            Platform::operator_new_nothrow.At(1).Fail(ENOMEM);
            const XmlWriter writer;
        },
        R"(Bases/Impl/XmlDoc\.cpp.*XmlWriter.*m_pPrivateData != __null)");
#else
    Platform::operator_new_nothrow.At(1).Fail(ENOMEM);
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
    EXPECT_EQ(Utf8 + "<a>" + Hangul + "\n</a>\n", TextOf(m_dir.File("a.xml")));
    EXPECT_TRUE(writer.Save(m_dir.File("b.xml"))) << "as often as wanted";
    EXPECT_EQ(Bytes(writer), TextOf(m_dir.File("b.xml")));
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

TEST_F(XmlWriterOutput, SaveWritesOnceAndTakesLessForSuccess) {
    XmlWriter writer;
    EXPECT_TRUE(writer.BeginDocument("UTF-8"));
    EXPECT_TRUE(writer.EndDocument());
    Platform::fwrite.Record();
    Platform::fwrite.At(1).Answer(3);
    EXPECT_TRUE(writer.Save(m_dir.File("a.xml")));
    EXPECT_EQ(1U, Platform::fwrite.Count());
    EXPECT_EQ("", TextOf(m_dir.File("a.xml")));
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
    EXPECT_EQ(early, TextOf(m_dir.File("early.xml")));
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
    EXPECT_TRUE(dropped.WriteEntity("xyz abc")); // or the first byte might still be completed
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

TEST_F(XmlWriterSilence, NeitherCallsNorReplacesTheHostsErrorFunctions) {
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
    VornTest::OnFourThreads([] {
        HostErrors host;
        for (int i = 0; i < 50; ++i)
            Misuse();
        EXPECT_EQ(0, host.Count());
        EXPECT_TRUE(host.Stand());
    });
}

} // namespace
