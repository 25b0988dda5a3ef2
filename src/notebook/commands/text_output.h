// What the command line prints for people.
#pragma once

#include <string>
#include <vector>

#include "formula/token_tree.h"
#include "notebook/commands/text_table.h"
#include "notebook/tables/model.h"
#include "notebook/tables/shown_text.h"

namespace ktnotebook {

// A table with one row for each token: kind and text.
std::string TokensText(const std::vector<ktformula::FormulaToken>& tokens, const TableStyle& style);

// Layers in brackets, strings in quotes, references in angle brackets: [1, +, [2, *, <Mass>]].
std::string TreeText(const ktformula::TokenLayer& layer);

// The form's fields, tables laid out in columns.
std::string FormText(const NotebookForm& form, const TableStyle& style);

// The cells of one form in the order in which the form has them, each once.
std::vector<NotebookCell> InFormOrder(const std::vector<NotebookCell>& cells);

// The cells with their addresses.
std::string CellsText(const std::vector<NotebookCell>& cells, const TableStyle& style);

}  // namespace ktnotebook
