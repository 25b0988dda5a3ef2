// What the result formats show a number with, unless the user asked for a pattern.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/notebook_objects.h"

namespace ktformula {

struct Display {
  std::u16string pattern;
  std::u16string unit_name;
};

// Both are for a value in base units of the property that was asked for in the unit of this name,
// when the least exact entry has so many digits. They raise DisplayOverflow.

// With as many digits as the least exact entry has, in the unit that was asked for.
Display DefaultDisplay(double value, std::u16string_view unit_name, const ELNProperty& property,
                       std::int16_t digits, UnitCatalogue& units);

// With few digits, by the number's magnitude. A small number moves to the next smaller unit of its
// kind (g to mg, l to ml) until it is no longer small. Zero and negative numbers are always small
// and end in the smallest unit.
Display MinDigitDisplay(double value, std::u16string_view unit_name, const ELNProperty& property,
                        std::int16_t digits, UnitCatalogue& units);

}  // namespace ktformula
