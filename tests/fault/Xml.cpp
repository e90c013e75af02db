// SPDX-License-Identifier: MIT
// The scripted calls to the platform for libxml2 and its memory.

#include "fault/Xml.h"

#include <cstdlib>
#include <cstring>

#include <libxml/xmlmemory.h>

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void __real_xmlInitParser();
void __real_xmlCleanupParser();
void __real_xmlInitializeCatalog();
xmlBufferPtr __real_xmlBufferCreate();
void __real_xmlBufferFree(xmlBufferPtr buffer);
xmlTextWriterPtr __real_xmlNewTextWriterMemory(xmlBufferPtr buffer, int compression);
int __real_xmlTextWriterEndElement(xmlTextWriterPtr writer);
int __real_xmlTextWriterEndDocument(xmlTextWriterPtr writer);
}

namespace VornTest::Platform {

constinit Function<void*(std::size_t)> xml_malloc{"xml malloc", __real_malloc, Errors<ENOMEM>};
constinit Function<void*(void*, std::size_t)> xml_realloc{"xml realloc", __real_realloc,
                                                          Errors<ENOMEM>};
constinit Function<char*(const char*)> xml_strdup{"xml strdup", ::strdup, Errors<ENOMEM>};
constinit Function<void(void*)> xml_free{"xml free", std::free};
constinit Function<void()> xmlInitParser{"xmlInitParser", __real_xmlInitParser};
constinit Function<void()> xmlCleanupParser{"xmlCleanupParser", __real_xmlCleanupParser};
constinit Function<void()> xmlInitializeCatalog{"xmlInitializeCatalog",
                                                __real_xmlInitializeCatalog};
constinit Function<xmlBufferPtr()> xmlBufferCreate{"xmlBufferCreate", __real_xmlBufferCreate,
                                                   Errors<ENOMEM>};
constinit Function<void(xmlBufferPtr)> xmlBufferFree{"xmlBufferFree", __real_xmlBufferFree};
constinit Function<xmlTextWriterPtr(xmlBufferPtr, int)> xmlNewTextWriterMemory{
    "xmlNewTextWriterMemory", __real_xmlNewTextWriterMemory, Errors<ENOMEM>};
constinit Function<int(xmlTextWriterPtr)> xmlTextWriterEndElement{
    "xmlTextWriterEndElement", __real_xmlTextWriterEndElement, Errors<ENOMEM>};
constinit Function<int(xmlTextWriterPtr)> xmlTextWriterEndDocument{
    "xmlTextWriterEndDocument", __real_xmlTextWriterEndDocument, Errors<ENOMEM>};

namespace {

const Family g_xml{&xml_malloc,
                   &xml_realloc,
                   &xml_strdup,
                   &xml_free,
                   &xmlInitParser,
                   &xmlCleanupParser,
                   &xmlInitializeCatalog,
                   &xmlBufferCreate,
                   &xmlBufferFree,
                   &xmlNewTextWriterMemory,
                   &xmlTextWriterEndElement,
                   &xmlTextWriterEndDocument};

// The blocks are the C library's, so it does not matter whether libxml2 has some already.
[[maybe_unused]] const int g_memoryIsSet = xmlMemSetup(
    [](void* block) { xml_free(block); }, [](std::size_t size) { return xml_malloc(size); },
    [](void* block, std::size_t size) { return xml_realloc(block, size); },
    [](const char* text) { return xml_strdup(text); });

} // namespace

extern "C" {

void __wrap_xmlInitParser() { xmlInitParser(); }

void __wrap_xmlCleanupParser() { xmlCleanupParser(); }

void __wrap_xmlInitializeCatalog() { xmlInitializeCatalog(); }

xmlBufferPtr __wrap_xmlBufferCreate() { return xmlBufferCreate(); }

void __wrap_xmlBufferFree(xmlBufferPtr buffer) { xmlBufferFree(buffer); }

xmlTextWriterPtr __wrap_xmlNewTextWriterMemory(xmlBufferPtr buffer, int compression) {
    return xmlNewTextWriterMemory(buffer, compression);
}

int __wrap_xmlTextWriterEndElement(xmlTextWriterPtr writer) {
    return xmlTextWriterEndElement(writer);
}

int __wrap_xmlTextWriterEndDocument(xmlTextWriterPtr writer) {
    return xmlTextWriterEndDocument(writer);
}
}

} // namespace VornTest::Platform
