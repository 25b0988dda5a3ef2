// Explanations: why a cell shows what it shows.
//
// What a formula came to is told by the evaluator itself, which computes it once more and is
// watched. So the form has to be as recalculation left it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/dimension.h"
#include "analysis/watched_form.h"

#include "formula/source_map.h"
#include "host/notebook_objects.h"
#include "values/cell_value.h"
#include "values/raised_error.h"

namespace ktformula {

// Where a value comes from.
enum class ValueOrigin : std::uint8_t {
  // A quantity that somebody typed in, and any other text in a cell that is not computed.
  kTyped,
  kNoted,
  // By a formula of a cell, or by a call.
  kComputed,
  kEmpty,
  kDefinition,
  // All cells of a column.
  kColumn,
  kConstant,
  // Of a reference that nothing answers.
  kNowhere,
};

// "typed", "noted" and so on; "" for kNowhere.
std::u16string_view OriginText(ValueOrigin origin) noexcept;

struct ExplainedValue {
  CellValue value;
  // What was raised in place of a value.
  std::optional<RaisedError> raised;
};

// The error that a computed cell shows.
struct ArisenError {
  std::u16string description;
  // Where it arose; the cells between only handed it on.
  Ref<TableCell> cell;
};

// An operand of a formula, or a call.
struct ExplainedStep {
  // In the formula of the cell or definition to which the step belongs.
  TextRange place;
  std::u16string source;
  ValueOrigin origin = ValueOrigin::kConstant;
  // Empty for what is no value of its own: a column, or a cell of which only state or tag are read.
  std::optional<ExplainedValue> value;
  // Empty for what is no cell.
  Ref<TableCell> cell;
  // Of a number; empty when it is not known.
  std::optional<Dimension> dimension;
  // A cell of this dimension, itself or one that it is made of; may be empty.
  Ref<TableCell> alike;
  // Of a computed cell or a definition; else "".
  std::u16string formula;
  std::optional<ArisenError> error;
  // Whether the cell is one of those that are just being explained.
  bool is_circular = false;
  // In the order of evaluation; of a call that goes through rows, and of a column, those of the
  // first rows.
  std::vector<ExplainedStep> steps;
  // In how many more rows there are such steps.
  std::size_t more_rows = 0;
};

// How a formatted number came to its digits and its unit.
struct DisplayReasons {
  std::u16string pattern;
  // What the column's formula is given as its format; "" for none.
  std::u16string format;
  // Empty when the format does not look at how many digits were entered.
  std::optional<std::int16_t> digits;
  // The entered cell that decided; empty when nothing was entered.
  Ref<TableCell> digits_from;
  // "" for none.
  std::u16string unit;
  // The entered cell that implies the unit; empty when the column's default was taken.
  Ref<TableCell> unit_from;
};

struct Explanation {
  Ref<TableCell> cell;
  ValueOrigin origin = ValueOrigin::kEmpty;
  // "" unless it is computed, as in all that follows.
  std::u16string formula;
  ExplainedValue value;
  std::optional<ArisenError> error;
  std::vector<ExplainedStep> steps;
  // Empty for what is no formatted number.
  std::optional<DisplayReasons> shown;
  // Of a typed cell: how many significant digits count for what is computed.
  std::optional<std::int16_t> typed_digits;
};

inline constexpr int kDefaultExplanationDepth = 3;

// Explains a cell with steps to this depth: 1 for those of its own formula, without what is below
// them. There is an end to the steps of one explanation, whatever the depth.
Explanation ExplainCell(const WatchedForm& form, TableCell& cell,
                        int depth = kDefaultExplanationDepth);

}  // namespace ktformula
