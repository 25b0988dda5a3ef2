#include "functions/choice_lanes.h"

#include <cstdint>
#include <utility>

namespace ktformula {

namespace {

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

LanesPtr MakeChoiceLanes(std::vector<LanesPtr> conditions, std::vector<LanesPtr> values) {
  return std::make_unique<ChoiceLanes>(std::move(conditions), std::move(values));
}

LanesPtr MakeFirstArgumentLanes(LanesPtr first) {
  return std::make_unique<FirstArgumentLanes>(std::move(first));
}

}  // namespace ktformula
