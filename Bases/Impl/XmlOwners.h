// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_XML_OWNERS_H
#define VORN_BASES_IMPL_XML_OWNERS_H

// Owning pointers to objects of libxml2.

#include <memory>

#include <libxml/tree.h>

namespace Vorn {

struct XmlDelete {
    void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
    void operator()(xmlBuffer* buffer) const { xmlBufferFree(buffer); }
    void operator()(xmlChar* text) const { xmlFree(text); }
    void operator()(char* text) const { xmlFree(text); }
};

using XmlDocument = std::unique_ptr<xmlDoc, XmlDelete>;
using XmlBuffer = std::unique_ptr<xmlBuffer, XmlDelete>;
using XmlText = std::unique_ptr<xmlChar, XmlDelete>;

} // namespace Vorn

#endif
