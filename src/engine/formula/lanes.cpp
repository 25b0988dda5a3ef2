#include "formula/lanes.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

#include "values/comparison_rules.h"
#include "values/platform.h"
#include "values/raised_error.h"

namespace ktformula {

namespace {

bool IsRefused(const std::uint8_t* refused, std::size_t lane) {
  return refused != nullptr && refused[lane] != 0;
}

// One comparison looks at two numbers, one of each half.
bool HasNotANumber(const double* numbers, std::size_t count) {
  const std::size_t half = (count + 1) / 2;
  const double* const others = numbers + (count - half);
  bool has_any = false;
  for (std::size_t i = 0; i < half; ++i)
    has_any |= std::isunordered(numbers[i], others[i]);
  return has_any;
}

class ColumnLanes final : public Lanes {
 public:
  explicit ColumnLanes(Ref<TableProperty> column) : column_(std::move(column)) {}

  void LeaveMissingNumbers() noexcept override { leaves_missing_numbers_ = true; }

  void Prepare(const EvaluationContext&) override {
    CellValue value;
    value.SetTypeFromProperty(column_->Property().get());
    cells_ = column_->Cells();
    kind_ = cells_ != nullptr ? value.CellValueType() : kCellValueTypeUnknown;
  }

  void Compute(std::size_t first, std::size_t count) override {
    first_ = first;
    own_refused_.Begin(count, nullptr, nullptr);
    if (first + count > cells_->Count()) {
      RefuseAll(count);
    } else if (kind_ == kCellValueTypeNumber) {
      min_numbers_ = cells_->MinNumbers().data() + first;
      max_numbers_ = cells_->MaxNumbers().data() + first;
      if (!leaves_missing_numbers_) own_refused_.RefuseMissing(min_numbers_, count);
    } else if (kind_ == kCellValueTypeBoolean) {
      ReadTruths(count);
    }
    refused_ = own_refused_.Get();
  }

  std::u16string_view Text(std::size_t lane, std::u16string& buffer) const override {
    return cells_->Text(first_ + lane, buffer);
  }

 private:
  // A table that has become shorter meanwhile.
  void RefuseAll(std::size_t count) {
    nothing_.assign(count, 0);
    own_truths_.assign(count, 0);
    min_numbers_ = max_numbers_ = nothing_.data();
    truths_ = own_truths_.data();
    for (std::size_t lane = 0; lane < count; ++lane)
      own_refused_.Refuse(lane);
  }

  void ReadTruths(std::size_t count) {
    own_truths_.resize(count);
    truths_ = own_truths_.data();
    for (std::size_t lane = 0; lane < count; ++lane) {
      const std::u16string_view text = Text(lane, buffer_);
      own_truths_[lane] = text == u"true";
      if (own_truths_[lane] == 0 && text != u"false") ReadTruth(lane, text);
    }
  }

  void ReadTruth(std::size_t lane, std::u16string_view text) {
    try {
      own_truths_[lane] = XMLBoolean(text);
    } catch (const RaisedError&) {
      own_refused_.Refuse(lane);
    }
  }

  Ref<TableProperty> column_;
  ColumnCells* cells_ = nullptr;
  bool leaves_missing_numbers_ = false;
  std::size_t first_ = 0;
  std::vector<double> nothing_;
  std::vector<std::uint8_t> own_truths_;
  RefusedRows own_refused_;
  std::u16string buffer_;
};

class FixedLanes final : public Lanes {
 public:
  FixedLanes(const Term& term, const LayerItem& item, bool is_head)
      : term_(term), item_(item), is_head_(is_head) {}

  void Prepare(const EvaluationContext& context) override {
    value_ = CellValue();
    kind_ = kCellValueTypeUnknown;
    lanes_ = 0;
    try {
      EvaluateTermWithNots(value_, term_, item_, is_head_, context);
    } catch (const RaisedError&) {
      return;
    }
    const bool is_value =
        value_.CellValueType() != kCellValueTypeError && !value_.IsMissingNumber();
    if (is_value) kind_ = value_.CellValueType();
  }

  void Compute(std::size_t, std::size_t count) override {
    if (count <= lanes_) return;
    lanes_ = count;
    min_.assign(count, value_.MinNumber());
    min_numbers_ = min_.data();
    const bool is_point = value_.MinNumber() == value_.MaxNumber();
    if (!is_point) max_.assign(count, value_.MaxNumber());
    max_numbers_ = is_point ? min_.data() : max_.data();
    if (kind_ != kCellValueTypeBoolean) return;
    own_truths_.assign(count, value_.BooleanValue());
    truths_ = own_truths_.data();
  }

  std::u16string_view Text(std::size_t, std::u16string&) const override { return value_.Text(); }
  bool KeepsText(std::size_t) const override { return true; }

 private:
  Term term_;
  LayerItem item_;
  bool is_head_;
  CellValue value_;
  // How many are there already.
  std::size_t lanes_ = 0;
  std::vector<double> min_;
  std::vector<double> max_;
  std::vector<std::uint8_t> own_truths_;
};

// What two operands come to.
class BinaryLanes : public Lanes {
 public:
  BinaryLanes(LanesPtr left, LanesPtr right) : left_(std::move(left)), right_(std::move(right)) {}

  void Prepare(const EvaluationContext& context) final {
    left_->Prepare(context);
    right_->Prepare(context);
    const bool can_be_computed =
        left_->Kind() != kCellValueTypeUnknown && right_->Kind() != kCellValueTypeUnknown;
    kind_ = can_be_computed ? KindOf(left_->Kind(), right_->Kind()) : kCellValueTypeUnknown;
  }

  void Compute(std::size_t first, std::size_t count) final {
    left_->Compute(first, count);
    right_->Compute(first, count);
    own_refused_.Begin(count, left_->Refused(), right_->Refused());
    Combine(count);
    refused_ = own_refused_.Get();
  }

 protected:
  // kCellValueTypeUnknown for operands that do not go together here.
  virtual CellValueTypeEnum KindOf(CellValueTypeEnum left, CellValueTypeEnum right) const = 0;
  virtual void Combine(std::size_t count) = 0;

  const Lanes& Left() const noexcept { return *left_; }
  const Lanes& Right() const noexcept { return *right_; }
  RefusedRows own_refused_;

 private:
  LanesPtr left_;
  LanesPtr right_;
};

LanesPtr WithMissingNumbers(LanesPtr operand) {
  operand->LeaveMissingNumbers();
  return operand;
}

// Of not-a-number every result is one, and refused.
template <typename Operation>
class ArithmeticLanes final : public BinaryLanes {
 public:
  ArithmeticLanes(LanesPtr left, LanesPtr right)
      : BinaryLanes(WithMissingNumbers(std::move(left)), WithMissingNumbers(std::move(right))) {}

  // As with CellValue, the text of the left side stays.
  std::u16string_view Text(std::size_t lane, std::u16string& buffer) const override {
    return Left().Text(lane, buffer);
  }
  bool KeepsText(std::size_t lane) const override { return Left().KeepsText(lane); }

 private:
  CellValueTypeEnum KindOf(CellValueTypeEnum left, CellValueTypeEnum right) const override {
    const bool are_numbers = left == kCellValueTypeNumber && right == kCellValueTypeNumber;
    return are_numbers ? kCellValueTypeNumber : kCellValueTypeUnknown;
  }

  void Combine(std::size_t count) override {
    min_numbers_ = Calculate(Left().MinNumbers(), Right().MinNumbers(), min_, count);
    const bool are_points =
        Left().MinNumbers() == Left().MaxNumbers() && Right().MinNumbers() == Right().MaxNumbers();
    max_numbers_ = are_points ? min_numbers_
                              : Calculate(Left().MaxNumbers(), Right().MaxNumbers(), max_, count);
  }

  // A zero divisor gives a result that is not finite, too.
  const double* Calculate(const double* left, const double* right, std::vector<double>& results,
                          std::size_t count) {
    results.resize(count);
    double* const result = results.data();
    const Operation operation;
    for (std::size_t lane = 0; lane < count; ++lane)
      result[lane] = operation(left[lane], right[lane]);
    unsigned not_finite = 0;
    for (std::size_t lane = 0; lane < count; ++lane)
      not_finite |= static_cast<unsigned>(!std::isfinite(result[lane]));
    if (not_finite != 0) RefuseInfinite(result, count);
    return result;
  }

  void RefuseInfinite(const double* result, std::size_t count) {
    for (std::size_t lane = 0; lane < count; ++lane) {
      if (!std::isfinite(result[lane])) own_refused_.Refuse(lane);
    }
  }

  std::vector<double> min_;
  std::vector<double> max_;
};

// Lanes that come to a Boolean.
class TruthLanes : public BinaryLanes {
 public:
  using BinaryLanes::BinaryLanes;

  std::u16string_view Text(std::size_t lane, std::u16string&) const final {
    return own_truths_[lane] != 0 ? u"true" : u"false";
  }
  bool KeepsText(std::size_t) const final { return true; }

 protected:
  template <typename Test>
  void Decide(std::size_t count, Test test) {
    own_truths_.resize(count);
    truths_ = own_truths_.data();
    for (std::size_t lane = 0; lane < count; ++lane)
      own_truths_[lane] = test(lane);
  }

 private:
  std::vector<std::uint8_t> own_truths_;
};

template <typename Rule>
class ComparisonLanes final : public TruthLanes {
 public:
  using TruthLanes::TruthLanes;

 private:
  // Everything else converts, reads what a value holds besides, or is an error.
  CellValueTypeEnum KindOf(CellValueTypeEnum left, CellValueTypeEnum right) const override {
    const bool fit =
        left == right && (left == kCellValueTypeNumber || left == kCellValueTypeString);
    return fit ? kCellValueTypeBoolean : kCellValueTypeUnknown;
  }

  void Combine(std::size_t count) override {
    if (Left().Kind() == kCellValueTypeNumber) {
      CompareNumbers(count);
    } else {
      CompareTexts(count);
    }
  }

  void CompareNumbers(std::size_t count) {
    const double* const left_min = Left().MinNumbers();
    const double* const left_max = Left().MaxNumbers();
    const double* const right_min = Right().MinNumbers();
    const double* const right_max = Right().MaxNumbers();
    Decide(count, [=](std::size_t lane) {
      return Rule::Holds({left_min[lane], left_max[lane]}, {right_min[lane], right_max[lane]});
    });
  }

  void CompareTexts(std::size_t count) {
    Decide(count, [&](std::size_t lane) {
      if (own_refused_.Has(lane)) return false;
      const std::u16string_view left = Left().Text(lane, left_text_);
      return Rule::Holds(left.compare(Right().Text(lane, right_text_)));
    });
  }

  std::u16string left_text_;
  std::u16string right_text_;
};

template <typename Operation>
class LogicLanes final : public TruthLanes {
 public:
  using TruthLanes::TruthLanes;

 private:
  CellValueTypeEnum KindOf(CellValueTypeEnum left, CellValueTypeEnum) const override {
    return left == kCellValueTypeBoolean && HasTruth(Right()) ? kCellValueTypeBoolean
                                                              : kCellValueTypeUnknown;
  }

  void Combine(std::size_t count) override {
    Decide(count, [this](std::size_t lane) {
      return Operation()(TruthOf(Left(), lane), TruthOf(Right(), lane));
    });
  }
};

// NOT as an operator: what stands on its left is forgotten.
class InvertedLanes final : public TruthLanes {
 public:
  using TruthLanes::TruthLanes;

 private:
  CellValueTypeEnum KindOf(CellValueTypeEnum, CellValueTypeEnum) const override {
    return HasTruth(Right()) ? kCellValueTypeBoolean : kCellValueTypeUnknown;
  }

  void Combine(std::size_t count) override {
    Decide(count, [this](std::size_t lane) { return !TruthOf(Right(), lane); });
  }
};

class JoinedLanes final : public BinaryLanes {
 public:
  using BinaryLanes::BinaryLanes;

  std::u16string_view Text(std::size_t lane, std::u16string&) const override {
    return texts_[lane];
  }

 private:
  CellValueTypeEnum KindOf(CellValueTypeEnum, CellValueTypeEnum) const override {
    return kCellValueTypeString;
  }

  void Combine(std::size_t count) override {
    texts_.resize(std::max(count, texts_.size()));
    for (std::size_t lane = 0; lane < count; ++lane) {
      if (own_refused_.Has(lane)) continue;
      const std::u16string_view left = Left().Text(lane, left_text_);
      const std::u16string_view right = Right().Text(lane, right_text_);
      if (left.size() + right.size() > kMaximumTextLength) {
        own_refused_.Refuse(lane);
      } else {
        texts_[lane].assign(left).append(right);
      }
    }
  }

  std::vector<std::u16string> texts_;
  std::u16string left_text_;
  std::u16string right_text_;
};

class NotLanes final : public Lanes {
 public:
  NotLanes(LanesPtr operand, std::uint32_t nots)
      : operand_(std::move(operand)), inverts_(nots % 2 != 0) {}

  void Prepare(const EvaluationContext& context) override {
    operand_->Prepare(context);
    const bool is_boolean = operand_->Kind() == kCellValueTypeBoolean;
    kind_ = is_boolean ? kCellValueTypeBoolean : kCellValueTypeUnknown;
  }

  void Compute(std::size_t first, std::size_t count) override {
    operand_->Compute(first, count);
    refused_ = operand_->Refused();
    own_truths_.resize(count);
    truths_ = own_truths_.data();
    for (std::size_t lane = 0; lane < count; ++lane)
      own_truths_[lane] = (operand_->Truths()[lane] != 0) != inverts_;
  }

  std::u16string_view Text(std::size_t lane, std::u16string&) const override {
    return own_truths_[lane] != 0 ? u"true" : u"false";
  }
  bool KeepsText(std::size_t) const override { return true; }

 private:
  LanesPtr operand_;
  bool inverts_;
  std::vector<std::uint8_t> own_truths_;
};

template <typename Which>
LanesPtr Make(LanesPtr left, LanesPtr right) {
  return std::make_unique<Which>(std::move(left), std::move(right));
}

using BinaryMaker = LanesPtr (*)(LanesPtr, LanesPtr);

BinaryMaker MakerOf(FormulaWord word) {
  switch (word) {
    case FormulaWord::kOr: return &Make<LogicLanes<std::logical_or<>>>;
    case FormulaWord::kXor: return &Make<LogicLanes<std::not_equal_to<bool>>>;
    case FormulaWord::kAnd: return &Make<LogicLanes<std::logical_and<>>>;
    case FormulaWord::kEquals: return &Make<ComparisonLanes<EqualsRule>>;
    case FormulaWord::kNotEquals: return &Make<ComparisonLanes<NotEqualsRule>>;
    case FormulaWord::kGreaterThan: return &Make<ComparisonLanes<GreaterRule>>;
    case FormulaWord::kGreaterThanEquals: return &Make<ComparisonLanes<GreaterOrEqualRule>>;
    case FormulaWord::kLessThan: return &Make<ComparisonLanes<LessRule>>;
    case FormulaWord::kLessThanEquals: return &Make<ComparisonLanes<LessOrEqualRule>>;
    case FormulaWord::kAdd: return &Make<ArithmeticLanes<std::plus<double>>>;
    case FormulaWord::kSubtract: return &Make<ArithmeticLanes<std::minus<double>>>;
    case FormulaWord::kDivide: return &Make<ArithmeticLanes<std::divides<double>>>;
    case FormulaWord::kMultiply: return &Make<ArithmeticLanes<std::multiplies<double>>>;
    case FormulaWord::kConcatenate: return &Make<JoinedLanes>;
    default: return nullptr;
  }
}

}  // namespace

void RefusedRows::Begin(std::size_t count, const std::uint8_t* left, const std::uint8_t* right) {
  any_ = left != nullptr || right != nullptr;
  rows_.assign(count, 0);
  if (!any_) return;
  for (std::size_t lane = 0; lane < count; ++lane)
    rows_[lane] = IsRefused(left, lane) || IsRefused(right, lane);
}

void RefusedRows::RefuseMissing(const double* min_numbers, std::size_t count) {
  if (!HasNotANumber(min_numbers, count)) return;
  for (std::size_t lane = 0; lane < count; ++lane) {
    if (std::isnan(min_numbers[lane])) Refuse(lane);
  }
}

LanesPtr MakeColumnLanes(Ref<TableProperty> column) {
  return std::make_unique<ColumnLanes>(std::move(column));
}

LanesPtr MakeFixedLanes(const Term& term, const LayerItem& item, bool is_head) {
  return std::make_unique<FixedLanes>(term, item, is_head);
}

LanesPtr MakeNotLanes(LanesPtr operand, std::uint32_t nots) {
  if (nots == 0) return operand;
  return std::make_unique<NotLanes>(std::move(operand), nots);
}

LanesPtr MakeStepLanes(const Step& step, LanesPtr left, LanesPtr operand) {
  if (left == nullptr || operand == nullptr) return nullptr;
  if (step.kind == StepKind::kNot) return Make<InvertedLanes>(std::move(left), std::move(operand));
  const BinaryMaker maker = step.kind == StepKind::kOperation ? MakerOf(step.word) : nullptr;
  return maker != nullptr ? maker(std::move(left), std::move(operand)) : nullptr;
}

}  // namespace ktformula
