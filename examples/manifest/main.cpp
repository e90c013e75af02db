// manifest create OUT.xml PATH...   makes an XML inventory of files and of all in directories
// manifest show OUT.xml             prints it as a table
//
// The exit status is 0 when all went well, 1 when something failed, which standard error then
// tells, and 2 for arguments that make no sense.

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "FileName.h"
#include "Inventory.h"
#include "ManifestFile.h"
#include "Progress.h"
#include "Setup.h"
#include "Table.h"
#include "Walk.h"

namespace {

using Arguments = std::vector<std::string>;

enum ExitStatus { Success = 0, Failure = 1, WrongUsage = 2 };

void Complain(const std::string& text) { std::fprintf(stderr, "manifest: %s\n", text.c_str()); }

void Complain(const std::string& name, const std::string& reason) {
    Complain(Examples::ForDisplay(name) + ": " + reason);
}

// The progress line is gone before anything else is said.
void Measure(std::vector<Manifest::Entry>& entries) {
    Manifest::Progress progress;
    Manifest::MeasureFiles(
        entries, [&progress](const Manifest::Advance& advance) { progress.Show(advance); });
}

ExitStatus Create(const std::string& path, const Arguments& paths) {
    std::vector<Manifest::Entry> entries = Manifest::FindEntries(paths, path);
    Measure(entries);
    ExitStatus status = Success;
    for (const Manifest::Entry& entry : entries) {
        if (entry.failure.empty())
            continue;
        Complain(entry.name, entry.failure);
        status = Failure;
    }
    Manifest::SaveManifest(path, entries);
    return status;
}

ExitStatus Show(const std::string& path) {
    const std::string table = Manifest::FormatTable(Manifest::LoadManifest(path));
    if (std::fputs(table.c_str(), stdout) < 0 || std::fflush(stdout) != 0)
        throw std::runtime_error("the table could not be printed");
    return Success;
}

bool MakeSense(const Arguments& arguments) {
    return (arguments.size() >= 3 && arguments[0] == "create") ||
           (arguments.size() == 2 && arguments[0] == "show");
}

ExitStatus Run(const Arguments& arguments) {
    const std::string& path = arguments[1];
    try {
        return arguments[0] == "create" ? Create(path, {arguments.begin() + 2, arguments.end()})
                                        : Show(path);
    } catch (const std::exception& error) {
        Complain(path, error.what());
        return Failure;
    }
}

} // namespace

int main(int argc, char** argv) {
    const Arguments arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
    if (!MakeSense(arguments)) {
        std::fputs("usage: manifest create OUT.xml PATH... | manifest show OUT.xml\n", stderr);
        return WrongUsage;
    }
    try {
        const Examples::Setup setup;
        return Run(arguments);
    } catch (const std::runtime_error&) { // BasesInit lets through what the standard library says
        Complain(
            "the environment asks for a locale that this machine does not have; LC_ALL=C will do");
        return Failure;
    }
}
