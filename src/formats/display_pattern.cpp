#include "formats/display_pattern.h"

#include "values/significant_digits.h"

namespace ktformula {

Ref<Unit> DisplayUnit(const ELNProperty& property, std::u16string_view unit_name,
                      UnitCatalogue& units) {
  if (!property.HasUnits()) return nullptr;
  if (!unit_name.empty()) {
    if (Ref<Unit> named = units.Find(unit_name)) return named;
  }
  return property.DefaultUnit();
}

std::u16string DisplayPattern(double value, std::int16_t digits, std::u16string_view unit_name,
                              const ELNProperty& property, UnitCatalogue& units) {
  if (const Ref<Unit> unit = DisplayUnit(property, unit_name, units)) {
    return SignificantDigitMask(unit->FromBase(value), digits);
  }
  if (unit_name == u"%") return SignificantDigitMask(value * 100, digits) + u"%";
  return SignificantDigitMask(value, digits);
}

}  // namespace ktformula
