// What one evaluation of a cell's formula was made of, written down while it goes along.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "analysis/explanation.h"

#include "formula/observation.h"
#include "formula/source_map.h"
#include "listener/formula_listener.h"

namespace ktformula {

// Of a call that goes through rows, the first of those that it takes are written down.
inline constexpr std::size_t kRowsWrittenDown = 3;

struct EvaluationRecord {
  ExplainedValue value;
  // Those of cells lead no further here, and say nothing about computed cells.
  std::vector<ExplainedStep> steps;
  // The first cell that was read of those that show an error, for each description.
  std::vector<std::pair<std::u16string, Ref<TableCell>>> errors_read;
  // Columns that were read as a whole.
  std::vector<Ref<TableProperty>> columns_read;
};

// Evaluates the formula of a cell that the listener computes.
EvaluationRecord RecordEvaluation(FormulaListener& listener, TableCell& cell,
                                  std::u16string_view formula);

// The value that formulas read from the cell.
ExplainedValue ValueOfCell(const TableCell& cell);

}  // namespace ktformula
