#include "functions/aggregate.h"

#include <optional>

#include "functions/row_folds.h"
#include "values/raised_error.h"

namespace ktformula {

namespace {

// Runs the step and drops the error that it may raise.
template <typename Step>
void Regardless(Step step) {
  try {
    step();
  } catch (const RaisedError&) {  // NOLINT(bugprone-empty-catch)
  }
}

}  // namespace

void AggregateFunction::Compute(const TokenLayer& args, NotebookObject* anchor, CellValue& target) {
  if (args.Count() > 1) {
    ComputeRows(args, anchor, target);
    return;
  }
  const Ref<TableProperty> column = ColumnArgument(args.Item(0), anchor, target);
  Fold(args, *column, target, [&] {
    target.InitializeFromELNProperty(column->Property().get());
    ComputeColumn(*column, target);
  });
}

Ref<TableProperty> AggregateFunction::ColumnArgument(const LayerItem& argument,
                                                     NotebookObject* anchor,
                                                     CellValue& target) const {
  const ReferencePath* reference = AsReference(argument);
  if (reference == nullptr) Refuse(messages_.not_a_reference);
  const Ref<NotebookObject> object = ResolveReference(target, *reference, anchor, anchor);
  if (!object || object->Kind() != NotebookObjectKind::kTableProperty) {
    Refuse(messages_.not_a_column);
  }
  return Ref<TableProperty>(static_cast<TableProperty*>(object.get()));
}

void AggregateFunction::ComputeRows(const TokenLayer& args, NotebookObject* anchor,
                                    CellValue& target) const {
  const ReferencePath* reference = AsReference(args.Item(1));
  if (reference == nullptr) Refuse(messages_.second_not_a_reference);
  const Ref<Table> table = ReferredTable(*reference, anchor, target);
  if (!table) Refuse(messages_.second_not_a_table);

  Fold(args, *table, target, [&] { AccumulateRows(args, *table, anchor, target); });
}

void AggregateFunction::AccumulateRows(const TokenLayer& args, const Table& table,
                                       NotebookObject* anchor, CellValue& target) const {
  std::optional<LayerItem> condition;
  if (args.Count() == 3) condition = args.Item(2);
  const LayerItem expression = args.Item(0);
  target.SetNumber(0, 0);
  const int rows = table.RowCount();
  bool is_first = true;
  for (int r = 1; r <= rows; ++r) {
    const Ref<TableRow> row = table.Row(r);
    if (condition && !Holds(*condition, nullptr, row.get(), anchor)) continue;
    CellValue value;
    const auto evaluate = [&] { Evaluate(value, expression, nullptr, row.get(), anchor); };
    const auto accumulate = [&] { Accumulate(target, value, is_first); };
    if (condition) {
      evaluate();
      accumulate();
    } else {
      // Every step is followed by the next, whatever it raises: what a failing expression left in
      // its value counts.
      Regardless(evaluate);
      Regardless(accumulate);
    }
    is_first = false;
  }
}

}  // namespace ktformula
