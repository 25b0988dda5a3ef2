// What every field listener shows to a host, over the engine's object.
#pragma once

#include <utility>

#include "KtFormula9.h"
#include "KtFramework9.h"

#include "com/base/object.h"
#include "com/base/shells.h"
#include "com/component/evaluation_stack.h"
#include "com/host/database_adapters.h"
#include "com/host/framework_adapters.h"
#include "com/host/notebook_adapters.h"
#include "com/host/user_locale.h"
#include "com/host/xml_adapters.h"
#include "listener/field_listener.h"

namespace ktcom {

// What a configuration is loaded from: a row set, an element, or what is neither. Empty for what is
// no object.
ktformula::Ref<ktformula::HostObject> AdaptListenerData(const VARIANT& value);

// An object of whatever kind, which is only handed on; empty for Nothing.
inline ktformula::Ref<ktformula::HostObject> AnyObject(IDispatch* object) {
  return Adapt<ForeignOtherObject>(object);
}

// Raises error 91 for Nothing.
ktformula::Ref<ktformula::XmlNode> RequiredNode(IUnknown* node);

// The faces over an engine's listener of class `Listener`; `Default` is the interface by which
// scripts know the class.
template <typename Derived, typename Default, typename Listener>
class ListenerFaces : public Object<Derived, Default, IKtFieldListener, IKtObject,
                                    IKtConfigurationObject, IKtListenerData> {
 public:
  void* STDMETHODCALLTYPE Native(const std::type_info& type) noexcept override {
    return type == typeid(ktformula::FieldListener)
               ? static_cast<ktformula::FieldListener*>(listener_.get())
               : nullptr;
  }

  // IKtFieldListener
  HRESULT STDMETHODCALLTYPE Initialize(IDispatch* framework, IDispatch* owner,
                                       IDispatch* service) noexcept final {
    return this->Answer([&] {
      // Faulty arguments are the member's errors too.
      const auto adapted = ktformula::WithCallPath(Engine().InitializeMember(), [&] {
        UseLocaleOf(framework);
        return std::pair(AdaptRequired<ForeignFramework>(framework),
                         AdaptRequired<ForeignOwnerCollection>(owner));
      });
      Engine().Initialize(adapted.first, adapted.second, Adapt<ForeignHostService>(service));
    });
  }
  HRESULT STDMETHODCALLTYPE Create(IDispatch* field, IDispatch* database, BSTR name,
                                   BSTR programIdentifier, SHORT position) noexcept final {
    return this->Answer([&] {
      Engine().Create(*AdaptRequired<ForeignField>(field),
                      *AdaptRequired<ForeignDatabaseAccess>(database), View(name),
                      View(programIdentifier), position);
    });
  }
  HRESULT STDMETHODCALLTYPE RequestSave() noexcept final {
    return this->Answer([&] { Engine().RequestSave(); });
  }
  HRESULT STDMETHODCALLTYPE Terminate() noexcept final {
    return this->Answer([&] { Engine().Terminate(); });
  }
  HRESULT STDMETHODCALLTYPE EditProperties() noexcept final {
    return this->Answer([&] { Engine().EditProperties(); });
  }
  // Also IKtConfigurationObject's.
  HRESULT STDMETHODCALLTYPE ConfigurationObject(IDispatch** object) noexcept final {
    return this->Give(
        object, [&] { return ComPtr<IDispatch>(static_cast<IKtConfigurationObject*>(this)); });
  }
  // Also IKtObject's.
  HRESULT STDMETHODCALLTYPE Object(IDispatch** object) noexcept final {
    return this->Give(object, [&] { return ComPtr<IDispatch>(Self()); });
  }
  HRESULT STDMETHODCALLTYPE get_Key(LONG* value) noexcept final {
    return this->Give(value, [&] { return LONG{Engine().Key()}; });
  }
  HRESULT STDMETHODCALLTYPE put_Key(LONG value) noexcept final {
    return this->Answer([&] { Engine().SetKey(value); });
  }
  HRESULT STDMETHODCALLTYPE get_Name(BSTR* value) noexcept final {
    return this->Give(value, [&] { return Engine().Name(); });
  }
  HRESULT STDMETHODCALLTYPE put_Name(BSTR value) noexcept final {
    return this->Answer([&] { Engine().SetName(View(value)); });
  }
  HRESULT STDMETHODCALLTYPE get_ProgramIdentifier(BSTR* value) noexcept final {
    return this->Give(value, [&] { return Engine().ProgramIdentifier(); });
  }
  HRESULT STDMETHODCALLTYPE put_ProgramIdentifier(BSTR value) noexcept final {
    return this->Answer([&] { Engine().SetProgramIdentifier(View(value)); });
  }
  HRESULT STDMETHODCALLTYPE get_Position(SHORT* value) noexcept final {
    return this->Give(value, [&] { return Engine().Position(); });
  }
  HRESULT STDMETHODCALLTYPE put_Position(SHORT value) noexcept final {
    return this->Answer([&] { Engine().SetPosition(value); });
  }
  HRESULT STDMETHODCALLTYPE Notification16(IDispatch*, IDispatch*) noexcept final { return S_OK; }
  HRESULT STDMETHODCALLTYPE Notification17(IDispatch*, IDispatch*) noexcept final { return S_OK; }
  HRESULT STDMETHODCALLTYPE Notification18(IDispatch*, IDispatch*) noexcept final { return S_OK; }
  HRESULT STDMETHODCALLTYPE Notification19(IDispatch*, IDispatch*) noexcept final { return S_OK; }
  HRESULT STDMETHODCALLTYPE Notification20(IDispatch*, IDispatch*) noexcept final { return S_OK; }
  HRESULT STDMETHODCALLTYPE TableNotification(IDispatch* source, IDispatch* detail) noexcept final {
    return this->Answer([&] {
      const EvaluationCall call;
      Engine().TableNotification(*AdaptRequired<ForeignNotificationSource>(source),
                                 AnyObject(detail).get());
    });
  }

  // IKtObject
  HRESULT STDMETHODCALLTYPE Description(LONG flag, BSTR* text) noexcept final {
    return this->Give(text, [&] { return Engine().Description(flag); });
  }
  HRESULT STDMETHODCALLTYPE Save(IDispatch* database) noexcept final {
    return this->Answer([&] {
      const auto adapted = ktformula::WithCallPath(ktformula::FieldListener::kSaveMember, [&] {
        return AdaptRequired<ForeignDatabaseAccess>(database);
      });
      Engine().Save(*adapted);
    });
  }
  HRESULT STDMETHODCALLTYPE Export(IUnknown* node, BSTR mode) noexcept final {
    return this->Answer([&] { Engine().Export(*RequiredNode(node), View(mode)); });
  }
  HRESULT STDMETHODCALLTYPE ReferenceElement(IUnknown* node, IDispatch** element) noexcept final {
    return this->Give(element, [&] {
      return ComPtr<IDispatch>(ElementOf(*Engine().ReferenceElement(*RequiredNode(node))).Get());
    });
  }
  HRESULT STDMETHODCALLTYPE ResolveType(BSTR typeName, IDispatch* object) noexcept final {
    return this->Answer([&] { Engine().ResolveType(View(typeName), AnyObject(object).get()); });
  }
  HRESULT STDMETHODCALLTYPE ResolveObject(IDispatch* object, BSTR typeName) noexcept final {
    return this->Answer([&] { Engine().ResolveObject(AnyObject(object).get(), View(typeName)); });
  }
  HRESULT STDMETHODCALLTYPE FindObject(BSTR typeName, BSTR name, IDispatch* object,
                                       IDispatch** found) noexcept final {
    return this->Give(found, [&] {
      return ToDispatch(
          Engine().FindObject(View(typeName), View(name), AnyObject(object).get()).get());
    });
  }
  HRESULT STDMETHODCALLTYPE Refresh() noexcept final {
    return this->Answer([&] { Engine().Refresh(); });
  }
  HRESULT STDMETHODCALLTYPE Attach(IDispatch* object) noexcept final {
    return this->Answer([&] { Engine().Attach(AnyObject(object).get()); });
  }
  HRESULT STDMETHODCALLTYPE Request(LONG request, BSTR text, IDispatch* object,
                                    IDispatch** answer) noexcept final {
    return this->Give(answer, [&] {
      return ToDispatch(Engine().Request(request, View(text), AnyObject(object).get()).get());
    });
  }
  HRESULT STDMETHODCALLTYPE Inform(LONG event, BSTR text) noexcept final {
    return this->Answer([&] { Engine().Inform(event, View(text)); });
  }
  HRESULT STDMETHODCALLTYPE Execute(IUnknown* command, IDispatch* object,
                                    IDispatch** answer) noexcept final {
    return this->Give(answer, [&] {
      return ToDispatch(Engine().Execute(*RequiredNode(command), AnyObject(object).get()).get());
    });
  }

  // IKtConfigurationObject
  HRESULT STDMETHODCALLTYPE Store(IDispatch* target) noexcept final {
    return this->Answer([&] {
      // Only whoever stores needs the target.
      if (!Engine().IsSaved()) Engine().Store(*AdaptRequired<ForeignOtherObject>(target));
    });
  }
  HRESULT STDMETHODCALLTYPE MarkStored(IDispatch* target) noexcept final {
    return this->Answer([&] { Engine().MarkStored(AnyObject(target).get()); });
  }

  // IKtListenerData
  HRESULT STDMETHODCALLTYPE SetData(BSTR dataType, VARIANT dataValue) noexcept final {
    return this->Answer([&] {
      const auto adapted = ktformula::WithCallPath(ktformula::FieldListener::kSetDataMember,
                                                   [&] { return AdaptListenerData(dataValue); });
      Engine().SetData(View(dataType), adapted.get());
    });
  }

 protected:
  explicit ListenerFaces(ktformula::Ref<Listener> listener) : listener_(std::move(listener)) {
    AddShell(listener_->Identity(), static_cast<Default*>(this));
  }
  ~ListenerFaces() { RemoveShell(listener_->Identity()); }

  Listener& Engine() const noexcept { return *listener_; }

 private:
  IDispatch* Self() noexcept { return static_cast<Default*>(this); }

  ktformula::Ref<Listener> listener_;
};

}  // namespace ktcom
