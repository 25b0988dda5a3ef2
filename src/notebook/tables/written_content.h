// What a cell holds once a result was written into it.
#pragma once

#include <string_view>

#include "host/notebook_objects.h"
#include "notebook/tables/column_data.h"
#include "notebook/tables/property.h"

namespace ktnotebook {

// Of a column of the type: a value in base units, which is a number or a date if it reads as one,
// or a mere text.
ContentView WrittenText(DataType type, std::u16string_view text, bool is_value);

// A number in base units, shown in the pattern and in the unit, "" for none.
CellContent WrittenNumber(const ktformula::ELNProperty& property, double value,
                          std::u16string_view pattern, std::u16string_view unit_name,
                          ktformula::UnitCatalogue& units);

// The key under which a display unit may have been chosen for cells of a column with this default
// unit, nullptr for none.
std::u16string DisplayKey(const NotebookUnit* default_unit);

// The unit in which the number of a cell is shown unless another is chosen: the one it was typed
// in. A computed cell, which has no state, starts from the default unit, whatever it was shown in
// before.
std::u16string DisplayUnitName(const NotebookUnit* default_unit, std::u16string_view state,
                               std::u16string_view typed_unit);

}  // namespace ktnotebook
