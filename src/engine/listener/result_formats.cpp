#include "listener/result_formats.h"

#include "formats/display_pattern.h"
#include "values/raised_error.h"

namespace ktformula {

void FormatListener::EditProperties() {
  Framework().ShowMessage(u"The field listener \"" + Name() + u"\" has no properties");
}

void FormatListener::SetGridCellValue(GridControl& GridCtl, TableCell& gc, double Value,
                                      std::u16string_view format, std::int16_t ExaminedSigDig,
                                      const ExaminedUnitsMap& ExaminedUnits) {
  const Ref<ELNProperty> property = gc.Property();
  if (!property) Raise(RuntimeError::kObjectNotSet);
  const Ref<UnitCatalogue> units = Framework().Units();
  if (format == u"%") {
    GridCtl.SetValue(gc, Value, DisplayPattern(Value, ExaminedSigDig, u"%", *property, *units),
                     u"");
    return;
  }
  const std::u16string* examined = ExaminedUnits.Find(gc.Key());
  const Display display = choose_display_(Value, examined != nullptr ? *examined : gc.UnitName(),
                                          *property, ExaminedSigDig, *units);
  GridCtl.SetValue(gc, Value, format.empty() ? std::u16string_view(display.pattern) : format,
                   display.unit_name);
}

}  // namespace ktformula
