#include "formats/display_pattern.h"

#include <cmath>

#include "formats/formula_format.h"
#include "values/significant_digits.h"

namespace ktformula {

DisplayOverflow::DisplayOverflow()
    : RaisedError(static_cast<std::int32_t>(RuntimeError::kOverflow), u"KtFormula9",
                  DescriptionOf(RuntimeError::kOverflow)) {}

Ref<Unit> DisplayUnit(const ELNProperty& property, std::u16string_view unit_name,
                      UnitCatalogue& units) {
  if (!property.HasUnits()) return nullptr;
  if (!unit_name.empty()) {
    if (Ref<Unit> named = units.Find(unit_name)) return named;
  }
  return property.DefaultUnit();
}

double ShownNumber(double value, const Ref<Unit>& unit, std::u16string_view unit_name) {
  const double factor = unit_name == u"%" ? 100 : 1;
  const double shown = unit ? unit->FromBase(value) : value * factor;
  if (!std::isfinite(shown)) throw DisplayOverflow();
  return shown;
}

std::u16string DisplayPattern(double value, std::int16_t digits, std::u16string_view unit_name,
                              const ELNProperty& property, UnitCatalogue& units) {
  const Ref<Unit> unit = DisplayUnit(property, unit_name, units);
  const std::u16string mask = SignificantDigitMask(ShownNumber(value, unit, unit_name), digits);
  return !unit && unit_name == u"%" ? mask + u"%" : mask;
}

}  // namespace ktformula
