// Numbers as texts and texts as numbers, the same on every platform.
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

  bool operator==(const Locale&) const = default;
};

// The locale of all numbers that this thread reads and writes: the innermost LocaleScope's, and
// outside of them one for the whole process, usually set at start.
Locale UserLocale() noexcept;
void SetUserLocale(const Locale& locale) noexcept;

// Gives this thread a locale of its own as long as it lives: the one of a document that is worked
// on, whatever the process's is. They end in the opposite order.
class LocaleScope {
 public:
  explicit LocaleScope(const Locale& locale) noexcept;
  LocaleScope(const LocaleScope&) = delete;
  LocaleScope& operator=(const LocaleScope&) = delete;
  ~LocaleScope();

 private:
  std::uint32_t outer_;
};

// What stands at the start of a text, in characters and as a number; not-a-number where it is none
// ("", "-", ".") or its magnitude is beyond the range of a double.
struct Numeral {
  std::size_t length = 0;
  double value = 0;
};

// Reads one leading sign, digits with at most one decimal separator, thousands separators between
// digits of the integer part, an exponent. A separator that is doubled ("1..2") and an "e" without
// digits behind it do not belong to the numeral.
Numeral ReadNumeral(std::u16string_view text, const Locale& locale);

// The number that the text is, with blanks around it: a numeral and nothing else. Empty for any
// other text and where the magnitude is beyond the range of a double.
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

// The same, behind what is in the text already.
void AppendNumberText(double value, std::u16string& text);

// The same into memory of at least kNumberTextRoom characters, all of which may be overwritten;
// tells the end of the text.
constexpr std::size_t kNumberTextRoom = 40;
char16_t* WriteNumberText(double value, char16_t* begin);

// What the general form of the number reads as, found without the text: the number with its first
// 15 significant digits. Not-a-number for one that has no text, or whose text is beyond the range
// of a double.
double RoundedToText(double value);

}  // namespace ktformula
