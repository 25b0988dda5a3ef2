#include "values/cell_value.h"

#include <cmath>
#include <limits>

#include "values/platform.h"
#include "values/raised_error.h"
#include "values/significant_digits.h"

namespace ktformula {

namespace {

constexpr std::int32_t kTypeMismatchNumber = static_cast<std::int32_t>(RuntimeError::kTypeMismatch);

}  // namespace

bool CellValue::BooleanValue() const {
  switch (type_) {
    case kCellValueTypeBoolean: return boolean_;
    case kCellValueTypeNumber: return min_number_ != 0;
    case kCellValueTypeString:
      if (const std::optional<bool> value = BooleanText(text_)) return *value;
      Raise(RuntimeError::kTypeMismatch);
    default:
      throw RaisedError(kTypeMismatchNumber, u"CellValue.BooleanValue",
                        u"an argument does not evaluate to a Boolean value");
  }
}

bool CellValue::IsBoolean() const {
  switch (type_) {
    case kCellValueTypeBoolean:
    case kCellValueTypeNumber: return true;
    case kCellValueTypeString: return BooleanText(text_).has_value();
    default: return false;
  }
}

void CellValue::InitializeFromGridCell(const TableCell& gc) {
  SetTypeFromProperty(gc.Property().get());
  text_ = gc.Text();
  min_number_ = gc.MinNumber();
  max_number_ = gc.MaxNumber();
  is_missing_number_ =
      type_ == kCellValueTypeNumber && std::isnan(min_number_) && std::isnan(max_number_);
  if (type_ == kCellValueTypeBoolean) boolean_ = XMLBoolean(text_);
  mvr_structure_ = gc.StructureText();
}

void CellValue::InitializeFromChemicalStructure(const ChemicalStructure& cs) {
  SetMvrStructure(cs.Data());
}

void CellValue::InitializeFromELNProperty(ktformula::ELNProperty* property) {
  SetTypeFromProperty(property);
  text_.clear();
  min_date_ = max_date_ = CurrentDateTime();
  min_number_ = max_number_ = 0;
  is_missing_number_ = false;
  boolean_ = false;
  mvr_structure_.clear();
}

CellValue CellValue::Duplicate() const {
  CellValue copy;
  copy.CopyFrom(*this);
  return copy;
}

void CellValue::SetNumber(double newMinValue, double newMaxValue) noexcept {
  type_ = kCellValueTypeNumber;
  min_number_ = newMinValue;
  max_number_ = newMaxValue;
  is_missing_number_ = false;
}

void CellValue::SetMissingNumber(std::u16string_view newText) {
  constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();
  text_ = newText;
  SetNumber(kNotANumber, kNotANumber);
  is_missing_number_ = true;
}

std::u16string CellValue::MissingNumberDescription() const {
  if (text_.starts_with(kErrorPrefix)) return text_.substr(kErrorPrefix.size());
  return NotANumberDescription(text_);
}

void CellValue::SetString(std::u16string_view newText) {
  type_ = kCellValueTypeString;
  text_ = newText;
}

void CellValue::SetError(std::int32_t NewErrorNumber, std::u16string_view NewErrorSource,
                         std::u16string_view NewErrorDescription) {
  type_ = kCellValueTypeError;
  error_number_ = NewErrorNumber;
  error_source_ = NewErrorSource;
  error_description_ = NewErrorDescription;
}

void CellValue::SetBoolean(bool newValue) {
  type_ = kCellValueTypeBoolean;
  text_ = XMLBooleanText(newValue);
  boolean_ = newValue;
}

void CellValue::SetMvrStructure(std::u16string_view newValue) {
  type_ = kCellValueTypeStructure;
  mvr_structure_ = newValue;
}

void CellValue::SetTypeFromProperty(ktformula::ELNProperty* property) {
  eln_property_ = Ref<ktformula::ELNProperty>(property);
  if (property == nullptr) {
    type_ = kCellValueTypeUnknown;
    return;
  }
  if (property->IsNumeric()) {
    type_ = kCellValueTypeNumber;
    return;
  }
  const std::u16string name = property->DataTypeName();
  if (name == u"structure") {
    type_ = kCellValueTypeStructure;
  } else if (name == u"date") {
    type_ = kCellValueTypeDate;
  } else if (name == u"Boolean") {
    type_ = kCellValueTypeBoolean;
  } else {
    type_ = kCellValueTypeString;
  }
}

void CellValue::CopyFrom(const CellValue& other) {
  eln_property_ = other.eln_property_;
  type_ = other.type_;
  if (type_ == kCellValueTypeError) {
    error_number_ = other.error_number_;
    error_source_ = other.error_source_;
    error_description_ = other.error_description_;
    return;
  }
  text_ = other.text_;
  min_date_ = other.min_date_;
  max_date_ = other.max_date_;
  min_number_ = other.min_number_;
  max_number_ = other.max_number_;
  is_missing_number_ = other.is_missing_number_;
  boolean_ = other.BooleanValue();
  mvr_structure_ = other.mvr_structure_;
}

std::int16_t CellValue::CountSignificantDigits(std::u16string_view text) {
  return ktformula::CountSignificantDigits(text, true);
}

std::u16string CellValue::SignificantDigitMask(double value, std::int16_t digits) {
  return ktformula::SignificantDigitMask(value, digits);
}

void CellValue::ConvertToNumber() {
  if (type_ == kCellValueTypeNumber || type_ == kCellValueTypeError) return;
  if (type_ == kCellValueTypeString) {
    const std::optional<double> number = text_.empty() ? 0.0 : NumericValue(text_);
    if (number) {
      SetNumber(*number, *number);
      return;
    }
  }
  SetError(kComponentError, u"CellValue.ConvertToNumber",
           u"a value could not be converted into a number");
}

}  // namespace ktformula
