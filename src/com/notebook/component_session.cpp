#include "com/notebook/component_session.h"

#include <array>
#include <string>
#include <string_view>

#include "com/base/errors.h"
#include "com/base/system_object.h"
#include "com/host/foreign.h"
#include "com/host/listener_adapters.h"
#include "com/notebook/database_objects.h"
#include "com/notebook/framework_objects.h"
#include "com/notebook/notebook_objects.h"
#include "listener/ikt_formula_listener.h"
#include "notebook/files/framework.h"
#include "notebook/files/notebook_error.h"

namespace ktcom {

using ktformula::HostObject;
using ktformula::Ref;

namespace {

template <typename EngineInterface>
ComPtr<IDispatch> TryMake(HostObject& object) {
  auto* const native = dynamic_cast<EngineInterface*>(&object);
  if (native == nullptr) return nullptr;
  return ToObject(Ref<EngineInterface>(native)).Get();
}

// Every kind of object that reaches a listener, the most frequent ones first.
constexpr std::array kMakers{
    &TryMake<ktformula::NotebookObject>, &TryMake<ktformula::GridControl>,
    &TryMake<ktformula::ELNProperty>,    &TryMake<ktformula::NotificationSource>,
    &TryMake<ktformula::HostFramework>,  &TryMake<ktformula::OwnerCollection>,
    &TryMake<ktformula::HostService>,    &TryMake<ktformula::Field>,
    &TryMake<ktformula::RowSet>,         &TryMake<ktformula::DatabaseAccess>,
    &TryMake<ktformula::DatabaseHelper>, &TryMake<ktformula::ConfigurationHelper>,
    &TryMake<ktformula::PropertyScope>,  &TryMake<ktformula::ControlHolder>,
    &TryMake<ktformula::ELNProperties>,  &TryMake<ktformula::Unit>,
    &TryMake<ktformula::UnitCatalogue>,
};

ComPtr<IDispatch> MakeNotebookObject(HostObject& object) {
  for (const auto make : kMakers) {
    if (ComPtr<IDispatch> made = make(object); made != nullptr) return made;
  }
  return nullptr;
}

ComPtr<IUnknown> TryCreate(std::u16string_view program_identifier) {
  return TryCreateObject(program_identifier, IID_IDispatch);
}

Ref<ktformula::IKtFieldListener> CreateRegistered(std::u16string_view program_identifier) {
  const ComPtr<IUnknown> created = TryCreate(program_identifier);
  if (created == nullptr && TryCreate(ktformula::kFormulaListenerIdentifier) == nullptr) {
    throw ktnotebook::NotebookError("the component is not registered for programs of " +
                                    std::to_string(8 * sizeof(void*)) +
                                    " bits; register it with: regsvr32 KtFormula9.dll");
  }
  return AdaptListener(static_cast<IDispatch*>(created.Get()));
}

}  // namespace

ComponentSession::ComponentSession() {
  Check(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
  UseObjectMaker(&MakeNotebookObject);
  ktnotebook::NotebookFramework::UseClasses(&CreateRegistered);
}

ComponentSession::~ComponentSession() {
  ktnotebook::NotebookFramework::UseClasses({});
  UseObjectMaker(nullptr);
  CoUninitialize();
}

}  // namespace ktcom
