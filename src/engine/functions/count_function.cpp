#include "functions/count_function.h"

#include "functions/row_folds.h"

namespace ktformula {

namespace {

// The table, or that of the column, that the argument refers to; empty for anything else.
Ref<Table> CountedTable(const ReferencePath& reference, NotebookObject* anchor, CellValue& target) {
  const Ref<NotebookObject> object = ResolveReference(target, reference, anchor, anchor);
  if (object && object->Kind() == NotebookObjectKind::kTable) {
    return Ref<Table>(static_cast<Table*>(object.get()));
  }
  if (object && object->Kind() == NotebookObjectKind::kTableProperty) {
    return static_cast<const TableProperty&>(*object).OwningTable();
  }
  return nullptr;
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
  Fold(args, *table, target, [&] {
    const int rows = table->RowCount();
    int count = 0;
    for (int r = 1; r <= rows; ++r) {
      if (Holds(args.Item(1), nullptr, table->Row(r).get(), anchor)) ++count;
    }
    set_count(count);
  });
}

}  // namespace ktformula
