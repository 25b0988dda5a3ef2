// The commands that make and change forms, tables, columns and rows.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "notebook/commands/console.h"

namespace ktnotebook {

struct StructureOptions {
  // The notebook file; "" for the database.
  std::string file;
  std::string database = "notebook.db";
  std::string target;
  // What it is called from now on.
  std::string name;
  // The place among the siblings: in front of or behind one, or counted from 1.
  std::optional<std::string> before;
  std::optional<std::string> after;
  std::optional<int> at;
  // Of a new column.
  std::optional<std::string> type;
  std::optional<std::string> unit;
  bool number_formatting = false;
  // Of a new row, each "NAME=VALUE".
  std::vector<std::string> tags;
  bool force = false;
  bool json = false;

  bool HasPlace() const noexcept { return before || after || at; }
};

// All give the exit status and throw NotebookError for what is refused; then nothing has changed.
int NewForm(const StructureOptions& options, Console& console);
int AddPart(const StructureOptions& options, Console& console);
int RenamePart(const StructureOptions& options, Console& console);
int MovePart(const StructureOptions& options, Console& console);
int RemovePart(const StructureOptions& options, Console& console);

}  // namespace ktnotebook
