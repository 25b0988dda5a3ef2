// Failures that no cell shows, because a function passes them over.
#pragma once

#include <span>
#include <vector>

#include "analysis/observed_form.h"

namespace ktformula {

// kSwallowed, and kNoNumber where a condition could not be decided. `known` are the problems found
// in the formulas' texts: a formula with an error among them is not said to swallow it besides.
//
// Formulas with ONERROR, with conditions or with aggregates over expressions are evaluated once
// more, row by row, until it is known that there is nothing to tell, or at most for some ten
// thousand terms each; what is not known by then is not told, and of more rows with missing numbers
// only those are counted that were looked at.
std::vector<Problem> FindHiddenFailures(const ObservedForm& form, std::span<const Problem> known);

}  // namespace ktformula
