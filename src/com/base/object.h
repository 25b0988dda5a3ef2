// The ground of the objects that this module gives to others.
#pragma once

#include <array>
#include <span>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "KtStandard9.h"

#include "com/base/counted.h"
#include "com/base/errors.h"
#include "com/base/module.h"
#include "com/base/text.h"
#include "com/base/variant.h"
#include "com/base/windows_headers.h"

// Leads from an object of this very module back to what stands behind it.
MIDL_INTERFACE("E0B2B0F3-7C0A-4B0E-9C43-2A7D1C9B5F61")
INativeObject : public IUnknown {
  // Tells modules apart: each has its own.
  virtual const void* STDMETHODCALLTYPE NativeModule() noexcept = 0;
  // What stands behind the object, if it is of this type; else nullptr. Valid while it lives.
  virtual void* STDMETHODCALLTYPE Native(const std::type_info& type) noexcept = 0;
};
__CRT_UUID_DECL(INativeObject, 0xE0B2B0F3, 0x7C0A, 0x4B0E, 0x9C, 0x43, 0x2A, 0x7D, 0x1C, 0x9B, 0x5F,
                0x61)

namespace ktcom {

// The thing of this type behind an object of this module; nullptr for foreign objects and nothing.
void* NativeOf(IUnknown* object, const std::type_info& type) noexcept;
template <typename T>
T* NativeOf(IUnknown* object) noexcept {
  return static_cast<T*>(NativeOf(object, typeid(T)));
}

// Results on their way to the caller, who owns them from then on.
inline void Hand(BSTR* target, std::u16string_view text) {
  *target = Bstr(text).Detach();
}
inline void Hand(VARIANT_BOOL* target, bool value) noexcept {
  *target = value ? VARIANT_TRUE : VARIANT_FALSE;
}
template <typename Value>
void Hand(Value* target, const std::type_identity_t<Value>& value) noexcept {
  *target = value;
}
template <typename To, typename From>
void Hand(To** target, const ComPtr<From>& object) noexcept {
  *target = object.Get();
  if (object != nullptr) object->AddRef();
}

// One interface of an object. The pointer is to be used as this interface.
struct Face {
  const IID* identifier;
  void* pointer;
};

// IDispatch's members for an object that answers to the names of all its faces at once.
HRESULT GiveTypeInfo(REFGUID identifier, UINT index, ITypeInfo** information) noexcept;
HRESULT FindNames(std::span<const Face> faces, LPOLESTR* names, UINT count,
                  DISPID* members) noexcept;
HRESULT InvokeMember(std::span<const Face> faces, DISPID member, WORD flags, DISPPARAMS* parameters,
                     VARIANT* result, EXCEPINFO* exception, UINT* argument) noexcept;

// A counted object with dual interfaces, the first of which is its default. The derived class has
// a member `kClassIdentifier`: its class in the type library, GUID_NULL for none; one that stands
// for several classes hides ClassIdentifier instead.
//
// Calls come from the thread of the object's apartment only, so that nothing is locked. What the
// object does to its own count by calling others is no harm: see Answer.
template <typename Derived, typename Default, typename... Others>
class Object : public Counted<Derived, Default, Others..., ISupportErrorInfo, IProvideClassInfo,
                              INativeObject> {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID identifier, void** object) noexcept override {
    if (object == nullptr) return E_POINTER;
    *object = FindFace(identifier);
    if (*object == nullptr) return E_NOINTERFACE;
    this->AddRef();
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) noexcept override {
    if (count == nullptr) return E_POINTER;
    *count = 1;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID,
                                        ITypeInfo** information) noexcept override {
    return GiveTypeInfo(__uuidof(Default), index, information);
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID,
                                          DISPID* members) noexcept override {
    return FindNames(Faces(), names, count, members);
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID, LCID, WORD flags, DISPPARAMS* parameters,
                                   VARIANT* result, EXCEPINFO* exception,
                                   UINT* argument) noexcept override {
    return InvokeMember(Faces(), member, flags, parameters, result, exception, argument);
  }

  HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID identifier) noexcept override {
    return FindFace(identifier) != nullptr ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE GetClassInfo(ITypeInfo** information) noexcept override {
    return GiveTypeInfo(static_cast<Derived*>(this)->ClassIdentifier(), 0, information);
  }

  const GUID& ClassIdentifier() const noexcept { return Derived::kClassIdentifier; }

  // The object as COM knows it: its identity.
  IUnknown* Identity() noexcept { return static_cast<Default*>(this); }

  const void* STDMETHODCALLTYPE NativeModule() noexcept override { return OwnModule(); }
  void* STDMETHODCALLTYPE Native(const std::type_info&) noexcept override { return nullptr; }

 protected:
  Object() noexcept = default;
  ~Object() = default;

  // Runs the body of a member of the face that was called.
  template <typename Body>
  HRESULT Answer(Body&& body) noexcept {
    return ktcom::Answer(static_cast<Default*>(this), __uuidof(Default), std::forward<Body>(body));
  }
  // The same for a member with a result, which the body gives.
  template <typename Target, typename Body>
  HRESULT Give(Target* target, Body&& body) noexcept {
    if (target == nullptr) return E_POINTER;
    *target = Target();
    return Answer([&] { Hand(target, body()); });
  }

 private:
  std::array<Face, 1 + sizeof...(Others)> Faces() noexcept {
    return {Face{&__uuidof(Default), static_cast<Default*>(this)},
            Face{&__uuidof(Others), static_cast<Others*>(this)}...};
  }

  void* FindFace(REFIID identifier) noexcept {
    if (IsEqualGUID(identifier, IID_IUnknown) || IsEqualGUID(identifier, IID_IDispatch)) {
      return static_cast<Default*>(this);
    }
    if constexpr (std::is_base_of_v<IKtNotebookObject, Default>) {
      if (IsEqualGUID(identifier, __uuidof(IKtNotebookObject))) return static_cast<Default*>(this);
    }
    for (const Face& face : Faces()) {
      if (IsEqualGUID(identifier, *face.identifier)) return face.pointer;
    }
    if (IsEqualGUID(identifier, IID_ISupportErrorInfo)) {
      return static_cast<ISupportErrorInfo*>(this);
    }
    if (IsEqualGUID(identifier, IID_IProvideClassInfo) &&
        !IsEqualGUID(static_cast<Derived*>(this)->ClassIdentifier(), GUID_NULL)) {
      return static_cast<IProvideClassInfo*>(this);
    }
    if (IsEqualGUID(identifier, __uuidof(INativeObject))) return static_cast<INativeObject*>(this);
    return nullptr;
  }
};

}  // namespace ktcom
