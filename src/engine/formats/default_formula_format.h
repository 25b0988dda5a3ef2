// DefaultFormulaFormat: shows numbers with as many digits as the least exact entry has.
#pragma once

#include "formats/format_listener.h"
#include "values/leak_check.h"

namespace ktformula {

inline constexpr std::u16string_view kDefaultFormulaFormatIdentifier =
    u"KtFormula9.DefaultFormulaFormat";

// The format that is used unless a listener names another.
class DefaultFormulaFormat final : public FormatListener,
                                   private LeakCounted<DefaultFormulaFormat> {
 public:
  static constexpr std::string_view kClassName = "DefaultFormulaFormat";

  ~DefaultFormulaFormat() override { Terminate(); }

  std::u16string TypeName() const override { return u"DefaultFormulaFormat"; }

 private:
  Display ChooseDisplay(double value, std::u16string_view unit_name, const ELNProperty& property,
                        std::int16_t digits, UnitCatalogue& units) const override;
};

}  // namespace ktformula
