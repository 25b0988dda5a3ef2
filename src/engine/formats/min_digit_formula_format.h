// MinDigitFormulaFormat: shows numbers with few digits, in a unit in which they read well.
#pragma once

#include "formats/format_listener.h"
#include "values/leak_check.h"

namespace ktformula {

inline constexpr std::u16string_view kMinDigitFormulaFormatIdentifier =
    u"KtFormula9.MinDigitFormulaFormat";

// Chooses the digits from the number's magnitude, and moves a small number to the next smaller
// unit of its kind (g to mg, l to ml) until it is no longer small. Zero and negative numbers are
// always small and end in the smallest unit.
class MinDigitFormulaFormat final : public FormatListener,
                                    private LeakCounted<MinDigitFormulaFormat> {
 public:
  static constexpr std::string_view kClassName = "MinDigitFormulaFormat";

  ~MinDigitFormulaFormat() override { Terminate(); }

  std::u16string TypeName() const override { return u"MinDigitFormulaFormat"; }

 private:
  Display ChooseDisplay(double value, std::u16string_view unit_name, const ELNProperty& property,
                        std::int16_t digits, UnitCatalogue& units) const override;
};

}  // namespace ktformula
