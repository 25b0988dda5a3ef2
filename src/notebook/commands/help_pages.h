// The help on commands, for the terminal and as a manual page; both are made of what the commands
// register.
#pragma once

#include <string>

#include "notebook/commands/command_set.h"

namespace ktnotebook {

// The help on the program, and on one command with its examples. Lines have 80 characters at most.
std::string ProgramHelpText(const CommandSet& commands);
std::string CommandHelpText(const CommandSet::Command& command);

// The manual page of the program, in the man macros of roff.
std::string ManualPage(const CommandSet& commands);

// A script that lets bash complete commands, options, files, functions and forms of a database.
std::string BashCompletion(const CommandSet& commands);

}  // namespace ktnotebook
