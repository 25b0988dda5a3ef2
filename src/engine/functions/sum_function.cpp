#include "functions/sum_function.h"

#include <cmath>
#include <span>

#include "values/raised_error.h"

namespace ktformula {

namespace {

constexpr AggregateMessages kMessages{
    u"the argument for the sum function is not a reference",
    u"the argument for the sum function is not a reference to a table property",
    u"the second argument for the Sum function is not a reference",
    u"the second argument for the Sum function is not a reference to a table",
};

double SumOfTaken(double sum, const double* numbers, const std::uint8_t* takes, std::size_t count) {
  // To add 0 changes no sum that began at 0.
  for (std::size_t i = 0; i < count; ++i)
    sum += takes[i] != 0 ? numbers[i] : 0.0;
  return sum;
}

double Sum(double sum, std::span<const double> numbers) {
  for (const double number : numbers)
    sum += number;
  return sum;
}

// What was not finite once never becomes finite again.
bool SetSums(CellValue& target, double min, double max) {
  if (!std::isfinite(min) || !std::isfinite(max)) return false;
  target.SetNumber(min, max);
  return true;
}

// Adds the cells from the second one on.
bool AddNumbers(CellValue& target, TableProperty& column) {
  const ColumnCells* const cells = column.Cells();
  if (cells == nullptr || target.CellValueType() != kCellValueTypeNumber) return false;
  const std::span<const double> min = cells->MinNumbers();
  const std::span<const double> max = cells->MaxNumbers();
  const double sum = Sum(target.MinNumber(), min.subspan(1));
  const bool are_points = min.data() == max.data() && target.MinNumber() == target.MaxNumber();
  return SetSums(target, sum, are_points ? sum : Sum(target.MaxNumber(), max.subspan(1)));
}

}  // namespace

SumFunction::SumFunction() : AggregateFunction(FunctionRowOf(kClassName), kMessages) {}

void SumFunction::ComputeColumn(TableProperty& column, CellValue& target) const {
  const Ref<Table> table = column.OwningTable();
  const int rows = table->RowCount();
  if (rows == 0) target.SetNumber(0, 0);
  for (int r = 1; r <= rows; ++r) {
    const Ref<TableCell> cell = table->Row(r)->Cell(column);
    if (!cell) Raise(RuntimeError::kObjectNotSet);
    if (r == 1) {
      target.InitializeFromGridCell(*cell);
      if (AddNumbers(target, column)) return;
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

bool SumFunction::AccumulateRun(CellValue& aggregate, const NumberRun& run) const {
  if (aggregate.CellValueType() != kCellValueTypeNumber) return false;
  const double sum = SumOfTaken(aggregate.MinNumber(), run.min, run.takes, run.count);
  const bool are_points = run.min == run.max && aggregate.MinNumber() == aggregate.MaxNumber();
  return SetSums(
      aggregate, sum,
      are_points ? sum : SumOfTaken(aggregate.MaxNumber(), run.max, run.takes, run.count));
}

}  // namespace ktformula
