// The command that explains: explain.
#pragma once

#include <string>

#include "analysis/explanation.h"

#include "notebook/commands/console.h"
#include "notebook/commands/notebook_input.h"

namespace ktnotebook {

struct ExplainOptions {
  std::string cell;
  // A file or, without one, a database.
  std::string file;
  CsvArguments csv;
  std::string database = "notebook.db";
  int depth = ktformula::kDefaultExplanationDepth;
  bool json = false;
};

// Gives the exit status and throws NotebookError for input that is refused.
int Explain(const ExplainOptions& options, Console& console);

}  // namespace ktnotebook
