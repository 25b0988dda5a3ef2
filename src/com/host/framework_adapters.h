// Adapters of the host application's services.
#pragma once

#include "KtFramework9.h"

#include "com/host/foreign.h"
#include "host/framework.h"

namespace ktcom {

class ForeignHostService final : public ForeignObject<ktformula::HostService, IKtHostService> {
 public:
  using ForeignObject::ForeignObject;
  void RefreshObject(std::u16string_view key) override;
};

class ForeignConfigurationHelper final
    : public ForeignObject<ktformula::ConfigurationHelper, IKtConfigurationHelper> {
 public:
  using ForeignObject::ForeignObject;
  void Store(ktformula::IKtConfigurationObject& object, ktformula::HostObject& target) override;
};

// XML documents, the dialog and message boxes are the component's own.
class ForeignFramework final : public ForeignObject<ktformula::HostFramework, IKtFramework> {
 public:
  using ForeignObject::ForeignObject;
  ktformula::Ref<ktformula::UnitCatalogue> Units() override;
  ktformula::Ref<ktformula::IKtFieldListener> CreateListener(
      std::u16string_view program_identifier) override;
  ktformula::Ref<ktformula::XmlDocument> CreateXmlDocument() override;
  ktformula::Ref<ktformula::DatabaseHelper> Database() override;
  ktformula::Ref<ktformula::ConfigurationHelper> Configuration() override;
  void RequestSave(ktformula::IKtObject& object, std::u16string_view text) override;
  void ShowMessage(std::u16string_view text) override;
  void ShowWarning(std::u16string_view title, std::u16string_view text) override;
  ktformula::Ref<ktformula::DialogForm> CreateDialogForm() override;
  std::u16string ApplicationPath() override;
};

}  // namespace ktcom
