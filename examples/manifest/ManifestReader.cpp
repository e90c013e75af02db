// SPDX-License-Identifier: MIT
#include "ManifestFile.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include <langinfo.h>
#include <libxml/xmlstring.h>

#include <Bases/Text.h>

#include "Describe.h"
#include "FileName.h"
#include "XmlStream.h"

namespace Manifest {

using Examples::Unescape;

namespace {

constexpr const char* NotRepresentable = "(a name that this locale cannot show)";

std::optional<Kind> KindNamed(std::string_view name) {
    for (const Kind kind :
         {Kind::File, Kind::Directory, Kind::Link, Kind::Fifo, Kind::Socket, Kind::Device})
        if (name == NameOf(kind))
            return kind;
    return std::nullopt;
}

[[noreturn]] void Refuse(const std::string& what) { throw std::runtime_error(what); }

std::wstring Widen(std::string_view utf8) {
    std::wstring wide;
    for (std::size_t i = 0; i < utf8.size();) {
        int size = static_cast<int>(std::min<std::size_t>(utf8.size() - i, 4));
        const auto* const bytes = reinterpret_cast<const unsigned char*>(&utf8[i]);
        wide.push_back(static_cast<wchar_t>(xmlGetUTF8Char(bytes, &size)));
        i += static_cast<std::size_t>(size);
    }
    return wide;
}

bool IsAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

/// Converts the document's texts to the locale's.
class ToLocale {
public:
    /// Returns nothing for a text that the locale's character set cannot express.
    std::optional<std::string> operator()(std::string_view text) const {
        if (m_same || IsAscii(text))
            return std::string(text);
        try {
            return Vorn::wcs_to_mbs(Widen(text));
        } catch (const std::runtime_error&) {
            return std::nullopt;
        }
    }

private:
    bool m_same = std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
};

/// The attributes of an element.
class Attributes {
public:
    explicit Attributes(const XmlAttributes& all) : m_all(all) {}

    std::optional<std::string_view> Find(std::string_view name) const {
        for (const auto& [key, value] : m_all)
            if (key == name)
                return value;
        return std::nullopt;
    }

    bool Has(std::string_view name) const { return Find(name).has_value(); }

    unsigned long long Number(const char* name, unsigned long long most = ~0ULL,
                              int base = 10) const {
        const std::optional<std::string_view> text = Find(name);
        if (!text)
            Refuse(std::string(name) + " is missing");
        unsigned long long number = 0;
        const char* const end = text->data() + text->size();
        const auto [stop, error] = std::from_chars(text->data(), end, number, base);
        if (error != std::errc() || stop != end || number > most)
            Refuse(std::string(name) + " is not a number");
        return number;
    }

    /// Returns the nil identifier when there is none.
    Vorn::Guid Identifier(const char* name) const {
        Vorn::Guid id;
        const std::optional<std::string_view> text = Find(name);
        if (!text)
            return id;
        try {
            if (id.FromString(std::string(*text)))
                return id;
        } catch (const std::runtime_error&) { // malformed
        }
        Refuse(std::string(name) + " is not an identifier");
    }

    /// Returns none when there is none.
    Digest AnyDigest() const {
        for (const Algorithm algorithm : {Algorithm::Md5, Algorithm::Sha256}) {
            const std::optional<std::string_view> text = Find(NameOf(algorithm));
            if (!text)
                continue;
            const std::optional<Digest> digest = Digest::Parse(algorithm, *text);
            if (!digest)
                Refuse(std::string(NameOf(algorithm)) + " is not a digest");
            return *digest;
        }
        return {};
    }

private:
    const XmlAttributes& m_all;
};

/// Makes a Document of what is read.
class Reader : public XmlHandler {
public:
    explicit Reader(Detail detail) { m_document.detail = detail; }

    void Begin(std::string_view element, const XmlAttributes& attributes) override {
        ++m_depth;
        if (m_depth == 1)
            BeginManifest(element, Attributes(attributes));
        else if (m_depth == 2)
            BeginPart(element, Attributes(attributes));
    }

    void Text(std::string_view text) override {
        if (m_depth == 2 && m_isFailure)
            m_text.append(text);
    }

    void End() override {
        if (m_depth == 2 && m_isFailure)
            m_document.entries.back().failure =
                m_text.empty() ? "unknown reason" : Known(m_text, "unknown reason");
        --m_depth;
    }

    Document Take() { return std::move(m_document); }

private:
    void BeginManifest(std::string_view element, const Attributes& attributes) {
        if (element != "manifest")
            Refuse("not a manifest");
        if (attributes.Number("version") != FormatVersion)
            Refuse("a manifest of an unknown version");
        m_document.extras = {attributes.Has("targets"), attributes.Has("modes"),
                             attributes.Has("owners")};
    }

    void BeginPart(std::string_view element, const Attributes& attributes) {
        m_isFailure = element == "failure";
        m_text.clear();
        if (const std::optional<Kind> kind = KindNamed(element))
            AddKnown(*kind, attributes);
        else if (m_isFailure)
            m_document.entries.emplace_back().name = Name(attributes);
        else if (element == "path")
            m_document.paths.push_back(Name(attributes));
        else if (element == "exclude")
            m_document.excludes.push_back(Name(attributes));
    }

    void AddKnown(Kind kind, const Attributes& attributes) {
        Entry entry;
        entry.name = Name(attributes);
        entry.kind = kind;
        if (kind == Kind::File) {
            entry.bytes = attributes.Number("bytes");
            entry.lines = attributes.Number("lines");
            entry.digest = attributes.AnyDigest();
        }
        ReadExtras(entry, attributes);
        if (m_document.detail == Detail::All) {
            entry.details =
                Details{attributes.Identifier("id"), Optional(attributes, "written-utc"),
                        Optional(attributes, "written-local")};
        }
        m_document.entries.push_back(std::move(entry));
    }

    void ReadExtras(Entry& entry, const Attributes& attributes) {
        const Extras& extras = m_document.extras;
        constexpr int Octal = 8;
        constexpr unsigned long long MostId = std::numeric_limits<uid_t>::max();
        if (extras.modes)
            entry.mode = static_cast<mode_t>(attributes.Number("mode", 07777, Octal));
        if (extras.owners) {
            entry.owner = static_cast<uid_t>(attributes.Number("owner", MostId));
            entry.group = static_cast<gid_t>(attributes.Number("group", MostId));
        }
        if (extras.targets && entry.kind == Kind::Link)
            entry.target = Path(attributes, "target", "target-escaped");
    }

    // Every entry is written with a name.
    std::string Name(const Attributes& attributes) { return Path(attributes, "name", "escaped"); }

    std::string Path(const Attributes& attributes, const char* name, const char* escaped) {
        const std::optional<std::string_view> text = attributes.Find(name);
        if (!text)
            Refuse(std::string(name) + " is missing");
        std::optional<std::string> path = m_toLocale(*text);
        if (!path) {
            m_document.hasAllNames = false;
            return NotRepresentable;
        }
        return attributes.Has(escaped) ? Unescape(*path) : std::move(*path);
    }

    std::string Known(std::string_view text, const char* otherwise) const {
        return m_toLocale(text).value_or(otherwise);
    }

    std::string Optional(const Attributes& attributes, const char* name) const {
        return Known(attributes.Find(name).value_or(""), "");
    }

    ToLocale m_toLocale;
    Document m_document;
    int m_depth = 0;
    bool m_isFailure = false;
    std::string m_text; // of the failure
};

} // namespace

Document LoadManifest(const std::string& path, Detail detail) {
    Reader reader(detail);
    ReadXml(path, reader);
    return reader.Take();
}

} // namespace Manifest
