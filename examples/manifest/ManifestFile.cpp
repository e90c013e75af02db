// SPDX-License-Identifier: MIT
#include "ManifestFile.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>
#include <system_error>

#include <Bases/Xml.h>

#include "Describe.h"
#include "FileName.h"
#include "ReadFile.h"
#include "ReplaceFile.h"

namespace Manifest {

using Examples::Escape;
using Examples::IsPlain;
using Examples::ReadInPieces;
using Examples::ReplaceFile;
using Examples::Unescape;

namespace {

constexpr int FormatVersion = 1;
constexpr std::filesystem::perms ForAll{0666};
constexpr const char* NotRepresentable = "(a name that this locale cannot show)";

std::optional<Kind> KindNamed(const std::string& name) {
    for (const Kind kind :
         {Kind::File, Kind::Directory, Kind::Link, Kind::Fifo, Kind::Socket, Kind::Device})
        if (name == NameOf(kind))
            return kind;
    return std::nullopt;
}

bool WriteName(Vorn::XmlWriter& xml, const std::string& name) {
    if (IsPlain(name))
        return xml.WriteAttribute("name", name);
    return xml.WriteAttribute("name", Escape(name)) && xml.WriteAttribute("escaped", "percent");
}

bool WriteFailure(Vorn::XmlWriter& xml, const Entry& entry) {
    return xml.BeginElement("failure") && WriteName(xml, entry.name) &&
           xml.WriteEntity(entry.failure) && xml.EndElement();
}

bool WriteTime(Vorn::XmlWriter& xml, const char* name, const std::string& time) {
    return time.empty() || xml.WriteAttribute(name, time);
}

bool WriteContent(Vorn::XmlWriter& xml, const Entry& entry) {
    return entry.kind != Kind::File ||
           (xml.WriteAttribute("bytes", entry.bytes) &&
            xml.WriteAttribute("size", DescribeSize(entry.bytes)) &&
            xml.WriteAttribute("lines", entry.lines) && xml.WriteAttribute("md5", entry.md5));
}

bool WriteKnown(Vorn::XmlWriter& xml, const Entry& entry) {
    return xml.BeginElement(NameOf(entry.kind)) && WriteName(xml, entry.name) &&
           WriteContent(xml, entry) && WriteTime(xml, "written-utc", entry.writtenUtc) &&
           WriteTime(xml, "written-local", entry.writtenLocal) &&
           xml.WriteAttribute("id", entry.id, 1) && xml.EndElement();
}

bool WritePaths(Vorn::XmlWriter& xml, const std::vector<std::string>& paths) {
    return std::all_of(paths.begin(), paths.end(), [&xml](const std::string& path) {
        return xml.WriteEntity("\n  ") && xml.BeginElement("path") && WriteName(xml, path) &&
               xml.EndElement();
    });
}

bool WriteEntries(Vorn::XmlWriter& xml, const std::vector<Entry>& entries) {
    for (const Entry& entry : entries) {
        const bool written =
            xml.WriteEntity("\n  ") &&
            (entry.failure.empty() ? WriteKnown(xml, entry) : WriteFailure(xml, entry));
        if (!written)
            return false;
    }
    return true;
}

// The writer adds no line breaks of its own, so they are written as text between the elements.
bool WriteManifest(Vorn::XmlWriter& xml, const Document& document) {
    return xml.BeginDocument("UTF-8") && xml.BeginElement("manifest") &&
           xml.WriteAttribute("version", FormatVersion) && xml.WriteEntity("\n  ") &&
           xml.WriteComment(" One element for each entry; lines counts line feeds. ") &&
           WritePaths(xml, document.paths) && WriteEntries(xml, document.entries) &&
           xml.WriteEntity("\n") && xml.EndElement() && xml.EndDocument();
}

[[noreturn]] void RefuseManifest() { throw std::runtime_error("not a manifest"); }

using Attributes = std::map<std::string, std::string>;

// Without attributes whose text the locale's character set cannot express.
Attributes ReadAttributes(Vorn::XmlReader& xml, Vorn::XmlReader::Element* element) {
    Attributes attributes;
    auto* attribute = xml.GetFirstAttribute(element);
    for (; attribute != nullptr; attribute = xml.NextAttribute(attribute)) {
        std::string name;
        std::string value;
        if (xml.GetAttribute(attribute, name, value))
            attributes[name] = value;
    }
    return attributes;
}

std::string Require(const Attributes& attributes, const char* name) {
    const auto found = attributes.find(name);
    if (found == attributes.end())
        RefuseManifest();
    return found->second;
}

// Parsed from the text: the reader's own unsigned long form stops at the largest int.
unsigned long long RequireNumber(const Attributes& attributes, const char* name) {
    const std::string text = Require(attributes, name);
    unsigned long long number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end)
        RefuseManifest();
    return number;
}

Vorn::Guid RequireGuid(const Attributes& attributes, const char* name) {
    Vorn::Guid id;
    try {
        if (id.FromString(Require(attributes, name)))
            return id;
    } catch (const std::runtime_error&) { // malformed
    }
    RefuseManifest();
}

// Every entry is written with a name; if it is missing, the locale lacks some of its characters.
std::string ReadName(const Attributes& attributes, Document& document) {
    const auto name = attributes.find("name");
    if (name == attributes.end()) {
        document.hasAllNames = false;
        return NotRepresentable;
    }
    return attributes.count("escaped") != 0 ? Unescape(name->second) : name->second;
}

// For what older manifests do not have.
std::string Optional(const Attributes& attributes, const char* name) {
    const auto found = attributes.find(name);
    return found == attributes.end() ? "" : found->second;
}

std::string OptionalDigest(const Attributes& attributes, const char* name) {
    const auto found = attributes.find(name);
    if (found == attributes.end())
        return "";
    const std::string& text = found->second;
    if (text.size() != 32 || text.find_first_not_of("0123456789abcdef") != std::string::npos)
        RefuseManifest();
    return text;
}

Entry ReadKnown(Kind kind, const Attributes& attributes, Document& document) {
    Entry entry;
    entry.name = ReadName(attributes, document);
    entry.kind = kind;
    if (kind == Kind::File) {
        entry.bytes = RequireNumber(attributes, "bytes");
        entry.lines = RequireNumber(attributes, "lines");
        entry.md5 = OptionalDigest(attributes, "md5");
    }
    entry.writtenUtc = Optional(attributes, "written-utc");
    entry.writtenLocal = Optional(attributes, "written-local");
    entry.id = RequireGuid(attributes, "id");
    return entry;
}

Entry ReadFailure(Vorn::XmlReader& xml, Vorn::XmlReader::Element* element, Document& document) {
    Entry entry;
    entry.name = ReadName(ReadAttributes(xml, element), document);
    if (!xml.GetEntity(element, entry.failure) || entry.failure.empty())
        entry.failure = "unknown reason";
    return entry;
}

void LoadDocument(Vorn::XmlReader& xml, const std::string& path) {
    std::string bytes;
    const std::string reason =
        ReadInPieces(path, [&bytes](std::string_view piece) { bytes.append(piece); });
    if (!reason.empty())
        throw std::runtime_error(reason);
    if (!xml.Load(reinterpret_cast<unsigned char*>(bytes.data()), bytes.size()))
        RefuseManifest();
}

void CheckRoot(Vorn::XmlReader& xml, Vorn::XmlReader::Element* root) {
    std::string name;
    if (!xml.GetElement(root, name) || name != "manifest")
        RefuseManifest();
    if (RequireNumber(ReadAttributes(xml, root), "version") != FormatVersion)
        throw std::runtime_error("a manifest of an unknown version");
}

} // namespace

void SaveManifest(const std::string& path, const Document& document) {
    Vorn::XmlWriter xml;
    if (!WriteManifest(xml, document))
        throw std::runtime_error("the XML could not be composed");
    unsigned long size = 0;
    const auto* const bytes = reinterpret_cast<const char*>(xml.GetXmlBuffer(size));
    ReplaceFile(path, "manifest", ForAll, {bytes, size}); // Save would not notice a full disk
}

Document LoadManifest(const std::string& path) {
    Vorn::XmlReader xml;
    LoadDocument(xml, path);
    auto* const root = xml.GetRootElement();
    CheckRoot(xml, root);

    Document document;
    std::string tag;
    auto* element = xml.ChildElement(root, &tag);
    for (; element != nullptr; element = xml.NextElement(element, &tag)) {
        const std::optional<Kind> kind = KindNamed(tag);
        if (kind)
            document.entries.push_back(ReadKnown(*kind, ReadAttributes(xml, element), document));
        else if (tag == "failure")
            document.entries.push_back(ReadFailure(xml, element, document));
        else if (tag == "path")
            document.paths.push_back(ReadName(ReadAttributes(xml, element), document));
    }
    return document;
}

} // namespace Manifest
