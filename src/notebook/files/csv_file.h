// CSV files as notebooks with one table (RFC 4180, UTF-8, with a header row).
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

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
  // Of the file's numbers. Those of its notebook, formulas included, are of the locale "C".
  ktformula::Locale locale = {};
};

// The text as a form and a table of this name. A column's type is found from its values: number,
// Boolean or date when all its texts are, else string; the header "Mass (g)" of a column of numbers
// is the column Mass in g. Rows are numbered from 1. New formula columns stand on the right; a
// formula for a column of the file fills its empty cells. Throws NotebookError with "SOURCE: ..."
// for text that is no such CSV and for options that do not fit.
Notebook ReadCsvNotebook(std::string utf8, const std::string& source, std::u16string_view name,
                         const CsvOptions& options);

// The table as CSV text with CRLF line ends. Numbers in a column's own unit stand without it, and
// all have the separators of the locale.
std::string WriteCsv(const NotebookTable& table, const ktformula::Locale& locale = {});

}  // namespace ktnotebook
