#include "functions/conditional_functions.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "functions/row_folds.h"
#include "functions/row_lanes.h"
#include "values/raised_error.h"

namespace ktformula {

namespace {

constexpr std::u16string_view kIfSource = u"IfFunction.IKtFormulaFunction_ComputeValue";
constexpr std::u16string_view kOnErrorSource = u"OnErrorFunction.IKtFormulaFunction_ComputeValue";
constexpr std::u16string_view kSelectSource = u"SelectFunction.IKtFormulaFunction_ComputeValue";

}  // namespace

void IfFunction::ComputeValue(const TokenLayer* args, NotebookObject* anchor,
                              CellValue& TargetCellValue) {
  const auto fail = [&](std::u16string_view description) {
    TargetCellValue.SetError(kComponentError, kIfSource, description);
  };
  if (args == nullptr) return fail(u"the If function requires three arguments");
  constexpr std::u16string_view kWrongCount = u"the number of arguments for If function (";
  const std::size_t count = args->Count();
  if (count < 3) return fail(CountMessage(kWrongCount, count, u") is not at least 3"));
  if (count % 2 == 0) return fail(CountMessage(kWrongCount, count, u") is even"));

  const Ref<ELNProperty> property = TargetCellValue.ELNProperty();
  std::size_t chosen = count - 1;
  for (std::size_t i = 0; i + 2 < count; i += 2) {
    if (Holds(args->Item(i), property.get(), anchor, anchor)) {
      chosen = i + 1;
      break;
    }
  }
  Evaluate(TargetCellValue, args->Item(chosen), property.get(), anchor, anchor);
}

void OnErrorFunction::ComputeValue(const TokenLayer* args, NotebookObject* anchor,
                                   CellValue& TargetCellValue) {
  if (args == nullptr) {
    TargetCellValue.SetError(kComponentError, kOnErrorSource,
                             u"the OnError function requires arguments");
    return;
  }
  if (args->Count() == 0) {
    TargetCellValue.SetError(
        kComponentError, kOnErrorSource,
        CountMessage(u"the number of arguments for OnError function (", 0, u") is not at least 1"));
    return;
  }
  const Ref<ELNProperty> property = TargetCellValue.ELNProperty();
  for (std::size_t i = 0; i < args->Count(); ++i) {
    try {
      Evaluate(TargetCellValue, args->Item(i), property.get(), anchor, anchor);
      if (TargetCellValue.CellValueType() != kCellValueTypeError) return;
    } catch (const RaisedError& error) {
      TargetCellValue.SetError(error.Number(), error.Source(), error.Description());
    }
  }
}

void SelectFunction::ComputeValue(const TokenLayer* args, NotebookObject* anchor,
                                  CellValue& TargetCellValue) {
  if (args == nullptr) Raise(kSelectSource, u"the Select function requires one argument");
  if (args->Count() != 3) {
    Raise(kSelectSource, CountMessage(u"the number of arguments for Select function (",
                                      args->Count(), u") is not 3"));
  }
  const ReferencePath* reference = AsReference(args->Item(1));
  if (reference == nullptr) {
    Raise(kSelectSource, u"the second argument for the Select function is not a reference");
  }
  const Ref<Table> table = ReferredTable(*reference, anchor, TargetCellValue);
  if (!table) {
    Raise(kSelectSource,
          u"the second argument for the Select function is not a reference to a table");
  }
  Fold(*args, *table, TargetCellValue, [&] { SelectFrom(*args, *table, anchor, TargetCellValue); });
}

void SelectFunction::SelectFrom(const TokenLayer& args, const Table& table, NotebookObject* anchor,
                                CellValue& target) const {
  if (const auto row_index = FirstRow(args, table, anchor)) {
    const Ref<TableRow> row = table.Row(static_cast<int>(*row_index) + 1);
    Evaluate(target, args.Item(0), nullptr, row.get(), anchor);
    return;
  }
  target.SetError(kComponentError, kSelectSource,
                  u"no row of the specified table satisfies the Where clause of a Select function");
}

// The first row for which the condition holds, counted from 0.
std::optional<std::size_t> SelectFunction::FirstRow(const TokenLayer& args, const Table& table,
                                                    NotebookObject* anchor) const {
  const auto rows = static_cast<std::size_t>(table.RowCount());
  RowLanes lanes(args, table, true, ContextAt(anchor));
  for (std::size_t first = 0; first < rows; first += kMaximumLanes) {
    const std::size_t count = std::min(rows - first, kMaximumLanes);
    lanes.Compute(first, count, true);
    for (std::size_t lane = 0; lane < count; ++lane) {
      const RowVerdict verdict = lanes.Verdicts()[lane];
      if (verdict == RowVerdict::kSkip) continue;
      if (verdict == RowVerdict::kTake) return first + lane;
      const Ref<TableRow> row = table.Row(static_cast<int>(first + lane) + 1);
      if (Holds(args.Item(2), nullptr, row.get(), anchor)) return first + lane;
    }
  }
  return std::nullopt;
}

Bound SelectFunction::Bind(Binder& binder, const TokenLayer& args, const Place& anchor,
                           unsigned) const {
  if (args.Count() != 3) return {};
  const LayerItem expression = args.Item(0);
  const LayerItem condition = args.Item(2);
  return BindRowCall(binder, args, AsReference(args.Item(1)), &expression, &condition, anchor);
}

namespace {

// The first argument, whose rows that came to an error are asked for the others one by one.
class FirstArgumentLanes final : public Lanes {
 public:
  explicit FirstArgumentLanes(LanesPtr first) : first_(std::move(first)) {}

  void Prepare(const EvaluationContext& context) override {
    first_->Prepare({context.prop, context.anchor, context.anchor, context.listener});
    kind_ = first_->Kind();
  }
  void Compute(std::size_t first, std::size_t count) override {
    first_->Compute(first, count);
    min_numbers_ = first_->MinNumbers();
    max_numbers_ = first_->MaxNumbers();
    truths_ = first_->Truths();
    refused_ = first_->Refused();
  }
  std::u16string_view Text(std::size_t lane, std::u16string& buffer) const override {
    return first_->Text(lane, buffer);
  }
  bool KeepsText(std::size_t lane) const override { return first_->KeepsText(lane); }

 private:
  LanesPtr first_;
};

// Pairs of condition and value, and the value that is left. All values are of one kind; a row that
// would choose another is refused.
class ChoiceLanes final : public Lanes {
 public:
  ChoiceLanes(std::vector<LanesPtr> conditions, std::vector<LanesPtr> values)
      : conditions_(std::move(conditions)), values_(std::move(values)) {}

  void Prepare(const EvaluationContext& context) override {
    const EvaluationContext at{context.prop, context.anchor, context.anchor, context.listener};
    bool can_choose = true;
    for (const LanesPtr& condition : conditions_) {
      condition->Prepare(at);
      can_choose = can_choose && HasTruth(*condition);
    }
    kind_ = kCellValueTypeUnknown;
    for (const LanesPtr& value : values_) {
      if (value == nullptr) continue;
      value->Prepare(at);
      if (can_choose && kind_ == kCellValueTypeUnknown) kind_ = value->Kind();
    }
  }

  void Compute(std::size_t first, std::size_t count) override {
    own_refused_.Begin(count, nullptr, nullptr);
    Choose(first, count);
    for (const LanesPtr& value : values_) {
      if (IsOfKind(value)) value->Compute(first, count);
    }
    TakeValues(count);
    refused_ = own_refused_.Get();
  }

  std::u16string_view Text(std::size_t lane, std::u16string& buffer) const override {
    return values_[chosen_[lane]]->Text(lane, buffer);
  }
  bool KeepsText(std::size_t lane) const override {
    return values_[chosen_[lane]]->KeepsText(lane);
  }

 private:
  bool IsOfKind(const LanesPtr& value) const { return value != nullptr && value->Kind() == kind_; }

  void Choose(std::size_t first, std::size_t count) {
    chosen_.assign(count, static_cast<std::uint32_t>(conditions_.size()));
    for (std::size_t i = conditions_.size(); i-- > 0;) {
      Lanes& condition = *conditions_[i];
      condition.Compute(first, count);
      for (std::size_t lane = 0; lane < count; ++lane) {
        if (TruthOf(condition, lane)) chosen_[lane] = static_cast<std::uint32_t>(i);
      }
      if (condition.Refused() != nullptr) RefuseAll(condition.Refused(), count);
    }
  }

  void RefuseAll(const std::uint8_t* refused, std::size_t count) {
    for (std::size_t lane = 0; lane < count; ++lane) {
      if (refused[lane] != 0) own_refused_.Refuse(lane);
    }
  }

  void TakeValues(std::size_t count) {
    own_min_.resize(count);
    own_max_.resize(count);
    own_truths_.resize(count);
    min_numbers_ = own_min_.data();
    max_numbers_ = own_max_.data();
    truths_ = own_truths_.data();
    for (std::size_t lane = 0; lane < count; ++lane)
      TakeValue(lane);
  }

  void TakeValue(std::size_t lane) {
    const LanesPtr& value = values_[chosen_[lane]];
    if (!IsOfKind(value) || (value->Refused() != nullptr && value->Refused()[lane] != 0)) {
      own_refused_.Refuse(lane);
    } else if (kind_ == kCellValueTypeNumber) {
      own_min_[lane] = value->MinNumbers()[lane];
      own_max_[lane] = value->MaxNumbers()[lane];
    } else if (kind_ == kCellValueTypeBoolean) {
      own_truths_[lane] = value->Truths()[lane];
    }
  }

  std::vector<LanesPtr> conditions_;
  // One more; nullptr for a value that has to be evaluated row by row.
  std::vector<LanesPtr> values_;
  std::vector<std::uint32_t> chosen_;
  std::vector<double> own_min_;
  std::vector<double> own_max_;
  std::vector<std::uint8_t> own_truths_;
  RefusedRows own_refused_;
};

}  // namespace

Bound IfFunction::Bind(Binder& binder, const TokenLayer& args, const Place& anchor,
                       unsigned run) const {
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
  const bool is_complete = count >= 3 && count % 2 == 1;
  if (is_complete && std::find(conditions.begin(), conditions.end(), nullptr) == conditions.end()) {
    bound.lanes = std::make_unique<ChoiceLanes>(std::move(conditions), std::move(values));
  }
  return bound;
}

Bound OnErrorFunction::Bind(Binder& binder, const TokenLayer& args, const Place& anchor,
                            unsigned run) const {
  Bound bound;
  for (std::size_t i = 0; i < args.Count(); ++i) {
    Bound argument = binder.BindArgument(args.Item(i), Standpoint::At(anchor), run);
    bound.reads.Add(argument.reads);
    if (i == 0 && argument.lanes != nullptr) {
      bound.lanes = std::make_unique<FirstArgumentLanes>(std::move(argument.lanes));
    }
  }
  return bound;
}

}  // namespace ktformula
