// SPDX-License-Identifier: MIT
// XmlReader: the walk over elements and attributes, texts, and typed values.

#include <Bases/Xml.h>

#include <climits>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include <libxml/tree.h>

#include <gtest/gtest.h>

#include <Bases/Utility.h>

#include "Xml/Reader.h"
#include "support/Slot.h"
#include "support/XmlTest.h"

namespace {

using Vorn::Guid;
using Vorn::XmlReader;
using VornTest::DanglingAttribute;
using VornTest::EAcute;
using VornTest::LoadText;
using VornTest::NameOf;
using VornTest::NodeOf;
using VornTest::TextOf;
using VornTest::Utf8;
using VornTest::ValueOf;
using VornTest::XmlReaderTest;

// Concerns: the walk sees elements only, in order; the optional name is an output and no filter;
// null and exhausted positions; what the attributes of an element are.
using XmlReaderWalk = XmlReaderTest;

TEST_F(XmlReaderWalk, TheRootIsTheOutermostElement) {
    XmlReader reader;
    EXPECT_EQ(nullptr, reader.GetRootElement());
    ASSERT_TRUE(LoadText(reader, Utf8 + "<!--c--><?pi x?>\n<root/><!--c-->"));
    EXPECT_EQ("root", NameOf(reader, reader.GetRootElement()));
}

TEST_F(XmlReaderWalk, VisitsElementsInOrderAndStepsOverEverythingElse) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r>\n text <!--c--><?pi x?><![CDATA[d]]><a><in/></a>\n"
                                        "tail <b/><!--c--><b/>end</r><!--after-->"));
    XmlReader::Element* const root = reader.GetRootElement();
    XmlReader::Element* const a = reader.ChildElement(root, nullptr);
    EXPECT_EQ("a", NameOf(reader, a));
    EXPECT_EQ("in", NameOf(reader, reader.ChildElement(a)));
    EXPECT_EQ(nullptr, reader.NextElement(reader.ChildElement(a), nullptr));
    XmlReader::Element* const b = reader.NextElement(a, nullptr);
    EXPECT_EQ("b", NameOf(reader, b));
    XmlReader::Element* const second = reader.NextElement(b);
    EXPECT_EQ("b", NameOf(reader, second));
    EXPECT_NE(b, second);
    EXPECT_EQ(nullptr, reader.NextElement(second, nullptr));
    EXPECT_EQ(nullptr, reader.ChildElement(b, nullptr));
    EXPECT_EQ(nullptr, reader.NextElement(root, nullptr));
}

TEST_F(XmlReaderWalk, StoresTheNameOfTheElementFoundAndFiltersByNoName) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r>\n<a/>\n<b/>\n</r>"));
    std::string name = "b";
    XmlReader::Element* const a = reader.ChildElement(reader.GetRootElement(), &name);
    EXPECT_EQ("a", name);
    name = "c";
    XmlReader::Element* const b = reader.NextElement(a, &name);
    EXPECT_EQ("b", name);
    EXPECT_EQ("b", NameOf(reader, b));
}

TEST_F(XmlReaderWalk, LeavesTheNameAloneWhereNothingIsFound) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r>text</r>"));
    std::string name = "kept";
    EXPECT_EQ(nullptr, reader.ChildElement(reader.GetRootElement(), &name));
    EXPECT_EQ(nullptr, reader.NextElement(reader.GetRootElement(), &name));
    EXPECT_EQ(nullptr, reader.ChildElement(nullptr, &name));
    EXPECT_EQ(nullptr, reader.NextElement(nullptr, &name));
    EXPECT_EQ("kept", name);
}

TEST_F(XmlReaderWalk, FindsAnElementWhoseNameCannotBeConverted) {
    UseLocale("C");
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r><h" + EAcute + "/><" + EAcute + "/></r>"));
    std::string name = "kept";
    XmlReader::Element* const first = reader.ChildElement(reader.GetRootElement(), &name);
    ASSERT_NE(nullptr, first);
    EXPECT_NE(nullptr, reader.NextElement(first, &name));
    EXPECT_FALSE(reader.GetElement(first, name));
    EXPECT_EQ("kept", name);
}

TEST_F(XmlReaderWalk, ListsAttributesInTheOrderOfTheDocument) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r z='1' a='2' m='3'><none/></r>"));
    std::string listed;
    for (XmlReader::Attribute* attribute = reader.GetFirstAttribute(reader.GetRootElement());
         attribute != nullptr; attribute = reader.NextAttribute(attribute)) {
        std::string name;
        std::string value;
        EXPECT_TRUE(reader.GetAttribute(attribute, name, value));
        listed.append(name).append("=").append(value).append(";");
    }
    EXPECT_EQ("z=1;a=2;m=3;", listed);
    EXPECT_EQ(nullptr, reader.GetFirstAttribute(reader.ChildElement(reader.GetRootElement())));
    EXPECT_EQ(nullptr, reader.GetFirstAttribute(nullptr));
    EXPECT_EQ(nullptr, reader.NextAttribute(nullptr));
}

TEST_F(XmlReaderWalk, DropsPrefixesAndCountsNamespacesAsNoAttributes) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<p:r xmlns='v' xmlns:p='u' p:q='x'/>"));
    EXPECT_EQ("r", NameOf(reader, reader.GetRootElement()));
    XmlReader::Attribute* const attribute = reader.GetFirstAttribute(reader.GetRootElement());
    std::string name;
    std::string value;
    EXPECT_TRUE(reader.GetAttribute(attribute, name, value));
    EXPECT_EQ("q", name);
    EXPECT_EQ("x", value);
    EXPECT_EQ(nullptr, reader.NextAttribute(attribute));
}

TEST_F(XmlReaderWalk, KeepsAPrefixThatNothingBinds) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<p:r xmlns:q='u' x:y='1' q:z='2'/>"));
    EXPECT_EQ("p:r", NameOf(reader, reader.GetRootElement()));
    XmlReader::Attribute* const attribute = reader.GetFirstAttribute(reader.GetRootElement());
    std::string name;
    std::string value;
    EXPECT_TRUE(reader.GetAttribute(attribute, name, value));
    EXPECT_EQ("x:y", name);
    EXPECT_TRUE(reader.GetAttribute(reader.NextAttribute(attribute), name, value));
    EXPECT_EQ("z", name);
}

TEST_F(XmlReaderWalk, DeliversNoDefaultsOfAttributes) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<!DOCTYPE r [<!ATTLIST r a CDATA 'default' "
                                        "b CDATA #FIXED 'fixed'>]><r c='given'/>"));
    XmlReader::Attribute* const attribute = reader.GetFirstAttribute(reader.GetRootElement());
    std::string name;
    std::string value;
    EXPECT_TRUE(reader.GetAttribute(attribute, name, value));
    EXPECT_EQ("c", name);
    EXPECT_EQ(nullptr, reader.NextAttribute(attribute));
}

// Programs put a different root under the operations of their own.
class FixedRoot : public XmlReader {
public:
    Element* GetRootElement() override { return root; }
    Element* root = nullptr;
};

TEST_F(XmlReaderWalk, TheRootAndTheDestructorCanBeOverridden) {
    static_assert(std::has_virtual_destructor_v<XmlReader>);
    auto reader = std::make_unique<FixedRoot>();
    ASSERT_TRUE(LoadText(*reader, Utf8 + "<r><a/></r>"));
    EXPECT_EQ(nullptr, static_cast<XmlReader&>(*reader).GetRootElement());
    reader->root = reader->ChildElement(reader->XmlReader::GetRootElement());
    const std::unique_ptr<XmlReader> base = std::move(reader);
    EXPECT_EQ("a", NameOf(*base, base->GetRootElement()));
}

TEST_F(XmlReaderWalk, TheRootFollowsTheDestructorsInTheTableOfVirtualFunctions) {
    EXPECT_EQ(2U, VornTest::Slot(&XmlReader::GetRootElement)); // the destructor has two
    EXPECT_EQ(3U, VornTest::Slots<XmlReader>());
}

// Concerns: which piece of an element counts as its text; outputs stay as they were on failure;
// values that libxml2 keeps without a node or without content.
using XmlReaderText = XmlReaderTest;

TEST_F(XmlReaderText, IsThePieceThatTheElementBeginsWith) {
    XmlReader reader;
    const std::pair<const char*, const char*> cases[] = {
        {"<r>hello</r>", "hello"},
        {"<r> \n </r>", " \n "},
        {"<r>one<b/>two</r>", "one"},
        {"<r>one<!--c-->two</r>", "one"},
        {"<r>a&lt;b&amp;c&#65;&#x42;</r>", "a<b&cAB"},
        {"<r>one<![CDATA[two]]></r>", "one"},
        {"<r/>", "(fails)"},
        {"<r></r>", "(fails)"},
        {"<r><b/>text</r>", "(fails)"},
        {"<r><!--c-->text</r>", "(fails)"},
        {"<r><?pi x?>text</r>", "(fails)"},
        {"<r><![CDATA[text]]></r>", "(fails)"},
        {"<!DOCTYPE r [<!ENTITY e 'text'>]><r>&e;</r>", "(fails)"},
    };
    for (const auto& [document, expected] : cases) {
        ASSERT_TRUE(LoadText(reader, Utf8 + document)) << document;
        EXPECT_EQ(expected, TextOf(reader, reader.GetRootElement())) << document;
        reader.Close();
    }
}

TEST_F(XmlReaderText, FailsForNullWithTheOutputsAsTheyWere) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r/>"));
    std::string name = "kept";
    std::string value = "kept too";
    EXPECT_FALSE(reader.GetElement(nullptr, name));
    EXPECT_FALSE(reader.GetEntity(nullptr, name));
    EXPECT_FALSE(reader.GetAttribute(nullptr, name, value));
    EXPECT_EQ("kept", name);
    EXPECT_EQ("kept too", value);
}

TEST_F(XmlReaderText, ReadsAnAttributeWithoutAValueAsEmpty) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r a=''/>"));
    EXPECT_EQ("", ValueOf(reader));

    // Whether an empty value has a node is up to libxml2; take it away.
    xmlAttr* const attribute = NodeOf(reader.GetFirstAttribute(reader.GetRootElement()));
    xmlFreeNodeList(attribute->children);
    attribute->children = attribute->last = nullptr;
    EXPECT_EQ("", ValueOf(reader));
    std::string name;
    double number = 7;
    EXPECT_TRUE(
        reader.GetAttribute(reader.GetFirstAttribute(reader.GetRootElement()), name, number));
    EXPECT_EQ(0.0, number);
}

TEST_F(XmlReaderText, ReadsAValueWhoseFirstNodeHasNoContentAsEmpty) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r a='x'/>"));
    xmlAttr* const attribute = NodeOf(reader.GetFirstAttribute(reader.GetRootElement()));
    xmlFreeNodeList(attribute->children);
    attribute->children = attribute->last =
        xmlNewReference(attribute->doc, reinterpret_cast<const xmlChar*>("unknown"));
    ASSERT_NE(nullptr, attribute->children);
    ASSERT_EQ(nullptr, attribute->children->content);
    EXPECT_EQ("", ValueOf(reader));
}

TEST_F(XmlReaderText, OfAValueOnlyTheFirstPieceIsRead) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<!DOCTYPE r [<!ENTITY e 'ent'>]><r a='one&e;two'/>"));
    EXPECT_EQ("one", ValueOf(reader));
    reader.Close();
    ASSERT_TRUE(LoadText(reader, Utf8 + "<!DOCTYPE r [<!ENTITY e 'ent'>]><r a='&e;two'/>"));
    EXPECT_EQ("ent", ValueOf(reader));
    reader.Close();
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r a='1&lt;2 &#65;'/>"));
    EXPECT_EQ("1<2 A", ValueOf(reader));
}

TEST_F(XmlReaderText, SetsTheNameOfAnAttributeWhoseValueFails) {
    UseLocale("C");
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r a='" + EAcute + "' " + EAcute + "='b'/>"));
    XmlReader::Attribute* const first = reader.GetFirstAttribute(reader.GetRootElement());
    std::string name = "old";
    std::string value = "kept";
    EXPECT_FALSE(reader.GetAttribute(first, name, value));
    EXPECT_EQ("a", name);
    EXPECT_EQ("kept", value);
    EXPECT_FALSE(reader.GetAttribute(reader.NextAttribute(first), name, value));
    EXPECT_EQ("a", name);
    EXPECT_EQ("kept", value);
}

// Concerns: each type's own narrowing at and beyond its ends; texts that are no numbers; the three
// answers of an identifier; a failing text leaves the value as it was.
class XmlReaderValue : public XmlReaderTest {
protected:
    // Reads the value of an attribute that is written as `text`.
    template <typename Type>
    Type Read(const std::string& text, Type value = Type()) {
        XmlReader reader;
        EXPECT_TRUE(LoadText(reader, Utf8 + "<r a='" + text + "'/>"));
        std::string name;
        EXPECT_TRUE(
            reader.GetAttribute(reader.GetFirstAttribute(reader.GetRootElement()), name, value));
        EXPECT_EQ("a", name);
        return value;
    }
};

TEST_F(XmlReaderValue, UnsignedLongIsAnIntWithItsSign) {
    EXPECT_EQ(0ul, Read<unsigned long>("0", 9));
    EXPECT_EQ(2147483647ul, Read<unsigned long>("2147483647"));
    EXPECT_EQ(ULONG_MAX, Read<unsigned long>("-1"));
    EXPECT_EQ(0xFFFFFFFF80000000ul, Read<unsigned long>("-2147483648"));
    EXPECT_EQ(0xFFFFFFFF80000000ul, Read<unsigned long>("2147483648"));
    EXPECT_EQ(ULONG_MAX, Read<unsigned long>("4294967295"));
    EXPECT_EQ(1ul, Read<unsigned long>("4294967297"));
    EXPECT_EQ(ULONG_MAX, Read<unsigned long>("99999999999999999999999"));
    EXPECT_EQ(0ul, Read<unsigned long>("-99999999999999999999999", 9));
}

TEST_F(XmlReaderValue, UnsignedIntIsAnInt) {
    EXPECT_EQ(2147483647u, Read<unsigned int>("2147483647"));
    EXPECT_EQ(4294967295u, Read<unsigned int>("-1"));
    EXPECT_EQ(4294967295u, Read<unsigned int>("4294967295"));
    EXPECT_EQ(1u, Read<unsigned int>("4294967297"));
}

TEST_F(XmlReaderValue, UnsignedCharIsTheLowByteOfAnInt) {
    EXPECT_EQ(255, Read<unsigned char>("255"));
    EXPECT_EQ(44, Read<unsigned char>("300"));
    EXPECT_EQ(255, Read<unsigned char>("-1"));
    EXPECT_EQ(0, Read<unsigned char>("256", 9));
}

TEST_F(XmlReaderValue, NumbersSkipWhiteSpaceAndStopAtTheFirstUnusableCharacter) {
    EXPECT_EQ(12ul, Read<unsigned long>("  12abc"));
    EXPECT_EQ(12u, Read<unsigned int>("+12.9"));
    EXPECT_EQ(0u, Read<unsigned int>("0x10", 9));
    EXPECT_EQ(7, Read<unsigned char>(" 07 8"));
    EXPECT_EQ(-12.5, Read<double>("  -1.25e1x"));
}

TEST_F(XmlReaderValue, TextWithoutANumberIsZeroAndNoFailure) {
    for (const std::string text : {"abc", "", "-", "x12"}) {
        EXPECT_EQ(0ul, Read<unsigned long>(text, 9)) << text;
        EXPECT_EQ(0u, Read<unsigned int>(text, 9)) << text;
        EXPECT_EQ(0, Read<unsigned char>(text, 9)) << text;
        EXPECT_EQ(0.0, Read<double>(text, 9)) << text;
    }
}

TEST_F(XmlReaderValue, DoubleFollowsTheLocalesDecimalPoint) {
    EXPECT_EQ(1.5, Read<double>("1.5"));
    UseLocale(VornTest::Latin1Locale);
    EXPECT_EQ(1.0, Read<double>("1.5"));
    EXPECT_EQ(1.5, Read<double>("1,5"));
}

TEST_F(XmlReaderValue, GuidIsReadInItsForms) {
    Guid expected;
    ASSERT_TRUE(expected.FromString("12345678-9abc-def0-1234-56789abcdef0"));
    for (const std::string text :
         {"12345678-9abc-def0-1234-56789abcdef0", "{12345678-9ABC-DEF0-1234-56789ABCDEF0}",
          "123456789abcdef0123456789abcdef0"})
        EXPECT_EQ(expected, Read<Guid>(text)) << text;
}

TEST_F(XmlReaderValue, GuidStaysAsItWasForAnEmptyTextAndForZeros) {
    Guid old;
    ASSERT_TRUE(old.FromString("12345678-9abc-def0-1234-56789abcdef0"));
    EXPECT_EQ(old, Read<Guid>("", old));
    EXPECT_EQ(old, Read<Guid>("00000000-0000-0000-0000-000000000000", old));
}

TEST_F(XmlReaderValue, GuidThrowsForAMalformedTextAndTheReaderGoesOn) {
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r a='1234'/>"));
    XmlReader::Attribute* const attribute = reader.GetFirstAttribute(reader.GetRootElement());
    Guid value;
    ASSERT_TRUE(value.FromString("12345678-9abc-def0-1234-56789abcdef0"));
    const Guid old = value;
    std::string name;
    try {
        reader.GetAttribute(attribute, name, value);
        ADD_FAILURE() << "nothing thrown";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ("invalid uuid string", e.what());
    }
    EXPECT_EQ(old, value);
    EXPECT_EQ("a", name);
    EXPECT_EQ("1234", ValueOf(reader));
}

// Null, and a value that the locale lacks, for every type.
template <typename Type>
class XmlReaderFailingValue : public XmlReaderTest {};

using ValueTypes = testing::Types<unsigned long, unsigned int, unsigned char, double, Guid>;
TYPED_TEST_SUITE(XmlReaderFailingValue, ValueTypes);

TYPED_TEST(XmlReaderFailingValue, StaysAsItWas) {
    TypeParam value;
    std::memset(static_cast<void*>(&value), 0x11, sizeof value);
    const TypeParam old = value;
    this->UseLocale("C");
    XmlReader reader;
    ASSERT_TRUE(LoadText(reader, Utf8 + "<r a='7" + EAcute + "'/>"));
    XmlReader::Attribute* const attribute = reader.GetFirstAttribute(reader.GetRootElement());
    std::string name;
    EXPECT_FALSE(reader.GetAttribute(nullptr, name, value));
    EXPECT_FALSE(reader.GetAttribute(attribute, name, value));
    reader.Close();
    EXPECT_FALSE(reader.GetAttribute(DanglingAttribute(), name, value));
    EXPECT_TRUE(old == value);
}

} // namespace
