#include "functions/tag_functions.h"

#include "formula/observation.h"
#include "values/raised_error.h"

namespace ktformula {

// The wording of one function about its arguments, whose source is the row's. ISENTERED borrows
// from TAG.
struct TagMessages {
  // Whether the row of an aggregate is a context too.
  bool takes_rows;
  // The source of the message about the context.
  std::u16string_view context_source;
  std::u16string_view not_a_token;
  std::u16string_view wrong_type;
  std::u16string_view wrong_context;
  std::u16string_view other_table;
  std::u16string_view wrong_object;
};

namespace {

constexpr TagMessages kTag{
    false,
    u"TagFunction.IKtFormulaFunction_ComputeValue",
    u"the argument of the tag function must be a reference",
    u"the argument for the tag function is not of the correct type",
    u"the argument for the tag function can only be resolved in the context of a table cell",
    u"the table property argument for the tag function must be in the same table section as the "
    u"table cell in which the value will be calculated",
    u"the argument for the tag function is not a reference to a table property",
};

constexpr TagMessages kIsEntered{
    true,
    u"IsEnteredFunction.IKtFormulaFunction_ComputeValue",
    u"the argument of the IsEntered function must be a reference",
    u"the argument for the tag function is not of the correct type",
    u"the argument for the IsEntered function can only be resolved in the context of a table cell "
    u"or a table row",
    u"the table property argument for the IsEntered function must be in the same table section as "
    u"the table cell in which the value will be calculated",
    u"the argument for the tag function is not a reference to a table property",
};

constexpr TagMessages kRowTag{
    false,
    u"RowTagFunction.IKtFormulaFunction_ComputeValue",
    u"the first argument of the row tag function must be a reference",
    u"the first argument for the row tag function is not of the correct type",
    u"the first argument for the row tag function can only be resolved in the context of a table "
    u"cell",
    u"the table property argument for the row tag function must be in the same table section as "
    u"the table cell in which the value will be calculated",
    u"the first argument for the row tag function is not a reference to a table property or table "
    u"cell",
};

constexpr std::u16string_view kEntered = u"entered";

// What the reference denotes; when it is not recognized `target` is an error value then.
Ref<NotebookObject> DenotedObject(const LayerItem& reference, NotebookObject* anchor,
                                  CellValue& target) {
  return ResolveReference(target, reference.Reference(), anchor, anchor);
}

bool IsErrorValue(const CellValue& value) {
  return value.CellValueType() == kCellValueTypeError;
}

void TellOfNote(const TableCell& cell) {
  if (EvaluationObserver* const observer = Observation::Observer()) observer->ReadNote(cell);
}

}  // namespace

Bound CellNoteFunction::BindArguments(Binder& binder, const TokenLayer& args, const Place& anchor,
                                      RowRun) const {
  const ReferencePath* const reference = AsReference(args.Item(0));
  if (reference == nullptr) return {};
  return {binder.BindCell(*reference, Standpoint::At(anchor), kCellRun).reads, nullptr};
}

LayerItem CellNoteFunction::FirstArgument(const TokenLayer& args) const {
  const LayerItem token = args.Item(0);
  if (token.IsLayer()) Refuse(messages_.not_a_token);
  if (token.TokenType() != kFormulaTokenTypeReference &&
      token.TokenType() != kFormulaTokenTypeString) {
    Refuse(messages_.wrong_type);
  }
  return token;
}

// The row for which the formula is computed.
Ref<TableRow> CellNoteFunction::ContextRow(NotebookObject* anchor) const {
  const NotebookObjectKind kind = anchor != nullptr ? anchor->Kind() : NotebookObjectKind::kOther;
  if (kind == NotebookObjectKind::kTableCell) return static_cast<const TableCell&>(*anchor).Row();
  if (kind == NotebookObjectKind::kTableRow && messages_.takes_rows) {
    return Ref<TableRow>(static_cast<TableRow*>(anchor));
  }
  Raise(messages_.context_source, messages_.wrong_context);
}

Ref<TableRow> CellNoteFunction::RowOfColumn(const TableProperty& column,
                                            NotebookObject* anchor) const {
  Ref<TableRow> row = ContextRow(anchor);
  if (!IsSameObject(column.OwningTable().get(), row->OwningTable().get())) {
    Refuse(messages_.other_table);
  }
  return row;
}

Ref<TableCell> CellNoteFunction::DenotedCell(NotebookObject* object, NotebookObject* anchor) const {
  const NotebookObjectKind kind = object != nullptr ? object->Kind() : NotebookObjectKind::kOther;
  if (kind == NotebookObjectKind::kTableCell) {
    return Ref<TableCell>(static_cast<TableCell*>(object));
  }
  if (kind != NotebookObjectKind::kTableProperty) Refuse(messages_.wrong_object);
  const auto& column = static_cast<const TableProperty&>(*object);
  return RowOfColumn(column, anchor)->Cell(column);
}

TagFunction::TagFunction() : CellNoteFunction(FunctionRowOf(kClassName), kTag) {}
IsEnteredFunction::IsEnteredFunction() : CellNoteFunction(FunctionRowOf(kClassName), kIsEntered) {}
RowTagFunction::RowTagFunction() : CellNoteFunction(FunctionRowOf(kClassName), kRowTag) {}

void TagFunction::Compute(const TokenLayer& args, NotebookObject* anchor, CellValue& target) {
  const LayerItem argument = FirstArgument(args);
  if (argument.TokenType() == kFormulaTokenTypeString) {
    target.SetString(argument.String());
    return;
  }
  const Ref<NotebookObject> object = DenotedObject(argument, anchor, target);
  if (IsErrorValue(target)) return;
  const Ref<TableCell> cell = DenotedCell(object.get(), anchor);
  if (!cell) Raise(RuntimeError::kObjectNotSet);
  TellOfNote(*cell);
  target.SetString(cell->Tag());
}

void IsEnteredFunction::Compute(const TokenLayer& args, NotebookObject* anchor, CellValue& target) {
  const LayerItem argument = FirstArgument(args);
  if (argument.TokenType() == kFormulaTokenTypeString) {
    target.SetBoolean(argument.String() == kEntered);
    return;
  }
  const Ref<NotebookObject> object = DenotedObject(argument, anchor, target);
  if (IsErrorValue(target)) return;
  const Ref<TableCell> cell = DenotedCell(object.get(), anchor);
  if (cell) TellOfNote(*cell);
  target.SetBoolean(cell && cell->Tag() == kEntered);
}

Bound RowTagFunction::BindArguments(Binder&, const TokenLayer&, const Place&, RowRun) const {
  Bound bound;
  bound.reads.is_unknown = true;
  return bound;
}

void RowTagFunction::Compute(const TokenLayer& args, NotebookObject* anchor, CellValue& target) {
  const LayerItem argument = FirstArgument(args);
  // A text denotes no row.
  if (argument.TokenType() == kFormulaTokenTypeString) Raise(RuntimeError::kObjectNotSet);
  const Ref<NotebookObject> object = DenotedObject(argument, anchor, target);
  if (IsErrorValue(target)) return;
  Ref<TableRow> row;
  if (object && object->Kind() == NotebookObjectKind::kTableProperty) {
    row = RowOfColumn(static_cast<const TableProperty&>(*object), anchor);
  } else {
    row = DenotedCell(object.get(), anchor)->Row();
  }
  std::u16string name = u"ID";
  if (args.Count() == 2) {
    const LayerItem second = args.Item(1);
    if (second.IsLayer() || second.TokenType() != kFormulaTokenTypeString) {
      Refuse(u"the second argument for the row tag function is not of the correct type");
    }
    name = second.String();
  }
  target.SetString(row->Tag(name));
}

}  // namespace ktformula
