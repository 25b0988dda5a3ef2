// All problems of a form.
#pragma once

#include <span>
#include <vector>

#include "analysis/problem.h"
#include "analysis/watched_form.h"

namespace ktformula {

// In document order: table by table, column by column, definitions behind the columns, and by
// place. What another problem explains is left out: a cell that fails because of a name that means
// nothing is reported for the name only. To be called when the form was recalculated; `unsettled`
// are the cells that still changed in the last round.
std::vector<Problem> FindProblems(const WatchedForm& form,
                                  std::span<const Ref<TableCell>> unsettled = {});

}  // namespace ktformula
