// What the command line prints for people.
#pragma once

#include <string>
#include <vector>

#include "formula/token_tree.h"
#include "notebook/commands/text_table.h"
#include "notebook/tables/model.h"
#include "values/cell_value.h"

namespace ktnotebook {

// What a cell would show for the value; a number that is a range as "1 .. 2".
std::u16string ValueText(const ktformula::CellValue& value);

// A table with one row for each token: kind and text.
std::string TokensText(const std::vector<ktformula::FormulaToken>& tokens, const TableStyle& style);

// Layers in brackets, strings in quotes, references in angle brackets: [1, +, [2, *, <Mass>]].
std::string TreeText(const ktformula::TokenLayer& layer);

// Whether the cell shows an error.
bool ShowsError(std::u16string_view text);

// What tables show for the cell: its text, and the unit of a number that is written without one:
// the column's where it was typed, the base unit where it was computed; for somebody with the
// locale.
std::u16string ShownText(const NotebookCell& cell, const ktformula::Locale& locale);

// The form's fields, tables laid out in columns.
std::string FormText(const NotebookForm& form, const TableStyle& style);

// "FORM/TABLE:COLUMN:ROW".
std::u16string AddressOf(const NotebookCell& cell);

// The cells of one form in the order in which the form has them, each once.
std::vector<NotebookCell> InFormOrder(const std::vector<NotebookCell>& cells);

// The cells with their addresses.
std::string CellsText(const std::vector<NotebookCell>& cells, const TableStyle& style);

}  // namespace ktnotebook
