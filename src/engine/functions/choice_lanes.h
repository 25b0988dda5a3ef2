// Lanes that choose among values: IF and ONERROR.
#pragma once

#include <vector>

#include "formula/lanes.h"

namespace ktformula {

// The value of the first condition that holds, and the last value when none does: one more value
// than conditions. A value may be nullptr, when it has to be evaluated row by row. The result is of
// the kind of the first value that is computed; a row that would choose another is refused.
LanesPtr MakeChoiceLanes(std::vector<LanesPtr> conditions, std::vector<LanesPtr> values);

// The first of several values; the rows in which it fails are refused.
LanesPtr MakeFirstArgumentLanes(LanesPtr first);

}  // namespace ktformula
