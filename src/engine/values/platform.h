// The platform's numbers, booleans and dates, the same on every platform: which texts count as
// what, and how values become text. Nothing here depends on the C library's locale.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ktformula {

// The separators of the user's number texts.
struct Locale {
  char16_t decimal_separator = u'.';
  char16_t thousands_separator = u',';
};

// The locale of the user who runs the process, one for all its threads; usually set at start.
Locale UserLocale() noexcept;
void SetUserLocale(const Locale& locale) noexcept;

// The number that the text reads as: blanks around, one leading sign, digits with at most one
// decimal separator, thousands separators between digits of the integer part, an exponent. Empty
// when the text is anything else or its magnitude is beyond the range of a double.
std::optional<double> NumericValue(std::u16string_view text);

inline bool IsNumericText(std::u16string_view text) {
  return NumericValue(text).has_value();
}

// How far a numeral at the start of the text reaches when it is read character by character up to
// a blank and every prefix after the first character has to be numeric in itself. The first
// character, a digit or ".", always belongs to it. At least 1 for a non-empty text.
std::size_t NumeralLength(std::u16string_view text, const Locale& locale = UserLocale());

// NumericValue, raising error 13 when the text is not numeric.
double TextToNumber(std::u16string_view text);

// The number at the start of the text, read with "." whatever the locale and skipping blanks; 0
// when there is none.
double LeadingNumber(std::u16string_view text);

// General form: at most 15 significant digits, no grouping, exponents as "1E+15" and "1E-05",
// negative zero as "0". Raises error 6 for a number that is not finite.
std::u16string NumberToText(double value);

// The words true and false in any letter case, or a numeric text (true when not 0).
std::optional<bool> BooleanText(std::u16string_view text);

// "YYYY-MM-DD", optionally followed by a blank or "T" and "HH:MM" or "HH:MM:SS" with decimals.
// The result counts days since 1899-12-30.
std::optional<double> DateValue(std::u16string_view text);
std::u16string DateToText(double date);

// The current local date and time as a day count.
double CurrentDateTime();

// Round half to even, as the conversion to a 32-bit integer does; raises error 6 outside its
// range.
std::int32_t RoundToInteger(double value);

// The texts "true" and "yes", "false" and "no" in any letter case, "" (false), or a numeric text.
// Raises error 13 from "XMLBoolean" for any other.
bool XMLBoolean(std::u16string_view text);

// "true" or "false".
std::u16string XMLBooleanText(bool value);

}  // namespace ktformula
