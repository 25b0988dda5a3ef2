// The notebook's forms for the engine's analysis.
#pragma once

#include "analysis/watched_form.h"

#include "notebook/files/framework.h"
#include "notebook/tables/watched_form.h"

namespace ktnotebook {

// The form with its tables and those of their listeners that compute formulas, for as long as
// nobody changes its formulas. A listener of another module, which can not be watched, is stood in
// for by one of this program's with the same configuration.
ktformula::WatchedForm WatchForm(NotebookForm& form, NotebookFramework& framework);

// Such a listener, as if it were the table's; without formulas in the place of none.
ktformula::Ref<ktformula::FormulaListener> StandIn(const ktformula::IKtFormulaListener* other,
                                                   NotebookTable& table,
                                                   NotebookFramework& framework);

}  // namespace ktnotebook
