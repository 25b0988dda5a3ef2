#include "functions/conditional_functions.h"

#include "values/raised_error.h"

namespace ktformula {

void IfFunction::Compute(const TokenLayer& args, NotebookObject* anchor, CellValue& target) {
  const Ref<ELNProperty> property = target.ELNProperty();
  const std::size_t count = args.Count();
  std::size_t chosen = count - 1;
  for (std::size_t i = 0; i + 2 < count; i += 2) {
    if (Holds(args.Item(i), property.get(), anchor, anchor)) {
      chosen = i + 1;
      break;
    }
  }
  Evaluate(target, args.Item(chosen), property.get(), anchor, anchor);
}

void OnErrorFunction::Compute(const TokenLayer& args, NotebookObject* anchor, CellValue& target) {
  const Ref<ELNProperty> property = target.ELNProperty();
  for (std::size_t i = 0; i < args.Count(); ++i) {
    try {
      Evaluate(target, args.Item(i), property.get(), anchor, anchor);
      if (target.CellValueType() != kCellValueTypeError) return;
    } catch (const RaisedError& error) {
      target.SetError(error.Number(), error.Source(), error.Description());
    }
  }
}

void SelectFunction::Compute(const TokenLayer& args, NotebookObject* anchor, CellValue& target) {
  const ReferencePath* reference = AsReference(args.Item(1));
  if (reference == nullptr) {
    Refuse(u"the second argument for the Select function is not a reference");
  }
  const Ref<Table> table = ReferredTable(*reference, anchor, target);
  if (!table) Refuse(u"the second argument for the Select function is not a reference to a table");
  const int rows = table->RowCount();
  for (int r = 1; r <= rows; ++r) {
    const Ref<TableRow> row = table->Row(r);
    if (!Holds(args.Item(2), nullptr, row.get(), anchor)) continue;
    Evaluate(target, args.Item(0), nullptr, row.get(), anchor);
    return;
  }
  target.SetError(kComponentError, Row().source,
                  u"no row of the specified table satisfies the Where clause of a Select function");
}

}  // namespace ktformula
