#include "notebook/tables/table_binding.h"

#include <algorithm>
#include <cstdint>

#include "values/platform.h"
#include "values/text.h"

namespace ktnotebook {

using ktformula::Denotation;
using ktformula::NotebookObject;
using ktformula::Ref;
using ktformula::ReferenceStart;

namespace {

bool IsParent(std::u16string_view part) {
  return ktformula::LowerCase(part) == u"parent";
}

// The object for every start, or nothing.
Denotation Denoting(NotebookObject* object) {
  if (object == nullptr) return {Denotation::Kind::kNothing, nullptr};
  return {Denotation::Kind::kObject, Ref<NotebookObject>(object)};
}

}  // namespace

Denotation TableBinding::Denote(ReferenceStart start, std::span<const std::u16string> parts) {
  switch (start) {
    case ReferenceStart::kCell: return DenoteFromCell(parts);
    case ReferenceStart::kRow: return DenoteFromRow(parts);
    case ReferenceStart::kTable: break;
  }
  return DenoteFromTable(parts);
}

Denotation TableBinding::DenoteFromCell(std::span<const std::u16string> parts) {
  if (!IsParent(parts.front())) {
    return Denoting(parts.size() == 1 ? ColumnNamed(parts.front()) : nullptr);
  }
  if (parts.size() == 1) return {Denotation::Kind::kOwnRow, nullptr};
  if (IsParent(parts[1])) return DenoteFromRow(parts.subspan(1));
  Denotation cell = Denoting(parts.size() == 2 ? ColumnNamed(parts[1]) : nullptr);
  if (cell.object) cell.kind = Denotation::Kind::kOwnCell;
  return cell;
}

Denotation TableBinding::DenoteFromRow(std::span<const std::u16string> parts) {
  if (IsParent(parts.front())) {
    return parts.size() == 1 ? Denoting(&BoundTable()) : DenoteFromTable(parts.subspan(1));
  }
  return Denoting(parts.size() == 1 ? ColumnNamed(parts.front()) : nullptr);
}

Denotation TableBinding::DenoteFromTable(std::span<const std::u16string> parts) {
  if (parts.size() == 1 && IsParent(parts.front())) return Denoting(&BoundForm());
  NotebookObject* const column = parts.size() <= 2 ? ColumnNamed(parts.front()) : nullptr;
  if (column == nullptr || parts.size() == 1) return Denoting(column);
  const std::optional<std::size_t> row = RowNamed(parts[1]);
  if (!row) return Denoting(nullptr);
  return {Denotation::Kind::kObject, CellAt(*column, *row)};
}

Ref<NotebookObject> TableBinding::Resolve(ReferenceStart start,
                                          std::span<const std::u16string> parts, std::size_t row) {
  const Denotation denotation = Denote(start, parts);
  switch (denotation.kind) {
    case Denotation::Kind::kOwnRow: return RowAt(row);
    case Denotation::Kind::kOwnCell: return CellAt(*denotation.object, row);
    default: return denotation.object;
  }
}

std::optional<std::size_t> RowOfNumber(std::u16string_view number, std::size_t rows) {
  const bool is_count =
      !number.empty() && std::all_of(number.begin(), number.end(), ktformula::IsDigit);
  if (!is_count) return std::nullopt;
  const double value = ktformula::NumericValue(number).value_or(0);
  if (value < 1 || value > static_cast<double>(rows)) return std::nullopt;
  return static_cast<std::size_t>(value) - 1;
}

std::u16string NumberOfRow(std::size_t row) {
  return ktformula::ToDecimalText(static_cast<std::int64_t>(row) + 1);
}

}  // namespace ktnotebook
