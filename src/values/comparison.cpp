// The comparison and logical operators of CellValue.
#include <array>
#include <functional>

#include "values/cell_value.h"
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

// A range of numbers or of dates.
struct Bounds {
  double min;
  double max;
};

const std::u16string* PlainString(const PlainValue& value) {
  return std::get_if<std::u16string>(&value);
}

}  // namespace

// How one ordering operator compares ranges and texts, and how it words its misfits. The strict
// operators compare like bounds, the others opposite ones: true when the ranges could touch.
struct CellValue::OrderRule {
  bool (*bounds)(const Bounds& left, const Bounds& right);
  bool (*texts)(int order);
  std::u16string_view number_misfit;
  std::u16string_view string_misfit;
};

const CellValue::OrderRule& CellValue::RuleOf(Order order) noexcept {
  static constexpr std::array<OrderRule, 4> kRules{{
      {[](const Bounds& left, const Bounds& right) { return left.max > right.max; },
       [](int order_of_texts) { return order_of_texts > 0; }, kNumericGreaterMisfit,
       kStringGreaterMisfit},
      {[](const Bounds& left, const Bounds& right) { return left.min < right.min; },
       [](int order_of_texts) { return order_of_texts < 0; }, kNumericLessMisfit,
       kStringLessMisfit},
      {[](const Bounds& left, const Bounds& right) { return left.max >= right.min; },
       [](int order_of_texts) { return order_of_texts >= 0; }, kNumericGreaterMisfit,
       kStringGreaterMisfit},
      {[](const Bounds& left, const Bounds& right) { return left.min <= right.max; },
       [](int order_of_texts) { return order_of_texts <= 0; }, kNumericGreaterMisfit,
       kStringGreaterMisfit},
  }};
  return kRules[static_cast<std::size_t>(order)];
}

void CellValue::SetMisfit(std::u16string_view source, std::u16string_view description) {
  SetError(kComponentError, source, description);
}

void CellValue::Equals(Operand src) {
  if (!TakeErrorOrConvert(src)) return;
  const CellValue* other = src.AsCellValue();
  const auto compare = [this](auto plain, auto equals, std::u16string_view misfit) {
    if (plain) {
      SetBoolean(equals(*plain));
    } else {
      SetMisfit(kEqualsSource, misfit);
    }
  };
  switch (type_) {
    case kCellValueTypeNumber:
      if (other != nullptr) {
        SetBoolean(min_number_ == other->min_number_ && max_number_ == other->max_number_);
        return;
      }
      compare(
          PlainNumber(*src.AsPlainValue()),
          [this](double x) { return min_number_ == x && max_number_ == x; },
          kNumericEqualityMisfit);
      return;
    case kCellValueTypeString:
      if (other != nullptr) {
        SetBoolean(text_ == other->text_);
        return;
      }
      compare(
          PlainString(*src.AsPlainValue()),
          [this](const std::u16string& text) { return text_ == text; }, kStringEqualityMisfit);
      return;
    case kCellValueTypeDate:
      if (other != nullptr) {
        SetBoolean(min_date_ == other->min_date_ && max_date_ == other->max_date_);
        return;
      }
      compare(
          PlainDateValue(*src.AsPlainValue()),
          [this](double d) { return min_date_ == d && max_date_ == d; }, kDateEqualityMisfit);
      return;
    case kCellValueTypeBoolean:
      if (other != nullptr) {
        SetBoolean(BooleanValue() == other->BooleanValue());
        return;
      }
      compare(
          PlainBoolean(*src.AsPlainValue()), [this](bool value) { return BooleanValue() == value; },
          kBooleanEqualityMisfit);
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
  const CellValue* other = src.AsCellValue();
  const auto compare_bounds = [&](Bounds own, Bounds others, std::optional<double> plain,
                                  std::u16string_view misfit) {
    if (other != nullptr) {
      SetBoolean(rule.bounds(own, others));
    } else if (plain) {
      SetBoolean(rule.bounds(own, {*plain, *plain}));
    } else {
      SetMisfit(kEqualsSource, misfit);
    }
  };
  switch (type_) {
    case kCellValueTypeNumber:
      compare_bounds({min_number_, max_number_},
                     other != nullptr ? Bounds{other->min_number_, other->max_number_} : Bounds{},
                     other != nullptr ? std::nullopt : PlainNumber(*src.AsPlainValue()),
                     rule.number_misfit);
      return;
    case kCellValueTypeDate:
      compare_bounds({min_date_, max_date_},
                     other != nullptr ? Bounds{other->min_date_, other->max_date_} : Bounds{},
                     other != nullptr ? std::nullopt : PlainDateValue(*src.AsPlainValue()),
                     kDateEqualityMisfit);
      return;
    case kCellValueTypeString: {
      const std::u16string* text =
          other != nullptr ? &other->text_ : PlainString(*src.AsPlainValue());
      if (text != nullptr) {
        SetBoolean(rule.texts(text_.compare(*text)));
      } else {
        SetMisfit(kEqualsSource, rule.string_misfit);
      }
      return;
    }
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
  const std::optional<bool> operand =
      other != nullptr ? other->BooleanValue() : PlainBoolean(*src.AsPlainValue());
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
