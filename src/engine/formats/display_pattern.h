// Patterns that show a number with a given number of significant digits in a given unit.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/notebook_objects.h"

namespace ktformula {

// The unit in which values of the property are shown: the named one, or the property's default
// unit when the name is empty or unknown. Empty when values of the property carry no units.
Ref<Unit> DisplayUnit(const ELNProperty& property, std::u16string_view unit_name,
                      UnitCatalogue& units);

// The value, in base units, as a number of this unit or, without one, as the percentage that the
// unit name "%" asks for. Raises DisplayOverflow where that is not finite.
double ShownNumber(double value, const Ref<Unit>& unit, std::u16string_view unit_name);

// The pattern for a value, in base units, with so many significant digits. The unit name "%" asks
// for a percentage where values carry no units. Raises DisplayOverflow.
std::u16string DisplayPattern(double value, std::int16_t digits, std::u16string_view unit_name,
                              const ELNProperty& property, UnitCatalogue& units);

}  // namespace ktformula
