// COUNT: the rows of a table, or those for which a condition holds.
#pragma once

#include "functions/function_base.h"
#include "values/leak_check.h"

namespace ktformula {

// COUNT(table) or COUNT(table, condition); a column stands for its table. Raises kComponentError
// for other arguments.
class CountFunction final : public FunctionBase, private LeakCounted<CountFunction> {
 public:
  static constexpr std::string_view kClassName = "CountFunction";

  CountFunction() : FunctionBase(FunctionRowOf(kClassName)) {}

 private:
  void Compute(const TokenLayer& args, NotebookObject* anchor, CellValue& target) override;
  Bound BindArguments(Binder& binder, const TokenLayer& args, const Place& anchor,
                      RowRun run) const override;
  int CountRows(const TokenLayer& args, const Table& table, NotebookObject* anchor) const;
};

}  // namespace ktformula
