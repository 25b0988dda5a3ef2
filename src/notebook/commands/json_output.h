// The JSON forms of what the command line prints, one line each.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "formula/token_tree.h"
#include "notebook/tables/model.h"
#include "notebook/tables/recalculation.h"
#include "values/cell_value.h"
#include "values/raised_error.h"

namespace ktnotebook {

// A string of JSON.
std::string TextJson(std::u16string_view text);
std::string ValueJson(const ktformula::CellValue& value);
std::string RaisedJson(const ktformula::RaisedError& error);
std::string TokensJson(const std::vector<ktformula::FormulaToken>& tokens);
// Nested arrays of tokens, one array for a layer.
std::string TreeJson(const ktformula::TokenLayer& layer);

struct RecalculatedForm {
  NotebookForm* form = nullptr;
  RecalculationResult result;
};

// Written row by row: the text of a large notebook is never in memory as a whole.
void WriteRecalculationJson(const std::vector<RecalculatedForm>& forms, std::ostream& out);

}  // namespace ktnotebook
