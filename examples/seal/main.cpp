// Enciphers a file as text, and back; "seal help" tells more.

#include <array>
#include <cstdio>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "Armour.h"
#include "FileName.h"
#include "Files.h"
#include "Seal.h"
#include "Setup.h"

namespace {

using Arguments = std::vector<std::string>;

enum ExitStatus { Success = 0, Failure = 1, WrongUsage = 2 };

const char* const Usage = "usage: seal encipher KEYFILE IN OUT | seal decipher KEYFILE IN OUT | "
                          "seal help\n";

const char* const Help = R"(
encipher seals the file IN: it enciphers the bytes with SEED and writes them to OUT as text.
decipher makes OUT the file that was sealed, from the sealed file IN.
help, --help and -h print this text.

Seal serves data that exists; do not choose it for a new design that is to be secure. SEED works
here block by block: equal blocks of 16 bytes stay visibly equal, and so do equal files. MD5 is
broken. A damaged file and a wrong key are noticed, a change that somebody makes on purpose may
not be. The length of the file can be read by all.

KEYFILE holds the 16 bytes of the key and nothing else. To make one:

    (umask 077 && head -c 16 /dev/urandom >key)

IN has at most 1073741824 bytes (1 GiB), and about five times its size is used in memory. OUT is
replaced in one step when all went well, and otherwise left alone; it may be IN, but not KEYFILE.
A new OUT can be read and written by its owner only; one that is replaced keeps its permissions.
/dev/stdout as OUT stands for standard output, whatever that is.

A sealed file has these lines:

    Sealed file, version 1
    Length: 20                  the bytes of the file that was sealed
    ORAy+NLL...                 in Base64, in lines of 64 characters, what SEED made of
                                the file's MD5 digest, the file, and zeros up to a full block
    End of sealed file

Its lines may end as on other systems, and the Base64 text may be broken in other places.

exit status: 0 when all went well; 1 when something failed, which standard error tells; 2 for
arguments that make no sense
)";

void Complain(const char* text) { std::fprintf(stderr, "seal: %s\n", text); }

bool AsksForHelp(const Arguments& arguments) {
    return arguments.size() == 1 &&
           (arguments[0] == "help" || arguments[0] == "--help" || arguments[0] == "-h");
}

ExitStatus PrintHelp() {
    if (std::fputs(Usage, stdout) >= 0 && std::fputs(Help, stdout) >= 0 && std::fflush(stdout) == 0)
        return Success;
    Complain("the help could not be printed");
    return Failure;
}

/// What there is to do: the bytes of a file of at most `most` bytes become those of another.
struct Command {
    const char* name;
    unsigned long long most;
    std::string (*transform)(const std::string& bytes, const std::string& key);
};

constexpr std::array Commands{
    Command{"encipher", Seal::MostLength, Seal::Encipher},
    Command{"decipher", Seal::MostTextSize, Seal::Decipher},
};

// Returns null for arguments that make no sense.
const Command* FindCommand(const Arguments& arguments) {
    for (const Command& command : Commands)
        if (arguments.size() == 4 && arguments[0] == command.name)
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
    const std::string& outName = arguments[3];
    try {
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

} // namespace

int main(int argc, char** argv) {
    const Arguments arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
    if (AsksForHelp(arguments))
        return PrintHelp();
    const Command* const command = FindCommand(arguments);
    if (command == nullptr) {
        std::fputs(Usage, stderr);
        return WrongUsage;
    }
    try {
        const Examples::Setup setup;
        return Run(*command, arguments);
    } catch (const std::runtime_error&) { // BasesInit lets through what the standard library says
        Complain(
            "the environment asks for a locale that this machine does not have; LC_ALL=C will do");
        return Failure;
    }
}
