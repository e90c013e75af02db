// SPDX-License-Identifier: MIT
#include "Verify.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <optional>
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
            if (!entry.failure.empty() && MayHaveContent(entry.name))
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

// Returns an empty text when nothing has changed.
std::string Changes(const Entry& before, const Entry& now) {
    if (!before.failure.empty())
        return Arrow("failed", NameOf(now.kind));
    if (before.kind != now.kind)
        return Arrow(NameOf(before.kind), NameOf(now.kind));
    std::string changes;
    if (now.kind == Kind::File) {
        AddChange(changes, "bytes", std::to_string(before.bytes), std::to_string(now.bytes));
        AddChange(changes, "lines", std::to_string(before.lines), std::to_string(now.lines));
        AddChange(changes, "md5", before.md5, now.md5);
    }
    return changes;
}

Finding JudgeBoth(const Entry& recorded, const Entry& found) {
    const std::string& name = recorded.name;
    if (found.failure.empty()) {
        const std::string changes = Changes(recorded, found);
        return {name, changes.empty() ? Verdict::Same : Verdict::Changed, changes};
    }
    if (found.failure == recorded.failure)
        return {name, Verdict::StillFailing, ""};
    if (TypeNow(name) == fs::file_type::not_found)
        return {name, Verdict::Missing, ""};
    return {name, Verdict::Unread, found.failure};
}

// What vanished before it was measured is not reported.
std::optional<Finding> JudgeFound(const Entry& found) {
    if (!found.failure.empty() && TypeNow(found.name) == fs::file_type::not_found)
        return std::nullopt;
    return Finding{found.name, Verdict::New, ""};
}

std::vector<Finding> JudgeAll(const Sorted& recorded, const Sorted& found, const Closed& closed) {
    std::vector<Finding> findings;
    auto before = recorded.begin();
    auto now = found.begin();
    while (before != recorded.end() || now != found.end()) {
        int order = before == recorded.end() ? 1 : -1;
        if (before != recorded.end() && now != found.end())
            order = (*before)->name.compare((*now)->name);
        if (order == 0) {
            findings.push_back(JudgeBoth(**before++, **now++));
        } else if (order < 0) {
            const std::string& name = (*before++)->name;
            findings.push_back(
                {name, closed.IsAbove(name) ? Verdict::Unread : Verdict::Missing, ""});
        } else if (std::optional<Finding> finding = JudgeFound(**now++)) {
            findings.push_back(std::move(*finding));
        }
    }
    return findings;
}

std::size_t Count(const std::vector<Finding>& findings, Verdict verdict) {
    return static_cast<std::size_t>(
        std::count_if(findings.begin(), findings.end(),
                      [verdict](const Finding& finding) { return finding.verdict == verdict; }));
}

std::string FormatDifference(const Finding& finding) {
    const std::string name = ForDisplay(finding.name);
    switch (finding.verdict) {
    case Verdict::Missing:
        return "missing  " + name + "\n";
    case Verdict::Changed:
        return "changed  " + name + " (" + finding.detail + ")\n";
    case Verdict::New:
        return "new      " + name + "\n";
    case Verdict::Same:
    case Verdict::Unread:
    case Verdict::StillFailing:
        break;
    }
    return "";
}

std::string FormatSummary(const std::vector<Finding>& findings) {
    const auto count = [&findings](Verdict verdict, const char* what) {
        return std::to_string(Count(findings, verdict)) + " " + what;
    };
    std::string text = count(Verdict::Same, "as recorded, ") +
                       count(Verdict::Missing, "missing, ") + count(Verdict::Changed, "changed, ") +
                       count(Verdict::New, "new, ") + count(Verdict::Unread, "unread");
    if (Count(findings, Verdict::StillFailing) != 0)
        text += ", " + count(Verdict::StillFailing, "failing as before");
    return text + "\n";
}

// Without digests there is nothing to compare with; without paths or names, nowhere to look.
void RequireVerifiable(const Document& document) {
    const auto lacksDigest = [](const Entry& entry) {
        return entry.failure.empty() && entry.kind == Kind::File && entry.md5.empty();
    };
    if (std::any_of(document.entries.begin(), document.entries.end(), lacksDigest))
        throw std::runtime_error("it records no digests; create it again");
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

Document LoadForVerifying(const std::string& path) {
    Document document = LoadManifest(path);
    RequireVerifiable(document);
    LeaveOut(path, document);
    return document;
}

std::vector<Finding> Compare(const std::vector<Entry>& recorded, const std::vector<Entry>& found) {
    std::vector<Finding> findings =
        JudgeAll(SortByName(recorded), SortByName(found), Closed(found));
    // Within a name, Same comes last, and details come before none.
    const auto comesBefore = [](const Finding& a, const Finding& b) {
        return std::tie(a.name, a.verdict, b.detail) < std::tie(b.name, b.verdict, a.detail);
    };
    std::sort(findings.begin(), findings.end(), comesBefore);
    const auto addsNothing = [](const Finding& before, const Finding& finding) {
        if (finding.name != before.name)
            return false;
        return finding.verdict == Verdict::Same || finding == before ||
               (finding.verdict == before.verdict && finding.detail.empty());
    };
    findings.erase(std::unique(findings.begin(), findings.end(), addsNothing), findings.end());
    return findings;
}

bool AllAsRecorded(const std::vector<Finding>& findings) {
    return Count(findings, Verdict::Same) + Count(findings, Verdict::StillFailing) ==
           findings.size();
}

std::string FormatFindings(const std::vector<Finding>& findings) {
    std::string text;
    for (const Finding& finding : findings)
        text += FormatDifference(finding);
    return text + FormatSummary(findings);
}

} // namespace Manifest
