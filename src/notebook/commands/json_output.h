// The JSON forms of what the command line prints, one line each.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "formula/token_tree.h"
#include "functions/function_table.h"
#include "notebook/commands/problems_output.h"
#include "notebook/tables/model.h"
#include "notebook/tables/recalculation.h"
#include "values/cell_value.h"
#include "values/raised_error.h"

namespace ktnotebook {

// For whom JSON is written.
struct JsonReader {
  // In which texts of cells are given; empty for the notebook's own.
  std::optional<ktformula::Locale> locale = std::nullopt;
  // Whether problems tell what would mend them, which the forms of the command line do not.
  bool wants_mends = false;
};

// A string of JSON.
std::string TextJson(std::u16string_view text);
std::string ValueJson(const ktformula::CellValue& value);
std::string RaisedJson(const ktformula::RaisedError& error);
std::string TokensJson(const std::vector<ktformula::FormulaToken>& tokens);
// Nested arrays of tokens, one array for a layer.
std::string TreeJson(const ktformula::TokenLayer& layer);

// Collects the fields of an object; values are JSON.
class JsonObject {
 public:
  void Add(std::string_view name, std::string_view json) {
    text_ += (text_.empty() ? "\"" : ",\"") + std::string(name) + "\":" + std::string(json);
  }
  void AddText(std::string_view name, std::u16string_view text) { Add(name, TextJson(text)); }
  // No text is null.
  void AddOptionalText(std::string_view name, const std::optional<std::u16string>& text) {
    Add(name, text ? TextJson(*text) : "null");
  }
  void AddTextUnlessEmpty(std::string_view name, std::u16string_view text) {
    if (!text.empty()) AddText(name, text);
  }
  void AddNumber(std::string_view name, std::size_t number) { Add(name, std::to_string(number)); }
  std::string Text() const { return "{" + text_ + "}"; }

 private:
  std::string text_;
};

// A form to be written: whole, or the cells that changed, in the order in which the form has them.
struct FormReport {
  NotebookForm* form = nullptr;
  // Nothing when it was not recalculated.
  std::optional<RecalculationResult> result = std::nullopt;
  std::optional<std::vector<NotebookCell>> changed = std::nullopt;
};

// Written row by row: the text of a large notebook is never in memory as a whole.
void WriteFormsJson(const std::vector<FormReport>& forms, std::ostream& out,
                    const std::vector<FormProblems>& problems = {}, const JsonReader& reader = {});

// A number, the shortest decimals that read back to it; "null" for none.
std::string NumberJson(double number);

// A cell as forms have it.
std::string CellJson(const NotebookCell& cell, const JsonReader& reader);
std::u16string TextFor(const JsonReader& reader, const NotebookCell& cell);

// Rows of a table, from one on, as WriteFormsJson writes them in a list.
void WriteRowsJson(const NotebookTable& table, std::size_t first, std::size_t count,
                   std::ostream& out, const JsonReader& reader = {});

// What one process did of the recalculation of all forms of a database.
struct StoredRecalculationReport {
  struct Form {
    std::u16string name;
    bool settled = false;
    int rounds = 0;
  };
  struct Failure {
    std::u16string name;
    // In UTF-8.
    std::string reason;
  };
  std::vector<Form> recalculated;
  std::vector<Failure> failed;
  // For each form with problems what ProblemListJson gives.
  std::vector<std::string> problems;
};

// With the numbers of all forms and of those that are current.
std::string StoredRecalculationJson(const StoredRecalculationReport& report, std::int64_t forms,
                                    std::int64_t current);

// What users are told about functions.
std::string FunctionsJson(const std::vector<const ktformula::FunctionRow*>& functions);

std::string NameListJson(const std::vector<std::u16string>& names);

// An object of texts; no text is null.
using TextField = std::pair<std::string_view, std::optional<std::u16string>>;
std::string TextsJson(const std::vector<TextField>& fields);

// An array of objects, one for each problem.
std::string ProblemListJson(const std::vector<FormProblems>& forms, const JsonReader& reader = {});

}  // namespace ktnotebook
