// SPDX-License-Identifier: MIT
#include "Verify.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <iterator>
#include <map>
#include <set>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>

#include "Describe.h"
#include "FileName.h"

namespace Manifest {

using Examples::ForDisplay;

namespace fs = std::filesystem;

namespace {

using Sorted = std::vector<const Entry*>;

// Stable: entries that share a name stay in the order of the walk.
Sorted SortByName(const std::vector<Entry>& entries) {
    Sorted sorted;
    std::transform(entries.begin(), entries.end(), std::back_inserter(sorted),
                   [](const Entry& entry) { return &entry; });
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const Entry* a, const Entry* b) { return a->name < b->name; });
    return sorted;
}

fs::file_type TypeNow(const std::string& name) {
    std::error_code ignored; // the type says it all
    return fs::status(name, ignored).type();
}

/// The directories that could not be read.
class Closed {
public:
    explicit Closed(const std::vector<Entry>& found) {
        for (const Entry& entry : found)
            if (entry.failure && MayHaveContent(entry.name))
                m_names.insert(entry.name);
    }

    /// Returns true when one of them is above the name. Their own names may end in a slash.
    bool IsAbove(std::string_view name) const {
        if (m_names.empty())
            return false;
        for (std::size_t i = name.find('/'); i != std::string_view::npos; i = name.find('/', i + 1))
            if (Has(name.substr(0, i)) || Has(name.substr(0, i + 1)))
                return true;
        return false;
    }

private:
    // What cannot even be stat'ed has no type, and may be a directory as well.
    static bool MayHaveContent(const std::string& name) {
        const fs::file_type type = TypeNow(name);
        return type == fs::file_type::directory || type == fs::file_type::none;
    }

    bool Has(std::string_view name) const { return m_names.count(name) != 0; }

    std::set<std::string, std::less<>> m_names;
};

std::string Arrow(const std::string& before, const std::string& now) {
    return before + " -> " + now;
}

void AddChange(std::string& changes, const char* what, const std::string& before,
               const std::string& now) {
    if (before == now)
        return;
    changes.append(changes.empty() ? "" : ", ").append(what).append(" ").append(Arrow(before, now));
}

void AddExtraChanges(std::string& changes, const Entry& before, const Entry& now,
                     const Extras& extras) {
    if (extras.targets)
        AddChange(changes, "target", ForDisplay(*before.target), ForDisplay(*now.target));
    if (extras.modes)
        AddChange(changes, "mode", DescribeMode(before.mode), DescribeMode(now.mode));
    if (extras.owners) {
        AddChange(changes, "owner", std::to_string(before.owner), std::to_string(now.owner));
        AddChange(changes, "group", std::to_string(before.group), std::to_string(now.group));
    }
}

// Returns an empty text when nothing has changed.
std::string Changes(const Entry& before, const Entry& now, const Extras& extras) {
    if (before.failure)
        return Arrow("failed", NameOf(now.kind));
    if (before.kind != now.kind)
        return Arrow(NameOf(before.kind), NameOf(now.kind));
    std::string changes;
    if (now.kind == Kind::File) {
        AddChange(changes, "bytes", std::to_string(before.bytes), std::to_string(now.bytes));
        AddChange(changes, "lines", std::to_string(before.lines), std::to_string(now.lines));
        if (before.digest != now.digest)
            AddChange(changes, NameOf(now.digest.Method()), before.digest.Text(),
                      now.digest.Text());
    }
    AddExtraChanges(changes, before, now, extras);
    return changes;
}

Finding JudgeBoth(const Entry& recorded, const Entry& found, const Extras& extras) {
    const std::string& name = recorded.name;
    if (!found.failure) {
        const std::string changes = Changes(recorded, found, extras);
        return {name, changes.empty() ? Verdict::Same : Verdict::Changed, changes};
    }
    if (*found.failure == *recorded.failure)
        return {name, Verdict::StillFailing, ""};
    if (TypeNow(name) == fs::file_type::not_found)
        return {name, Verdict::Missing, ""};
    return {name, Verdict::Unread, *found.failure};
}

// What vanished before it was measured is not reported.
bool Vanished(const Entry& found) {
    return found.failure && TypeNow(found.name) == fs::file_type::not_found;
}

// Within a name, Same comes last, and details come before none.
bool ComesBefore(const Finding& a, const Finding& b) {
    return std::tie(a.name, a.verdict, b.detail) < std::tie(b.name, b.verdict, a.detail);
}

bool AddsNothing(const Finding& before, const Finding& finding) {
    if (finding.name != before.name)
        return false;
    return finding.verdict == Verdict::Same || finding == before ||
           (finding.verdict == before.verdict && finding.detail.empty());
}

bool HasContent(const Entry& entry) {
    return !entry.failure && entry.kind == Kind::File && entry.bytes > 0;
}

/// Finds where files went that are no longer where they were.
class Moves {
public:
    void AddMissing(const Entry& entry) {
        if (HasContent(entry))
            m_missing.push_back(&entry);
    }

    void AddNew(const Entry& entry) {
        if (HasContent(entry))
            m_new.emplace(ContentOf(entry), &entry);
    }

    /// Turns pairs of missing and new ones into moved ones.
    void Report(std::vector<Finding>& findings) {
        std::map<std::string, std::string> moved; // to the new names
        std::set<std::string> arrived;
        for (const Entry* entry : m_missing)
            if (const auto found = FirstNewLike(*entry); found != m_new.end()) {
                if (!moved.emplace(entry->name, found->second->name).second)
                    continue;
                arrived.insert(found->second->name);
                m_new.erase(found);
            }
        std::erase_if(findings, [&arrived](const Finding& finding) {
            return finding.verdict == Verdict::New && arrived.count(finding.name) != 0;
        });
        for (Finding& finding : findings)
            if (const auto to = moved.find(finding.name);
                finding.verdict == Verdict::Missing && to != moved.end())
                finding = {finding.name, Verdict::Moved, to->second};
    }

private:
    using Content = std::pair<unsigned long long, Digest>;
    using ByContent = std::multimap<Content, const Entry*>;

    static Content ContentOf(const Entry& entry) { return {entry.bytes, entry.digest}; }

    // find may give any of several.
    ByContent::iterator FirstNewLike(const Entry& entry) {
        const auto [first, last] = m_new.equal_range(ContentOf(entry));
        return first == last ? m_new.end() : first;
    }

    std::vector<const Entry*> m_missing;
    ByContent m_new; // those of the same content in the order of their names
};

/// Judges the entries name by name.
class Judge {
public:
    Judge(const std::vector<Entry>& found, const Extras& extras)
        : m_closed(found), m_extras(extras) {}

    Comparison Compare(const Sorted& recorded, const Sorted& found) {
        auto before = recorded.begin();
        auto now = found.begin();
        while (before != recorded.end() || now != found.end()) {
            const bool isRecorded =
                now == found.end() || (before != recorded.end() && (*before)->name <= (*now)->name);
            const bool isThere =
                before == recorded.end() || (now != found.end() && (*now)->name <= (*before)->name);
            BeginName(isRecorded ? (*before)->name : (*now)->name);
            if (isRecorded && isThere)
                m_findings.push_back(JudgeBoth(**before++, **now++, m_extras));
            else if (isRecorded)
                AddLost(**before++);
            else
                AddNew(**now++);
        }
        FinishName();
        m_moves.Report(m_told);
        for (const Finding& finding : m_told)
            ++m_counts.at(static_cast<std::size_t>(finding.verdict));
        return {std::move(m_told), m_counts};
    }

private:
    void BeginName(const std::string& name) {
        if (!m_findings.empty() && m_findings.front().name != name)
            FinishName();
    }

    // Most entries are as recorded: they are counted and forgotten.
    void FinishName() {
        std::sort(m_findings.begin(), m_findings.end(), ComesBefore);
        m_findings.erase(std::unique(m_findings.begin(), m_findings.end(), AddsNothing),
                         m_findings.end());
        for (Finding& finding : m_findings) {
            if (finding.verdict == Verdict::Same)
                ++m_counts.at(static_cast<std::size_t>(Verdict::Same));
            else
                m_told.push_back(std::move(finding));
        }
        m_findings.clear();
    }

    void AddLost(const Entry& recorded) {
        const bool unknown = m_closed.IsAbove(recorded.name);
        m_findings.push_back({recorded.name, unknown ? Verdict::Unread : Verdict::Missing, ""});
        if (!unknown)
            m_moves.AddMissing(recorded);
    }

    void AddNew(const Entry& found) {
        if (Vanished(found))
            return;
        m_findings.push_back({found.name, Verdict::New, ""});
        m_moves.AddNew(found);
    }

    Closed m_closed;
    Extras m_extras;
    Moves m_moves;
    std::vector<Finding> m_findings; // of the current name
    std::vector<Finding> m_told;
    std::array<std::size_t, Verdicts> m_counts{};
};

std::string FormatDifference(const Finding& finding, const Colours& colours) {
    using Colour = Colours::Colour;
    const std::string name = ForDisplay(finding.name);
    switch (finding.verdict) {
    case Verdict::Missing:
        return colours.Paint(Colour::Red, "missing") + "  " + name + "\n";
    case Verdict::Moved:
        return colours.Paint(Colour::Cyan, "moved") + "    " +
               Arrow(name, ForDisplay(finding.detail)) + "\n";
    case Verdict::Changed:
        return colours.Paint(Colour::Yellow, "changed") + "  " + name + " (" + finding.detail +
               ")\n";
    case Verdict::New:
        return colours.Paint(Colour::Green, "new") + "      " + name + "\n";
    case Verdict::Same:
    case Verdict::Unread:
    case Verdict::StillFailing:
        break;
    }
    return "";
}

// Without paths or names there is nowhere to look.
void RequirePlaces(const Document& document) {
    if (document.paths.empty())
        throw std::runtime_error("it does not record its paths; create it again");
    if (!document.hasAllNames)
        throw std::runtime_error("it has names that this locale cannot show; verify it in the "
                                 "locale in which it was created");
}

// A manifest that is one of its own paths has changed by being written. In a directory the walk
// leaves it out.
void LeaveOut(const std::string& manifest, Document& document) {
    const auto isManifest = [&manifest](const std::string& path) {
        std::error_code error;
        return fs::equivalent(path, manifest, error);
    };
    for (const std::string& path : document.paths)
        if (isManifest(path))
            std::erase_if(document.entries,
                          [&path](const Entry& entry) { return entry.name == path; });
    std::erase_if(document.paths, isManifest);
}

} // namespace

void RequireDigests(const Document& document) {
    const auto lacksDigest = [](const Entry& entry) {
        return !entry.failure && entry.kind == Kind::File && !entry.digest.IsKnown();
    };
    if (std::any_of(document.entries.begin(), document.entries.end(), lacksDigest))
        throw std::runtime_error("it records no digests; create it again");
}

Document LoadForVerifying(const std::string& path, const std::string& place) {
    Document document = LoadManifest(path, Detail::Compared);
    RequireDigests(document);
    RequirePlaces(document);
    LeaveOut(place, document);
    return document;
}

Comparison Compare(const std::vector<Entry>& recorded, const std::vector<Entry>& found,
                   const Extras& extras) {
    return Judge(found, extras).Compare(SortByName(recorded), SortByName(found));
}

bool Comparison::AllAsRecorded() const { return findings.size() == Count(Verdict::StillFailing); }

std::string FormatFindings(const Comparison& comparison, const Colours& colours) {
    std::string text;
    for (const Finding& finding : comparison.findings)
        text += FormatDifference(finding, colours);
    return text;
}

std::string FormatSummary(const Comparison& comparison) {
    const auto count = [&comparison](Verdict verdict, const char* what) {
        return std::to_string(comparison.Count(verdict)) + " " + what;
    };
    std::string text = count(Verdict::Same, "as recorded, ") +
                       count(Verdict::Missing, "missing, ") + count(Verdict::Changed, "changed, ") +
                       count(Verdict::New, "new, ") + count(Verdict::Unread, "unread");
    if (comparison.Count(Verdict::Moved) != 0)
        text += ", " + count(Verdict::Moved, "moved");
    if (comparison.Count(Verdict::StillFailing) != 0)
        text += ", " + count(Verdict::StillFailing, "failing as before");
    return text + "\n";
}

} // namespace Manifest
