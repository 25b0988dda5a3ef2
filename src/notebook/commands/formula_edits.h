// What commands and the page do to formulas and definitions, whoever keeps the form.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "listener/ikt_formula_listener.h"
#include "notebook/files/framework.h"
#include "notebook/tables/edits.h"

namespace ktnotebook {

// The first of the table's listeners that has a formula for the column, or a definition of this
// name, else the first that computes formulas; nullptr when none does.
ktformula::IKtFormulaListener* FindListener(const NotebookColumn& column);
ktformula::IKtFormulaListener* FindListener(const NotebookTable& table,
                                            std::u16string_view definition);

std::optional<ktformula::FormulaEntry> FormulaOf(const NotebookColumn& column);
std::optional<ktformula::FormulaEntry> DefinitionOf(const NotebookTable& table,
                                                    std::u16string_view name);

// The listener, or a new one that the edits give the table in the place of none.
ktformula::IKtFormulaListener& ListenerOrNew(ktformula::IKtFormulaListener* listener,
                                             FormEdits& edits, NotebookFramework& framework,
                                             NotebookTable& table);

struct EditedFormula {
  // Which has the formula, or had it; to be stored.
  ktformula::IKtFormulaListener* listener = nullptr;
  // As FormEdits::SetFormula gives them.
  std::vector<NotebookCell> emptied;
};

// Both give a table without a listener one, and are one step of the edits. Nothing is recalculated.

// What is not given stays as it is; a format without a formula is refused with NotebookError. An
// empty formula removes both.
EditedFormula EditFormulaOf(FormEdits& edits, NotebookFramework& framework, NotebookColumn& column,
                            const std::optional<std::u16string>& formula,
                            const std::optional<std::u16string>& format);
EditedFormula EditDefinitionOf(FormEdits& edits, NotebookFramework& framework, NotebookTable& table,
                               std::u16string_view name, std::u16string_view formula);

}  // namespace ktnotebook
