// The command check.
#pragma once

#include <optional>
#include <string>

#include "notebook/commands/console.h"
#include "notebook/commands/recalculate_options.h"

namespace ktnotebook {

struct CheckOptions {
  // What is checked, and how it is read: a file, or a form's name where a database is given.
  RecalculateOptions input;
  std::optional<std::string> database;
};

// Gives the exit status. Throws NotebookError for input that is refused.
int Check(const CheckOptions& options, Console& console);

}  // namespace ktnotebook
