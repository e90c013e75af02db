// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_COMMON_COMMAND_LINE_H
#define VORN_BASES_EXAMPLES_COMMON_COMMAND_LINE_H

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Examples {

using Arguments = std::vector<std::string>;

/// An option that a program knows: "--name", "-l", or with a value "--name VALUE", "--name=VALUE",
/// "-l VALUE", "-lVALUE".
struct OptionForm {
    std::string_view name;
    char letter; // '\0' for none
    bool takesValue;
};

/// An option as it was given; the name is that of its form.
struct Option {
    std::string_view name;
    std::string value;
};

/// What is wrong with the arguments.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The arguments of a program. Options may stand anywhere before "--"; letters may share a hyphen;
/// "-" is an operand.
struct CommandLine {
    std::vector<Option> options;
    Arguments operands;

    /// Throws UsageError for an option that has no form, and for one that lacks its value or has
    /// one that it does not take.
    CommandLine(const Arguments& arguments, const std::vector<OptionForm>& forms);

    bool Has(std::string_view name) const;
};

/// Returns "PROGRAM (Vorn Bases) VERSION" in a line.
std::string VersionLine(const std::string& program);

} // namespace Examples

#endif
