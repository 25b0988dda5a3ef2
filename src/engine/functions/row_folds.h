// Aggregates over the rows of a table that stand in an argument of another one.
//
// Such an aggregate is asked for again with each row of the one around it, and comes to the same
// each time unless it speaks of that row. Without a memory its cost would multiply with every
// level.
#pragma once

#include <functional>

#include "formula/token_tree.h"
#include "host/notebook_objects.h"
#include "values/cell_value.h"

namespace ktformula {

// Runs `fold`, which goes through the rows of a table, or the cells of a column, `folded`, and
// gives `target` its value, or raises. Within another fold on this thread that is under way, one
// that would come to the same as before is not run again: `target` becomes what it was then.
// Nothing is taken for the same across a foreign call, in which the notebook may change.
void Fold(const TokenLayer& args, const HostObject& folded, CellValue& target,
          const std::function<void()>& fold);

}  // namespace ktformula
