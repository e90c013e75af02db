// SPDX-License-Identifier: MIT
#include <Bases/Utility.h>
#include <cstdio>
#include <stdexcept>
#include <string>

using namespace Vorn;

// Reads the identifier with which a text from outside begins; what follows it is ignored. Returns
// false where there is none: FromString throws for some of these texts.
static bool Parse(const std::string& text, Guid& id) {
    try {
        return id.FromString(text);
    } catch (const std::runtime_error&) {
        return false;
    }
}

// Prints the identifier that is given, or a new one.
int main(int argc, char** argv) {
    Guid id;
    if (argc == 1 && !id.Generate())
        return 1; // the system gave no random bytes
    if (argc == 2 && !Parse(argv[1], id)) {
        std::puts("no identifier");
        return 1;
    }
    std::puts(id.ToString(GuidForm::Full).c_str());
}
