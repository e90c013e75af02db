// SPDX-License-Identifier: MIT
// XmlReader and XmlWriter.

#include <Bases/Xml.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <locale>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include <Bases/Impl/Assert.h>
#include <Bases/Impl/Converter.h>
#include <Bases/Impl/XmlOwners.h>
#include <Bases/Impl/XmlParser.h>
#include <Bases/Impl/XmlSilence.h>
#include <Bases/Impl/XmlTextWriter.h>
#include <Bases/Text.h>
#include <Bases/Utility.h>

namespace Vorn {

namespace {

constexpr std::size_t InitialScratchSize = 4096;

// By how much a decoded text may exceed its length in the document, its terminator included.
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

// As atoi, but defined beyond the range of int too.
int ToInt(const std::string& text) {
    return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}

// The common part of the typed forms: having a text is success, whatever it converts to.
template <typename Use>
bool UseAttribute(XmlReader& reader, XmlReader::Attribute* attribute, std::string& name, Use use) {
    std::string text;
    if (!reader.GetAttribute(attribute, name, text))
        return false;
    use(text);
    return true;
}

constexpr std::size_t ValueTextSize = 255;

std::string ToText(int value) {
    char text[ValueTextSize] = {};
    return _itoa(value, text, 10);
}

std::string ToText(long long value) {
    char text[ValueTextSize] = {};
    return _i64toa(value, text, 10);
}

// Both print their low 32 bits as a signed number, so that 4294967295 becomes "-1". XmlReader
// undoes this for unsigned int by the same wrap.
std::string ToText(unsigned int value) { return ToText(static_cast<int>(value)); }

std::string ToText(unsigned long value) { return ToText(static_cast<int>(value)); }

std::string ToText(unsigned long long value) {
    char text[ValueTextSize] = {};
    std::snprintf(text, sizeof text, "%llu", value);
    return text;
}

std::string ToText(double value) {
    char text[ValueTextSize] = {};
    std::snprintf(text, sizeof text, "%lf", value);
    return text;
}

// A text in the encoding of the document: the caller's own where that is the same.
class EncodedText {
public:
    EncodedText() = default;
    explicit EncodedText(const char* text) : m_pText(reinterpret_cast<const xmlChar*>(text)) {}
    explicit EncodedText(XmlText converted)
        : m_converted(std::move(converted)), m_pText(m_converted.get()) {}

    explicit operator bool() const { return m_pText != nullptr; }
    const xmlChar* Get() const { return m_pText; }

private:
    XmlText m_converted;
    const xmlChar* m_pText = nullptr;
};

// As xmlTextWriterWriteString, which copies every text to escape it, even where it changes nothing.
// Control characters are left to it, too: not every version treats them alike.
int WriteString(xmlTextWriter* writer, const xmlChar* text) {
    constexpr const char* Special = "<>&\"\r\x01\x02\x03\x04\x05\x06\x07\x08\x0B\x0C\x0E\x0F"
                                    "\x10\x11\x12\x13\x14\x15\x16\x17"
                                    "\x18\x19\x1A\x1B\x1C\x1D\x1E\x1F";
    const bool isPlain = std::strpbrk(reinterpret_cast<const char*>(text), Special) == nullptr;
    return isPlain ? xmlTextWriterWriteRaw(writer, text) : xmlTextWriterWriteString(writer, text);
}

struct FileClose {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

} // namespace

struct XmlReader::PrivateData {
    XmlDocument document;
    Converter converter;
    std::unique_ptr<std::vector<char>> scratch;

    static std::unique_ptr<PrivateData> Create();
    void Clear();
    void OpenDecoder(const char* encoding);
    bool FinishLoad();
    bool ConvertDecoding(const xmlChar* text, std::string& out);

private:
    bool GrowScratch(std::size_t size);
};

// Returns null when memory runs out; the constructor checks for it.
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
    const XmlSilence silence;
    document.reset();
    converter.Close();
    scratch->clear();
}

bool XmlReader::PrivateData::GrowScratch(std::size_t size) {
    try {
        scratch->resize(size);
        return true;
    } catch (const std::bad_alloc&) { // GCOVR_EXCL_BR_LINE unthrown
        return false;
    }
}

// libxml2 returns UTF-8 whatever the document declares, and yet the converter reads the declared
// encoding, so only documents declared UTF-8 decode exactly. Callers rely on the results of others.
//
// Called as soon as the encoding is known: a large block that is allocated behind the tree makes
// the C library tidy its heap again and again while the tree is freed, which takes longer than all
// else about closing.
void XmlReader::PrivateData::OpenDecoder(const char* encoding) {
    if (GrowScratch(InitialScratchSize))
        converter.Open(LocaleEncoding, encoding);
}

// Makes the parsed document readable, or empties the reader. Releases of libxml2 differ in whether
// they name every encoding before the tree.
bool XmlReader::PrivateData::FinishLoad() {
    if (document && document->encoding != nullptr && !converter.IsOpen())
        OpenDecoder(reinterpret_cast<const char*>(document->encoding));
    if (document && converter.IsOpen())
        return true;
    Clear();
    return false;
}

bool XmlReader::PrivateData::ConvertDecoding(const xmlChar* text, std::string& out) {
    const std::string_view input = text == nullptr ? "" : reinterpret_cast<const char*>(text);
    if (converter.Keeps(input)) {
        out = input;
        return true;
    }
    const std::size_t capacity = input.size() + DecodingSlack;
    if (scratch->size() < capacity && !GrowScratch(capacity))
        return false;
    if (!converter.Convert(input.data(), input.size() + 1, scratch->data(), capacity))
        return false;
    // An encoding of wide units may yield no zero byte. What an earlier text left in the array then
    // follows, at most up to the end of the array.
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
    XmlDocument& document = m_pPrivateData->document;
    document = ParseXmlFile(tcs_to_mbs(path, std::locale()).c_str(), [this](const char* encoding) {
        m_pPrivateData->OpenDecoder(encoding);
    });
    if (document && document->encoding == nullptr)
        std::printf("[XmlDoc] Load from file (%s file is not xml document)\n", path.c_str());
    return m_pPrivateData->FinishLoad();
}

bool XmlReader::Load(unsigned char* buffer, unsigned long size) {
    if (buffer == nullptr || size == 0 || size > INT_MAX)
        return false;
    if (!m_pPrivateData || m_pPrivateData->document)
        return false;
    XmlDocument& document = m_pPrivateData->document;
    document =
        ParseXmlMemory(reinterpret_cast<const char*>(buffer), static_cast<int>(size),
                       [this](const char* encoding) { m_pPrivateData->OpenDecoder(encoding); });
    if (document && document->encoding == nullptr)
        std::puts("[XmlDoc] Load from memory (not xml document)");
    return m_pPrivateData->FinishLoad();
}

void XmlReader::Close() {
    if (m_pPrivateData)
        m_pPrivateData->Clear();
}

bool XmlReader::IsLoaded() const { return m_pPrivateData && m_pPrivateData->document; }

XmlReader::Element* XmlReader::GetRootElement() {
    return m_pPrivateData ? HandleOf(xmlDocGetRootElement(m_pPrivateData->document.get()))
                          : nullptr;
}

// Handles are dereferenced only while a document is loaded: after Close they dangle.
XmlReader::Element* XmlReader::ChildElement(Element* parent, std::string* name) {
    if (parent == nullptr || !IsLoaded())
        return nullptr;
    Element* const child = HandleOf(FirstElementFrom(NodeOf(parent)->children));
    if (name != nullptr)
        GetElement(child, *name);
    return child;
}

XmlReader::Element* XmlReader::NextElement(Element* element, std::string* name) {
    if (element == nullptr || !IsLoaded())
        return nullptr;
    Element* const next = HandleOf(FirstElementFrom(NodeOf(element)->next));
    if (name != nullptr)
        GetElement(next, *name);
    return next;
}

bool XmlReader::GetElement(Element* element, std::string& name) {
    if (element == nullptr || !IsLoaded())
        return false;
    return m_pPrivateData->ConvertDecoding(NodeOf(element)->name, name);
}

bool XmlReader::GetEntity(Element* element, std::string& text) {
    if (element == nullptr || !IsLoaded())
        return false;
    const xmlNode* const child = NodeOf(element)->children;
    if (child == nullptr || child->type != XML_TEXT_NODE)
        return false;
    return m_pPrivateData->ConvertDecoding(child->content, text);
}

XmlReader::Attribute* XmlReader::GetFirstAttribute(Element* element) {
    if (element == nullptr || !IsLoaded())
        return nullptr;
    return HandleOf(NodeOf(element)->properties);
}

XmlReader::Attribute* XmlReader::NextAttribute(Attribute* attribute) {
    if (attribute == nullptr || !IsLoaded())
        return nullptr;
    return HandleOf(NodeOf(attribute)->next);
}

bool XmlReader::GetAttribute(Attribute* attribute, std::string& name, std::string& value) {
    if (attribute == nullptr || !IsLoaded())
        return false;
    if (!m_pPrivateData->ConvertDecoding(NodeOf(attribute)->name, name))
        return false;
    const xmlNode* const child = NodeOf(attribute)->children;
    return m_pPrivateData->ConvertDecoding(child == nullptr ? nullptr : child->content, value);
}

bool XmlReader::GetAttribute(Attribute* attribute, std::string& name, unsigned long& value) {
    return UseAttribute(*this, attribute, name, [&value](const std::string& text) {
        value = static_cast<unsigned long>(ToInt(text));
    });
}

bool XmlReader::GetAttribute(Attribute* attribute, std::string& name, unsigned int& value) {
    return UseAttribute(*this, attribute, name, [&value](const std::string& text) {
        value = static_cast<unsigned int>(ToInt(text));
    });
}

bool XmlReader::GetAttribute(Attribute* attribute, std::string& name, unsigned char& value) {
    return UseAttribute(*this, attribute, name, [&value](const std::string& text) {
        value = static_cast<unsigned char>(ToInt(text));
    });
}

bool XmlReader::GetAttribute(Attribute* attribute, std::string& name, double& value) {
    return UseAttribute(*this, attribute, name, [&value](const std::string& text) {
        value = std::strtod(text.c_str(), nullptr);
    });
}

bool XmlReader::GetAttribute(Attribute* attribute, std::string& name, Guid& value) {
    return UseAttribute(*this, attribute, name,
                        [&value](const std::string& text) { value.FromString(text); });
}

// The writer flushes into its buffer when it is destroyed, so the buffers are declared first.
struct XmlWriter::PrivateData {
    XmlBuffer hiddenBuffer; // after Close: no longer returned, but the writer still points at it
    XmlBuffer buffer;
    XmlTextWriter writer;
    Converter converter;

    bool RenewBuffer();
    bool StartDocument(const std::string& encoding);
    bool EndElement();
    bool EndDocument();
    void Close();

    using OneTextCall = int (*)(xmlTextWriterPtr, const xmlChar*);
    using TwoTextCall = int (*)(xmlTextWriterPtr, const xmlChar*, const xmlChar*);

    bool Write(OneTextCall pfnCall, const std::string& text);
    bool Write(TwoTextCall pfnCall, const std::string& name, const std::string& text);

private:
    EncodedText ConvertEncoding(const std::string& text);

    template <typename Call>
    bool Succeeds(Call call);

    XmlErrorPlaces m_places;
    bool m_bLoss = false; // part of the document is missing for lack of memory
};

// Returns whether a call of libxml2 neither fails nor loses anything.
template <typename Call>
bool XmlWriter::PrivateData::Succeeds(Call call) {
    if (!m_places.AreOfThread())
        m_places = XmlErrorPlaces::OfThread();
    const XmlSilence silence(m_places);
    const bool result = call() >= 0;
    m_bLoss = m_bLoss || silence.HasLoss();
    return result && !silence.HasLoss();
}

// Frees the buffer of an earlier document first, so that memory never holds two.
bool XmlWriter::PrivateData::RenewBuffer() {
    const XmlSilence silence;
    buffer.reset();
    buffer.reset(xmlBufferCreate());
    return buffer != nullptr;
}

bool XmlWriter::PrivateData::StartDocument(const std::string& encoding) {
    m_bLoss = false;
    const bool started = Succeeds([&] {
        if (!writer.Open(buffer.get()))
            return -1;
        return xmlTextWriterStartDocument(writer.Get(), nullptr, encoding.c_str(), nullptr);
    });
    return started && converter.Open(encoding.c_str(), LocaleEncoding);
}

bool XmlWriter::PrivateData::EndElement() {
    return writer.Get() != nullptr &&
           Succeeds([this] { return xmlTextWriterEndElement(writer.Get()); });
}

// A loss in an earlier operation counts as well: not every caller checks all results, and
// WriteElementEntity itself ignores one.
bool XmlWriter::PrivateData::EndDocument() {
    const bool ended = Succeeds([this] {
        const int result = writer.Get() == nullptr ? -1 : xmlTextWriterEndDocument(writer.Get());
        writer.Close();
        hiddenBuffer.reset();
        return result;
    });
    converter.Close();
    return ended && !m_bLoss;
}

// The writer stays, and so must the bytes that it points at; they are just no longer returned.
void XmlWriter::PrivateData::Close() {
    if (writer.Get() != nullptr && buffer)
        hiddenBuffer = std::move(buffer);
    buffer.reset();
    converter.Close();
}

// The capacity is three bytes for each byte of the text and its terminator. An encoding may turn
// that terminator into something without a zero byte and fill the capacity, hence the extra byte.
EncodedText XmlWriter::PrivateData::ConvertEncoding(const std::string& text) {
    if (!converter.IsOpen())
        return {};
    if (converter.Keeps(text))
        return EncodedText(text.c_str());
    const std::size_t capacity = 3 * (text.size() + 1);
    XmlText converted(static_cast<xmlChar*>(xmlMalloc(capacity + 1)));
    if (!converted)
        return {};
    const auto written = converter.Convert(text.c_str(), text.size() + 1,
                                           reinterpret_cast<char*>(converted.get()), capacity);
    if (!written)
        return {};
    converted.get()[*written] = 0;
    return EncodedText(std::move(converted));
}

// libxml2 is not called with a text that could not be converted: instead of refusing, it would
// leave half an element or an open comment.
bool XmlWriter::PrivateData::Write(OneTextCall pfnCall, const std::string& text) {
    if (writer.Get() == nullptr)
        return false;
    const EncodedText encoded = ConvertEncoding(text);
    return encoded && Succeeds([&] { return pfnCall(writer.Get(), encoded.Get()); });
}

bool XmlWriter::PrivateData::Write(TwoTextCall pfnCall, const std::string& name,
                                   const std::string& text) {
    if (writer.Get() == nullptr)
        return false;
    const EncodedText encodedName = ConvertEncoding(name);
    const EncodedText encodedText = ConvertEncoding(text);
    return encodedName && encodedText &&
           Succeeds([&] { return pfnCall(writer.Get(), encodedName.Get(), encodedText.Get()); });
}

XmlWriter::XmlWriter() : m_pPrivateData(new (std::nothrow) PrivateData) {
    VORN_ASSERT(m_pPrivateData != NULL); // NOLINT(modernize-use-nullptr): the message says NULL
}

XmlWriter::~XmlWriter() {
    const XmlSilence silence;
    m_pPrivateData.reset();
}

bool XmlWriter::BeginDocument(const std::string& encoding) {
    if (!m_pPrivateData || m_pPrivateData->writer.IsOpen())
        return false;
    if (!m_pPrivateData->RenewBuffer())
        return false;
    if (m_pPrivateData->StartDocument(encoding))
        return true;
    Close(); // an override may belong to the program, so it is called outside the silence
    return false;
}

bool XmlWriter::BeginElement(const std::string& name) {
    return m_pPrivateData && m_pPrivateData->Write(xmlTextWriterStartElement, name);
}

bool XmlWriter::EndElement() { return m_pPrivateData && m_pPrivateData->EndElement(); }

bool XmlWriter::WriteElement(const std::string& name, const std::string& content) {
    return m_pPrivateData && m_pPrivateData->Write(xmlTextWriterWriteElement, name, content);
}

bool XmlWriter::WriteAttribute(const std::string& name, const std::string& value) {
    return m_pPrivateData && m_pPrivateData->Write(xmlTextWriterWriteAttribute, name, value);
}

bool XmlWriter::WriteEntity(const std::string& text) {
    return m_pPrivateData && m_pPrivateData->Write(WriteString, text);
}

bool XmlWriter::WriteElementEntity(const std::string& name, const std::string& text) {
    if (!BeginElement(name))
        return false;
    const bool result = WriteEntity(text);
    EndElement();
    return result;
}

bool XmlWriter::WriteComment(const std::string& text) {
    return m_pPrivateData && m_pPrivateData->Write(xmlTextWriterWriteComment, text);
}

// Typed values: each is converted to text and passed to the operation for texts.

bool XmlWriter::WriteAttribute(const std::string& name, const int& value) {
    return WriteAttribute(name, ToText(value));
}

bool XmlWriter::WriteEntity(const int& value) { return WriteEntity(ToText(value)); }

bool XmlWriter::WriteElementEntity(const std::string& name, const int& value) {
    return WriteElementEntity(name, ToText(value));
}

bool XmlWriter::WriteAttribute(const std::string& name, const unsigned int& value) {
    return WriteAttribute(name, ToText(value));
}

bool XmlWriter::WriteEntity(const unsigned int& value) { return WriteEntity(ToText(value)); }

bool XmlWriter::WriteElementEntity(const std::string& name, const unsigned int& value) {
    return WriteElementEntity(name, ToText(value));
}

bool XmlWriter::WriteAttribute(const std::string& name, const unsigned long& value) {
    return WriteAttribute(name, ToText(value));
}

bool XmlWriter::WriteEntity(const unsigned long& value) { return WriteEntity(ToText(value)); }

bool XmlWriter::WriteElementEntity(const std::string& name, const unsigned long& value) {
    return WriteElementEntity(name, ToText(value));
}

bool XmlWriter::WriteAttribute(const std::string& name, const long long& value) {
    return WriteAttribute(name, ToText(value));
}

bool XmlWriter::WriteEntity(const long long& value) { return WriteEntity(ToText(value)); }

bool XmlWriter::WriteElementEntity(const std::string& name, const long long& value) {
    return WriteElementEntity(name, ToText(value));
}

bool XmlWriter::WriteAttribute(const std::string& name, const unsigned long long& value) {
    return WriteAttribute(name, ToText(value));
}

bool XmlWriter::WriteEntity(const unsigned long long& value) { return WriteEntity(ToText(value)); }

bool XmlWriter::WriteElementEntity(const std::string& name, const unsigned long long& value) {
    return WriteElementEntity(name, ToText(value));
}

bool XmlWriter::WriteAttribute(const std::string& name, const double& value) {
    return WriteAttribute(name, ToText(value));
}

bool XmlWriter::WriteEntity(const double& value) { return WriteEntity(ToText(value)); }

bool XmlWriter::WriteElementEntity(const std::string& name, const double& value) {
    return WriteElementEntity(name, ToText(value));
}

bool XmlWriter::WriteAttribute(const std::string& name, const Guid& value, int form) {
    return WriteAttribute(name, value.ToString(form));
}

bool XmlWriter::WriteEntity(const Guid& value, int form) {
    return WriteEntity(value.ToString(form));
}

bool XmlWriter::WriteElementEntity(const std::string& name, const Guid& value, int form) {
    return WriteElementEntity(name, value.ToString(form));
}

bool XmlWriter::EndDocument() { return m_pPrivateData && m_pPrivateData->EndDocument(); }

unsigned char* XmlWriter::GetXmlBuffer(unsigned long& size) {
    size = 0;
    if (!m_pPrivateData || !m_pPrivateData->buffer)
        return nullptr;
    xmlBuffer* const buffer = m_pPrivateData->buffer.get();
    size = static_cast<unsigned int>(xmlBufferLength(buffer)); // an unsigned int returned as int
    return const_cast<xmlChar*>(xmlBufferContent(buffer));
}

bool XmlWriter::Save(const std::string& path) {
    unsigned long size = 0;
    const unsigned char* const bytes = GetXmlBuffer(size);
    if (bytes == nullptr)
        return false;
    const std::unique_ptr<std::FILE, FileClose> file(std::fopen(path.c_str(), "wb"));
    if (!file)
        return false;
    std::fwrite(bytes, 1, size, file.get());
    return true;
}

void XmlWriter::Close() {
    if (!m_pPrivateData)
        return;
    const XmlSilence silence;
    m_pPrivateData->Close();
}

} // namespace Vorn
