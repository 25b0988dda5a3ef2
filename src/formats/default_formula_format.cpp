#include "formats/default_formula_format.h"

#include "formats/display_pattern.h"

namespace ktformula {

void DefaultFormulaFormat::EditProperties() {
  Framework().ShowMessage(u"The field listener \"" + Name() + u"\" has no properties");
}

void DefaultFormulaFormat::SetGridCellValue(GridControl& GridCtl, TableCell& gc, double Value,
                                            std::u16string_view format, std::int16_t ExaminedSigDig,
                                            const ExaminedUnitsMap& ExaminedUnits) {
  const Ref<ELNProperty> property = gc.Property();
  const Ref<UnitCatalogue> units = Framework().Units();
  if (format == u"%") {
    GridCtl.SetValue(gc, Value, DisplayPattern(Value, ExaminedSigDig, u"%", *property, *units),
                     u"");
    return;
  }
  const std::u16string* examined = ExaminedUnits.Find(gc.Key());
  const std::u16string unit_name = examined != nullptr ? *examined : gc.UnitName();
  const std::u16string pattern =
      DisplayPattern(Value, ExaminedSigDig, unit_name, *property, *units);
  GridCtl.SetValue(gc, Value, format.empty() ? std::u16string_view(pattern) : format, unit_name);
}

}  // namespace ktformula
