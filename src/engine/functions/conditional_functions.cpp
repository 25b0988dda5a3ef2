#include "functions/conditional_functions.h"

#include "values/raised_error.h"

namespace ktformula {

namespace {

constexpr std::u16string_view kIfSource = u"IfFunction.IKtFormulaFunction_ComputeValue";
constexpr std::u16string_view kOnErrorSource = u"OnErrorFunction.IKtFormulaFunction_ComputeValue";
constexpr std::u16string_view kSelectSource = u"SelectFunction.IKtFormulaFunction_ComputeValue";

}  // namespace

void IfFunction::ComputeValue(const TokenLayer* args, NotebookObject* anchor,
                              CellValue& TargetCellValue) {
  const auto fail = [&](std::u16string_view description) {
    TargetCellValue.SetError(kComponentError, kIfSource, description);
  };
  if (args == nullptr) return fail(u"the If function requires three arguments");
  constexpr std::u16string_view kWrongCount = u"the number of arguments for If function (";
  const std::size_t count = args->Count();
  if (count < 3) return fail(CountMessage(kWrongCount, count, u") is not at least 3"));
  if (count % 2 == 0) return fail(CountMessage(kWrongCount, count, u") is even"));

  const Ref<ELNProperty> property = TargetCellValue.ELNProperty();
  std::size_t chosen = count - 1;
  for (std::size_t i = 0; i + 2 < count; i += 2) {
    if (Holds(args->Item(i), property.get(), anchor, anchor)) {
      chosen = i + 1;
      break;
    }
  }
  Evaluate(TargetCellValue, args->Item(chosen), property.get(), anchor, anchor);
}

void OnErrorFunction::ComputeValue(const TokenLayer* args, NotebookObject* anchor,
                                   CellValue& TargetCellValue) {
  if (args == nullptr) {
    TargetCellValue.SetError(kComponentError, kOnErrorSource,
                             u"the OnError function requires arguments");
    return;
  }
  if (args->Count() == 0) {
    TargetCellValue.SetError(
        kComponentError, kOnErrorSource,
        CountMessage(u"the number of arguments for OnError function (", 0, u") is not at least 1"));
    return;
  }
  const Ref<ELNProperty> property = TargetCellValue.ELNProperty();
  for (std::size_t i = 0; i < args->Count(); ++i) {
    try {
      Evaluate(TargetCellValue, args->Item(i), property.get(), anchor, anchor);
      if (TargetCellValue.CellValueType() != kCellValueTypeError) return;
    } catch (const RaisedError& error) {
      TargetCellValue.SetError(error.Number(), error.Source(), error.Description());
    }
  }
}

void SelectFunction::ComputeValue(const TokenLayer* args, NotebookObject* anchor,
                                  CellValue& TargetCellValue) {
  if (args == nullptr) Raise(kSelectSource, u"the Select function requires one argument");
  if (args->Count() != 3) {
    Raise(kSelectSource, CountMessage(u"the number of arguments for Select function (",
                                      args->Count(), u") is not 3"));
  }
  const ReferencePath* reference = AsReference(args->Item(1));
  if (reference == nullptr) {
    Raise(kSelectSource, u"the second argument for the Select function is not a reference");
  }
  const Ref<Table> table = ReferredTable(*reference, anchor, TargetCellValue);
  if (!table) {
    Raise(kSelectSource,
          u"the second argument for the Select function is not a reference to a table");
  }
  const int rows = table->RowCount();
  for (int r = 1; r <= rows; ++r) {
    const Ref<TableRow> row = table->Row(r);
    if (!Holds(args->Item(2), nullptr, row.get(), anchor)) continue;
    Evaluate(TargetCellValue, args->Item(0), nullptr, row.get(), anchor);
    return;
  }
  TargetCellValue.SetError(
      kComponentError, kSelectSource,
      u"no row of the specified table satisfies the Where clause of a Select function");
}

}  // namespace ktformula
