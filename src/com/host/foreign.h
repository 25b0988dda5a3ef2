// The host's objects as the engine sees them: adapters around foreign COM objects.
//
// This room holds an adapter for each interface of host/, in files named like those (here is what
// they share), and what else the component learns from Windows and the application.
#pragma once

#include <string>
#include <string_view>

#include "com/base/host_pointer.h"
#include "host/ref.h"
#include "values/raised_error.h"

namespace ktcom {

// The COM object that stands for an object of the engine's world: the one behind an adapter, or the
// one that this module has made, or makes now, for an object of its own. Empty for nullptr; raises
// error 13 for an object that no COM object stands for.
ComPtr<IDispatch> ToDispatch(const ktformula::HostObject* object);
// The same for an object that is there.
inline ComPtr<IDispatch> ToDispatch(const ktformula::HostObject& object) {
  return ToDispatch(&object);
}

// Makes the COM object of an object of this module's own; empty for one that has none.
using ObjectMaker = ComPtr<IDispatch> (*)(ktformula::HostObject& object);
// A host's program makes COM objects when they are first asked for: it says here how, before any
// object crosses the boundary.
void UseObjectMaker(ObjectMaker maker) noexcept;

// An engine's interface answered by a foreign object in the role of a COM interface.
template <typename EngineInterface, typename Interface>
class ForeignObject : public EngineInterface {
 public:
  explicit ForeignObject(HostPointer<Interface> object) : object_(std::move(object)) {
    this->NoteStandIn(object_.Dispatch());
  }

  IDispatch* Dispatch() const noexcept { return object_.Dispatch(); }
  // The object's identity in COM, so that two adapters of one object are the same.
  const void* Identity() const noexcept final {
    ComPtr<IUnknown> identity;
    object_.Dispatch()->QueryInterface(IID_PPV_ARGS(identity.GetAddressOf()));
    return identity.Get();
  }
  std::u16string TypeName() const override { return TypeNameOf(object_.Dispatch()); }

 protected:
  template <typename Result, auto Member, typename... Arguments>
  Result Get(std::u16string_view name, const Arguments&... arguments) const {
    return object_.template Call<Result, Member>(name, arguments...);
  }
  template <auto Member>
  std::u16string Text(std::u16string_view name) const {
    return Get<std::u16string, Member>(name);
  }
  template <auto Member, typename... Arguments>
  void Do(std::u16string_view name, const Arguments&... arguments) const {
    Get<void, Member>(name, arguments...);
  }
  // The object that the member gives, behind an adapter; empty for Nothing.
  template <typename Adapter, auto Member, typename... Arguments>
  ktformula::Ref<Adapter> Wrap(std::u16string_view name, const Arguments&... arguments) const {
    auto object = Get<HostPointer<typename Adapter::Role>, Member>(name, arguments...);
    return object ? ktformula::MakeRef<Adapter>(std::move(object)) : nullptr;
  }
  // The same, but raises error 91 for Nothing, where a host owes an object.
  template <typename Adapter, auto Member, typename... Arguments>
  ktformula::Ref<Adapter> WrapRequired(std::u16string_view name,
                                       const Arguments&... arguments) const {
    ktformula::Ref<Adapter> object = Wrap<Adapter, Member>(name, arguments...);
    if (!object) ktformula::Raise(ktformula::RuntimeError::kObjectNotSet);
    return object;
  }
  const HostPointer<Interface>& Pointer() const noexcept { return object_; }

 public:
  using Role = Interface;

 private:
  HostPointer<Interface> object_;
};

// The adapter of an object that was handed in; empty for Nothing.
template <typename Adapter>
ktformula::Ref<Adapter> Adapt(IDispatch* object) {
  if (object == nullptr) return nullptr;
  return ktformula::MakeRef<Adapter>(HostPointer<typename Adapter::Role>(object));
}

// The same, but raises error 91 for Nothing.
template <typename Adapter>
ktformula::Ref<Adapter> AdaptRequired(IDispatch* object) {
  if (object == nullptr) ktformula::Raise(ktformula::RuntimeError::kObjectNotSet);
  return Adapt<Adapter>(object);
}

}  // namespace ktcom
