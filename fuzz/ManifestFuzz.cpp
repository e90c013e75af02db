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
    return std::tie(entry.name, entry.kind, entry.bytes, entry.lines, entry.md5, entry.writtenUtc,
                    entry.writtenLocal, entry.failure);
}

bool AreSame(const Document& left, const Document& right) {
    if (left.paths != right.paths || left.entries.size() != right.entries.size())
        return false;
    for (std::size_t i = 0; i < left.entries.size(); ++i)
        if (FieldsOf(left.entries[i]) != FieldsOf(right.entries[i]) ||
            left.entries[i].id != right.entries[i].id)
            return false;
    return true;
}

} // namespace

void VornFuzz::Try(Input& input) {
    static const File file;
    std::ofstream(file.Name(), std::ios::binary) << input.Rest();
    Document document;
    try {
        document = Manifest::LoadManifest(file.Name());
    } catch (const std::runtime_error& error) {
        return Check(*error.what() != '\0', "a manifest is refused without a reason");
    }
    for (Entry& entry : document.entries) // older manifests have none, new ones do
        if (entry.md5.empty() && entry.kind == Manifest::Kind::File && entry.failure.empty())
            entry.md5 = std::string(32, '0');
    Manifest::SaveManifest(file.Name(), document);
    Check(AreSame(Manifest::LoadManifest(file.Name()), document), "a manifest that was saved");
}
