// The engine's view of tables that a program keeps itself; see own_cells.h.
//
// As in the notebook's model, a form owns its tables and a table its columns; they point back with
// plain pointers. What was a column once stays an object until the form's end.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "analysis/watched_form.h"

#include "host/framework.h"
#include "host/notebook_objects.h"
#include "notebook/tables/living_objects.h"
#include "notebook/tables/model.h"
#include "notebook/tables/own_cells.h"
#include "notebook/tables/table_binding.h"
#include "values/dictionary.h"

namespace ktnotebook {

class OwnForm;
class OwnTableObject;

// Where a cell of such a table is.
struct OwnCellPlace {
  const OwnTableObject* table;
  std::size_t column;
  std::size_t row;

  auto operator<=>(const OwnCellPlace&) const = default;
};
// Raises error 91 when it is gone.
OwnCellPlace PlaceOfCell(const ktformula::TableCell& cell);

class OwnColumnObject final : public ktformula::TableProperty, private ktformula::ColumnCells {
 public:
  OwnColumnObject(OwnTableObject& table, std::int32_t key);
  ~OwnColumnObject() override;

  // Where a cell of any such column is.
  static OwnCellPlace PlaceOf(const ktformula::TableCell& cell);

  OwnTableObject& Parent() const noexcept { return table_; }
  std::int32_t Key() const noexcept { return key_; }
  const PropertyDefinition& Definition() const noexcept { return property_->Definition(); }
  const Ref<NotebookProperty>& OwnProperty() const noexcept { return property_; }
  // The column's place, counted from 0. Raises error 91 when it is gone.
  std::size_t Index() const;
  Ref<ktformula::TableCell> ObjectAt(std::size_t row);

  void Place(std::size_t index, Ref<NotebookProperty> property);
  // Cells of all others are gone.
  void KeepRows(std::span<const std::size_t> rows);
  // The program took what was written into the row, and tells these numbers since; whether the cell
  // had a mark before.
  void NoteWritten(std::size_t row, const OwnNumbers& numbers, bool had_mark);

  std::u16string TypeName() const override { return u"TableProperty"; }
  Ref<ktformula::PropertyScope> Scope() override;
  Ref<ktformula::Table> OwningTable() const override;
  Ref<ktformula::ELNProperty> Property() const override { return property_; }
  int CellCount() const override;
  Ref<ktformula::TableCell> Cell(int index) const override;
  ktformula::ColumnCells* Cells() override { return this; }

 private:
  friend class OwnTableObject;

  class CellObject;

  std::size_t Count() const override;
  std::span<const double> MinNumbers() const override;
  std::span<const double> MaxNumbers() const override;
  std::u16string_view Text(std::size_t row, std::u16string& buffer) const override;
  bool IsEntered(std::size_t row) const override;
  std::size_t EnteredCount() const override;
  void WriteNumbers(std::size_t first, std::span<const double> numbers) override;
  void WriteTexts(std::size_t first, std::span<const std::uint32_t> which,
                  std::span<const std::u16string_view> texts, bool is_value) override;

  void ReadNumbers() const;
  void SetNumbers(std::size_t row, const OwnNumbers& numbers) const;
  void WriteText(std::size_t row, std::u16string_view text, bool is_value);

  OwnTableObject& table_;
  std::int32_t key_;
  std::optional<std::size_t> index_;
  Ref<NotebookProperty> property_;
  LivingObjects<CellObject> objects_;
  // What the program told of numbers in the call of this number. Upper ones are there once they
  // differ from the lower ones.
  mutable std::uint64_t read_in_call_ = 0;
  mutable std::vector<double> min_;
  mutable std::vector<double> max_;
  // How many cells were entered ones in the call of this number.
  mutable std::uint64_t counted_in_call_ = 0;
  mutable std::size_t entered_ = 0;
};

class OwnTableObject final : public ktformula::Table, private TableBinding {
 public:
  OwnTableObject(OwnForm& form, std::u16string_view name, OwnTable& cells);
  ~OwnTableObject() override;
  // Gives the table its listener, once it is held.
  void Begin();

  const std::u16string& Name() const noexcept { return name_; }
  OwnForm& Parent() const noexcept { return form_; }
  OwnTable& Cells() const noexcept { return cells_; }
  const Ref<ktformula::Field>& OwnField() const noexcept { return field_; }
  const Ref<ktformula::GridControl>& Control() const noexcept { return control_; }
  const Ref<ktformula::FormulaListener>& Listener() const noexcept { return listener_; }
  const std::vector<Ref<OwnColumnObject>>& Columns() const noexcept { return columns_; }
  std::size_t Rows() const noexcept { return row_count_; }
  std::u16string IdOf(std::size_t row) const;
  // nullptr when there is none of this name.
  OwnColumnObject* FindColumn(std::u16string_view name) const;
  std::uint64_t FormulaCells() const;

  // Asks the program for columns, and for rows and ids, and tells the form when they are others.
  // What is wrong with columns is raised, and none is changed then.
  void RefreshColumns();
  void RefreshRows();

  using TableBinding::Resolve;

  std::u16string TypeName() const override { return u"Table"; }
  bool ResolvesRelativeReferences() const noexcept override { return true; }
  Ref<NotebookObject> ResolveRelative(std::span<const std::u16string> parts) override {
    return Resolve(ktformula::ReferenceStart::kTable, parts, 0);
  }
  Ref<ktformula::PropertyScope> Scope() override;
  int ColumnCount() const override { return static_cast<int>(columns_.size()); }
  Ref<ktformula::TableProperty> Column(int index) const override {
    return columns_[static_cast<std::size_t>(index) - 1];
  }
  int RowCount() const override { return static_cast<int>(row_count_); }
  Ref<ktformula::TableRow> Row(int index) const override;
  ktformula::ReferenceBinding* Binding() override { return this; }

 private:
  friend class OwnColumnObject;

  class RowObject;

  std::uint64_t Stamp() const override;
  NotebookObject& BoundTable() override { return *this; }
  NotebookObject& BoundForm() override;
  NotebookObject* ColumnNamed(std::u16string_view name) override { return FindColumn(name); }
  std::optional<std::size_t> RowNamed(std::u16string_view id_or_number) override;
  Ref<NotebookObject> RowAt(std::size_t row) override;
  Ref<NotebookObject> CellAt(NotebookObject& column, std::size_t row) override {
    return static_cast<OwnColumnObject&>(column).ObjectAt(row);
  }

  Ref<NotebookProperty> PropertyOf(const OwnColumn& column, std::int32_t key) const;
  void TakeColumns(std::vector<OwnColumn> columns);
  void TakeRowCount(std::size_t count);
  void TakeIds(std::vector<std::u16string> ids);

  OwnForm& form_;
  std::u16string name_;
  OwnTable& cells_;
  // As the program told of them last.
  std::vector<OwnColumn> told_columns_;
  std::size_t row_count_ = 0;
  // None when no row has one.
  std::vector<std::u16string> row_ids_;
  std::unordered_map<std::u16string_view, std::size_t> rows_by_id_;
  std::vector<Ref<OwnColumnObject>> columns_;
  // All that ever were.
  ktformula::Dictionary<Ref<OwnColumnObject>> columns_by_name_;
  mutable LivingObjects<RowObject> row_objects_;
  Ref<ktformula::Field> field_;
  Ref<ktformula::GridControl> control_;
  Ref<ktformula::FormulaListener> listener_;
};

class OwnForm final : public ktformula::Form {
 public:
  OwnForm(std::span<const ktformula::FunctionClass> functions, const ktformula::Locale& locale);

  // Listeners hold on to the objects that lead to them until they are told to let go.
  void End();

  const ktformula::Locale& OwnLocale() const noexcept { return locale_; }
  NotebookUnitCatalogue& Units() const noexcept { return *units_; }
  const std::vector<Ref<OwnTableObject>>& Tables() const noexcept { return tables_; }
  const Ref<ktformula::HostFramework>& Framework() const noexcept { return framework_; }
  std::span<const ktformula::FunctionClass> Functions() const noexcept { return functions_; }
  // nullptr when there is none of this name.
  OwnTableObject* FindTable(std::u16string_view name) const;
  NotebookObject* FindField(std::u16string_view name) const;
  const ktformula::Dictionary<Ref<NotebookObject>>& Fields() const noexcept { return fields_; }

  // Both refuse (false) a name that is in use.
  bool AddTable(std::u16string_view name, OwnTable& table);
  bool AddField(std::u16string_view name, Ref<NotebookObject> object);

  void Refresh();

  // How often the program was asked for its tables. Until the next time they change by what is
  // written alone.
  std::uint64_t Calls() const noexcept { return calls_; }
  // See ReferenceBinding.
  std::uint64_t Names() const noexcept { return names_; }
  void NoteNames() noexcept { ++names_; }
  std::int32_t NextKey() noexcept { return ++keys_; }

  // Where each cell that changes is noted; nullptr for nowhere.
  std::vector<OwnCellPlace>* changes = nullptr;
  // Whether a call of the host is under way.
  bool is_busy = false;

  std::u16string TypeName() const override { return u"Form"; }
  Ref<ktformula::PropertyScope> Scope() override { return scope_; }
  Ref<ktformula::ControlHolder> HolderOf(const ktformula::Field& field) override;

 private:
  std::span<const ktformula::FunctionClass> functions_;
  ktformula::Locale locale_;
  Ref<NotebookUnitCatalogue> units_;
  Ref<ktformula::HostFramework> framework_;
  Ref<ktformula::PropertyScope> scope_;
  std::vector<Ref<OwnTableObject>> tables_;
  ktformula::Dictionary<Ref<NotebookObject>> fields_;
  std::uint64_t calls_ = 0;
  std::uint64_t names_ = 0;
  std::int32_t keys_ = 0;
};

// The form section of a table, as listeners see it.
Ref<ktformula::OwnerCollection> OwnerOf(const OwnTableObject& table);

}  // namespace ktnotebook
