#include "com/base/host_pointer.h"

#include <algorithm>

#include "com/base/windows_headers.h"
#include "values/raised_error.h"

namespace ktcom {

namespace {

// "Object doesn't support this property or method".
constexpr std::int32_t kNoSuchMember = 438;

// Objects of script engines have this second way, and some have no other.
ComPtr<IDispatchEx> AsScriptObject(IDispatch& object) {
  ComPtr<IDispatchEx> script_object;
  object.QueryInterface(IID_PPV_ARGS(script_object.GetAddressOf()));
  return script_object;
}

// The member's identifier, DISPID_UNKNOWN when the object has none of this name.
DISPID FindMember(IDispatch& object, std::u16string_view name) {
  DISPID member = DISPID_UNKNOWN;
  HRESULT code = S_OK;
  if (const ComPtr<IDispatchEx> script_object = AsScriptObject(object)) {
    code = script_object->GetDispID(Bstr(name), fdexNameCaseInsensitive, &member);
  } else {
    std::u16string terminated(name);
    auto* names = reinterpret_cast<LPOLESTR>(terminated.data());
    code = object.GetIDsOfNames(GUID_NULL, &names, 1, LOCALE_USER_DEFAULT, &member);
  }
  if (code == DISP_E_UNKNOWNNAME || code == DISP_E_MEMBERNOTFOUND) return DISPID_UNKNOWN;
  Check(code);
  return member;
}

void Invoke(IDispatch& object, DISPID member, WORD flags, DISPPARAMS& parameters, VARIANT* result) {
  EXCEPINFO exception{};
  const ComPtr<IDispatchEx> script_object = AsScriptObject(object);
  ForgetErrorObject();
  const HRESULT code = script_object != nullptr
                           ? script_object->InvokeEx(member, LOCALE_USER_DEFAULT, flags,
                                                     &parameters, result, &exception, nullptr)
                           : object.Invoke(member, GUID_NULL, LOCALE_USER_DEFAULT, flags,
                                           &parameters, result, &exception, nullptr);
  if (code == DISP_E_EXCEPTION) RaiseException(exception);
  // Some script engines answer with the failure itself.
  Check(code, &object, IID_IDispatch);
}

ComPtr<ITypeInfo> TypeInformation(IUnknown* object) {
  ComPtr<ITypeInfo> information;
  ComPtr<IProvideClassInfo> provider;
  if (SUCCEEDED(object->QueryInterface(IID_PPV_ARGS(provider.GetAddressOf()))) &&
      SUCCEEDED(provider->GetClassInfo(information.GetAddressOf()))) {
    return information;
  }
  ComPtr<IDispatch> dispatch;
  if (SUCCEEDED(object->QueryInterface(IID_PPV_ARGS(dispatch.GetAddressOf())))) {
    dispatch->GetTypeInfo(0, LOCALE_USER_DEFAULT, information.ReleaseAndGetAddressOf());
  }
  return information;
}

DISPID MemberOf(IDispatch& object, std::u16string_view name) {
  const DISPID member = FindMember(object, name);
  if (member == DISPID_UNKNOWN) {
    throw ktformula::RaisedError(kNoSuchMember, u"KtFormula9",
                                 u"the host's object of type \"" + TypeNameOf(&object) +
                                     u"\" has no member \"" + std::u16string(name) + u"\"");
  }
  return member;
}

}  // namespace

Variant InvokeByName(IDispatch& object, std::u16string_view name, std::vector<Variant> arguments) {
  const DISPID member = MemberOf(object, name);
  // Automation counts arguments from the last one.
  std::vector<VARIANT> reversed;
  reversed.reserve(arguments.size());
  std::for_each(arguments.rbegin(), arguments.rend(),
                [&](const Variant& argument) { reversed.push_back(argument.Get()); });
  DISPPARAMS parameters{reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
  Variant result;
  Invoke(object, member, DISPATCH_METHOD | DISPATCH_PROPERTYGET, parameters, result.Receive());
  return result;
}

void PutByName(IDispatch& object, std::u16string_view name, Variant value) {
  VARIANT argument = value.Get();
  DISPID put = DISPID_PROPERTYPUT;
  DISPPARAMS parameters{&argument, &put, 1, 1};
  Invoke(object, MemberOf(object, name), DISPATCH_PROPERTYPUT, parameters, nullptr);
}

bool HasMember(IDispatch& object, std::u16string_view name) {
  return FindMember(object, name) != DISPID_UNKNOWN;
}

std::u16string TypeNameOf(IUnknown* object) {
  if (object == nullptr) return u"Nothing";
  const ComPtr<ITypeInfo> information = TypeInformation(object);
  Bstr name;
  if (information == nullptr || FAILED(information->GetDocumentation(MEMBERID_NIL, name.Receive(),
                                                                     nullptr, nullptr, nullptr))) {
    return u"Object";
  }
  std::u16string text = name.Text();
  if (text.starts_with(u'_')) text.erase(0, 1);
  return text;
}

}  // namespace ktcom
