#include "com/host/framework_adapters.h"

#include <algorithm>
#include <array>

#include "com/base/object.h"
#include "com/dialog/message_box.h"
#include "com/dialog/win32_dialog_form.h"
#include "com/host/database_adapters.h"
#include "com/host/listener_adapters.h"
#include "com/host/notebook_adapters.h"
#include "com/host/xml_adapters.h"
#include "listener/field_listener.h"

namespace ktcom {

using ktformula::RaisedError;
using ktformula::Ref;

namespace {

// How hosts say that they know no such class: automation's "can't create object", the system's
// "class not registered" and "invalid class string".
constexpr std::array<std::int32_t, 3> kUnknownClassErrors{429, REGDB_E_CLASSNOTREG,
                                                          CO_E_CLASSSTRING};

bool IsUnknownClass(std::int32_t error) {
  return std::find(kUnknownClassErrors.begin(), kUnknownClassErrors.end(), error) !=
         kUnknownClassErrors.end();
}

}  // namespace

void ForeignHostService::RefreshObject(std::u16string_view key) {
  Do<&IKtHostService::RefreshObject>(u"RefreshObject", key);
}

void ForeignConfigurationHelper::Store(ktformula::IKtConfigurationObject& object,
                                       ktformula::HostObject& target) {
  Do<&IKtConfigurationHelper::Store>(u"Store", ToDispatch(object).Get(), ToDispatch(target).Get());
}

Ref<ktformula::UnitCatalogue> ForeignFramework::Units() {
  return WrapRequired<ForeignUnitCatalogue, &IKtFramework::get_Units>(u"Units");
}

Ref<ktformula::IKtFieldListener> ForeignFramework::CreateListener(
    std::u16string_view program_identifier) {
  ComPtr<IDispatch> created;
  try {
    created =
        Get<ComPtr<IDispatch>, &IKtFramework::CreateObject>(u"CreateObject", program_identifier);
  } catch (const RaisedError& error) {
    if (!IsUnknownClass(error.Number())) throw;
  }
  auto* const own = NativeOf<ktformula::FieldListener>(created.Get());
  return own != nullptr ? Ref<ktformula::IKtFieldListener>(own) : AdaptListener(created.Get());
}

Ref<ktformula::XmlDocument> ForeignFramework::CreateXmlDocument() {
  return NewXmlDocument();
}

Ref<ktformula::DatabaseHelper> ForeignFramework::Database() {
  return WrapRequired<ForeignDatabaseHelper, &IKtFramework::get_Database>(u"Database");
}

Ref<ktformula::ConfigurationHelper> ForeignFramework::Configuration() {
  return WrapRequired<ForeignConfigurationHelper, &IKtFramework::get_Configuration>(
      u"Configuration");
}

void ForeignFramework::RequestSave(ktformula::IKtObject& object, std::u16string_view text) {
  Do<&IKtFramework::RequestSave>(u"RequestSave", ToDispatch(object).Get(), text);
}

void ForeignFramework::ShowMessage(std::u16string_view text) {
  ktcom::ShowMessage(text);
}

void ForeignFramework::ShowWarning(std::u16string_view title, std::u16string_view text) {
  ktcom::ShowWarning(title, text);
}

Ref<ktformula::DialogForm> ForeignFramework::CreateDialogForm() {
  return MakeWin32DialogForm();
}

std::u16string ForeignFramework::ApplicationPath() {
  return Text<&IKtFramework::get_ApplicationPath>(u"ApplicationPath");
}

}  // namespace ktcom
