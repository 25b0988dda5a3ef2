// MIN and MAX: the smallest or largest cell of a column, or value of an expression over the rows of
// a table.
#pragma once

#include "functions/aggregate.h"
#include "values/leak_check.h"

namespace ktformula {

// A value that is no number wins over all others, so that it can not be overlooked.
class ExtremeFunction : public AggregateFunction {
 protected:
  using AggregateFunction::AggregateFunction;

 private:
  // Cells without text take no part; a column without others gives 0.
  void ComputeColumn(TableProperty& column, CellValue& target) const final;
  // Keeps the earliest of equal values; the result is a point, never a range, or the first missing
  // number.
  void Accumulate(CellValue& aggregate, const CellValue& value, bool is_first) const final;

  class Contest;

  // The cell that wins, empty when none takes part.
  static Ref<TableCell> FindWinner(const TableProperty& column, Contest& contest);
  static Ref<TableCell> FindWinner(const TableProperty& column, const ColumnCells& cells,
                                   Contest& contest);

  // Whether `number` wins against the best one before it: what is not a number wins against all
  // others, so that nothing hides it.
  bool Beats(double number, double best) const;
  // Whether `number` is strictly more extreme than `best`.
  virtual bool IsBeyond(double number, double best) const = 0;
  // The bound of a value that counts.
  virtual double BoundOf(const CellValue& value) const = 0;
};

class MinFunction final : public ExtremeFunction, private LeakCounted<MinFunction> {
 public:
  static constexpr std::string_view kClassName = "MinFunction";

  MinFunction();

 private:
  bool IsBeyond(double number, double best) const override { return number < best; }
  double BoundOf(const CellValue& value) const override { return value.MinNumber(); }
};

class MaxFunction final : public ExtremeFunction, private LeakCounted<MaxFunction> {
 public:
  static constexpr std::string_view kClassName = "MaxFunction";

  MaxFunction();

 private:
  bool IsBeyond(double number, double best) const override { return number > best; }
  double BoundOf(const CellValue& value) const override { return value.MaxNumber(); }
};

}  // namespace ktformula
