#include "functions/count_function.h"

#include <algorithm>
#include <optional>

#include "functions/row_folds.h"
#include "functions/row_lanes.h"
#include "values/raised_error.h"

namespace ktformula {

namespace {

constexpr std::u16string_view kSource = u"CountFunction.IKtFormulaFunction_ComputeValue";

Ref<Table> CountedTable(const LayerItem& argument, NotebookObject* anchor, CellValue& target) {
  const ReferencePath* reference = AsReference(argument);
  if (reference == nullptr) {
    Raise(kSource, u"the first argument for the Count function is not a reference");
  }
  const Ref<NotebookObject> object = ResolveReference(target, *reference, anchor, anchor);
  if (object && object->Kind() == NotebookObjectKind::kTable) {
    return Ref<Table>(static_cast<Table*>(object.get()));
  }
  if (object && object->Kind() == NotebookObjectKind::kTableProperty) {
    return static_cast<const TableProperty&>(*object).OwningTable();
  }
  Raise(kSource, u"the first argument for the Count function is not a reference to a table");
}

}  // namespace

void CountFunction::ComputeValue(const TokenLayer* args, NotebookObject* anchor,
                                 CellValue& TargetCellValue) {
  if (args == nullptr) Raise(kSource, u"the Count function requires one argument");
  const std::size_t arguments = args->Count();
  if (arguments != 1 && arguments != 2) {
    Raise(kSource, CountMessage(u"the number of arguments for Count function (", arguments,
                                u") is not 1 or 2"));
  }
  const Ref<Table> table = CountedTable(args->Item(0), anchor, TargetCellValue);
  const auto set_count = [&](int count) { TargetCellValue.SetNumber(count, count); };
  if (arguments == 1) return set_count(table->RowCount());
  Fold(*args, *table, TargetCellValue, [&] { set_count(CountRows(*args, *table, anchor)); });
}

int CountFunction::CountRows(const TokenLayer& args, const Table& table,
                             NotebookObject* anchor) const {
  RowLanes lanes(args, table, true, ContextAt(anchor));
  const auto rows = static_cast<std::size_t>(table.RowCount());
  int count = 0;
  for (std::size_t first = 0; first < rows; first += kMaximumLanes) {
    const std::size_t lane_count = std::min(rows - first, kMaximumLanes);
    lanes.Compute(first, lane_count, true);
    for (std::size_t lane = 0; lane < lane_count; ++lane) {
      const RowVerdict verdict = lanes.Verdicts()[lane];
      const auto holds = [&] {
        const Ref<TableRow> row = table.Row(static_cast<int>(first + lane) + 1);
        return Holds(args.Item(1), nullptr, row.get(), anchor);
      };
      if (verdict == RowVerdict::kTake || (verdict == RowVerdict::kAsk && holds())) ++count;
    }
  }
  return count;
}

Bound CountFunction::Bind(Binder& binder, const TokenLayer& args, const Place& anchor,
                          unsigned) const {
  if (args.Count() != 1 && args.Count() != 2) return {};
  std::optional<LayerItem> condition;
  if (args.Count() == 2) condition = args.Item(1);
  return BindRowCall(binder, args, AsReference(args.Item(0)), nullptr,
                     condition ? &*condition : nullptr, anchor);
}

}  // namespace ktformula
