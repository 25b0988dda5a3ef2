// The command check.
#pragma once

#include <optional>
#include <string>

#include "notebook/commands/console.h"
#include "notebook/commands/notebook_input.h"

namespace ktnotebook {

struct CheckOptions {
  // A file or, where a database is given, a form's name.
  std::string target;
  CsvArguments csv;
  std::optional<std::string> database;
  bool json = false;
  bool strict = false;
};

// Gives the exit status. Throws NotebookError for input that is refused.
int Check(const CheckOptions& options, Console& console);

}  // namespace ktnotebook
