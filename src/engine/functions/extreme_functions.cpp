#include "functions/extreme_functions.h"

#include <cmath>

namespace ktformula {

namespace {

constexpr AggregateMessages kMinMessages{
    u"the argument for the Min function is not a reference",
    u"the argument for the Min function is not a reference to a table property",
    u"the second argument for the Min function is not a reference",
    u"the second argument for the Min function is not a reference to a table",
};

constexpr AggregateMessages kMaxMessages{
    u"the argument for the Max function is not a reference",
    u"the argument for the Max function is not a reference to a table property",
    u"the second argument for the Max function is not a reference",
    u"the second argument for the Max function is not a reference to a table",
};

}  // namespace

MinFunction::MinFunction() : ExtremeFunction(FunctionRowOf(kClassName), kMinMessages) {}
MaxFunction::MaxFunction() : ExtremeFunction(FunctionRowOf(kClassName), kMaxMessages) {}

void ExtremeFunction::ComputeColumn(const TableProperty& column, CellValue& target) const {
  Ref<TableCell> winner;
  double best = 0;
  const int count = column.CellCount();
  for (int i = 1; i <= count; ++i) {
    Ref<TableCell> cell = column.Cell(i);
    if (cell->Text().empty()) continue;
    const double number = cell->MinNumber();
    if (winner && !std::isnan(number) && !IsBeyond(number, best)) continue;
    winner = std::move(cell);
    best = number;
  }
  if (winner) target.InitializeFromGridCell(*winner);
  target.SetNumber(best, best);
}

void ExtremeFunction::Accumulate(CellValue& aggregate, const CellValue& value,
                                 bool is_first) const {
  const double number = BoundOf(value);
  if (is_first || std::isnan(number) || IsBeyond(number, BoundOf(aggregate))) {
    aggregate.SetNumber(number, number);
  }
}

}  // namespace ktformula
