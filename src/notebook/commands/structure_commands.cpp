// Commands that make and change the structure of notebooks, in a file or a database.
#include <algorithm>
#include <limits>
#include <memory>
#include <optional>
#include <ostream>
#include <set>

#include "notebook/commands/address.h"
#include "notebook/commands/commands.h"
#include "notebook/commands/interruption.h"
#include "notebook/commands/json_output.h"
#include "notebook/commands/notebook_input.h"
#include "notebook/commands/problems_output.h"
#include "notebook/commands/recalculate_form.h"
#include "notebook/commands/structure_options.h"
#include "notebook/commands/text_output.h"
#include "notebook/files/file.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/notebook_file.h"
#include "notebook/files/utf.h"
#include "notebook/store/notebook_store.h"
#include "notebook/tables/edits.h"

namespace ktnotebook {

namespace {

std::string Quoted(std::u16string_view text) {
  return "\"" + ToUtf8(text) + "\"";
}

// Runs an edit; what it refuses is refused here.
template <typename Body>
auto Editing(Body body) {
  try {
    return body();
  } catch (const EditRefusal& refusal) {
    throw NotebookError(ToUtf8(refusal.Reason()));
  }
}

// Where the notebook is kept.
class Keeper {
 public:
  virtual ~Keeper() = default;

  Notebook notebook;

  // A key that no table, or no property, has.
  std::int32_t FreeTableKey() const {
    std::set<std::int64_t> used{StoredKeys().table};
    ForEachTable([&](const NotebookTable& table) { used.insert(table.FileKey()); });
    return Behind(used);
  }
  std::int32_t FreePropertyKey() const {
    std::set<std::int64_t> used{StoredKeys().property};
    ForEachTable([&](const NotebookTable& table) {
      for (const auto& column : table.Columns())
        used.insert(column->Definition().key);
    });
    return Behind(used);
  }

  // Brings what was read up to date, so that what changes later changes through the edit.
  virtual void Settle(NotebookForm&) const {}
  // All make the change of the notebook one for good.
  virtual void SaveNew(NotebookForm& form) = 0;
  virtual void Save(NotebookForm& form, std::u16string_view old_name,
                    const std::vector<NotebookCell>& changed) = 0;
  virtual void SaveRemoved(std::u16string_view name) = 0;
  // Refuses to move a form where forms have no order of their own.
  virtual void RequireOrder() const {}

 protected:
  virtual NotebookStore::Keys StoredKeys() const { return {}; }

 private:
  template <typename Visit>
  void ForEachTable(Visit visit) const {
    for (const Ref<NotebookForm>& form : notebook.forms) {
      for (const NotebookTable* table : form->Tables())
        visit(*table);
    }
  }
  static std::int32_t Behind(const std::set<std::int64_t>& used) {
    std::int64_t key = *used.rbegin() + 1;
    // A person chose the largest one.
    for (; key > std::numeric_limits<std::int32_t>::max() || used.contains(key);)
      key = key > std::numeric_limits<std::int32_t>::max() ? 1 : key + 1;
    return static_cast<std::int32_t>(key);
  }
};

class FileKeeper final : public Keeper {
 public:
  FileKeeper(const StructureOptions& options, bool may_be_new, Console& console)
      : path_(options.file) {
    RequireNotebookName(path_);
    if (may_be_new && !std::filesystem::exists(PathOf(path_))) return;
    notebook = ReadNotebookFile(path_);
    if (!notebook.dropped.empty())
      console.Say("note: " + path_ + ": " + notebook.dropped + " left out");
  }

  // Of formatted numbers a file has only what they show.
  void Settle(NotebookForm& form) const override {
    RunInterruptibly([&] { RecalculateForm(form, RoundLimit(form)); });
  }
  void SaveNew(NotebookForm&) override { Write(); }
  void Save(NotebookForm&, std::u16string_view, const std::vector<NotebookCell>&) override {
    Write();
  }
  void SaveRemoved(std::u16string_view) override { Write(); }

 private:
  void Write() const { WriteWholeFile(path_, WriteNotebook(notebook)); }

  std::string path_;
};

class DatabaseKeeper final : public Keeper {
 public:
  DatabaseKeeper(const StructureOptions& options, bool may_be_new)
      : store_(OpenDatabase(options.database, may_be_new), may_be_new),
        transaction_(store_.Connection(),
                     may_be_new ? store_.KindOfAdding() : TransactionKind::kChangingForms) {
    if (may_be_new) return;
    notebook =
        store_.LoadForChange(FindFormNames(store_.FormNames(), ArgumentText(options.target)));
  }

  void SaveNew(NotebookForm& form) override {
    store_.Add(notebook, form);
    store_.SaveRecalculated(form, {});
    transaction_.Commit();
  }
  void Save(NotebookForm& form, std::u16string_view old_name,
            const std::vector<NotebookCell>& changed) override {
    store_.SaveStructure(notebook, form, old_name);
    store_.SaveRecalculated(form, changed);
    transaction_.Commit();
  }
  void SaveRemoved(std::u16string_view name) override {
    store_.Remove(name);
    transaction_.Commit();
  }
  void RequireOrder() const override {
    throw NotebookError("forms in a database stand in the order in which they came");
  }

 private:
  NotebookStore::Keys StoredKeys() const override { return store_.LargestKeys(); }

  NotebookStore store_;
  Transaction transaction_;
};

std::unique_ptr<Keeper> OpenKeeper(const StructureOptions& options, Console& console,
                                   bool may_be_new = false) {
  if (options.file.empty()) return std::make_unique<DatabaseKeeper>(options, may_be_new);
  return std::make_unique<FileKeeper>(options, may_be_new, console);
}

// Recalculates the form, saves it and prints the cells that changed.
void Finish(Keeper& keeper, NotebookForm& form, std::u16string_view old_name,
            const StructureOptions& options, Console& console) {
  form.Log().keep_cells = true;
  const RecalculationResult result = RecalculateAndReport(form, std::nullopt, console);
  const std::vector<NotebookCell> changed = InFormOrder(form.Log().cells);
  keeper.Save(form, old_name, changed);
  console.SetDone("the form " + Quoted(form.Name()) + " is changed");
  const std::vector<FormProblems> problems{ProblemsOf(form, *keeper.notebook.framework, result)};
  if (options.json) {
    WriteFormsJson({{&form, result, changed}}, console.out, problems);
  } else if (!changed.empty()) {
    console.out << CellsText(changed, console.style);
  }
  console.out.flush();
  SayProblems(problems, console);
}

// The place, counted from 0, that the options give to something new among the siblings, or to the
// one that is there at `own`.
std::size_t PlaceOf(const StructureOptions& options, const Names& siblings,
                    std::optional<std::size_t> own) {
  const std::size_t last = own ? siblings.size() - 1 : siblings.size();
  if (options.at) {
    const auto place = static_cast<std::size_t>(*options.at) - 1;
    if (place <= last) return place;
    throw NotebookError("there is no place " + std::to_string(*options.at) + " among " +
                        std::to_string(last + 1));
  }
  if (!options.before && !options.after) return last;
  const std::u16string name = ArgumentText(options.before ? *options.before : *options.after);
  const auto found = std::find(siblings.begin(), siblings.end(), name);
  if (found == siblings.end()) {
    throw NotebookError("there is no " + Quoted(name) + " beside it" + DidYouMean(name, siblings));
  }
  const auto place = static_cast<std::size_t>(found - siblings.begin()) + (options.after ? 1U : 0U);
  return own && place > *own ? place - 1 : place;
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
Names FormNames(const Notebook& notebook) {
  return NamesOf(notebook.forms, [](const auto& form) { return form->Name(); });
}

// "F/T:Share ([Mass], [T:Mass]), F/T:f ([T:Mass])".
std::string FormulasText(const std::vector<ChangedReference>& changed) {
  std::string text;
  std::u16string last;
  for (const ChangedReference& reference : changed) {
    const std::string says = "[" + ToUtf8(reference.text) + "]";
    if (reference.formula.address == last) {
      text.insert(text.size() - 1, ", " + says);
      continue;
    }
    last = reference.formula.address;
    text += (text.empty() ? "" : "; ") + ToUtf8(last) + " (" + says + ")";
  }
  return text;
}

// References that meant something before, and mean something else now.
std::vector<ChangedReference> Redirected(const FormEdits& edits) {
  std::vector<ChangedReference> redirected = edits.Changed();
  std::erase_if(redirected, [](const ChangedReference& reference) {
    return reference.before.kind == Meaning::Kind::kNothing;
  });
  return redirected;
}

void SayRedirected(const FormEdits& edits, Console& console) {
  const std::vector<ChangedReference> redirected = Redirected(edits);
  if (redirected.empty()) return;
  console.Say("note: rows that formulas name by their number are others now: " +
              FormulasText(redirected));
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

PropertyDefinition DefinitionOf(const StructureOptions& options, std::u16string_view name,
                                const Keeper& keeper) {
  PropertyDefinition definition;
  definition.key = keeper.FreePropertyKey();
  definition.name = name;
  const std::u16string type = ArgumentText(
      options.type.value_or(options.unit || options.number_formatting ? "number" : "string"));
  const std::optional<DataType> known = FindDataType(type);
  if (!known) {
    throw NotebookError("there is no type " + Quoted(type) +
                        "; types are string, number, date, Boolean and structure");
  }
  definition.type = *known;
  if ((options.unit || options.number_formatting) && *known != DataType::kNumber) {
    throw NotebookError("only a column of numbers has a unit or number formatting");
  }
  if (options.unit) {
    const std::u16string unit = ArgumentText(*options.unit);
    definition.unit = keeper.notebook.framework->OwnUnits()->FindUnit(unit);
    if (definition.unit == nullptr) {
      throw NotebookError("the unit " + Quoted(unit) + " is not known");
    }
  }
  definition.number_formatting = options.number_formatting || options.unit;
  return definition;
}

ktformula::Dictionary<std::u16string> TagsOf(const StructureOptions& options) {
  ktformula::Dictionary<std::u16string> tags;
  for (const std::string& tag : options.tags) {
    const std::u16string text = ArgumentText(tag);
    const std::size_t separator = text.find(u'=');
    if (!tags.Add(text.substr(0, separator), text.substr(separator + 1))) {
      throw NotebookError("the tag " + Quoted(text.substr(0, separator)) + " is given twice");
    }
  }
  return tags;
}

void RequireKind(const StructureOptions& options, NewPartAddress::Kind kind) {
  using Kind = NewPartAddress::Kind;
  if (kind != Kind::kColumn && (options.type || options.unit || options.number_formatting)) {
    throw NotebookError("only a column, FORM/TABLE:COLUMN, has a type, unit or number formatting");
  }
  if (kind != Kind::kRow && !options.tags.empty()) {
    throw NotebookError("only a row, FORM/TABLE::ROW, has tags");
  }
}

void AddTo(FormEdits& edits, const NewPartAddress& part, const StructureOptions& options,
           const Keeper& keeper, Console& console) {
  using Kind = NewPartAddress::Kind;
  RequireKind(options, part.kind);
  switch (part.kind) {
    case Kind::kTable:
      edits.AddTable(part.name, keeper.FreeTableKey(),
                     PlaceOf(options, FieldNames(*part.form), std::nullopt));
      return RefuseRedirected(edits);
    case Kind::kColumn:
      edits.AddColumn(*part.table, DefinitionOf(options, part.name, keeper),
                      PlaceOf(options, ColumnNames(*part.table), std::nullopt));
      return RefuseRedirected(edits);
    case Kind::kRow:
      edits.AddRow(*part.table, part.name, TagsOf(options),
                   PlaceOf(options, RowIds(*part.table), std::nullopt));
      return SayRedirected(edits, console);
  }
}

void Rename(FormEdits& edits, const PartAddress& part, std::u16string_view name) {
  if (part.row) return edits.RenameRow(*part.field->OwnTable(), part.row->Index(), name);
  if (part.column != nullptr) return edits.RenameColumn(*part.column, name);
  if (part.field != nullptr) return edits.RenameField(*part.field, name);
  edits.RenameForm(name);
}

void Move(FormEdits& edits, const PartAddress& part, const StructureOptions& options,
          Console& console) {
  if (part.row) {
    NotebookTable& table = *part.field->OwnTable();
    const std::size_t row = part.row->Index();
    edits.MoveRow(table, row, PlaceOf(options, RowIds(table), row));
    return SayRedirected(edits, console);
  }
  if (part.column != nullptr) {
    const NotebookTable& table = part.column->Parent();
    const std::size_t index = part.column->Index();
    return edits.MoveColumn(*part.column, PlaceOf(options, ColumnNames(table), index));
  }
  const auto index = static_cast<std::size_t>(part.field->Position()) - 1;
  edits.MoveField(*part.field, PlaceOf(options, FieldNames(*part.form), index));
}

void Remove(FormEdits& edits, const PartAddress& part) {
  if (part.row) return edits.RemoveRow(*part.field->OwnTable(), part.row->Index());
  if (part.column != nullptr) return edits.RemoveColumn(*part.column);
  edits.RemoveField(*part.field);
}

// The form is none of the notebook's any more: for good.
int RemoveForm(Keeper& keeper, NotebookForm& form, const StructureOptions& options,
               Console& console) {
  const std::u16string name = form.Name();
  std::erase_if(keeper.notebook.forms, [&](const auto& each) { return each.get() == &form; });
  keeper.SaveRemoved(name);
  console.SetDone("the form " + Quoted(name) + " is removed");
  if (options.json) console.out << TextsJson({{"removed", name}}) << '\n';
  return kExitDone;
}

int MoveForm(Keeper& keeper, NotebookForm& form, const StructureOptions& options,
             Console& console) {
  keeper.RequireOrder();
  auto& forms = keeper.notebook.forms;
  const auto found = std::find_if(forms.begin(), forms.end(),
                                  [&](const auto& each) { return each.get() == &form; });
  const std::size_t place =
      PlaceOf(options, FormNames(keeper.notebook), static_cast<std::size_t>(found - forms.begin()));
  keeper.Settle(form);
  const Ref<NotebookForm> moved = *found;
  forms.erase(found);
  forms.insert(forms.begin() + static_cast<std::ptrdiff_t>(place), moved);
  Finish(keeper, form, form.Name(), options, console);
  return kExitDone;
}

void RequireFreeFormName(const Keeper& keeper, std::u16string_view name) {
  if (name.empty()) throw NotebookError("a name must not be empty");
  const Names names = FormNames(keeper.notebook);
  if (std::find(names.begin(), names.end(), name) != names.end()) {
    throw NotebookError("the notebook has a form " + Quoted(name) + " already");
  }
}

}  // namespace

int NewForm(const StructureOptions& options, Console& console) {
  const auto keeper = OpenKeeper(options, console, /*may_be_new=*/true);
  const std::u16string name = ArgumentText(options.target);
  RequireFreeFormName(*keeper, name);
  NotebookForm& form = keeper->notebook.AddForm(name);
  keeper->SaveNew(form);
  console.SetDone("the form " + Quoted(name) + " is made");
  if (options.json) WriteFormsJson({{&form}}, console.out);
  return kExitDone;
}

int AddPart(const StructureOptions& options, Console& console) {
  const auto keeper = OpenKeeper(options, console);
  const NewPartAddress part = FindNewPart(keeper->notebook.forms, ArgumentText(options.target));
  FormEdits edits{Ref<NotebookForm>(part.form)};
  keeper->Settle(*part.form);
  Editing([&] { AddTo(edits, part, options, *keeper, console); });
  Finish(*keeper, *part.form, part.form->Name(), options, console);
  return kExitDone;
}

int RenamePart(const StructureOptions& options, Console& console) {
  const auto keeper = OpenKeeper(options, console);
  const PartAddress part = FindPart(keeper->notebook.forms, ArgumentText(options.target));
  const std::u16string name = ArgumentText(options.name);
  const std::u16string old_name = part.form->Name();
  if (part.field == nullptr && name != old_name) RequireFreeFormName(*keeper, name);
  FormEdits edits{Ref<NotebookForm>(part.form)};
  keeper->Settle(*part.form);
  Editing([&] { Rename(edits, part, name); });
  Finish(*keeper, *part.form, old_name, options, console);
  return kExitDone;
}

int MovePart(const StructureOptions& options, Console& console) {
  const auto keeper = OpenKeeper(options, console);
  const PartAddress part = FindPart(keeper->notebook.forms, ArgumentText(options.target));
  if (part.field == nullptr) return MoveForm(*keeper, *part.form, options, console);
  FormEdits edits{Ref<NotebookForm>(part.form)};
  keeper->Settle(*part.form);
  Editing([&] { Move(edits, part, options, console); });
  Finish(*keeper, *part.form, part.form->Name(), options, console);
  return kExitDone;
}

int RemovePart(const StructureOptions& options, Console& console) {
  const auto keeper = OpenKeeper(options, console);
  const PartAddress part = FindPart(keeper->notebook.forms, ArgumentText(options.target));
  if (part.field == nullptr) return RemoveForm(*keeper, *part.form, options, console);
  FormEdits edits{Ref<NotebookForm>(part.form)};
  keeper->Settle(*part.form);
  Editing([&] { Remove(edits, part); });
  if (!edits.Changed().empty()) {
    const std::string formulas = FormulasText(edits.Changed());
    if (!options.force) {
      throw NotebookError("formulas refer to it: " + formulas +
                          "; --force removes it all the same");
    }
    console.Say("note: these formulas have lost it: " + formulas);
  }
  Finish(*keeper, *part.form, part.form->Name(), options, console);
  return kExitDone;
}

}  // namespace ktnotebook
