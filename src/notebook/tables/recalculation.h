// Rounds of recalculation over a form.
#pragma once

#include <cstdint>
#include <vector>

#include "notebook/tables/model.h"

namespace ktnotebook {

// The rounds to try unless somebody wants another number: as many as so many formula cells may need
// one after the other, within bounds.
int RoundLimit(std::uint64_t formula_cells);
// The same over the form's formula cells: all of the columns that some listener computes.
int RoundLimit(const NotebookForm& form);

// What listeners are notified with; borrows the form.
Ref<ktformula::NotificationSource> MakeNotification(ktformula::Form& form);

struct RecalculationResult {
  // Rounds that were run, the last one included, which changes nothing when the form is settled.
  int rounds = 0;
  bool settled = false;
  // When it is not: the cells that changed in the last round.
  std::vector<NotebookCell> unsettled;
};

// Notifies the listeners of the form's tables, in position order, table by table, and repeats this
// until a round changes no cell, in the notebook's locale. The tables come in document order,
// except that `first`, where a cell was set, comes before the others.
RecalculationResult RecalculateForm(NotebookForm& form, int maximum_rounds,
                                    const NotebookTable* first = nullptr);

}  // namespace ktnotebook
