// SPDX-License-Identifier: MIT
// Manifests of arbitrary bytes: they are refused with a reason, or what was read can be saved and
// read again.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <tuple>

#include <unistd.h>

#include "ManifestFile.h"

#include "support/Fuzz.h"

namespace {

using Manifest::Document;
using Manifest::Entry;

// A file that ends with the process.
class File {
public:
    File() {
        const std::string name = "vorn-fuzz-manifest-" + std::to_string(getpid());
        m_name = std::filesystem::temp_directory_path() / name;
    }
    ~File() { std::remove(m_name.c_str()); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    const std::string& Name() const { return m_name; }

private:
    std::string m_name;
};

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
    static const File file;
    std::ofstream(file.Name(), std::ios::binary) << input.Rest();
    Document document;
    try {
        document = Manifest::LoadManifest(file.Name(), Manifest::Detail::All);
    } catch (const std::runtime_error& error) {
        return Check(*error.what() != '\0', "a manifest is refused without a reason");
    }
    for (Entry& entry : document.entries) { // older manifests have no digests, new ones do
        if (!entry.digest.IsKnown() && entry.kind == Manifest::Kind::File && !entry.failure)
            entry.digest = Manifest::Digest(Manifest::Algorithm::Md5, {});
        if (entry.details && entry.details->id.None()) // written with every other detail
            entry.details = Manifest::Details();
    }
    Manifest::SaveManifest(file.Name(), document);
    const Document again = Manifest::LoadManifest(file.Name(), Manifest::Detail::All);
    Check(AreSame(again, document), "a manifest that was saved");
}
