#include "com/host/listener_adapters.h"

#include <algorithm>
#include <optional>

#include "com/base/dictionary.h"
#include "com/base/object.h"
#include "com/base/system_object.h"
#include "com/host/notebook_adapters.h"
#include "com/host/xml_adapters.h"
#include "formats/formula_format.h"
#include "host/framework.h"
#include "listener/ikt_formula_listener.h"
#include "values/cell_value.h"
#include "values/platform.h"
#include "values/text.h"

namespace ktcom {

using ktformula::HostFramework;
using ktformula::HostObject;
using ktformula::MakeRef;
using ktformula::XmlElement;
using ktformula::XmlNode;

namespace {

// The faces that every listener has.
class FieldListenerFaces : public ktformula::IKtFieldListener,
                           public ktformula::IKtObject,
                           public ktformula::IKtConfigurationObject,
                           public ktformula::IKtListenerData {};

class ForeignListener : public ForeignObject<FieldListenerFaces, ::IKtFieldListener> {
 public:
  explicit ForeignListener(IDispatch* listener)
      : ForeignObject(HostPointer<::IKtFieldListener>(listener)),
        object_(listener),
        configuration_(listener),
        data_(listener) {}
  ~ForeignListener() override { End(); }

  // IKtFieldListener
  void Initialize(Ref<HostFramework> framework, Ref<ktformula::OwnerCollection> owner,
                  Ref<ktformula::HostService> service) override {
    framework_ = framework;
    Do<&::IKtFieldListener::Initialize>(u"Initialize", ToDispatch(framework.get()).Get(),
                                        ToDispatch(owner.get()).Get(),
                                        ToDispatch(service.get()).Get());
  }
  void Create(const ktformula::Field& field, ktformula::DatabaseAccess& database,
              std::u16string_view name, std::u16string_view program_identifier,
              std::int16_t position) override {
    Do<&::IKtFieldListener::Create>(u"Create", ToDispatch(field).Get(), ToDispatch(database).Get(),
                                    name, program_identifier, position);
  }
  void RequestSave() override { Do<&::IKtFieldListener::RequestSave>(u"RequestSave"); }
  void Terminate() override {
    framework_ = nullptr;
    Do<&::IKtFieldListener::Terminate>(u"Terminate");
  }
  void EditProperties() override { Do<&::IKtFieldListener::EditProperties>(u"EditProperties"); }
  Ref<ktformula::IKtConfigurationObject> ConfigurationObject() override {
    const auto object =
        Get<ComPtr<IDispatch>, &::IKtFieldListener::ConfigurationObject>(u"ConfigurationObject");
    return object != nullptr ? MakeRef<ForeignListener>(object.Get()) : nullptr;
  }
  Ref<HostObject> Object() override {
    return AdaptObject(Get<ComPtr<IDispatch>, &::IKtFieldListener::Object>(u"Object").Get());
  }
  std::int32_t Key() const override {
    return Get<std::int32_t, &::IKtFieldListener::get_Key>(u"Key");
  }
  void SetKey(std::int32_t key) override {
    Pointer().Put<&::IKtFieldListener::put_Key>(u"Key", key);
  }
  std::u16string Name() const override { return Text<&::IKtFieldListener::get_Name>(u"Name"); }
  void SetName(std::u16string_view name) override {
    Pointer().Put<&::IKtFieldListener::put_Name>(u"Name", name);
  }
  std::u16string ProgramIdentifier() const override {
    return Text<&::IKtFieldListener::get_ProgramIdentifier>(u"ProgramIdentifier");
  }
  void SetProgramIdentifier(std::u16string_view program_identifier) override {
    Pointer().Put<&::IKtFieldListener::put_ProgramIdentifier>(u"ProgramIdentifier",
                                                              program_identifier);
  }
  std::int16_t Position() const override {
    return Get<std::int16_t, &::IKtFieldListener::get_Position>(u"Position");
  }
  void SetPosition(std::int16_t position) override {
    Pointer().Put<&::IKtFieldListener::put_Position>(u"Position", position);
  }
  void Notification16(HostObject* source, HostObject* detail) override {
    Notify<&::IKtFieldListener::Notification16>(u"Notification16", source, detail);
  }
  void Notification17(HostObject* source, HostObject* detail) override {
    Notify<&::IKtFieldListener::Notification17>(u"Notification17", source, detail);
  }
  void Notification18(HostObject* source, HostObject* detail) override {
    Notify<&::IKtFieldListener::Notification18>(u"Notification18", source, detail);
  }
  void Notification19(HostObject* source, HostObject* detail) override {
    Notify<&::IKtFieldListener::Notification19>(u"Notification19", source, detail);
  }
  void Notification20(HostObject* source, HostObject* detail) override {
    Notify<&::IKtFieldListener::Notification20>(u"Notification20", source, detail);
  }
  void TableNotification(ktformula::NotificationSource& source, HostObject* detail) override {
    Notify<&::IKtFieldListener::TableNotification>(u"TableNotification", &source, detail);
  }

  // IKtObject
  std::u16string Description(int flag) override {
    return object_.Call<std::u16string, &::IKtObject::Description>(u"Description", flag);
  }
  void Save(ktformula::DatabaseAccess& database) override {
    object_.Call<void, &::IKtObject::Save>(u"Save", ToDispatch(database).Get());
  }
  void Export(XmlNode& node, std::u16string_view mode) override;
  Ref<XmlElement> ReferenceElement(XmlNode& node) override;
  void ResolveType(std::u16string_view type_name, HostObject* object) override {
    object_.Call<void, &::IKtObject::ResolveType>(u"ResolveType", type_name,
                                                  ToDispatch(object).Get());
  }
  void ResolveObject(HostObject* object, std::u16string_view type_name) override {
    object_.Call<void, &::IKtObject::ResolveObject>(u"ResolveObject", ToDispatch(object).Get(),
                                                    type_name);
  }
  Ref<HostObject> FindObject(std::u16string_view type_name, std::u16string_view name,
                             HostObject* object) override {
    return AdaptObject(object_
                           .Call<ComPtr<IDispatch>, &::IKtObject::FindObject>(
                               u"FindObject", type_name, name, ToDispatch(object).Get())
                           .Get());
  }
  void Refresh() override { object_.Call<void, &::IKtObject::Refresh>(u"Refresh"); }
  void Attach(HostObject* object) override {
    object_.Call<void, &::IKtObject::Attach>(u"Attach", ToDispatch(object).Get());
  }
  Ref<HostObject> Request(int request, std::u16string_view text, HostObject* object) override {
    return AdaptObject(object_
                           .Call<ComPtr<IDispatch>, &::IKtObject::Request>(
                               u"Request", request, text, ToDispatch(object).Get())
                           .Get());
  }
  void Inform(int event, std::u16string_view text) override {
    object_.Call<void, &::IKtObject::Inform>(u"Inform", event, text);
  }
  Ref<HostObject> Execute(XmlNode& command, HostObject* object) override;

  // IKtConfigurationObject
  void Store(HostObject& target) override {
    configuration_.Call<void, &::IKtConfigurationObject::Store>(u"Store", ToDispatch(target).Get());
  }
  void MarkStored(HostObject* target) override {
    configuration_.Call<void, &::IKtConfigurationObject::MarkStored>(u"MarkStored",
                                                                     ToDispatch(target).Get());
  }

  // IKtListenerData
  void SetData(std::u16string_view data_type, HostObject* data_value) override {
    const auto* element = dynamic_cast<const XmlElement*>(data_value);
    const ComPtr<IDispatch> data =
        element != nullptr ? ElementOrCopy(*element).Get() : ToDispatch(data_value);
    data_.Call<void, &::IKtListenerData::SetData>(u"SetData", data_type, Variant(data.Get()).Get());
  }

 private:
  template <auto Member>
  void Notify(std::u16string_view name, HostObject* source, HostObject* detail) const {
    Do<Member>(name, ToDispatch(source).Get(), ToDispatch(detail).Get());
  }

  void End() noexcept {
    try {
      if (framework_ && Pointer().Has(u"Terminate")) ForeignListener::Terminate();
    } catch (...) {  // NOLINT(bugprone-empty-catch)
      // Nobody is left to be told.
    }
  }

  // A node of Microsoft's to which a listener appends what is meant for a node of another model.
  static Ref<XmlElement> NewRoot() {
    const Ref<ktformula::XmlDocument> document = NewXmlDocument();
    Ref<XmlElement> root = document->CreateElement(u"root");
    document->SetRoot(*root);
    return root;
  }

  // A copy of the element in the host's own document model.
  Ref<XmlElement> Copy(const XmlElement& element) const {
    if (!framework_) ktformula::Raise(ktformula::RuntimeError::kObjectNotSet);
    const Ref<ktformula::XmlDocument> document = framework_->CreateXmlDocument();
    document->LoadText(element.Xml());
    return document->Root();
  }

  Ref<XmlElement> CallReferenceElement(XmlNode& node) const;

  HostPointer<::IKtObject> object_;
  HostPointer<::IKtConfigurationObject> configuration_;
  HostPointer<::IKtListenerData> data_;
  // From Initialize to Terminate.
  Ref<HostFramework> framework_;
};

void ForeignListener::Export(XmlNode& node, std::u16string_view mode) {
  const Ref<XmlElement> root = FindNode(node) == nullptr ? NewRoot() : nullptr;
  IDispatch* const target = FindNode(root ? *root : node);
  object_.Call<void, &::IKtObject::Export>(u"Export", target, mode);
  if (!root) return;
  for (const Ref<XmlElement>& element : root->ChildElements())
    node.AppendChild(*Copy(*element));
}

Ref<XmlElement> ForeignListener::ReferenceElement(XmlNode& node) {
  return FindNode(node) != nullptr ? CallReferenceElement(node)
                                   : Copy(*CallReferenceElement(*NewRoot()));
}

Ref<XmlElement> ForeignListener::CallReferenceElement(XmlNode& node) const {
  IDispatch* const own_node = FindNode(node);
  const Ref<XmlNode> answer = AdaptXmlNode(
      object_.Call<ComPtr<IDispatch>, &::IKtObject::ReferenceElement>(u"ReferenceElement", own_node)
          .Get());
  auto* const element = dynamic_cast<XmlElement*>(answer.get());
  if (element == nullptr) ktformula::Raise(ktformula::RuntimeError::kTypeMismatch);
  return Ref<XmlElement>(element);
}

Ref<HostObject> ForeignListener::Execute(XmlNode& command, HostObject* object) {
  const auto* element = dynamic_cast<const XmlElement*>(&command);
  const ComPtr<IDispatch> node =
      element != nullptr ? ElementOrCopy(*element).Get() : FindNode(command);
  return AdaptObject(object_
                         .Call<ComPtr<IDispatch>, &::IKtObject::Execute>(u"Execute", node.Get(),
                                                                         ToDispatch(object).Get())
                         .Get());
}

// The data type in whose cells values of a kind stand.
std::u16string_view DataTypeOf(CellValueTypeEnum kind) {
  switch (kind) {
    case kCellValueTypeNumber: return u"number";
    case kCellValueTypeDate: return u"date";
    case kCellValueTypeBoolean: return u"Boolean";
    case kCellValueTypeStructure: return u"structure";
    default: return u"string";
  }
}

// The column of a ValueCell.
class ValueProperty final : public ktformula::ELNProperty {
 public:
  explicit ValueProperty(std::u16string_view data_type) : data_type_(data_type) {}

  std::u16string TypeName() const override { return u"Property"; }
  std::int32_t Key() const override { return 0; }
  std::u16string Name() const override { return {}; }
  bool IsNumeric() const override { return data_type_ == u"number"; }
  std::u16string DataTypeName() const override { return std::u16string(data_type_); }
  bool HasUnits() const override { return false; }
  Ref<ktformula::Unit> DefaultUnit() const override { return nullptr; }
  bool NumberFormatting() const override { return false; }

 private:
  std::u16string_view data_type_;
};

// A foreign value as if it stood in a cell: from a cell a value takes kind and fields at once.
class ValueCell final : public ktformula::TableCell {
 public:
  explicit ValueCell(HostPointer<IKtCellValue> value) : value_(std::move(value)) {}

  CellValueTypeEnum ValueType() const {
    return value_.Call<CellValueTypeEnum, &IKtCellValue::get_CellValueType>(u"CellValueType");
  }

  std::u16string TypeName() const override { return u"Cell"; }
  Ref<ktformula::ELNProperty> Property() const override {
    const CellValueTypeEnum kind = ValueType();
    return kind != kCellValueTypeUnknown ? MakeRef<ValueProperty>(DataTypeOf(kind)) : nullptr;
  }
  Ref<ktformula::TableRow> Row() const override { return nullptr; }
  std::u16string Text() const override {
    return value_.Call<std::u16string, &IKtCellValue::get_Text>(u"Text");
  }
  double MinNumber() const override {
    return value_.Call<double, &IKtCellValue::get_MinNumber>(u"MinNumber");
  }
  double MaxNumber() const override {
    return value_.Call<double, &IKtCellValue::get_MaxNumber>(u"MaxNumber");
  }
  std::u16string StructureText() const override {
    return value_.Call<std::u16string, &IKtCellValue::get_MvrStructure>(u"MvrStructure");
  }
  std::u16string StateText() const override { return {}; }
  std::u16string Tag() const override { return {}; }
  std::u16string Key() const override { return {}; }
  std::u16string UnitName() const override { return {}; }

 private:
  HostPointer<IKtCellValue> value_;
};

// Dates can not be carried over: like those of any value under evaluation, they are the present.
void CopyValue(const HostPointer<IKtCellValue>& from, ktformula::CellValue& to) {
  const Ref<ValueCell> cell = MakeRef<ValueCell>(from);
  if (cell->ValueType() == kCellValueTypeError) {
    to.SetError(
        from.Call<std::int32_t, &IKtCellValue::get_ErrorNumber>(u"ErrorNumber"),
        from.Call<std::u16string, &IKtCellValue::get_ErrorSource>(u"ErrorSource"),
        from.Call<std::u16string, &IKtCellValue::get_ErrorDescription>(u"ErrorDescription"));
    return;
  }
  to.InitializeFromELNProperty(nullptr);
  to.InitializeFromGridCell(*cell);
}

std::optional<ktformula::FormulaEntry> EntryOf(ComPtr<IDispatch> formulas,
                                               std::u16string_view key) {
  if (formulas == nullptr) return std::nullopt;
  const ScriptingDictionary dictionary(std::move(formulas));
  if (!dictionary.Exists(key)) return std::nullopt;
  const HostPointer<IKtPropertyFormula> formula(dictionary.Item(key).Object().Get());
  if (!formula) return std::nullopt;
  return ktformula::FormulaEntry{
      formula.Call<std::u16string, &IKtPropertyFormula::get_Formula>(u"Formula"),
      formula.Call<std::u16string, &IKtPropertyFormula::get_StringFormat>(u"StringFormat")};
}

// What is no formula under a text is passed over.
std::vector<ktformula::FormulaText> TextsOf(ComPtr<IDispatch> formulas) {
  std::vector<ktformula::FormulaText> texts;
  if (formulas == nullptr) return texts;
  for (const auto& [key, item] : ScriptingDictionary(std::move(formulas)).Entries()) {
    if (key.Get().vt != VT_BSTR || item.Get().vt != VT_DISPATCH) continue;
    const HostPointer<IKtPropertyFormula> formula(item.Object().Get());
    texts.push_back(
        {key.Text(), formula.Call<std::u16string, &IKtPropertyFormula::get_Formula>(u"Formula"),
         formula.Call<std::u16string, &IKtPropertyFormula::get_StringFormat>(u"StringFormat")});
  }
  return texts;
}

class ForeignFormulaListener final : public ForeignListener, public ktformula::IKtFormulaListener {
 public:
  explicit ForeignFormulaListener(IDispatch* listener)
      : ForeignListener(listener), formulas_(listener) {}

  std::optional<ktformula::FormulaEntry> FormulaOf(std::int32_t property_key) const override {
    return EntryOf(FormulaTable(), ktformula::ToDecimalText(property_key));
  }
  std::optional<ktformula::FormulaEntry> DefinitionOf(std::u16string_view name) const override {
    return EntryOf(DefinitionTable(), name);
  }
  std::vector<ktformula::FormulaText> ColumnFormulas() const override {
    return TextsOf(FormulaTable());
  }
  std::vector<ktformula::FormulaText> Definitions() const override {
    return TextsOf(DefinitionTable());
  }
  void SetPropertyFormula(std::int32_t property_key, std::u16string_view formula,
                          std::u16string_view string_format) override {
    formulas_.Call<void, &::IKtFormulaListener::SetPropertyFormula>(
        u"SetPropertyFormula", property_key, formula, string_format);
  }
  void SetDefinition(std::u16string_view name, std::u16string_view formula) override {
    formulas_.Call<void, &::IKtFormulaListener::SetDefinition>(u"SetDefinition", name, formula);
  }
  // Those without a formula are dropped: no member would take one.
  void ReplaceFormulas(const std::vector<ktformula::FormulaText>& formulas,
                       const std::vector<ktformula::FormulaText>& definitions) override {
    for (const auto& known : ColumnFormulas())
      SetFormulaText({known.key, u"", u""});
    for (const auto& known : Definitions())
      SetDefinition(known.key, u"");
    for (const auto& formula : formulas)
      SetFormulaText(formula);
    for (const auto& definition : definitions)
      SetDefinition(definition.key, definition.formula);
  }
  std::u16string ResultFormat() const override {
    return formulas_.Call<std::u16string, &::IKtFormulaListener::get_ResultFormat>(u"ResultFormat");
  }
  void SetResultFormat(std::u16string_view program_identifier) override {
    formulas_.Put<&::IKtFormulaListener::put_ResultFormat>(u"ResultFormat", program_identifier);
  }
  void EvaluateInCell(std::u16string_view formula, ktformula::TableCell& cell,
                      ktformula::CellValue& target) override {
    const auto value = CreateSystemObject<IKtCellValue>(u"KtFormula9.CellValue");
    formulas_.Call<void, &::IKtFormulaListener::EvaluateInCell>(
        u"EvaluateInCell", formula, ToDispatch(cell).Get(), static_cast<IDispatch*>(value.Get()));
    CopyValue(HostPointer<IKtCellValue>(value), target);
  }

 private:
  // Under a text that is no key the table has something of its own.
  void SetFormulaText(const ktformula::FormulaText& text) {
    const double key = ktformula::NumericValue(text.key).value_or(0);
    if (key > 0 && key <= 0x7FFFFFFF) {
      SetPropertyFormula(static_cast<std::int32_t>(key), text.formula, text.string_format);
    }
  }
  ComPtr<IDispatch> FormulaTable() const {
    return formulas_.Call<ComPtr<IDispatch>, &::IKtFormulaListener::get_PropertyFormulas>(
        u"PropertyFormulas");
  }
  ComPtr<IDispatch> DefinitionTable() const {
    return formulas_.Call<ComPtr<IDispatch>, &::IKtFormulaListener::get_Definitions>(
        u"Definitions");
  }

  HostPointer<::IKtFormulaListener> formulas_;
};

// The examined units in the dictionary of a pass, which takes them once.
class UnitDictionary {
 public:
  IDispatch* Of(const ktformula::ExaminedUnitsMap& units) {
    if (dictionary_ && std::equal(units.begin(), units.end(), known_.begin(), known_.end())) {
      return dictionary_->Dispatch().Get();
    }
    known_ = units;
    dictionary_.emplace();
    for (const auto& [quantity, unit] : units)
      dictionary_->Add(quantity, Variant(unit));
    return dictionary_->Dispatch().Get();
  }

 private:
  ktformula::ExaminedUnitsMap known_;
  std::optional<ScriptingDictionary> dictionary_;
};

class ForeignFormulaFormat final : public ForeignListener, public ktformula::IKtFormulaFormat {
 public:
  explicit ForeignFormulaFormat(IDispatch* format) : ForeignListener(format), format_(format) {}

  void SetGridCellValue(ktformula::GridControl& GridCtl, ktformula::TableCell& gc, double Value,
                        std::u16string_view format, std::int16_t ExaminedSigDig,
                        const ktformula::ExaminedUnitsMap& ExaminedUnits) override {
    format_.Call<void, &::IKtFormulaFormat::SetGridCellValue>(
        u"SetGridCellValue", ToDispatch(GridCtl).Get(), ToDispatch(gc).Get(), Value, format,
        ExaminedSigDig, units_.Of(ExaminedUnits));
  }

 private:
  HostPointer<::IKtFormulaFormat> format_;
  UnitDictionary units_;
};

template <typename Interface>
bool Answers(IDispatch* object, std::u16string_view member) {
  return HostPointer<Interface>(object).Has(member);
}

}  // namespace

Ref<ktformula::IKtFieldListener> AdaptListener(IDispatch* object) {
  if (object == nullptr) return nullptr;
  if (Answers<::IKtFormulaListener>(object, u"EvaluateInCell")) {
    return MakeRef<ForeignFormulaListener>(object);
  }
  if (Answers<::IKtFormulaFormat>(object, u"SetGridCellValue")) {
    return MakeRef<ForeignFormulaFormat>(object);
  }
  if (Answers<::IKtFieldListener>(object, u"TableNotification")) {
    return MakeRef<ForeignListener>(object);
  }
  return nullptr;
}

Ref<HostObject> AdaptObject(IDispatch* object) {
  if (auto* const own = NativeOf<HostObject>(object)) return Ref<HostObject>(own);
  if (Ref<ktformula::IKtFieldListener> listener = AdaptListener(object)) return listener;
  return AdaptNotebookObject(object);
}

}  // namespace ktcom
