#include "notebook/tables/watched_form.h"

#include "notebook/tables/shown_text.h"

namespace ktnotebook {

using ktformula::FormulaListener;
using ktformula::Ref;

namespace {

ktformula::WatchedTable WatchTable(NotebookTable& table, const MakeStandIn& stand_in) {
  ktformula::WatchedTable watched{table.Name(), Ref<ktformula::Table>(&table), {}};
  for (const Ref<ktformula::IKtFieldListener>& listener : table.Listeners()) {
    if (auto* const own = dynamic_cast<FormulaListener*>(listener.get())) {
      watched.listeners.emplace_back(own);
      continue;
    }
    auto* const other = dynamic_cast<ktformula::IKtFormulaListener*>(listener.get());
    if (other == nullptr || !stand_in) continue;
    if (Ref<FormulaListener> in_its_place = stand_in(*other, table))
      watched.listeners.push_back(std::move(in_its_place));
  }
  return watched;
}

}  // namespace

ktformula::WatchedForm WatchForm(NotebookForm& form, const MakeStandIn& stand_in) {
  ktformula::WatchedForm watched;
  watched.name = form.Name();
  watched.units = Ref<ktformula::UnitCatalogue>(&form.Units());
  watched.name_of_cell = [](const ktformula::TableCell& cell) {
    return NameInForm(static_cast<const CellObject&>(cell).Cell());
  };
  for (NotebookTable* table : form.Tables()) {
    if (!watched.owner) watched.owner = form.OwnerOf(table->OwnField());
    watched.tables.push_back(WatchTable(*table, stand_in));
  }
  for (const Ref<NotebookField>& field : form.Fields()) {
    if (!field->OwnTable()) watched.other_fields.push_back(field->Name());
  }
  return watched;
}

}  // namespace ktnotebook
