// The arithmetic operators of CellValue, and joining texts.
#include <cmath>
#include <functional>

#include "values/cell_value.h"
#include "values/plain_value.h"
#include "values/platform.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktformula {

namespace {

void CheckFinite(double result) {
  if (!std::isfinite(result)) Raise(RuntimeError::kOverflow);
}

// 0 / 0 is an undefined result, not a division by zero.
void CheckQuotient(double dividend, double divisor, double result) {
  if (divisor == 0 && dividend != 0 && !std::isnan(dividend)) Raise(RuntimeError::kDivisionByZero);
  CheckFinite(result);
}

std::int32_t Remainder(std::int32_t dividend, std::int32_t divisor) {
  if (divisor == 0) Raise(RuntimeError::kDivisionByZero);
  // The one quotient that a 32-bit integer cannot hold.
  return divisor == -1 ? 0 : dividend % divisor;
}

// Stores the quotient of the rounded values, then checks the divisor.
void DivideRounded(double& bound, double other) {
  const double dividend = RoundToInteger(bound);
  const double divisor = RoundToInteger(other);
  bound = dividend / divisor;
  if (divisor == 0) Raise(RuntimeError::kDivisionByZero);
}

// Stores one bound, then checks it: a bound at fault keeps the result that is no number.
template <typename Operation>
void CalculateBound(double& bound, double other, Operation operation) {
  const double before = bound;
  bound = operation(before, other);
  if constexpr (std::is_same_v<Operation, std::divides<double>>) {
    CheckQuotient(before, other, bound);
  } else {
    CheckFinite(bound);
  }
}

}  // namespace

// What arithmetic and comparisons begin with. False when this value is an error value then.
bool CellValue::TakeErrorOrConvert(Operand src) {
  if (const CellValue* other = src.AsCellValue()) {
    if (type_ != kCellValueTypeError && other->type_ == kCellValueTypeError) {
      SetError(other->error_number_, other->error_source_, other->error_description_);
      return false;
    }
    if (other->type_ == kCellValueTypeNumber) ConvertToNumber();
  }
  return type_ != kCellValueTypeError;
}

bool CellValue::PrepareArithmetic(Operand src, std::u16string_view source) {
  if (!TakeErrorOrConvert(src)) return false;
  if (type_ != kCellValueTypeNumber) Raise(source, u"the value \"" + text_ + u"\" is not a number");
  return true;
}

template <typename Operation>
void CellValue::Calculate(Operand src, std::u16string_view source, Operation operation) {
  if (!PrepareArithmetic(src, source)) return;
  double other_min = 0;
  double other_max = 0;
  if (const CellValue* other = src.AsCellValue()) {
    other_min = other->min_number_;
    other_max = other->max_number_;
  } else {
    const std::optional<double> number = PlainNumber(*src.AsPlainValue());
    if (!number) return;
    other_min = other_max = *number;
  }
  CalculateBound(min_number_, other_min, operation);
  CalculateBound(max_number_, other_max, operation);
}

void CellValue::Add(Operand src) {
  Calculate(src, u"CellValue.Add", std::plus<double>());
}

void CellValue::Subtract(Operand src) {
  Calculate(src, u"CellValue.Subtract", std::minus<double>());
}

void CellValue::Multiply(Operand src) {
  Calculate(src, u"CellValue.Multiply", std::multiplies<double>());
}

void CellValue::Divide(Operand src) {
  Calculate(src, u"CellValue.Divide", std::divides<double>());
}

void CellValue::Modulus(Operand src) {
  if (!PrepareArithmetic(src, u"CellValue.Divide")) return;
  if (const CellValue* other = src.AsCellValue()) {
    const double other_max = other->max_number_;
    min_number_ = Remainder(RoundToInteger(min_number_), RoundToInteger(other->min_number_));
    max_number_ = Remainder(RoundToInteger(max_number_), RoundToInteger(other_max));
    return;
  }
  const std::optional<double> number = PlainNumber(*src.AsPlainValue());
  if (!number) return;
  DivideRounded(min_number_, *number);
  DivideRounded(max_number_, *number);
}

void CellValue::Concatenate(Operand src) {
  if (type_ == kCellValueTypeError) return;
  const CellValue* const other = src.AsCellValue();
  if (other == nullptr) {
    Append(PlainText(*src.AsPlainValue()));
  } else if (other->type_ == kCellValueTypeError) {
    SetError(other->error_number_, other->error_source_, other->error_description_);
  } else {
    Append(other->text_);
  }
}

void CellValue::Append(const std::u16string& text) {
  if (text_.size() + text.size() > kMaximumTextLength) {
    Raise(u"CellValue.Concatenate",
          u"the text is longer than " + ToDecimalText(kMaximumTextLength) + u" characters");
  }
  text_ += text;
  type_ = kCellValueTypeString;
}

}  // namespace ktformula
