#include "notebook/commands/formula_edits.h"

#include "notebook/files/listener_face.h"
#include "notebook/files/notebook_error.h"

namespace ktnotebook {

using ktformula::FormulaEntry;
using ktformula::IKtFormulaListener;

namespace {

// Runs the edit of the listener, which may be new, as one step.
template <typename Edit>
EditedFormula EditListener(FormEdits& edits, NotebookFramework& framework, NotebookTable& table,
                           IKtFormulaListener* known, Edit edit) {
  EditedFormula edited{};
  edits.Together([&] {
    edited.listener = &ListenerOrNew(known, edits, framework, table);
    edited.emptied = edit(*edited.listener);
  });
  return edited;
}

}  // namespace

IKtFormulaListener* FindListener(const NotebookColumn& column) {
  return NotebookFramework::FindFormulaListener(
      column.Parent(), [key = column.Definition().key](const IKtFormulaListener& candidate) {
        return candidate.FormulaOf(key).has_value();
      });
}

IKtFormulaListener* FindListener(const NotebookTable& table, std::u16string_view definition) {
  return NotebookFramework::FindFormulaListener(
      table, [definition](const IKtFormulaListener& candidate) {
        return candidate.DefinitionOf(definition).has_value();
      });
}

IKtFormulaListener& ListenerOrNew(IKtFormulaListener* listener, FormEdits& edits,
                                  NotebookFramework& framework, NotebookTable& table) {
  if (listener != nullptr) return *listener;
  const Ref<ktformula::IKtFieldListener> made = framework.NewFormulaListener(table);
  edits.AddListener(table, made);
  return FaceOf<IKtFormulaListener>(*made);
}

std::optional<FormulaEntry> FormulaOf(const NotebookColumn& column) {
  const IKtFormulaListener* const listener = FindListener(column);
  return listener != nullptr ? listener->FormulaOf(column.Definition().key) : std::nullopt;
}

std::optional<FormulaEntry> DefinitionOf(const NotebookTable& table, std::u16string_view name) {
  const IKtFormulaListener* const listener = FindListener(table, name);
  return listener != nullptr ? listener->DefinitionOf(name) : std::nullopt;
}

EditedFormula EditFormulaOf(FormEdits& edits, NotebookFramework& framework, NotebookColumn& column,
                            const std::optional<std::u16string>& formula,
                            const std::optional<std::u16string>& format) {
  const std::optional<FormulaEntry> known = FormulaOf(column);
  if (!formula && !known) {
    throw NotebookError("the column has no formula that the format could be of");
  }
  return EditListener(
      edits, framework, column.Parent(), FindListener(column), [&](IKtFormulaListener& listener) {
        return edits.SetFormula(listener, column, formula ? *formula : known->formula,
                                format ? *format : known.value_or(FormulaEntry()).string_format);
      });
}

EditedFormula EditDefinitionOf(FormEdits& edits, NotebookFramework& framework, NotebookTable& table,
                               std::u16string_view name, std::u16string_view formula) {
  return EditListener(edits, framework, table, FindListener(table, name),
                      [&](IKtFormulaListener& listener) {
                        edits.SetDefinition(listener, name, formula);
                        return std::vector<NotebookCell>();
                      });
}

}  // namespace ktnotebook
