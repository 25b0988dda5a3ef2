// A host framework with the notebook's units and XML documents that records what it is asked for.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/framework.h"
#include "notebook/unit_catalogue.h"
#include "notebook/xml_document.h"
#include "values/describe.h"

namespace ktformula {

class FakeFramework : public HostFramework {
 public:
  std::vector<std::string> calls;
  // What CreateListener does; gives nothing by default.
  std::function<Ref<IKtFieldListener>(std::u16string_view)> create_listener;
  Ref<DatabaseHelper> database_helper;
  Ref<DialogForm> dialog_form;

  std::u16string TypeName() const override { return u"FakeFramework"; }
  Ref<UnitCatalogue> Units() override { return units_; }
  Ref<IKtFieldListener> CreateListener(std::u16string_view identifier) override {
    calls.push_back("create " + Narrow(identifier));
    return create_listener ? create_listener(identifier) : nullptr;
  }
  Ref<XmlDocument> CreateXmlDocument() override {
    return MakeRef<ktnotebook::NotebookXmlDocument>();
  }
  Ref<DatabaseHelper> Database() override { return database_helper; }
  Ref<ConfigurationHelper> Configuration() override { return MakeRef<Helper>(*this); }
  void RequestSave(IKtObject&, std::u16string_view text) override {
    calls.push_back("save: " + Narrow(text));
  }
  void ShowMessage(std::u16string_view text) override { calls.push_back("show: " + Narrow(text)); }
  void ShowWarning(std::u16string_view title, std::u16string_view text) override {
    calls.push_back("warn: " + Narrow(title) + ": " + Narrow(text));
  }
  Ref<DialogForm> CreateDialogForm() override { return dialog_form; }
  std::u16string ApplicationPath() override { return u"/bin/host"; }

 private:
  class Helper : public ConfigurationHelper {
   public:
    explicit Helper(FakeFramework& framework) : framework_(&framework) {}
    std::u16string TypeName() const override { return u"ConfigurationHelper"; }
    void Store(IKtConfigurationObject&, HostObject& target) override {
      framework_->calls.push_back("store for " + Narrow(target.TypeName()));
    }

   private:
    Ref<FakeFramework> framework_;
  };

  Ref<ktnotebook::NotebookUnitCatalogue> units_ = MakeRef<ktnotebook::NotebookUnitCatalogue>();
};

// The root element of an XML text; it keeps its document alive.
inline Ref<XmlElement> ParseXml(std::u16string_view text) {
  const auto document = MakeRef<ktnotebook::NotebookXmlDocument>();
  document->LoadText(text);
  return document->Root();
}

}  // namespace ktformula
