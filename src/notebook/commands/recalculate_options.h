// The command recalculate.
#pragma once

#include <optional>
#include <string>

#include "notebook/commands/console.h"
#include "notebook/commands/notebook_input.h"

namespace ktnotebook {

struct RecalculateOptions {
  std::string file;
  // All forms of this database instead of a file.
  std::optional<std::string> database;
  std::string output;
  bool json = false;
  bool strict = false;
  // Nothing for the form's own limit.
  std::optional<int> rounds;
  CsvArguments csv;
  // Of CSV files that are written.
  bool is_spreadsheet_safe = false;
};

// Recalculates the forms of the database whose results are not known to be current, together with
// whoever else does. A form that can not be is told, and makes the exit status kExitFailed.
int RecalculateStored(const RecalculateOptions& options, Console& console);

// Gives the exit status. Throws NotebookError for input that is refused.
int Recalculate(const RecalculateOptions& options, Console& console);

}  // namespace ktnotebook
