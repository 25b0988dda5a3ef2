// DefaultFormulaFormat: shows numbers with as many digits as the least exact entry has.
#pragma once

#include "formats/field_listener.h"
#include "formats/formula_format.h"
#include "values/leak_check.h"

namespace ktformula {

inline constexpr std::u16string_view kDefaultFormulaFormatIdentifier =
    u"KtFormula9.DefaultFormulaFormat";

// The format that is used unless a listener names another.
class DefaultFormulaFormat final : public FieldListener,
                                   public IKtFormulaFormat,
                                   private LeakCounted<DefaultFormulaFormat> {
 public:
  static constexpr std::string_view kClassName = "DefaultFormulaFormat";

  DefaultFormulaFormat() : FieldListener(u"DefaultFormulaFormat") {}
  ~DefaultFormulaFormat() override { Terminate(); }

  std::u16string TypeName() const override { return u"DefaultFormulaFormat"; }
  // Tells the user that there is nothing to set.
  void EditProperties() override;
  void TableNotification(NotificationSource&, HostObject*) override {}

  void SetGridCellValue(GridControl& GridCtl, TableCell& gc, double Value,
                        std::u16string_view format, std::int16_t ExaminedSigDig,
                        const ExaminedUnitsMap& ExaminedUnits) override;
};

}  // namespace ktformula
