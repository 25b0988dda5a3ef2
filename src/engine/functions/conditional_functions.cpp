#include "functions/conditional_functions.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "functions/choice_lanes.h"
#include "functions/lookup.h"
#include "functions/row_folds.h"
#include "functions/row_lanes.h"
#include "values/raised_error.h"

namespace ktformula {

void IfFunction::Compute(const TokenLayer& args, NotebookObject* anchor, CellValue& target) {
  const Ref<ELNProperty> property = target.ELNProperty();
  const std::size_t count = args.Count();
  std::size_t chosen = count - 1;
  for (std::size_t i = 0; i + 2 < count; i += 2) {
    if (Holds(args.Item(i), property.get(), anchor, anchor)) {
      chosen = i + 1;
      break;
    }
  }
  Evaluate(target, args.Item(chosen), property.get(), anchor, anchor);
}

void OnErrorFunction::Compute(const TokenLayer& args, NotebookObject* anchor, CellValue& target) {
  const Ref<ELNProperty> property = target.ELNProperty();
  for (std::size_t i = 0; i < args.Count(); ++i) {
    try {
      Evaluate(target, args.Item(i), property.get(), anchor, anchor);
      if (target.CellValueType() != kCellValueTypeError) return;
    } catch (const RaisedError& error) {
      target.SetError(error.Number(), error.Source(), error.Description());
    }
  }
}

void SelectFunction::Compute(const TokenLayer& args, NotebookObject* anchor, CellValue& target) {
  const ReferencePath* reference = AsReference(args.Item(1));
  if (reference == nullptr) {
    Refuse(u"the second argument for the Select function is not a reference");
  }
  const Ref<Table> table = ReferredTable(*reference, anchor, target);
  if (!table) Refuse(u"the second argument for the Select function is not a reference to a table");
  Fold(args, *table, target, [&] { SelectFrom(args, *table, anchor, target); });
}

void SelectFunction::SelectFrom(const TokenLayer& args, const Table& table, NotebookObject* anchor,
                                CellValue& target) const {
  if (const Ref<TableRow> row = FirstRow(args, table, anchor)) {
    Evaluate(target, args.Item(0), nullptr, row.get(), anchor);
    return;
  }
  target.SetError(kComponentError, Row().source,
                  u"no row of the specified table satisfies the Where clause of a Select function");
}

// Empty when the row has to be looked for.
std::optional<Lookup::Answer> SelectFunction::LookedUpRow(const TokenLayer& args,
                                                          const Table& table,
                                                          NotebookObject* anchor) const {
  const BoundCall* const call = BoundEvaluation::FindCall(args);
  if (call == nullptr || call->own == nullptr || table.RowCount() == 0) return std::nullopt;
  const Ref<TableRow> row = table.Row(1);
  EvaluationContext context = ContextAt(anchor);
  context.anchor = row.get();
  return static_cast<Lookup*>(call->own.get())->Find(context);
}

// The first row for which the condition holds, empty when there is none. It is asked for once.
Ref<TableRow> SelectFunction::FirstRow(const TokenLayer& args, const Table& table,
                                       NotebookObject* anchor) const {
  const auto rows = static_cast<std::size_t>(table.RowCount());
  if (const auto answer = LookedUpRow(args, table, anchor)) {
    return answer->row ? table.Row(static_cast<int>(*answer->row) + 1) : nullptr;
  }
  RowLanes lanes(args, table, true, ContextAt(anchor));
  for (std::size_t first = 0; first < rows; first += kMaximumLanes) {
    const std::size_t count = std::min(rows - first, kMaximumLanes);
    lanes.Compute(first, count, true);
    for (std::size_t lane = 0; lane < count; ++lane) {
      const RowVerdict verdict = lanes.Verdicts()[lane];
      if (verdict == RowVerdict::kSkip) continue;
      Ref<TableRow> row = table.Row(static_cast<int>(first + lane) + 1);
      if (verdict == RowVerdict::kTake || Holds(args.Item(2), nullptr, row.get(), anchor)) {
        return row;
      }
    }
  }
  return nullptr;
}

Bound SelectFunction::BindArguments(Binder& binder, const TokenLayer& args, const Place& anchor,
                                    RowRun run) const {
  const LayerItem expression = args.Item(0);
  const LayerItem condition = args.Item(2);
  BoundRowCall call =
      BindRowCall(binder, args, AsReference(args.Item(1)), &expression, &condition, anchor);
  if (call.row.table == nullptr) return std::move(call.bound);
  const Standpoint at{call.row, anchor};
  if (const auto lookup = Lookup::Make(binder, condition, at)) {
    binder.CallOf(args).own = lookup;
    call.bound.lanes = Lookup::MakeLanes(lookup, binder, expression, at, run, *call.table);
  }
  return std::move(call.bound);
}

Bound IfFunction::BindArguments(Binder& binder, const TokenLayer& args, const Place& anchor,
                                RowRun run) const {
  Bound bound;
  const std::size_t count = args.Count();
  std::vector<LanesPtr> conditions;
  std::vector<LanesPtr> values;
  for (std::size_t i = 0; i < count; ++i) {
    Bound argument = binder.BindArgument(args.Item(i), Standpoint::At(anchor), run);
    bound.reads.Add(argument.reads);
    const bool is_condition = i % 2 == 0 && i + 1 < count;
    (is_condition ? conditions : values).push_back(std::move(argument.lanes));
  }
  if (std::find(conditions.begin(), conditions.end(), nullptr) == conditions.end()) {
    bound.lanes = MakeChoiceLanes(std::move(conditions), std::move(values));
  }
  return bound;
}

Bound OnErrorFunction::BindArguments(Binder& binder, const TokenLayer& args, const Place& anchor,
                                     RowRun run) const {
  Bound bound;
  for (std::size_t i = 0; i < args.Count(); ++i) {
    Bound argument = binder.BindArgument(args.Item(i), Standpoint::At(anchor), run);
    bound.reads.Add(argument.reads);
    if (i == 0 && argument.lanes != nullptr) {
      bound.lanes = MakeFirstArgumentLanes(std::move(argument.lanes));
    }
  }
  return bound;
}

}  // namespace ktformula
