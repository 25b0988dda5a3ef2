// The host's services where there are no files, no database and no windows.
#pragma once

#include <string>
#include <string_view>

#include "host/framework.h"
#include "notebook/tables/unit_catalogue.h"

namespace ktnotebook {

// A new listener or result format of the component's class with this program identifier, empty for
// any other.
ktformula::Ref<ktformula::IKtFieldListener> CreateOwnListener(
    std::u16string_view program_identifier);

// Whether it is one of a result format's.
bool IsResultFormat(std::u16string_view program_identifier);

// Has units and creates listeners; the rest raises error 91, and messages are dropped.
class PlainFramework final : public ktformula::HostFramework {
 public:
  explicit PlainFramework(ktformula::Ref<NotebookUnitCatalogue> units) : units_(std::move(units)) {}

  const ktformula::Ref<NotebookUnitCatalogue>& OwnUnits() const noexcept { return units_; }

  std::u16string TypeName() const override { return u"Framework"; }
  ktformula::Ref<ktformula::UnitCatalogue> Units() override { return units_; }
  ktformula::Ref<ktformula::IKtFieldListener> CreateListener(
      std::u16string_view program_identifier) override {
    return CreateOwnListener(program_identifier);
  }
  ktformula::Ref<ktformula::XmlDocument> CreateXmlDocument() override;
  ktformula::Ref<ktformula::DatabaseHelper> Database() override;
  ktformula::Ref<ktformula::ConfigurationHelper> Configuration() override;
  void RequestSave(ktformula::IKtObject&, std::u16string_view) override {}
  void ShowMessage(std::u16string_view) override {}
  void ShowWarning(std::u16string_view, std::u16string_view) override {}
  ktformula::Ref<ktformula::DialogForm> CreateDialogForm() override;
  std::u16string ApplicationPath() override { return u""; }

 private:
  ktformula::Ref<NotebookUnitCatalogue> units_;
};

}  // namespace ktnotebook
