#include "analysis/reach.h"

#include <algorithm>

#include "analysis/finding.h"

#include "values/cell_value.h"
#include "values/nearest_name.h"
#include "values/raised_error.h"

namespace ktformula {

namespace {

Meaning OfColumn(Meaning::Kind kind, const TableProperty& column) {
  return {kind, column.Property(), column.OwningTable()};
}

Meaning OfObject(NotebookObject* object) {
  if (object == nullptr) return {Meaning::Kind::kNothing, nullptr, nullptr};
  switch (object->Kind()) {
    case NotebookObjectKind::kTableCell: {
      const auto& cell = static_cast<const TableCell&>(*object);
      return {Meaning::Kind::kCell, cell.Property(), nullptr};
    }
    case NotebookObjectKind::kTableRow: return {Meaning::Kind::kRow, nullptr, nullptr};
    case NotebookObjectKind::kTable:
      return {Meaning::Kind::kTable, nullptr, Ref<Table>(static_cast<Table*>(object))};
    case NotebookObjectKind::kTableProperty:
      return OfColumn(Meaning::Kind::kColumn, static_cast<const TableProperty&>(*object));
    case NotebookObjectKind::kStructure: return {Meaning::Kind::kStructure, nullptr, nullptr};
    default: return {Meaning::Kind::kOther, nullptr, nullptr};
  }
}

Meaning OfStart(const Spot& spot) {
  switch (spot.start) {
    case ReferenceStart::kCell: return {Meaning::Kind::kCell, spot.column->Property(), nullptr};
    case ReferenceStart::kRow: return {Meaning::Kind::kRow, nullptr, nullptr};
    default: return {Meaning::Kind::kTable, nullptr, spot.table};
  }
}

Place PlaceOf(const Spot& spot) {
  if (!spot.table || spot.table->Binding() == nullptr) return {};
  return {spot.table.get(), spot.start, kCellRun, spot.column.get()};
}

// One of the spot's objects; empty when there is none.
Ref<NotebookObject> SampleOf(const Spot& spot) {
  if (!spot.table) return nullptr;
  if (spot.start == ReferenceStart::kTable) return Ref<NotebookObject>(spot.table.get());
  if (spot.table->RowCount() == 0) return nullptr;
  if (spot.start == ReferenceStart::kRow) return Ref<NotebookObject>(spot.table->Row(1).get());
  return spot.column->CellCount() > 0 ? Ref<NotebookObject>(spot.column->Cell(1).get()) : nullptr;
}

// Advice to write something else.
NameAdvice Instead(std::u16string message, std::u16string meant) {
  std::u16string help = u"did you mean " + meant + u"?";
  return {std::move(message), std::move(help), std::move(meant)};
}

std::u16string InBrackets(std::u16string_view name) {
  return u"[" + std::u16string(name) + u"]";
}

// The reference as it was written, with another part in the place of one.
std::u16string WithPart(const ReferencePath& reference, std::size_t index,
                        std::u16string_view part) {
  std::u16string text = reference.starts_with_this ? u"this:" : u"";
  for (std::size_t i = 0; i < reference.parts.size(); ++i) {
    if (i > 0) text += u":";
    text += i == index ? part : std::u16string_view(reference.parts[i]);
  }
  return InBrackets(text);
}

bool Contains(std::span<const std::u16string> names, std::u16string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

std::vector<std::u16string> ColumnNames(const Table& table) {
  std::vector<std::u16string> names;
  for (int i = 1; i <= table.ColumnCount(); ++i)
    names.push_back(table.Column(i)->Property()->Name());
  return names;
}

Meaning Reach::Resolve(const ReferencePath& reference, const Standing& at) const {
  const Spot& start = reference.starts_with_this ? at.this_spot : at.anchor;
  if (!start.table) return {};
  if (reference.parts.empty()) return OfStart(start);
  const Denoted denoted =
      Binder::Resolve(reference, Standpoint{PlaceOf(at.anchor), PlaceOf(at.this_spot)});
  switch (denoted.kind) {
    case Denoted::Kind::kNothing: return {Meaning::Kind::kNothing, nullptr, nullptr};
    case Denoted::Kind::kObject: return OfObject(denoted.object.get());
    case Denoted::Kind::kOwnCell:
      return {Meaning::Kind::kCell, static_cast<const TableProperty&>(*denoted.object).Property(),
              nullptr};
    case Denoted::Kind::kOwnRow: return {Meaning::Kind::kRow, nullptr, nullptr};
    default: break;
  }
  const Ref<NotebookObject> sample = SampleOf(start);
  if (!sample) return {};
  try {
    CellValue unused;
    return OfObject(ResolveReference(unused, reference, sample.get(), sample.get()).get());
  } catch (const RaisedError&) {
    return {};
  }
}

std::vector<std::u16string> Reach::NamesAt(const Spot& spot,
                                           std::span<const std::u16string> definitions) const {
  std::vector<std::u16string> names;
  if (spot.table) names = ColumnNames(*spot.table);
  names.insert(names.end(), definitions.begin(), definitions.end());
  for (const WatchedTable& table : form_.tables)
    names.push_back(table.name);
  names.insert(names.end(), form_.other_fields.begin(), form_.other_fields.end());
  return names;
}

const WatchedTable* Reach::FindTable(std::u16string_view name) const {
  const auto found = std::find_if(form_.tables.begin(), form_.tables.end(),
                                  [name](const WatchedTable& table) { return table.name == name; });
  return found != form_.tables.end() ? &*found : nullptr;
}

// Of a reference such as [Table:Column:Row] whose table is there.
std::optional<NameAdvice> Reach::AdviseOnPath(const ReferencePath& reference) const {
  const auto& parts = reference.parts;
  const WatchedTable* const table = parts.size() > 1 ? FindTable(parts[0]) : nullptr;
  if (table == nullptr) return std::nullopt;
  const std::u16string where = u"the table " + InQuotes(table->name) + u" has no ";
  const std::vector<std::u16string> columns = ColumnNames(*table->table);
  if (Contains(columns, parts[1]) && parts.size() > 2) {
    return NameAdvice{where + u"row " + InQuotes(parts[2]), u"", u""};
  }
  std::u16string message = where + u"column " + InQuotes(parts[1]);
  if (const auto nearest = NearestName(parts[1], columns))
    return Instead(std::move(message), WithPart(reference, 1, *nearest));
  return NameAdvice{std::move(message), u"", u""};
}

NameAdvice Reach::AdviseOn(const ReferencePath& reference, const Standing& at,
                           std::span<const std::u16string> definitions) const {
  if (auto advice = AdviseOnPath(reference)) return *std::move(advice);
  // "parent" is in reach everywhere; what may be wrong is the name behind it.
  const std::size_t index = reference.starts_with_parent ? reference.parts.size() - 1 : 0;
  const std::u16string& name = reference.parts[index];
  std::u16string message = u"nothing here is called " + InQuotes(name);
  const Spot& start = reference.starts_with_this ? at.this_spot : at.anchor;
  const bool is_bare = reference.parts.size() == 1 && !reference.starts_with_this;
  const WatchedTable* const own = start.table ? form_.Find(*start.table) : nullptr;
  if (index == 0 && !is_bare && !reference.starts_with_this && own != nullptr &&
      Contains(ColumnNames(*own->table), name)) {
    return Instead(InQuotes(name) + u" is a column: a cell of it is named with its table",
                   InBrackets(own->name + u":" + reference.text));
  }
  const bool is_in_other_row = is_bare && at.this_spot.start == ReferenceStart::kCell &&
                               at.anchor.start == ReferenceStart::kRow && at.this_spot.table;
  if (is_in_other_row && Contains(ColumnNames(*at.this_spot.table), name)) {
    return Instead(std::move(message), u"[this:parent:" + name + u"]");
  }
  const auto nearest =
      NearestName(name, NamesAt(start, is_bare ? definitions : std::span<const std::u16string>()));
  if (nearest) return Instead(std::move(message), WithPart(reference, index, *nearest));
  return {std::move(message), u"", u""};
}

NameAdvice Reach::AdviseOnBareName(std::u16string_view name, const Standing& at,
                                   std::span<const std::u16string> definitions) const {
  std::u16string message = u"nothing here is called " + InQuotes(name);
  const std::vector<std::u16string> names = NamesAt(at.anchor, definitions);
  if (Contains(names, name)) return Instead(std::move(message), InBrackets(name));
  if (const auto nearest = NearestName(name, names))
    return Instead(std::move(message), InBrackets(*nearest));
  return {std::move(message), u"", u""};
}

}  // namespace ktformula
