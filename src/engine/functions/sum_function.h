// SUM: the sum of a column, or of an expression over the rows of a table.
#pragma once

#include "functions/aggregate.h"
#include "values/leak_check.h"

namespace ktformula {

class SumFunction final : public AggregateFunction, private LeakCounted<SumFunction> {
 public:
  static constexpr std::string_view kClassName = "SumFunction";

  SumFunction();

 private:
  // Empty cells take part; a table without rows gives 0.
  void ComputeColumn(TableProperty& column, CellValue& target) const override;
  void Accumulate(CellValue& aggregate, const CellValue& value, bool is_first) const override;
  bool AccumulateRun(CellValue& aggregate, const NumberRun& run) const override;
};

}  // namespace ktformula
