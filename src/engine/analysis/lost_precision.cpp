#include "analysis/lost_precision.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <optional>
#include <utility>

#include "analysis/watched_evaluation.h"

#include "listener/entered_values.h"
#include "listener/result_formats.h"
#include "values/platform.h"
#include "values/text.h"

namespace ktformula {

namespace {

// Where a range may be read from anywhere.
constexpr std::size_t kMostRows = 100;

bool IsRange(const ColumnReader& cells, std::size_t row) {
  return cells.Min(row) < cells.Max(row) || cells.Min(row) > cells.Max(row);
}

bool HasRange(const ColumnReader& cells) {
  if (!cells.MayHaveRanges()) return false;
  for (std::size_t row = 0; row < cells.Count(); ++row) {
    if (IsRange(cells, row)) return true;
  }
  return false;
}

// The rows whose formula may read a range.
std::vector<std::size_t> RowsReadingRanges(const ObservedForm& form, const ObservedColumn& column) {
  std::vector<std::size_t> rows;
  const bool is_anywhere =
      std::any_of(column.others.begin(), column.others.end(),
                  [&](const ColumnUse& read) { return HasRange(form.At(read.column).cells); });
  std::vector<const ColumnReader*> own;
  for (const std::size_t read : column.own) {
    if (form.At(read).cells.MayHaveRanges()) own.push_back(&form.At(read).cells);
  }
  if (own.empty() && !is_anywhere) return rows;
  for (std::size_t row = 0; row < column.cells.Count(); ++row) {
    if (!column.Computes(row)) continue;
    const bool is_own = std::any_of(
        own.begin(), own.end(), [row](const ColumnReader* cells) { return IsRange(*cells, row); });
    if (is_own || (is_anywhere && rows.size() < kMostRows)) rows.push_back(row);
  }
  return rows;
}

bool IsRange(const Outcome& outcome) {
  const CellValue& value = outcome.value;
  return !outcome.raised && value.CellValueType() == kCellValueTypeNumber &&
         (value.MinNumber() < value.MaxNumber() || value.MinNumber() > value.MaxNumber());
}

// Whether the column's numbers are shown with as many digits as were entered.
bool FollowsDigits(const ObservedColumn& column) {
  if (!column.IsComputed() || !column.property->NumberFormatting()) return false;
  if (column.format == u"%") return true;
  return column.format.empty() &&
         column.listener->ResultFormat() != kMinDigitFormulaFormatIdentifier;
}

}  // namespace

std::vector<Problem> FindLostRanges(const ObservedForm& form) {
  std::vector<Problem> problems;
  for (std::size_t number = 0; number < form.Columns().size(); ++number) {
    const ObservedColumn& column = form.At(number);
    if (!column.can_be_watched) continue;
    const std::vector<std::size_t> rows = RowsReadingRanges(form, column);
    if (rows.empty()) continue;
    std::vector<std::size_t> lost;
    Effort effort(TermsOver(rows.size()));
    FormulaObserver observer(effort);
    WatchRows(column, observer, [&](const EvaluateRow& evaluate) {
      std::copy_if(rows.begin(), rows.end(), std::back_inserter(lost),
                   [&](std::size_t row) { return IsRange(evaluate(row)); });
    });
    if (lost.empty()) continue;
    Problem problem = form.ProblemOf(ProblemCode::kRangeLost, number);
    problem.row = lost.front();
    problem.rows = lost.size();
    problem.message = u"the result is a range, of which only the lower bound is shown";
    problem.help = u"compute the bounds in columns of their own";
    problems.push_back(std::move(problem));
  }
  return problems;
}

std::vector<Problem> FindLostDigits(const ObservedForm& form) {
  const WatchedForm& watched = form.Form();
  const auto& columns = form.Columns();
  if (!watched.owner || std::none_of(columns.begin(), columns.end(), FollowsDigits)) return {};
  const auto fewest = FindFewestDigits(*watched.owner, *watched.units);
  const auto number = fewest ? form.NumberOf(*fewest->column) : std::nullopt;
  if (!number) return {};
  Problem problem(ProblemCode::kDigits);
  problem.table = form.At(*number).table->table;
  problem.column = fewest->column;
  problem.row = fewest->row;
  const auto count = [](std::int16_t digits) {
    return ToDecimalText(digits) + (digits == 1 ? u" digit" : u" digits");
  };
  const bool is_number = !std::isnan(form.At(*number).cells.Min(fewest->row));
  problem.message = u"\"" + std::u16string(form.At(*number).cells.Text(fewest->row)) +
                    (is_number ? u"\" has " : u"\" counts as a value of ") + count(fewest->digits) +
                    u" and all other entered values at least " + count(fewest->others) +
                    u": computed values are shown with " + count(fewest->digits);
  problem.help = is_number ? u"type it with all the digits that were measured"
                           : u"empty the cell, or type the number in when it is known";
  return {std::move(problem)};
}

}  // namespace ktformula
