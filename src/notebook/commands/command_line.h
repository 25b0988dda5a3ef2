// The command line of ktnotebook.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "notebook/commands/console.h"

namespace ktnotebook {

// The program's exit statuses.
enum ExitStatus : int {
  kExitDone = 0,
  // The input was refused or the work failed.
  kExitFailed = 1,
  kExitWrongUsage = 2,
  // With --strict: a cell shows an error.
  kExitErrorsShown = 3,
  // Ctrl-C, as a shell tells it.
  kExitInterrupted = 130,
};

class CommandSet;
// Adds the commands of a family.
using CommandFamily = void (*)(CommandSet&);

// Runs one command; `arguments` are the program's, without its name. Returns the exit status. What
// was done for good is told on `err` when the report about it fails, and the work counts as done.
// `more` are families of commands beside those of this room.
int RunCommandLine(const std::vector<std::string>& arguments, const Console& console,
                   std::span<const CommandFamily> more = {});

}  // namespace ktnotebook
