// Cells, and definitions, that need each other.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "analysis/observed_form.h"

namespace ktformula {

struct Rings {
  // kCircular, one for each ring; rings that go through the same columns in other rows are told
  // together.
  std::vector<Problem> problems;
  // By column and row, where any cell of the column is in a ring.
  std::vector<std::vector<bool>> cells;
  // By column: columns with the same number, which is not 0, may read each other's cells.
  std::vector<std::size_t> column_rings;

  bool Contains(const CellPlace& place) const {
    const std::vector<bool>& rows = cells[place.column];
    return place.row < rows.size() && rows[place.row];
  }
};

// Looks at what formulas read and, only where columns read each other, at cells: what their
// evaluation really reads. That is bounded: of cells beyond some hundred thousand evaluated terms
// it is not known what they read, and rings through them are not found.
Rings FindRings(const ObservedForm& form);

// kNotSettled for cells that are in no ring, one for each column.
std::vector<Problem> FindUnsettled(const ObservedForm& form, const Rings& rings,
                                   std::span<const Ref<TableCell>> unsettled);

}  // namespace ktformula
