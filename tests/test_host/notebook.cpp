#include "test_host/notebook.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <limits>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "test_host/utf8.h"
#include "values/platform.h"
#include "values/text.h"

namespace ktformula {

namespace {

constexpr std::u16string_view kEntered = u"entered";
constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();

bool IsParent(std::u16string_view part) {
  return LowerCase(part) == u"parent";
}

struct FormScope final : PropertyScope {
  explicit FormScope(TestForm& owner) : form(owner) {}
  TestForm& form;

  std::u16string TypeName() const override { return u"Scope"; }
  Ref<NotebookObject> FindHolder(std::u16string_view name) override {
    for (const auto& field : form.fields) {
      if (field->name == name) return field->content;
    }
    return nullptr;
  }
  Ref<NotebookObject> ValueObject(NotebookObject& holder) override {
    return Ref<NotebookObject>(&holder);
  }
};

struct ColumnProperties final : ELNProperties {
  explicit ColumnProperties(const TestTable& of) : table(of) {}
  const TestTable& table;

  std::u16string TypeName() const override { return u"ELNProperties"; }
  int Count() const override { return table.ColumnCount(); }
  Ref<ELNProperty> Item(int index) const override { return table.Column(index)->Property(); }
  Ref<ELNProperty> Find(std::u16string_view name) const override {
    const TestColumn* column = table.FindColumn(name);
    return column != nullptr ? column->Property() : nullptr;
  }
};

struct TableHolder final : ControlHolder {
  TableHolder(TestForm& owner, Ref<TestTable> of) : form(owner), table(of) {}
  TestForm& form;
  Ref<TestTable> table;

  std::u16string TypeName() const override { return u"ControlHolder"; }
  Ref<ELNProperties> Properties() override {
    form.asked += "properties, ";
    return table ? MakeRef<ColumnProperties>(*table) : nullptr;
  }
  Ref<GridControl> Object() override {
    form.asked += "control, ";
    return table ? form.control : nullptr;
  }
};

struct FieldOwner final : OwnerCollection {
  FieldOwner(TestForm& owner, TestField& of) : form(owner), field(of) {}
  TestForm& form;
  TestField& field;

  std::u16string TypeName() const override { return u"FormSection"; }
  int FieldCount() const override {
    form.asked += "fields, ";
    return static_cast<int>(form.fields.size());
  }
  Ref<Field> FieldAt(int index) const override { return form.fields.at(std::size_t(index) - 1); }
  Ref<Field> WatchedField() const override { return Ref<Field>(&field); }
  Ref<ELNProperties> WatchedProperties() const override {
    return MakeRef<ColumnProperties>(*field.table);
  }
  std::u16string Description(int) const override { return field.Description() + u" of form \"F\""; }
};

struct FormNotification final : NotificationSource {
  explicit FormNotification(TestForm& of) : form(of) {}
  TestForm& form;

  std::u16string TypeName() const override { return u"Notification"; }
  Ref<Form> FormObject() override {
    form.asked += "form, ";
    return Ref<Form>(&form);
  }
};

std::optional<double> TakeNumber(std::u16string_view& text) {
  text = TrimBlanks(text);
  const std::size_t sign = text.starts_with(u'-') ? 1 : 0;
  const std::size_t length = sign + NumeralLength(text.substr(sign));
  const auto number = NumericValue(text.substr(0, length));
  if (number) text.remove_prefix(length);
  return number;
}

// NUMBER, or NUMBER +/- NUMBER, taken off the front.
std::optional<std::pair<double, double>> TakeBounds(std::u16string_view& text) {
  const auto middle = TakeNumber(text);
  if (!middle) return std::nullopt;
  text = TrimBlanks(text);
  if (!text.starts_with(u"+/-")) return std::pair(*middle, *middle);
  text.remove_prefix(3);
  const auto tolerance = TakeNumber(text);
  if (!tolerance) return std::nullopt;
  return std::pair(*middle - *tolerance, *middle + *tolerance);
}

std::string ShowNumber(double value, std::string pattern) {
  const bool percent = pattern.ends_with('%');
  if (percent) pattern.pop_back();
  const std::size_t point = pattern.find('.');
  const std::size_t decimals = point == pattern.npos ? 0 : pattern.size() - point - 1;
  std::array<char, 400> text{};
  std::snprintf(text.data(), text.size(), point == pattern.npos ? "%0*.*f" : "%#0*.*f",
                static_cast<int>(pattern.size()), static_cast<int>(decimals),
                percent ? value * 100 : value);
  return text.data() + std::string(percent ? "%" : "");
}

std::string Trim(std::string_view text) {
  const std::size_t begin = std::min(text.find_first_not_of(' '), text.size());
  return std::string(text.substr(begin, text.find_last_not_of(' ') + 1 - begin));
}

// The pieces between bars; a last bar ends the last piece.
std::vector<std::string> Pieces(std::string_view line) {
  std::vector<std::string> pieces;
  while (!line.empty()) {
    const std::size_t bar = std::min(line.find('|'), line.size());
    pieces.push_back(Trim(line.substr(0, bar)));
    line.remove_prefix(std::min(bar + 1, line.size()));
  }
  return pieces;
}

Ref<TestColumn> ReadColumn(TestTable& table, const std::string& notation) {
  auto column = MakeRef<TestColumn>(table);
  std::istringstream words(notation);
  std::string name;
  std::string type;
  words >> column->property->key >> name >> type;
  column->property->name = FromUtf8(name);
  column->property->type = FromUtf8(type);
  for (std::string word; words >> word;) {
    if (word == "formatted") {
      column->property->formatted = true;
    } else {
      column->property->unit = table.form.units->FindUnit(FromUtf8(word));
      if (!column->property->unit) throw std::invalid_argument(word);
    }
  }
  return column;
}

void ReadCell(TestCell& cell, std::string notation) {
  for (const std::string state : {"entered", "noted"}) {
    if (!notation.starts_with(state + " ")) continue;
    cell.state = FromUtf8(state);
    cell.tag = kEntered;
    notation = Trim(notation.substr(state.size()));
  }
  cell.Type(FromUtf8(notation));
}

Ref<TestRow> ReadRow(TestTable& table, std::string_view line) {
  auto row = MakeRef<TestRow>(table);
  row->tags[u"ID"] = u"r" + ToDecimalText(table.RowCount() + 1);
  const std::vector<std::string> texts = Pieces(line);
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    row->cells.push_back(MakeRef<TestCell>(*row, *table.columns[i]));
    ReadCell(*row->cells.back(), i < texts.size() ? texts[i] : "");
  }
  return row;
}

}  // namespace

Ref<PropertyScope> TestColumn::Scope() {
  return table.Scope();
}
Ref<Table> TestColumn::OwningTable() const {
  return Ref<Table>(&table);
}
int TestColumn::CellCount() const {
  table.form.asked += "cells, ";
  return table.RowCount();
}
Ref<TableCell> TestColumn::Cell(int index) const {
  return table.Row(index)->Cell(*this);
}

void TestCell::Type(std::u16string_view typed) {
  text = typed;
  unit.clear();
  min = max = 0;
  if (column.property->type == u"date") min = max = DateValue(typed).value_or(0);
  if (column.property->type != u"number" || text.empty()) return;
  min = max = kNotANumber;
  std::u16string_view rest = text;
  const auto bounds = TakeBounds(rest);
  rest = TrimBlanks(rest);
  const Ref<TestUnit> own_unit =
      rest.empty() ? column.property->unit : row.table.form.units->FindUnit(rest);
  if (!bounds || (!rest.empty() && !own_unit)) return;
  unit = rest;
  min = own_unit ? own_unit->ToBase(bounds->first) : bounds->first;
  max = own_unit ? own_unit->ToBase(bounds->second) : bounds->second;
}

Ref<NotebookObject> TestCell::ResolveRelative(std::span<const std::u16string> parts) {
  if (!IsParent(parts[0])) return row.ResolveRelative(parts);
  if (parts.size() == 1) return Ref<NotebookObject>(&row);
  if (IsParent(parts[1])) return row.ResolveRelative(parts.subspan(1));
  return parts.size() == 2 ? row.CellOf(row.table.FindColumn(parts[1])) : nullptr;
}
Ref<PropertyScope> TestCell::Scope() {
  return row.Scope();
}
Ref<TableRow> TestCell::Row() const {
  return Ref<TableRow>(&row);
}
std::u16string TestCell::StructureText() const {
  return column.property->type == u"structure" ? text : u"";
}
std::u16string TestCell::Key() const {
  return column.property->unit ? column.property->unit->QuantityName() : u"";
}
std::u16string TestCell::UnitName() const {
  if (!column.property->unit) return u"";
  return state.empty() || unit.empty() ? column.property->unit->UnitText() : unit;
}

Ref<NotebookObject> TestRow::ResolveRelative(std::span<const std::u16string> parts) {
  if (IsParent(parts[0])) {
    return parts.size() == 1 ? Ref<NotebookObject>(&table)
                             : table.ResolveRelative(parts.subspan(1));
  }
  return Ref<NotebookObject>(parts.size() == 1 ? table.FindColumn(parts[0]) : nullptr);
}
Ref<PropertyScope> TestRow::Scope() {
  return table.Scope();
}
Ref<Table> TestRow::OwningTable() const {
  return Ref<Table>(&table);
}
std::u16string TestRow::Tag(std::u16string_view name) const {
  const auto found = tags.find(name);
  return found == tags.end() ? u"" : found->second;
}
Ref<TestCell> TestRow::CellOf(const TableProperty* of) const {
  for (const auto& cell : cells) {
    if (&cell->column == of) return cell;
  }
  return nullptr;
}

int TestTable::ColumnCount() const {
  form.asked += "columns, ";
  return static_cast<int>(columns.size());
}
TestColumn* TestTable::FindColumn(std::u16string_view column_name) const {
  for (const auto& column : columns) {
    if (column->property->name == column_name) return column.get();
  }
  return nullptr;
}
TestCell& TestTable::CellAt(std::u16string_view column_name, std::size_t row) const {
  return *rows.at(row - 1)->CellOf(FindColumn(column_name));
}
std::string TestTable::Texts(std::u16string_view column_name) const {
  std::string texts;
  for (const auto& row : rows) {
    texts += (row.get() == rows.front().get() ? "" : "|") +
             ToUtf8(row->CellOf(FindColumn(column_name))->text);
  }
  return texts;
}
Ref<NotebookObject> TestTable::ResolveRelative(std::span<const std::u16string> parts) {
  if (parts.size() == 1 && IsParent(parts[0])) return Ref<NotebookObject>(&form);
  TestColumn* column = FindColumn(parts[0]);
  if (parts.size() == 1) return Ref<NotebookObject>(column);
  for (const auto& row : rows) {
    if (parts.size() == 2 && row->Tag(u"ID") == parts[1]) return row->CellOf(column);
  }
  return nullptr;
}
Ref<PropertyScope> TestTable::Scope() {
  return form.Scope();
}

// A cell that is written to is a computed one.
TestCell& TestGrid::Begin(TableCell& cell) {
  auto& own = static_cast<TestCell&>(cell);
  own.state.clear();
  own.tag.clear();
  own.unit.clear();
  return own;
}
void TestGrid::WriteText(TableCell& cell, std::u16string_view text, bool flag) {
  log += "write " + ToUtf8(text) + (flag ? " as value; " : "; ");
  TestCell& own = Begin(cell);
  own.text = text;
  const auto number = flag ? NumericValue(text) : std::nullopt;
  const bool no_number = own.column.property->type == u"number" && !text.empty();
  own.min = own.max = number.value_or(no_number ? kNotANumber : 0);
  on_write();
}
void TestGrid::ClearNumber(TableCell& cell) {
  log += "clear; ";
  TestCell& own = Begin(cell);
  own.min = own.max = 0;
}
void TestGrid::SetValue(TableCell& cell, double value, std::u16string_view pattern,
                        std::u16string_view unit_name) {
  shown = ToUtf8(NumberToText(value)) + " as " + ToUtf8(pattern);
  if (!unit_name.empty()) shown += " in " + ToUtf8(unit_name);
  TestCell& own = Begin(cell);
  const Ref<TestUnit> unit = units->FindUnit(unit_name);
  own.text = FromUtf8(ShowNumber(unit ? unit->FromBase(value) : value, ToUtf8(pattern)));
  if (unit) own.text += u" " + unit->UnitText();
  own.min = own.max = value;
  log += "show " + ToUtf8(own.text) + "; ";
}
void TestGrid::FinishCell(TableCell&) {
  log += "finish. ";
}

Ref<Table> TestField::AsTable() {
  if (table) table->form.asked += "table, ";
  return table;
}
std::u16string TestField::Description() const {
  return (table ? u"table \"" : u"field \"") + name + u"\"";
}

TestForm::TestForm(std::string_view notation) : scope(MakeRef<FormScope>(*this)) {
  std::istringstream lines{std::string(notation)};
  for (std::string line; std::getline(lines, line);) {
    if (!Trim(line).empty()) ReadLine(Trim(line));
  }
}

TestForm::~TestForm() = default;

void TestForm::ReadLine(std::string_view line) {
  std::istringstream words{std::string(line)};
  std::string kind;
  std::string name;
  words >> kind >> name;
  if (kind != "table" && kind != "structure" && kind != "text") {
    TestTable& table = *table_being_read_;
    if (!table.columns.empty()) return table.rows.push_back(ReadRow(table, line));
    for (const std::string& column : Pieces(line))
      table.columns.push_back(ReadColumn(table, column));
    return;
  }
  fields.push_back(MakeRef<TestField>());
  TestField& field = *fields.back();
  field.name = FromUtf8(name);
  field.key = static_cast<std::int32_t>(fields.size());
  if (kind == "table") {
    field.content = field.table = MakeRef<TestTable>(*this);
    field.table->name = field.name;
    table_being_read_ = field.table.get();
  } else if (kind == "structure") {
    const auto structure = MakeRef<TestStructure>();
    structure->data = FromUtf8(Trim(line.substr(line.find('=') + 1)));
    field.content = structure;
  } else {
    field.content = MakeRef<TestTextField>();
  }
}

TestField& TestForm::FieldOf(std::u16string_view name) const {
  return **std::find_if(fields.begin(), fields.end(),
                        [&](const auto& field) { return field->name == name; });
}
TestTable& TestForm::TableOf(std::u16string_view name) const {
  return *FieldOf(name).table;
}
Ref<OwnerCollection> TestForm::OwnerOf(std::u16string_view field_name) {
  return MakeRef<FieldOwner>(*this, FieldOf(field_name));
}
Ref<NotificationSource> TestForm::Notification() {
  return MakeRef<FormNotification>(*this);
}
Ref<ControlHolder> TestForm::HolderOf(const Field& field) {
  asked += "holder, ";
  return MakeRef<TableHolder>(*this, static_cast<const TestField&>(field).table);
}

}  // namespace ktformula
