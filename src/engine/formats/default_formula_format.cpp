#include "formats/default_formula_format.h"

#include "formats/display_pattern.h"

namespace ktformula {

FormatListener::Display DefaultFormulaFormat::ChooseDisplay(double value,
                                                            std::u16string_view unit_name,
                                                            const ELNProperty& property,
                                                            std::int16_t digits,
                                                            UnitCatalogue& units) const {
  return {DisplayPattern(value, digits, unit_name, property, units), std::u16string(unit_name)};
}

}  // namespace ktformula
