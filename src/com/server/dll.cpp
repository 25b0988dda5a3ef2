// The server's entry points.
#include <string>
#include <utility>

#include "com/base/errors.h"
#include "com/base/module.h"
#include "com/base/text.h"
#include "com/base/windows_headers.h"
#include "com/dialog/message_box.h"
#include "com/host/user_locale.h"
#include "com/server/class_factory.h"
#include "com/server/registration.h"
#include "listener/error_message_box.h"
#include "values/leak_check.h"

namespace {

// The entry points are no object's members, but fail like them.
template <typename Body>
HRESULT Guarded(Body&& body) noexcept {
  return ktcom::Guarded(GUID_NULL, std::forward<Body>(body));
}

HRESULT Install(bool install, ktcom::RegistrationScope scope) noexcept {
  return Guarded([=] {
    if (install) {
      ktcom::Register(scope);
    } else {
      ktcom::Unregister(scope);
    }
    return S_OK;
  });
}

}  // namespace

STDAPI DllGetClassObject(REFCLSID class_id, REFIID interface_id, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  return Guarded([&]() -> HRESULT {
    ktcom::UseSystemLocale();
    ktformula::UseWarningBox(&ktcom::ShowWarning);
    const auto factory = ktcom::ClassFactoryOf(class_id);
    if (factory == nullptr) return CLASS_E_CLASSNOTAVAILABLE;
    return factory->QueryInterface(interface_id, object);
  });
}

STDAPI DllCanUnloadNow() {
  if (ktcom::IsModuleInUse()) return S_FALSE;
  ktcom::ForgetTypeInfo();
  return S_OK;
}

STDAPI DllRegisterServer() {
  return Install(true, ktcom::UsualScope());
}

STDAPI DllUnregisterServer() {
  return Install(false, ktcom::UsualScope());
}

// "regsvr32 /n /i:user" registers for the present user alone, whatever this process may do.
STDAPI DllInstall(BOOL install, PCWSTR command) {
  const bool for_user = command != nullptr && lstrcmpiW(command, L"user") == 0;
  if (command != nullptr && *command != L'\0' && !for_user) return E_INVALIDARG;
  return Install(install != FALSE,
                 for_user ? ktcom::RegistrationScope::kUser : ktcom::UsualScope());
}

// The classes with living objects as "label: count" lines, "" for none; the caller frees the text.
STDAPI KtLeakCheckReport(BSTR* report) {
  if (report == nullptr) return E_POINTER;
  *report = nullptr;
  return Guarded([&] {
    const std::string lines = ktformula::KtLeakCheck::Report();
    *report = ktcom::Bstr(std::u16string(lines.begin(), lines.end())).Detach();
    return S_OK;
  });
}
