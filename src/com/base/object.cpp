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
  try {
    *information = TypeInfoOf(identifier);
    (*information)->AddRef();
    return S_OK;
  } catch (...) {
    return ReportCurrentException(IID_IDispatch);
  }
}

HRESULT FindNames(std::span<const Face> faces, LPOLESTR* names, UINT count,
                  DISPID* members) noexcept {
  try {
    for (const Face& face : faces) {
      if (SUCCEEDED(TypeInfoOf(*face.identifier)->GetIDsOfNames(names, count, members))) {
        return S_OK;
      }
    }
    return DISP_E_UNKNOWNNAME;
  } catch (...) {
    return ReportCurrentException(IID_IDispatch);
  }
}

HRESULT InvokeMember(std::span<const Face> faces, DISPID member, WORD flags, DISPPARAMS* parameters,
                     VARIANT* result, EXCEPINFO* exception, UINT* argument) noexcept {
  try {
    HRESULT code = DISP_E_MEMBERNOTFOUND;
    for (const Face& face : faces) {
      ForgetErrorObject();
      code = TypeInfoOf(*face.identifier)
                 ->Invoke(face.pointer, member, flags, parameters, result, exception, argument);
      if (code != DISP_E_MEMBERNOTFOUND) return code;
    }
    return code;
  } catch (...) {
    return ReportCurrentException(IID_IDispatch);
  }
}

}  // namespace ktcom
