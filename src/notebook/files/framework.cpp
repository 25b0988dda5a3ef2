#include "notebook/files/framework.h"

#include <iostream>

#include "notebook/files/listener_face.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/operating_system.h"
#include "notebook/files/utf.h"
#include "notebook/files/xml_document.h"
#include "notebook/tables/model.h"
#include "notebook/tables/plain_framework.h"
#include "values/raised_error.h"

namespace ktnotebook {

using ktformula::MakeRef;
using ktformula::Ref;

namespace {

ListenerClasses& UsedClasses() {
  static ListenerClasses classes = &CreateOwnListener;
  return classes;
}

// Stores a listener's row and tells the listener so.
class ListenerStore final : public ktformula::ConfigurationHelper {
 public:
  explicit ListenerStore(NotebookFramework& framework) : framework_(&framework) {}

  std::u16string TypeName() const override { return u"ConfigurationHelper"; }
  void Store(ktformula::IKtConfigurationObject& object, ktformula::HostObject& target) override {
    auto* const stored = dynamic_cast<ktformula::IKtObject*>(&object);
    if (stored != nullptr) framework_->RequestSave(*stored, u"");
    object.MarkStored(&target);
  }

 private:
  Ref<NotebookFramework> framework_;
};

}  // namespace

NotebookFramework::NotebookFramework() : units_(MakeRef<NotebookUnitCatalogue>()) {}

void NotebookFramework::UseDatabase(Ref<ktformula::DatabaseAccess> access,
                                    Ref<ktformula::DatabaseHelper> helper) {
  access_ = std::move(access);
  helper_ = std::move(helper);
}

void NotebookFramework::UseClasses(ListenerClasses classes) {
  UsedClasses() = classes ? std::move(classes) : ListenerClasses(&CreateOwnListener);
}

bool NotebookFramework::HasOwnClasses() {
  auto* const* const used = UsedClasses().target<decltype(&CreateOwnListener)>();
  return used != nullptr && *used == &CreateOwnListener;
}

Ref<ktformula::IKtFieldListener> NotebookFramework::NeedListener(
    std::u16string_view program_identifier) {
  Ref<ktformula::IKtFieldListener> listener = CreateListener(program_identifier);
  if (!listener) {
    throw NotebookError("the program identifier \"" + ToUtf8(program_identifier) +
                        "\" is not known");
  }
  return listener;
}

Ref<ktformula::IKtFieldListener> NotebookFramework::NewFormulaListener(NotebookTable& table) {
  Ref<ktformula::IKtFieldListener> listener = NeedListener(ktformula::kFormulaListenerIdentifier);
  // A listener of another module may ask for it.
  const ktformula::LocaleScope kept_in(table.Parent().OwnLocale().separators);
  listener->Initialize(Ref<NotebookFramework>(this), table.Parent().OwnerOf(table.OwnField()),
                       nullptr);
  listener->SetProgramIdentifier(ktformula::kFormulaListenerIdentifier);
  listener->SetName(u"Formulas");
  listener->SetPosition(1);
  return listener;
}

ktformula::IKtFormulaListener& NotebookFramework::AddFormulaListener(NotebookTable& table) {
  const Ref<ktformula::IKtFieldListener> listener = NewFormulaListener(table);
  table.AddListener(listener);
  return FaceOf<ktformula::IKtFormulaListener>(*listener);
}

ktformula::IKtFormulaListener* NotebookFramework::FindFormulaListener(
    const NotebookTable& table,
    const std::function<bool(const ktformula::IKtFormulaListener&)>& is_wanted) {
  ktformula::IKtFormulaListener* first = nullptr;
  for (const Ref<ktformula::IKtFieldListener>& listener : table.Listeners()) {
    auto* const known = dynamic_cast<ktformula::IKtFormulaListener*>(listener.get());
    if (known != nullptr && is_wanted(*known)) return known;
    if (first == nullptr) first = known;
  }
  return first;
}

ktformula::IKtFormulaListener& NotebookFramework::FormulaListenerOf(
    NotebookTable& table,
    const std::function<bool(const ktformula::IKtFormulaListener&)>& is_wanted) {
  ktformula::IKtFormulaListener* const known = FindFormulaListener(table, is_wanted);
  return known != nullptr ? *known : AddFormulaListener(table);
}

Ref<ktformula::IKtFieldListener> NotebookFramework::CreateListener(
    std::u16string_view program_identifier) {
  return UsedClasses()(program_identifier);
}

Ref<ktformula::XmlDocument> NotebookFramework::CreateXmlDocument() {
  return MakeRef<NotebookXmlDocument>();
}

Ref<ktformula::DatabaseHelper> NotebookFramework::Database() {
  if (!helper_) ktformula::Raise(ktformula::RuntimeError::kObjectNotSet);
  return helper_;
}

Ref<ktformula::ConfigurationHelper> NotebookFramework::Configuration() {
  return MakeRef<ListenerStore>(*this);
}

void NotebookFramework::RequestSave(ktformula::IKtObject& object, std::u16string_view) {
  if (access_) object.Save(*access_);
}

void NotebookFramework::ShowMessage(std::u16string_view text) {
  std::cerr << ToUtf8(text) << '\n';
}

void NotebookFramework::ShowWarning(std::u16string_view title, std::u16string_view text) {
  std::cerr << ToUtf8(title) << ": " << ToUtf8(text) << '\n';
}

Ref<ktformula::DialogForm> NotebookFramework::CreateDialogForm() {
  return create_dialog_ ? create_dialog_() : nullptr;
}

std::u16string NotebookFramework::ApplicationPath() {
  const std::filesystem::path path = ProgramPath();
  return path.empty() ? u"ktnotebook" : path.u16string();
}

}  // namespace ktnotebook
