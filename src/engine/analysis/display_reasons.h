// How a computed number came to its digits and its unit.
#pragma once

#include <optional>

#include "analysis/explanation.h"

namespace ktformula {

// What the listener shows the value with in one of its cells; empty unless its result format shows
// it.
std::optional<DisplayReasons> FindDisplayReasons(const WatchedForm& form,
                                                 const FormulaListener& listener, TableCell& cell,
                                                 const CellValue& value);

}  // namespace ktformula
