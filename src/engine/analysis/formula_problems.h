// The problems of a form that its formulas, definitions and formats show by themselves, whatever
// the cells hold: what can not be read, names that mean nothing, units that do not fit.
#pragma once

#include <vector>

#include "analysis/problem.h"
#include "analysis/watched_form.h"

namespace ktformula {

// In no particular order. Asks the host for tables, columns, properties and what references mean;
// evaluates nothing, and takes as long for a million rows as for one.
std::vector<Problem> FindFormulaProblems(const WatchedForm& form);

}  // namespace ktformula
