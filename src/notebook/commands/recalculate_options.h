// The command recalculate.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "notebook/commands/console.h"

namespace ktnotebook {

struct RecalculateOptions {
  std::string file;
  std::string output;
  bool json = false;
  bool strict = false;
  // Nothing for the form's own limit.
  std::optional<int> rounds;
  // For CSV files, each "NAME=VALUE": formula columns, and how columns are shown and typed.
  std::vector<std::string> formulas;
  std::vector<std::string> formats;
  std::vector<std::string> units;
  std::vector<std::string> types;
};

// Gives the exit status. Throws NotebookError for input that is refused.
int Recalculate(const RecalculateOptions& options, Console& console);

}  // namespace ktnotebook
