// One pass over a listener's table: what is evaluated within it sees the same definitions.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "formula/function_registry.h"
#include "formula/reference.h"
#include "formula/token_tree.h"
#include "host/notebook_objects.h"
#include "listener/column_plan.h"
#include "listener/configuration.h"
#include "listener/definition_values.h"
#include "listener/result_writer.h"
#include "values/cell_value.h"
#include "values/platform.h"

namespace ktformula {

class Pass {
 public:
  // Definitions are evaluated for the table, which may be empty. The others are borrowed and may
  // change while the pass is under way; `names` leads formulas back to this pass. `plans` may be
  // nullptr: then nothing is known but what is asked.
  Pass(const FormulaConfiguration& configuration, const FunctionRegistry& functions,
       NamedValues& names, Ref<Table> table, Plans* plans);
  Pass(const Pass&) = delete;
  Pass& operator=(const Pass&) = delete;

  // Computes each cell of each column that has a formula, but for entered ones and for those that
  // are known to come to what they are. What a formula raises is written into its cell, what the
  // host raises is raised.
  void Recalculate(ResultWriter& writer);

  // Raises what the formula raises. `object` is what the formula is evaluated for.
  void Evaluate(const TokenTree& tree, ELNProperty* property, NotebookObject* object,
                CellValue& target);

  // Empty when there is no definition of this name.
  std::shared_ptr<CellValue> DefinedValue(std::u16string_view name);

 private:
  class ColumnPass;

  // Whether it does not matter when the definitions are asked for, that the formula refers to.
  bool MayAskEarly(const BoundFormula& formula) const;

  StoppedClock clock_;
  const FormulaConfiguration& configuration_;
  const FunctionRegistry& functions_;
  NamedValues& names_;
  Ref<Table> table_;
  Plans* plans_;
  std::uint64_t number_;
  DefinitionValues definitions_;
};

}  // namespace ktformula
