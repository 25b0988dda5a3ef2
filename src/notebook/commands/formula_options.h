// The commands about formulas: eval, tokens, tree, functions.
#pragma once

#include <string>
#include <vector>

#include "notebook/commands/console.h"

namespace ktnotebook {

struct EvaluateOptions {
  std::vector<std::string> formulas;
  std::string file;
  std::string cell;
  bool json = false;
};

struct FormulaOptions {
  std::string formula;
  bool json = false;
};

struct FunctionOptions {
  // "" for all functions.
  std::string name;
  bool json = false;
};

// All give the exit status and throw NotebookError for input that is refused.
int Evaluate(const EvaluateOptions& options, Console& console);
int ShowTokens(const FormulaOptions& options, Console& console);
int ShowTree(const FormulaOptions& options, Console& console);

int ShowFunctions(const FunctionOptions& options, Console& console);

}  // namespace ktnotebook
