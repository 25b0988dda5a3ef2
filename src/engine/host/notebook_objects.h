// The notebook's objects as the component sees them: forms, tables, cells and what they know.
//
// Everything here belongs to the host. The component borrows the objects through Ref for the
// length of a call or, for those given to it at Initialize and for tables and columns that promise
// something, until Terminate. Indices count from 1.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "host/promises.h"
#include "host/ref.h"

namespace ktformula {

class ELNProperty;
class Table;
class TableProperty;
class TableRow;

// What an object denotes when a reference leads to it. The kind promises the C++ class: an object
// of kind kTableCell is a TableCell, and so on.
enum class NotebookObjectKind { kTableCell, kTableRow, kTable, kTableProperty, kStructure, kOther };

// Finds the named fields of a form.
class PropertyScope;

// Any object that a reference may start from or lead to.
class NotebookObject : public HostObject {
 public:
  virtual NotebookObjectKind Kind() const noexcept { return NotebookObjectKind::kOther; }

  // Whether ResolveRelative may know an answer: true for cells, rows and tables.
  virtual bool ResolvesRelativeReferences() const noexcept { return false; }

  // The object that the parts denote seen from here, empty when they mean nothing here.
  virtual Ref<NotebookObject> ResolveRelative(std::span<const std::u16string> /*parts*/) {
    return nullptr;
  }

  // The scope in which the fields around this object are defined; empty outside any form.
  virtual Ref<PropertyScope> Scope() { return nullptr; }
};

class PropertyScope : public HostObject {
 public:
  // The object holding the field of this name, empty when the scope defines none.
  virtual Ref<NotebookObject> FindHolder(std::u16string_view name) = 0;

  // The object that bears the holder's value: a table for itself, a structure field's structure.
  virtual Ref<NotebookObject> ValueObject(NotebookObject& holder) = 0;
};

// A unit of measurement. Numbers are kept in the base unit of their quantity.
class Unit : public HostObject {
 public:
  virtual std::u16string QuantityName() const = 0;
  virtual std::u16string UnitText() const = 0;
  virtual double FromBase(double value) const = 0;
};

class UnitCatalogue : public HostObject {
 public:
  // The unit of exactly this name, empty when there is none.
  virtual Ref<Unit> Find(std::u16string_view unit_text) = 0;
};

// The definition of a field or of a table's column.
class ELNProperty : public HostObject {
 public:
  virtual std::int32_t Key() const = 0;
  virtual std::u16string Name() const = 0;
  virtual bool IsNumeric() const = 0;
  // "string", "number", "date", "Boolean" or "structure", in exactly this case.
  virtual std::u16string DataTypeName() const = 0;
  virtual bool HasUnits() const = 0;
  // Empty when HasUnits is false.
  virtual Ref<Unit> DefaultUnit() const = 0;
  // Whether computed numbers go through the listener's result format.
  virtual bool NumberFormatting() const = 0;
};

class ELNProperties : public HostObject {
 public:
  virtual int Count() const = 0;
  virtual Ref<ELNProperty> Item(int index) const = 0;
  // Empty when no property has exactly this name.
  virtual Ref<ELNProperty> Find(std::u16string_view name) const = 0;
};

class TableCell : public NotebookObject {
 public:
  NotebookObjectKind Kind() const noexcept final { return NotebookObjectKind::kTableCell; }

  // Empty for a cell whose kind of value is not known.
  virtual Ref<ELNProperty> Property() const = 0;
  virtual Ref<TableRow> Row() const = 0;
  // The cell's column; empty where the host does not tell, as it does wherever it promises anything
  // about the table.
  virtual Ref<TableProperty> Column() const;
  virtual std::u16string Text() const = 0;
  // Both in base units.
  virtual double MinNumber() const = 0;
  virtual double MaxNumber() const = 0;
  virtual std::u16string StructureText() const = 0;
  // "entered" for a quantity that the user typed in; see IsEntered.
  virtual std::u16string StateText() const = 0;
  virtual std::u16string Tag() const = 0;
  // The key under which a display unit may have been chosen for cells like this one.
  virtual std::u16string Key() const = 0;
  // The unit in which this cell's number is shown unless another is chosen.
  virtual std::u16string UnitName() const = 0;
};

// A column of a table.
class TableProperty : public NotebookObject {
 public:
  NotebookObjectKind Kind() const noexcept final { return NotebookObjectKind::kTableProperty; }

  virtual Ref<Table> OwningTable() const = 0;
  virtual Ref<ELNProperty> Property() const = 0;
  virtual int CellCount() const = 0;
  virtual Ref<TableCell> Cell(int index) const = 0;

  // Promises; nullptr for none.
  virtual ColumnCells* Cells() { return nullptr; }
  virtual ColumnChanges* Changes() { return nullptr; }
};

inline Ref<TableProperty> TableCell::Column() const {
  return nullptr;
}

class TableRow : public NotebookObject {
 public:
  NotebookObjectKind Kind() const noexcept final { return NotebookObjectKind::kTableRow; }

  virtual Ref<Table> OwningTable() const = 0;
  // The row's cell of the column, empty when the row has none.
  virtual Ref<TableCell> Cell(const TableProperty& column) const = 0;
  virtual std::u16string Tag(std::u16string_view name) const = 0;
  // The row's place in its table, counted from 0; empty where the host does not tell, as it does
  // wherever it promises anything about the table.
  virtual std::optional<std::size_t> Place() const { return std::nullopt; }
};

class Table : public NotebookObject {
 public:
  NotebookObjectKind Kind() const noexcept final { return NotebookObjectKind::kTable; }

  virtual int ColumnCount() const = 0;
  virtual Ref<TableProperty> Column(int index) const = 0;
  virtual int RowCount() const = 0;
  virtual Ref<TableRow> Row(int index) const = 0;

  // A promise; nullptr for none.
  virtual ReferenceBinding* Binding() { return nullptr; }
};

class ChemicalStructure : public NotebookObject {
 public:
  NotebookObjectKind Kind() const noexcept final { return NotebookObjectKind::kStructure; }

  // The structure's data in the Mvr format.
  virtual std::u16string Data() const = 0;
};

// The control that shows a table, and the only way to write into its cells.
class GridControl : public HostObject {
 public:
  // Flag true: the text is a value and its number is read from it. False: it is a text only.
  virtual void WriteText(TableCell& cell, std::u16string_view text, bool flag) = 0;
  virtual void ClearNumber(TableCell& cell) = 0;
  // Sets the number, in base units, and shows it in the pattern, converted into the unit
  // (an empty name: no unit).
  virtual void SetValue(TableCell& cell, double value, std::u16string_view pattern,
                        std::u16string_view unit_name) = 0;
  // Ends the writing of one cell.
  virtual void FinishCell(TableCell& cell) = 0;
};

// What stands on a form for one field.
class ControlHolder : public HostObject {
 public:
  virtual Ref<ELNProperties> Properties() = 0;
  // The control itself; empty unless the field is a table.
  virtual Ref<GridControl> Object() = 0;
};

// A field of a form.
class Field : public HostObject {
 public:
  virtual std::int32_t Key() const = 0;
  // For messages, such as: table "Reactants".
  virtual std::u16string Description() const = 0;
  // The field's table, empty when the field is not a table.
  virtual Ref<Table> AsTable() = 0;
};

// A promise that a host may give: to tell whether what its users entered is still the same, and
// that a catalogue of units knows a unit for good. Without it, every pass that writes formatted
// numbers looks at all cells of the form; with it, at none until the stamp changes, and then only
// at those that changed if the tables give all promises of host/promises.h.
class EnteredCellsPromise {
 public:
  // Never again the same number once an entered cell of the tables has another text, or a cell has
  // become an entered one or ceased to be one.
  virtual std::uint64_t Stamp() const = 0;
  // What was kept last, by whichever listener of these tables; empty until then, and when nothing
  // was. It holds on to no object of the form.
  virtual Ref<HostObject> Kept() const = 0;
  virtual void Keep(Ref<HostObject> object) = 0;

 protected:
  ~EnteredCellsPromise() = default;
};

// The form section that owns the field which a listener watches.
class OwnerCollection : public HostObject {
 public:
  // For the entered cells of all its tables; lives as long as the collection. nullptr: no promise.
  virtual EnteredCellsPromise* EnteredCells() const { return nullptr; }

  virtual int FieldCount() const = 0;
  virtual Ref<Field> FieldAt(int index) const = 0;
  virtual Ref<Field> WatchedField() const = 0;
  // The properties of the watched field, also while no form is open.
  virtual Ref<ELNProperties> WatchedProperties() const = 0;
  // The owner in words, for descriptions of its listeners; the flag is the host's.
  virtual std::u16string Description(int flag) const = 0;
};

class Form : public NotebookObject {
 public:
  virtual Ref<ControlHolder> HolderOf(const Field& field) = 0;
};

// The first argument of a notification.
class NotificationSource : public HostObject {
 public:
  virtual Ref<Form> FormObject() = 0;
};

}  // namespace ktformula
