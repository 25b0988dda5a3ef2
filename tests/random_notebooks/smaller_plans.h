// Makes a notebook that shows something smaller, as long as it still shows it.
#pragma once

#include <functional>

#include "random_notebooks/plan.h"

namespace random_notebooks {

// The smallest plan that was found, for which `shows` is true as it is for `plan`. Asks a few
// hundred times at most.
NotebookPlan Smallest(NotebookPlan plan, const std::function<bool(const NotebookPlan&)>& shows);

}  // namespace random_notebooks
