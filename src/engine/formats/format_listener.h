// FormatListener: what the result formats have in common.
#pragma once

#include "formats/field_listener.h"
#include "formats/formula_format.h"

namespace ktformula {

// A field listener without recalculation and without properties, which writes numbers.
class FormatListener : public FieldListener, public IKtFormulaFormat {
 public:
  // Tells the user that there is nothing to set.
  void EditProperties() final;
  void TableNotification(NotificationSource&, HostObject*) final {}

  void SetGridCellValue(GridControl& GridCtl, TableCell& gc, double Value,
                        std::u16string_view format, std::int16_t ExaminedSigDig,
                        const ExaminedUnitsMap& ExaminedUnits) final;

 protected:
  // All formats report a failing Initialize under the default format's name.
  FormatListener() : FieldListener(u"DefaultFormulaFormat") {}

  struct Display {
    std::u16string pattern;
    std::u16string unit_name;
  };
  // How to show the value, which is in base units, in the unit of this name or in one that suits
  // it better. The pattern is used only when the user asked for none.
  virtual Display ChooseDisplay(double value, std::u16string_view unit_name,
                                const ELNProperty& property, std::int16_t digits,
                                UnitCatalogue& units) const = 0;
};

}  // namespace ktformula
