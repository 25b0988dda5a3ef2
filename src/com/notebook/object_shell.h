// The ground of the COM objects in front of the notebook's own.
#pragma once

#include <typeinfo>
#include <utility>

#include "com/base/object.h"
#include "host/ref.h"
#include "values/raised_error.h"

namespace ktcom {

using ktformula::Ref;

// A COM object that keeps one object of the notebook's and answers for it.
template <typename Derived, typename EngineInterface, typename Interface, typename... Others>
class Shell : public Object<Derived, Interface, Others...> {
 public:
  static constexpr const GUID& kClassIdentifier = GUID_NULL;
  // The program has one thread, and an apartment for it.
  static constexpr bool kCountsForOneThread = true;

  explicit Shell(Ref<EngineInterface> native) : native_(std::move(native)) {
    native_->NoteStandIn(static_cast<IDispatch*>(static_cast<Interface*>(this)));
  }

  void* STDMETHODCALLTYPE Native(const std::type_info& type) noexcept override {
    if (type == typeid(EngineInterface)) return native_.get();
    return type == typeid(ktformula::HostObject)
               ? static_cast<ktformula::HostObject*>(native_.get())
               : nullptr;
  }

 protected:
  ~Shell() { native_->NoteStandIn(nullptr); }

  EngineInterface& Own() const noexcept { return *native_; }

 private:
  Ref<EngineInterface> native_;
};

// The COM object of an object of the notebook's: the one that somebody holds, else a new one. Empty
// for an empty reference.
template <typename ShellClass, typename Interface, typename EngineInterface>
ComPtr<Interface> FindOrMake(const Ref<EngineInterface>& native) {
  if (!native) return nullptr;
  if (void* const known = native->StandIn()) {
    return static_cast<Interface*>(static_cast<IDispatch*>(known));
  }
  return MakeObject<ShellClass>(native);
}

// The object of the notebook's that comes back as an argument. Raises error 91 for Nothing and
// error 13 for any other object.
template <typename EngineInterface>
EngineInterface& OwnArgument(IDispatch* object) {
  if (object == nullptr) ktformula::Raise(ktformula::RuntimeError::kObjectNotSet);
  if (auto* const native = NativeOf<EngineInterface>(object)) return *native;
  auto* const native = dynamic_cast<EngineInterface*>(NativeOf<ktformula::HostObject>(object));
  if (native == nullptr) ktformula::Raise(ktformula::RuntimeError::kTypeMismatch);
  return *native;
}

// An index of something that has `count` parts, counted from 1; raises error 9 for any other.
inline int CheckedIndex(LONG index, int count) {
  if (index < 1 || index > count) ktformula::Raise(ktformula::RuntimeError::kInvalidIndex);
  return static_cast<int>(index);
}

}  // namespace ktcom
