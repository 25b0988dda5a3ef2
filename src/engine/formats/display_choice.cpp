#include "formats/display_choice.h"

#include <array>
#include <cmath>
#include <unordered_map>

#include "formats/display_pattern.h"

namespace ktformula {

namespace {

// The unit to try when a number is too small in another. Some steps skip a unit on purpose.
const std::unordered_map<std::u16string_view, std::u16string_view>& NextSmallerUnits() {
  static const std::unordered_map<std::u16string_view, std::u16string_view> units{
      {u"kg/mol", u"g/mol"},   {u"kD", u"D"},
      {u"g/ml", u"mg/ml"},     {u"mg/ml", u"µg/ml"},
      {u"µg/ml", u"µg/l"},     {u"g/mL", u"mg/mL"},
      {u"mg/mL", u"µg/mL"},    {u"µg/mL", u"µg/L"},
      {u"kg/l", u"g/l"},       {u"g/l", u"mg/l"},
      {u"mg/l", u"µg/l"},      {u"kg/L", u"g/L"},
      {u"g/L", u"mg/L"},       {u"mg/L", u"µg/L"},
      {u"kg/m3", u"mg/l"},     {u"m", u"mm"},
      {u"cm", u"mm"},          {u"mm", u"µm"},
      {u"µm", u"nm"},          {u"kg", u"g"},
      {u"g", u"mg"},           {u"mg", u"µg"},
      {u"mol", u"mmol"},       {u"mmol", u"µmol"},
      {u"mol/g", u"mmol/g"},   {u"mol/kg", u"mmol/kg"},
      {u"mmol/g", u"µmol/g"},  {u"mmol/kg", u"µmol/kg"},
      {u"µmol/g", u"µmol/kg"}, {u"molar", u"mmolar"},
      {u"mmolar", u"µmolar"},  {u"mol/l", u"mM"},
      {u"mol/L", u"mM"},       {u"M", u"mM"},
      {u"mM", u"µM"},          {u"N", u"mN"},
      {u"mN", u"µN"},          {u"bar", u"mbar"},
      {u"hr", u"min"},         {u"min", u"s"},
      {u"s", u"ms"},           {u"ms", u"µs"},
      {u"m3", u"l"},           {u"l", u"ml"},
      {u"ml", u"µl"},          {u"L", u"mL"},
      {u"mL", u"µL"},
  };
  return units;
}

// Below this a number is small.
constexpr double kSmall = 0.011;

struct MagnitudeRow {
  double below;
  std::u16string_view pattern;
};

constexpr std::array<MagnitudeRow, 6> kMagnitudes{{
    {0.00011, u"0.00E+00"},
    {0.0011, u"0.00000"},
    {0.011, u"0.0000"},
    {2.51, u"0.000"},
    {25.1, u"0.00"},
    {75, u"00.0"},
}};
constexpr double kLargestWhole = 10'000;

std::u16string_view MagnitudePattern(double magnitude) noexcept {
  if (magnitude == 0) return u"0.00";
  for (const MagnitudeRow& row : kMagnitudes) {
    if (magnitude < row.below) return row.pattern;
  }
  return magnitude <= kLargestWhole ? u"0" : u"0.00E+00";
}

}  // namespace

Display DefaultDisplay(double value, std::u16string_view unit_name, const ELNProperty& property,
                       std::int16_t digits, UnitCatalogue& units) {
  return {DisplayPattern(value, digits, unit_name, property, units), std::u16string(unit_name)};
}

Display MinDigitDisplay(double value, std::u16string_view unit_name, const ELNProperty& property,
                        std::int16_t, UnitCatalogue& units) {
  Ref<Unit> unit = DisplayUnit(property, unit_name, units);
  double shown = ShownNumber(value, unit, unit_name);
  while (unit && shown < kSmall) {
    const auto next = NextSmallerUnits().find(unit_name);
    if (next == NextSmallerUnits().end()) break;
    unit_name = next->second;
    unit = DisplayUnit(property, unit_name, units);
    shown = ShownNumber(value, unit, unit_name);
  }
  return {std::u16string(MagnitudePattern(std::abs(shown))), std::u16string(unit_name)};
}

}  // namespace ktformula
