#include <Bases/Xml.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <locale>
#include <new>
#include <vector>

#include <libxml/parser.h>

#include <Bases/Impl/Assert.h>
#include <Bases/Impl/XmlSupport.h>
#include <Bases/Text.h>
#include <Bases/Utility.h>

namespace Vorn {

namespace {

constexpr std::size_t InitialScratchSize = 4096;

// The room that a decoded text has beyond its length in the document, its terminator included.
constexpr std::size_t DecodingSlack = 10;

xmlNode* NodeOf(XmlReader::Element* element) { return reinterpret_cast<xmlNode*>(element); }

xmlAttr* NodeOf(XmlReader::Attribute* attribute) { return reinterpret_cast<xmlAttr*>(attribute); }

XmlReader::Element* HandleOf(xmlNode* node) { return reinterpret_cast<XmlReader::Element*>(node); }

XmlReader::Attribute* HandleOf(xmlAttr* node) {
    return reinterpret_cast<XmlReader::Attribute*>(node);
}

xmlNode* FirstElementFrom(xmlNode* node) {
    while (node != nullptr && node->type != XML_ELEMENT_NODE)
        node = node->next;
    return node;
}

// What atoi gives, but defined for numbers beyond int as well.
int ToInt(const std::string& text) {
    return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}

} // namespace

struct __attribute__((visibility("hidden"))) XmlReader::PrivateData {
    XmlDocument document;
    Converter converter;
    std::unique_ptr<std::vector<char>> scratch;

    static std::unique_ptr<PrivateData> Create();
    void Clear();
    bool OpenDecoder();
    bool ConvertDecoding(const xmlChar* text, std::string& out);

private:
    bool GrowScratch(std::size_t size);
};

// Null when memory is short, for the reader's own check to find.
std::unique_ptr<XmlReader::PrivateData> XmlReader::PrivateData::Create() {
    std::unique_ptr<PrivateData> data(new (std::nothrow) PrivateData);
    if (!data)
        return nullptr;
    data->scratch.reset(new (std::nothrow) std::vector<char>);
    if (!data->scratch)
        return nullptr;
    return data;
}

void XmlReader::PrivateData::Clear() {
    document.reset();
    converter.reset();
    scratch->clear();
}

bool XmlReader::PrivateData::GrowScratch(std::size_t size) {
    try {
        scratch->resize(size);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

// Makes the loaded document readable, or empties the reader.
//
// libxml2 hands out UTF-8 whatever the document declares, and yet the converter reads the declared
// encoding, so only documents declared UTF-8 decode exactly. Callers rely on what the others give.
bool XmlReader::PrivateData::OpenDecoder() {
    const auto* encoding = reinterpret_cast<const char*>(document->encoding);
    if (encoding != nullptr)
        converter = OpenConverter(LocaleEncoding, encoding);
    if (converter && GrowScratch(InitialScratchSize))
        return true;
    Clear();
    return false;
}

bool XmlReader::PrivateData::ConvertDecoding(const xmlChar* text, std::string& out) {
    if (!converter)
        return false;
    const char* input = text == nullptr ? "" : reinterpret_cast<const char*>(text);
    const auto length = static_cast<std::size_t>(xmlStrlen(text));
    const std::size_t room = length + DecodingSlack;
    if (scratch->size() < room && !GrowScratch(room))
        return false;
    if (!Convert(converter, input, length + 1, scratch->data(), room))
        return false;
    // An encoding of wide units may yield no zero byte. What an earlier text left in the array then
    // follows, up to the array's end at most.
    out.assign(scratch->data(), strnlen(scratch->data(), scratch->size()));
    return true;
}

XmlReader::XmlReader() : m_pPrivateData(PrivateData::Create()) {
    VORN_ASSERT(m_pPrivateData != NULL); // NOLINT(modernize-use-nullptr): the message says NULL
}

XmlReader::~XmlReader() { Close(); }

bool XmlReader::Load(const std::string& path) {
    if (!m_pPrivateData || m_pPrivateData->document)
        return false;
    const XmlSilence silence;
    const std::string converted = tcs_to_mbs(path, std::locale());
    if (IsForeignToFiles(converted.c_str()))
        return false;
    XmlDocument& document = m_pPrivateData->document;
    document.reset(xmlReadFile(converted.c_str(), nullptr, 0));
    if (!document)
        return false;
    if (document->encoding == nullptr)
        std::printf("[XmlDoc] Load from file (%s file is not xml document)\n", path.c_str());
    return m_pPrivateData->OpenDecoder();
}

bool XmlReader::Load(unsigned char* buffer, unsigned long size) {
    if (buffer == nullptr || size == 0 || size > INT_MAX)
        return false;
    if (!m_pPrivateData || m_pPrivateData->document)
        return false;
    const XmlSilence silence;
    XmlDocument& document = m_pPrivateData->document;
    document.reset(xmlReadMemory(reinterpret_cast<const char*>(buffer), static_cast<int>(size),
                                 "noname.xml", nullptr, 0));
    if (!document)
        return false;
    if (document->encoding == nullptr)
        std::puts("[XmlDoc] Load from memory (not xml document)");
    return m_pPrivateData->OpenDecoder();
}

void XmlReader::Close() {
    if (!m_pPrivateData)
        return;
    const XmlSilence silence;
    m_pPrivateData->Clear();
}

XmlReader::Element* XmlReader::GetRootElement() {
    return m_pPrivateData ? HandleOf(xmlDocGetRootElement(m_pPrivateData->document.get()))
                          : nullptr;
}

// Handles are not looked into unless a document is loaded: after Close they dangle.
XmlReader::Element* XmlReader::ChildElement(Element* parent, std::string* name) {
    if (parent == nullptr || !m_pPrivateData || !m_pPrivateData->document)
        return nullptr;
    Element* const child = HandleOf(FirstElementFrom(NodeOf(parent)->children));
    if (name != nullptr)
        GetElement(child, *name);
    return child;
}

XmlReader::Element* XmlReader::NextElement(Element* element, std::string* name) {
    if (element == nullptr || !m_pPrivateData || !m_pPrivateData->document)
        return nullptr;
    Element* const next = HandleOf(FirstElementFrom(NodeOf(element)->next));
    if (name != nullptr)
        GetElement(next, *name);
    return next;
}

bool XmlReader::GetElement(Element* element, std::string& name) {
    if (element == nullptr || !m_pPrivateData || !m_pPrivateData->document)
        return false;
    return m_pPrivateData->ConvertDecoding(NodeOf(element)->name, name);
}

bool XmlReader::GetEntity(Element* element, std::string& text) {
    if (element == nullptr || !m_pPrivateData || !m_pPrivateData->document)
        return false;
    const xmlNode* const child = NodeOf(element)->children;
    if (child == nullptr || child->type != XML_TEXT_NODE)
        return false;
    return m_pPrivateData->ConvertDecoding(child->content, text);
}

XmlReader::Attribute* XmlReader::GetFirstAttribute(Element* element) {
    if (element == nullptr || !m_pPrivateData || !m_pPrivateData->document)
        return nullptr;
    return HandleOf(NodeOf(element)->properties);
}

XmlReader::Attribute* XmlReader::NextAttribute(Attribute* attribute) {
    if (attribute == nullptr || !m_pPrivateData || !m_pPrivateData->document)
        return nullptr;
    return HandleOf(NodeOf(attribute)->next);
}

bool XmlReader::GetAttribute(Attribute* attribute, std::string& name, std::string& value) {
    if (attribute == nullptr || !m_pPrivateData || !m_pPrivateData->document)
        return false;
    if (!m_pPrivateData->ConvertDecoding(NodeOf(attribute)->name, name))
        return false;
    const xmlNode* const child = NodeOf(attribute)->children;
    return m_pPrivateData->ConvertDecoding(child == nullptr ? nullptr : child->content, value);
}

bool XmlReader::GetAttribute(Attribute* attribute, std::string& name, unsigned long& value) {
    std::string text;
    if (!GetAttribute(attribute, name, text))
        return false;
    value = static_cast<unsigned long>(ToInt(text));
    return true;
}

bool XmlReader::GetAttribute(Attribute* attribute, std::string& name, unsigned int& value) {
    std::string text;
    if (!GetAttribute(attribute, name, text))
        return false;
    value = static_cast<unsigned int>(ToInt(text));
    return true;
}

bool XmlReader::GetAttribute(Attribute* attribute, std::string& name, unsigned char& value) {
    std::string text;
    if (!GetAttribute(attribute, name, text))
        return false;
    value = static_cast<unsigned char>(ToInt(text));
    return true;
}

bool XmlReader::GetAttribute(Attribute* attribute, std::string& name, double& value) {
    std::string text;
    if (!GetAttribute(attribute, name, text))
        return false;
    value = std::strtod(text.c_str(), nullptr);
    return true;
}

bool XmlReader::GetAttribute(Attribute* attribute, std::string& name, Guid& value) {
    std::string text;
    if (!GetAttribute(attribute, name, text))
        return false;
    value.FromString(text);
    return true;
}

} // namespace Vorn
