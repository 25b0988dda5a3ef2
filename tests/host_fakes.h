// Host objects that know only what a test tells them.
//
// A test owns the objects through Ref; what one fake knows of another is borrowed.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "host/notebook_objects.h"
#include "values/text.h"

namespace ktformula {

class FakeProperty : public ELNProperty {
 public:
  FakeProperty(std::u16string data_type, bool numeric)
      : data_type_(std::move(data_type)), numeric_(numeric) {}
  explicit FakeProperty(std::u16string data_type)
      : FakeProperty(data_type, data_type == u"number") {}

  std::u16string TypeName() const override { return u"ELNProperty"; }
  std::int32_t Key() const override { return 0; }
  std::u16string Name() const override { return u""; }
  bool IsNumeric() const override { return numeric_; }
  std::u16string DataTypeName() const override { return data_type_; }
  bool HasUnits() const override { return false; }
  Ref<Unit> DefaultUnit() const override { return nullptr; }
  bool NumberFormatting() const override { return false; }

 private:
  std::u16string data_type_;
  bool numeric_;
};

// What references ask of any notebook object. `answers` says what relative references denote: by
// their parts, joined with ":" and in lower case.
template <typename Base>
class FakeAnchor : public Base {
 public:
  explicit FakeAnchor(std::u16string type_name) : type_name_(std::move(type_name)) {}

  bool resolves = true;
  std::map<std::u16string, NotebookObject*> answers;
  PropertyScope* scope = nullptr;

  std::u16string TypeName() const override { return type_name_; }
  bool ResolvesRelativeReferences() const noexcept override { return resolves; }
  Ref<NotebookObject> ResolveRelative(std::span<const std::u16string> parts) override {
    std::u16string path;
    for (const std::u16string& part : parts) {
      path += (path.empty() ? u"" : u":") + LowerCase(part);
    }
    const auto found = answers.find(path);
    return Ref<NotebookObject>(found == answers.end() ? nullptr : found->second);
  }
  Ref<PropertyScope> Scope() override { return Ref<PropertyScope>(scope); }

 private:
  std::u16string type_name_;
};

class FakeField : public FakeAnchor<NotebookObject> {
 public:
  FakeField() : FakeAnchor(u"TextField") { resolves = false; }
};

class FakeTable : public FakeAnchor<Table> {
 public:
  // With an original: another wrapper of the same table.
  explicit FakeTable(const FakeTable* original = nullptr)
      : FakeAnchor(u"Table"), original_(original) {}

  const void* Identity() const noexcept override { return original_ ? original_ : this; }
  int ColumnCount() const override { return 0; }
  Ref<TableProperty> Column(int /*index*/) const override { return nullptr; }
  int RowCount() const override { return 0; }
  Ref<TableRow> Row(int /*index*/) const override { return nullptr; }

 private:
  const FakeTable* original_;
};

class FakeColumn : public FakeAnchor<TableProperty> {
 public:
  explicit FakeColumn(FakeTable& table) : FakeAnchor(u"TableProperty"), table_(&table) {
    resolves = false;
  }

  Ref<Table> OwningTable() const override { return Ref<Table>(table_); }
  Ref<ELNProperty> Property() const override { return nullptr; }
  int CellCount() const override { return 0; }
  Ref<TableCell> Cell(int /*index*/) const override { return nullptr; }

 private:
  FakeTable* table_;
};

class FakeRow : public FakeAnchor<TableRow> {
 public:
  explicit FakeRow(FakeTable& table) : FakeAnchor(u"TableRow"), table_(&table) {}

  std::map<const TableProperty*, TableCell*> cells;

  Ref<Table> OwningTable() const override { return Ref<Table>(table_); }
  Ref<TableCell> Cell(const TableProperty& column) const override {
    const auto found = cells.find(&column);
    return Ref<TableCell>(found == cells.end() ? nullptr : found->second);
  }
  std::u16string Tag(std::u16string_view /*name*/) const override { return u""; }

 private:
  FakeTable* table_;
};

class FakeCell : public FakeAnchor<TableCell> {
 public:
  FakeCell() : FakeAnchor(u"TableCell") {}

  ELNProperty* property = nullptr;
  TableRow* row = nullptr;
  std::u16string text;
  double min_number = 0;
  double max_number = 0;
  std::u16string structure;

  Ref<ELNProperty> Property() const override { return Ref<ELNProperty>(property); }
  Ref<TableRow> Row() const override { return Ref<TableRow>(row); }
  std::u16string Text() const override { return text; }
  double MinNumber() const override { return min_number; }
  double MaxNumber() const override { return max_number; }
  std::u16string StructureText() const override { return structure; }
  std::u16string StateText() const override { return u""; }
  std::u16string Tag() const override { return u""; }
  std::u16string Key() const override { return u""; }
  std::u16string UnitName() const override { return u""; }
};

class FakeStructure : public FakeAnchor<ChemicalStructure> {
 public:
  explicit FakeStructure(std::u16string data)
      : FakeAnchor(u"ChemicalStructure"), data_(std::move(data)) {
    resolves = false;
  }

  std::u16string Data() const override { return data_; }

 private:
  std::u16string data_;
};

class FakeScope : public PropertyScope {
 public:
  // By name: the holder of the field, and the object that bears its value.
  struct Entry {
    NotebookObject* holder;
    NotebookObject* value;
  };
  std::map<std::u16string, Entry, std::less<>> fields;

  std::u16string TypeName() const override { return u"Scope"; }
  Ref<NotebookObject> FindHolder(std::u16string_view name) override {
    const auto found = fields.find(name);
    return Ref<NotebookObject>(found == fields.end() ? nullptr : found->second.holder);
  }
  Ref<NotebookObject> ValueObject(NotebookObject& holder) override {
    for (const auto& [name, entry] : fields) {
      if (entry.holder == &holder) return Ref<NotebookObject>(entry.value);
    }
    return nullptr;
  }
};

}  // namespace ktformula
