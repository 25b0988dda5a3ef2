// Commands that make and change the structure of notebooks, in a file or a database.
#include <algorithm>
#include <memory>
#include <optional>
#include <ostream>

#include "notebook/commands/address.h"
#include "notebook/commands/commands.h"
#include "notebook/commands/interruption.h"
#include "notebook/commands/json_output.h"
#include "notebook/commands/notebook_input.h"
#include "notebook/commands/problems_output.h"
#include "notebook/commands/recalculate_form.h"
#include "notebook/commands/structure_edits.h"
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

// Where the notebook is kept.
class Keeper {
 public:
  virtual ~Keeper() = default;

  Notebook notebook;

  FreeKeys Keys() const { return FindFreeKeys(notebook.forms, StoredKeys()); }

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

// The place as the options name it; people count from 1.
PartPlace PlaceOf(const StructureOptions& options) {
  const auto name_of = [](const std::optional<std::string>& name) {
    return name ? std::optional(ArgumentText(*name)) : std::nullopt;
  };
  PartPlace place{name_of(options.before), name_of(options.after)};
  if (options.at) place.at = static_cast<std::size_t>(*options.at) - 1;
  return place;
}

NewPart NewPartOf(const StructureOptions& options) {
  NewPart part{PlaceOf(options)};
  if (options.type) part.type = ArgumentText(*options.type);
  if (options.unit) part.unit = ArgumentText(*options.unit);
  part.number_formatting = options.number_formatting;
  for (const std::string& tag : options.tags) {
    const std::u16string text = ArgumentText(tag);
    const std::size_t separator = text.find(u'=');
    part.tags.emplace_back(text.substr(0, separator), text.substr(separator + 1));
  }
  return part;
}

Names FormNames(const Notebook& notebook) {
  return NamesOf(notebook.forms, [](const auto& form) { return form->Name(); });
}

void SayRedirected(const FormulaList& redirected, Console& console) {
  if (redirected.empty()) return;
  console.Say("note: rows that formulas name by their number are others now: " +
              FormulaListText(redirected));
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
  const std::size_t place = IndexAmong(FormNames(keeper.notebook), PlaceOf(options),
                                       static_cast<std::size_t>(found - forms.begin()));
  keeper.Settle(form);
  const Ref<NotebookForm> moved = *found;
  forms.erase(found);
  forms.insert(forms.begin() + static_cast<std::ptrdiff_t>(place), moved);
  Finish(keeper, form, form.Name(), options, console);
  return kExitDone;
}

}  // namespace

int NewForm(const StructureOptions& options, Console& console) {
  const auto keeper = OpenKeeper(options, console, /*may_be_new=*/true);
  const std::u16string name = ArgumentText(options.target);
  RequireFreeFormName(FormNames(keeper->notebook), name);
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
  SayRedirected(AddPartTo(edits, part, NewPartOf(options), [&] { return keeper->Keys(); }),
                console);
  Finish(*keeper, *part.form, part.form->Name(), options, console);
  return kExitDone;
}

int RenamePart(const StructureOptions& options, Console& console) {
  const auto keeper = OpenKeeper(options, console);
  const PartAddress part = FindPart(keeper->notebook.forms, ArgumentText(options.target));
  const std::u16string name = ArgumentText(options.name);
  const std::u16string old_name = part.form->Name();
  if (part.field == nullptr && name != old_name)
    RequireFreeFormName(FormNames(keeper->notebook), name);
  FormEdits edits{Ref<NotebookForm>(part.form)};
  keeper->Settle(*part.form);
  RenamePartOf(edits, part, name);
  Finish(*keeper, *part.form, old_name, options, console);
  return kExitDone;
}

int MovePart(const StructureOptions& options, Console& console) {
  const auto keeper = OpenKeeper(options, console);
  const PartAddress part = FindPart(keeper->notebook.forms, ArgumentText(options.target));
  if (part.field == nullptr) return MoveForm(*keeper, *part.form, options, console);
  FormEdits edits{Ref<NotebookForm>(part.form)};
  keeper->Settle(*part.form);
  SayRedirected(MovePartOf(edits, part, PlaceOf(options)), console);
  Finish(*keeper, *part.form, part.form->Name(), options, console);
  return kExitDone;
}

int RemovePart(const StructureOptions& options, Console& console) {
  const auto keeper = OpenKeeper(options, console);
  const PartAddress part = FindPart(keeper->notebook.forms, ArgumentText(options.target));
  if (part.field == nullptr) return RemoveForm(*keeper, *part.form, options, console);
  FormEdits edits{Ref<NotebookForm>(part.form)};
  keeper->Settle(*part.form);
  FormulaList lost;
  try {
    lost = RemovePartOf(edits, part, options.force);
  } catch (const LostByFormulas& refusal) {
    throw NotebookError(refusal.what() + std::string("; --force removes it all the same"));
  }
  if (!lost.empty()) console.Say("note: these formulas have lost it: " + FormulaListText(lost));
  Finish(*keeper, *part.form, part.form->Name(), options, console);
  return kExitDone;
}

}  // namespace ktnotebook
