#include "notebook/tables/cell_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>

#include "values/number_text.h"
#include "values/text.h"

namespace ktnotebook {

namespace {

constexpr std::u16string_view kBlanks = u" \t";
constexpr std::u16string_view kRangeSymbol = u"..";
constexpr std::array<std::u16string_view, 2> kToleranceSymbols = {u"\u00B1", u"+/-"};
constexpr std::u16string_view kPercentSign = u"%";

struct Bounds {
  double min;
  double max;
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

// Whether the thousands separators of a numeral, if there are any, stand between groups of three
// digits, the first of which may be shorter and does not begin with 0: "1,25" and "0,125" are what
// somebody typed who means a decimal comma.
bool HasGroupsOfThree(std::u16string_view numeral, const ktformula::Locale& locale) {
  std::size_t separator = numeral.find(locale.thousands_separator);
  if (separator == numeral.npos) return true;
  const std::size_t first = ktformula::IsDigit(numeral.front()) ? 0 : 1;
  if (numeral[first] == u'0' || separator - first > 3) return false;
  while (separator != numeral.npos) {
    const std::size_t group = separator + 1;
    const std::size_t end =
        std::min(numeral.find_first_not_of(u"0123456789", group), numeral.size());
    if (end - group != 3) return false;
    separator = numeral.find(locale.thousands_separator, group);
  }
  return true;
}

// Takes the parts of a cell text off its front.
class CellTextReader {
 public:
  CellTextReader(std::u16string_view text, const ktformula::Locale& locale)
      : locale_(locale), rest_(text) {}

  // NUMBER, NUMBER ± NUMBER or NUMBER .. NUMBER, in the unit that follows. Bounds that are no
  // numbers where one of them is missing.
  Bounds TakeBounds() {
    const double first = TakeNumber();
    if (rest_.empty()) return {first, first};
    if (std::any_of(kToleranceSymbols.begin(), kToleranceSymbols.end(),
                    [this](std::u16string_view symbol) { return TakeSymbol(symbol); })) {
      const double tolerance = TakeNumber();
      return {DecimalSum(first, -tolerance), DecimalSum(first, tolerance)};
    }
    return {first, TakeSymbol(kRangeSymbol) ? TakeNumber() : first};
  }

  std::u16string_view TakeUnitText() const { return TrimTypedText(rest_); }

  const Numerals& Taken() const noexcept { return numerals_; }

 private:
  void SkipBlanks() {
    while (!rest_.empty() && kBlanks.find(rest_.front()) != kBlanks.npos)
      rest_.remove_prefix(1);
  }

  double TakeNumber() {
    SkipBlanks();
    const ktformula::Numeral numeral = ktformula::ReadNumeral(rest_, locale_);
    numerals_[count_++] = rest_.substr(0, numeral.length);
    const bool is_grouped_well = HasGroupsOfThree(rest_.substr(0, numeral.length), locale_);
    rest_.remove_prefix(numeral.length);
    return is_grouped_well ? numeral.value : std::numeric_limits<double>::quiet_NaN();
  }

  bool TakeSymbol(std::u16string_view symbol) {
    SkipBlanks();
    if (!rest_.starts_with(symbol)) return false;
    rest_.remove_prefix(symbol.size());
    return true;
  }

  const ktformula::Locale locale_;
  std::u16string_view rest_;
  Numerals numerals_;
  std::size_t count_ = 0;
};

// Finds the unit that was typed; false when the property does not take it.
bool ResolveUnit(std::u16string_view unit_text, const NotebookUnit* default_unit,
                 const NotebookUnitCatalogue& catalogue, ParsedNumber& number) {
  number.unit = default_unit;
  if (unit_text.empty()) return true;
  if (default_unit == nullptr) {
    number.typed_unit = kPercentSign;
    return unit_text == kPercentSign;
  }
  if (unit_text != default_unit->Name()) {
    number.unit = catalogue.FindUnit(NormalizeUnitName(unit_text));
    if (number.unit == nullptr) return false;
  }
  number.typed_unit = number.unit->Name();
  return number.unit->MeasuredQuantity() == default_unit->MeasuredQuantity();
}

double ToBase(double value, const ParsedNumber& number) {
  if (number.unit != nullptr) return number.unit->ToBase(value);
  return number.typed_unit == kPercentSign ? value / 100 : value;
}

}  // namespace

std::u16string_view TrimTypedText(std::u16string_view text) noexcept {
  return ktformula::TrimWhitespace(text);
}

Numerals NumeralsIn(std::u16string_view text, const ktformula::Locale& locale) {
  CellTextReader reader(text, locale);
  reader.TakeBounds();
  return reader.Taken();
}

std::optional<ParsedNumber> ParseNumberText(std::u16string_view text,
                                            const NotebookUnit* default_unit,
                                            const NotebookUnitCatalogue& catalogue,
                                            const ktformula::Locale& locale) {
  CellTextReader reader(text, locale);
  const Bounds bounds = reader.TakeBounds();
  if (!(bounds.min <= bounds.max)) return std::nullopt;
  ParsedNumber number;
  if (!ResolveUnit(reader.TakeUnitText(), default_unit, catalogue, number)) return std::nullopt;
  number.min = ToBase(bounds.min, number);
  number.max = ToBase(bounds.max, number);
  if (!std::isfinite(number.min) || !std::isfinite(number.max)) return std::nullopt;
  return number;
}

}  // namespace ktnotebook
