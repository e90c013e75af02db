// SPDX-License-Identifier: MIT
#include "ManifestFile.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include <Bases/Xml.h>

#include "Describe.h"
#include "FileName.h"
#include "ReplaceFile.h"

namespace Manifest {

using Examples::Escape;
using Examples::IsPlain;
using Examples::ReplaceFile;

namespace {

constexpr std::filesystem::perms ForAll{0666};

bool WriteText(Vorn::XmlWriter& xml, const char* attribute, const char* escaped,
               const std::string& text) {
    if (IsPlain(text))
        return xml.WriteAttribute(attribute, text);
    return xml.WriteAttribute(attribute, Escape(text)) && xml.WriteAttribute(escaped, "percent");
}

bool WriteName(Vorn::XmlWriter& xml, const std::string& name) {
    return WriteText(xml, "name", "escaped", name);
}

bool WriteFailure(Vorn::XmlWriter& xml, const Entry& entry) {
    return xml.BeginElement("failure") && WriteName(xml, entry.name) &&
           xml.WriteEntity(*entry.failure) && xml.EndElement();
}

bool WriteTime(Vorn::XmlWriter& xml, const char* name, const std::string& time) {
    return time.empty() || xml.WriteAttribute(name, time);
}

bool WriteDetails(Vorn::XmlWriter& xml, const Details& details) {
    return WriteTime(xml, "written-utc", details.writtenUtc) &&
           WriteTime(xml, "written-local", details.writtenLocal) &&
           xml.WriteAttribute("id", details.id, Vorn::GuidForm::Full);
}

bool WriteContent(Vorn::XmlWriter& xml, const Entry& entry, Detail detail) {
    if (entry.kind != Kind::File)
        return true;
    const bool isBrief = detail == Detail::Compared;
    return xml.WriteAttribute("bytes", entry.bytes) &&
           (isBrief || xml.WriteAttribute("size", DescribeSize(entry.bytes))) &&
           xml.WriteAttribute("lines", entry.lines) &&
           xml.WriteAttribute(NameOf(entry.digest.Method()),
                              isBrief ? entry.digest.ShortText() : entry.digest.Text());
}

bool WriteExtras(Vorn::XmlWriter& xml, const Entry& entry, const Extras& extras) {
    if (extras.modes && !xml.WriteAttribute("mode", DescribeMode(entry.mode)))
        return false;
    if (extras.owners && !(xml.WriteAttribute("owner", std::to_string(entry.owner)) &&
                           xml.WriteAttribute("group", std::to_string(entry.group))))
        return false;
    return !extras.targets || entry.kind != Kind::Link ||
           WriteText(xml, "target", "target-escaped", *entry.target);
}

bool WriteKnown(Vorn::XmlWriter& xml, const Entry& entry, const Document& document) {
    return xml.BeginElement(NameOf(entry.kind)) && WriteName(xml, entry.name) &&
           WriteContent(xml, entry, document.detail) && WriteExtras(xml, entry, document.extras) &&
           (!entry.details || WriteDetails(xml, *entry.details)) && xml.EndElement();
}

// The writer adds no line breaks of its own, so they are written as text between the elements.
bool BeginLine(Vorn::XmlWriter& xml) { return xml.WriteEntity("\n  "); }

bool WriteNames(Vorn::XmlWriter& xml, const char* element, const std::vector<std::string>& names) {
    return std::all_of(names.begin(), names.end(), [&xml, element](const std::string& name) {
        return BeginLine(xml) && xml.BeginElement(element) && WriteName(xml, name) &&
               xml.EndElement();
    });
}

bool WriteEntries(Vorn::XmlWriter& xml, const Document& document) {
    return std::all_of(document.entries.begin(), document.entries.end(), [&](const Entry& entry) {
        return BeginLine(xml) &&
               (!entry.failure ? WriteKnown(xml, entry, document) : WriteFailure(xml, entry));
    });
}

// What is compared beside the contents.
bool WriteCompared(Vorn::XmlWriter& xml, const Extras& extras) {
    return (!extras.targets || xml.WriteAttribute("targets", "compared")) &&
           (!extras.modes || xml.WriteAttribute("modes", "compared")) &&
           (!extras.owners || xml.WriteAttribute("owners", "compared"));
}

bool WriteManifest(Vorn::XmlWriter& xml, const Document& document) {
    return xml.BeginDocument("UTF-8") && xml.BeginElement("manifest") &&
           xml.WriteAttribute("version", FormatVersion) && WriteCompared(xml, document.extras) &&
           BeginLine(xml) &&
           xml.WriteComment(" One element for each entry; lines counts line feeds. ") &&
           WriteNames(xml, "path", document.paths) &&
           WriteNames(xml, "exclude", document.excludes) && WriteEntries(xml, document) &&
           xml.WriteEntity("\n") && xml.EndElement() && xml.EndDocument();
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

} // namespace Manifest
