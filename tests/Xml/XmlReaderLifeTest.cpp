// SPDX-License-Identifier: MIT
// XmlReader: how long what it gives is valid, its silence, and several threads.

#include <Bases/Xml.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <memory>
#include <type_traits>

#include <libxml/catalog.h>
#include <libxml/globals.h>
#include <libxml/parser.h>

#include <gtest/gtest.h>

#include <Bases/Bases.h>
#include <Bases/Thread.h>

#include "Xml/Reader.h"
#include "fault/Xml.h"
#include "support/BlockedThreads.h"
#include "support/Files.h"
#include "support/IconvSpy.h"
#include "support/NoMemory.h"
#include "support/TempDir.h"
#include "support/XmlTest.h"

namespace {

namespace Platform = VornTest::Platform;

using Vorn::XmlReader;
using VornTest::Declared;
using VornTest::ExpectEmpty;
using VornTest::HostErrors;
using VornTest::IconvSpy;
using VornTest::LoadText;
using VornTest::NameOf;
using VornTest::NoMemory;
using VornTest::StderrOf;
using VornTest::Utf8;
using VornTest::XmlReaderTest;

// Concerns: nothing reaches standard error or the host's error functions, whatever happens; the
// host's functions, or none, stand afterwards; threads do not disturb each other.
using XmlReaderSilence = XmlReaderTest;

TEST_F(XmlReaderSilence, NeitherCallsNorReplacesTheHostsErrorFunctions) {
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
    VornTest::OnFourThreads([this] {
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
    });
}

// Concerns: several threads load at once for the first time in the process.

class XmlReaderThreads : public XmlReaderTest {
protected:
    // The first thread that sets libxml2's catalogs up is held there until a second one, which
    // loads the same, can go no further. Returns whether that one has come there, too.
    static bool MeetInTheCatalogs(const std::function<void(XmlReader&)>& load) {
        Vorn::Event release;
        EXPECT_TRUE(
            release.Create(Vorn::EventKind::ManualReset, Vorn::EventState::NotSet, nullptr));
        std::atomic<bool> begun{false};
        std::atomic<bool> met{false};
        const auto loadAnew = [&load] {
            XmlReader reader;
            load(reader);
        };
        std::unique_ptr<VornTest::PosixThread> other;
        Platform::xmlInitializeCatalog.OnAnyThread().Do([&] {
            if (begun.exchange(true)) {
                met = met || !release.Wait(Vorn::TryOnce);
                release.Wait(Vorn::WaitForever);
            } else {
                other = std::make_unique<VornTest::PosixThread>(loadAnew);
                VornTest::WaitUntilBlocked({other.get()});
                release.Set();
            }
            Platform::xmlInitializeCatalog.Real();
        });
        loadAnew();
        EXPECT_TRUE(begun) << "the catalogs are not set up before they are used";
        other.reset();
        Platform::xmlInitializeCatalog.Reset();
        return met;
    }
};

TEST_F(XmlReaderThreads, DoNotMeetInTheCatalogsOverAMissingFile) {
    // Whichever thread looks the name up first loads this file.
    const std::string catalog = m_dir.File("catalog.xml");
    VornTest::WriteFile(catalog, "<catalog xmlns='urn:oasis:names:tc:entity:xmlns:xml:catalog'>"
                                 "<delegateSystem systemIdStartString='a' catalog='b'/></catalog>");
    SetVariable("XML_CATALOG_FILES", catalog.c_str());
    EXPECT_FALSE(MeetInTheCatalogs(
        [this](XmlReader& reader) { EXPECT_FALSE(reader.Load(m_dir.File("missing.xml"))); }));
}

TEST_F(XmlReaderThreads, DoNotMeetInTheCatalogsOverADocumentThatNamesOne) {
    EXPECT_FALSE(MeetInTheCatalogs([](XmlReader& reader) {
        EXPECT_TRUE(LoadText(reader, Utf8 + "<?oasis-xml-catalog catalog='none.xml'?><a/>"));
    }));
}

TEST_F(XmlReaderThreads, SetTheCatalogsUpAgainAfterARelease) {
    XmlReader reader;
    EXPECT_FALSE(reader.Load(m_dir.File("missing.xml")));
    Vorn::BasesRelease();
    Vorn::BasesInit();
    Platform::xmlInitializeCatalog.Record(true);
    EXPECT_FALSE(reader.Load(m_dir.File("missing.xml")));
    EXPECT_LT(0U, Platform::xmlInitializeCatalog.Count());
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
    for (const std::size_t failing : {1U, 2U}) {
#ifndef NDEBUG
        EXPECT_DEATH(
            {
                Platform::operator_new_nothrow.At(failing).Fail(ENOMEM);
                const XmlReader reader;
            },
            R"(Bases/Impl/XmlDoc\.cpp.*XmlReader.*m_pPrivateData != __null)");
#else
        Platform::operator_new_nothrow.At(failing).Fail(ENOMEM);
        XmlReader reader;
        EXPECT_FALSE(LoadText(reader, Utf8 + "<r/>"));
        EXPECT_FALSE(reader.Load("missing.xml"));
        ExpectEmpty(reader);
        reader.Close();
#endif
    }
    Platform::operator_new_nothrow.Reset();
}

TEST_F(XmlReaderLife, LoadWithoutMemoryForTheScratchArrayFailsAndEndsEmpty) {
    XmlReader reader;
    {
        const NoMemory none(Platform::operator_new, 4096);
        EXPECT_FALSE(LoadText(reader, Utf8 + "<r/>"));
    }
    ExpectEmpty(reader);
    EXPECT_EQ(0, IconvSpy::live);
    EXPECT_TRUE(LoadText(reader, Utf8 + "<r/>"));
}

} // namespace
