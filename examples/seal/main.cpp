// SPDX-License-Identifier: MIT
// Encrypts a file as text, and back; see "seal help".

#include <array>
#include <cstdio>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>

#include "Armour.h"
#include "CommandLine.h"
#include "FileName.h"
#include "Files.h"
#include "Print.h"
#include "ReadFile.h"
#include "Seal.h"
#include "Setup.h"

namespace {

using Examples::Arguments;
using Examples::CommandLine;
using Examples::OptionForm;
using Examples::UsageError;

enum ExitStatus { Success = 0, Failure = 1, WrongUsage = 2 };

const char* const Usage = "usage: seal encipher KEYFILE IN OUT | seal decipher KEYFILE IN OUT | "
                          "seal help\n";

const char* const Help = R"(
encipher seals the file IN: it encrypts the bytes with SEED and writes them to OUT as text.
decipher writes to OUT the file that was sealed in IN.
help, --help and -h print this text, --version prints the version. After -- nothing is an option.

Seal is for existing data; do not choose it for a new design that has to be secure. SEED works
block by block here: equal blocks of 16 bytes stay visibly equal, and so do equal files. MD5 is
broken: it detects damage and a wrong key, but not every deliberate change. The length of the
file is not secret.

KEYFILE holds the 16 bytes of the key and nothing else. To make one:

    (umask 077 && head -c 16 /dev/urandom >key)

IN has at most 1073741824 bytes (1 GiB); about five times its size is used in memory. OUT is
replaced in one step on success, and otherwise left alone; it may be IN, but not KEYFILE. A new
OUT is for its owner only; an existing one keeps its permissions. With - as IN or OUT, standard
input or standard output is meant.

A sealed file has these lines:

    Sealed file, version 1
    Length: 20                  the size of the original file in bytes
    ORAy+NLL...                 Base64 in lines of 64 characters: the encrypted MD5 digest of
                                the file, the file, and zeros up to a full block
    End of sealed file

Lines may end in CR LF, and the Base64 text may be wrapped differently.

exit status: 0 on success; 1 after a failure, with a message on standard error; 2 for wrong
arguments
)";

void Complain(const char* text) { std::fprintf(stderr, "seal: %s\n", text); }

constexpr OptionForm HelpForm{"help", 'h', false};
constexpr OptionForm VersionForm{"version", '\0', false};

ExitStatus PrintHelp(const std::string& text) {
    try {
        Examples::Print(text, "the help");
        return Success;
    } catch (const std::runtime_error& error) {
        Complain(error.what());
        return Failure;
    }
}

/// A command: it turns the bytes of a file, at most `most`, into those of another.
struct Command {
    const char* name;
    unsigned long long most;
    std::string (*transform)(const std::string& bytes, const std::string& key);
};

constexpr std::array Commands{
    Command{"encipher", Seal::MostLength, Seal::Encipher},
    Command{"decipher", Seal::MostTextSize, Seal::Decipher},
};

// Returns null for wrong arguments.
const Command* FindCommand(const Arguments& operands) {
    for (const Command& command : Commands)
        if (operands.size() == 4 && operands[0] == command.name)
            return &command;
    return nullptr;
}

std::string Transform(const Command& command, const std::string& name, const std::string& key) {
    const std::string bytes = Seal::ReadWhole(name, command.most);
    try {
        return command.transform(bytes, key);
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(Examples::ForDisplay(name) + ": " + error.what());
    }
}

ExitStatus Run(const Command& command, const Arguments& arguments) {
    const std::string& keyName = arguments[1];
    const std::string outName = arguments[3] == Examples::Standard ? "/dev/stdout" : arguments[3];
    try {
        if (keyName == Examples::Standard && arguments[2] == Examples::Standard)
            throw std::runtime_error("KEYFILE and IN cannot both be standard input");
        Seal::KeepApart(keyName, outName);
        const std::string key = Seal::ReadKey(keyName);
        Seal::WriteWhole(outName, Transform(command, arguments[2], key));
        return Success;
    } catch (const std::bad_alloc&) {
        Complain("not enough memory");
    } catch (const std::exception& error) {
        Complain(error.what());
    }
    return Failure;
}

ExitStatus RunSetUp(const Command& command, const Arguments& operands) {
    try {
        const Examples::Setup setup;
        return Run(command, operands);
    } catch (const std::runtime_error& error) {
        Complain(error.what());
        return Failure;
    }
}

// Throws UsageError for wrong arguments.
ExitStatus RunAny(const Arguments& arguments) {
    const CommandLine line(arguments, {HelpForm, VersionForm});
    const Arguments& operands = line.operands;
    if (line.Has(HelpForm.name) || (operands.size() == 1 && operands[0] == "help"))
        return PrintHelp(std::string(Usage) + Help);
    if (line.Has(VersionForm.name))
        return PrintHelp(Examples::VersionLine("seal"));
    const Command* const command = FindCommand(operands);
    if (command == nullptr)
        throw UsageError("wrong arguments");
    return RunSetUp(*command, operands);
}

} // namespace

int main(int argc, char** argv) {
    try {
        return RunAny({argv + (argc > 0 ? 1 : 0), argv + argc});
    } catch (const UsageError&) {
        std::fputs(Usage, stderr);
        return WrongUsage;
    }
}
