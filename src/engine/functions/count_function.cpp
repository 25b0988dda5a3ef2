#include "functions/count_function.h"

#include <algorithm>
#include <optional>

#include "functions/row_folds.h"
#include "functions/row_lanes.h"

namespace ktformula {

namespace {

// The table, or that of the column, that the argument refers to; empty for anything else.
Ref<Table> CountedTable(const ReferencePath& reference, NotebookObject* anchor, CellValue& target) {
  return TableOf(ResolveReference(target, reference, anchor, anchor).get());
}

}  // namespace

void CountFunction::Compute(const TokenLayer& args, NotebookObject* anchor, CellValue& target) {
  const ReferencePath* reference = AsReference(args.Item(0));
  if (reference == nullptr) {
    Refuse(u"the first argument for the Count function is not a reference");
  }
  const Ref<Table> table = CountedTable(*reference, anchor, target);
  if (!table) Refuse(u"the first argument for the Count function is not a reference to a table");
  const auto set_count = [&](int count) { target.SetNumber(count, count); };
  if (args.Count() == 1) return set_count(table->RowCount());
  Fold(args, *table, target, [&] { set_count(CountRows(args, *table, anchor)); });
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

Bound CountFunction::BindArguments(Binder& binder, const TokenLayer& args, const Place& anchor,
                                   RowRun) const {
  std::optional<LayerItem> condition;
  if (args.Count() == 2) condition = args.Item(1);
  return BindRowCall(binder, args, AsReference(args.Item(0)), nullptr,
                     condition ? &*condition : nullptr, anchor)
      .bound;
}

}  // namespace ktformula
