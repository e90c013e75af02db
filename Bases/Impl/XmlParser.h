// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_XML_PARSER_H
#define VORN_BASES_IMPL_XML_PARSER_H

// Parsing with libxml2 that yields a complete document or none.

#include <functional>

#include <Bases/Impl/XmlOwners.h>

namespace Vorn {

/// Is called with the encoding of a document when it is found before the tree is built, which may
/// fail afterwards. Must not throw.
using OnXmlEncoding = std::function<void(const char* encoding)>;

/// Parses the document in the file `path`, without any options. Returns null when libxml2 returns
/// none, when it would not read `path` as a file, and when part is missing for lack of memory.
XmlDocument ParseXmlFile(const char* path, const OnXmlEncoding& onEncoding);

/// The same for the document in the `size` bytes at `bytes`, which are not needed afterwards.
XmlDocument ParseXmlMemory(const char* bytes, int size, const OnXmlEncoding& onEncoding);

} // namespace Vorn

#endif
