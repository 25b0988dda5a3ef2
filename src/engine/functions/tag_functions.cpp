#include "functions/tag_functions.h"

#include "values/raised_error.h"

namespace ktformula {

namespace {

// The wording of one function. ISENTERED borrows from TAG.
struct TagMessages {
  std::u16string_view source;
  // The source of the message about the context.
  std::u16string_view context_source;
  std::u16string_view no_arguments;
  std::u16string_view wrong_count_before;
  std::u16string_view wrong_count_after;
  std::u16string_view not_a_token;
  std::u16string_view wrong_type;
  std::u16string_view wrong_context;
  std::u16string_view other_table;
  std::u16string_view wrong_object;
};

constexpr std::u16string_view kTagSource = u"TagFunction.IKtFormulaFunction_ComputeValue";
constexpr std::u16string_view kRowTagSource = u"RowTagFunction.IKtFormulaFunction_ComputeValue";

constexpr TagMessages kTag{
    kTagSource,
    kTagSource,
    u"the tag function requires one argument",
    u"the number of arguments for tag function (",
    u") is not 1",
    u"the argument of the tag function must be a reference",
    u"the argument for the tag function is not of the correct type",
    u"the argument for the tag function can only be resolved in the context of a table cell",
    u"the table property argument for the tag function must be in the same table section as the "
    u"table cell in which the value will be calculated",
    u"the argument for the tag function is not a reference to a table property",
};

constexpr TagMessages kIsEntered{
    kTagSource,
    u"IsEnteredFunction.IKtFormulaFunction_ComputeValue",
    u"the IsEntered function requires one argument",
    u"the number of arguments for IsEntered function (",
    u") is not 1",
    u"the argument of the IsEntered function must be a reference",
    u"the argument for the tag function is not of the correct type",
    u"the argument for the IsEntered function can only be resolved in the context of a table cell "
    u"or a table row",
    u"the table property argument for the IsEntered function must be in the same table section as "
    u"the table cell in which the value will be calculated",
    u"the argument for the tag function is not a reference to a table property",
};

constexpr TagMessages kRowTag{
    kRowTagSource,
    kRowTagSource,
    u"the row tag function requires one argument",
    u"the number of arguments for row tag function (",
    u") is not 1 or 2",
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

// The first argument: a reference or a text.
LayerItem FirstArgument(const TokenLayer* args, std::size_t most, const TagMessages& messages) {
  if (args == nullptr) Raise(messages.source, messages.no_arguments);
  const std::size_t count = args->Count();
  if (count < 1 || count > most) {
    Raise(messages.source,
          CountMessage(messages.wrong_count_before, count, messages.wrong_count_after));
  }
  const LayerItem token = args->Item(0);
  if (token.IsLayer()) Raise(messages.source, messages.not_a_token);
  if (token.TokenType() != kFormulaTokenTypeReference &&
      token.TokenType() != kFormulaTokenTypeString) {
    Raise(messages.source, messages.wrong_type);
  }
  return token;
}

enum class Contexts { kCellsOnly, kCellsAndRows };

// The row for which the formula is computed.
Ref<TableRow> ContextRow(NotebookObject* anchor, Contexts contexts, const TagMessages& messages) {
  const NotebookObjectKind kind = anchor != nullptr ? anchor->Kind() : NotebookObjectKind::kOther;
  if (kind == NotebookObjectKind::kTableCell) return static_cast<const TableCell&>(*anchor).Row();
  if (kind == NotebookObjectKind::kTableRow && contexts == Contexts::kCellsAndRows) {
    return Ref<TableRow>(static_cast<TableRow*>(anchor));
  }
  Raise(messages.context_source, messages.wrong_context);
}

// The row for which the formula is computed, in the same table as the column.
Ref<TableRow> RowOfColumn(const TableProperty& column, NotebookObject* anchor, Contexts contexts,
                          const TagMessages& messages) {
  Ref<TableRow> row = ContextRow(anchor, contexts, messages);
  if (!IsSameObject(column.OwningTable().get(), row->OwningTable().get())) {
    Raise(messages.source, messages.other_table);
  }
  return row;
}

// The cell that the object denotes; empty for a column without a cell in the row.
Ref<TableCell> DenotedCell(NotebookObject* object, NotebookObject* anchor, Contexts contexts,
                           const TagMessages& messages) {
  const NotebookObjectKind kind = object != nullptr ? object->Kind() : NotebookObjectKind::kOther;
  if (kind == NotebookObjectKind::kTableCell) {
    return Ref<TableCell>(static_cast<TableCell*>(object));
  }
  if (kind != NotebookObjectKind::kTableProperty) Raise(messages.source, messages.wrong_object);
  const auto& column = static_cast<const TableProperty&>(*object);
  return RowOfColumn(column, anchor, contexts, messages)->Cell(column);
}

// What the reference denotes; when it is not recognized `target` is an error value then.
Ref<NotebookObject> DenotedObject(const LayerItem& reference, NotebookObject* anchor,
                                  CellValue& target) {
  return ResolveReference(target, reference.Reference(), anchor, anchor);
}

bool IsErrorValue(const CellValue& value) {
  return value.CellValueType() == kCellValueTypeError;
}

}  // namespace

Bound CellTagFunction::Bind(Binder& binder, const TokenLayer& args, const Place& anchor,
                            unsigned) const {
  if (args.Count() == 0) return {};
  const ReferencePath* const reference = AsReference(args.Item(0));
  if (reference == nullptr) return {};
  return {binder.BindCell(*reference, Standpoint::At(anchor), kCellRun).reads, nullptr};
}

void TagFunction::ComputeValue(const TokenLayer* args, NotebookObject* anchor,
                               CellValue& TargetCellValue) {
  const LayerItem argument = FirstArgument(args, 1, kTag);
  if (argument.TokenType() == kFormulaTokenTypeString) {
    TargetCellValue.SetString(argument.String());
    return;
  }
  const Ref<NotebookObject> object = DenotedObject(argument, anchor, TargetCellValue);
  if (IsErrorValue(TargetCellValue)) return;
  const Ref<TableCell> cell = DenotedCell(object.get(), anchor, Contexts::kCellsOnly, kTag);
  if (!cell) Raise(RuntimeError::kObjectNotSet);
  TargetCellValue.SetString(cell->Tag());
}

void IsEnteredFunction::ComputeValue(const TokenLayer* args, NotebookObject* anchor,
                                     CellValue& TargetCellValue) {
  const LayerItem argument = FirstArgument(args, 1, kIsEntered);
  if (argument.TokenType() == kFormulaTokenTypeString) {
    TargetCellValue.SetBoolean(argument.String() == kEntered);
    return;
  }
  const Ref<NotebookObject> object = DenotedObject(argument, anchor, TargetCellValue);
  if (IsErrorValue(TargetCellValue)) return;
  const Ref<TableCell> cell =
      DenotedCell(object.get(), anchor, Contexts::kCellsAndRows, kIsEntered);
  TargetCellValue.SetBoolean(cell && cell->Tag() == kEntered);
}

void RowTagFunction::ComputeValue(const TokenLayer* args, NotebookObject* anchor,
                                  CellValue& TargetCellValue) {
  const LayerItem argument = FirstArgument(args, 2, kRowTag);
  // A text denotes no row.
  if (argument.TokenType() == kFormulaTokenTypeString) Raise(RuntimeError::kObjectNotSet);
  const Ref<NotebookObject> object = DenotedObject(argument, anchor, TargetCellValue);
  if (IsErrorValue(TargetCellValue)) return;
  Ref<TableRow> row;
  if (object && object->Kind() == NotebookObjectKind::kTableProperty) {
    row = RowOfColumn(static_cast<const TableProperty&>(*object), anchor, Contexts::kCellsOnly,
                      kRowTag);
  } else {
    row = DenotedCell(object.get(), anchor, Contexts::kCellsOnly, kRowTag)->Row();
  }
  std::u16string name = u"ID";
  if (args->Count() == 2) {
    const LayerItem second = args->Item(1);
    if (second.IsLayer() || second.TokenType() != kFormulaTokenTypeString) {
      Raise(kRowTag.source,
            u"the second argument for the row tag function is not of the correct type");
    }
    name = second.String();
  }
  TargetCellValue.SetString(row->Tag(name));
}

}  // namespace ktformula
