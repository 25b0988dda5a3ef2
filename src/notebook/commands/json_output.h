// The JSON forms of what the command line prints, one line each.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "formula/token_tree.h"
#include "notebook/commands/problems_output.h"
#include "notebook/tables/model.h"
#include "notebook/tables/recalculation.h"
#include "values/cell_value.h"
#include "values/raised_error.h"

namespace ktnotebook {

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
void WriteRecalculationJson(const std::vector<RecalculatedForm>& forms, std::ostream& out,
                            const std::vector<FormProblems>& problems = {});

// An array of objects, one for each problem.
std::string ProblemListJson(const std::vector<FormProblems>& forms);

}  // namespace ktnotebook
