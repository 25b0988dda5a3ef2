// The shape that SUM, MIN and MAX share: F(column), F(expression, table) and
// F(expression, table, condition).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "functions/function_base.h"

namespace ktformula {

// One function's wording; its messages differ in more than its name.
struct AggregateMessages {
  std::u16string_view source;
  std::u16string_view no_arguments;
  std::u16string_view wrong_count_before;
  std::u16string_view not_a_reference;
  std::u16string_view not_a_column;
  std::u16string_view second_not_a_reference;
  std::u16string_view second_not_a_table;
};

class AggregateFunction : public FunctionBase {
 public:
  // Raises kComponentError for arguments of another shape.
  void ComputeValue(const TokenLayer* args, NotebookObject* anchor,
                    CellValue& TargetCellValue) final;
  Bound Bind(Binder& binder, const TokenLayer& args, const Place& anchor, unsigned run) const final;

 protected:
  explicit AggregateFunction(const AggregateMessages& messages) : messages_(messages) {}

  // The aggregate of a column's cells, into `target`, which is initialised from the column.
  virtual void ComputeColumn(const TableProperty& column, CellValue& target) const = 0;

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
