// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_XML_READER_H
#define VORN_BASES_TESTS_XML_READER_H

// What the tests of XmlReader share.

#include <string>

#include <libxml/tree.h>

#include <gtest/gtest.h>

#include <Bases/Xml.h>

#include "support/XmlTest.h"

namespace VornTest {

inline const std::string Utf8 = R"(<?xml version="1.0" encoding="UTF-8"?>)";

// One letter of two bytes and one of three, in UTF-8.
inline const std::string EAcute = "\xC3\xA9";
inline const std::string Euro = "\xE2\x82\xAC";

inline std::string Declared(const std::string& encoding) {
    return R"(<?xml version="1.0" encoding=")" + encoding + R"("?>)";
}

inline std::string Repeat(const std::string& text, int count) {
    std::string result;
    for (int i = 0; i < count; ++i)
        result += text;
    return result;
}

// The handles are libxml2's nodes.
inline xmlNode* NodeOf(Vorn::XmlReader::Element* element) {
    return reinterpret_cast<xmlNode*>(element);
}
inline xmlAttr* NodeOf(Vorn::XmlReader::Attribute* attribute) {
    return reinterpret_cast<xmlAttr*>(attribute);
}
inline Vorn::XmlReader::Element* HandleOf(xmlNode* node) {
    return reinterpret_cast<Vorn::XmlReader::Element*>(node);
}

// Handles that crash when they are looked into.
inline Vorn::XmlReader::Element* Dangling() {
    return reinterpret_cast<Vorn::XmlReader::Element*>(8);
}
inline Vorn::XmlReader::Attribute* DanglingAttribute() {
    return reinterpret_cast<Vorn::XmlReader::Attribute*>(8);
}

inline std::string NameOf(Vorn::XmlReader& reader, Vorn::XmlReader::Element* element) {
    std::string name = "(fails)";
    reader.GetElement(element, name);
    return name;
}

inline std::string TextOf(Vorn::XmlReader& reader, Vorn::XmlReader::Element* element) {
    std::string text = "(fails)";
    reader.GetEntity(element, text);
    return text;
}

// The value of the root's first attribute.
inline std::string ValueOf(Vorn::XmlReader& reader) {
    std::string name;
    std::string value = "(fails)";
    reader.GetAttribute(reader.GetFirstAttribute(reader.GetRootElement()), name, value);
    return value;
}

// Every operation on an empty reader fails, and looks into no handle.
inline void ExpectEmpty(Vorn::XmlReader& reader) {
    EXPECT_EQ(nullptr, reader.GetRootElement());
    std::string name = "kept";
    EXPECT_EQ(nullptr, reader.ChildElement(Dangling(), &name));
    EXPECT_EQ(nullptr, reader.NextElement(Dangling(), &name));
    EXPECT_EQ(nullptr, reader.GetFirstAttribute(Dangling()));
    EXPECT_EQ(nullptr, reader.NextAttribute(DanglingAttribute()));
    EXPECT_FALSE(reader.GetElement(Dangling(), name));
    EXPECT_FALSE(reader.GetEntity(Dangling(), name));
    std::string value = "kept too";
    EXPECT_FALSE(reader.GetAttribute(DanglingAttribute(), name, value));
    unsigned int number = 77;
    EXPECT_FALSE(reader.GetAttribute(DanglingAttribute(), name, number));
    EXPECT_EQ("kept", name);
    EXPECT_EQ("kept too", value);
    EXPECT_EQ(77u, number);
}

using XmlReaderTest = XmlTest;

} // namespace VornTest

#endif
