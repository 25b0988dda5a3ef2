// Whoever has named values for formulas: a listener of this component, or a host's own.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "KtFormula9.h"

#include "com/base/host_pointer.h"
#include "values/cell_value.h"
#include "values/reference.h"

namespace ktcom {

class NamedValuesArgument final : private ktformula::NamedValues {
 public:
  // Keeps the object; Nothing has no values.
  explicit NamedValuesArgument(IDispatch* listener);
  NamedValuesArgument(const NamedValuesArgument&) = delete;
  NamedValuesArgument& operator=(const NamedValuesArgument&) = delete;

  // nullptr for Nothing. Valid as long as this object.
  ktformula::NamedValues* Get() noexcept;

 private:
  const ktformula::CellValue* DefinedValue(std::u16string_view Name) override;

  HostPointer<IKtFormulaListener> listener_;
  ktformula::NamedValues* own_ = nullptr;
  // What the host's own listener has answered last for each name.
  std::map<std::u16string, ktformula::CellValue, std::less<>> answers_;
};

}  // namespace ktcom
