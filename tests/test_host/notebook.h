// A notebook in memory: what the engine's tests have for a host.
//
// A form is made of a text, one line a row:
//
//   table Reactants
//     1 Name string | 2 Mass number g | 3 Moles number mmol formatted
//     noted salt    | entered 5.2 g   |
//     noted water   | 3 +/- 1 mg      |
//   structure Product = CCO
//   text Remark = first run
//
// A column is its key, name and type, its default unit, and "formatted" when its numbers go through
// the result format. Rows have the ids r1, r2 and so on. The words "entered" and "noted" before a
// cell's text are its state, which gives it the tag "entered" as well. Numbers are in base units.
//
// Parts of the form point back to it with plain pointers. Members are open: a test that wants
// something else sets it.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "host/notebook_objects.h"
#include "test_host/units.h"

namespace ktformula {

struct TestForm;
struct TestRow;
struct TestTable;

struct TestProperty final : ELNProperty {
  std::int32_t key = 0;
  std::u16string name;
  std::u16string type;
  Ref<TestUnit> unit;
  bool formatted = false;

  std::u16string TypeName() const override { return u"ELNProperty"; }
  std::int32_t Key() const override { return key; }
  std::u16string Name() const override { return name; }
  bool IsNumeric() const override { return type == u"number"; }
  std::u16string DataTypeName() const override { return type; }
  bool HasUnits() const override { return static_cast<bool>(unit); }
  Ref<Unit> DefaultUnit() const override { return unit; }
  bool NumberFormatting() const override { return formatted; }
};

struct TestColumn final : TableProperty {
  explicit TestColumn(TestTable& owner) : table(owner) {}

  TestTable& table;
  Ref<TestProperty> property = MakeRef<TestProperty>();

  std::u16string TypeName() const override { return u"TableProperty"; }
  Ref<PropertyScope> Scope() override;
  Ref<Table> OwningTable() const override;
  Ref<ELNProperty> Property() const override { return property; }
  int CellCount() const override;
  Ref<TableCell> Cell(int index) const override;
};

struct TestCell final : TableCell {
  TestCell(TestRow& owner, const TestColumn& of) : row(owner), column(of) {}

  TestRow& row;
  const TestColumn& column;
  std::u16string text;
  double min = 0;
  double max = 0;
  // The unit that was typed; "" for none.
  std::u16string unit;
  std::u16string state;
  std::u16string tag;

  // Takes a text as a user types it: a number, or NUMBER +/- NUMBER, and a unit.
  void Type(std::u16string_view typed);

  std::u16string TypeName() const override { return u"TableCell"; }
  bool ResolvesRelativeReferences() const noexcept override { return true; }
  Ref<NotebookObject> ResolveRelative(std::span<const std::u16string> parts) override;
  Ref<PropertyScope> Scope() override;
  Ref<ELNProperty> Property() const override { return column.property; }
  Ref<TableRow> Row() const override;
  std::u16string Text() const override { return text; }
  double MinNumber() const override { return min; }
  double MaxNumber() const override { return max; }
  std::u16string StructureText() const override;
  std::u16string StateText() const override { return state; }
  std::u16string Tag() const override { return tag; }
  std::u16string Key() const override;
  std::u16string UnitName() const override;
};

struct TestRow final : TableRow {
  explicit TestRow(TestTable& owner) : table(owner) {}

  TestTable& table;
  std::map<std::u16string, std::u16string, std::less<>> tags;
  std::vector<Ref<TestCell>> cells;

  std::u16string TypeName() const override { return u"TableRow"; }
  bool ResolvesRelativeReferences() const noexcept override { return true; }
  Ref<NotebookObject> ResolveRelative(std::span<const std::u16string> parts) override;
  Ref<PropertyScope> Scope() override;
  Ref<Table> OwningTable() const override;
  Ref<TableCell> Cell(const TableProperty& of) const override { return CellOf(&of); }
  std::u16string Tag(std::u16string_view name) const override;

  // Empty when the column is not of this row's table.
  Ref<TestCell> CellOf(const TableProperty* of) const;
};

struct TestTable final : Table {
  explicit TestTable(TestForm& owner) : form(owner) {}

  TestForm& form;
  std::u16string name;
  std::vector<Ref<TestColumn>> columns;
  std::vector<Ref<TestRow>> rows;
  // Set for another wrapper of the very same table.
  const TestTable* same_as = nullptr;

  // nullptr when there is none.
  TestColumn* FindColumn(std::u16string_view column_name) const;
  TestCell& CellAt(std::u16string_view column_name, std::size_t row) const;
  // The texts of a column, "a|b".
  std::string Texts(std::u16string_view column_name) const;

  const void* Identity() const noexcept override { return same_as != nullptr ? same_as : this; }
  std::u16string TypeName() const override { return u"Table"; }
  bool ResolvesRelativeReferences() const noexcept override { return true; }
  Ref<NotebookObject> ResolveRelative(std::span<const std::u16string> parts) override;
  Ref<PropertyScope> Scope() override;
  int ColumnCount() const override;
  Ref<TableProperty> Column(int index) const override { return columns.at(std::size_t(index) - 1); }
  int RowCount() const override { return static_cast<int>(rows.size()); }
  Ref<TableRow> Row(int index) const override { return rows.at(std::size_t(index) - 1); }
};

struct TestStructure final : ChemicalStructure {
  std::u16string data;

  std::u16string TypeName() const override { return u"ChemicalStructure"; }
  std::u16string Data() const override { return data; }
};

struct TestTextField final : NotebookObject {
  std::u16string TypeName() const override { return u"TextField"; }
};

// Shows numbers in patterns of "0", "." and "%", and records what it is asked for.
struct TestGrid final : GridControl {
  explicit TestGrid(const TestUnits& known_units) : units(&known_units) {}

  Ref<const TestUnits> units;
  std::string log;
  // What was shown last: value, pattern and unit name, "0.5 as 0.00 in g".
  std::string shown;
  // Runs after each text that is written.
  std::function<void()> on_write = [] {};

  std::u16string TypeName() const override { return u"Grid"; }
  void WriteText(TableCell& cell, std::u16string_view text, bool flag) override;
  void ClearNumber(TableCell& cell) override;
  void SetValue(TableCell& cell, double value, std::u16string_view pattern,
                std::u16string_view unit_name) override;
  void FinishCell(TableCell& cell) override;

 private:
  static TestCell& Begin(TableCell& cell);
};

struct TestField final : Field {
  std::u16string name;
  std::int32_t key = 0;
  // What stands in the field, and the same for a table.
  Ref<NotebookObject> content;
  Ref<TestTable> table;

  std::u16string TypeName() const override { return u"Field"; }
  std::int32_t Key() const override { return key; }
  std::u16string Description() const override;
  Ref<Table> AsTable() override;
};

// Also tells the listeners of its tables that something has changed.
struct TestForm final : Form {
  explicit TestForm(std::string_view notation);
  ~TestForm() override;

  Ref<TestUnits> units = MakeRef<TestUnits>();
  std::vector<Ref<TestField>> fields;
  Ref<TestGrid> grid = MakeRef<TestGrid>(*units);
  // What listeners write through; the grid unless a test has another.
  Ref<GridControl> control = grid;
  // What a listener asked for on its way to the cells, in order.
  std::string asked;
  Ref<PropertyScope> scope;

  TestTable& TableOf(std::u16string_view name) const;
  TestField& FieldOf(std::u16string_view name) const;
  // What a listener of the field is initialised with.
  Ref<OwnerCollection> OwnerOf(std::u16string_view field_name);
  Ref<NotificationSource> Notification();

  std::u16string TypeName() const override { return u"Form"; }
  Ref<PropertyScope> Scope() override { return scope; }
  Ref<ControlHolder> HolderOf(const Field& field) override;

 private:
  void ReadLine(std::string_view line);
  TestTable* table_being_read_ = nullptr;
};

}  // namespace ktformula
