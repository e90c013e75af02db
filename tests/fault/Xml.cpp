#include "fault/Xml.h"

#include <cstdlib>
#include <cstring>

#include <libxml/xmlmemory.h>

extern "C" {
void __real_xmlInitParser();
void __real_xmlCleanupParser();
}

namespace VornTest::Platform {

constinit Function<void*(std::size_t)> xml_malloc{"xml malloc", std::malloc, Errors<ENOMEM>};
constinit Function<void*(void*, std::size_t)> xml_realloc{"xml realloc", std::realloc,
                                                          Errors<ENOMEM>};
constinit Function<char*(const char*)> xml_strdup{"xml strdup", ::strdup, Errors<ENOMEM>};
constinit Function<void(void*)> xml_free{"xml free", std::free};
constinit Function<void()> xmlInitParser{"xmlInitParser", __real_xmlInitParser};
constinit Function<void()> xmlCleanupParser{"xmlCleanupParser", __real_xmlCleanupParser};

namespace {

const Family g_xml{&xml_malloc, &xml_realloc,   &xml_strdup,
                   &xml_free,   &xmlInitParser, &xmlCleanupParser};

// The blocks are the C library's, so it does not matter whether libxml2 has some already.
[[maybe_unused]] const int g_memoryIsSet = xmlMemSetup(
    [](void* block) { xml_free(block); }, [](std::size_t size) { return xml_malloc(size); },
    [](void* block, std::size_t size) { return xml_realloc(block, size); },
    [](const char* text) { return xml_strdup(text); });

} // namespace

extern "C" {

void __wrap_xmlInitParser() { xmlInitParser(); }

void __wrap_xmlCleanupParser() { xmlCleanupParser(); }
}

} // namespace VornTest::Platform
