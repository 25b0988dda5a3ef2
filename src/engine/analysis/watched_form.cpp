#include "analysis/watched_form.h"

#include <algorithm>

#include "listener/entered_values.h"

namespace ktformula {

FormulaListener* WatchedTable::ListenerComputing(const ELNProperty& property) const {
  const auto computes = [&property](const Ref<FormulaListener>& listener) {
    const auto entry = listener->FormulaOf(property.Key());
    return entry && !entry->formula.empty();
  };
  const auto found = std::find_if(listeners.begin(), listeners.end(), computes);
  return found != listeners.end() ? found->get() : nullptr;
}

const WatchedTable* WatchedForm::Find(const Table& table) const {
  const auto found = std::find_if(
      tables.begin(), tables.end(),
      [&table](const WatchedTable& watched) { return IsSameObject(watched.table.get(), &table); });
  return found != tables.end() ? &*found : nullptr;
}

FormulaListener* WatchedForm::ListenerComputing(const TableCell& cell) const {
  const Ref<ELNProperty> property = cell.Property();
  if (!property || cell.StateText() == kEnteredState) return nullptr;
  const Ref<Table> table = cell.Row()->OwningTable();
  const WatchedTable* const watched = table ? Find(*table) : nullptr;
  return watched != nullptr ? watched->ListenerComputing(*property) : nullptr;
}

}  // namespace ktformula
