// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_FAULT_XML_H
#define VORN_BASES_TESTS_FAULT_XML_H

// libxml2's part of the scripted platform; Platform.h says how it is used. libxml2's own calls of
// the C library are not seen, except for its memory.

#include <cstddef>

#include <libxml/tree.h>
#include <libxml/xmlwriter.h>

#include "fault/Platform.h"

namespace VornTest::Platform {

// All memory of libxml2
extern Function<void*(std::size_t size)> xml_malloc;
extern Function<void*(void* block, std::size_t size)> xml_realloc;
extern Function<char*(const char* text)> xml_strdup;
extern Function<void(void* block)> xml_free;

// Set-up and tear-down
extern Function<void()> xmlInitParser;
extern Function<void()> xmlCleanupParser;
extern Function<void()> xmlInitializeCatalog;

// Writing
extern Function<xmlBufferPtr()> xmlBufferCreate;
extern Function<void(xmlBufferPtr buffer)> xmlBufferFree;
extern Function<xmlTextWriterPtr(xmlBufferPtr buffer, int compression)> xmlNewTextWriterMemory;
extern Function<int(xmlTextWriterPtr writer)> xmlTextWriterEndElement;
extern Function<int(xmlTextWriterPtr writer)> xmlTextWriterEndDocument;

} // namespace VornTest::Platform

#endif
