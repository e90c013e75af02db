// SPDX-License-Identifier: MIT
// Manifests of arbitrary bytes: they are refused with a reason, or what was read can be saved and
// read again.

#include <fstream>
#include <stdexcept>
#include <string>
#include <tuple>

#include "ManifestFile.h"

#include "support/Fuzz.h"
#include "support/Place.h"

namespace {

using Manifest::Document;
using Manifest::Entry;

auto FieldsOf(const Entry& entry) {
    return std::tie(entry.name, entry.kind, entry.bytes, entry.lines, entry.mode, entry.owner,
                    entry.group, *entry.failure, *entry.target, *entry.details);
}

bool AreSame(const Document& left, const Document& right) {
    if (left.paths != right.paths || left.excludes != right.excludes ||
        left.entries.size() != right.entries.size())
        return false;
    for (std::size_t i = 0; i < left.entries.size(); ++i)
        if (FieldsOf(left.entries[i]) != FieldsOf(right.entries[i]) ||
            left.entries[i].digest != right.entries[i].digest)
            return false;
    return true;
}

} // namespace

void VornFuzz::Try(Input& input) {
    static const Place place;
    const std::string file = place.Path() / "manifest.xml";
    std::ofstream stream(file, std::ios::binary);
    stream << input.Rest();
    Check(stream.flush().good(), "the manifest cannot be written");
    Document document;
    try {
        document = Manifest::LoadManifest(file, Manifest::Detail::All);
    } catch (const std::runtime_error& error) {
        return Check(*error.what() != '\0', "a manifest is refused without a reason");
    }
    for (Entry& entry : document.entries) { // older manifests have no digests, new ones do
        if (!entry.digest.IsKnown() && entry.kind == Manifest::Kind::File && !entry.failure)
            entry.digest = Manifest::Digest(Manifest::Algorithm::Md5, {});
        if (entry.details && entry.details->id.None()) // written with every other detail
            entry.details = Manifest::Details();
    }
    Manifest::SaveManifest(file, document);
    const Document again = Manifest::LoadManifest(file, Manifest::Detail::All);
    Check(AreSame(again, document), "a manifest that was saved");
}
