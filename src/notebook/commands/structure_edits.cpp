#include "notebook/commands/structure_edits.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <set>

#include "notebook/files/utf.h"

namespace ktnotebook {

namespace {

std::string Quoted(std::u16string_view text) {
  return "\"" + ToUtf8(text) + "\"";
}

Names FieldNames(const NotebookForm& form) {
  return NamesOf(form.Fields(), [](const auto& field) { return field->Name(); });
}
Names ColumnNames(const NotebookTable& table) {
  return NamesOf(table.Columns(), [](const auto& column) { return column->Definition().name; });
}
Names RowIds(const NotebookTable& table) {
  return NamesOf(table.Rows(), [](const NotebookRow& row) { return row.ID(); });
}

std::int32_t Behind(const std::set<std::int64_t>& used) {
  constexpr std::int64_t kLargest = std::numeric_limits<std::int32_t>::max();
  std::int64_t key = *used.rbegin() + 1;
  // A person chose the largest one.
  while (key > kLargest || used.contains(key))
    key = key > kLargest ? 1 : key + 1;
  return static_cast<std::int32_t>(key);
}

// One entry for each formula.
FormulaList ListOf(const std::vector<ChangedReference>& changed) {
  FormulaList list;
  std::u16string last;
  for (const ChangedReference& reference : changed) {
    const std::string says = "[" + ToUtf8(reference.text) + "]";
    if (!list.empty() && reference.formula.address == last) {
      list.back().insert(list.back().size() - 1, ", " + says);
      continue;
    }
    last = reference.formula.address;
    list.push_back(ToUtf8(last) + " (" + says + ")");
  }
  return list;
}

// References that meant something before, and mean something else now.
std::vector<ChangedReference> Redirected(const FormEdits& edits) {
  std::vector<ChangedReference> redirected = edits.Changed();
  std::erase_if(redirected, [](const ChangedReference& reference) {
    return reference.before.kind == Meaning::Kind::kNothing;
  });
  return redirected;
}

// A new name that stands between formulas and what they mean is none for it.
void RefuseRedirected(const FormEdits& edits) {
  const std::vector<ChangedReference> redirected = Redirected(edits);
  if (redirected.empty()) return;
  const ChangedReference& first = redirected.front();
  throw NotebookError(ToUtf8(first.formula.address + u" refers to [" + first.text +
                             u"], which means " + first.before.Description() + u" and would mean " +
                             first.after.Description()));
}

PropertyDefinition DefinitionOf(const NewPart& part, std::u16string_view name, std::int32_t key,
                                const NotebookUnitCatalogue& units) {
  PropertyDefinition definition;
  definition.key = key;
  definition.name = name;
  const bool has_format = part.unit || part.number_formatting;
  const std::u16string type = part.type.value_or(has_format ? u"number" : u"string");
  const std::optional<DataType> known = FindDataType(type);
  if (!known) {
    throw NotebookError("there is no type " + Quoted(type) +
                        "; types are string, number, date, Boolean and structure");
  }
  definition.type = *known;
  if (has_format && *known != DataType::kNumber) {
    throw NotebookError("only a column of numbers has a unit or number formatting");
  }
  if (part.unit) {
    definition.unit = units.FindUnit(*part.unit);
    if (definition.unit == nullptr) {
      throw NotebookError("the unit " + Quoted(*part.unit) + " is not known");
    }
  }
  definition.number_formatting = has_format;
  return definition;
}

ktformula::Dictionary<std::u16string> TagsOf(const NewPart& part) {
  ktformula::Dictionary<std::u16string> tags;
  for (const auto& [name, value] : part.tags) {
    if (!tags.Add(name, value)) {
      throw NotebookError("the tag " + Quoted(name) + " is given twice");
    }
  }
  return tags;
}

void RequireKind(const NewPart& part, NewPartAddress::Kind kind) {
  using Kind = NewPartAddress::Kind;
  if (kind != Kind::kColumn && (part.type || part.unit || part.number_formatting)) {
    throw NotebookError("only a column, FORM/TABLE:COLUMN, has a type, unit or number formatting");
  }
  if (kind != Kind::kRow && !part.tags.empty()) {
    throw NotebookError("only a row, FORM/TABLE::ROW, has tags");
  }
}

// Runs edits as one step, which what they throw takes back; what is refused is refused here.
void AsOneStep(FormEdits& edits, const std::function<void()>& body) {
  try {
    edits.Together(body);
  } catch (const EditRefusal& refusal) {
    throw NotebookError(ToUtf8(refusal.Reason()));
  }
}

void Add(FormEdits& edits, const NewPartAddress& address, const NewPart& part,
         const std::function<FreeKeys()>& keys) {
  using Kind = NewPartAddress::Kind;
  switch (address.kind) {
    case Kind::kTable:
      edits.AddTable(address.name, keys().table,
                     IndexAmong(FieldNames(*address.form), part.place, std::nullopt));
      return RefuseRedirected(edits);
    case Kind::kColumn:
      edits.AddColumn(*address.table,
                      DefinitionOf(part, address.name, keys().property, address.form->Units()),
                      IndexAmong(ColumnNames(*address.table), part.place, std::nullopt));
      return RefuseRedirected(edits);
    case Kind::kRow:
      edits.AddRow(*address.table, address.name, TagsOf(part),
                   IndexAmong(RowIds(*address.table), part.place, std::nullopt));
      return;
  }
}

void Rename(FormEdits& edits, const PartAddress& part, std::u16string_view name) {
  if (part.row) return edits.RenameRow(*part.field->OwnTable(), part.row->Index(), name);
  if (part.column != nullptr) return edits.RenameColumn(*part.column, name);
  if (part.field != nullptr) return edits.RenameField(*part.field, name);
  edits.RenameForm(name);
}

void Move(FormEdits& edits, const PartAddress& part, const PartPlace& place) {
  if (part.row) {
    NotebookTable& table = *part.field->OwnTable();
    const std::size_t row = part.row->Index();
    return edits.MoveRow(table, row, IndexAmong(RowIds(table), place, row));
  }
  if (part.column != nullptr) {
    const std::size_t index = part.column->Index();
    const Names names = ColumnNames(part.column->Parent());
    return edits.MoveColumn(*part.column, IndexAmong(names, place, index));
  }
  const auto index = static_cast<std::size_t>(part.field->Position()) - 1;
  edits.MoveField(*part.field, IndexAmong(FieldNames(*part.form), place, index));
}

void Remove(FormEdits& edits, const PartAddress& part) {
  if (part.row) return edits.RemoveRow(*part.field->OwnTable(), part.row->Index());
  if (part.column != nullptr) return edits.RemoveColumn(*part.column);
  edits.RemoveField(*part.field);
}

FormulaList RemoveAsOneStep(FormEdits& edits, const std::function<void()>& remove, bool force) {
  FormulaList lost;
  AsOneStep(edits, [&] {
    remove();
    lost = ListOf(edits.Changed());
    if (!lost.empty() && !force) throw LostByFormulas(lost);
  });
  return lost;
}

}  // namespace

FreeKeys FindFreeKeys(const std::vector<Ref<NotebookForm>>& forms,
                      const NotebookStore::Keys& in_use) {
  std::set<std::int64_t> tables{in_use.table};
  std::set<std::int64_t> properties{in_use.property};
  for (const Ref<NotebookForm>& form : forms) {
    for (const NotebookTable* table : form->Tables()) {
      tables.insert(table->FileKey());
      for (const auto& column : table->Columns())
        properties.insert(column->Definition().key);
    }
  }
  return {Behind(tables), Behind(properties)};
}

std::size_t IndexAmong(const Names& siblings, const PartPlace& place,
                       std::optional<std::size_t> own) {
  const std::size_t last = own ? siblings.size() - 1 : siblings.size();
  if (place.at) {
    if (*place.at <= last) return *place.at;
    throw NotebookError("there is no place " + std::to_string(*place.at + 1) + " among " +
                        std::to_string(last + 1));
  }
  if (!place.before && !place.after) return last;
  const std::u16string& name = place.before ? *place.before : *place.after;
  const auto found = std::find(siblings.begin(), siblings.end(), name);
  if (found == siblings.end()) {
    throw NotebookError("there is no " + Quoted(name) + " beside it" + DidYouMean(name, siblings));
  }
  const auto index = static_cast<std::size_t>(found - siblings.begin()) + (place.after ? 1U : 0U);
  return own && index > *own ? index - 1 : index;
}

std::string FormulaListText(const FormulaList& formulas) {
  std::string text;
  for (const std::string& formula : formulas)
    text += (text.empty() ? "" : "; ") + formula;
  return text;
}

FormulaList AddPartTo(FormEdits& edits, const NewPartAddress& address, const NewPart& part,
                      const std::function<FreeKeys()>& keys) {
  RequireKind(part, address.kind);
  AsOneStep(edits, [&] { Add(edits, address, part, keys); });
  return ListOf(Redirected(edits));
}

void RenamePartOf(FormEdits& edits, const PartAddress& part, std::u16string_view name) {
  AsOneStep(edits, [&] { Rename(edits, part, name); });
}

FormulaList MovePartOf(FormEdits& edits, const PartAddress& part, const PartPlace& place) {
  AsOneStep(edits, [&] { Move(edits, part, place); });
  return part.row ? ListOf(Redirected(edits)) : FormulaList();
}

FormulaList RemovePartOf(FormEdits& edits, const PartAddress& part, bool force) {
  return RemoveAsOneStep(
      edits, [&] { Remove(edits, part); }, force);
}

FormulaList RemoveRowsOf(FormEdits& edits, NotebookTable& table, std::vector<std::size_t> rows,
                         bool force) {
  // Those that are left keep their indexes.
  std::sort(rows.begin(), rows.end(), std::greater<>());
  const auto remove_all = [&] {
    for (const std::size_t row : rows)
      edits.RemoveRow(table, row);
  };
  return RemoveAsOneStep(edits, remove_all, force);
}

void RequireFreeFormName(const Names& form_names, std::u16string_view name) {
  if (name.empty()) throw NotebookError("a name must not be empty");
  if (std::find(form_names.begin(), form_names.end(), name) != form_names.end()) {
    throw NotebookError("the notebook has a form " + Quoted(name) + " already");
  }
}

}  // namespace ktnotebook
