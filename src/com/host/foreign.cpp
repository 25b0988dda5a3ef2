#include "com/host/foreign.h"

#include "com/base/shells.h"

namespace ktcom {

ComPtr<IDispatch> ToDispatch(const ktformula::HostObject* object) {
  if (object == nullptr) return nullptr;
  if (const auto* foreign = dynamic_cast<const Foreign*>(object)) return foreign->Dispatch();
  ComPtr<IDispatch> shell = FindShell(object->Identity());
  if (shell == nullptr) ktformula::Raise(ktformula::RuntimeError::kTypeMismatch);
  return shell;
}

}  // namespace ktcom
