#include "com/base/object.h"

namespace ktcom {

void* NativeOf(IUnknown* object, const std::type_info& type) noexcept {
  ComPtr<INativeObject> native;
  if (object == nullptr || FAILED(object->QueryInterface(IID_PPV_ARGS(native.GetAddressOf()))) ||
      native->NativeModule() != OwnModule()) {
    return nullptr;
  }
  return native->Native(type);
}

HRESULT GiveTypeInfo(REFGUID identifier, UINT index, ITypeInfo** information) noexcept {
  if (information == nullptr) return E_POINTER;
  *information = nullptr;
  if (index != 0) return DISP_E_BADINDEX;
  return Guarded(IID_IDispatch, [&] {
    *information = TypeInfoOf(identifier).Detach();
    return S_OK;
  });
}

HRESULT FindNames(std::span<const Face> faces, LPOLESTR* names, UINT count,
                  DISPID* members) noexcept {
  return Guarded(IID_IDispatch, [&] {
    for (const Face& face : faces) {
      if (SUCCEEDED(TypeInfoOf(*face.identifier)->GetIDsOfNames(names, count, members))) {
        return S_OK;
      }
    }
    return DISP_E_UNKNOWNNAME;
  });
}

HRESULT InvokeMember(std::span<const Face> faces, DISPID member, WORD flags, DISPPARAMS* parameters,
                     VARIANT* result, EXCEPINFO* exception, UINT* argument) noexcept {
  return Guarded(IID_IDispatch, [&] {
    HRESULT code = DISP_E_MEMBERNOTFOUND;
    for (const Face& face : faces) {
      ForgetErrorObject();
      code = TypeInfoOf(*face.identifier)
                 ->Invoke(face.pointer, member, flags, parameters, result, exception, argument);
      if (code != DISP_E_MEMBERNOTFOUND) break;
    }
    return code;
  });
}

}  // namespace ktcom
