#include "functions/count_function.h"

#include "functions/row_folds.h"
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
  Fold(*args, *table, TargetCellValue, [&] {
    const int rows = table->RowCount();
    int count = 0;
    for (int r = 1; r <= rows; ++r) {
      if (Holds(args->Item(1), nullptr, table->Row(r).get(), anchor)) ++count;
    }
    set_count(count);
  });
}

}  // namespace ktformula
