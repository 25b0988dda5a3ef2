// The command recalculate.
#pragma once

#include <optional>
#include <string>

#include "notebook/commands/console.h"
#include "notebook/commands/notebook_input.h"

namespace ktnotebook {

struct RecalculateOptions {
  std::string file;
  std::string output;
  bool json = false;
  bool strict = false;
  // Nothing for the form's own limit.
  std::optional<int> rounds;
  CsvArguments csv;
  // Of CSV files that are written.
  bool is_spreadsheet_safe = false;
};

// Gives the exit status. Throws NotebookError for input that is refused.
int Recalculate(const RecalculateOptions& options, Console& console);

}  // namespace ktnotebook
