#include "com/host/foreign.h"

#include "com/base/shells.h"

namespace ktcom {

namespace {

ObjectMaker own_maker = nullptr;

}  // namespace

void UseObjectMaker(ObjectMaker maker) noexcept {
  own_maker = maker;
}

ComPtr<IDispatch> ToDispatch(const ktformula::HostObject* object) {
  if (object == nullptr) return nullptr;
  if (const auto* foreign = dynamic_cast<const Foreign*>(object)) return foreign->Dispatch();
  ComPtr<IDispatch> shell = FindShell(object->Identity());
  // The COM object keeps its native one, though it was given for reading only.
  if (shell == nullptr && own_maker != nullptr) {
    shell = own_maker(const_cast<ktformula::HostObject&>(*object));
  }
  if (shell == nullptr) ktformula::Raise(ktformula::RuntimeError::kTypeMismatch);
  return shell;
}

}  // namespace ktcom
