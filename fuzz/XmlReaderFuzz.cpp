// SPDX-License-Identifier: MIT
// Documents of arbitrary bytes: what a reader makes of them, against libxml2 and iconv called as
// stated.

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <iconv.h>
#include <langinfo.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <Bases/Utility.h>
#include <Bases/Xml.h>

#include "support/Fuzz.h"

namespace {

using Vorn::XmlReader;
using VornFuzz::Check;

class Converter {
public:
    explicit Converter(const char* pFrom) : m_hConverter(iconv_open(nl_langinfo(CODESET), pFrom)) {}
    ~Converter() {
        if (IsOpen())
            iconv_close(m_hConverter);
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    // NOLINTNEXTLINE(performance-no-int-to-ptr): so iconv tells a failure
    bool IsOpen() const { return m_hConverter != reinterpret_cast<iconv_t>(-1); }

    // Where the encoding yields no terminator, the tail of an earlier text follows.
    bool Convert(const xmlChar* pText, std::string& out) {
        const auto size = static_cast<std::size_t>(xmlStrlen(pText));
        std::string text(reinterpret_cast<const char*>(pText), size);
        m_scratch.resize(std::max(m_scratch.size(), size + 10));
        char* pFrom = text.data();
        char* pTo = m_scratch.data();
        std::size_t from = size + 1;
        std::size_t to = size + 10;
        if (iconv(m_hConverter, &pFrom, &from, &pTo, &to) == static_cast<std::size_t>(-1)) {
            iconv(m_hConverter, nullptr, nullptr, nullptr, nullptr);
            return false;
        }
        out.assign(m_scratch.begin(), std::find(m_scratch.begin(), m_scratch.end(), '\0'));
        return true;
    }

private:
    iconv_t m_hConverter;
    std::vector<char> m_scratch = std::vector<char>(4096);
};

struct FreeDocument {
    void operator()(xmlDoc* pDocument) const { xmlFreeDoc(pDocument); }
};
using Document = std::unique_ptr<xmlDoc, FreeDocument>;

// Of a reader and what it should show.
class Comparison {
public:
    Comparison(XmlReader& reader, Converter& converter)
        : m_reader(reader), m_converter(converter) {}

    void Compare(XmlReader::Element* element, const xmlNode* pNode) {
        Check((element == nullptr) == (pNode == nullptr), "an element more or less");
        if (pNode == nullptr)
            return;
        std::string name = "-";
        std::string expected = "-";
        Check(m_reader.GetElement(element, name) == m_converter.Convert(pNode->name, expected),
              "GetElement");
        Check(name == expected, "an element's name");
        CompareText(element, pNode);
        CompareAttributes(element, pNode);
        CompareChildren(element, pNode);
    }

private:
    void CompareText(XmlReader::Element* element, const xmlNode* pNode) {
        const xmlNode* const pFirst = pNode->children;
        std::string text = "-";
        std::string expected = "-";
        const bool has = pFirst != nullptr && pFirst->type == XML_TEXT_NODE &&
                         m_converter.Convert(pFirst->content, expected);
        Check(m_reader.GetEntity(element, text) == has, "GetEntity");
        Check(text == expected, "an element's text");
    }

    void CompareAttributes(XmlReader::Element* element, const xmlNode* pNode) {
        XmlReader::Attribute* attribute = m_reader.GetFirstAttribute(element);
        for (const xmlAttr* pAttr = pNode->properties; pAttr != nullptr; pAttr = pAttr->next) {
            Check(attribute != nullptr, "an attribute is missing");
            CompareAttribute(attribute, pAttr);
            attribute = m_reader.NextAttribute(attribute);
        }
        Check(attribute == nullptr, "an attribute too many");
    }

    void CompareAttribute(XmlReader::Attribute* attribute, const xmlAttr* pAttr) {
        std::string name = "-";
        std::string value = "-";
        std::string expectedName = "-";
        std::string expectedValue = "-";
        const xmlChar* const pContent =
            pAttr->children == nullptr ? nullptr : pAttr->children->content;
        const auto* const pEmpty = reinterpret_cast<const xmlChar*>("");
        const bool expected =
            m_converter.Convert(pAttr->name, expectedName) &&
            m_converter.Convert(pContent == nullptr ? pEmpty : pContent, expectedValue);
        Check(m_reader.GetAttribute(attribute, name, value) == expected, "GetAttribute");
        Check(name == expectedName && value == expectedValue, "an attribute");
        if (expected)
            CompareNumbers(attribute, value);
    }

    void CompareNumbers(XmlReader::Attribute* attribute, const std::string& text) {
        std::string name;
        unsigned int number = 0;
        unsigned long wide = 0;
        unsigned char small = 0;
        double real = 0;
        Check(m_reader.GetAttribute(attribute, name, number) &&
                  m_reader.GetAttribute(attribute, name, wide) &&
                  m_reader.GetAttribute(attribute, name, small) &&
                  m_reader.GetAttribute(attribute, name, real),
              "an attribute as a number");
        // What atoi does, where the C library says what it does at all.
        const auto expected = static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
        const double expectedReal = std::strtod(text.c_str(), nullptr);
        Check(number == static_cast<unsigned int>(expected), "unsigned int");
        Check(wide == static_cast<unsigned long>(expected), "unsigned long");
        Check(small == static_cast<unsigned char>(expected), "unsigned char");
        Check(real == expectedReal || std::isnan(expectedReal), "double");
        CompareGuid(attribute, text);
    }

    void CompareGuid(XmlReader::Attribute* attribute, const std::string& text) {
        Vorn::Guid expected;
        Vorn::Guid guid;
        bool throws = false;
        bool expectedThrows = false;
        std::string name;
        try {
            expected.FromString(text);
        } catch (const std::runtime_error&) {
            expectedThrows = true;
        }
        try {
            Check(m_reader.GetAttribute(attribute, name, guid), "an attribute as an identifier");
        } catch (const std::runtime_error&) {
            throws = true;
        }
        Check(throws == expectedThrows && guid == expected, "an identifier");
    }

    // NOLINTNEXTLINE(misc-no-recursion): libxml2 limits the depth
    void CompareChildren(XmlReader::Element* element, const xmlNode* pNode) {
        XmlReader::Element* child = m_reader.ChildElement(element);
        for (const xmlNode* pChild = pNode->children; pChild != nullptr; pChild = pChild->next) {
            if (pChild->type != XML_ELEMENT_NODE)
                continue;
            Compare(child, pChild);
            child = m_reader.NextElement(child);
        }
        Check(child == nullptr, "an element too many");
    }

    XmlReader& m_reader;
    Converter& m_converter;
};

} // namespace

void VornFuzz::Try(Input& input) {
    std::string bytes = input.Rest();
    XmlReader reader;
    const bool loaded = reader.Load(reinterpret_cast<unsigned char*>(bytes.data()), bytes.size());
    if (bytes.empty())
        return Check(!loaded, "a document of no bytes");

    const Document document(xmlReadMemory(bytes.data(), static_cast<int>(bytes.size()),
                                          "noname.xml", nullptr,
                                          XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
    if (document == nullptr || document->encoding == nullptr)
        return Check(!loaded, "what is no document with an encoding");
    Converter converter(reinterpret_cast<const char*>(document->encoding));
    Check(loaded == converter.IsOpen(), "whether the document is accepted");
    if (loaded)
        Comparison(reader, converter)
            .Compare(reader.GetRootElement(), xmlDocGetRootElement(document.get()));
}
