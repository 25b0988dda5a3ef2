// The command that explains: explain.
#pragma once

#include <string>

#include "analysis/explanation.h"

#include "notebook/commands/console.h"
#include "notebook/commands/recalculate_options.h"

namespace ktnotebook {

struct ExplainOptions {
  std::string cell;
  // A file, how it is read, and whether JSON is asked for; without a file, a database.
  RecalculateOptions input;
  std::string database = "notebook.db";
  int depth = ktformula::kDefaultExplanationDepth;
};

// Gives the exit status and throws NotebookError for input that is refused.
int Explain(const ExplainOptions& options, Console& console);

}  // namespace ktnotebook
