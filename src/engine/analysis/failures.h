// Errors that cells show, and what they come from.
#pragma once

#include <span>
#include <vector>

#include "analysis/observed_form.h"
#include "analysis/rings.h"

namespace ktformula {

// kNoNumber, kUnusableDefinition and kFailing. An error is told of where it arises: not where a
// cell, or a definition, hands on what it reads, nor in a ring. `known` are the problems found in
// the formulas' texts: a formula with an error among them is not said to fail besides.
//
// What a cell reads of its own column, or of one that reads this one, is looked at by evaluating
// it; beyond a bound of some hundred thousand terms such an error counts as handed on. A definition
// is not looked at if its value takes more than some thousand terms.
std::vector<Problem> FindFailures(const ObservedForm& form, const Rings& rings,
                                  std::span<const Problem> known);

}  // namespace ktformula
