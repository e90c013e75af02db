// SPDX-License-Identifier: MIT
// Parsing, with checks for everything that libxml2 drops without a report when memory runs out.

#include <Bases/Impl/XmlParser.h>

#include <memory>

#include <libxml/SAX2.h>
#include <libxml/dict.h>
#include <libxml/entities.h>
#include <libxml/hash.h>
#include <libxml/parser.h>

#include <Bases/Impl/XmlPath.h>
#include <Bases/Impl/XmlSilence.h>

namespace Vorn {

namespace {

struct ParserDelete {
    void operator()(xmlParserCtxt* parser) const { xmlFreeParserCtxt(parser); }
};

// What the functions that libxml2 calls need besides the parser.
struct Parsing {
    const OnXmlEncoding& onEncoding;
    XmlSilence silence;
};

Parsing& ParsingOf(const xmlParserCtxt& parser) { return *static_cast<Parsing*>(parser._private); }

XmlSilence& SilenceOf(const xmlParserCtxt& parser) { return ParsingOf(parser).silence; }

void StartDocument(void* context) {
    xmlSAX2StartDocument(context);
    const auto& parser = *static_cast<const xmlParserCtxt*>(context);
    if (parser.myDoc != nullptr && parser.myDoc->encoding != nullptr)
        ParsingOf(parser).onEncoding(reinterpret_cast<const char*>(parser.myDoc->encoding));
}

// A prefix without a namespace is part of the name, and is dropped without a report when there is
// no memory for the two joined. A name that is in the dictionary needs none.
void KeepWholeName(const xmlParserCtxt& parser, const xmlChar* prefix, const xmlChar* name,
                   const xmlChar* uri) {
    if (prefix != nullptr && uri == nullptr && xmlDictQLookup(parser.dict, prefix, name) == nullptr)
        SilenceOf(parser).NoteLoss();
}

// `attributes` has five pointers for each: name, prefix, URI and both ends of the value.
void StartElement(void* context, const xmlChar* name, const xmlChar* prefix, const xmlChar* uri,
                  int namespaceCount, const xmlChar** namespaces, int attributeCount,
                  int defaultedCount, const xmlChar** attributes) {
    const auto& parser = *static_cast<const xmlParserCtxt*>(context);
    KeepWholeName(parser, prefix, name, uri);
    for (std::ptrdiff_t i = 0; i < attributeCount; ++i) {
        const xmlChar** const attribute = attributes + 5 * i;
        KeepWholeName(parser, attribute[1], attribute[0], attribute[2]);
    }
    xmlSAX2StartElementNs(context, name, prefix, uri, namespaceCount, namespaces, attributeCount,
                          defaultedCount, attributes);
}

// An entity for which there is no memory is dropped without a report.
void DeclareEntity(void* context, const xmlChar* name, int type, const xmlChar* publicId,
                   const xmlChar* systemId, xmlChar* content) {
    xmlSAX2EntityDecl(context, name, type, publicId, systemId, content);
    const auto& parser = *static_cast<const xmlParserCtxt*>(context);
    const bool isParameter =
        type == XML_INTERNAL_PARAMETER_ENTITY || type == XML_EXTERNAL_PARAMETER_ENTITY;
    const xmlEntity* const declared = isParameter ? xmlGetParameterEntity(parser.myDoc, name)
                                                  : xmlGetDocEntity(parser.myDoc, name);
    if (declared == nullptr)
        SilenceOf(parser).NoteLoss();
}

// xmlHashQLookup2 takes each prefix before its name, even if older headers declare it otherwise.
bool IsTypeKnown(const xmlParserCtxt& parser, const xmlAttribute& declared) {
    return xmlHashQLookup2(parser.attsSpecial, nullptr, declared.elem, declared.prefix,
                           declared.name) != nullptr;
}

// The type of a declared attribute is dropped without a report as well; the spaces that are trimmed
// from values of all types but CDATA would then stay.
bool AreTypesKnown(const xmlParserCtxt& parser, const xmlDoc& document) {
    if (document.intSubset == nullptr)
        return true;
    for (const xmlNode* node = document.intSubset->children; node != nullptr; node = node->next) {
        if (node->type != XML_ATTRIBUTE_DECL)
            continue;
        const auto& declared = *reinterpret_cast<const xmlAttribute*>(node);
        if (declared.atype != XML_ATTRIBUTE_CDATA && !IsTypeKnown(parser, declared))
            return false;
    }
    return true;
}

template <typename Read>
XmlDocument Parse(const OnXmlEncoding& onEncoding, Read read) {
    Parsing parsing{onEncoding, XmlSilence{}};
    SetUpCatalogs(); // a document may name one of its own
    const std::unique_ptr<xmlParserCtxt, ParserDelete> parser(xmlNewParserCtxt());
    if (!parser)
        return nullptr;
    parser->_private = &parsing;
    parser->sax->startDocument = StartDocument;
    parser->sax->startElementNs = StartElement;
    parser->sax->entityDecl = DeclareEntity;
    XmlDocument document(read(parser.get()));
    if (!document || parsing.silence.HasLoss() || !AreTypesKnown(*parser, *document))
        return nullptr;
    return document;
}

} // namespace

XmlDocument ParseXmlFile(const char* path, const OnXmlEncoding& onEncoding) {
    if (IsReadElsewhere(path))
        return nullptr;
    return Parse(onEncoding, [path](xmlParserCtxt* parser) {
        return xmlCtxtReadFile(parser, path, nullptr, 0);
    });
}

XmlDocument ParseXmlMemory(const char* bytes, int size, const OnXmlEncoding& onEncoding) {
    return Parse(onEncoding, [bytes, size](xmlParserCtxt* parser) {
        return xmlCtxtReadMemory(parser, bytes, size, "noname.xml", nullptr, 0);
    });
}

} // namespace Vorn
