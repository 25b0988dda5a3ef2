// A form as the analysis is given it: its tables, and the listeners that compute them.
//
// Whoever embeds the engine fills this from what it has; nothing more is asked of a host than what
// recalculation needs.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/notebook_objects.h"
#include "listener/formula_listener.h"

namespace ktformula {

struct WatchedTable {
  std::u16string name;
  Ref<Table> table;
  // In the order in which they are notified.
  std::vector<Ref<FormulaListener>> listeners;

  // The first listener with a formula for the column; nullptr when none has.
  FormulaListener* ListenerComputing(const ELNProperty& property) const;
};

struct WatchedForm {
  std::u16string name;
  // In document order.
  std::vector<WatchedTable> tables;
  // The names of its fields that are no tables; for advice on names.
  std::vector<std::u16string> other_fields;
  // Of which the entered cells decide how numbers are shown.
  Ref<OwnerCollection> owner;
  Ref<UnitCatalogue> units;
  // How people find the cell, such as "Reactants:Mass:A"; for messages.
  std::function<std::u16string(const TableCell&)> name_of_cell;

  // nullptr when the table is none of the form's.
  const WatchedTable* Find(const Table& table) const;
  // The listener that computes the cell, unless it was entered; nullptr when none does.
  FormulaListener* ListenerComputing(const TableCell& cell) const;
};

}  // namespace ktformula
