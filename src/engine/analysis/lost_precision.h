// What is lost where values are shown: the upper bounds of ranges, and digits.
#pragma once

#include <vector>

#include "analysis/observed_form.h"

namespace ktformula {

// kRangeLost: only formulas that read a range are evaluated once more, in the rows that read one
// and for at most some ten thousand terms; of more rows only those are counted.
std::vector<Problem> FindLostRanges(const ObservedForm& form);

// kDigits, at most one: not for a number that has as many decimals as others of its column, and one
// digit less in front of them.
std::vector<Problem> FindLostDigits(const ObservedForm& form);

}  // namespace ktformula
