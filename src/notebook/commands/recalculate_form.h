// Recalculation as commands do it.
#pragma once

#include <cstddef>
#include <optional>

#include "notebook/commands/console.h"
#include "notebook/tables/recalculation.h"

namespace ktnotebook {

// Recalculates and says on the message side what the user has to know. Without a number of rounds
// the form's own limit holds; see RecalculateForm for `first`. Throws Interrupted.
RecalculationResult RecalculateAndReport(NotebookForm& form, std::optional<int> rounds,
                                         Console& console, const NotebookTable* first = nullptr);

// Says that the form has not settled, if so.
void SayUnsettled(const NotebookForm& form, const RecalculationResult& result,
                  const Console& console);

// The cells that show an error.
std::size_t CountErrors(const NotebookForm& form);
// Says how many there are, unless there are none.
void SayErrors(std::size_t count, const Console& console);

}  // namespace ktnotebook
