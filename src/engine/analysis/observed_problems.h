// Problems found by looking at what was computed, and by evaluating formulas once more.
#pragma once

#include <span>
#include <vector>

#include "analysis/problem.h"
#include "analysis/watched_form.h"

namespace ktformula {

// What is odd about a form that was just recalculated: kCircular, kNotSettled, kNoNumber,
// kUnusableDefinition, kFailing, kSwallowed, kRangeLost and kDigits, in this order. `unsettled` are
// the cells that still changed in the last round. `known` are the problems that were found in the
// texts of the formulas; of a formula with an error among them it is not said besides that it fails
// or swallows errors.
//
// To be called after each recalculation: it looks at columns as a whole where the host promises
// them, and evaluates again only what may have something to tell, up to bounds that
// analysis/rings.h, failures.h, hidden_failures.h and lost_precision.h state. What is beyond them
// is not told. Nothing in the notebook changes.
std::vector<Problem> FindObservedProblems(const WatchedForm& form,
                                          std::span<const Ref<TableCell>> unsettled,
                                          std::span<const Problem> known = {});

}  // namespace ktformula
