#include "listener/formula_listener.h"

#include <optional>
#include <utility>

#include "formats/display_pattern.h"
#include "listener/configuration_xml.h"
#include "listener/error_message_box.h"
#include "listener/frm_formula_listener.h"
#include "listener/pass.h"
#include "listener/result_formats.h"
#include "listener/result_writer.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktformula {

namespace {

constexpr std::u16string_view kEditErrorTitle = u"Error Setting Field Listener Properties";

std::optional<FormulaEntry> EntryOf(const PropertyFormulas& formulas, std::u16string_view key) {
  const std::shared_ptr<PropertyFormula> known = formulas.Find(key);
  if (known == nullptr) return std::nullopt;
  return FormulaEntry{known->Formula, known->StringFormat};
}

// At a listener's end, which a host's table can not stop.
void Forget(PropertyFormulas& formulas) noexcept {
  try {
    formulas.Clear();
  } catch (const RaisedError&) {  // NOLINT(bugprone-empty-catch)
  }
}

}  // namespace

// A pass that formulas see through the listener as long as this lives.
class FormulaListener::PassUnderWay {
 public:
  PassUnderWay(FormulaListener& listener, Ref<Table> table, Plans* plans = nullptr)
      : listener_(listener),
        keep_alive_(listener.KeepAlive()),
        pass_(listener.configuration_, listener.registry_, listener, std::move(table), plans),
        outer_(std::exchange(listener.pass_, &pass_)) {}
  PassUnderWay(const PassUnderWay&) = delete;
  PassUnderWay& operator=(const PassUnderWay&) = delete;
  ~PassUnderWay() { listener_.pass_ = outer_; }

  Pass* operator->() noexcept { return &pass_; }

 private:
  FormulaListener& listener_;
  ForeignCall foreign_call_;
  Ref<HostObject> keep_alive_;
  Pass pass_;
  Pass* outer_;
};

FormulaListener::FormulaListener(std::span<const FunctionClass> functions,
                                 FunctionRegistry registry, FormulaConfiguration configuration)
    : FieldListener(u"FormulaListener"),
      function_classes_(functions),
      registry_(std::move(registry)),
      configuration_(std::move(configuration)) {}

void FormulaListener::OnInitialize() {
  registry_.RegisterAll(function_classes_, *this);
}

void FormulaListener::OnTerminate() {
  plans_.Forget();
  registry_.Terminate();
  Forget(configuration_.property_formulas);
  Forget(configuration_.definitions);
}

void FormulaListener::EditProperties() {
  // The host may end this listener while the dialog is shown.
  const Ref<HostObject> keep_alive = KeepAlive();
  const Ref<HostFramework> framework = FrameworkIfAny();
  // Outlives the message about an error, and unloads its form.
  std::optional<frmFormulaListener> dialog;
  try {
    ShowDialog(dialog);
  } catch (const RaisedError& error) {
    ShowErrorMessageBox(framework.get(), kEditErrorTitle, error);
  }
}

void FormulaListener::ShowDialog(std::optional<frmFormulaListener>& dialog) {
  const Ref<HostFramework> framework(&Framework());
  Ref<DialogForm> form = framework->CreateDialogForm();
  if (!form) {
    framework->ShowMessage(OwnDescription() +
                           u" cannot be edited: this notebook has no windows for it");
    return;
  }
  dialog.emplace(std::move(form));
  dialog->Load(configuration_.property_formulas, configuration_.definitions,
               *Owner().WatchedProperties());
  dialog->ShowModal();
  if (dialog->Changed()) framework->RequestSave(*this, u"Saving changes to " + Description(0));
}

void FormulaListener::Recalculate(NotificationSource& source, HostObject*) {
  // The host may end this listener from within a call.
  const Ref<HostObject> keep_alive = KeepAlive();
  const Ref<HostFramework> framework(&Framework());
  const Ref<OwnerCollection> owner(&Owner());
  const Ref<IKtFormulaFormat> format = CreateFormulaFormat();
  const Ref<Form> form = source.FormObject();
  const Ref<Field> field = owner->WatchedField();
  const Ref<ControlHolder> holder = form->HolderOf(*field);
  // Asked for in each pass, so that a host may build on it, and not used here.
  holder->Properties();
  const Ref<Table> table = field->AsTable();
  // A format of the host may change the notebook with each number that it shows.
  PassUnderWay pass(*this, table, format->IsPure() ? &plans_ : nullptr);
  if (!table) return;
  const Ref<GridControl> grid = holder->Object();
  ResultWriter writer(*owner, *framework, *format, *grid);
  pass->Recalculate(writer);
}

void FormulaListener::EvaluateInCell(std::u16string_view formula, TableCell& cell,
                                     CellValue& target) {
  InOnePass([&](const EvaluateTree& evaluate) { evaluate(*MakeTokenTree(formula), cell, target); });
}

void FormulaListener::InOnePass(const std::function<void(const EvaluateTree&)>& work) {
  PassUnderWay pass(*this, Owner().WatchedField()->AsTable());
  work([&pass](const TokenTree& tree, TableCell& cell, CellValue& target) {
    pass->Evaluate(tree, cell.Property().get(), &cell, target);
  });
}

Reads FormulaListener::ReadsOf(const TableProperty& column) {
  plans_.Renew(*column.OwningTable());
  const auto formula =
      configuration_.property_formulas.Find(ToDecimalText(column.Property()->Key()));
  const auto plan = formula != nullptr ? plans_.Of(column, *formula) : nullptr;
  if (plan != nullptr) return plan->FormulaReads();
  Reads unknown;
  unknown.is_unknown = true;
  return unknown;
}

void FormulaListener::ShowInCell(const CellValue& value, TableCell& cell, GridControl& grid) const {
  const Ref<ktformula::ELNProperty> property = cell.Property();
  const std::optional<FormulaEntry> entry = FormulaOf(property->Key());
  const Ref<IKtFormulaFormat> format = CreateFormulaFormat();
  ResultWriter writer(Owner(), Framework(), *format, grid);
  writer.Write(cell, value, property->NumberFormatting(), entry ? entry->string_format : u"");
}

std::u16string FormulaListener::SigDigFormat(double gNumberToFormat, std::int16_t NumSigDig,
                                             std::u16string_view IUnitString,
                                             const ELNProperty& Property) const {
  return DisplayPattern(gNumberToFormat, NumSigDig, IUnitString, Property, *Framework().Units());
}

std::shared_ptr<CellValue> FormulaListener::DefinedValue(std::u16string_view Name) {
  if (pass_ != nullptr) return pass_->DefinedValue(Name);
  return PassUnderWay(*this, nullptr)->DefinedValue(Name);
}

std::shared_ptr<const TokenTree> FormulaListener::MakeTokenTree(std::u16string_view formula) const {
  return ktformula::MakeTokenTree(formula, registry_);
}

Ref<IKtFormulaFormat> FormulaListener::CreateFormulaFormat() const {
  Ref<IKtFieldListener> created;
  if (!result_format_.empty()) created = Framework().CreateListener(result_format_);
  if (dynamic_cast<IKtFormulaFormat*>(created.get()) == nullptr) {
    created = MakeRef<DefaultFormulaFormat>();
  }
  created->Initialize(Ref<HostFramework>(&Framework()), Ref<OwnerCollection>(&Owner()), Service());
  return Ref<IKtFormulaFormat>(dynamic_cast<IKtFormulaFormat*>(created.get()));
}

std::optional<FormulaEntry> FormulaListener::FormulaOf(std::int32_t property_key) const {
  return EntryOf(configuration_.property_formulas, ToDecimalText(property_key));
}

std::optional<FormulaEntry> FormulaListener::DefinitionOf(std::u16string_view name) const {
  return EntryOf(configuration_.definitions, name);
}

void FormulaListener::SetPropertyFormula(std::int32_t property_key, std::u16string_view formula,
                                         std::u16string_view string_format) {
  configuration_.property_formulas.PutOrRemove(ToDecimalText(property_key), formula, string_format);
}

void FormulaListener::SetDefinition(std::u16string_view name, std::u16string_view formula) {
  configuration_.definitions.PutOrRemove(name, formula, u"");
}

void FormulaListener::WriteConfiguration(XmlElement& root, ColumnReference columns) const {
  ColumnNameOfKey name_of_key;
  if (columns == ColumnReference::kByName) {
    name_of_key = [this](std::u16string_view key) { return PropertyNameOfKey(key); };
  }
  WriteConfigurationXml(configuration_, root, name_of_key);
}

void FormulaListener::ReadConfiguration(XmlElement& root, ReadMode mode) {
  // What may fail comes first.
  const ConfigurationTexts texts = ReadConfigurationXml(
      root, [this](std::u16string_view name) { return PropertyKeyOfName(name); });
  if (mode == ReadMode::kReplace) {
    configuration_.property_formulas.Clear();
    configuration_.definitions.Clear();
  }
  configuration_.property_formulas.PutAll(texts.property_formulas);
  configuration_.definitions.PutAll(texts.definitions);
}

std::u16string FormulaListener::PropertyKeyOfName(std::u16string_view name) const {
  const Ref<ELNProperty> property = Owner().WatchedProperties()->Find(name);
  if (!property) {
    Raise(u"FormulaListener.SetData", u"the property name \"" + std::u16string(name) +
                                          u"\" is not recognized in the " +
                                          Owner().WatchedField()->Description());
  }
  return ToDecimalText(property->Key());
}

std::u16string FormulaListener::PropertyNameOfKey(std::u16string_view key) const {
  const Ref<ELNProperties> properties = Owner().WatchedProperties();
  const int count = properties->Count();
  for (int i = 1; i <= count; ++i) {
    const Ref<ELNProperty> property = properties->Item(i);
    if (ToDecimalText(property->Key()) == key) return property->Name();
  }
  Raise(u"FormulaListener.IKtObject_Export", u"the property key \"" + std::u16string(key) +
                                                 u"\" is not recognized in the " +
                                                 Owner().WatchedField()->Description());
}

}  // namespace ktformula
