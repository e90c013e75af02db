// SPDX-License-Identifier: MIT
#include "XmlStream.h"

#include <exception>
#include <memory>
#include <new>
#include <stdexcept>

#include <libxml/SAX2.h>
#include <libxml/parser.h>

#include "ReadFile.h"

namespace Manifest {

namespace {

std::string_view ViewOf(const xmlChar* text) {
    return text == nullptr ? std::string_view() : reinterpret_cast<const char*>(text);
}

/// What libxml2 calls while it parses. Nothing may be thrown through it, so what is thrown is kept.
class Stream {
public:
    explicit Stream(XmlHandler& handler);

    /// Returns false when the document is known to be wrong.
    bool Add(std::string_view piece) {
        xmlParseChunk(m_parser.get(), piece.data(), static_cast<int>(piece.size()), 0);
        return m_fault.empty() && m_thrown == nullptr;
    }

    /// Throws what is wrong with the document.
    void Finish();

private:
    struct Free {
        // libxml2 starts a document of its own for what a document type declares.
        void operator()(xmlParserCtxt* parser) const {
            xmlFreeDoc(parser->myDoc);
            xmlFreeParserCtxt(parser);
        }
    };

    static Stream& Of(void* context) {
        return *static_cast<Stream*>(static_cast<xmlParserCtxt*>(context)->_private);
    }
    static void Begin(void* context, const xmlChar* name, const xmlChar*, const xmlChar*, int,
                      const xmlChar**, int count, int, const xmlChar** attributes);
    static void End(void* context, const xmlChar*, const xmlChar*, const xmlChar*);
    static void Characters(void* context, const xmlChar* text, int size);

    void NoteError(const xmlError& error);

    template <typename Call>
    void Guard(const Call& call);

    void SetFault(int line, const std::string& what) {
        if (m_fault.empty())
            m_fault = "line " + std::to_string(line) + ": " + what;
    }

    XmlHandler& m_handler;
    XmlAttributes m_attributes;
    std::string m_fault;         // the first, with its line
    std::exception_ptr m_thrown; // anything but a fault of the document
    std::unique_ptr<xmlParserCtxt, Free> m_parser;
};

// Callbacks that are not set are left out, those that would declare entities among them.
Stream::Stream(XmlHandler& handler) : m_handler(handler) {
    xmlSAXHandler calls{};
    calls.initialized = XML_SAX2_MAGIC;
    calls.internalSubset = [](void* context, auto...) {
        Stream& stream = Of(context);
        stream.SetFault(xmlSAX2GetLineNumber(stream.m_parser.get()), "it has a document type");
    };
    calls.startElementNs = Begin;
    calls.endElementNs = End;
    calls.characters = Characters;
    calls.cdataBlock = Characters;
    calls.serror = [](void* context, auto* error) { Of(context).NoteError(*error); };
    m_parser.reset(xmlCreatePushParserCtxt(&calls, nullptr, nullptr, 0, nullptr));
    if (m_parser == nullptr)
        throw std::bad_alloc();
    m_parser->_private = this;
    // "&amp;" in an attribute arrives as "&" only with this option.
    xmlCtxtUseOptions(m_parser.get(), XML_PARSE_NOENT | XML_PARSE_NONET);
}

template <typename Call>
void Stream::Guard(const Call& call) {
    if (!m_fault.empty() || m_thrown != nullptr)
        return;
    try {
        call();
    } catch (const std::runtime_error& error) {
        SetFault(xmlSAX2GetLineNumber(m_parser.get()), error.what());
    } catch (...) {
        m_thrown = std::current_exception();
    }
}

// Five pointers for each attribute: name, prefix, namespace, begin and end of the value.
void Stream::Begin(void* context, const xmlChar* name, const xmlChar*, const xmlChar*, int,
                   const xmlChar**, int count, int, const xmlChar** attributes) {
    Stream& stream = Of(context);
    stream.Guard([&] {
        stream.m_attributes.clear();
        for (int i = 0; i < count; ++i, attributes += 5)
            stream.m_attributes.emplace_back(
                ViewOf(attributes[0]),
                std::string_view(reinterpret_cast<const char*>(attributes[3]),
                                 static_cast<std::size_t>(attributes[4] - attributes[3])));
        stream.m_handler.Begin(ViewOf(name), stream.m_attributes);
    });
}

void Stream::End(void* context, const xmlChar*, const xmlChar*, const xmlChar*) {
    Stream& stream = Of(context);
    stream.Guard([&] { stream.m_handler.End(); });
}

void Stream::Characters(void* context, const xmlChar* text, int size) {
    Stream& stream = Of(context);
    stream.Guard([&] {
        stream.m_handler.Text(
            {reinterpret_cast<const char*>(text), static_cast<std::size_t>(size)});
    });
}

void Stream::NoteError(const xmlError& error) {
    if (error.level < XML_ERR_ERROR)
        return;
    std::string what = error.message == nullptr ? "malformed" : error.message;
    while (!what.empty() && what.back() == '\n')
        what.pop_back();
    SetFault(error.line, what);
}

void Stream::Finish() {
    if (m_thrown == nullptr && m_fault.empty())
        xmlParseChunk(m_parser.get(), nullptr, 0, 1);
    if (m_thrown != nullptr)
        std::rethrow_exception(m_thrown);
    if (!m_fault.empty())
        throw std::runtime_error(m_fault);
}

} // namespace

void ReadXml(const std::string& name, XmlHandler& handler) {
    Stream stream(handler);
    const auto add = [&stream](std::string_view piece) { return stream.Add(piece); };
    const std::string reason = Examples::ReadInputInPieces(name, add);
    if (!reason.empty())
        throw std::runtime_error(reason);
    stream.Finish();
}

} // namespace Manifest
