// SPDX-License-Identifier: MIT
#include "Commands.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <optional>
#include <system_error>
#include <thread>

#include <unistd.h>

#include "Colours.h"
#include "Export.h"
#include "FileName.h"
#include "Interrupt.h"
#include "ManifestFile.h"
#include "Print.h"
#include "Progress.h"
#include "Publisher.h"
#include "ReadFile.h"
#include "Table.h"
#include "Verify.h"
#include "Walk.h"
#include "Watch.h"

namespace Manifest {

using Examples::Print;
using Examples::UsageError;

namespace {

constexpr unsigned int MostWorkers = 256;

Algorithm ParseDigest(const std::string& name) {
    const std::optional<Algorithm> algorithm = AlgorithmNamed(name);
    if (!algorithm)
        throw UsageError("there is no digest " + Examples::ForDisplay(name));
    return *algorithm;
}

unsigned int ParseJobs(const std::string& text) {
    unsigned int jobs = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, jobs);
    if (error != std::errc() || stop != end || jobs > MostWorkers)
        throw UsageError("--jobs needs a number up to " + std::to_string(MostWorkers));
    return jobs > 0 ? jobs : std::clamp(std::thread::hardware_concurrency(), 1U, MostWorkers);
}

// The progress line is cleared before anything else is printed.
void Measure(std::vector<Entry>& entries, const Options& options, Publisher& publisher) {
    Progress progress(!options.quiet);
    publisher.Show(MeasureFiles(entries, options.measuring, [&](const Advance& advance) {
        ThrowIfInterrupted();
        progress.Show(advance);
        publisher.Show(advance);
    }));
    ThrowIfInterrupted();
}

bool ReportFailures(const std::vector<Entry>& entries) {
    bool none = true;
    for (const Entry& entry : entries) {
        if (!entry.failure)
            continue;
        Complain(entry.name, *entry.failure);
        none = false;
    }
    return none;
}

// That of the recorded files, which are all of one.
Algorithm AlgorithmOf(const std::vector<Entry>& entries) {
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [](const Entry& entry) { return entry.digest.IsKnown(); });
    return found == entries.end() ? Algorithm::Md5 : found->digest.Method();
}

// On a terminal one line is updated in place; elsewhere every change is a line.
std::string ShowRun(const std::string& path) {
    Progress progress(true);
    const bool live = progress.IsOnTerminal() && isatty(STDOUT_FILENO) == 1;
    return WatchRun(path, [&](const std::string& line) {
        if (live)
            progress.Show(line);
        else
            Print(line + "\n", "the counters");
    });
}

} // namespace

Options OptionsOf(const Examples::CommandLine& line) {
    Options options;
    options.measuring.detail = line.Has("brief") ? Detail::Compared : Detail::All;
    options.quiet = line.Has("quiet");
    options.extras = {line.Has("targets"), line.Has("modes"), line.Has("owners")};
    for (const auto& [name, value] : line.options) {
        if (name == "digest")
            options.measuring.algorithm = ParseDigest(value);
        else if (name == "jobs")
            options.measuring.workers = ParseJobs(value);
        else if (name == "exclude")
            options.excludes.push_back(value);
    }
    return options;
}

bool Create(const Options& options, const Operands& operands) {
    const std::string path = operands[0] == Examples::Standard ? "/dev/stdout" : operands[0];
    NoteInterrupts();
    Publisher publisher(path);
    Document document;
    document.paths.assign(operands.begin() + 1, operands.end());
    document.excludes = options.excludes;
    document.extras = options.extras;
    document.detail = options.measuring.detail;
    document.entries = FindEntries({document.paths, path, document.excludes, document.extras,
                                    document.detail, ThrowIfInterrupted});
    Measure(document.entries, options, publisher);
    const bool complete = ReportFailures(document.entries);
    ThrowIfInterrupted();
    SaveManifest(path, document);
    publisher.Finish();
    return complete;
}

bool Show(const Options& /*options*/, const Operands& operands) {
    Print(FormatTable(LoadManifest(operands[0], Detail::All).entries), "the table");
    return true;
}

bool Verify(const Options& options, const Operands& operands) {
    const std::string& path = operands[0];
    const std::string place = path == Examples::Standard ? "/dev/stdin" : path;
    const Document document = LoadForVerifying(path, place);
    NoteInterrupts();
    Publisher publisher(place);
    std::vector<Entry> entries =
        FindEntries({document.paths, place, document.excludes, document.extras, Detail::Compared,
                     ThrowIfInterrupted});
    Options chosen = options;
    chosen.measuring.algorithm = AlgorithmOf(document.entries);
    chosen.measuring.detail = Detail::Compared;
    Measure(entries, chosen, publisher);
    publisher.Finish();
    const Comparison comparison = Compare(document.entries, entries, document.extras);
    ThrowIfInterrupted();
    for (const Finding& finding : comparison.findings)
        if (finding.verdict == Verdict::Unread && !finding.detail.empty())
            Complain(finding.name, finding.detail);
    const std::string summary = options.quiet ? "" : FormatSummary(comparison);
    Print(FormatFindings(comparison, Colours(ColoursAreWanted())) + summary, "the result");
    return comparison.AllAsRecorded();
}

bool Export(const Options& /*options*/, const Operands& operands) {
    const Document document = LoadManifest(operands[0], Detail::Compared);
    RequireDigests(document);
    std::string lines;
    for (const Entry& entry : document.entries)
        if (entry.digest.IsKnown())
            lines += FormatForSum(entry);
    Print(lines, "the digests");
    return ReportFailures(document.entries);
}

bool Watch(const Options& /*options*/, const Operands& operands) {
    Print(ShowRun(operands[0]) + "\n", "the counters");
    return true;
}

void Complain(const std::string& text) { std::fprintf(stderr, "manifest: %s\n", text.c_str()); }

void Complain(const std::string& name, const std::string& reason) {
    Complain(Examples::ForDisplay(name) + ": " + reason);
}

} // namespace Manifest
