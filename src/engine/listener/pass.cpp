#include "listener/pass.h"

#include <utility>

#include "formula/evaluator.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktformula {

std::shared_ptr<const TokenTree> TreeOf(PropertyFormula& formula,
                                        const FunctionRegistry& functions) {
  if (formula.TokenTree == nullptr) formula.TokenTree = MakeTokenTree(formula.Formula, functions);
  return formula.TokenTree;
}

Pass::Pass(const FormulaConfiguration& configuration, const FunctionRegistry& functions,
           NamedValues& names, Ref<Table> table)
    : configuration_(configuration),
      functions_(functions),
      names_(names),
      table_(std::move(table)),
      definitions_([this](PropertyFormula& formula, CellValue& value) {
        Evaluate(*TreeOf(formula, functions_), nullptr, table_.get(), value);
      }) {}

void Pass::Recalculate(ResultWriter& writer) {
  const int columns = table_->ColumnCount();
  for (int c = 1; c <= columns; ++c)
    RecalculateColumn(*table_->Column(c), writer);
}

void Pass::Evaluate(const TokenTree& tree, ELNProperty* property, NotebookObject* object,
                    CellValue& target) {
  EvaluateTokenTreeLayer(target, tree.Top(), {property, object, object, &names_});
}

void Pass::RecalculateColumn(const TableProperty& column, ResultWriter& writer) {
  const Ref<ELNProperty> property = column.Property();
  // The host may take the entry away from within a call.
  const std::shared_ptr<PropertyFormula> formula =
      configuration_.property_formulas.Find(ToDecimalText(property->Key()));
  if (formula == nullptr || formula->Formula.empty()) return;
  const bool number_formatting = property->NumberFormatting();
  std::optional<ParsedFormula> parsed;
  const int cells = column.CellCount();
  for (int r = 1; r <= cells; ++r) {
    const Ref<TableCell> cell = column.Cell(r);
    if (cell->StateText() == kEnteredState) continue;
    if (!parsed || !parsed->IsUpToDate(*formula)) parsed = Parse(*formula);
    CellValue value;
    if (const auto error = Compute(*parsed, *property, *cell, value)) {
      writer.WriteError(*cell, *error);
    } else {
      writer.Write(*cell, value, number_formatting, formula->StringFormat);
    }
    writer.Finish(*cell);
  }
}

Pass::ParsedFormula Pass::Parse(PropertyFormula& formula) const {
  try {
    return {TreeOf(formula, functions_), {}, {}};
  } catch (const RaisedError& error) {
    return {nullptr, formula.Formula, error.Description()};
  }
}

// Evaluates the formula for the cell; the description of an error that was raised.
std::optional<std::u16string> Pass::Compute(const ParsedFormula& formula, ELNProperty& property,
                                            TableCell& cell, CellValue& value) {
  if (formula.tree == nullptr) return formula.error;
  try {
    Evaluate(*formula.tree, &property, &cell, value);
  } catch (const RaisedError& error) {
    return error.Description();
  }
  return std::nullopt;
}

}  // namespace ktformula
