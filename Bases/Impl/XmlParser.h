#ifndef VORN_BASES_IMPL_XML_PARSER_H
#define VORN_BASES_IMPL_XML_PARSER_H

// Whole documents or none, from libxml2's parser.

#include <Bases/Impl/XmlOwners.h>

namespace Vorn {

/// Parses the document in the file `path`, without any options. Returns null when libxml2 gives
/// none, when it would not take `path` for a file, and when it ran out of memory and gives a part.
XmlDocument ParseXmlFile(const char* path);

/// The same for the document in the `size` bytes at `bytes`, which are not needed afterwards.
XmlDocument ParseXmlMemory(const char* bytes, int size);

} // namespace Vorn

#endif
