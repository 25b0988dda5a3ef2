// The comparison and logical operators of CellValue.
#include <array>
#include <functional>

#include "values/cell_value.h"
#include "values/comparison_rules.h"
#include "values/plain_value.h"
#include "values/raised_error.h"

namespace ktformula {

namespace {

constexpr std::u16string_view kEqualsSource = u"CellValue.Equals";

constexpr std::u16string_view kEqualityMisfit =
    u"a test for equality can not be performed on an operand of the resulting type";
constexpr std::u16string_view kNumericEqualityMisfit =
    u"a test for numeric equality can not be performed on an operand of the resulting type";
constexpr std::u16string_view kStringEqualityMisfit =
    u"a test for string equality can not be performed on an operand of the resulting type";
constexpr std::u16string_view kDateEqualityMisfit =
    u"a test for date equality can not be performed on an operand of the resulting type";
constexpr std::u16string_view kBooleanEqualityMisfit =
    u"a test for boolean equality can not be performed on an operand of the resulting type";
constexpr std::u16string_view kNumericGreaterMisfit =
    u"a test for numeric greater than can not be performed on an operand of the resulting type";
constexpr std::u16string_view kStringGreaterMisfit =
    u"a test for string greater than can not be performed on an operand of the resulting type";
constexpr std::u16string_view kNumericLessMisfit =
    u"a test for numeric less than can not be performed on an operand of the resulting type";
constexpr std::u16string_view kStringLessMisfit =
    u"a test for string less than can not be performed on an operand of the resulting type";
constexpr std::u16string_view kAndMisfit =
    u"a test for boolean AND can not be performed on an operand of the resulting type";
constexpr std::u16string_view kOrMisfit =
    u"a test for boolean Or can not be performed on an operand of the resulting type";
constexpr std::u16string_view kXOrMisfit =
    u"a test for boolean XOr can not be performed on an operand of the resulting type";

// What an operand contributes to a comparison with a date, a text or a Boolean. A
// CellValue contributes the fields of that kind whatever its own kind is; a plain value may
// contribute nothing.
std::optional<Bounds> DateBounds(Operand src) {
  if (const CellValue* value = src.AsCellValue()) {
    return Bounds{value->MinDate(), value->MaxDate()};
  }
  const std::optional<double> date = PlainDateValue(*src.AsPlainValue());
  if (!date) return std::nullopt;
  return Bounds{*date, *date};
}

const std::u16string* TextOf(Operand src) {
  if (const CellValue* value = src.AsCellValue()) return &value->Text();
  return std::get_if<std::u16string>(src.AsPlainValue());
}

std::optional<bool> TruthOf(Operand src) {
  if (const CellValue* value = src.AsCellValue()) return value->BooleanValue();
  return PlainBoolean(*src.AsPlainValue());
}

}  // namespace

// How one ordering operator compares ranges and texts, and how it words its misfits.
struct CellValue::OrderRule {
  bool (*bounds)(const Bounds& left, const Bounds& right) noexcept;
  bool (*texts)(int order) noexcept;
  std::u16string_view number_misfit;
  std::u16string_view string_misfit;

  template <typename Rule>
  static constexpr OrderRule Of(std::u16string_view number_misfit,
                                std::u16string_view string_misfit) noexcept {
    return {&Rule::Holds, &Rule::Holds, number_misfit, string_misfit};
  }
};

const CellValue::OrderRule& CellValue::RuleOf(Order order) noexcept {
  static constexpr std::array<OrderRule, 4> kRules{{
      OrderRule::Of<GreaterRule>(kNumericGreaterMisfit, kStringGreaterMisfit),
      OrderRule::Of<LessRule>(kNumericLessMisfit, kStringLessMisfit),
      OrderRule::Of<GreaterOrEqualRule>(kNumericGreaterMisfit, kStringGreaterMisfit),
      OrderRule::Of<LessOrEqualRule>(kNumericGreaterMisfit, kStringGreaterMisfit),
  }};
  return kRules[static_cast<std::size_t>(order)];
}

void CellValue::SetMisfit(std::u16string_view source, std::u16string_view description) {
  SetError(kComponentError, source, description);
}

template <typename Other, typename Test>
void CellValue::Decide(const Other& other, std::u16string_view misfit, Test test) {
  if (other) {
    SetBoolean(test(*other));
  } else {
    SetMisfit(kEqualsSource, misfit);
  }
}

template <typename Test>
void CellValue::DecideNumbers(Operand src, std::u16string_view misfit, Test test) {
  const std::optional<Bounds> other = NumberBounds(src);
  const CellValue* const missing = other ? MissingOf(src) : nullptr;
  if (missing != nullptr) {
    SetMisfit(kEqualsSource, missing->MissingNumberDescription());
  } else {
    Decide(other, misfit, test);
  }
}

void CellValue::Equals(Operand src) {
  if (!TakeErrorOrConvert(src)) return;
  const auto equals = [](const auto& own) {
    return [&own](const auto& other) { return own == other; };
  };
  switch (type_) {
    case kCellValueTypeNumber: {
      const Bounds own{min_number_, max_number_};
      DecideNumbers(src, kNumericEqualityMisfit, equals(own));
      return;
    }
    case kCellValueTypeDate: {
      const Bounds own{min_date_, max_date_};
      Decide(DateBounds(src), kDateEqualityMisfit, equals(own));
      return;
    }
    case kCellValueTypeString: Decide(TextOf(src), kStringEqualityMisfit, equals(text_)); return;
    case kCellValueTypeBoolean:
      Decide(TruthOf(src), kBooleanEqualityMisfit, equals(boolean_));
      return;
    default: SetMisfit(kEqualsSource, kEqualityMisfit);
  }
}

void CellValue::NotEquals(Operand src) {
  Equals(src);
  if (type_ == kCellValueTypeBoolean) SetBoolean(!BooleanValue());
}

void CellValue::Compare(Operand src, Order order) {
  if (!TakeErrorOrConvert(src)) return;
  const OrderRule& rule = RuleOf(order);
  switch (type_) {
    case kCellValueTypeNumber:
      DecideNumbers(src, rule.number_misfit, [&](const Bounds& other) {
        return rule.bounds({min_number_, max_number_}, other);
      });
      return;
    case kCellValueTypeDate:
      Decide(DateBounds(src), kDateEqualityMisfit, [&](const Bounds& other) {
        return rule.bounds({min_date_, max_date_}, other);
      });
      return;
    case kCellValueTypeString:
      Decide(TextOf(src), rule.string_misfit,
             [&](const std::u16string& other) { return rule.texts(text_.compare(other)); });
      return;
    default: SetMisfit(kEqualsSource, kEqualityMisfit);
  }
}

void CellValue::GreaterThan(Operand src) {
  Compare(src, Order::kGreater);
}
void CellValue::LessThan(Operand src) {
  Compare(src, Order::kLess);
}
void CellValue::GreaterThanEquals(Operand src) {
  Compare(src, Order::kGreaterOrEqual);
}
void CellValue::LessThanEquals(Operand src) {
  Compare(src, Order::kLessOrEqual);
}

template <typename Operation>
void CellValue::Combine(Operand src, std::u16string_view source, std::u16string_view misfit,
                        Operation operation) {
  if (type_ == kCellValueTypeError) return;
  const CellValue* other = src.AsCellValue();
  if (other != nullptr && other->type_ == kCellValueTypeError) {
    SetError(other->error_number_, other->error_source_, other->error_description_);
    return;
  }
  if (type_ != kCellValueTypeBoolean) {
    SetMisfit(source, misfit);
    return;
  }
  const std::optional<bool> operand = TruthOf(src);
  if (operand) {
    SetBoolean(operation(boolean_, *operand));
  } else {
    SetMisfit(source, misfit);
  }
}

void CellValue::BooleanAnd(Operand src) {
  Combine(src, kEqualsSource, kAndMisfit, std::logical_and<>());
}

void CellValue::BooleanOr(Operand src) {
  Combine(src, u"CellValue.BooleanOr", kOrMisfit, std::logical_or<>());
}

void CellValue::BooleanXOr(Operand src) {
  Combine(src, u"CellValue.BooleanXOr", kXOrMisfit, std::not_equal_to<bool>());
}

}  // namespace ktformula
