// SPDX-License-Identifier: MIT
// XML beside libxml2 called directly, the way a program without the library would, and pugixml.

#include <array>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <iconv.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlwriter.h>
#include <pugixml.hpp>

#include <Bases/Xml.h>
#include <support/Inputs.h>
#include <support/Row.h>

namespace Bench {

namespace {

// --- The document: items with four attributes and a text each ------------------------------------

constexpr std::size_t ItemsOf10Mb = 60'000;
constexpr std::size_t Attributes = 4;

const char* const AttributeNames[Attributes] = {"id", "name", "written", "owner"};

struct Item {
    std::array<std::string, Attributes> attributes;
    std::string text;
};

// The items repeat, so that building them leaves little in the heap that children start with.
const Item& ItemAt(std::size_t index) {
    static const std::vector<Item> items = [] {
        std::vector<Item> made(100);
        Random random;
        for (Item& item : made)
            item = {{std::to_string(100000 + random() % 900000), AsciiText(12 + random() % 8),
                     "2024-03-05T07:08:09.045Z", AsciiText(10)},
                    AsciiText(40 + random() % 20)};
        return made;
    }();
    return items[index % items.size()];
}

struct FreeWriter {
    void operator()(xmlTextWriter* writer) const { xmlFreeTextWriter(writer); }
};
struct FreeBuffer {
    void operator()(xmlBuffer* buffer) const { xmlBufferFree(buffer); }
};
struct FreeDocument {
    void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
using Buffer = std::unique_ptr<xmlBuffer, FreeBuffer>;
using Document = std::unique_ptr<xmlDoc, FreeDocument>;

const xmlChar* X(const char* text) { return reinterpret_cast<const xmlChar*>(text); }
const xmlChar* X(const std::string& text) { return X(text.c_str()); }
const char* C(const xmlChar* text) { return reinterpret_cast<const char*>(text); }

// --- Writing -------------------------------------------------------------------------------------

bool OurWrite(Vorn::XmlWriter& writer, std::size_t items) {
    writer.Close();
    writer.BeginDocument("UTF-8");
    writer.BeginElement("items");
    for (std::size_t i = 0; i < items; ++i) {
        const Item& item = ItemAt(i);
        writer.BeginElement("item");
        for (std::size_t a = 0; a < Attributes; ++a)
            writer.WriteAttribute(AttributeNames[a], item.attributes[a]);
        writer.WriteEntity(item.text);
        writer.EndElement();
    }
    writer.EndElement();
    return writer.EndDocument();
}

Buffer LibxmlWrite(std::size_t items) {
    Buffer buffer(xmlBufferCreate());
    const std::unique_ptr<xmlTextWriter, FreeWriter> writer(
        xmlNewTextWriterMemory(buffer.get(), 0));
    xmlTextWriterStartDocument(writer.get(), nullptr, "UTF-8", nullptr);
    xmlTextWriterStartElement(writer.get(), X("items"));
    for (std::size_t i = 0; i < items; ++i) {
        const Item& item = ItemAt(i);
        xmlTextWriterStartElement(writer.get(), X("item"));
        for (std::size_t a = 0; a < Attributes; ++a)
            xmlTextWriterWriteAttribute(writer.get(), X(AttributeNames[a]), X(item.attributes[a]));
        xmlTextWriterWriteString(writer.get(), X(item.text));
        xmlTextWriterEndElement(writer.get());
    }
    xmlTextWriterEndElement(writer.get());
    xmlTextWriterEndDocument(writer.get());
    return buffer;
}

std::string PugiWrite(std::size_t items) {
    pugi::xml_document document;
    pugi::xml_node root = document.append_child("items");
    for (std::size_t i = 0; i < items; ++i) {
        const Item& item = ItemAt(i);
        pugi::xml_node node = root.append_child("item");
        for (std::size_t a = 0; a < Attributes; ++a)
            node.append_attribute(AttributeNames[a]) = item.attributes[a].c_str();
        node.text() = item.text.c_str();
    }
    std::ostringstream out;
    document.save(out, "", pugi::format_raw | pugi::format_no_declaration);
    return out.str();
}

// The bytes between the declaration's line and the last line break, which pugixml does not write.
std::string Elements(std::string_view document) {
    const std::size_t first = document.find("<items>");
    return std::string(document.substr(first, document.rfind('>') + 1 - first));
}

void Write(Run& run) {
    Vorn::XmlWriter ours;
    run.Ours([&] { OurWrite(ours, ItemsOf10Mb); },
             [&] {
                 unsigned long size = 0;
                 const auto* const bytes = reinterpret_cast<char*>(ours.GetXmlBuffer(size));
                 return Elements({bytes, size});
             });
    Buffer libxml;
    run.Peer([&] { libxml = LibxmlWrite(ItemsOf10Mb); },
             [&] {
                 return Elements({C(xmlBufferContent(libxml.get())),
                                  static_cast<std::size_t>(xmlBufferLength(libxml.get()))});
             });
    std::string pugi;
    run.Peer([&] { pugi = PugiWrite(ItemsOf10Mb); }, [&] { return Elements(pugi); });
}

// --- Reading -------------------------------------------------------------------------------------

// The document's bytes, outside of the heap that is measured: freed when the row is over.
std::string Written(std::size_t items) {
    const Buffer buffer = LibxmlWrite(items);
    return {C(xmlBufferContent(buffer.get())),
            static_cast<std::size_t>(xmlBufferLength(buffer.get()))};
}

bool OurLoad(Vorn::XmlReader& reader, std::string& bytes) {
    return reader.Load(reinterpret_cast<unsigned char*>(bytes.data()), bytes.size());
}

Document LibxmlLoad(const std::string& bytes) {
    return Document(
        xmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), "noname.xml", nullptr, 0));
}

// Fetches every name, value and text; the result is how long they are together.
std::size_t OurWalk(Vorn::XmlReader& reader) {
    std::size_t sum = 0;
    std::string name;
    std::string value;
    auto* item = reader.ChildElement(reader.GetRootElement(), &name);
    for (; item != nullptr; item = reader.NextElement(item, &name)) {
        sum += name.size();
        auto* attribute = reader.GetFirstAttribute(item);
        for (; attribute != nullptr; attribute = reader.NextAttribute(attribute)) {
            reader.GetAttribute(attribute, name, value);
            sum += name.size() + value.size();
        }
        reader.GetEntity(item, value);
        sum += value.size();
    }
    return sum;
}

// The same walk of libxml2's tree; `fetch` makes a string of a text.
template <typename Fetch>
std::size_t LibxmlWalk(const Document& document, Fetch fetch) {
    std::size_t sum = 0;
    std::string text;
    const auto add = [&](const xmlChar* bytes) {
        fetch(text, C(bytes));
        sum += text.size();
    };
    const xmlNode* item = xmlFirstElementChild(xmlDocGetRootElement(document.get()));
    for (; item != nullptr; item = xmlNextElementSibling(const_cast<xmlNode*>(item))) {
        add(item->name);
        for (const xmlAttr* attribute = item->properties; attribute != nullptr;
             attribute = attribute->next) {
            add(attribute->name);
            add(attribute->children->content);
        }
        add(item->children->content);
    }
    return sum;
}

void Copy(std::string& out, const char* text) { out = text; }

// A conversion from and to UTF-8 for every text, as a program does that keeps its own encoding.
class Iconv {
public:
    Iconv() : m_handle(iconv_open("UTF-8", "UTF-8")) {}
    ~Iconv() { iconv_close(m_handle); }
    Iconv(const Iconv&) = delete;
    Iconv& operator=(const Iconv&) = delete;

    void operator()(std::string& out, const char* text) const {
        std::size_t left = std::char_traits<char>::length(text);
        out.resize(left);
        std::size_t capacity = left;
        char* from = const_cast<char*>(text);
        char* to = out.data();
        iconv(m_handle, &from, &left, &to, &capacity);
        out.resize(out.size() - capacity);
    }

private:
    iconv_t m_handle;
};

std::size_t PugiRead(const std::string& bytes) {
    pugi::xml_document document;
    document.load_buffer(bytes.data(), bytes.size());
    std::size_t sum = 0;
    std::string text;
    const auto add = [&](const char* found) {
        text = found;
        sum += text.size();
    };
    for (const pugi::xml_node item : document.document_element()) {
        add(item.name());
        for (const pugi::xml_attribute attribute : item.attributes()) {
            add(attribute.name());
            add(attribute.value());
        }
        add(item.child_value());
    }
    return sum;
}

const Size TenMb = {ItemsOf10Mb, "10 MB"};

const FreshRow FreshWrite("XML write, fresh process", {TenMb}, {"libxml2", "pugixml"}, Write);
const Row WarmWrite("XML write", {TenMb}, {"libxml2", "pugixml"}, Write);

const Row Decode("XML decode", {TenMb}, {"iconv each", "libxml2 plain copy"}, [](Run& run) {
    static std::string bytes = Written(ItemsOf10Mb);
    static Vorn::XmlReader ours;
    static const bool isLoaded = OurLoad(ours, bytes);
    static const Document theirs = LibxmlLoad(bytes);
    run.Ours([&] { return isLoaded ? OurWalk(ours) : 0; });
    run.Peer([&, iconv = std::make_shared<Iconv>()] {
        return LibxmlWalk(theirs, [&](std::string& out, const char* text) { (*iconv)(out, text); });
    });
    run.Peer([&] { return LibxmlWalk(theirs, Copy); });
});

const FreshRow WholeRead("XML whole read, fresh process", {TenMb}, {"libxml2", "pugixml"},
                         [](Run& run) {
                             static std::string bytes = Written(ItemsOf10Mb);
                             run.Ours([&] {
                                 Vorn::XmlReader reader;
                                 return OurLoad(reader, bytes) ? OurWalk(reader) : 0;
                             });
                             run.Peer([&] { return LibxmlWalk(LibxmlLoad(bytes), Copy); });
                             run.Peer([&] { return PugiRead(bytes); });
                         });

const FreshRow LoadClose("XML load and close, fresh process", {TenMb}, {"libxml2"}, [](Run& run) {
    static std::string bytes = Written(ItemsOf10Mb);
    run.Ours([&] {
        Vorn::XmlReader reader;
        return OurLoad(reader, bytes);
    });
    run.Peer([&] { return LibxmlLoad(bytes) != nullptr; });
});

// --- Over sizes ----------------------------------------------------------------------------------

const Curve WriteCurve("XML write, per element", Decades(6), {"libxml2"}, [](Run& run) {
    run.Items(run.Size());
    Vorn::XmlWriter ours;
    run.Ours([&] { return OurWrite(ours, run.Size()); });
    run.Peer([&] { return LibxmlWrite(run.Size()) != nullptr; });
});

// Elements without anything in them: with texts, ten million would take all memory of many
// machines.
std::string EmptyElements(std::size_t count) {
    std::string text = R"(<?xml version="1.0" encoding="UTF-8"?><r>)";
    text.reserve(text.size() + 4 * count + 4);
    for (std::size_t i = 0; i < count; ++i)
        text += "<e/>";
    return text + "</r>";
}

const Curve LoadCurve("XML load and close, per element", Decades(7), {"libxml2"}, [](Run& run) {
    run.Items(run.Size());
    std::string bytes = EmptyElements(run.Size());
    run.Ours([&] {
        Vorn::XmlReader reader;
        return OurLoad(reader, bytes);
    });
    run.Peer([&] { return LibxmlLoad(bytes) != nullptr; });
});

const HeapCurve LoadHeap("XML element loaded", Decades(7), {"libxml2"}, [](Run& run) {
    std::string bytes = EmptyElements(run.Size());
    Vorn::XmlReader ours;
    run.Ours([&] { return OurLoad(ours, bytes); });
    Document theirs;
    run.Peer([&] {
        theirs = LibxmlLoad(bytes);
        return theirs != nullptr;
    });
});

const HeapCurve WriteHeap("XML element written", Decades(6), {"libxml2"}, [](Run& run) {
    Vorn::XmlWriter ours;
    run.Ours([&] { return OurWrite(ours, run.Size()); });
    Buffer theirs;
    run.Peer([&] {
        theirs = LibxmlWrite(run.Size());
        return theirs != nullptr;
    });
});

} // namespace

} // namespace Bench
