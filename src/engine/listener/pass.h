// One pass over a listener's table: what is evaluated within it sees the same definitions.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "formula/function_registry.h"
#include "formula/reference.h"
#include "formula/token_tree.h"
#include "host/notebook_objects.h"
#include "listener/configuration.h"
#include "listener/definition_values.h"
#include "listener/result_writer.h"
#include "values/cell_value.h"

namespace ktformula {

// The formula's tree, built when it is first needed. Raises what MakeTokenTree raises.
std::shared_ptr<const TokenTree> TreeOf(PropertyFormula& formula,
                                        const FunctionRegistry& functions);

class Pass {
 public:
  // Definitions are evaluated for the table, which may be empty. The others are borrowed and may
  // change while the pass is under way; `names` leads formulas back to this pass.
  Pass(const FormulaConfiguration& configuration, const FunctionRegistry& functions,
       NamedValues& names, Ref<Table> table);
  Pass(const Pass&) = delete;
  Pass& operator=(const Pass&) = delete;

  // Computes each cell of each column that has a formula, but for entered ones. What a formula
  // raises is written into its cell, what the host raises is raised.
  void Recalculate(ResultWriter& writer);

  // Raises what the formula raises. `object` is what the formula is evaluated for.
  void Evaluate(const TokenTree& tree, ELNProperty* property, NotebookObject* object,
                CellValue& target);

  // Empty when there is no definition of this name.
  std::shared_ptr<CellValue> DefinedValue(std::u16string_view name) {
    return definitions_.Get(configuration_.definitions, name);
  }

 private:
  // A formula's tree or, without one, why the text could not be parsed.
  struct ParsedFormula {
    std::shared_ptr<const TokenTree> tree;
    std::u16string text;
    std::u16string error;

    // Whether parsing would come to the same: the host may change a formula from within a call.
    bool IsUpToDate(const PropertyFormula& formula) const {
      return formula.TokenTree == tree && (tree != nullptr || formula.Formula == text);
    }
  };

  void RecalculateColumn(const TableProperty& column, ResultWriter& writer);
  ParsedFormula Parse(PropertyFormula& formula) const;
  std::optional<std::u16string> Compute(const ParsedFormula& formula, ELNProperty& property,
                                        TableCell& cell, CellValue& value);

  const FormulaConfiguration& configuration_;
  const FunctionRegistry& functions_;
  NamedValues& names_;
  Ref<Table> table_;
  DefinitionValues definitions_;
};

}  // namespace ktformula
