#include "notebook/tables/form_references.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "formula/token_tree.h"
#include "functions/function_table.h"
#include "functions/reference_walk.h"
#include "values/number_text.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktnotebook {

using ktformula::Denoted;
using ktformula::NotebookObjectKind;

namespace {

std::u16string Quoted(std::u16string_view name) {
  return u"\"" + std::u16string(name) + u"\"";
}

const NotebookColumn* ColumnOfKey(const NotebookTable& table, std::u16string_view key) {
  for (const Ref<NotebookColumn>& column : table.Columns()) {
    if (ktformula::ToDecimalText(column->Definition().key) == key) return column.get();
  }
  return nullptr;
}

void VisitListener(const std::function<void(const FormulaPlace&)>& visit, NotebookTable& table,
                   ktformula::IKtFormulaListener& listener) {
  const std::u16string address = table.Parent().Name() + u"/" + table.Name() + u":";
  for (const ktformula::FormulaText& text : listener.ColumnFormulas()) {
    const NotebookColumn* const column = ColumnOfKey(table, text.key);
    if (column == nullptr) continue;
    visit({&table, &listener, column, text, address + column->Definition().name});
  }
  for (const ktformula::FormulaText& text : listener.Definitions())
    visit({&table, &listener, nullptr, text, u"definition " + address + text.key});
}

Meaning MeaningOfObject(const ktformula::NotebookObject& object) {
  Meaning meaning;
  meaning.kind = Meaning::Kind::kObject;
  meaning.object = &object;
  if (object.Kind() == NotebookObjectKind::kTableCell) {
    const NotebookCell& cell = static_cast<const CellObject&>(object).Cell();
    meaning.kind = Meaning::Kind::kCell;
    meaning.object = &cell.OwningColumn();
    meaning.name = cell.OwningRow().ID();
  }
  return meaning;
}

std::u16string ColumnText(const NotebookColumn& column) {
  return u"column " + Quoted(column.Definition().name) + u" of table " +
         Quoted(column.Parent().Name());
}

}  // namespace

void ForEachFormula(const NotebookForm& form,
                    const std::function<void(const FormulaPlace&)>& visit) {
  for (NotebookTable* const table : form.Tables()) {
    for (const auto& listener : table->Listeners()) {
      auto* const formulas = dynamic_cast<ktformula::IKtFormulaListener*>(listener.get());
      if (formulas != nullptr) VisitListener(visit, *table, *formulas);
    }
  }
}

std::u16string Meaning::Description() const {
  switch (kind) {
    case Kind::kUnknown:
    case Kind::kNothing: return u"nothing";
    case Kind::kDefinition: return u"the definition " + Quoted(name);
    case Kind::kCell:
      return u"row " + Quoted(name) + u" of " +
             ColumnText(static_cast<const NotebookColumn&>(*object));
    case Kind::kOwnCell: return u"the " + ColumnText(static_cast<const NotebookColumn&>(*object));
    case Kind::kOwnRow: return u"the row";
    case Kind::kStart: return u"the cell itself";
    case Kind::kObject: break;
  }
  if (const auto* column = dynamic_cast<const NotebookColumn*>(object)) {
    return u"the " + ColumnText(*column);
  }
  if (const auto* table = dynamic_cast<const NotebookTable*>(object)) {
    return u"the table " + Quoted(table->Name());
  }
  return u"the " + ktformula::LowerCase(object->TypeName());
}

FormReferences::FormReferences(const NotebookForm& form) {
  const ktformula::LocaleScope kept_in(form.OwnLocale().separators);
  for (const ktformula::FunctionClass& one : ktformula::StandardFunctions())
    functions_.Register(one.key, one.create());
  ForEachFormula(form, [this](const FormulaPlace& place) { Add(place); });
}

void FormReferences::Add(const FormulaPlace& place) {
  std::shared_ptr<const ktformula::TokenTree> tree;
  try {
    tree = MakeTokenTree(place.text.formula, functions_);
  } catch (const ktformula::RaisedError&) {
    return;
  }
  formulas_.push_back(place);
  const ktformula::Place start =
      place.column != nullptr
          ? ktformula::Place{place.table, ktformula::ReferenceStart::kCell, ktformula::kCellRun,
                             const_cast<NotebookColumn*>(place.column)}
          : ktformula::Place{place.table, ktformula::ReferenceStart::kTable};
  ForEachReference(*tree, start, [this](const ktformula::PlacedReference& reference) {
    ReferenceUse& use = uses_.emplace_back();
    use.formula = formulas_.size() - 1;
    use.begin = reference.token.Begin() + 1;
    use.text = reference.token.Reference().text;
    use.at = reference.at;
    use.is_named = reference.is_named;
    use.meaning = MeaningOf(use, use.text);
  });
}

Meaning FormReferences::MeaningOf(const ReferenceUse& use, std::u16string_view text) const {
  Meaning meaning;
  if (!use.is_named && formulas_[use.formula].listener->DefinitionOf(text)) {
    meaning.kind = Meaning::Kind::kDefinition;
    meaning.name = text;
    return meaning;
  }
  const Denoted denoted = ktformula::Binder::Resolve(ktformula::ReferencePath(text), use.at);
  if (denoted.kind == Denoted::Kind::kObject) return MeaningOfObject(*denoted.object);
  static constexpr std::pair<Denoted::Kind, Meaning::Kind> kKinds[] = {
      {Denoted::Kind::kVaries, Meaning::Kind::kUnknown},
      {Denoted::Kind::kNothing, Meaning::Kind::kNothing},
      {Denoted::Kind::kOwnCell, Meaning::Kind::kOwnCell},
      {Denoted::Kind::kOwnRow, Meaning::Kind::kOwnRow},
      {Denoted::Kind::kStart, Meaning::Kind::kStart},
  };
  meaning.kind = std::find_if(std::begin(kKinds), std::end(kKinds), [&](const auto& row) {
                   return row.first == denoted.kind;
                 })->second;
  meaning.object = denoted.object.get();
  meaning.run = denoted.run;
  return meaning;
}

void FormReferences::NoteRenamedRow(const NotebookTable& table, std::u16string_view old_id,
                                    std::u16string_view new_id) {
  for (ReferenceUse& use : uses_) {
    Meaning& meaning = use.meaning;
    if (meaning.kind != Meaning::Kind::kCell || meaning.name != old_id) continue;
    const auto& column = static_cast<const NotebookColumn&>(*meaning.object);
    if (&column.Parent() == &table) meaning.name = new_id;
  }
}

}  // namespace ktnotebook
