// What people see of cells and values.
#pragma once

#include <string>
#include <string_view>

#include "notebook/tables/model.h"
#include "values/cell_value.h"

namespace ktnotebook {

// What a cell would show for the value; a number that is a range as "1 .. 2".
std::u16string ValueText(const ktformula::CellValue& value);

// Whether the cell shows an error.
bool ShowsError(std::u16string_view text);

// What tables show for the cell: its text, and the unit of a number that is written without one:
// the column's where it was typed, the base unit where it was computed; for somebody with the
// locale.
std::u16string ShownText(const NotebookCell& cell, const ktformula::Locale& locale);

// "TABLE:COLUMN:ROW", and with the form "FORM/TABLE:COLUMN:ROW".
std::u16string NameInForm(const NotebookCell& cell);
std::u16string AddressOf(const NotebookCell& cell);

}  // namespace ktnotebook
