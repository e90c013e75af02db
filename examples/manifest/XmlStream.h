// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_MANIFEST_XML_STREAM_H
#define VORN_BASES_EXAMPLES_MANIFEST_XML_STREAM_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Manifest {

// Reads XML with libxml2's parser and not with Vorn::XmlReader, which holds the document as a whole
// and does not tell where it is wrong. All texts are in UTF-8.

using XmlAttributes = std::vector<std::pair<std::string_view, std::string_view>>;

/// Is told what a document holds, piece by piece, and may throw std::runtime_error with what is
/// wrong with it.
class XmlHandler {
public:
    XmlHandler() = default;
    virtual ~XmlHandler() = default;
    XmlHandler(const XmlHandler&) = delete;
    XmlHandler& operator=(const XmlHandler&) = delete;

    virtual void Begin(std::string_view element, const XmlAttributes& attributes) = 0;
    virtual void Text(std::string_view text) = 0;
    virtual void End() = 0;
};

/// Reads the document `name`, or standard input for "-". Throws std::runtime_error with the reason:
/// with the line if the document is at fault, also when the handler says so. A document with
/// a document type is refused, so that no entity is expanded and nothing else is loaded.
void ReadXml(const std::string& name, XmlHandler& handler);

} // namespace Manifest

#endif
