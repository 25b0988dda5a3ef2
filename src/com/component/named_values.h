// Whoever has named values for formulas: a listener of this component, or a host's own.
#pragma once

#include <memory>
#include <string_view>

#include "KtFormula9.h"

#include "com/base/host_pointer.h"
#include "formula/reference.h"
#include "values/cell_value.h"

namespace ktcom {

// Passes the question on, and may change whom it asks while an answer is under way.
class NamedValuesArgument final : public ktformula::NamedValues {
 public:
  NamedValuesArgument() = default;
  explicit NamedValuesArgument(IDispatch* listener) { Take(listener); }
  NamedValuesArgument(const NamedValuesArgument&) = delete;
  NamedValuesArgument& operator=(const NamedValuesArgument&) = delete;

  // Asks this listener from now on, and keeps it; Nothing has no values.
  void Take(IDispatch* listener);

  std::shared_ptr<ktformula::CellValue> DefinedValue(std::u16string_view Name) override;

 private:
  ComPtr<IDispatch> listener_;
};

}  // namespace ktcom
