#include "functions/row_lanes.h"

#include <algorithm>

#include "functions/function_base.h"

namespace ktformula {

namespace {

// The lanes, if they can compute anything now.
Lanes* Ready(const LanesPtr& lanes, const EvaluationContext& context) {
  if (lanes == nullptr) return nullptr;
  const std::uint64_t refusals = EvaluationRefusals();
  lanes->Prepare(context);
  const bool can_compute =
      lanes->Kind() != kCellValueTypeUnknown && EvaluationRefusals() == refusals;
  return can_compute ? lanes.get() : nullptr;
}

// Whether the notebook stays as it is from the first row to the last, and no definition is asked
// for its value too early, when rows are computed ahead.
bool CanGoAhead(const BoundCall& call) {
  return !call.reads.is_unknown && BoundEvaluation::MayAskEarly(call);
}

// The table, or the one of the column, that the argument refers to; empty for anything else.
Ref<Table> TableArgument(Binder& binder, const ReferencePath* argument, const Place& anchor,
                         Reads& reads) {
  if (argument == nullptr) return nullptr;
  return TableOf(binder.ObjectArgument(*argument, anchor, reads).get());
}

}  // namespace

RowLanes::RowLanes(const TokenLayer& args, const Table& table, bool has_condition,
                   const EvaluationContext& context)
    : has_condition_(has_condition) {
  const BoundCall* const call = BoundEvaluation::FindCall(args);
  if (call == nullptr || !CanGoAhead(*call) || table.RowCount() == 0) return;
  const Ref<TableRow> row = table.Row(1);
  const EvaluationContext at_row{nullptr, row.get(), context.anchor, context.listener};
  expression_ = Ready(call->expression, at_row);
  if (expression_ != nullptr && expression_->Kind() != kCellValueTypeNumber) expression_ = nullptr;
  condition_ = Ready(call->condition, at_row);
  if (condition_ != nullptr && !HasTruth(*condition_)) condition_ = nullptr;
}

void RowLanes::Compute(std::size_t first, std::size_t count, bool without_expression) {
  verdicts_.assign(count, has_condition_ ? RowVerdict::kAsk : RowVerdict::kTake);
  if (condition_ != nullptr) {
    condition_->Compute(first, count);
    Judge(count);
  }
  if (without_expression) return;
  const std::uint8_t* refused = nullptr;
  if (expression_ != nullptr) {
    expression_->Compute(first, count);
    refused = expression_->Refused();
    if (refused == nullptr) return;
  }
  for (std::size_t lane = 0; lane < count; ++lane) {
    const bool is_computed = refused != nullptr && refused[lane] == 0;
    if (verdicts_[lane] == RowVerdict::kTake && !is_computed) verdicts_[lane] = RowVerdict::kAsk;
  }
}

void RowLanes::Judge(std::size_t count) {
  static_assert(static_cast<int>(RowVerdict::kSkip) == 0 &&
                static_cast<int>(RowVerdict::kTake) == 1);
  for (std::size_t lane = 0; lane < count; ++lane)
    verdicts_[lane] = static_cast<RowVerdict>(TruthOf(*condition_, lane));
  const std::uint8_t* const refused = condition_->Refused();
  if (refused == nullptr) return;
  for (std::size_t lane = 0; lane < count; ++lane) {
    if (refused[lane] != 0) verdicts_[lane] = RowVerdict::kAsk;
  }
}

BoundRowCall BindRowCall(Binder& binder, const TokenLayer& args,
                         const ReferencePath* table_argument, const LayerItem* expression,
                         const LayerItem* condition, const Place& anchor) {
  BoundRowCall result;
  Reads& reads = result.bound.reads;
  result.table = TableArgument(binder, table_argument, anchor, reads);
  // What is no table is refused whatever the rows.
  if (!result.table) return result;
  result.row = binder.RowsOf(result.table.get());
  const Standpoint at{result.row, anchor};
  BoundCall& call = binder.CallOf(args);
  const auto bind = [&](const LayerItem* argument) -> LanesPtr {
    if (argument == nullptr) return nullptr;
    Bound part = binder.BindArgument(*argument, at, result.row.run);
    reads.Add(part.reads);
    return std::move(part.lanes);
  };
  call.expression = bind(expression);
  call.condition = bind(condition);
  if (result.row.table == nullptr) reads.is_unknown = true;
  reads.runs &= ~(1U << result.row.run);
  call.reads = reads;
  return result;
}

}  // namespace ktformula
