#include "notebook/tables/number_pattern.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "values/platform.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktnotebook {

namespace {

constexpr int kDecimalsOfFifteenDigits = 14;

// The decimal places of a number count from 0 at the units: tens are 1, tenths are -1.
class DecimalNumber {
 public:
  explicit DecimalNumber(double value) {
    std::array<char, 32> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), std::abs(value),
                                      std::chars_format::scientific, kDecimalsOfFifteenDigits);
    const std::string_view text(buffer.data(),
                                static_cast<std::size_t>(result.ptr - buffer.data()));
    const std::size_t exponent = text.find('e');
    for (const char c : text.substr(0, exponent)) {
      if (c != '.') digits_.push_back(c);
    }
    DropTrailingZeros();
    if (!IsZero()) top_place_ = std::atoi(buffer.data() + exponent + 1);
  }

  bool IsZero() const { return digits_.empty(); }
  // The place of the first digit; 0 for zero.
  std::int64_t TopPlace() const { return top_place_; }
  // The place of the last digit that is not zero.
  std::int64_t LastPlace() const {
    return top_place_ - static_cast<std::int64_t>(digits_.size()) + 1;
  }

  char16_t DigitAt(std::int64_t place) const {
    if (IsZero() || place > top_place_ || place < LastPlace()) return u'0';
    return static_cast<char16_t>(digits_[static_cast<std::size_t>(top_place_ - place)]);
  }

  // Multiplies by a power of ten.
  void Shift(std::int64_t places) {
    if (!IsZero()) top_place_ += places;
  }

  // Rounds half away from zero.
  void RoundTo(std::int64_t last_place) {
    if (IsZero() || LastPlace() >= last_place) return;
    const bool up = DigitAt(last_place - 1) >= u'5';
    const std::int64_t kept = std::max<std::int64_t>(top_place_ - last_place + 1, 0);
    digits_.resize(static_cast<std::size_t>(kept));
    if (up) Increment();
    DropTrailingZeros();
  }

 private:
  // Adds one at the place of the last digit, or just above the first one when all were dropped.
  void Increment() {
    while (!digits_.empty() && digits_.back() == '9')
      digits_.pop_back();
    if (!digits_.empty()) {
      ++digits_.back();
      return;
    }
    digits_.assign(1, '1');
    ++top_place_;
  }

  void DropTrailingZeros() {
    while (!digits_.empty() && digits_.back() == '0')
      digits_.pop_back();
    if (digits_.empty()) top_place_ = 0;
  }

  std::string digits_;
  std::int64_t top_place_ = 0;
};

struct NumberPattern {
  std::u16string_view prefix;
  std::u16string_view suffix;
  std::int64_t integer_places = 0;
  std::int64_t shown_integer_digits = 0;
  std::int64_t decimal_places = 0;
  std::int64_t shown_decimals = 0;
  bool has_places = false;
  bool has_point = false;
  bool is_grouped = false;
  // 'E' or 'e', as the pattern has it; 0 without an exponent.
  char16_t exponent_letter = u'\0';
  bool shows_exponent_plus = false;
  std::size_t exponent_digits = 0;
};

constexpr bool IsPlace(char16_t unit) {
  return unit == u'0' || unit == u'#';
}

class PatternReader {
 public:
  explicit PatternReader(std::u16string_view text) : text_(text) {}

  NumberPattern Read() {
    while (position_ < text_.size() && !IsStart())
      ++position_;
    pattern_.prefix = text_.substr(0, position_);
    pattern_.has_places = position_ < text_.size();
    if (pattern_.has_places) {
      ReadIntegerPlaces();
      ReadDecimalPlaces();
      ReadExponent();
    }
    pattern_.suffix = text_.substr(position_);
    return pattern_;
  }

 private:
  char16_t Peek(std::size_t ahead = 0) const {
    return position_ + ahead < text_.size() ? text_[position_ + ahead] : u'\0';
  }

  bool IsStart() const { return IsPlace(Peek()) || (Peek() == u'.' && IsPlace(Peek(1))); }

  void ReadIntegerPlaces() {
    while (true) {
      if (IsPlace(Peek())) {
        ++pattern_.integer_places;
        // Every place behind a "0" shows its digit.
        if (Peek() == u'0' || pattern_.shown_integer_digits > 0) ++pattern_.shown_integer_digits;
      } else if (Peek() == u',' && pattern_.integer_places > 0 && IsPlace(Peek(1))) {
        pattern_.is_grouped = true;
      } else {
        return;
      }
      ++position_;
    }
  }

  void ReadDecimalPlaces() {
    if (Peek() != u'.') return;
    pattern_.has_point = true;
    for (++position_; IsPlace(Peek()); ++position_) {
      ++pattern_.decimal_places;
      if (Peek() == u'0') pattern_.shown_decimals = pattern_.decimal_places;
    }
  }

  void ReadExponent() {
    const bool is_exponent = (Peek() == u'E' || Peek() == u'e') &&
                             (Peek(1) == u'+' || Peek(1) == u'-') && Peek(2) == u'0';
    if (!is_exponent) return;
    pattern_.exponent_letter = Peek();
    pattern_.shows_exponent_plus = Peek(1) == u'+';
    for (position_ += 2; Peek() == u'0'; ++position_)
      ++pattern_.exponent_digits;
  }

  std::u16string_view text_;
  std::size_t position_ = 0;
  NumberPattern pattern_;
};

void AppendIntegerDigits(std::u16string& text, const DecimalNumber& number,
                         const NumberPattern& pattern) {
  const std::int64_t significant = number.IsZero() ? 0 : number.TopPlace() + 1;
  const std::int64_t count = std::max(significant, pattern.shown_integer_digits);
  for (std::int64_t place = count - 1; place >= 0; --place) {
    text.push_back(number.DigitAt(place));
    if (pattern.is_grouped && place > 0 && place % 3 == 0) {
      text.push_back(ktformula::UserLocale().thousands_separator);
    }
  }
}

// The number has to be rounded to the pattern's places.
void AppendDecimals(std::u16string& text, const DecimalNumber& number,
                    const NumberPattern& pattern) {
  if (!pattern.has_point) return;
  text.push_back(ktformula::UserLocale().decimal_separator);
  const std::int64_t significant = number.IsZero() ? 0 : -number.LastPlace();
  const std::int64_t count = std::max(significant, pattern.shown_decimals);
  for (std::int64_t place = 1; place <= count; ++place)
    text.push_back(number.DigitAt(-place));
}

void AppendExponent(std::u16string& text, std::int64_t exponent, const NumberPattern& pattern) {
  if (pattern.exponent_letter == u'\0') return;
  text.push_back(pattern.exponent_letter);
  if (exponent < 0) {
    text.push_back(u'-');
  } else if (pattern.shows_exponent_plus) {
    text.push_back(u'+');
  }
  const std::u16string digits = ktformula::ToDecimalText(std::abs(exponent));
  if (digits.size() < pattern.exponent_digits) {
    text.append(pattern.exponent_digits - digits.size(), u'0');
  }
  text += digits;
}

// Rounds the number to the pattern's places; with an exponent, turns it into the mantissa first.
// Answers the exponent.
std::int64_t FitToPlaces(DecimalNumber& number, const NumberPattern& pattern) {
  if (pattern.exponent_letter == u'\0' || number.IsZero()) {
    number.RoundTo(-pattern.decimal_places);
    return 0;
  }
  const std::int64_t mantissa_top = pattern.integer_places - 1;
  const std::int64_t exponent = number.TopPlace() - mantissa_top;
  number.Shift(-exponent);
  number.RoundTo(-pattern.decimal_places);
  // 9.996 may have become 10.00.
  const std::int64_t carry = number.TopPlace() - mantissa_top;
  number.Shift(-carry);
  return exponent + carry;
}

std::int64_t PercentSigns(std::u16string_view text) {
  return std::count(text.begin(), text.end(), u'%');
}

}  // namespace

std::u16string FormatNumber(double value, std::u16string_view pattern_text) {
  if (pattern_text.empty()) return ktformula::NumberToText(value);
  if (!std::isfinite(value)) ktformula::Raise(ktformula::RuntimeError::kOverflow);
  const NumberPattern pattern = PatternReader(pattern_text).Read();
  if (!pattern.has_places) return std::u16string(pattern_text);
  DecimalNumber number(value);
  number.Shift(2 * (PercentSigns(pattern.prefix) + PercentSigns(pattern.suffix)));
  const std::int64_t exponent = FitToPlaces(number, pattern);
  std::u16string text;
  if (value < 0 && !number.IsZero()) text.push_back(u'-');
  text += pattern.prefix;
  AppendIntegerDigits(text, number, pattern);
  AppendDecimals(text, number, pattern);
  AppendExponent(text, exponent, pattern);
  text += pattern.suffix;
  return text;
}

}  // namespace ktnotebook
