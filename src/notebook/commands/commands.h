// What the commands of ktnotebook do. All throw NotebookError for input that is refused.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "notebook/commands/command_line.h"

namespace ktnotebook {

// An argument as text. Throws NotebookError when it is not UTF-8.
std::u16string ArgumentText(const std::string& argument);

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
int Recalculate(const RecalculateOptions& options, Console& console);

// Prints the help on one function, or on all when no name is given.
int ShowFunctions(const std::string& name, Console& console);

struct EvaluateOptions {
  std::vector<std::string> formulas;
  std::string file;
  std::string cell;
  bool json = false;
};
int Evaluate(const EvaluateOptions& options, Console& console);

struct FormulaOptions {
  std::string formula;
  bool json = false;
};
int ShowTokens(const FormulaOptions& options, Console& console);
int ShowTree(const FormulaOptions& options, Console& console);

struct StoreOptions {
  std::string database = "notebook.db";
  // A notebook file, a form's name or an address, whatever the command takes.
  std::string target;
  // What it is set to; empty when it is only asked for.
  std::optional<std::string> value;
  std::optional<std::string> format;
  std::string output;
};
int Import(const StoreOptions& options, Console& console);
int Export(const StoreOptions& options, Console& console);
int List(const StoreOptions& options, Console& console);
int Show(const StoreOptions& options, Console& console);
int SetCell(const StoreOptions& options, Console& console);
int EditFormula(const StoreOptions& options, Console& console);
int EditDefinition(const StoreOptions& options, Console& console);

}  // namespace ktnotebook
