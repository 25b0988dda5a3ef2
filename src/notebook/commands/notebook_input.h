// What commands and the page take a notebook from: a notebook file, a CSV file, or the standard
// input.
#pragma once

#include <string>
#include <vector>

#include "notebook/files/notebook_file.h"

namespace CLI {
class App;
}

namespace ktnotebook {

// What is asked for a CSV file, as it was typed.
struct CsvArguments {
  // Each "NAME=VALUE": formula columns, what formulas call by names, and how columns are shown and
  // typed.
  std::vector<std::string> formulas;
  std::vector<std::string> definitions;
  std::vector<std::string> formats;
  std::vector<std::string> units;
  std::vector<std::string> types;
  // One character, or "\t" in two; "" for what goes with the file's name.
  std::string delimiter;
};

// Lets the command take them.
void AddCsvOptions(CLI::App* command, CsvArguments& arguments);

// Whether the name is one of a CSV file: ".csv", or ".tsv" for one with tabs.
bool IsCsvName(const std::string& path);

// Refuses the name of a CSV file, where only a notebook will do.
void RequireNotebookName(const std::string& path);

// What stands between the fields of such a file.
char DelimiterOf(const std::string& path, const CsvArguments& arguments);

// How messages call the file.
std::string InputName(const std::string& file);

// Reads a file; "-" is the standard input, a notebook when it begins with "<". `writes_csv` tells
// that the delimiter may be meant for what is written; the locale is that of a CSV file's numbers.
// Throws NotebookError.
Notebook ReadInput(const std::string& file, const CsvArguments& arguments, bool writes_csv,
                   const ktformula::Locale& locale);

// The same for what was read already, from a file of this name: CSV when the name says so or the
// bytes do not begin like a notebook.
Notebook ReadInputText(std::string bytes, const std::string& name, const CsvArguments& arguments,
                       const ktformula::Locale& locale);

// Why the text is nothing to part fields with; "" when it is.
std::string CheckDelimiter(const std::string& delimiter);

}  // namespace ktnotebook
