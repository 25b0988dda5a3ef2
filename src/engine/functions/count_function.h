// COUNT: the rows of a table, or those for which a condition holds.
#pragma once

#include "functions/function_base.h"
#include "values/leak_check.h"

namespace ktformula {

class CountFunction final : public FunctionBase, private LeakCounted<CountFunction> {
 public:
  static constexpr std::string_view kClassName = "CountFunction";

  // COUNT(table) or COUNT(table, condition); a column stands for its table. Raises kComponentError
  // for other arguments.
  void ComputeValue(const TokenLayer* args, NotebookObject* anchor,
                    CellValue& TargetCellValue) override;
  Bound Bind(Binder& binder, const TokenLayer& args, const Place& anchor,
             unsigned run) const override;

 private:
  int CountRows(const TokenLayer& args, const Table& table, NotebookObject* anchor) const;
};

}  // namespace ktformula
