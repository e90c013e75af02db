// SPDX-License-Identifier: MIT
// The command pattern: Command and MacroCommand.

#include <Bases/Utility.h>

namespace Vorn {

Command::Command() = default;

Command::~Command() = default;

MacroCommand::MacroCommand() = default;

MacroCommand::~MacroCommand() {
    for (Command* command : m_commands)
        delete command;
    m_commands.clear();
}

void MacroCommand::Add(Command* command) { m_commands.push_back(command); }

void MacroCommand::Execute() {
    for (Command* command : m_commands) {
        if (command != nullptr)
            command->Execute();
    }
}

} // namespace Vorn
