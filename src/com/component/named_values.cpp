#include "com/component/named_values.h"

#include "com/component/arguments.h"

namespace ktcom {

NamedValuesArgument::NamedValuesArgument(IDispatch* listener)
    : listener_(listener), own_(NativeOf<ktformula::NamedValues>(listener)) {}

ktformula::NamedValues* NamedValuesArgument::Get() noexcept {
  if (own_ != nullptr) return own_;
  return listener_ ? this : nullptr;
}

const ktformula::CellValue* NamedValuesArgument::DefinedValue(std::u16string_view Name) {
  const auto answer = listener_.Call<HostPointer<IKtCellValue>, &IKtFormulaListener::DefinedValue>(
      u"DefinedValue", Name);
  if (!answer) return nullptr;
  const auto kept =
      answers_.insert_or_assign(std::u16string(Name), CellValueArgument(answer.Dispatch()));
  return &kept.first->second;
}

}  // namespace ktcom
