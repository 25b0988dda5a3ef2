// A host framework that records what it is asked for.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/framework.h"
#include "test_host/units.h"
#include "test_host/utf8.h"
#include "test_host/xml.h"

namespace ktformula {

class TestFramework : public HostFramework {
 public:
  std::vector<std::string> calls;
  // What CreateListener does; gives nothing by default.
  std::function<Ref<IKtFieldListener>(std::u16string_view)> create_listener;
  Ref<DatabaseHelper> database_helper;
  Ref<DialogForm> dialog_form;

  std::u16string TypeName() const override { return u"TestFramework"; }
  Ref<UnitCatalogue> Units() override { return units_; }
  Ref<IKtFieldListener> CreateListener(std::u16string_view identifier) override {
    calls.push_back("create " + ToUtf8(identifier));
    return create_listener ? create_listener(identifier) : nullptr;
  }
  Ref<XmlDocument> CreateXmlDocument() override { return MakeRef<TestXmlDocument>(); }
  Ref<DatabaseHelper> Database() override { return database_helper; }
  Ref<ConfigurationHelper> Configuration() override { return MakeRef<Helper>(*this); }
  void RequestSave(IKtObject&, std::u16string_view text) override {
    calls.push_back("save: " + ToUtf8(text));
  }
  void ShowMessage(std::u16string_view text) override { calls.push_back("show: " + ToUtf8(text)); }
  void ShowWarning(std::u16string_view title, std::u16string_view text) override {
    calls.push_back("warn: " + ToUtf8(title) + ": " + ToUtf8(text));
  }
  Ref<DialogForm> CreateDialogForm() override { return dialog_form; }
  std::u16string ApplicationPath() override { return u"/bin/host"; }

 private:
  class Helper : public ConfigurationHelper {
   public:
    explicit Helper(TestFramework& framework) : framework_(&framework) {}
    std::u16string TypeName() const override { return u"ConfigurationHelper"; }
    void Store(IKtConfigurationObject&, HostObject& target) override {
      framework_->calls.push_back("store for " + ToUtf8(target.TypeName()));
    }

   private:
    Ref<TestFramework> framework_;
  };

  Ref<TestUnits> units_ = MakeRef<TestUnits>();
};

}  // namespace ktformula
