// The rows of a table that a function goes through, many at once where its call is bound.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "formula/binding.h"
#include "formula/evaluator.h"
#include "formula/token_tree.h"
#include "host/notebook_objects.h"

namespace ktformula {

// What is known about a row before it is looked at on its own.
enum class RowVerdict : std::uint8_t {
  // The condition does not hold.
  kSkip = 0,
  // There is no condition, or it holds, and the expression is computed.
  kTake = 1,
  // The row has to be evaluated on its own.
  kAsk = 2,
};

class RowLanes {
 public:
  // For a call with these arguments, as it is evaluated in `context`; `has_condition` if one of the
  // arguments is a condition.
  RowLanes(const TokenLayer& args, const Table& table, bool has_condition,
           const EvaluationContext& context);

  // Whether anything can be computed; otherwise every row has to be asked.
  bool IsUsable() const noexcept { return condition_ != nullptr || expression_ != nullptr; }

  // Computes the rows from `first` on, counted from 0. A row is taken only with numbers of the
  // expression, except that COUNT, which has none, takes `without_expression`.
  void Compute(std::size_t first, std::size_t count, bool without_expression = false);

  const std::vector<RowVerdict>& Verdicts() const noexcept { return verdicts_; }
  // The expression's numbers, for rows that are taken.
  const double* MinNumbers() const noexcept { return expression_->MinNumbers(); }
  const double* MaxNumbers() const noexcept { return expression_->MaxNumbers(); }

 private:
  void Judge(std::size_t count);

  bool has_condition_;
  Lanes* condition_ = nullptr;
  Lanes* expression_ = nullptr;
  std::vector<RowVerdict> verdicts_;
};

// A call of the shape F(…, table, …), as it is bound.
struct BoundRowCall {
  Bound bound;
  // The table and the place of its rows; empty when the argument is no table.
  Ref<Table> table;
  Place row;
};

// Binds the call's `expression` and `condition`, both optional, which are evaluated for each row of
// the table.
BoundRowCall BindRowCall(Binder& binder, const TokenLayer& args,
                         const ReferencePath* table_argument, const LayerItem* expression,
                         const LayerItem* condition, const Place& anchor);

}  // namespace ktformula
