// Rounds of recalculation over a form.
#pragma once

#include "notebook/tables/model.h"

namespace ktnotebook {

inline constexpr int kDefaultMaximumRounds = 8;

struct RecalculationResult {
  // Rounds that were run, the last one included, which changes nothing when the form is settled.
  int rounds = 0;
  bool settled = false;
};

// Notifies the listeners of the form's tables, in position order, table by table, and repeats this
// until a round changes no cell. The tables come in document order, except that `first`, where a
// cell was set, comes before the others.
RecalculationResult RecalculateForm(NotebookForm& form, int maximum_rounds,
                                    const NotebookTable* first = nullptr);

}  // namespace ktnotebook
