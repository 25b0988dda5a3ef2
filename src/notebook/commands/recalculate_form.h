// Recalculation as commands do it.
#pragma once

#include <optional>

#include "notebook/commands/console.h"
#include "notebook/tables/recalculation.h"

namespace ktnotebook {

// Recalculates and says on the message side what the user has to know. Without a number of rounds
// the form's own limit holds; see RecalculateForm for `first`. Throws Interrupted.
RecalculationResult RecalculateAndReport(NotebookForm& form, std::optional<int> rounds,
                                         Console& console, const NotebookTable* first = nullptr);

}  // namespace ktnotebook
