// CSV files as notebooks with one table (RFC 4180, UTF-8, with a header row).
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "notebook/files/csv_parser.h"
#include "notebook/files/notebook_file.h"

namespace ktnotebook {

// What is asked for a column by its name.
using ColumnSettings = std::vector<std::pair<std::u16string, std::u16string>>;

struct CsvOptions {
  // Formulas in the order of their columns; a name that the file does not have is a new column.
  ColumnSettings formulas;
  // Number patterns of formula columns.
  ColumnSettings formats;
  ColumnSettings units;
  // Data types by their names.
  ColumnSettings types;
  // Formulas by the names that other formulas call them.
  ColumnSettings definitions{};
  CsvDelimiter delimiter{};
  // Of the file's numbers. Those of its notebook, formulas included, are of the locale "C".
  ktformula::Locale locale{};
};

// The text as a form and a table of this name. A column's type is found from its values: number
// when more than half of its texts are, Boolean or date when all are, else string; the header
// "Mass (g)" of a column of numbers is the column Mass in g. Texts of a column of numbers that are
// none are cells without a number; the notebook's notes tell of them, and of columns that look like
// numbers written otherwise. Rows are numbered from 1. New formula columns stand on the right; a
// formula for a column of the file fills its empty cells. Throws NotebookError with "SOURCE: ...",
// and the line where it is one's fault, for text that is no such CSV and for options that do not
// fit.
Notebook ReadCsvNotebook(std::string utf8, const std::string& source, std::u16string_view name,
                         const CsvOptions& options);

struct CsvStyle {
  char delimiter = ',';
  // Puts an apostrophe in front of texts that a spreadsheet would take for formulas: those that
  // begin with "=", "+", "-", "@", a tab or a carriage return and are no numbers.
  bool is_spreadsheet_safe = false;
  // Whose separators numbers have.
  ktformula::Locale locale{};
};

// The table as CSV text with CRLF line ends. A column of a unit names it in its header; numbers in
// that unit stand without it, others with theirs, so that all read back as they are.
std::string WriteCsv(const NotebookTable& table, const CsvStyle& style = {});

}  // namespace ktnotebook
