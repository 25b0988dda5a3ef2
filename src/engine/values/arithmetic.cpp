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
  if (type_ != kCellValueTypeNumber) Raise(source, NotANumberDescription(text_));
  return true;
}

// Which of both is a missing number, this value first; nullptr when none is.
const CellValue* CellValue::MissingOf(Operand src) const noexcept {
  if (is_missing_number_) return this;
  const CellValue* const other = src.AsCellValue();
  return other != nullptr && other->is_missing_number_ ? other : nullptr;
}

void CellValue::RefuseMissing(Operand src, std::u16string_view source) {
  const CellValue* const missing = MissingOf(src);
  if (missing == nullptr) return;
  SetMissingNumber(missing->text_);
  Raise(source, MissingNumberDescription());
}

template <typename Operation>
void CellValue::Calculate(Operand src, std::u16string_view source, Operation operation) {
  if (!PrepareArithmetic(src, source)) return;
  const std::optional<Bounds> other = NumberBounds(src);
  if (!other) return;
  RefuseMissing(src, source);
  CalculateBound(min_number_, other->min, operation);
  CalculateBound(max_number_, other->max, operation);
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
  constexpr std::u16string_view kSource = u"CellValue.Divide";
  if (!PrepareArithmetic(src, kSource)) return;
  const std::optional<Bounds> other = NumberBounds(src);
  if (!other) return;
  RefuseMissing(src, kSource);
  if (src.AsCellValue() != nullptr) {
    min_number_ = Remainder(RoundToInteger(min_number_), RoundToInteger(other->min));
    max_number_ = Remainder(RoundToInteger(max_number_), RoundToInteger(other->max));
  } else {
    DivideRounded(min_number_, other->min);
    DivideRounded(max_number_, other->max);
  }
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
