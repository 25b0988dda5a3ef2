// What a formula would come to that is not stored: its tokens, its problems, its value in a row and
// what the cell would show. Nothing in the notebook changes, not even what it keeps to be faster.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/problem.h"

#include "formula/source_map.h"
#include "listener/ikt_formula_listener.h"
#include "notebook/files/framework.h"
#include "notebook/tables/model.h"
#include "values/cell_value.h"
#include "values/raised_error.h"

namespace ktnotebook {

enum class TokenKind { kReference, kFunction, kNumber, kText, kOperator, kParenthesis, kOther };
// "reference" and so on.
std::string_view TokenKindText(TokenKind kind) noexcept;

struct PreviewToken {
  // With its brackets or quotes.
  ktformula::TextRange place;
  TokenKind kind = TokenKind::kOther;
};

struct FormulaPreview {
  // Without blanks; what begins no token is one of its own, of the other kind.
  std::vector<PreviewToken> tokens;
  // Those that the text shows by itself.
  std::vector<ktformula::Problem> problems;
  // Empty without a row, without a formula, and when evaluating takes too long for a preview.
  std::optional<ktformula::CellValue> value;
  std::optional<ktformula::RaisedError> raised;
  // What the cell would show, in the notebook's locale.
  std::optional<std::u16string> text;
};

// A formula of a column, in its row or in none. The listener is the one that would have it; nullptr
// for none.
FormulaPreview PreviewOfFormula(NotebookColumn& column, std::optional<std::size_t> row,
                                std::u16string_view formula, std::u16string_view format,
                                const ktformula::IKtFormulaListener* listener,
                                NotebookFramework& framework);
FormulaPreview PreviewOfDefinition(NotebookTable& table, std::u16string_view name,
                                   std::u16string_view formula,
                                   const ktformula::IKtFormulaListener* listener,
                                   NotebookFramework& framework);

}  // namespace ktnotebook
