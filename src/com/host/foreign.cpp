#include "com/host/foreign.h"

#include <atomic>

#include "com/base/shells.h"

namespace ktcom {

namespace {

std::atomic<ObjectMaker> own_maker = nullptr;

}  // namespace

void UseObjectMaker(ObjectMaker maker) noexcept {
  own_maker = maker;
}

ComPtr<IDispatch> ToDispatch(const ktformula::HostObject* object) {
  if (object == nullptr) return nullptr;
  if (void* const stand_in = object->StandIn()) return static_cast<IDispatch*>(stand_in);
  ComPtr<IDispatch> shell = FindShell(object->Identity());
  // The COM object keeps its native one, though it was given for reading only.
  if (const ObjectMaker maker = own_maker; shell == nullptr && maker != nullptr) {
    shell = maker(const_cast<ktformula::HostObject&>(*object));
  }
  if (shell == nullptr) ktformula::Raise(ktformula::RuntimeError::kTypeMismatch);
  return shell;
}

}  // namespace ktcom
