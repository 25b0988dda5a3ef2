#include "com/notebook/framework_objects.h"

#include "com/base/system_object.h"
#include "com/host/listener_adapters.h"
#include "com/notebook/database_objects.h"
#include "com/notebook/notebook_objects.h"
#include "com/notebook/object_shell.h"
#include "values/platform.h"

namespace ktcom {

namespace {

// The listener's face of this kind. Raises error 91 for Nothing and error 13 for what is no
// listener.
template <typename Face>
Ref<Face> ListenerArgument(IDispatch* object) {
  if (object == nullptr) ktformula::Raise(ktformula::RuntimeError::kObjectNotSet);
  const Ref<ktformula::IKtFieldListener> listener = AdaptListener(object);
  auto* const face = dynamic_cast<Face*>(listener.get());
  if (face == nullptr) ktformula::Raise(ktformula::RuntimeError::kTypeMismatch);
  return Ref<Face>(face);
}

class HostServiceObject final
    : public Shell<HostServiceObject, ktformula::HostService, IKtHostService> {
 public:
  using Shell::Shell;

  HRESULT STDMETHODCALLTYPE RefreshObject(BSTR key) noexcept override {
    return Answer([&] { Own().RefreshObject(View(key)); });
  }
};

class ConfigurationHelperObject final
    : public Shell<ConfigurationHelperObject, ktformula::ConfigurationHelper,
                   IKtConfigurationHelper> {
 public:
  using Shell::Shell;

  HRESULT STDMETHODCALLTYPE Store(IDispatch* listener, IDispatch* target) noexcept override {
    return Answer([&] {
      const Ref<ktformula::HostObject> place = AdaptObject(target);
      if (!place) ktformula::Raise(ktformula::RuntimeError::kObjectNotSet);
      Own().Store(*ListenerArgument<ktformula::IKtConfigurationObject>(listener), *place);
    });
  }
};

class FrameworkObject final
    : public Shell<FrameworkObject, ktformula::HostFramework, IKtFramework, IKtUserLocale> {
 public:
  using Shell::Shell;

  HRESULT STDMETHODCALLTYPE get_Units(IDispatch** value) noexcept override {
    return Give(value, [&] { return ToObject(Own().Units()); });
  }
  HRESULT STDMETHODCALLTYPE CreateObject(BSTR programIdentifier,
                                         IDispatch** object) noexcept override {
    return Give(object, [&] {
      const ComPtr<IUnknown> created = TryCreateObject(View(programIdentifier), IID_IDispatch);
      return ComPtr<IDispatch>(static_cast<IDispatch*>(created.Get()));
    });
  }
  HRESULT STDMETHODCALLTYPE get_Database(IDispatch** value) noexcept override {
    return Give(value, [&] { return ToObject(Own().Database()); });
  }
  HRESULT STDMETHODCALLTYPE get_Configuration(IDispatch** value) noexcept override {
    return Give(value, [&] { return ToObject(Own().Configuration()); });
  }
  HRESULT STDMETHODCALLTYPE RequestSave(IDispatch* object, BSTR text) noexcept override {
    return Answer(
        [&] { Own().RequestSave(*ListenerArgument<ktformula::IKtObject>(object), View(text)); });
  }
  HRESULT STDMETHODCALLTYPE get_ApplicationPath(BSTR* value) noexcept override {
    return Give(value, [&] { return Own().ApplicationPath(); });
  }

  // Those of the notebook that the listener is initialised for.
  HRESULT STDMETHODCALLTYPE get_DecimalSeparator(BSTR* value) noexcept override {
    return Give(value, [] { return Text(ktformula::UserLocale().decimal_separator); });
  }
  HRESULT STDMETHODCALLTYPE get_ThousandsSeparator(BSTR* value) noexcept override {
    return Give(value, [] { return Text(ktformula::UserLocale().thousands_separator); });
  }

 private:
  static std::u16string Text(char16_t character) { return std::u16string(1, character); }
};

}  // namespace

ComPtr<IKtFramework> ToObject(const Ref<ktformula::HostFramework>& framework) {
  return FindOrMake<FrameworkObject, IKtFramework>(framework);
}
ComPtr<IKtHostService> ToObject(const Ref<ktformula::HostService>& service) {
  return FindOrMake<HostServiceObject, IKtHostService>(service);
}
ComPtr<IKtConfigurationHelper> ToObject(const Ref<ktformula::ConfigurationHelper>& helper) {
  return FindOrMake<ConfigurationHelperObject, IKtConfigurationHelper>(helper);
}

}  // namespace ktcom
