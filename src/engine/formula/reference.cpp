#include "formula/reference.h"

#include "formula/observation.h"
#include "values/cell_value.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktformula {

namespace {

constexpr std::u16string_view kReferenceValueSource = u"CellValue.ReferenceValue";

[[noreturn]] void RaiseNotConvertible(std::u16string_view type_name) {
  Raise(kReferenceValueSource, u"the object of type \"" + std::u16string(type_name) +
                                   u"\" can not be converted into a value");
}

void TakeCell(CellValue& value, const TableCell& cell) {
  if (EvaluationObserver* const observer = Observation::Observer()) observer->ReadCell(cell);
  value.InitializeFromGridCell(cell);
}

bool AreSameTable(const TableProperty& column, const TableRow& row) {
  return IsSameObject(column.OwningTable().get(), row.OwningTable().get());
}

// The column's cell in the row of the anchor.
void TakeTableProperty(CellValue& value, const TableProperty& column, NotebookObject* anchor) {
  const NotebookObjectKind kind = anchor != nullptr ? anchor->Kind() : NotebookObjectKind::kOther;
  if (kind == NotebookObjectKind::kTableRow) {
    const auto& row = static_cast<const TableRow&>(*anchor);
    if (!AreSameTable(column, row)) {
      Raise(kReferenceValueSource,
            u"the specified table property can not be resolved to a value for a table row in a "
            u"different table");
    }
    const Ref<TableCell> cell = row.Cell(column);
    if (!cell) {
      Raise(kReferenceValueSource,
            u"the specified table property can not be resolved to a value for this table row");
    }
    TakeCell(value, *cell);
  } else if (kind == NotebookObjectKind::kTableCell) {
    const Ref<TableRow> row = static_cast<const TableCell&>(*anchor).Row();
    if (!AreSameTable(column, *row)) {
      Raise(kReferenceValueSource,
            u"the specified table property can not be resolved to a value for a table cell in a "
            u"different table");
    }
    const Ref<TableCell> cell = row->Cell(column);
    if (!cell) Raise(RuntimeError::kObjectNotSet);
    TakeCell(value, *cell);
  } else {
    Raise(kReferenceValueSource,
          u"the specified table property can not be resolved to a value for a formula being "
          u"assigned to something other than a table cell");
  }
}

}  // namespace

ReferencePath::ReferencePath(std::u16string_view reference_text) : text(reference_text) {
  for (const std::u16string_view piece : Split(reference_text, u':')) {
    parts.emplace_back(TrimBlanks(piece));
  }
  if (LowerCase(parts.front()) == u"this") {
    starts_with_this = true;
    parts.erase(parts.begin());
  }
  starts_with_parent = !parts.empty() && LowerCase(parts.front()) == u"parent";
}

Ref<NotebookObject> ResolveReference(CellValue& value, const ReferencePath& reference,
                                     NotebookObject* anchor, NotebookObject* this_object) {
  NotebookObject* const start = reference.starts_with_this ? this_object : anchor;
  const std::span<const std::u16string> parts = reference.parts;
  if (parts.empty()) return Ref<NotebookObject>(start);

  if ((reference.starts_with_parent || parts.size() == 1) && start != nullptr &&
      start->ResolvesRelativeReferences()) {
    if (Ref<NotebookObject> answer = start->ResolveRelative(parts)) return answer;
  }

  const Ref<PropertyScope> scope = start != nullptr ? start->Scope() : nullptr;
  const Ref<NotebookObject> holder = scope ? scope->FindHolder(parts.front()) : nullptr;
  if (!holder) {
    value.SetError(kComponentError, u"CellValue.ResolveReference",
                   u"the reference \"" + reference.text + u"\" is not recognized");
    return nullptr;
  }
  if (parts.size() > 1 && holder->ResolvesRelativeReferences()) {
    return holder->ResolveRelative(parts.subspan(1));
  }
  return scope->ValueObject(*holder);
}

void ReferenceValue(CellValue& value, const ReferencePath& reference, NotebookObject* anchor,
                    NotebookObject* this_object, NamedValues* listener) {
  if (listener != nullptr) {
    if (const auto defined = listener->DefinedValue(reference.text)) {
      value.CopyFrom(*defined);
      return;
    }
  }
  const Ref<NotebookObject> object = ResolveReference(value, reference, anchor, this_object);
  if (!object) RaiseNotConvertible(u"Nothing");
  switch (object->Kind()) {
    case NotebookObjectKind::kTableCell:
      TakeCell(value, static_cast<const TableCell&>(*object));
      return;
    case NotebookObjectKind::kTableProperty:
      TakeTableProperty(value, static_cast<const TableProperty&>(*object), anchor);
      return;
    case NotebookObjectKind::kStructure:
      value.InitializeFromChemicalStructure(static_cast<const ChemicalStructure&>(*object));
      return;
    default: RaiseNotConvertible(object->TypeName());
  }
}

}  // namespace ktformula
