// CellValue: the one value type of the formula language.
//
// Of the two failure channels, this class raises (RaisedError) where an operation says so, and
// stores an error value (kind kCellValueTypeError) where it says that.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "host/notebook_objects.h"
#include "values/leak_check.h"

namespace ktformula {

class CellValue;

enum CellValueTypeEnum : std::int32_t {
  kCellValueTypeUnknown = 0,
  kCellValueTypeError = 1,
  kCellValueTypeString = 2,
  kCellValueTypeNumber = 3,
  kCellValueTypeDate = 4,
  kCellValueTypeBoolean = 5,
  kCellValueTypeStructure = 6,
};

// A date as a plain operand: days since 1899-12-30.
struct PlainDate {
  double days = 0;
};

// An operand that is not a CellValue. std::monostate stands for every other content, such as an
// object or nothing at all: it is neither numeric nor a text nor a date.
using PlainValue = std::variant<std::monostate, double, std::u16string, bool, PlainDate>;

// The right operand of an operator: a CellValue or a plain value. Refers to its argument and must
// not outlive it.
class Operand {
 public:
  Operand(const CellValue& value) noexcept : cell_value_(&value) {}
  Operand(const PlainValue& value) noexcept : plain_value_(&value) {}

  // Exactly one of the two is not nullptr.
  const CellValue* AsCellValue() const noexcept { return cell_value_; }
  const PlainValue* AsPlainValue() const noexcept { return plain_value_; }

 private:
  const CellValue* cell_value_ = nullptr;
  const PlainValue* plain_value_ = nullptr;
};

// Code units of a joined text: 16 MiB of ASCII characters. Formulas that double a text would use up
// all memory within a few columns.
inline constexpr std::size_t kMaximumTextLength = std::size_t{16} * 1024 * 1024;

// A value of one of seven kinds. Every field keeps its last content when the kind changes: a
// setter writes only the fields named for it, and operations read what was left over. Operators
// change the left operand in place; take a Duplicate of what must be kept.
//
// A regular value type: copying and moving take every field. Used by one thread.
class CellValue : private LeakCounted<CellValue> {
 public:
  static constexpr std::string_view kClassName = "CellValue";

  ktformula::CellValueTypeEnum CellValueType() const noexcept { return type_; }
  const std::u16string& Text() const noexcept { return text_; }
  double MinNumber() const noexcept { return min_number_; }
  double MaxNumber() const noexcept { return max_number_; }
  // Whether the numbers are a missing number: both not-a-number, read from a number cell whose text
  // is no number ("n.d."), or come of such a cell. Ends when other numbers are set.
  bool IsMissingNumber() const noexcept { return is_missing_number_; }
  // The description of the error that a missing number leads to: that of Text when it shows an
  // error, otherwise that Text is not a number.
  std::u16string MissingNumberDescription() const;
  // Days since 1899-12-30.
  double MinDate() const noexcept { return min_date_; }
  double MaxDate() const noexcept { return max_date_; }
  const std::u16string& MvrStructure() const noexcept { return mvr_structure_; }
  // The stored boolean, a number's lower bound not being 0, or what a string says. Raises error 13
  // for any other string and any other kind.
  bool BooleanValue() const;
  // Whether BooleanValue succeeds.
  bool IsBoolean() const;
  // The host property from which the kind was taken; may be empty.
  const Ref<ktformula::ELNProperty>& ELNProperty() const noexcept { return eln_property_; }
  const std::u16string& ErrorDescription() const noexcept { return error_description_; }
  std::int32_t ErrorNumber() const noexcept { return error_number_; }
  const std::u16string& ErrorSource() const noexcept { return error_source_; }

  // Takes kind, text, numbers and structure from the cell; the dates stay as they are. A number
  // cell with not-a-number in both members gives a missing number.
  void InitializeFromGridCell(const TableCell& gc);
  void InitializeFromChemicalStructure(const ChemicalStructure& cs);
  // The value of a property into which nothing was entered; `property` may be nullptr.
  void InitializeFromELNProperty(ktformula::ELNProperty* property);

  // A new value made by CopyFrom, including its failure.
  CellValue Duplicate() const;

  // Arithmetic, bound by bound, without interval rules. All but Concatenate raise
  // kComponentError when this value is no number, error 11 for a zero divisor and error 6 for a
  // result that is not finite; the bound at fault has its new content then. An operand that is an
  // error value makes this value that error. A missing number on either side makes this value one,
  // with that text, and raises kComponentError with its description.
  void Add(Operand src);
  void Subtract(Operand src);
  void Multiply(Operand src);
  void Divide(Operand src);
  // The remainder of the rounded bounds; with a plain operand their quotient.
  void Modulus(Operand src);

  // Comparisons make this value a Boolean, or an error value when the kinds do not fit or a number
  // is missing.
  void Equals(Operand src);
  void NotEquals(Operand src);
  // Logic on Booleans; an error value when this value is none. Raises error 13 when the operand
  // is a CellValue without a BooleanValue.
  void BooleanAnd(Operand src);
  void BooleanOr(Operand src);
  void BooleanXOr(Operand src);
  void GreaterThan(Operand src);
  void LessThan(Operand src);
  void GreaterThanEquals(Operand src);
  void LessThanEquals(Operand src);

  // Joins the Text fields, whatever the kinds. Raises kComponentError, and joins nothing, where
  // that would be longer than kMaximumTextLength.
  void Concatenate(Operand src);

  // No check of the order of the bounds; Text stays.
  void SetNumber(double newMinValue, double newMaxValue) noexcept;
  // Makes this value a missing number; Text is why.
  void SetMissingNumber(std::u16string_view newText);
  void SetString(std::u16string_view newText);
  void SetError(std::int32_t NewErrorNumber, std::u16string_view NewErrorSource,
                std::u16string_view NewErrorDescription);
  void SetBoolean(bool newValue);
  void SetMvrStructure(std::u16string_view newValue);

  // Takes the kind from the property; nullptr gives Unknown.
  void SetTypeFromProperty(ktformula::ELNProperty* property);
  // Copies what belongs to the other's kind. The boolean is read through BooleanValue, so copying
  // a value without one raises error 13 and copies nothing more.
  void CopyFrom(const CellValue& other);
  // The digits of a typed number; a bare point, or nothing but zeros, counts none. See
  // values/significant_digits.h.
  static std::int16_t CountSignificantDigits(std::u16string_view text);
  static std::u16string SignificantDigitMask(double value, std::int16_t digits);
  // Makes a numeric or empty string a number and anything else an error value. Never raises.
  void ConvertToNumber();

 private:
  enum class Order { kGreater, kLess, kGreaterOrEqual, kLessOrEqual };
  struct OrderRule;
  static const OrderRule& RuleOf(Order order) noexcept;

  bool TakeErrorOrConvert(Operand src);
  void Append(const std::u16string& text);
  const CellValue* MissingOf(Operand src) const noexcept;
  void RefuseMissing(Operand src, std::u16string_view source);
  void SetMisfit(std::u16string_view source, std::u16string_view description);
  template <typename Operation>
  void Calculate(Operand src, std::u16string_view source, Operation operation);
  bool PrepareArithmetic(Operand src, std::u16string_view source);
  template <typename Other, typename Test>
  void Decide(const Other& other, std::u16string_view misfit, Test test);
  template <typename Test>
  void DecideNumbers(Operand src, std::u16string_view misfit, Test test);
  void Compare(Operand src, Order order);
  template <typename Operation>
  void Combine(Operand src, std::u16string_view source, std::u16string_view misfit,
               Operation operation);

  std::u16string text_;
  double min_number_ = 0;
  double max_number_ = 0;
  double min_date_ = 0;
  double max_date_ = 0;
  std::u16string mvr_structure_;
  bool boolean_ = false;
  bool is_missing_number_ = false;
  CellValueTypeEnum type_ = kCellValueTypeUnknown;
  std::int32_t error_number_ = 0;
  std::u16string error_source_;
  std::u16string error_description_;
  Ref<ktformula::ELNProperty> eln_property_;
};

}  // namespace ktformula
