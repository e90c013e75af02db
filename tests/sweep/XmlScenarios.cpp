// SPDX-License-Identifier: MIT
// Reading and writing XML, with libxml2's own memory.
#include <functional>
#include <locale>
#include <memory>
#include <string>
#include <vector>

#include <libxml/xmlerror.h>

#include <Bases/Bases.h>
#include <Bases/Utility.h>
#include <Bases/Xml.h>

#include "fault/Xml.h"
#include "support/Files.h"
#include "support/Sanitizers.h"
#include "support/TempDir.h"
#include "sweep/Holdings.h"
#include "sweep/Sweep.h"

#ifdef VORN_ADDRESS_SANITIZER
#include <sanitizer/lsan_interface.h>
#endif

namespace VornTest::Sweep {

namespace {

using Vorn::XmlReader;
using Vorn::XmlWriter;

// --- libxml2's memory ----------------------------------------------------------------------------

std::vector<const void*> FirstOfRealloc() {
    std::vector<const void*> blocks;
    const auto calls = Platform::xml_realloc.Calls();
    const auto results = Platform::xml_realloc.Results();
    for (std::size_t i = 0; i < results.size(); ++i)
        if (results[i] != nullptr)
            blocks.push_back(std::get<0>(calls[i]));
    return blocks;
}

template <typename Values>
void Append(const Values& values, std::vector<const void*>& blocks) {
    blocks.insert(blocks.end(), values.begin(), values.end());
}

// Keeps the leak sanitizer from telling of what libxml2 has lost.
void Forgive([[maybe_unused]] const std::vector<const void*>& blocks) {
#ifdef VORN_ADDRESS_SANITIZER
    for (const void* block : blocks)
        if (block != nullptr)
            __lsan_ignore_object(block);
#endif
}

// libxml2 itself loses blocks when one of its own allocations fails. XmlMemoryTest knows where it
// does not; here nothing is left after every other fault.
bool HasLibxml2Failed() {
    return Trial::HasFailed(Platform::xml_malloc) || Trial::HasFailed(Platform::xml_realloc) ||
           Trial::HasFailed(Platform::xml_strdup);
}

std::size_t CountXmlBlocks() {
    std::vector<const void*> taken;
    Append(Platform::xml_malloc.Results(), taken);
    Append(Platform::xml_realloc.Results(), taken);
    Append(Platform::xml_strdup.Results(), taken);
    if (HasLibxml2Failed()) {
        Forgive(taken);
        return 0;
    }
    std::vector<const void*> given = FirstOfRealloc();
    Append(Platform::xml_free.Calls(), given);
    return CountLeft(taken, given);
}

const Kinds g_kinds{{"block of libxml2", CountXmlBlocks}};

// libxml2 keeps its last error for the thread.
struct LastError {
    LastError() { xmlResetLastError(); }
    ~LastError() { xmlResetLastError(); }
    LastError(const LastError&) = delete;
    LastError& operator=(const LastError&) = delete;
};

// --- Reading -------------------------------------------------------------------------------------

const std::string g_declaration = R"(<?xml version="1.0" encoding="UTF-8"?>)";

std::string Repeat(const std::string& text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i)
        all += text;
    return all;
}

std::string Items() {
    std::string text = g_declaration + "<shop>";
    for (int i = 0; i < 30; ++i) {
        const std::string number = std::to_string(i);
        text += "<item id='" + number + "' name='n" + number + "'>text " + number + "</item>";
    }
    return text + "</shop>";
}

std::string Nested() {
    return g_declaration + Repeat("<deep>", 50) + "text" + Repeat("</deep>", 50);
}

std::string LongTexts() {
    return g_declaration + "<r a='" + std::string(5000, 'v') + "'>" + std::string(20000, 't') +
           "</r>";
}

std::string Entities() {
    return g_declaration + "<!DOCTYPE r [<!ENTITY e 'x'><!ATTLIST r t NMTOKEN #IMPLIED>]>" +
           "<r t=' a ' b='&lt;&e;'>&amp;<!-- c --><![CDATA[d]]><?p i?></r>";
}

std::string Namespaces() {
    return g_declaration + "<a:r xmlns:a='urn:a' xmlns='urn:b'>" +
           Repeat("<a:x a:y='1'/><z xmlns:c='urn:c' c:w='2'/>", 10) + "</a:r>";
}

std::string Mixture() {
    return g_declaration + "<r>" +
           Repeat("<p>text <b>more</b><!-- c --><![CDATA[d]]><?p i?><e a='&gt;'/></p>", 12) +
           "</r>";
}

// As many as libxml2 has a table for: when it cannot enlarge that, it writes behind it.
std::string ManyAttributes() {
    std::string attributes;
    for (int i = 0; i < 7; ++i)
        attributes += " a" + std::to_string(i) + "='v" + std::to_string(i) + "'";
    return g_declaration + "<r>" + Repeat("<x" + attributes + "/>", 5) + "</r>";
}

std::string Latin1() {
    return R"(<?xml version="1.0" encoding="ISO-8859-1"?><r>)" +
           Repeat("<\xE4 \xF6='\xFC'>\xDF</\xE4>", 20) + "</r>";
}

// ASCII in two bytes each, the lower one first.
std::string Utf16() {
    std::string text = "\xFF\xFE";
    for (const char character : R"(<?xml version="1.0" encoding="UTF-16"?><r a="1">text<b/></r>)")
        if (character != '\0')
            text.append(1, character).append(1, '\0');
    return text;
}

// Everything that the reader gives for an element and all below it.
std::string Walk(XmlReader& reader, XmlReader::Element* element) {
    std::string name;
    std::string text;
    reader.GetElement(element, name);
    std::string walked = "<" + name;
    for (auto* attribute = reader.GetFirstAttribute(element); attribute != nullptr;
         attribute = reader.NextAttribute(attribute)) {
        reader.GetAttribute(attribute, name, text);
        walked.append(" ").append(name).append("=").append(text);
    }
    text.clear();
    reader.GetEntity(element, text);
    walked += ">" + text;
    for (auto* child = reader.ChildElement(element); child != nullptr;
         child = reader.NextElement(child))
        walked += Walk(reader, child);
    return walked;
}

bool LoadText(XmlReader& reader, std::string& text) {
    return reader.Load(reinterpret_cast<unsigned char*>(text.data()), text.size());
}

std::string WalkOf(std::string text) {
    XmlReader reader;
    return LoadText(reader, text) ? Walk(reader, reader.GetRootElement()) : "(not loaded)";
}

// A document that is loaded is complete.
void Load(Trial& trial, const std::string& document, const std::function<bool(XmlReader&)>& load) {
    XmlReader reader;
    if (trial.WorksOrThrows([&] { return load(reader); }))
        trial.Require(Walk(reader, reader.GetRootElement()) == WalkOf(document), "is complete");
    else
        trial.Require(reader.GetRootElement() == nullptr, "is empty");
    trial.Try([&] { reader.Close(); });
    trial.Require(reader.GetRootElement() == nullptr, "is empty after Close");
    trial.Require(load(reader), "loads then");
    trial.Require(trial.HasPrintedNothing(), "prints nothing");
}

template <std::string (*Document)()>
void LoadsFromMemory(Trial& trial) {
    const LastError lastError;
    std::string document = Document();
    Load(trial, document, [&](XmlReader& reader) { return LoadText(reader, document); });
}

template <std::string (*Document)()>
void LoadsFromAFile(Trial& trial) {
    const LastError lastError;
    const TempDir dir;
    const std::string path = dir.File("document.xml");
    WriteFile(path, Document());
    Load(trial, Document(), [&](XmlReader& reader) { return reader.Load(path); });
}

void RefusesWhatIsNoDocument(Trial& trial) {
    const LastError lastError;
    std::string document = g_declaration + "<a><b></a>";
    XmlReader reader;
    trial.Require(!trial.Try([&] { return LoadText(reader, document); }), "is not loaded");
    trial.Require(reader.GetRootElement() == nullptr, "is empty");
}

void SaysThatThereIsNoEncoding(Trial& trial) {
    const LastError lastError;
    std::string document = "<a/>";
    XmlReader reader;
    trial.Require(!trial.Try([&] { return LoadText(reader, document); }), "is not loaded");
    trial.Require(trial.MetFault() ||
                      trial.HasPrinted("[XmlDoc] Load from memory (not xml document)\n"),
                  "prints why");
}

// Long enough that the texts need memory.
std::string LongNames() {
    const std::string name(100, 'n');
    return g_declaration + "<" + name + " " + name + "='17'>" + name + "</" + name + ">";
}

// What fails leaves its output alone, but a name comes before the value that fails.
void ReadsWhatIsLoaded(Trial& trial) {
    const LastError lastError;
    std::string document = LongNames();
    const std::string name(100, 'n');
    XmlReader reader;
    LoadText(reader, document);
    auto* const root = reader.GetRootElement();
    auto* const attribute = reader.GetFirstAttribute(root);
    std::string text = "old";
    bool isRead = trial.WorksOrThrows([&] { return reader.GetElement(root, text); });
    trial.Require(text == (isRead ? name : "old"), "reads a name, or leaves the text");
    text = "old";
    isRead = trial.WorksOrThrows([&] { return reader.GetEntity(root, text); });
    trial.Require(text == (isRead ? name : "old"), "reads a text, or leaves the text");
    text = "old";
    std::string value = "old";
    isRead = trial.WorksOrThrows([&] { return reader.GetAttribute(attribute, text, value); });
    trial.Require(value == (isRead ? "17" : "old"), "reads a value, or leaves it");
    unsigned int number = 77;
    isRead = trial.WorksOrThrows([&] { return reader.GetAttribute(attribute, text, number); });
    trial.Require(number == (isRead ? 17U : 77U), "reads a number, or leaves it");
    double real = 77;
    isRead = trial.WorksOrThrows([&] { return reader.GetAttribute(attribute, text, real); });
    trial.Require(real == (isRead ? 17.0 : 77.0), "reads a number, or leaves it");
}

// --- Writing -------------------------------------------------------------------------------------

// What the operations of a document write, all of them together.
const std::string g_written =
    g_declaration + "\n<shop><item id=\"7\" of=\"1.500000\" owner=\"" +
    "00112233-4455-6677-8899-aabbccddeeff\">salt &amp; pepper</item><!--no more--></shop>\n";

// Runs each operation, one after another, and says whether all of them have succeeded.
bool TryToWrite(Trial& trial, XmlWriter& writer) {
    const std::string shop = "shop";
    const std::string item = "item";
    Vorn::Guid owner;
    owner.FromString("00112233-4455-6677-8899-aabbccddeeff");
    const std::vector<std::function<bool()>> operations{
        [&] { return writer.BeginDocument("UTF-8"); },
        [&] { return writer.BeginElement(shop); },
        [&] { return writer.BeginElement(item); },
        [&] { return writer.WriteAttribute("id", 7); },
        [&] { return writer.WriteAttribute("of", 1.5); },
        [&] { return writer.WriteAttribute("owner", owner, Vorn::GuidForm::Full); },
        [&] { return writer.WriteEntity("salt & pepper"); },
        [&] { return writer.EndElement(); },
        [&] { return writer.WriteComment("no more"); },
        [&] { return writer.EndElement(); },
        [&] { return writer.EndDocument(); },
    };
    bool areDone = true;
    for (const auto& operation : operations)
        areDone &= trial.WorksOrThrows(operation);
    return areDone;
}

std::string TextOf(XmlWriter& writer) {
    unsigned long size = 0;
    const unsigned char* const bytes = writer.GetXmlBuffer(size);
    return bytes == nullptr ? "" : std::string(reinterpret_cast<const char*>(bytes), size);
}

void WritesADocument(Trial& trial) {
    const LastError lastError;
    XmlWriter writer;
    const bool isWritten = TryToWrite(trial, writer);
    trial.Require(!isWritten || TextOf(writer) == g_written,
                  "has written all when all operations say so");
    trial.Try([&] { writer.Close(); });
    writer.EndDocument(); // which a document needs that could not be begun
    const bool began = writer.BeginDocument("UTF-8");
    trial.Require(began && writer.WriteElement("a", "b") && writer.EndDocument() &&
                      TextOf(writer) == g_declaration + "\n<a>b</a>\n",
                  "writes another one then");
}

// Enough elements that the buffer grows again and again.
void WritesManyElements(Trial& trial) {
    const LastError lastError;
    const std::string name = "element";
    const std::string text = "text & more";
    XmlWriter writer;
    bool isWritten = trial.WorksOrThrows([&] { return writer.BeginDocument("UTF-8"); });
    isWritten &= trial.WorksOrThrows([&] { return writer.BeginElement(name); });
    for (int i = 0; i < 60; ++i)
        isWritten &= trial.WorksOrThrows([&] { return writer.WriteElementEntity(name, text); });
    isWritten &= trial.WorksOrThrows([&] { return writer.EndDocument(); });
    // The element of WriteElementEntity counts as written whatever its end says.
    trial.Require(!isWritten || Trial::HasFailed(Platform::xmlTextWriterEndElement) ||
                      TextOf(writer) == g_declaration + "\n<element>" +
                                            Repeat("<element>text &amp; more</element>", 60) +
                                            "</element>\n",
                  "has written all when all operations say so");
}

void WritesInAnotherEncoding(Trial& trial) {
    const LastError lastError;
    const std::string name(100, 'n');
    XmlWriter writer;
    bool isWritten = trial.WorksOrThrows([&] { return writer.BeginDocument("ISO-8859-1"); });
    isWritten &= trial.WorksOrThrows([&] { return writer.WriteElement(name, name); });
    isWritten &= trial.WorksOrThrows([&] { return writer.EndDocument(); });
    trial.Require(!isWritten || TextOf(writer).find("<" + name + ">" + name + "</" + name + ">") !=
                                    std::string::npos,
                  "has written all when all operations say so");
}

// Runs operations that write a document and compares it.
void Write(Trial& trial, const std::vector<std::function<bool(XmlWriter&)>>& operations,
           const std::string& expected) {
    const LastError lastError;
    XmlWriter writer;
    bool isWritten = trial.WorksOrThrows([&] { return writer.BeginDocument("UTF-8"); });
    for (const auto& operation : operations)
        isWritten &= trial.WorksOrThrows([&] { return operation(writer); });
    isWritten &= trial.WorksOrThrows([&] { return writer.EndDocument(); });
    trial.Require(!isWritten || TextOf(writer) == g_declaration + "\n" + expected + "\n",
                  "has written all when all operations say so");
}

void WritesManyAttributes(Trial& trial) {
    std::vector<std::function<bool(XmlWriter&)>> operations{
        [](XmlWriter& writer) { return writer.BeginElement(std::string("r")); }};
    std::string expected = "<r";
    for (int i = 0; i < 30; ++i) {
        const std::string name = "a" + std::to_string(i);
        operations.emplace_back(
            [name, i](XmlWriter& writer) { return writer.WriteAttribute(name.c_str(), i); });
        expected += " " + name + "=\"" + std::to_string(i) + "\"";
    }
    operations.emplace_back([](XmlWriter& writer) { return writer.EndElement(); });
    Write(trial, operations, expected + "/>");
}

void WritesNestedElements(Trial& trial) {
    std::vector<std::function<bool(XmlWriter&)>> operations(
        30, [](XmlWriter& writer) { return writer.BeginElement(std::string("deep")); });
    operations.emplace_back([](XmlWriter& writer) { return writer.WriteEntity("text"); });
    operations.insert(operations.end(), 30, [](XmlWriter& writer) { return writer.EndElement(); });
    Write(trial, operations, Repeat("<deep>", 30) + "text" + Repeat("</deep>", 30));
}

void WritesLongTexts(Trial& trial) {
    const std::string text(20000, 't');
    const std::function<bool(XmlWriter&)> operation = [text](XmlWriter& writer) {
        return writer.WriteElement("a", text);
    };
    Write(trial,
          {[](XmlWriter& writer) { return writer.BeginElement(std::string("r")); }, operation,
           operation, [](XmlWriter& writer) { return writer.EndElement(); }},
          "<r>" + Repeat("<a>" + text + "</a>", 2) + "</r>");
}

// Once the file is opened, what the disk does not take goes unnoticed.
void SavesADocument(Trial& trial) {
    const LastError lastError;
    const TempDir dir;
    const std::string path = dir.File("document.xml");
    XmlWriter writer;
    writer.BeginDocument("UTF-8");
    writer.WriteElement("a", "b");
    writer.EndDocument();
    const bool saved = trial.WorksOrThrows([&] { return writer.Save(path); });
    trial.Require(saved != Trial::HasFailed(Platform::fopen), "saves when the file is opened");
    trial.Require(!saved || Trial::HasFailed(Platform::fwrite) ||
                      VornTest::TextOf(path) == TextOf(writer),
                  "saves all");
    trial.Require(writer.Save(path) && VornTest::TextOf(path) == TextOf(writer), "saves then");
}

void DropsADocument(Trial& trial) {
    const LastError lastError;
    auto writer = std::make_unique<XmlWriter>();
    writer->BeginDocument("UTF-8");
    writer->BeginElement("a");
    trial.Try([&] { writer.reset(); });
}

// --- Construction --------------------------------------------------------------------------------

template <typename Class>
void IsConstructed(Trial& trial) {
    trial.RunOrStop([] { const Class object; }, "m_pPrivateData != ");
    const Class another;
}

// --- The library itself --------------------------------------------------------------------------

// The locale needs memory, and is what it was when it has none; the parser is set up after it.
void IsSetUpAndReleased(Trial& trial) {
    const std::locale before;
    const bool isSetUp = trial.WorksOrThrows([] { return Vorn::BasesInit() == 1; });
    trial.Require(isSetUp || std::locale() == before, "leaves the locale");
    trial.Try([] { Vorn::BasesRelease(); });
    std::locale::global(before);
    trial.Require(Vorn::BasesInit() == 1, "is set up then");
    Vorn::BasesRelease();
    std::locale::global(before);
}

const Scenarios g_scenarios{
    {"LibraryIsSetUpAndReleased", IsSetUpAndReleased},
    {"XmlReaderIsConstructed", IsConstructed<XmlReader>},
    {"XmlWriterIsConstructed", IsConstructed<XmlWriter>},
    {"XmlItemsAreLoadedFromMemory", LoadsFromMemory<Items>},
    {"XmlNestedElementsAreLoadedFromMemory", LoadsFromMemory<Nested>},
    {"XmlLongTextsAreLoadedFromMemory", LoadsFromMemory<LongTexts>},
    {"XmlEntitiesAreLoadedFromMemory", LoadsFromMemory<Entities>},
    {"XmlNamespacesAreLoadedFromMemory", LoadsFromMemory<Namespaces>},
    {"XmlMixtureIsLoadedFromMemory", LoadsFromMemory<Mixture>},
    {"XmlMixtureIsLoadedFromAFile", LoadsFromAFile<Mixture>},
    {"XmlManyAttributesAreLoadedFromMemory", LoadsFromMemory<ManyAttributes>},
    {"XmlOfLatin1IsLoadedFromMemory", LoadsFromMemory<Latin1>},
    {"XmlOfUtf16IsLoadedFromAFile", LoadsFromAFile<Utf16>},
    {"XmlOfLatin1IsLoadedFromAFile", LoadsFromAFile<Latin1>},
    {"XmlNestedElementsAreLoadedFromAFile", LoadsFromAFile<Nested>},
    {"XmlLongTextsAreLoadedFromAFile", LoadsFromAFile<LongTexts>},
    {"XmlNamespacesAreLoadedFromAFile", LoadsFromAFile<Namespaces>},
    {"XmlManyAttributesAreLoadedFromAFile", LoadsFromAFile<ManyAttributes>},
    {"XmlItemsAreLoadedFromAFile", LoadsFromAFile<Items>},
    {"XmlEntitiesAreLoadedFromAFile", LoadsFromAFile<Entities>},
    {"XmlIsRefused", RefusesWhatIsNoDocument},
    {"XmlWithoutAnEncodingIsRefused", SaysThatThereIsNoEncoding},
    {"XmlIsRead", ReadsWhatIsLoaded},
    {"XmlIsWritten", WritesADocument},
    {"XmlWithManyElementsIsWritten", WritesManyElements},
    {"XmlWithManyAttributesIsWritten", WritesManyAttributes},
    {"XmlWithNestedElementsIsWritten", WritesNestedElements},
    {"XmlWithLongTextsIsWritten", WritesLongTexts},
    {"XmlInAnotherEncodingIsWritten", WritesInAnotherEncoding},
    {"XmlIsSaved", SavesADocument},
    {"XmlIsDropped", DropsADocument},
};

} // namespace

} // namespace VornTest::Sweep
