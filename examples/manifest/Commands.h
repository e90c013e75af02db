// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_EXAMPLES_MANIFEST_COMMANDS_H
#define VORN_BASES_EXAMPLES_MANIFEST_COMMANDS_H

#include <string>
#include <vector>

#include "CommandLine.h"
#include "Inventory.h"

namespace Manifest {

/// What the options say.
struct Options {
    Measuring measuring;
    Extras extras;
    std::vector<std::string> excludes;
    bool quiet = false;
};

/// Throws Examples::UsageError for values that make no sense.
Options OptionsOf(const Examples::CommandLine& line);

using Operands = std::vector<std::string>;

// The commands. Each returns true on success; on a failure that is not reported yet it throws
// std::exception, and Interrupted when the user ends it.

bool Create(const Options& options, const Operands& operands);
bool Show(const Options& options, const Operands& operands);
bool Verify(const Options& options, const Operands& operands);
bool Export(const Options& options, const Operands& operands);
bool Watch(const Options& options, const Operands& operands);

/// Print a line on standard error.
void Complain(const std::string& text);
void Complain(const std::string& name, const std::string& reason);

} // namespace Manifest

#endif
