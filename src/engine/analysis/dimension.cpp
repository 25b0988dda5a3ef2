#include "analysis/dimension.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "values/text.h"

namespace ktformula {

namespace {

struct QuantityRow {
  std::u16string_view name;
  Dimension dimension;
};

// Where two quantities have one dimension, the first gives it its name.
constexpr std::array<QuantityRow, 12> kQuantities{{
    {u"mass", {{1, 0, 0, 0, 0}}},
    {u"volume", {{0, 3, 0, 0, 0}}},
    {u"moles", {{0, 0, 0, 1, 0}}},
    {u"molality", {{-1, 0, 0, 1, 0}}},
    {u"molar mass", {{1, 0, 0, -1, 0}}},
    {u"density", {{1, -3, 0, 0, 0}}},
    {u"concentration", {{0, -3, 0, 1, 0}}},
    {u"normality", {{0, -3, 0, 1, 0}}},
    {u"length", {{0, 1, 0, 0, 0}}},
    {u"time", {{0, 0, 1, 0, 0}}},
    {u"pressure", {{1, -1, -2, 0, 0}}},
    {u"temperature", {{0, 0, 0, 0, 1}}},
}};

constexpr std::array<std::u16string_view, 5> kBaseUnits{u"kg", u"m", u"s", u"mol", u"K"};

template <typename Operation>
Dimension Combine(const Dimension& left, const Dimension& right, Operation operation) noexcept {
  Dimension combined;
  std::transform(left.exponents.begin(), left.exponents.end(), right.exponents.begin(),
                 combined.exponents.begin(), [operation](std::int16_t a, std::int16_t b) {
                   return static_cast<std::int16_t>(operation(a, b));
                 });
  return combined;
}

// The base units with exponents of this sign, such as "kg2 m".
std::u16string UnitsText(const Dimension& dimension, int sign) {
  std::u16string text;
  for (std::size_t i = 0; i < kBaseUnits.size(); ++i) {
    const int exponent = dimension.exponents[i] * sign;
    if (exponent <= 0) continue;
    if (!text.empty()) text += u" ";
    text += kBaseUnits[i];
    if (exponent > 1) text += ToDecimalText(exponent);
  }
  return text;
}

}  // namespace

Dimension Product(const Dimension& left, const Dimension& right) noexcept {
  return Combine(left, right, std::plus<>());
}

Dimension Quotient(const Dimension& left, const Dimension& right) noexcept {
  return Combine(left, right, std::minus<>());
}

std::optional<Dimension> DimensionOfQuantity(std::u16string_view quantity) noexcept {
  for (const QuantityRow& row : kQuantities) {
    if (row.name == quantity) return row.dimension;
  }
  return std::nullopt;
}

std::u16string DimensionText(const Dimension& dimension) {
  if (dimension.IsNumber()) return u"a plain number";
  for (const QuantityRow& row : kQuantities) {
    if (row.dimension == dimension) return std::u16string(row.name);
  }
  std::u16string above = UnitsText(dimension, 1);
  const std::u16string below = UnitsText(dimension, -1);
  if (below.empty()) return above;
  return (above.empty() ? u"1" : above) + u"/" +
         (below.find(u' ') == std::u16string::npos ? below : u"(" + below + u")");
}

}  // namespace ktformula
