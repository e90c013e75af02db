// SPDX-License-Identifier: MIT
// Creates, shows and verifies XML inventories of files and directories; see "manifest help".

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include <unistd.h>

#include "FileName.h"
#include "Inventory.h"
#include "ManifestFile.h"
#include "Progress.h"
#include "Publisher.h"
#include "Setup.h"
#include "Table.h"
#include "Verify.h"
#include "Walk.h"
#include "Watch.h"

namespace {

using Arguments = std::vector<std::string>;

enum ExitStatus { Success = 0, Failure = 1, WrongUsage = 2 };

void Complain(const std::string& text) { std::fprintf(stderr, "manifest: %s\n", text.c_str()); }

void Complain(const std::string& name, const std::string& reason) {
    Complain(Examples::ForDisplay(name) + ": " + reason);
}

// The progress line is cleared before anything else is printed.
void Measure(std::vector<Manifest::Entry>& entries, Manifest::Publisher& publisher) {
    Manifest::Progress progress;
    publisher.Show(Manifest::MeasureFiles(entries, [&](const Manifest::Advance& advance) {
        progress.Show(advance);
        publisher.Show(advance);
    }));
}

void Print(const std::string& text, const char* what) {
    if (std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0)
        throw std::runtime_error(std::string(what) + " could not be printed");
}

ExitStatus Create(const Arguments& arguments) {
    const std::string& path = arguments[0];
    Manifest::Publisher publisher(path);
    Manifest::Document document;
    document.paths.assign(arguments.begin() + 1, arguments.end());
    document.entries = Manifest::FindEntries(document.paths, path);
    Measure(document.entries, publisher);
    ExitStatus status = Success;
    for (const Manifest::Entry& entry : document.entries) {
        if (entry.failure.empty())
            continue;
        Complain(entry.name, entry.failure);
        status = Failure;
    }
    Manifest::SaveManifest(path, document);
    publisher.Finish();
    return status;
}

ExitStatus Show(const Arguments& arguments) {
    Print(Manifest::FormatTable(Manifest::LoadManifest(arguments[0]).entries), "the table");
    return Success;
}

ExitStatus Verify(const Arguments& arguments) {
    const std::string& path = arguments[0];
    const Manifest::Document document = Manifest::LoadForVerifying(path);
    Manifest::Publisher publisher(path);
    std::vector<Manifest::Entry> entries = Manifest::FindEntries(document.paths, path);
    Measure(entries, publisher);
    publisher.Finish();
    const std::vector<Manifest::Finding> findings = Manifest::Compare(document.entries, entries);
    for (const Manifest::Finding& finding : findings)
        if (finding.verdict == Manifest::Verdict::Unread && !finding.detail.empty())
            Complain(finding.name, finding.detail);
    Print(Manifest::FormatFindings(findings), "the result");
    return Manifest::AllAsRecorded(findings) ? Success : Failure;
}

// On a terminal one line is updated in place; elsewhere every change is a line.
std::string ShowRun(const std::string& path) {
    Manifest::Progress progress;
    const bool live = progress.IsOnTerminal() && isatty(STDOUT_FILENO) == 1;
    return Manifest::WatchRun(path, [&](const std::string& line) {
        if (live)
            progress.Show(line);
        else
            Print(line + "\n", "the counters");
    });
}

ExitStatus Watch(const Arguments& arguments) {
    Print(ShowRun(arguments[0]) + "\n", "the counters");
    return Success;
}

/// A command. Its failures are reported under its first argument.
struct Command {
    const char* name;
    std::size_t leastArguments;
    std::size_t mostArguments;
    ExitStatus (*run)(const Arguments&);
    const char* usage;
};

constexpr std::size_t NoLimit = static_cast<std::size_t>(-1);

constexpr std::array Commands{
    Command{"create", 2, NoLimit, Create,
            "  create OUT.xml PATH...\n"
            "      Records the files at the paths, and everything in the directories, in\n"
            "      OUT.xml. What cannot be read is reported and recorded as a failure; OUT.xml\n"
            "      is replaced all the same, and the exit status is 1. If several runs create\n"
            "      one OUT.xml, the one that ends last wins; the one that began last can be\n"
            "      watched. With /dev/stdout as OUT.xml, the manifest goes to standard output.\n"},
    Command{"show", 1, 1, Show,
            "  show OUT.xml\n"
            "      Prints the manifest as a table.\n"},
    Command{"verify", 1, 1, Verify,
            "  verify OUT.xml\n"
            "      Examines the paths of OUT.xml again and prints what is missing, changed or\n"
            "      new, sorted by name, and a summary. Run it in the locale that create ran in,\n"
            "      and in the same directory if the paths are relative. OUT.xml itself is left\n"
            "      out.\n"
            "      Changed means another kind, or other bytes, lines or MD5; times, identifiers\n"
            "      and the targets of links do not count. What fails again for the same reason\n"
            "      is no difference. Anything else that cannot be read is reported and counted\n"
            "      as unread, and so is everything below a directory that cannot be read. The\n"
            "      exit status is 0 only if nothing is missing, changed, new or unread. MD5\n"
            "      detects damage, but not forgery.\n"},
    Command{"watch", 1, 1, Watch,
            "  watch OUT.xml\n"
            "      Shows the progress of a run on OUT.xml in another terminal until it\n"
            "      finishes. It must be a run of the same user, with the privilege to write\n"
            "      shared memory, which the superuser has.\n"},
};

std::string Usage() {
    std::string text = "usage: manifest COMMAND [ARGUMENT...]\n\n";
    for (const Command& command : Commands)
        text += command.usage;
    return text +
           "  help, --help, -h\n"
           "      Prints this text.\n\n"
           "exit status: 0 on success; 1 after a failure, with a message on standard error;\n"
           "2 for wrong arguments\n";
}

bool AsksForHelp(const Arguments& arguments) {
    return arguments.size() == 1 &&
           (arguments[0] == "help" || arguments[0] == "--help" || arguments[0] == "-h");
}

ExitStatus Help() {
    try {
        Print(Usage(), "the help");
        return Success;
    } catch (const std::runtime_error& error) {
        Complain(error.what());
        return Failure;
    }
}

// Returns null when there is no such command.
const Command* FindCommand(const std::string& name) {
    const auto* const found =
        std::find_if(Commands.begin(), Commands.end(),
                     [&name](const Command& command) { return name == command.name; });
    return found == Commands.end() ? nullptr : found;
}

// Returns what is wrong with the arguments; an empty text for valid ones.
std::string FindFault(const Arguments& arguments) {
    if (arguments.empty())
        return "a command is missing";
    const Command* const command = FindCommand(arguments[0]);
    if (command == nullptr && arguments[0] == "help")
        return "help takes no arguments";
    if (command == nullptr)
        return "there is no command " + Examples::ForDisplay(arguments[0]);
    if (arguments.size() - 1 < command->leastArguments)
        return std::string(command->name) + " needs more arguments";
    if (arguments.size() - 1 > command->mostArguments)
        return std::string(command->name) + " takes fewer arguments";
    return "";
}

ExitStatus Run(const Command& command, const Arguments& arguments) {
    try {
        return command.run(arguments);
    } catch (const std::exception& error) {
        Complain(arguments[0], error.what());
        return Failure;
    }
}

} // namespace

int main(int argc, char** argv) {
    const Arguments arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
    if (AsksForHelp(arguments))
        return Help();
    const std::string fault = FindFault(arguments);
    if (!fault.empty()) {
        Complain(fault);
        std::fputs("see manifest help\n", stderr);
        return WrongUsage;
    }
    try {
        const Examples::Setup setup;
        return Run(*FindCommand(arguments[0]), {arguments.begin() + 1, arguments.end()});
    } catch (const std::runtime_error&) { // the standard library's, from BasesInit
        Complain(
            "the environment asks for a locale that this machine does not have; LC_ALL=C will do");
        return Failure;
    }
}
