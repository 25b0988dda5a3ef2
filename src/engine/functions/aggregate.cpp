#include "functions/aggregate.h"

#include <algorithm>
#include <optional>

#include "formula/observation.h"
#include "functions/row_folds.h"
#include "functions/row_lanes.h"
#include "values/raised_error.h"

namespace ktformula {

namespace {

// Runs the step and drops the error that it may raise.
template <typename Step>
void Regardless(Step step) {
  try {
    step();
  } catch (const RaisedError&) {  // NOLINT(bugprone-empty-catch)
  }
}

}  // namespace

// Accumulates the rows of the table in their order.
class AggregateFunction::RowWalk {
 public:
  RowWalk(const AggregateFunction& function, const TokenLayer& args, const Table& table,
          NotebookObject* anchor, CellValue& target)
      : function_(function),
        table_(table),
        anchor_(anchor),
        target_(target),
        expression_(args.Item(0)),
        lanes_(args, table, args.Count() == 3, function.ContextAt(anchor)) {
    if (args.Count() == 3) condition_ = args.Item(2);
  }

  void Run() {
    target_.SetNumber(0, 0);
    const auto rows = static_cast<std::size_t>(table_.RowCount());
    for (std::size_t first = 0; first < rows; first += kMaximumLanes) {
      const std::size_t count = std::min(rows - first, kMaximumLanes);
      if (lanes_.IsUsable()) {
        TakeLanes(first, count);
      } else {
        for (std::size_t row = first; row < first + count; ++row)
          TakeRow(row);
      }
    }
  }

 private:
  void TakeLanes(std::size_t first, std::size_t count) {
    lanes_.Compute(first, count);
    const std::vector<RowVerdict>& verdicts = lanes_.Verdicts();
    for (std::size_t lane = 0; lane < count;) {
      if (verdicts[lane] == RowVerdict::kAsk) {
        TakeRow(first + lane++);
        continue;
      }
      std::size_t end = lane + 1;
      while (end < count && verdicts[end] != RowVerdict::kAsk)
        ++end;
      TakeNumbers(lane, end);
      lane = end;
    }
  }

  void TakeNumbers(std::size_t begin, std::size_t end) {
    const RowVerdict* const verdicts = lanes_.Verdicts().data();
    const bool takes_any =
        std::find(verdicts + begin, verdicts + end, RowVerdict::kTake) != verdicts + end;
    if (!takes_any) return;
    const NumberRun run{lanes_.MinNumbers() + begin, lanes_.MaxNumbers() + begin,
                        reinterpret_cast<const std::uint8_t*>(verdicts + begin), end - begin};
    if (function_.AccumulateRun(target_, run)) {
      is_first_ = false;
      return;
    }
    CellValue value;
    for (std::size_t lane = 0; lane < run.count; ++lane) {
      if (run.takes[lane] == 0) continue;
      value.SetNumber(run.min[lane], run.max[lane]);
      TakeValue(value);
    }
  }

  void TakeRow(std::size_t row_index) {
    const Ref<TableRow> row = table_.Row(static_cast<int>(row_index) + 1);
    if (condition_ && !function_.Holds(*condition_, nullptr, row.get(), anchor_)) return;
    CellValue value;
    const auto evaluate = [&] {
      function_.Evaluate(value, expression_, nullptr, row.get(), anchor_);
    };
    // Without a condition every step is followed by the next, whatever it raises: what a failing
    // expression left in its value counts.
    if (condition_) {
      evaluate();
    } else {
      Regardless(evaluate);
    }
    TakeValue(value);
  }

  void TakeValue(const CellValue& value) {
    const auto accumulate = [&] { function_.Accumulate(target_, value, is_first_); };
    if (condition_) {
      accumulate();
    } else {
      Regardless(accumulate);
    }
    is_first_ = false;
  }

  const AggregateFunction& function_;
  const Table& table_;
  NotebookObject* anchor_;
  CellValue& target_;
  LayerItem expression_;
  std::optional<LayerItem> condition_;
  RowLanes lanes_;
  bool is_first_ = true;
};

void AggregateFunction::Compute(const TokenLayer& args, NotebookObject* anchor, CellValue& target) {
  if (args.Count() > 1) {
    ComputeRows(args, anchor, target);
    return;
  }
  const Ref<TableProperty> column = ColumnArgument(args.Item(0), anchor, target);
  if (EvaluationObserver* const observer = Observation::Observer()) observer->ReadColumn(*column);
  Fold(args, *column, target, [&] {
    target.InitializeFromELNProperty(column->Property().get());
    ComputeColumn(*column, target);
  });
}

Ref<TableProperty> AggregateFunction::ColumnArgument(const LayerItem& argument,
                                                     NotebookObject* anchor,
                                                     CellValue& target) const {
  const ReferencePath* reference = AsReference(argument);
  if (reference == nullptr) Refuse(messages_.not_a_reference);
  const Ref<NotebookObject> object = ResolveReference(target, *reference, anchor, anchor);
  if (!object || object->Kind() != NotebookObjectKind::kTableProperty) {
    Refuse(messages_.not_a_column);
  }
  return Ref<TableProperty>(static_cast<TableProperty*>(object.get()));
}

void AggregateFunction::ComputeRows(const TokenLayer& args, NotebookObject* anchor,
                                    CellValue& target) const {
  const ReferencePath* reference = AsReference(args.Item(1));
  if (reference == nullptr) Refuse(messages_.second_not_a_reference);
  const Ref<Table> table = ReferredTable(*reference, anchor, target);
  if (!table) Refuse(messages_.second_not_a_table);

  Fold(args, *table, target, [&] { RowWalk(*this, args, *table, anchor, target).Run(); });
}

Bound AggregateFunction::BindArguments(Binder& binder, const TokenLayer& args, const Place& anchor,
                                       RowRun) const {
  const std::size_t count = args.Count();
  if (count == 1) return BindColumn(binder, args, anchor);
  const LayerItem expression = args.Item(0);
  std::optional<LayerItem> condition;
  if (count == 3) condition = args.Item(2);
  return BindRowCall(binder, args, AsReference(args.Item(1)), &expression,
                     condition ? &*condition : nullptr, anchor)
      .bound;
}

Bound AggregateFunction::BindColumn(Binder& binder, const TokenLayer& args, const Place& anchor) {
  Bound bound;
  const ReferencePath* const reference = AsReference(args.Item(0));
  if (reference == nullptr) return bound;
  const Ref<NotebookObject> object = binder.ObjectArgument(*reference, anchor, bound.reads);
  if (object && object->Kind() == NotebookObjectKind::kTableProperty) {
    bound.reads.AddOther(Ref<TableProperty>(static_cast<TableProperty*>(object.get())),
                         std::nullopt);
  }
  binder.CallOf(args).reads = bound.reads;
  return bound;
}

}  // namespace ktformula
