#include "com/host/notebook_adapters.h"

namespace ktcom {

using ktformula::NotebookObject;

namespace {

// Parts hold no colon of their own.
std::u16string JoinParts(std::span<const std::u16string> parts) {
  std::u16string joined;
  for (const std::u16string& part : parts) {
    if (!joined.empty()) joined += u':';
    joined += part;
  }
  return joined;
}

}  // namespace

Ref<NotebookObject> AdaptNotebookObject(IDispatch* object) {
  if (object == nullptr) return nullptr;
  const HostPointer<IKtNotebookObject> pointer(object);
  constexpr std::u16string_view kKind = u"Kind";
  if (!pointer.Has(kKind)) return Adapt<ForeignOtherObject>(object);
  switch (pointer.Call<KtNotebookObjectKindEnum, &IKtNotebookObject::get_Kind>(kKind)) {
    case kNotebookObjectKindTableCell: return Adapt<ForeignTableCell>(object);
    case kNotebookObjectKindTableRow: return Adapt<ForeignTableRow>(object);
    case kNotebookObjectKindTable: return Adapt<ForeignTable>(object);
    case kNotebookObjectKindTableProperty: return Adapt<ForeignTableProperty>(object);
    case kNotebookObjectKindStructure: return Adapt<ForeignChemicalStructure>(object);
    default: return Adapt<ForeignOtherObject>(object);
  }
}

std::u16string ForeignUnit::QuantityName() const {
  return Text<&IKtUnit::get_QuantityName>(u"QuantityName");
}
std::u16string ForeignUnit::UnitText() const {
  return Text<&IKtUnit::get_UnitText>(u"UnitText");
}
double ForeignUnit::FromBase(double value) const {
  return Get<double, &IKtUnit::FromBase>(u"FromBase", value);
}

Ref<ktformula::Unit> ForeignUnitCatalogue::Find(std::u16string_view unit_text) {
  return Wrap<ForeignUnit, &IKtUnitCatalogue::Find>(u"Find", unit_text);
}

std::int32_t ForeignELNProperty::Key() const {
  return Get<std::int32_t, &IKtELNProperty::get_Key>(u"Key");
}
std::u16string ForeignELNProperty::Name() const {
  return Text<&IKtELNProperty::get_Name>(u"Name");
}
bool ForeignELNProperty::IsNumeric() const {
  return Get<bool, &IKtELNProperty::get_IsNumeric>(u"IsNumeric");
}
std::u16string ForeignELNProperty::DataTypeName() const {
  return Text<&IKtELNProperty::get_DataTypeName>(u"DataTypeName");
}
bool ForeignELNProperty::HasUnits() const {
  return Get<bool, &IKtELNProperty::get_HasUnits>(u"HasUnits");
}
Ref<ktformula::Unit> ForeignELNProperty::DefaultUnit() const {
  return Wrap<ForeignUnit, &IKtELNProperty::get_DefaultUnit>(u"DefaultUnit");
}
bool ForeignELNProperty::NumberFormatting() const {
  return Get<bool, &IKtELNProperty::get_NumberFormatting>(u"NumberFormatting");
}

int ForeignELNProperties::Count() const {
  return Get<int, &IKtELNProperties::get_Count>(u"Count");
}
Ref<ktformula::ELNProperty> ForeignELNProperties::Item(int index) const {
  return WrapRequired<ForeignELNProperty, &IKtELNProperties::get_Item>(u"Item", index);
}
Ref<ktformula::ELNProperty> ForeignELNProperties::Find(std::u16string_view name) const {
  return Wrap<ForeignELNProperty, &IKtELNProperties::Find>(u"Find", name);
}

template <typename EngineInterface, typename Interface>
std::u16string ForeignNotebookObject<EngineInterface, Interface>::TypeName() const {
  constexpr std::u16string_view kTypeName = u"TypeName";
  return this->Pointer().Has(kTypeName)
             ? this->template Text<&IKtNotebookObject::get_TypeName>(kTypeName)
             : TypeNameOf(this->Dispatch());
}

template <typename EngineInterface, typename Interface>
bool ForeignNotebookObject<EngineInterface, Interface>::ResolvesRelativeReferences()
    const noexcept {
  constexpr std::u16string_view kMember = u"ResolvesRelativeReferences";
  try {
    return this->Pointer().Has(kMember) &&
           this->template Get<bool, &IKtNotebookObject::get_ResolvesRelativeReferences>(kMember);
  } catch (...) {
    // An object that can not tell will not be asked to resolve either.
    return false;
  }
}

template <typename EngineInterface, typename Interface>
Ref<NotebookObject> ForeignNotebookObject<EngineInterface, Interface>::ResolveRelative(
    std::span<const std::u16string> parts) {
  return AdaptNotebookObject(
      this->template Get<ComPtr<IDispatch>, &IKtNotebookObject::ResolveRelative>(u"ResolveRelative",
                                                                                 JoinParts(parts))
          .Get());
}

template <typename EngineInterface, typename Interface>
Ref<ktformula::PropertyScope> ForeignNotebookObject<EngineInterface, Interface>::Scope() {
  constexpr std::u16string_view kScope = u"Scope";
  if (!this->Pointer().Has(kScope)) return nullptr;
  return this->template Wrap<ForeignPropertyScope, &IKtNotebookObject::get_Scope>(kScope);
}

Ref<NotebookObject> ForeignPropertyScope::FindHolder(std::u16string_view name) {
  return AdaptNotebookObject(
      Get<ComPtr<IDispatch>, &IKtPropertyScope::FindHolder>(u"FindHolder", name).Get());
}
Ref<NotebookObject> ForeignPropertyScope::ValueObject(NotebookObject& holder) {
  return AdaptNotebookObject(Get<ComPtr<IDispatch>, &IKtPropertyScope::ValueObject>(
                                 u"ValueObject", ToDispatch(holder).Get())
                                 .Get());
}

Ref<ktformula::ELNProperty> ForeignTableCell::Property() const {
  return Wrap<ForeignELNProperty, &IKtTableCell::get_ELNProperty>(u"ELNProperty");
}
Ref<ktformula::TableRow> ForeignTableCell::Row() const {
  return WrapRequired<ForeignTableRow, &IKtTableCell::get_Row>(u"Row");
}
std::u16string ForeignTableCell::Text() const {
  return ForeignObject::Text<&IKtTableCell::get_Text>(u"Text");
}
double ForeignTableCell::MinNumber() const {
  return Get<double, &IKtTableCell::get_MinNumber>(u"MinNumber");
}
double ForeignTableCell::MaxNumber() const {
  return Get<double, &IKtTableCell::get_MaxNumber>(u"MaxNumber");
}
std::u16string ForeignTableCell::StructureText() const {
  return ForeignObject::Text<&IKtTableCell::get_StructureText>(u"StructureText");
}
std::u16string ForeignTableCell::StateText() const {
  return ForeignObject::Text<&IKtTableCell::get_StateText>(u"StateText");
}
std::u16string ForeignTableCell::Tag() const {
  return ForeignObject::Text<&IKtTableCell::get_Tag>(u"Tag");
}
std::u16string ForeignTableCell::Key() const {
  return ForeignObject::Text<&IKtTableCell::get_Key>(u"Key");
}
std::u16string ForeignTableCell::UnitName() const {
  return ForeignObject::Text<&IKtTableCell::get_UnitName>(u"UnitName");
}

Ref<ktformula::Table> ForeignTableProperty::OwningTable() const {
  return WrapRequired<ForeignTable, &IKtTableProperty::get_Table>(u"Table");
}
Ref<ktformula::ELNProperty> ForeignTableProperty::Property() const {
  return WrapRequired<ForeignELNProperty, &IKtTableProperty::get_ELNProperty>(u"ELNProperty");
}
int ForeignTableProperty::CellCount() const {
  return Get<int, &IKtTableProperty::get_CellCount>(u"CellCount");
}
Ref<ktformula::TableCell> ForeignTableProperty::Cell(int index) const {
  return WrapRequired<ForeignTableCell, &IKtTableProperty::Cell>(u"Cell", index);
}

Ref<ktformula::Table> ForeignTableRow::OwningTable() const {
  return WrapRequired<ForeignTable, &IKtTableRow::get_Table>(u"Table");
}
Ref<ktformula::TableCell> ForeignTableRow::Cell(const ktformula::TableProperty& column) const {
  return Wrap<ForeignTableCell, &IKtTableRow::Cell>(u"Cell", ToDispatch(column).Get());
}
std::u16string ForeignTableRow::Tag(std::u16string_view name) const {
  return Get<std::u16string, &IKtTableRow::Tag>(u"Tag", name);
}

int ForeignTable::ColumnCount() const {
  return Get<int, &IKtTable::get_ColumnCount>(u"ColumnCount");
}
Ref<ktformula::TableProperty> ForeignTable::Column(int index) const {
  return WrapRequired<ForeignTableProperty, &IKtTable::Column>(u"Column", index);
}
int ForeignTable::RowCount() const {
  return Get<int, &IKtTable::get_RowCount>(u"RowCount");
}
Ref<ktformula::TableRow> ForeignTable::Row(int index) const {
  return WrapRequired<ForeignTableRow, &IKtTable::Row>(u"Row", index);
}

std::u16string ForeignChemicalStructure::Data() const {
  return Text<&IKtChemicalStructure::get_Data>(u"Data");
}

void ForeignGridControl::WriteText(ktformula::TableCell& cell, std::u16string_view text,
                                   bool flag) {
  Do<&IKtGridControl::WriteText>(u"WriteText", ToDispatch(cell).Get(), text, flag);
}
void ForeignGridControl::ClearNumber(ktformula::TableCell& cell) {
  Do<&IKtGridControl::ClearNumber>(u"ClearNumber", ToDispatch(cell).Get());
}
void ForeignGridControl::SetValue(ktformula::TableCell& cell, double value,
                                  std::u16string_view pattern, std::u16string_view unit_name) {
  Do<&IKtGridControl::SetValue>(u"SetValue", ToDispatch(cell).Get(), value, pattern, unit_name);
}
void ForeignGridControl::FinishCell(ktformula::TableCell& cell) {
  Do<&IKtGridControl::FinishCell>(u"FinishCell", ToDispatch(cell).Get());
}

Ref<ktformula::ELNProperties> ForeignControlHolder::Properties() {
  return Wrap<ForeignELNProperties, &IKtControlHolder::get_ELNProperties>(u"ELNProperties");
}
Ref<ktformula::GridControl> ForeignControlHolder::Object() {
  return WrapRequired<ForeignGridControl, &IKtControlHolder::get_Object>(u"Object");
}

std::int32_t ForeignField::Key() const {
  return Get<std::int32_t, &IKtField::get_Key>(u"Key");
}
std::u16string ForeignField::Description() const {
  return Text<&IKtField::get_Description>(u"Description");
}
Ref<ktformula::Table> ForeignField::AsTable() {
  return Wrap<ForeignTable, &IKtField::get_Table>(u"Table");
}

int ForeignOwnerCollection::FieldCount() const {
  return Get<int, &IKtOwnerCollection::get_Count>(u"Count");
}
Ref<ktformula::Field> ForeignOwnerCollection::FieldAt(int index) const {
  return WrapRequired<ForeignField, &IKtOwnerCollection::get_Item>(u"Item", index);
}
Ref<ktformula::Field> ForeignOwnerCollection::WatchedField() const {
  return WrapRequired<ForeignField, &IKtOwnerCollection::get_WatchedField>(u"WatchedField");
}
Ref<ktformula::ELNProperties> ForeignOwnerCollection::WatchedProperties() const {
  return WrapRequired<ForeignELNProperties, &IKtOwnerCollection::get_WatchedProperties>(
      u"WatchedProperties");
}
std::u16string ForeignOwnerCollection::Description(int flag) const {
  return Get<std::u16string, &IKtOwnerCollection::Description>(u"Description", flag);
}

Ref<ktformula::ControlHolder> ForeignForm::HolderOf(const ktformula::Field& field) {
  return WrapRequired<ForeignControlHolder, &IKtForm::HolderOf>(u"HolderOf",
                                                                ToDispatch(field).Get());
}

Ref<ktformula::Form> ForeignNotificationSource::FormObject() {
  return WrapRequired<ForeignForm, &IKtNotificationSource::get_FormObject>(u"FormObject");
}

}  // namespace ktcom
