// The commands about notebooks that are kept in a database.
#pragma once

#include <optional>
#include <string>

#include "notebook/commands/console.h"

namespace ktnotebook {

struct StoreOptions {
  std::string database = "notebook.db";
  // A notebook file, a form's name or an address, whatever the command takes.
  std::string target;
  // What it is set to; empty when it is only asked for.
  std::optional<std::string> value;
  std::optional<std::string> format;
  std::string output;
  // Of the list: forms alone whose results are not known to be current.
  bool is_outdated = false;
  bool json = false;
};

// All give the exit status and throw NotebookError for input that is refused.
int Import(const StoreOptions& options, Console& console);
int Export(const StoreOptions& options, Console& console);
int List(const StoreOptions& options, Console& console);
int Show(const StoreOptions& options, Console& console);
int SetCell(const StoreOptions& options, Console& console);
int EditFormula(const StoreOptions& options, Console& console);
int EditDefinition(const StoreOptions& options, Console& console);

}  // namespace ktnotebook
