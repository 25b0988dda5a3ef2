// Evaluating formulas once more, watched, with a bound to how much that may be.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/observed_form.h"

#include "formula/observation.h"
#include "formula/source_map.h"
#include "listener/formula_listener.h"
#include "values/cell_value.h"
#include "values/raised_error.h"

namespace ktformula {

// Ends an evaluation for which there is no effort left. Not an error: formulas can not drop it.
struct TooMuchEffort {};
// Ends an evaluation of which nothing more has to be seen.
struct SeenEnough {};

// The terms that may still be watched.
class Effort {
 public:
  explicit Effort(std::size_t terms) noexcept : left_(terms) {}

  // Throws TooMuchEffort.
  void Spend(std::size_t terms) {
    if (left_ < terms) {
      left_ = 0;
      throw TooMuchEffort();
    }
    left_ -= terms;
  }
  bool IsSpent() const noexcept { return left_ == 0; }

 private:
  std::size_t left_;
};

// The terms that a formula may cost which is watched in so many rows: enough for ordinary formulas,
// so that rows can be counted.
constexpr std::size_t TermsOver(std::size_t rows) noexcept {
  return std::max<std::size_t>(30'000, 10 * rows);
}

// Watches one formula, and counts what it costs. Of definitions, which have texts of their own, it
// tells only what they read.
class FormulaObserver : public EvaluationObserver {
 public:
  explicit FormulaObserver(Effort& effort) : effort_(effort) {}

  void BeginTerm(const Term& term, const LayerItem& item, const EvaluationContext& context) final;
  void EndTerm(const CellValue& value, const RaisedError* raised) final;
  void ApplyStep(const Step& step, const LayerItem& symbol, const CellValue& left,
                 const CellValue& operand) final;
  void ReadCell(const TableCell& cell) final { Read(cell); }
  void ReadColumn(const TableProperty& column) final;
  void BeginDefinition(std::u16string_view name) final;
  void EndDefinition() final;

 protected:
  struct Frame {
    Term term;
    LayerItem item;
  };
  // The terms under evaluation, outermost first.
  const std::vector<Frame>& Frames() const noexcept { return frames_; }
  bool IsInDefinition() const noexcept { return definitions_ != 0; }

  virtual void Began(const Frame& /*frame*/) {}
  // The frame is none of Frames() any more.
  virtual void Ended(const Frame& /*frame*/, const CellValue& /*value*/,
                     const RaisedError* /*raised*/) {}
  virtual void Applied(const LayerItem& /*symbol*/) {}
  // These are told of definitions too.
  virtual void Read(const TableCell& /*cell*/) {}
  virtual void ReadAll(const TableProperty& /*column*/) {}
  virtual void DefinitionBegan(std::u16string_view /*name*/) {}
  virtual void DefinitionEnded() {}

 private:
  Effort& effort_;
  std::vector<Frame> frames_;
  int definitions_ = 0;
};

// What a formula came to in a cell.
struct Outcome {
  CellValue value;
  std::optional<RaisedError> raised;

  // The description of the error; empty for a value.
  std::optional<std::u16string> Error() const;
};

// Evaluates the formula of a column in one of its cells.
using EvaluateRow = std::function<Outcome(std::size_t row)>;

// Lets `work` evaluate the column's formula, which can be watched, in any number of rows, all
// within one pass and watched. False when that ended because the effort was spent.
bool WatchRows(const ObservedColumn& column, FormulaObserver& observer,
               const std::function<void(const EvaluateRow&)>& work);

// The same for definitions of a listener: `work` asks for their values.
bool WatchDefinitions(FormulaListener& listener, FormulaObserver& observer,
                      const std::function<void()>& work);

// What is looked for as the cause of an error or a ring; either may be empty.
struct Cause {
  std::function<bool(const TableCell&)> is_cell;
  // Of a column that is read as a whole.
  std::function<bool(const TableProperty&)> is_column;
};

// Evaluates the formula in one cell of the column, and finds the place in it from which that comes:
// where the cause is read, or else the part that fails. Empty when neither is in the formula's own
// text.
std::optional<TextRange> FindPlace(const ObservedColumn& column, std::size_t row, Effort& effort,
                                   const Cause& cause = {});

}  // namespace ktformula
