// SPDX-License-Identifier: MIT
// Documents made by a writer, read again by a reader: what comes back is what was written.

#include <cstdio>
#include <list>
#include <string>
#include <utility>
#include <vector>

#include <Bases/Utility.h>
#include <Bases/Xml.h>

#include "support/Fuzz.h"

namespace {

using Vorn::XmlReader;
using Vorn::XmlWriter;
using VornFuzz::Check;
using VornFuzz::Input;

struct Node {
    std::string name;
    std::vector<std::pair<std::string, std::string>> attributes;
    std::string text;            // what it begins with
    bool isTextComplete = false; // something else has come after it
    std::list<Node> children;
};

std::string TakeName(Input& input) {
    std::string name;
    for (std::size_t left = input.Below(4) + 1; left > 0; --left)
        name += "abcdeXYZ"[input.Below(8)];
    return name;
}

// Characters that a document may hold, as UTF-8; of ASCII alone where the encoding needs it.
std::string TakeText(Input& input, bool isAscii) {
    const std::vector<std::string> characters = {
        "a",  "&",  "<", ">", "\"",     "'",      " ",          "\n",
        "\t", "\r", "]", "-", "\u00E9", "\u20AC", "\U0001F600", "\u0085"};
    std::string text;
    for (std::size_t left = input.Below(40); left > 0; --left)
        text += characters[input.Below(isAscii ? 11 : characters.size())];
    return text;
}

class Sequence {
public:
    explicit Sequence(bool isAscii) : m_isAscii(isAscii) {}

    XmlWriter& Writer() { return m_writer; }
    const Node& Root() const { return m_root; }

    void Begin(const std::string& name) {
        Check(m_writer.BeginElement(name), "BeginElement");
        if (m_open.empty()) {
            m_root.name = name;
            m_open.push_back(&m_root);
            return;
        }
        Node& parent = *m_open.back();
        parent.isTextComplete = true;
        parent.children.emplace_back().name = name;
        m_open.push_back(&parent.children.back());
    }

    // The root stays open until the end.
    void Step(Input& input) {
        switch (input.Below(7)) {
        case 0:
            if (m_open.size() < 100)
                Begin(TakeName(input));
            return;
        case 1:
            if (m_open.size() == 1)
                return;
            Check(m_writer.EndElement(), "EndElement");
            m_open.pop_back();
            return;
        case 2:
            return WriteAttribute(input);
        case 3:
            return WriteText(TakeText(input, m_isAscii));
        case 4:
            return WriteNumber(input);
        case 5:
            Check(m_writer.WriteComment("a comment"), "WriteComment");
            m_open.back()->isTextComplete = true;
            return;
        default:
            return WriteElement(TakeName(input), TakeText(input, m_isAscii));
        }
    }

private:
    bool IsFresh() const { return !m_open.back()->isTextComplete && m_open.back()->text.empty(); }

    void WriteAttribute(Input& input) {
        const std::string name = TakeName(input);
        const std::string value = TakeText(input, m_isAscii);
        Node& node = *m_open.back();
        for (const auto& attribute : node.attributes)
            if (attribute.first == name)
                return;
        Check(m_writer.WriteAttribute(name, value) == IsFresh(), "WriteAttribute");
        if (IsFresh())
            node.attributes.emplace_back(name, value);
    }

    void AddText(const std::string& text) {
        if (!m_open.back()->isTextComplete)
            m_open.back()->text += text;
    }

    void WriteText(const std::string& text) {
        if (text.empty())
            return;
        Check(m_writer.WriteEntity(text), "WriteEntity");
        AddText(text);
    }

    void WriteNumber(Input& input) {
        const int shift = static_cast<int>(input.Below(64));
        const long long number = input.Number<long long>() >> shift;
        const auto low = static_cast<int>(number);
        char text[32];
        switch (input.Below(4)) {
        case 0:
            Check(m_writer.WriteEntity(number), "a long long");
            return AddText(std::to_string(number));
        case 1:
            Check(m_writer.WriteEntity(static_cast<unsigned int>(low)), "an unsigned int");
            return AddText(std::to_string(low));
        case 2:
            Check(m_writer.WriteEntity(static_cast<unsigned long long>(number)), "unsigned");
            return AddText(std::to_string(static_cast<unsigned long long>(number)));
        default:
            Check(m_writer.WriteEntity(static_cast<double>(low)), "a double");
            std::snprintf(text, sizeof text, "%f", static_cast<double>(low));
            return AddText(text);
        }
    }

    void WriteElement(const std::string& name, const std::string& text) {
        Check(m_writer.WriteElementEntity(name, text), "WriteElementEntity");
        Node& parent = *m_open.back();
        parent.isTextComplete = true;
        Node& node = parent.children.emplace_back();
        node.name = name;
        node.text = text;
    }

    bool m_isAscii;
    XmlWriter m_writer;
    Node m_root;
    std::vector<Node*> m_open;
};

// NOLINTNEXTLINE(misc-no-recursion): the depth is limited
void Compare(XmlReader& reader, XmlReader::Element* element, const Node& node) {
    std::string name;
    std::string text;
    Check(reader.GetElement(element, name) && name == node.name, "an element's name");
    Check(reader.GetEntity(element, text) == !node.text.empty(), "whether an element has a text");
    Check(text == node.text, "an element's text");
    XmlReader::Attribute* attribute = reader.GetFirstAttribute(element);
    for (const auto& [expectedName, expectedValue] : node.attributes) {
        std::string value;
        Check(reader.GetAttribute(attribute, name, value), "an attribute");
        Check(name == expectedName && value == expectedValue, "an attribute's value");
        attribute = reader.NextAttribute(attribute);
    }
    Check(attribute == nullptr, "an attribute too many");
    XmlReader::Element* child = reader.ChildElement(element);
    for (const Node& expected : node.children) {
        Check(child != nullptr, "an element is missing");
        Compare(reader, child, expected);
        child = reader.NextElement(child);
    }
    Check(child == nullptr, "an element too many");
}

} // namespace

void VornFuzz::Try(Input& input) {
    const char* const encodings[] = {"UTF-8", "UTF-8", "ISO-8859-1", "US-ASCII"};
    const std::size_t encoding = input.Below(4);
    Sequence sequence(encoding > 1);
    Check(sequence.Writer().BeginDocument(encodings[encoding]), "BeginDocument");
    sequence.Begin(TakeName(input));
    while (!input.IsEmpty())
        sequence.Step(input);
    Check(sequence.Writer().EndDocument(), "EndDocument");

    unsigned long size = 0;
    unsigned char* const pBytes = sequence.Writer().GetXmlBuffer(size);
    XmlReader reader;
    Check(reader.Load(pBytes, size), "what was written cannot be read");
    Compare(reader, reader.GetRootElement(), sequence.Root());
}
