#include "notebook/tables/unit_catalogue.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace ktnotebook {

namespace {

using enum Quantity;

constexpr double kCelsiusZero = 273.15;

constexpr UnitDefinition kUnits[] = {
    {u"t", kMass, 1e3},
    {u"kg", kMass},
    {u"g", kMass, 1, 1e3},
    {u"mg", kMass, 1, 1e6},
    {u"\u00B5g", kMass, 1, 1e9},
    {u"ng", kMass, 1, 1e12},
    {u"pg", kMass, 1, 1e15},

    {u"m3", kVolume},
    {u"hl", kVolume, 1, 10},
    {u"l", kVolume, 1, 1e3},
    {u"dl", kVolume, 1, 1e4},
    {u"cl", kVolume, 1, 1e5},
    {u"ml", kVolume, 1, 1e6},
    {u"\u00B5l", kVolume, 1, 1e9},
    {u"nl", kVolume, 1, 1e12},
    {u"hL", kVolume, 1, 10},
    {u"L", kVolume, 1, 1e3},
    {u"dL", kVolume, 1, 1e4},
    {u"cL", kVolume, 1, 1e5},
    {u"mL", kVolume, 1, 1e6},
    {u"\u00B5L", kVolume, 1, 1e9},
    {u"nL", kVolume, 1, 1e12},
    {u"dm3", kVolume, 1, 1e3},
    {u"cm3", kVolume, 1, 1e6},
    {u"mm3", kVolume, 1, 1e9},

    {u"kmol", kMoles, 1e3},
    {u"mol", kMoles},
    {u"mmol", kMoles, 1, 1e3},
    {u"\u00B5mol", kMoles, 1, 1e6},
    {u"nmol", kMoles, 1, 1e9},
    {u"pmol", kMoles, 1, 1e12},

    {u"mol/kg", kMolality},
    {u"mmol/kg", kMolality, 1, 1e3},
    {u"\u00B5mol/kg", kMolality, 1, 1e6},
    {u"nmol/kg", kMolality, 1, 1e9},
    {u"mol/g", kMolality, 1e3},
    {u"mmol/g", kMolality},
    {u"\u00B5mol/g", kMolality, 1, 1e3},
    {u"nmol/g", kMolality, 1, 1e6},
    {u"mol/mg", kMolality, 1e6},
    {u"mmol/mg", kMolality, 1e3},
    {u"\u00B5mol/mg", kMolality},
    {u"nmol/mg", kMolality, 1, 1e3},

    {u"kg/mol", kMolarMass},
    {u"g/mol", kMolarMass, 1, 1e3},
    {u"mg/mol", kMolarMass, 1, 1e6},
    {u"kg/kmol", kMolarMass, 1, 1e3},
    {u"g/mmol", kMolarMass},
    {u"mg/mmol", kMolarMass, 1, 1e3},
    {u"kD", kMolarMass},
    {u"D", kMolarMass, 1, 1e3},
    {u"kDa", kMolarMass},
    {u"Da", kMolarMass, 1, 1e3},

    {u"kg/m3", kDensity},
    {u"g/m3", kDensity, 1, 1e3},
    {u"g/cm3", kDensity, 1e3},
    {u"kg/l", kDensity, 1e3},
    {u"g/l", kDensity},
    {u"mg/l", kDensity, 1, 1e3},
    {u"\u00B5g/l", kDensity, 1, 1e6},
    {u"ng/l", kDensity, 1, 1e9},
    {u"g/ml", kDensity, 1e3},
    {u"mg/ml", kDensity},
    {u"\u00B5g/ml", kDensity, 1, 1e3},
    {u"ng/ml", kDensity, 1, 1e6},
    {u"kg/L", kDensity, 1e3},
    {u"g/L", kDensity},
    {u"mg/L", kDensity, 1, 1e3},
    {u"\u00B5g/L", kDensity, 1, 1e6},
    {u"ng/L", kDensity, 1, 1e9},
    {u"g/mL", kDensity, 1e3},
    {u"mg/mL", kDensity},
    {u"\u00B5g/mL", kDensity, 1, 1e3},
    {u"ng/mL", kDensity, 1, 1e6},

    {u"mol/m3", kConcentration},
    {u"mol/l", kConcentration, 1e3},
    {u"mmol/l", kConcentration},
    {u"\u00B5mol/l", kConcentration, 1, 1e3},
    {u"nmol/l", kConcentration, 1, 1e6},
    {u"mol/L", kConcentration, 1e3},
    {u"mmol/L", kConcentration},
    {u"\u00B5mol/L", kConcentration, 1, 1e3},
    {u"nmol/L", kConcentration, 1, 1e6},
    {u"molar", kConcentration, 1e3},
    {u"mmolar", kConcentration},
    {u"\u00B5molar", kConcentration, 1, 1e3},
    {u"nmolar", kConcentration, 1, 1e6},
    {u"M", kConcentration, 1e3},
    {u"mM", kConcentration},
    {u"\u00B5M", kConcentration, 1, 1e3},
    {u"nM", kConcentration, 1, 1e6},

    {u"N", kNormality, 1e3},
    {u"mN", kNormality},
    {u"\u00B5N", kNormality, 1, 1e3},

    {u"km", kLength, 1e3},
    {u"m", kLength},
    {u"dm", kLength, 1, 10},
    {u"cm", kLength, 1, 100},
    {u"mm", kLength, 1, 1e3},
    {u"\u00B5m", kLength, 1, 1e6},
    {u"nm", kLength, 1, 1e9},
    {u"pm", kLength, 1, 1e12},

    {u"d", kTime, 86400},
    {u"h", kTime, 3600},
    {u"hr", kTime, 3600},
    {u"min", kTime, 60},
    {u"s", kTime},
    {u"ms", kTime, 1, 1e3},
    {u"\u00B5s", kTime, 1, 1e6},
    {u"ns", kTime, 1, 1e9},

    {u"Pa", kPressure},
    {u"hPa", kPressure, 100},
    {u"kPa", kPressure, 1e3},
    {u"MPa", kPressure, 1e6},
    {u"bar", kPressure, 1e5},
    {u"mbar", kPressure, 100},
    {u"\u00B5bar", kPressure, 1, 10},
    {u"atm", kPressure, 101325},

    {u"K", kTemperature},
    {u"\u00B0C", kTemperature, 1, 1, kCelsiusZero},
};

constexpr bool RoundsOnce(const UnitDefinition& unit) {
  return (unit.numerator == 1 || unit.denominator == 1) &&
         (unit.offset == 0 || (unit.numerator == 1 && unit.denominator == 1));
}
static_assert(std::all_of(std::begin(kUnits), std::end(kUnits), RoundsOnce));

constexpr std::array<std::u16string_view, 12> kQuantityTexts = {
    u"mass",          u"volume",    u"moles",  u"molality", u"molar mass", u"density",
    u"concentration", u"normality", u"length", u"time",     u"pressure",   u"temperature"};

// A number that carries an offset is good for about twelve decimals; without those beyond, what
// was typed comes back: 273.25 K are 0.1 °C and not 0.1000000000000227.
double WithoutOffset(double value, double offset) {
  constexpr double kDecimals = 1e12;
  constexpr double kExactIntegers = 9007199254740992;  // 2^53
  const double difference = value - offset;
  const double scaled = difference * kDecimals;
  return std::abs(scaled) < kExactIntegers ? std::round(scaled) / kDecimals : difference;
}

}  // namespace

std::u16string_view QuantityText(Quantity quantity) noexcept {
  return kQuantityTexts[static_cast<std::size_t>(quantity)];
}

std::u16string_view BaseUnitText(Quantity quantity) noexcept {
  const auto* const found =
      std::find_if(std::begin(kUnits), std::end(kUnits), [quantity](const UnitDefinition& unit) {
        return unit.quantity == quantity && unit.numerator == unit.denominator && unit.offset == 0;
      });
  return found->name;
}

std::span<const UnitDefinition> UnitDefinitions() noexcept {
  return kUnits;
}

std::u16string NotebookUnit::QuantityName() const {
  return std::u16string(QuantityText(definition_.quantity));
}

double NotebookUnit::ToBase(double value) const noexcept {
  return value * definition_.numerator / definition_.denominator + definition_.offset;
}

double NotebookUnit::FromBase(double value) const {
  if (definition_.offset != 0) return WithoutOffset(value, definition_.offset);
  return value * definition_.denominator / definition_.numerator;
}

NotebookUnitCatalogue::NotebookUnitCatalogue() {
  for (const UnitDefinition& definition : UnitDefinitions()) {
    units_.try_emplace(definition.name, ktformula::MakeRef<NotebookUnit>(definition));
  }
}

ktformula::Ref<ktformula::Unit> NotebookUnitCatalogue::Find(std::u16string_view unit_text) {
  const auto found = units_.find(unit_text);
  if (found == units_.end()) return nullptr;
  return found->second;
}

const NotebookUnit* NotebookUnitCatalogue::FindUnit(std::u16string_view unit_text) const {
  const auto found = units_.find(unit_text);
  return found == units_.end() ? nullptr : found->second.get();
}

std::u16string NormalizeUnitName(std::u16string_view typed) {
  std::u16string name(typed);
  std::replace(name.begin(), name.end(), u'\u03BC', u'\u00B5');
  return name;
}

}  // namespace ktnotebook
