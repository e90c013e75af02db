// SPDX-License-Identifier: MIT
// Concerns: every allocation of libxml2 can be scripted and recorded, and its blocks still come
// from malloc.
#include "fault/Xml.h"

#include <cstdlib>

#include <libxml/parser.h>
#include <libxml/xmlmemory.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

namespace Platform = VornTest::Platform;

using testing::ElementsAre;

const xmlChar* Text(const char* text) { return reinterpret_cast<const xmlChar*>(text); }

TEST(PlatformXml, SeesEveryKindOfAllocation) {
    Platform::RecordAll();
    void* block = xmlMalloc(11);
    block = xmlRealloc(block, 12);
    char* const text = xmlMemStrdup("text");
    xmlFree(block);
    xmlFree(text);
    EXPECT_THAT(Platform::Order(),
                ElementsAre("xml malloc", "xml realloc", "xml strdup", "xml free", "xml free"));
    EXPECT_THAT(Platform::xml_malloc.Calls(), ElementsAre(11U));
}

TEST(PlatformXml, FailsAnAllocationInsideOfLibxml2) {
    xmlInitParser();
    testing::internal::CaptureStderr(); // libxml2 reports it
    Platform::xml_malloc.At(2).Fail(ENOMEM);
    xmlDocPtr document = xmlNewDoc(Text("1.0"));
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(nullptr, document == nullptr ? nullptr : document->version);
    xmlFreeDoc(document);
    document = xmlNewDoc(Text("1.0"));
    ASSERT_NE(nullptr, document);
    xmlFreeDoc(document);
    EXPECT_EQ(1U, Platform::xml_malloc.Scripted());
}

TEST(PlatformXml, TakesItsBlocksFromMalloc) { std::free(xmlMalloc(1)); }

TEST(PlatformXml, SeesTheCallsOfTheWriter) {
    Platform::xmlBufferCreate.At(1).Fail(ENOMEM);
    EXPECT_EQ(nullptr, xmlBufferCreate());
    const xmlBufferPtr buffer = xmlBufferCreate();
    ASSERT_NE(nullptr, buffer);
    Platform::xmlBufferFree.Record();
    xmlBufferFree(buffer);
    EXPECT_THAT(Platform::xmlBufferFree.Calls(), ElementsAre(buffer));
}

} // namespace
