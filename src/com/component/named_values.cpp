#include "com/component/named_values.h"

#include "com/base/object.h"
#include "values/raised_error.h"

namespace ktcom {

void NamedValuesArgument::Take(IDispatch* listener) {
  // The one before may let go of much when it goes; nothing here depends on it any more then.
  ComPtr<IDispatch> former(listener);
  former.Swap(listener_);
}

std::shared_ptr<ktformula::CellValue> NamedValuesArgument::DefinedValue(std::u16string_view Name) {
  // It may be taken away while it answers.
  const ComPtr<IDispatch> listener = listener_;
  if (listener == nullptr) return nullptr;
  if (auto* const own = NativeOf<ktformula::NamedValues>(listener.Get())) {
    return own->DefinedValue(Name);
  }
  const auto answer = HostPointer<IKtFormulaListener>(listener.Get())
                          .Call<HostPointer<IKtCellValue>, &IKtFormulaListener::DefinedValue>(
                              u"DefinedValue", Name);
  if (!answer) return nullptr;
  const auto* value = NativeOf<std::shared_ptr<ktformula::CellValue>>(answer.Dispatch());
  if (value == nullptr) ktformula::Raise(ktformula::RuntimeError::kTypeMismatch);
  return *value;
}

}  // namespace ktcom
