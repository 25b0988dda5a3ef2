#include "functions/sum_function.h"

#include "values/raised_error.h"

namespace ktformula {

namespace {

constexpr AggregateMessages kMessages{
    u"the argument for the sum function is not a reference",
    u"the argument for the sum function is not a reference to a table property",
    u"the second argument for the Sum function is not a reference",
    u"the second argument for the Sum function is not a reference to a table",
};

}  // namespace

SumFunction::SumFunction() : AggregateFunction(FunctionRowOf(kClassName), kMessages) {}

void SumFunction::ComputeColumn(const TableProperty& column, CellValue& target) const {
  const Ref<Table> table = column.OwningTable();
  const int rows = table->RowCount();
  if (rows == 0) target.SetNumber(0, 0);
  for (int r = 1; r <= rows; ++r) {
    const Ref<TableCell> cell = table->Row(r)->Cell(column);
    if (!cell) Raise(RuntimeError::kObjectNotSet);
    if (r == 1) {
      target.InitializeFromGridCell(*cell);
      continue;
    }
    CellValue value;
    value.InitializeFromGridCell(*cell);
    target.Add(value);
  }
}

void SumFunction::Accumulate(CellValue& aggregate, const CellValue& value, bool) const {
  aggregate.Add(value);
}

}  // namespace ktformula
