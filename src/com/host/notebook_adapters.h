// Adapters of the notebook's objects.
#pragma once

#include "KtStandard9.h"

#include "com/host/foreign.h"
#include "host/notebook_objects.h"

namespace ktcom {

using ktformula::Ref;

// The adapter of any object that a reference may start from or lead to, by the object's own word
// on its kind; an object without such a word is one of another kind. Empty for Nothing.
Ref<ktformula::NotebookObject> AdaptNotebookObject(IDispatch* object);

class ForeignUnit final : public ForeignObject<ktformula::Unit, IKtUnit> {
 public:
  using ForeignObject::ForeignObject;
  std::u16string QuantityName() const override;
  std::u16string UnitText() const override;
  double FromBase(double value) const override;
};

class ForeignUnitCatalogue final
    : public ForeignObject<ktformula::UnitCatalogue, IKtUnitCatalogue> {
 public:
  using ForeignObject::ForeignObject;
  Ref<ktformula::Unit> Find(std::u16string_view unit_text) override;
};

class ForeignELNProperty final : public ForeignObject<ktformula::ELNProperty, IKtELNProperty> {
 public:
  using ForeignObject::ForeignObject;
  std::int32_t Key() const override;
  std::u16string Name() const override;
  bool IsNumeric() const override;
  std::u16string DataTypeName() const override;
  bool HasUnits() const override;
  Ref<ktformula::Unit> DefaultUnit() const override;
  bool NumberFormatting() const override;
};

class ForeignELNProperties final
    : public ForeignObject<ktformula::ELNProperties, IKtELNProperties> {
 public:
  using ForeignObject::ForeignObject;
  int Count() const override;
  Ref<ktformula::ELNProperty> Item(int index) const override;
  Ref<ktformula::ELNProperty> Find(std::u16string_view name) const override;
};

// What all objects that references meet have in common.
template <typename EngineInterface, typename Interface>
class ForeignNotebookObject : public ForeignObject<EngineInterface, Interface> {
 public:
  using ForeignObject<EngineInterface, Interface>::ForeignObject;
  std::u16string TypeName() const override;
  bool ResolvesRelativeReferences() const noexcept override;
  Ref<ktformula::NotebookObject> ResolveRelative(std::span<const std::u16string> parts) override;
  Ref<ktformula::PropertyScope> Scope() override;
};

class ForeignOtherObject final
    : public ForeignNotebookObject<ktformula::NotebookObject, IKtNotebookObject> {
 public:
  using ForeignNotebookObject::ForeignNotebookObject;
};

class ForeignPropertyScope final
    : public ForeignObject<ktformula::PropertyScope, IKtPropertyScope> {
 public:
  using ForeignObject::ForeignObject;
  Ref<ktformula::NotebookObject> FindHolder(std::u16string_view name) override;
  Ref<ktformula::NotebookObject> ValueObject(ktformula::NotebookObject& holder) override;
};

class ForeignTableCell final : public ForeignNotebookObject<ktformula::TableCell, IKtTableCell> {
 public:
  using ForeignNotebookObject::ForeignNotebookObject;
  Ref<ktformula::ELNProperty> Property() const override;
  Ref<ktformula::TableRow> Row() const override;
  std::u16string Text() const override;
  double MinNumber() const override;
  double MaxNumber() const override;
  std::u16string StructureText() const override;
  std::u16string StateText() const override;
  std::u16string Tag() const override;
  std::u16string Key() const override;
  std::u16string UnitName() const override;
};

class ForeignTableProperty final
    : public ForeignNotebookObject<ktformula::TableProperty, IKtTableProperty> {
 public:
  using ForeignNotebookObject::ForeignNotebookObject;
  Ref<ktformula::Table> OwningTable() const override;
  Ref<ktformula::ELNProperty> Property() const override;
  int CellCount() const override;
  Ref<ktformula::TableCell> Cell(int index) const override;
};

class ForeignTableRow final : public ForeignNotebookObject<ktformula::TableRow, IKtTableRow> {
 public:
  using ForeignNotebookObject::ForeignNotebookObject;
  Ref<ktformula::Table> OwningTable() const override;
  Ref<ktformula::TableCell> Cell(const ktformula::TableProperty& column) const override;
  std::u16string Tag(std::u16string_view name) const override;
};

class ForeignTable final : public ForeignNotebookObject<ktformula::Table, IKtTable> {
 public:
  using ForeignNotebookObject::ForeignNotebookObject;
  int ColumnCount() const override;
  Ref<ktformula::TableProperty> Column(int index) const override;
  int RowCount() const override;
  Ref<ktformula::TableRow> Row(int index) const override;
};

class ForeignChemicalStructure final
    : public ForeignNotebookObject<ktformula::ChemicalStructure, IKtChemicalStructure> {
 public:
  using ForeignNotebookObject::ForeignNotebookObject;
  std::u16string Data() const override;
};

class ForeignGridControl final : public ForeignObject<ktformula::GridControl, IKtGridControl> {
 public:
  using ForeignObject::ForeignObject;
  void WriteText(ktformula::TableCell& cell, std::u16string_view text, bool flag) override;
  void ClearNumber(ktformula::TableCell& cell) override;
  void SetValue(ktformula::TableCell& cell, double value, std::u16string_view pattern,
                std::u16string_view unit_name) override;
  void FinishCell(ktformula::TableCell& cell) override;
};

class ForeignControlHolder final
    : public ForeignObject<ktformula::ControlHolder, IKtControlHolder> {
 public:
  using ForeignObject::ForeignObject;
  Ref<ktformula::ELNProperties> Properties() override;
  Ref<ktformula::GridControl> Object() override;
};

class ForeignField final : public ForeignObject<ktformula::Field, IKtField> {
 public:
  using ForeignObject::ForeignObject;
  std::int32_t Key() const override;
  std::u16string Description() const override;
  Ref<ktformula::Table> AsTable() override;
};

class ForeignOwnerCollection final
    : public ForeignObject<ktformula::OwnerCollection, IKtOwnerCollection> {
 public:
  using ForeignObject::ForeignObject;
  int FieldCount() const override;
  Ref<ktformula::Field> FieldAt(int index) const override;
  Ref<ktformula::Field> WatchedField() const override;
  Ref<ktformula::ELNProperties> WatchedProperties() const override;
  std::u16string Description(int flag) const override;
};

class ForeignForm final : public ForeignNotebookObject<ktformula::Form, IKtForm> {
 public:
  using ForeignNotebookObject::ForeignNotebookObject;
  Ref<ktformula::ControlHolder> HolderOf(const ktformula::Field& field) override;
};

class ForeignNotificationSource final
    : public ForeignObject<ktformula::NotificationSource, IKtNotificationSource> {
 public:
  using ForeignObject::ForeignObject;
  Ref<ktformula::Form> FormObject() override;
};

}  // namespace ktcom
