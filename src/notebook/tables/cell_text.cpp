#include "notebook/tables/cell_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <string>

#include "values/platform.h"
#include "values/text.h"

namespace ktnotebook {

namespace {

using ktformula::IsDigit;

constexpr std::u16string_view kBlanks = u" \t";
constexpr std::u16string_view kRangeSymbol = u"..";
constexpr std::array<std::u16string_view, 2> kToleranceSymbols = {u"\u00B1", u"+/-"};
constexpr std::u16string_view kPercentSign = u"%";

struct Bounds {
  double min;
  double max;
};

bool IsSign(char16_t unit) {
  return unit == u'+' || unit == u'-';
}

// Finds where the numeral at the start of a text ends, so that it is converted only once. What it
// takes may still be no number ("-", ".").
class NumeralScanner {
 public:
  explicit NumeralScanner(std::u16string_view text) : text_(text) {}

  std::size_t Scan() {
    if (IsSign(Peek())) ++position_;
    ScanIntegerDigits();
    // "1..2" is a range from 1 and not "1." with something behind it.
    if (Peek() == locale_.decimal_separator && !text_.substr(position_).starts_with(kRangeSymbol)) {
      ++position_;
      ScanDigits();
    }
    ScanExponent();
    return position_;
  }

 private:
  char16_t Peek(std::size_t ahead = 0) const {
    return position_ + ahead < text_.size() ? text_[position_ + ahead] : u'\0';
  }

  void ScanDigits() {
    while (IsDigit(Peek()))
      ++position_;
  }

  void ScanIntegerDigits() {
    ScanDigits();
    while (position_ > 0 && IsDigit(text_[position_ - 1]) &&
           Peek() == locale_.thousands_separator && IsDigit(Peek(1))) {
      ++position_;
      ScanDigits();
    }
  }

  // An "e" without digits behind it begins a unit name.
  void ScanExponent() {
    if (Peek() != u'e' && Peek() != u'E') return;
    const std::size_t digits = IsSign(Peek(1)) ? 2 : 1;
    if (!IsDigit(Peek(digits))) return;
    position_ += digits;
    ScanDigits();
  }

  const ktformula::Locale locale_ = ktformula::UserLocale();
  std::u16string_view text_;
  std::size_t position_ = 0;
};

// The decimal exponent of the first digit.
int DecimalExponent(double value) {
  return value == 0 ? 0 : static_cast<int>(std::floor(std::log10(std::abs(value))));
}

// A sum as a user computes it: binary noise beyond the 15th digit of the larger operand is cut
// off, so that 0.3 ± 0.1 begins at 0.2 and not at 0.19999999999999998.
double DecimalSum(double left, double right) {
  const double sum = left + right;
  if (right == 0 || !std::isfinite(sum)) return sum;
  constexpr int kDecimalsOfFifteenDigits = 14;
  const int exponent = DecimalExponent(std::max(std::abs(left), std::abs(right)));
  const int decimals = std::max(kDecimalsOfFifteenDigits - exponent, 0);
  std::array<char, 704> buffer{};  // a sign, 309 digits, a point, 338 decimals
  const auto written = std::to_chars(buffer.data(), buffer.data() + buffer.size(), sum,
                                     std::chars_format::fixed, decimals);
  double rounded = sum;
  std::from_chars(buffer.data(), written.ptr, rounded);
  return rounded;
}

// Takes the parts of a cell text off its front.
class CellTextReader {
 public:
  explicit CellTextReader(std::u16string_view text) : rest_(text) {}

  // NUMBER, NUMBER ± NUMBER or NUMBER .. NUMBER, in the unit that follows.
  std::optional<Bounds> TakeBounds() {
    const std::optional<double> first = TakeNumber();
    if (!first) return std::nullopt;
    if (std::any_of(kToleranceSymbols.begin(), kToleranceSymbols.end(),
                    [this](std::u16string_view symbol) { return TakeSymbol(symbol); })) {
      const std::optional<double> tolerance = TakeNumber();
      if (!tolerance) return std::nullopt;
      return Bounds{DecimalSum(*first, -*tolerance), DecimalSum(*first, *tolerance)};
    }
    if (!TakeSymbol(kRangeSymbol)) return Bounds{*first, *first};
    const std::optional<double> last = TakeNumber();
    if (!last) return std::nullopt;
    return Bounds{*first, *last};
  }

  std::u16string_view TakeUnitText() const { return TrimTypedText(rest_); }

 private:
  void SkipBlanks() {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(kBlanks), rest_.size()));
  }

  std::optional<double> TakeNumber() {
    SkipBlanks();
    const std::size_t length = NumeralScanner(rest_).Scan();
    const std::optional<double> value = ktformula::NumericValue(rest_.substr(0, length));
    rest_.remove_prefix(length);
    return value;
  }

  bool TakeSymbol(std::u16string_view symbol) {
    SkipBlanks();
    if (!rest_.starts_with(symbol)) return false;
    rest_.remove_prefix(symbol.size());
    return true;
  }

  std::u16string_view rest_;
};

// Finds the unit that was typed; false when the property does not take it.
bool ResolveUnit(std::u16string_view unit_text, const NotebookUnit* default_unit,
                 const NotebookUnitCatalogue& catalogue, ParsedNumber& number) {
  number.unit = default_unit;
  number.typed_unit = NormalizeUnitName(unit_text);
  if (unit_text.empty()) return true;
  if (default_unit == nullptr) return unit_text == kPercentSign;
  number.unit = catalogue.FindUnit(number.typed_unit);
  return number.unit != nullptr &&
         number.unit->MeasuredQuantity() == default_unit->MeasuredQuantity();
}

double ToBase(double value, const ParsedNumber& number) {
  if (number.unit != nullptr) return number.unit->ToBase(value);
  return number.typed_unit == kPercentSign ? value / 100 : value;
}

}  // namespace

std::u16string_view TrimTypedText(std::u16string_view text) noexcept {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::u16string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::optional<ParsedNumber> ParseNumberText(std::u16string_view text,
                                            const NotebookUnit* default_unit,
                                            const NotebookUnitCatalogue& catalogue) {
  CellTextReader reader(text);
  const std::optional<Bounds> bounds = reader.TakeBounds();
  if (!bounds || bounds->min > bounds->max) return std::nullopt;
  ParsedNumber number;
  if (!ResolveUnit(reader.TakeUnitText(), default_unit, catalogue, number)) return std::nullopt;
  number.min = ToBase(bounds->min, number);
  number.max = ToBase(bounds->max, number);
  if (!std::isfinite(number.min) || !std::isfinite(number.max)) return std::nullopt;
  return number;
}

}  // namespace ktnotebook
