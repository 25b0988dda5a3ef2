// Whoever has named values for formulas: a listener of this component, or a host's own.
#pragma once

#include <deque>
#include <string_view>

#include "KtFormula9.h"

#include "com/base/host_pointer.h"
#include "values/cell_value.h"
#include "values/reference.h"

namespace ktcom {

class NamedValuesArgument : private ktformula::NamedValues {
 public:
  // Keeps the object; Nothing has no values.
  explicit NamedValuesArgument(IDispatch* listener);
  NamedValuesArgument(const NamedValuesArgument&) = delete;
  NamedValuesArgument& operator=(const NamedValuesArgument&) = delete;
  ~NamedValuesArgument() = default;

  // nullptr for Nothing. Valid as long as this object.
  ktformula::NamedValues* Get() noexcept;

 private:
  const ktformula::CellValue* DefinedValue(std::u16string_view Name) override;

  HostPointer<IKtFormulaListener> listener_;
  ktformula::NamedValues* own_ = nullptr;
  // What the host's own listener has answered.
  std::deque<ktformula::CellValue> answers_;
};

}  // namespace ktcom
