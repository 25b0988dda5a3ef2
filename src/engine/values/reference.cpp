#include "values/reference.h"

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

bool AreSameTable(const TableProperty& column, const TableRow& row) {
  return IsSameObject(column.OwningTable().get(), row.OwningTable().get());
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

Ref<NotebookObject> CellValue::ResolveReference(std::u16string_view ReferenceText,
                                                NotebookObject* sco, NotebookObject* thisObject) {
  return ResolveReference(ReferencePath(ReferenceText), sco, thisObject);
}

Ref<NotebookObject> CellValue::ResolveReference(const ReferencePath& reference, NotebookObject* sco,
                                                NotebookObject* thisObject) {
  NotebookObject* anchor = reference.starts_with_this ? thisObject : sco;
  const std::span<const std::u16string> parts = reference.parts;
  if (parts.empty()) return Ref<NotebookObject>(anchor);

  if ((reference.starts_with_parent || parts.size() == 1) && anchor != nullptr &&
      anchor->ResolvesRelativeReferences()) {
    if (Ref<NotebookObject> answer = anchor->ResolveRelative(parts)) return answer;
  }

  const Ref<PropertyScope> scope = anchor != nullptr ? anchor->Scope() : nullptr;
  const Ref<NotebookObject> holder = scope ? scope->FindHolder(parts.front()) : nullptr;
  if (!holder) {
    SetError(kComponentError, u"CellValue.ResolveReference",
             u"the reference \"" + reference.text + u"\" is not recognized");
    return nullptr;
  }
  if (parts.size() > 1 && holder->ResolvesRelativeReferences()) {
    return holder->ResolveRelative(parts.subspan(1));
  }
  return scope->ValueObject(*holder);
}

void CellValue::ReferenceValue(std::u16string_view ReferenceText, NotebookObject* sco,
                               NotebookObject* thisObject, NamedValues* FormulaListener) {
  ReferenceValue(ReferencePath(ReferenceText), sco, thisObject, FormulaListener);
}

void CellValue::ReferenceValue(const ReferencePath& reference, NotebookObject* sco,
                               NotebookObject* thisObject, NamedValues* FormulaListener) {
  if (FormulaListener != nullptr) {
    if (const auto defined = FormulaListener->DefinedValue(reference.text)) {
      CopyFrom(*defined);
      return;
    }
  }
  const Ref<NotebookObject> object = ResolveReference(reference, sco, thisObject);
  if (!object) RaiseNotConvertible(u"Nothing");
  switch (object->Kind()) {
    case NotebookObjectKind::kTableCell:
      InitializeFromGridCell(static_cast<const TableCell&>(*object));
      return;
    case NotebookObjectKind::kTableProperty:
      TakeTableProperty(static_cast<const TableProperty&>(*object), sco);
      return;
    case NotebookObjectKind::kStructure:
      InitializeFromChemicalStructure(static_cast<const ChemicalStructure&>(*object));
      return;
    default: RaiseNotConvertible(object->TypeName());
  }
}

void CellValue::TakeTableProperty(const TableProperty& column, NotebookObject* sco) {
  const NotebookObjectKind kind = sco != nullptr ? sco->Kind() : NotebookObjectKind::kOther;
  if (kind == NotebookObjectKind::kTableRow) {
    const auto& row = static_cast<const TableRow&>(*sco);
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
    InitializeFromGridCell(*cell);
  } else if (kind == NotebookObjectKind::kTableCell) {
    const Ref<TableRow> row = static_cast<const TableCell&>(*sco).Row();
    if (!AreSameTable(column, *row)) {
      Raise(kReferenceValueSource,
            u"the specified table property can not be resolved to a value for a table cell in a "
            u"different table");
    }
    const Ref<TableCell> cell = row->Cell(column);
    if (!cell) Raise(RuntimeError::kObjectNotSet);
    InitializeFromGridCell(*cell);
  } else {
    Raise(kReferenceValueSource,
          u"the specified table property can not be resolved to a value for a formula being "
          u"assigned to something other than a table cell");
  }
}

}  // namespace ktformula
