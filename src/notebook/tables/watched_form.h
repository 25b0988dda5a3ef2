// A form of the notebook for the engine's analysis.
#pragma once

#include <functional>

#include "analysis/watched_form.h"

#include "notebook/tables/model.h"

namespace ktnotebook {

// What watches in place of a listener of another module, which can not be watched itself; empty
// for nothing.
using MakeStandIn =
    std::function<Ref<ktformula::FormulaListener>(ktformula::IKtFormulaListener&, NotebookTable&)>;

// The form with its tables and those of their listeners that compute formulas, for as long as
// nobody changes its formulas.
ktformula::WatchedForm WatchForm(NotebookForm& form, const MakeStandIn& stand_in = {});

}  // namespace ktnotebook
