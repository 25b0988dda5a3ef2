#include "notebook/files/watched_form.h"

#include "functions/function_table.h"

namespace ktnotebook {

using ktformula::FormulaListener;
using ktformula::Ref;

Ref<FormulaListener> StandIn(const ktformula::IKtFormulaListener* other, NotebookTable& table,
                             NotebookFramework& framework) {
  Ref<FormulaListener> listener =
      ktformula::MakeRef<FormulaListener>(ktformula::StandardFunctions());
  listener->Initialize(Ref<NotebookFramework>(&framework), table.Parent().OwnerOf(table.OwnField()),
                       nullptr);
  if (other == nullptr) return listener;
  listener->ReplaceFormulas(other->ColumnFormulas(), other->Definitions());
  listener->SetResultFormat(other->ResultFormat());
  return listener;
}

ktformula::WatchedForm WatchForm(NotebookForm& form, NotebookFramework& framework) {
  return WatchForm(form, [&framework](ktformula::IKtFormulaListener& other, NotebookTable& table) {
    return StandIn(&other, table, framework);
  });
}

}  // namespace ktnotebook
