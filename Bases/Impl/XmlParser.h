#ifndef VORN_BASES_IMPL_XML_PARSER_H
#define VORN_BASES_IMPL_XML_PARSER_H

// Parsing with libxml2 that yields a complete document or none.

#include <Bases/Impl/XmlOwners.h>

namespace Vorn {

/// Parses the document in the file `path`, without any options. Returns null when libxml2 returns
/// none, when it would not read `path` as a file, and when part is missing for lack of memory.
XmlDocument ParseXmlFile(const char* path);

/// The same for the document in the `size` bytes at `bytes`, which are not needed afterwards.
XmlDocument ParseXmlMemory(const char* bytes, int size);

} // namespace Vorn

#endif
