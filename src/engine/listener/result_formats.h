// The result formats: field listeners that show computed numbers.
#pragma once

#include "formats/display_choice.h"
#include "formats/formula_format.h"
#include "listener/field_listener.h"
#include "values/leak_check.h"

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
  bool IsPure() const noexcept final { return true; }

 protected:
  using DisplayChoice = decltype(DefaultDisplay);

  // The pattern that `choose_display` finds gives way to the user's. All formats report a failing
  // Initialize under the default format's name.
  explicit FormatListener(DisplayChoice& choose_display)
      : FieldListener(u"DefaultFormulaFormat"), choose_display_(choose_display) {}

 private:
  DisplayChoice& choose_display_;
};

inline constexpr std::u16string_view kDefaultFormulaFormatIdentifier =
    u"KtFormula9.DefaultFormulaFormat";

// The format that is used unless a listener names another.
class DefaultFormulaFormat final : public FormatListener,
                                   private LeakCounted<DefaultFormulaFormat> {
 public:
  static constexpr std::string_view kClassName = "DefaultFormulaFormat";

  DefaultFormulaFormat() : FormatListener(DefaultDisplay) {}
  ~DefaultFormulaFormat() override { Terminate(); }

  std::u16string TypeName() const override { return u"DefaultFormulaFormat"; }
};

inline constexpr std::u16string_view kMinDigitFormulaFormatIdentifier =
    u"KtFormula9.MinDigitFormulaFormat";

// Shows numbers with few digits, in a unit in which they read well.
class MinDigitFormulaFormat final : public FormatListener,
                                    private LeakCounted<MinDigitFormulaFormat> {
 public:
  static constexpr std::string_view kClassName = "MinDigitFormulaFormat";

  MinDigitFormulaFormat() : FormatListener(MinDigitDisplay) {}
  ~MinDigitFormulaFormat() override { Terminate(); }

  std::u16string TypeName() const override { return u"MinDigitFormulaFormat"; }
};

}  // namespace ktformula
