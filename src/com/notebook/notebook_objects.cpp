#include "com/notebook/notebook_objects.h"

#include <string>
#include <string_view>
#include <vector>

#include "com/notebook/object_shell.h"
#include "values/text.h"

namespace ktcom {

using ktformula::NotebookObject;
using ktformula::NotebookObjectKind;

namespace {
class UnitObject final : public Shell<UnitObject, ktformula::Unit, IKtUnit> {
 public:
  using Shell::Shell;

  HRESULT STDMETHODCALLTYPE get_QuantityName(BSTR* value) noexcept override {
    return Give(value, [&] { return Own().QuantityName(); });
  }
  HRESULT STDMETHODCALLTYPE get_UnitText(BSTR* value) noexcept override {
    return Give(value, [&] { return Own().UnitText(); });
  }
  HRESULT STDMETHODCALLTYPE FromBase(double base, double* value) noexcept override {
    return Give(value, [&] { return Own().FromBase(base); });
  }
};

class UnitCatalogueObject final
    : public Shell<UnitCatalogueObject, ktformula::UnitCatalogue, IKtUnitCatalogue> {
 public:
  using Shell::Shell;

  HRESULT STDMETHODCALLTYPE Find(BSTR unitText, IKtUnit** value) noexcept override {
    return Give(value, [&] { return ToObject(Own().Find(View(unitText))); });
  }
};

class PropertyObject final : public Shell<PropertyObject, ktformula::ELNProperty, IKtELNProperty> {
 public:
  using Shell::Shell;

  HRESULT STDMETHODCALLTYPE get_Key(LONG* value) noexcept override {
    return Give(value, [&] { return LONG{Own().Key()}; });
  }
  HRESULT STDMETHODCALLTYPE get_Name(BSTR* value) noexcept override {
    return Give(value, [&] { return Own().Name(); });
  }
  HRESULT STDMETHODCALLTYPE get_IsNumeric(VARIANT_BOOL* value) noexcept override {
    return Give(value, [&] { return Own().IsNumeric(); });
  }
  HRESULT STDMETHODCALLTYPE get_DataTypeName(BSTR* value) noexcept override {
    return Give(value, [&] { return Own().DataTypeName(); });
  }
  HRESULT STDMETHODCALLTYPE get_HasUnits(VARIANT_BOOL* value) noexcept override {
    return Give(value, [&] { return Own().HasUnits(); });
  }
  HRESULT STDMETHODCALLTYPE get_DefaultUnit(IKtUnit** value) noexcept override {
    return Give(value, [&] { return ToObject(Own().DefaultUnit()); });
  }
  HRESULT STDMETHODCALLTYPE get_NumberFormatting(VARIANT_BOOL* value) noexcept override {
    return Give(value, [&] { return Own().NumberFormatting(); });
  }
};

class PropertiesObject final
    : public Shell<PropertiesObject, ktformula::ELNProperties, IKtELNProperties> {
 public:
  using Shell::Shell;

  HRESULT STDMETHODCALLTYPE get_Count(LONG* value) noexcept override {
    return Give(value, [&] { return LONG{Own().Count()}; });
  }
  HRESULT STDMETHODCALLTYPE get_Item(LONG index, IKtELNProperty** value) noexcept override {
    return Give(value, [&] { return ToObject(Own().Item(CheckedIndex(index, Own().Count()))); });
  }
  HRESULT STDMETHODCALLTYPE Find(BSTR name, IKtELNProperty** value) noexcept override {
    return Give(value, [&] { return ToObject(Own().Find(View(name))); });
  }
};

// The parts between the colons.
std::vector<std::u16string> SplitParts(std::u16string_view joined) {
  std::vector<std::u16string> parts;
  for (const std::u16string_view part : ktformula::Split(joined, u':'))
    parts.emplace_back(part);
  return parts;
}

// What all objects that references meet have in common.
template <typename Derived, typename EngineInterface, typename Interface>
class NotebookShell : public Shell<Derived, EngineInterface, Interface> {
 public:
  using Shell<Derived, EngineInterface, Interface>::Shell;

  HRESULT STDMETHODCALLTYPE get_Kind(KtNotebookObjectKindEnum* value) noexcept override {
    static_assert(static_cast<int>(NotebookObjectKind::kOther) == kNotebookObjectKindOther);
    return this->Give(value,
                      [&] { return static_cast<KtNotebookObjectKindEnum>(this->Own().Kind()); });
  }
  HRESULT STDMETHODCALLTYPE get_TypeName(BSTR* value) noexcept override {
    return this->Give(value, [&] { return this->Own().TypeName(); });
  }
  HRESULT STDMETHODCALLTYPE get_ResolvesRelativeReferences(VARIANT_BOOL* value) noexcept override {
    return this->Give(value, [&] { return this->Own().ResolvesRelativeReferences(); });
  }
  HRESULT STDMETHODCALLTYPE ResolveRelative(BSTR parts, IDispatch** value) noexcept override {
    return this->Give(
        value, [&] { return ToObject(this->Own().ResolveRelative(SplitParts(View(parts)))); });
  }
  HRESULT STDMETHODCALLTYPE get_Scope(IKtPropertyScope** value) noexcept override {
    return this->Give(value, [&] { return ToObject(this->Own().Scope()); });
  }
};

class OtherObject final
    : public NotebookShell<OtherObject, ktformula::NotebookObject, IKtNotebookObject> {
 public:
  using NotebookShell::NotebookShell;
};

class ScopeObject final : public Shell<ScopeObject, ktformula::PropertyScope, IKtPropertyScope> {
 public:
  using Shell::Shell;

  HRESULT STDMETHODCALLTYPE FindHolder(BSTR name, IDispatch** value) noexcept override {
    return Give(value, [&] { return ToObject(Own().FindHolder(View(name))); });
  }
  HRESULT STDMETHODCALLTYPE ValueObject(IDispatch* holder, IDispatch** value) noexcept override {
    return Give(value,
                [&] { return ToObject(Own().ValueObject(OwnArgument<NotebookObject>(holder))); });
  }
};

class CellObject final : public NotebookShell<CellObject, ktformula::TableCell, IKtTableCell> {
 public:
  using NotebookShell::NotebookShell;

  HRESULT STDMETHODCALLTYPE get_ELNProperty(IKtELNProperty** value) noexcept override {
    return Give(value, [&] { return ToObject(Own().Property()); });
  }
  HRESULT STDMETHODCALLTYPE get_Row(IKtTableRow** value) noexcept override {
    return Give(value, [&] { return ToObject(Own().Row()); });
  }
  HRESULT STDMETHODCALLTYPE get_Text(BSTR* value) noexcept override {
    return Give(value, [&] { return Own().Text(); });
  }
  HRESULT STDMETHODCALLTYPE get_MinNumber(double* value) noexcept override {
    return Give(value, [&] { return Own().MinNumber(); });
  }
  HRESULT STDMETHODCALLTYPE get_MaxNumber(double* value) noexcept override {
    return Give(value, [&] { return Own().MaxNumber(); });
  }
  HRESULT STDMETHODCALLTYPE get_StructureText(BSTR* value) noexcept override {
    return Give(value, [&] { return Own().StructureText(); });
  }
  HRESULT STDMETHODCALLTYPE get_StateText(BSTR* value) noexcept override {
    return Give(value, [&] { return Own().StateText(); });
  }
  HRESULT STDMETHODCALLTYPE get_Tag(BSTR* value) noexcept override {
    return Give(value, [&] { return Own().Tag(); });
  }
  HRESULT STDMETHODCALLTYPE get_Key(BSTR* value) noexcept override {
    return Give(value, [&] { return Own().Key(); });
  }
  HRESULT STDMETHODCALLTYPE get_UnitName(BSTR* value) noexcept override {
    return Give(value, [&] { return Own().UnitName(); });
  }
};

class ColumnObject final
    : public NotebookShell<ColumnObject, ktformula::TableProperty, IKtTableProperty> {
 public:
  using NotebookShell::NotebookShell;

  HRESULT STDMETHODCALLTYPE get_Table(IKtTable** value) noexcept override {
    return Give(value, [&] { return ToObject(Own().OwningTable()); });
  }
  HRESULT STDMETHODCALLTYPE get_ELNProperty(IKtELNProperty** value) noexcept override {
    return Give(value, [&] { return ToObject(Own().Property()); });
  }
  HRESULT STDMETHODCALLTYPE get_CellCount(LONG* value) noexcept override {
    return Give(value, [&] { return LONG{Own().CellCount()}; });
  }
  HRESULT STDMETHODCALLTYPE Cell(LONG index, IKtTableCell** value) noexcept override {
    return Give(value,
                [&] { return ToObject(Own().Cell(CheckedIndex(index, Own().CellCount()))); });
  }
};

class RowObject final : public NotebookShell<RowObject, ktformula::TableRow, IKtTableRow> {
 public:
  using NotebookShell::NotebookShell;

  HRESULT STDMETHODCALLTYPE get_Table(IKtTable** value) noexcept override {
    return Give(value, [&] { return ToObject(Own().OwningTable()); });
  }
  HRESULT STDMETHODCALLTYPE Cell(IDispatch* column, IKtTableCell** value) noexcept override {
    return Give(
        value, [&] { return ToObject(Own().Cell(OwnArgument<ktformula::TableProperty>(column))); });
  }
  HRESULT STDMETHODCALLTYPE Tag(BSTR name, BSTR* value) noexcept override {
    return Give(value, [&] { return Own().Tag(View(name)); });
  }
};

class TableObject final : public NotebookShell<TableObject, ktformula::Table, IKtTable> {
 public:
  using NotebookShell::NotebookShell;

  HRESULT STDMETHODCALLTYPE get_ColumnCount(LONG* value) noexcept override {
    return Give(value, [&] { return LONG{Own().ColumnCount()}; });
  }
  HRESULT STDMETHODCALLTYPE Column(LONG index, IKtTableProperty** value) noexcept override {
    return Give(value,
                [&] { return ToObject(Own().Column(CheckedIndex(index, Own().ColumnCount()))); });
  }
  HRESULT STDMETHODCALLTYPE get_RowCount(LONG* value) noexcept override {
    return Give(value, [&] { return LONG{Own().RowCount()}; });
  }
  HRESULT STDMETHODCALLTYPE Row(LONG index, IKtTableRow** value) noexcept override {
    return Give(value, [&] { return ToObject(Own().Row(CheckedIndex(index, Own().RowCount()))); });
  }
};

class StructureObject final
    : public NotebookShell<StructureObject, ktformula::ChemicalStructure, IKtChemicalStructure> {
 public:
  using NotebookShell::NotebookShell;

  HRESULT STDMETHODCALLTYPE get_Data(BSTR* value) noexcept override {
    return Give(value, [&] { return Own().Data(); });
  }
};

class FormObject final : public NotebookShell<FormObject, ktformula::Form, IKtForm> {
 public:
  using NotebookShell::NotebookShell;

  HRESULT STDMETHODCALLTYPE HolderOf(IDispatch* field, IKtControlHolder** value) noexcept override {
    return Give(value,
                [&] { return ToObject(Own().HolderOf(OwnArgument<ktformula::Field>(field))); });
  }
};

class GridControlObject final
    : public Shell<GridControlObject, ktformula::GridControl, IKtGridControl> {
 public:
  using Shell::Shell;

  HRESULT STDMETHODCALLTYPE WriteText(IDispatch* cell, BSTR text,
                                      VARIANT_BOOL flag) noexcept override {
    return Answer([&] { Own().WriteText(CellArgument(cell), View(text), flag != VARIANT_FALSE); });
  }
  HRESULT STDMETHODCALLTYPE ClearNumber(IDispatch* cell) noexcept override {
    return Answer([&] { Own().ClearNumber(CellArgument(cell)); });
  }
  HRESULT STDMETHODCALLTYPE SetValue(IDispatch* cell, double value, BSTR pattern,
                                     BSTR unitName) noexcept override {
    return Answer(
        [&] { Own().SetValue(CellArgument(cell), value, View(pattern), View(unitName)); });
  }
  HRESULT STDMETHODCALLTYPE FinishCell(IDispatch* cell) noexcept override {
    return Answer([&] { Own().FinishCell(CellArgument(cell)); });
  }

 private:
  static ktformula::TableCell& CellArgument(IDispatch* cell) {
    return OwnArgument<ktformula::TableCell>(cell);
  }
};

class ControlHolderObject final
    : public Shell<ControlHolderObject, ktformula::ControlHolder, IKtControlHolder> {
 public:
  using Shell::Shell;

  HRESULT STDMETHODCALLTYPE get_ELNProperties(IKtELNProperties** value) noexcept override {
    return Give(value, [&] { return ToObject(Own().Properties()); });
  }
  HRESULT STDMETHODCALLTYPE get_Object(IKtGridControl** value) noexcept override {
    return Give(value, [&] { return ToObject(Own().Object()); });
  }
};

class FieldObject final : public Shell<FieldObject, ktformula::Field, IKtField> {
 public:
  using Shell::Shell;

  HRESULT STDMETHODCALLTYPE get_Key(LONG* value) noexcept override {
    return Give(value, [&] { return LONG{Own().Key()}; });
  }
  HRESULT STDMETHODCALLTYPE get_Description(BSTR* value) noexcept override {
    return Give(value, [&] { return Own().Description(); });
  }
  HRESULT STDMETHODCALLTYPE get_Table(IKtTable** value) noexcept override {
    return Give(value, [&] { return ToObject(Own().AsTable()); });
  }
};

class OwnerObject final
    : public Shell<OwnerObject, ktformula::OwnerCollection, IKtOwnerCollection> {
 public:
  using Shell::Shell;

  HRESULT STDMETHODCALLTYPE get_Count(LONG* value) noexcept override {
    return Give(value, [&] { return LONG{Own().FieldCount()}; });
  }
  HRESULT STDMETHODCALLTYPE get_Item(LONG index, IKtField** value) noexcept override {
    return Give(value,
                [&] { return ToObject(Own().FieldAt(CheckedIndex(index, Own().FieldCount()))); });
  }
  HRESULT STDMETHODCALLTYPE get_WatchedField(IKtField** value) noexcept override {
    return Give(value, [&] { return ToObject(Own().WatchedField()); });
  }
  HRESULT STDMETHODCALLTYPE get_WatchedProperties(IKtELNProperties** value) noexcept override {
    return Give(value, [&] { return ToObject(Own().WatchedProperties()); });
  }
  HRESULT STDMETHODCALLTYPE Description(LONG flag, BSTR* value) noexcept override {
    return Give(value, [&] { return Own().Description(flag); });
  }
};

class NotificationObject final
    : public Shell<NotificationObject, ktformula::NotificationSource, IKtNotificationSource> {
 public:
  using Shell::Shell;

  HRESULT STDMETHODCALLTYPE get_FormObject(IKtForm** value) noexcept override {
    return Give(value, [&] { return ToObject(Own().FormObject()); });
  }
};

// The kind of an object promises its class.
template <typename EngineInterface>
ComPtr<IDispatch> ToObjectOf(NotebookObject& object) {
  return ToObject(Ref<EngineInterface>(static_cast<EngineInterface*>(&object)));
}

}  // namespace

ComPtr<IKtUnit> ToObject(const Ref<ktformula::Unit>& unit) {
  return FindOrMake<UnitObject, IKtUnit>(unit);
}
ComPtr<IKtUnitCatalogue> ToObject(const Ref<ktformula::UnitCatalogue>& catalogue) {
  return FindOrMake<UnitCatalogueObject, IKtUnitCatalogue>(catalogue);
}
ComPtr<IKtELNProperty> ToObject(const Ref<ktformula::ELNProperty>& property) {
  return FindOrMake<PropertyObject, IKtELNProperty>(property);
}
ComPtr<IKtELNProperties> ToObject(const Ref<ktformula::ELNProperties>& properties) {
  return FindOrMake<PropertiesObject, IKtELNProperties>(properties);
}
ComPtr<IKtPropertyScope> ToObject(const Ref<ktformula::PropertyScope>& scope) {
  return FindOrMake<ScopeObject, IKtPropertyScope>(scope);
}
ComPtr<IKtTableCell> ToObject(const Ref<ktformula::TableCell>& cell) {
  return FindOrMake<CellObject, IKtTableCell>(cell);
}
ComPtr<IKtTableProperty> ToObject(const Ref<ktformula::TableProperty>& column) {
  return FindOrMake<ColumnObject, IKtTableProperty>(column);
}
ComPtr<IKtTableRow> ToObject(const Ref<ktformula::TableRow>& row) {
  return FindOrMake<RowObject, IKtTableRow>(row);
}
ComPtr<IKtTable> ToObject(const Ref<ktformula::Table>& table) {
  return FindOrMake<TableObject, IKtTable>(table);
}
ComPtr<IKtChemicalStructure> ToObject(const Ref<ktformula::ChemicalStructure>& structure) {
  return FindOrMake<StructureObject, IKtChemicalStructure>(structure);
}
ComPtr<IKtForm> ToObject(const Ref<ktformula::Form>& form) {
  return FindOrMake<FormObject, IKtForm>(form);
}
ComPtr<IKtGridControl> ToObject(const Ref<ktformula::GridControl>& grid) {
  return FindOrMake<GridControlObject, IKtGridControl>(grid);
}
ComPtr<IKtControlHolder> ToObject(const Ref<ktformula::ControlHolder>& holder) {
  return FindOrMake<ControlHolderObject, IKtControlHolder>(holder);
}
ComPtr<IKtField> ToObject(const Ref<ktformula::Field>& field) {
  return FindOrMake<FieldObject, IKtField>(field);
}
ComPtr<IKtOwnerCollection> ToObject(const Ref<ktformula::OwnerCollection>& owner) {
  return FindOrMake<OwnerObject, IKtOwnerCollection>(owner);
}
ComPtr<IKtNotificationSource> ToObject(const Ref<ktformula::NotificationSource>& source) {
  return FindOrMake<NotificationObject, IKtNotificationSource>(source);
}

ComPtr<IDispatch> ToObject(const Ref<NotebookObject>& object) {
  if (!object) return nullptr;
  switch (object->Kind()) {
    case NotebookObjectKind::kTableCell: return ToObjectOf<ktformula::TableCell>(*object);
    case NotebookObjectKind::kTableRow: return ToObjectOf<ktformula::TableRow>(*object);
    case NotebookObjectKind::kTable: return ToObjectOf<ktformula::Table>(*object);
    case NotebookObjectKind::kTableProperty: return ToObjectOf<ktformula::TableProperty>(*object);
    case NotebookObjectKind::kStructure: return ToObjectOf<ktformula::ChemicalStructure>(*object);
    case NotebookObjectKind::kOther: break;
  }
  if (auto* const form = dynamic_cast<ktformula::Form*>(object.get())) {
    return ToObject(Ref<ktformula::Form>(form));
  }
  return FindOrMake<OtherObject, IKtNotebookObject>(object);
}

}  // namespace ktcom
