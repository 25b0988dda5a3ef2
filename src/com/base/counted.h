// The counting of references, for all COM objects of this module.
#pragma once

#include <climits>
#include <utility>

#include "com/base/module.h"
#include "com/base/variant.h"
#include "com/base/windows_headers.h"

namespace ktcom {

// IUnknown's counting for an object with these interfaces. The last reference deletes the object as
// a `Derived`; the module stays in use until then.
template <typename Derived, typename... Interfaces>
class Counted : public Interfaces... {
 public:
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;

  ULONG STDMETHODCALLTYPE AddRef() noexcept override {
    return static_cast<ULONG>(Derived::kCountsForOneThread ? ++references_
                                                           : InterlockedIncrement(&references_));
  }
  ULONG STDMETHODCALLTYPE Release() noexcept override {
    const LONG left =
        Derived::kCountsForOneThread ? --references_ : InterlockedDecrement(&references_);
    if (left == 0) {
      // What the destructor calls may take hold of this object and let it go again.
      references_ = kDying;
      delete static_cast<Derived*>(this);
    }
    return static_cast<ULONG>(left);
  }

  // A class that no other thread's pointers lead to, but through the system's proxies, hides this.
  static constexpr bool kCountsForOneThread = false;

 protected:
  Counted() noexcept = default;
  ~Counted() = default;

 private:
  static constexpr LONG kDying = LONG_MAX / 2;

  LONG references_ = 0;
  ModuleLock lock_;
};

// An object with one interface beside IUnknown, neither found by name nor telling errors.
template <typename Derived, typename Interface>
class PlainObject : public Counted<Derived, Interface> {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID identifier, void** object) noexcept override {
    if (object == nullptr) return E_POINTER;
    const bool known =
        IsEqualGUID(identifier, IID_IUnknown) || IsEqualGUID(identifier, __uuidof(Interface));
    *object = known ? static_cast<Interface*>(this) : nullptr;
    if (known) this->AddRef();
    return known ? S_OK : E_NOINTERFACE;
  }

 protected:
  PlainObject() noexcept = default;
  ~PlainObject() = default;
};

// A new object, held by nobody else yet.
template <typename T, typename... Arguments>
ComPtr<T> MakeObject(Arguments&&... arguments) {
  return ComPtr<T>(new T(std::forward<Arguments>(arguments)...));
}

}  // namespace ktcom
