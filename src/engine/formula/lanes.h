// Lanes: the values of one part of a formula for many rows of a table at once.
//
// Lanes compute what goes well. A row that would come to an error, or to a value of another kind
// than the others, is refused; whoever asked evaluates it on its own, which finds the error and its
// words. What an operator does is the same as for one CellValue: both take it from the same place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "formula/evaluator.h"
#include "formula/expression.h"
#include "formula/token_tree.h"
#include "host/notebook_objects.h"
#include "values/cell_value.h"

namespace ktformula {

// At most so many rows are computed at once.
inline constexpr std::size_t kMaximumLanes = 1024;

class Lanes {
 public:
  Lanes() = default;
  Lanes(const Lanes&) = delete;
  Lanes& operator=(const Lanes&) = delete;
  virtual ~Lanes() = default;

  // Told before anything else by what refuses missing numbers of these lanes itself.
  virtual void LeaveMissingNumbers() noexcept {}

  // Looks at the notebook as it is now, and evaluates what is the same for all rows, in this
  // context. To be called before anything else, and again whenever the notebook has changed.
  virtual void Prepare(const EvaluationContext& context) = 0;

  // The kind of all values; kCellValueTypeUnknown when none can be computed.
  CellValueTypeEnum Kind() const noexcept { return kind_; }

  // Computes the rows from `first` on, counted from 0, no more than kMaximumLanes.
  virtual void Compute(std::size_t first, std::size_t count) = 0;

  // What was computed last, by lane. Numbers for kind number, one array for both when no value is
  // a range; truths, 0 or 1, for Booleans.
  const double* MinNumbers() const noexcept { return min_numbers_; }
  const double* MaxNumbers() const noexcept { return max_numbers_; }
  const std::uint8_t* Truths() const noexcept { return truths_; }
  // 1 for each refused row; nullptr when there is none.
  const std::uint8_t* Refused() const noexcept { return refused_; }

  // The text that the value of a row that is not refused holds, whatever its kind. It may stand in
  // `buffer`.
  virtual std::u16string_view Text(std::size_t lane, std::u16string& buffer) const = 0;
  // Whether the text stays where it is until the next Prepare, whatever is written meanwhile.
  virtual bool KeepsText(std::size_t /*lane*/) const { return false; }

 protected:
  CellValueTypeEnum kind_ = kCellValueTypeUnknown;
  const double* min_numbers_ = nullptr;
  const double* max_numbers_ = nullptr;
  const std::uint8_t* truths_ = nullptr;
  const std::uint8_t* refused_ = nullptr;
};

using LanesPtr = std::unique_ptr<Lanes>;

// The column's cell in each row. The column must give its cells.
LanesPtr MakeColumnLanes(Ref<TableProperty> column);

// A part that is the same for all rows. `is_head` for what begins a layer or an argument.
LanesPtr MakeFixedLanes(const Term& term, const LayerItem& item, bool is_head);

// The operand after its NOTs.
LanesPtr MakeNotLanes(LanesPtr operand, std::uint32_t nots);

// One step: what stands on the left, its operator, the operand. nullptr for operators that lanes do
// not know.
LanesPtr MakeStepLanes(const Step& step, LanesPtr left, LanesPtr operand);

// Which rows are refused, by their operands or on their own; for classes derived from Lanes.
class RefusedRows {
 public:
  // Begins with the rows that are refused in one of the two, either of which may be nullptr.
  void Begin(std::size_t count, const std::uint8_t* left, const std::uint8_t* right);
  void Refuse(std::size_t lane) {
    rows_[lane] = 1;
    any_ = true;
  }
  // The rows whose numbers are missing: these have words, which lanes do not.
  void RefuseMissing(const double* min_numbers, std::size_t count);
  bool Has(std::size_t lane) const noexcept { return any_ && rows_[lane] != 0; }
  // As Lanes::Refused.
  const std::uint8_t* Get() const noexcept { return any_ ? rows_.data() : nullptr; }

 private:
  std::vector<std::uint8_t> rows_;
  bool any_ = false;
};

// Whether the values are true or false, as a condition or behind a logic operator: Booleans and
// numbers are, of which all but 0 are true.
inline bool HasTruth(const Lanes& lanes) noexcept {
  return lanes.Kind() == kCellValueTypeBoolean || lanes.Kind() == kCellValueTypeNumber;
}
// Which of both the value of such lanes is.
inline bool TruthOf(const Lanes& lanes, std::size_t lane) noexcept {
  return lanes.Kind() == kCellValueTypeBoolean ? lanes.Truths()[lane] != 0
                                               : lanes.MinNumbers()[lane] != 0;
}

}  // namespace ktformula
