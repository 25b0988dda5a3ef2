#include "functions/extreme_functions.h"

#include <cmath>
#include <span>
#include <string>

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

// Goes through numbers and keeps the winner.
class ExtremeFunction::Contest {
 public:
  explicit Contest(const ExtremeFunction& function) : function_(function) {}

  // Whether the number is the winner now.
  bool Enter(double number) {
    if (has_winner_ && !function_.Beats(number, best_)) return false;
    has_winner_ = true;
    best_ = number;
    return true;
  }
  // 0 before the first number.
  double Best() const noexcept { return best_; }

 private:
  const ExtremeFunction& function_;
  bool has_winner_ = false;
  double best_ = 0;
};

void ExtremeFunction::ComputeColumn(TableProperty& column, CellValue& target) const {
  Contest contest(*this);
  const Ref<TableCell> winner = column.Cells() != nullptr
                                    ? FindWinner(column, *column.Cells(), contest)
                                    : FindWinner(column, contest);
  if (winner) target.InitializeFromGridCell(*winner);
  if (!target.IsMissingNumber()) target.SetNumber(contest.Best(), contest.Best());
}

Ref<TableCell> ExtremeFunction::FindWinner(const TableProperty& column, Contest& contest) {
  Ref<TableCell> winner;
  const int count = column.CellCount();
  for (int i = 1; i <= count; ++i) {
    Ref<TableCell> cell = column.Cell(i);
    if (!cell->Text().empty() && contest.Enter(cell->MinNumber())) winner = std::move(cell);
  }
  return winner;
}

Ref<TableCell> ExtremeFunction::FindWinner(const TableProperty& column, const ColumnCells& cells,
                                           Contest& contest) {
  int winner = 0;
  std::u16string buffer;
  const std::span<const double> numbers = cells.MinNumbers();
  for (std::size_t row = 0; row < numbers.size(); ++row) {
    const bool takes_part = !cells.Text(row, buffer).empty();
    if (takes_part && contest.Enter(numbers[row])) winner = static_cast<int>(row) + 1;
  }
  return winner != 0 ? column.Cell(winner) : nullptr;
}

void ExtremeFunction::Accumulate(CellValue& aggregate, const CellValue& value,
                                 bool is_first) const {
  const double number = BoundOf(value);
  if (!is_first && !Beats(number, BoundOf(aggregate))) return;
  if (value.IsMissingNumber()) {
    aggregate.SetMissingNumber(value.Text());
  } else {
    aggregate.SetNumber(number, number);
  }
}

bool ExtremeFunction::Beats(double number, double best) const {
  return IsBeyond(number, best) || (std::isnan(number) && !std::isnan(best));
}

}  // namespace ktformula
