// SPDX-License-Identifier: MIT
// Creates, shows and verifies XML inventories of files and directories; see "manifest help".

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "CommandLine.h"
#include "Commands.h"
#include "FileName.h"
#include "Interrupt.h"
#include "Print.h"
#include "Setup.h"
#include "Usage.h"

namespace {

using Examples::Arguments;
using Examples::CommandLine;
using Examples::OptionForm;
using Examples::UsageError;
using Manifest::Complain;

enum ExitStatus { Success = 0, Failure = 1, WrongUsage = 2 };

constexpr OptionForm HelpForm{"help", 'h', false};
constexpr OptionForm VersionForm{"version", '\0', false};
constexpr OptionForm JobsForm{"jobs", 'j', true};
constexpr OptionForm QuietForm{"quiet", 'q', false};

/// A command. Its failures are reported under its first operand.
struct Command {
    std::string_view name;
    std::size_t leastOperands;
    std::size_t mostOperands;
    bool (*run)(const Manifest::Options&, const Arguments&);
    const char* usage;
    std::vector<OptionForm> options;
};

const std::array<Command, 5>& Commands() {
    constexpr std::size_t NoLimit = static_cast<std::size_t>(-1);
    static const std::array<Command, 5> commands{{
        {"create",
         2,
         NoLimit,
         Manifest::Create,
         Manifest::UsageOfCreate,
         {HelpForm,
          JobsForm,
          QuietForm,
          {"brief", 'b', false},
          {"digest", 'd', true},
          {"exclude", 'x', true},
          {"modes", '\0', false},
          {"owners", '\0', false},
          {"targets", '\0', false}}},
        {"show", 1, 1, Manifest::Show, Manifest::UsageOfShow, {HelpForm}},
        {"verify",
         1,
         1,
         Manifest::Verify,
         Manifest::UsageOfVerify,
         {HelpForm, JobsForm, QuietForm}},
        {"export", 1, 1, Manifest::Export, Manifest::UsageOfExport, {HelpForm}},
        {"watch", 1, 1, Manifest::Watch, Manifest::UsageOfWatch, {HelpForm}},
    }};
    return commands;
}

std::string Usage() {
    std::string text = Manifest::UsageLine;
    for (const Command& command : Commands())
        text += command.usage;
    return text + Manifest::UsageOfRest;
}

// Returns null when there is no such command.
const Command* FindCommand(const std::string& name) {
    const auto found =
        std::find_if(Commands().begin(), Commands().end(),
                     [&name](const Command& command) { return name == command.name; });
    return found == Commands().end() ? nullptr : &*found;
}

void CheckOperands(const Command& command, std::size_t count) {
    if (count < command.leastOperands)
        throw UsageError(std::string(command.name) + " needs more arguments");
    if (count > command.mostOperands)
        throw UsageError(std::string(command.name) + " takes fewer arguments");
}

ExitStatus PrintHelp(const std::string& text) {
    try {
        Examples::Print(text, "the help");
        return Success;
    } catch (const std::runtime_error& error) {
        Complain(error.what());
        return Failure;
    }
}

// The user's signal ends the process when the command has tidied up, even if it came while the
// result was written.
ExitStatus Run(const Command& command, const Manifest::Options& options,
               const Arguments& operands) {
    try {
        const bool succeeded = command.run(options, operands);
        Manifest::ThrowIfInterrupted();
        return succeeded ? Success : Failure;
    } catch (const Manifest::Interrupted& interrupted) {
        Complain(operands[0], "interrupted");
        Manifest::EndBy(interrupted);
    } catch (const std::exception& error) {
        Complain(operands[0], error.what());
    }
    return Failure;
}

ExitStatus RunCommand(const Command& command, const Arguments& arguments) {
    const CommandLine line(arguments, command.options);
    if (line.Has(HelpForm.name))
        return PrintHelp(std::string(Manifest::UsageLine) + command.usage);
    CheckOperands(command, line.operands.size());
    const Manifest::Options options = Manifest::OptionsOf(line);
    try {
        const Examples::Setup setup;
        return Run(command, options, line.operands);
    } catch (const std::runtime_error& error) {
        Complain(error.what());
        return Failure;
    }
}

// What stands in the place of a command.
ExitStatus RunOther(const Arguments& arguments) {
    if (arguments[0] == "help" && arguments.size() > 1)
        throw UsageError("help takes no arguments");
    if (arguments[0] == "help")
        return PrintHelp(Usage());
    const CommandLine line(arguments, {HelpForm, VersionForm});
    if (line.Has(HelpForm.name))
        return PrintHelp(Usage());
    if (line.Has(VersionForm.name))
        return PrintHelp(Examples::VersionLine("manifest"));
    throw UsageError("there is no command " + Examples::ForDisplay(arguments[0]));
}

ExitStatus RunAny(const Arguments& arguments) {
    if (arguments.empty())
        throw UsageError("a command is missing");
    const Command* const command = FindCommand(arguments[0]);
    return command == nullptr ? RunOther(arguments)
                              : RunCommand(*command, {arguments.begin() + 1, arguments.end()});
}

} // namespace

int main(int argc, char** argv) {
    try {
        return RunAny({argv + (argc > 0 ? 1 : 0), argv + argc});
    } catch (const UsageError& error) {
        Complain(error.what());
        std::fputs("see manifest help\n", stderr);
        return WrongUsage;
    }
}
