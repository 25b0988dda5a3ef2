// Edits of a form that can be undone and done again: its structure, what its cells hold and its
// formulas, in one history.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "notebook/tables/form_references.h"
#include "notebook/tables/model.h"

namespace ktnotebook {

// An edit that can not be done; nothing has changed.
class EditRefusal : public std::exception {
 public:
  explicit EditRefusal(std::u16string reason) : reason_(std::move(reason)) {}

  const std::u16string& Reason() const noexcept { return reason_; }
  const char* what() const noexcept override { return "the edit is refused"; }

 private:
  std::u16string reason_;
};

// A reference that an edit gave another meaning.
struct ChangedReference {
  FormulaPlace formula;
  // Between the brackets.
  std::u16string text;
  Meaning before;
  Meaning after;
};

// Holds the form. Each edit is one step of the history: it happens as a whole or is refused, with
// EditRefusal. Nothing is recalculated, and nothing may be edited while listeners are notified.
// Places count from 0; one beyond the end is the end. What an edit takes out stays in memory as
// long as the form, so that it can come back as it was.
class FormEdits {
 public:
  // `notes_changed` is for callers of Changed: it costs a look at all formulas for each edit.
  explicit FormEdits(Ref<NotebookForm> form, bool notes_changed = true)
      : form_(std::move(form)), notes_changed_(notes_changed) {}
  FormEdits(const FormEdits&) = delete;
  FormEdits& operator=(const FormEdits&) = delete;

  NotebookForm& Form() const noexcept { return *form_; }

  // Names, and ids of rows, are not empty and not in use; keys are the caller's to choose.
  NotebookTable& AddTable(std::u16string_view name, std::int32_t key, std::size_t place);
  NotebookColumn& AddColumn(NotebookTable& table, PropertyDefinition definition, std::size_t place);
  void AddRow(NotebookTable& table, std::u16string_view id,
              const ktformula::Dictionary<std::u16string>& tags, std::size_t place);

  // Rows at the end, with ids that are not in use: their numbers, or these.
  static bool CanAppendRows(const NotebookTable& table, std::size_t count);
  void AppendRows(NotebookTable& table, std::size_t count);
  void AppendRows(NotebookTable& table, std::vector<std::u16string> ids);

  // Every reference that means what is renamed says the new name from then on, and no other does.
  // Refused where a reference could not say it, or would mean something else than before.
  void RenameForm(std::u16string_view name);
  void RenameField(NotebookField& field, std::u16string_view name);
  void RenameColumn(const NotebookColumn& column, std::u16string_view name);
  void RenameRow(NotebookTable& table, std::size_t row, std::u16string_view id);

  // Among its siblings, to the place that it has then.
  void MoveField(const NotebookField& field, std::size_t place);
  void MoveColumn(const NotebookColumn& column, std::size_t place);
  void MoveRow(NotebookTable& table, std::size_t row, std::size_t place);

  // A column goes with its formulas, a table with its listeners.
  void RemoveField(const NotebookField& field);
  void RemoveColumn(const NotebookColumn& column);
  void RemoveRow(NotebookTable& table, std::size_t row);

  // Types a text that the cell accepts, in the notebook's locale or in another.
  void SetCell(const NotebookCell& cell, std::u16string_view typed);
  void SetCell(const NotebookCell& cell, std::u16string_view typed,
               const ktformula::Locale& locale);
  // Puts other cells in the place of a column's, from row `first` on.
  void ReplaceCells(NotebookColumn& column, ColumnData cells, std::size_t first);
  // As SetPropertyFormula and SetDefinition of the listener, which is one of the table's. A column
  // that no formula computes any more loses what was computed: the cells that are emptied.
  std::vector<NotebookCell> SetFormula(ktformula::IKtFormulaListener& listener,
                                       NotebookColumn& column, std::u16string_view formula,
                                       std::u16string_view string_format);
  void SetDefinition(ktformula::IKtFormulaListener& listener, std::u16string_view name,
                     std::u16string_view formula);
  void SetResultFormat(ktformula::IKtFormulaListener& listener, std::u16string_view identifier);
  // The listener is initialised for the table.
  void AddListener(NotebookTable& table, const Ref<ktformula::IKtFieldListener>& listener);

  // Makes one step of all that `edits` does; false when it does nothing. What it throws takes all
  // of it back.
  bool Together(const std::function<void()>& edits);

  // What references mean otherwise since the last edit, of adding, moving or removing: those of
  // formulas that are still there.
  const std::vector<ChangedReference>& Changed() const noexcept { return changed_; }

  bool CanUndo() const noexcept { return !done_.empty(); }
  bool CanRedo() const noexcept { return !undone_.empty(); }
  // False when there is nothing to undo, or to do again.
  bool Undo();
  bool Redo();
  // Forgets the history: what it has taken out is empty then, and can not come back.
  void Forget();

 private:
  // What is done and what takes it back, in turns.
  struct Change {
    std::function<void()> apply;
    std::function<void()> revert;
  };
  using Step = std::vector<Change>;

  template <typename Body>
  void Run(Body body);
  template <typename Body>
  void RunStructure(Body body);
  template <typename Body>
  void Rename(std::u16string_view old_name, std::u16string_view new_name, Body body);
  void Do(std::function<void()> apply, std::function<void()> revert);
  static void Revert(const Step& step);

  void AppendRow(NotebookTable& table, std::u16string_view id);
  void ReplaceFormulas(ktformula::IKtFormulaListener& listener,
                       std::vector<ktformula::FormulaText> formulas,
                       std::vector<ktformula::FormulaText> definitions);
  // Does it, and notes what the listener has then.
  void Configure(ktformula::IKtFormulaListener& listener, const std::function<void()>& change);
  void KeepCells(NotebookColumn& column);
  void Reword(const FormReferences& references, std::u16string_view old_name,
              std::u16string_view new_name);

  Ref<NotebookForm> form_;
  bool notes_changed_;
  Step step_;
  std::vector<Step> done_;
  std::vector<Step> undone_;
  std::vector<ChangedReference> changed_;
};

}  // namespace ktnotebook
