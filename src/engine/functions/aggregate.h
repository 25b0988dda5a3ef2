// The shape that SUM, MIN and MAX share: F(column), F(expression, table) and
// F(expression, table, condition).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "functions/function_base.h"

namespace ktformula {

// One function's wording about its arguments; the messages differ in more than the name.
struct AggregateMessages {
  std::u16string_view not_a_reference;
  std::u16string_view not_a_column;
  std::u16string_view second_not_a_reference;
  std::u16string_view second_not_a_table;
};

class AggregateFunction : public FunctionBase {
 protected:
  AggregateFunction(const FunctionRow& row, const AggregateMessages& messages)
      : FunctionBase(row), messages_(messages) {}

  // Raises kComponentError for arguments of another shape.
  void Compute(const TokenLayer& args, NotebookObject* anchor, CellValue& target) final;
  Bound BindArguments(Binder& binder, const TokenLayer& args, const Place& anchor,
                      RowRun run) const final;

  // The aggregate of a column's cells, into `target`, which is initialised from the column.
  virtual void ComputeColumn(TableProperty& column, CellValue& target) const = 0;

  // Takes one row's value into the aggregate; `is_first` for the first row that is taken. Before
  // it the aggregate is the number 0.
  virtual void Accumulate(CellValue& aggregate, const CellValue& value, bool is_first) const = 0;

  // Numbers of rows, and which of them are taken: 1, the others 0.
  struct NumberRun {
    const double* min;
    const double* max;
    const std::uint8_t* takes;
    std::size_t count;
  };
  // Takes many values at once where that comes to the same as Accumulate for each; false, and
  // nothing done, otherwise.
  virtual bool AccumulateRun(CellValue& /*aggregate*/, const NumberRun& /*run*/) const {
    return false;
  }

 private:
  class RowWalk;

  void ComputeRows(const TokenLayer& args, NotebookObject* anchor, CellValue& target) const;
  static Bound BindColumn(Binder& binder, const TokenLayer& args, const Place& anchor);
  Ref<TableProperty> ColumnArgument(const LayerItem& argument, NotebookObject* anchor,
                                    CellValue& target) const;

  const AggregateMessages& messages_;
};

}  // namespace ktformula
