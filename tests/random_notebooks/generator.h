// Random notebooks.
#pragma once

#include <cstdint>

#include "random_notebooks/plan.h"

namespace random_notebooks {

// The same seed gives the same notebook, everywhere.
NotebookPlan MakePlan(std::uint64_t seed);

}  // namespace random_notebooks
