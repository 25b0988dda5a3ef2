// The reference notebook's objects: forms with tables, structures and plain text fields.
//
// A form owns its fields, a table its columns, all through Ref, and a column what its cells hold;
// they point back with plain pointers, so none may be used after its form is gone. Indices count
// from 1 unless said otherwise.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/field_listener.h"
#include "host/notebook_objects.h"
#include "listener/ikt_formula_listener.h"
#include "notebook/tables/cells.h"
#include "notebook/tables/change_list.h"
#include "notebook/tables/column_data.h"
#include "notebook/tables/living_objects.h"
#include "notebook/tables/locale_names.h"
#include "notebook/tables/property.h"
#include "notebook/tables/table_binding.h"
#include "notebook/tables/typed_text.h"
#include "notebook/tables/unit_catalogue.h"
#include "values/dictionary.h"

namespace ktnotebook {

class NotebookField;
class NotebookForm;
class NotebookTable;
class TableControl;

class NotebookProperty final : public ktformula::ELNProperty {
 public:
  explicit NotebookProperty(PropertyDefinition definition) : definition_(std::move(definition)) {}

  const PropertyDefinition& Definition() const noexcept { return definition_; }

  std::u16string TypeName() const override { return u"Property"; }
  std::int32_t Key() const override { return definition_.key; }
  std::u16string Name() const override { return definition_.name; }
  bool IsNumeric() const override { return definition_.type == DataType::kNumber; }
  std::u16string DataTypeName() const override {
    return std::u16string(DataTypeText(definition_.type));
  }
  bool HasUnits() const override { return definition_.unit != nullptr; }
  Ref<ktformula::Unit> DefaultUnit() const override;
  bool NumberFormatting() const override { return definition_.number_formatting; }

 private:
  friend class NotebookTable;

  PropertyDefinition definition_;
};

// A column with its cells. Rows count from 0 here.
class NotebookColumn final : public ktformula::TableProperty,
                             private ktformula::ColumnCells,
                             private ktformula::ColumnChanges {
 public:
  NotebookColumn(NotebookTable& table, std::size_t index, PropertyDefinition definition);

  const PropertyDefinition& Definition() const noexcept { return property_->Definition(); }
  const Ref<NotebookProperty>& OwnProperty() const noexcept { return property_; }
  NotebookTable& Parent() const noexcept { return table_; }
  // The column's place in its table, counted from 0.
  std::size_t Index() const noexcept { return index_; }
  const ColumnData& Data() const noexcept { return data_; }
  Ref<CellObject> ObjectAt(std::size_t row);

  // The locale of the notebook.
  const ktformula::Locale& KeptIn() const noexcept;
  // What is typed here by somebody with the locale.
  TypedTexts TextsTypedIn(const ktformula::Locale& locale) const;
  // The text of the row, or what somebody made of it, as somebody with the locale reads it; may
  // stand in `buffer`.
  std::u16string_view Localized(const ktformula::Locale& locale, std::size_t row,
                                std::u16string_view text, std::u16string& buffer) const;

  // What typing a text makes of a cell of this column.
  TypedMark TypedState() const;
  // See RowTexts.
  void ReserveTexts(std::size_t units) { data_.ReserveTexts(units); }
  // Takes over cells that were filled elsewhere, as many as the table has rows, and gives those
  // that were here.
  ColumnData Adopt(ColumnData data);
  // The same of some cells, from row `first` on.
  void Exchange(ColumnData& data, std::size_t first);

  // As NotebookCell has them, but whoever calls them has to note the change. They tell whether
  // there was any.
  bool Enter(std::size_t row, std::u16string_view typed, const TypedMark& mark,
             const ktformula::Locale& locale);
  bool TakeTypedText(std::size_t row, std::u16string_view text);
  bool TakeWrittenText(std::size_t row, std::u16string_view text, bool is_value);
  bool Take(std::size_t row, const ContentView& content);
  bool TakeState(std::size_t row, std::u16string_view state, std::u16string_view tag);
  void NoteChange(std::size_t row);
  // Any row may have changed.
  void NoteChanges();

  std::u16string TypeName() const override { return u"TableProperty"; }
  Ref<ktformula::PropertyScope> Scope() override;
  Ref<ktformula::Table> OwningTable() const override;
  Ref<ktformula::ELNProperty> Property() const override { return property_; }
  int CellCount() const override { return static_cast<int>(data_.Count()); }
  Ref<ktformula::TableCell> Cell(int index) const override;
  ktformula::ColumnCells* Cells() override;
  ktformula::ColumnChanges* Changes() override;

 private:
  friend class NotebookTable;
  friend class TableControl;

  std::size_t Count() const override { return data_.Count(); }
  std::span<const double> MinNumbers() const override { return data_.MinNumbers(); }
  std::span<const double> MaxNumbers() const override { return data_.MaxNumbers(); }
  std::u16string_view Text(std::size_t row, std::u16string& buffer) const override {
    return data_.Text(row, buffer);
  }
  bool IsEntered(std::size_t row) const override { return data_.IsEntered(row); }
  std::size_t EnteredCount() const override { return data_.EnteredCount(); }
  void WriteNumbers(std::size_t first, std::span<const double> numbers) override;
  void WriteTexts(std::size_t first, std::span<const std::uint32_t> which,
                  std::span<const std::u16string_view> texts, bool is_value) override;

  std::uint64_t Stamp() const override;
  bool RowsChangedSince(std::uint64_t stamp, std::vector<std::size_t>& rows) const override;

  // The rows have another order; see ColumnData.
  void Arrange(std::span<const std::size_t> sources);
  void KeepFirstRows(std::size_t count);
  bool ShowsNumber(std::size_t row, std::u16string_view text) const;
  // Tells the form when the cell is an entered one.
  void NoteEntered(std::size_t row);

  NotebookTable& table_;
  std::size_t index_;
  Ref<NotebookProperty> property_;
  ColumnData data_;
  ChangeList changes_;
  LivingObjects<CellObject> objects_;
};

class NotebookTable final : public ktformula::Table, private TableBinding {
 public:
  NotebookTable(NotebookForm& form, std::u16string_view name, std::int32_t key);
  ~NotebookTable() override;

  const std::u16string& Name() const noexcept { return name_; }
  // The key in the notebook file.
  std::int32_t FileKey() const noexcept { return key_; }
  NotebookForm& Parent() const noexcept { return form_; }
  // The field that the table is.
  NotebookField& OwnField() const;
  const std::vector<Ref<NotebookColumn>>& Columns() const noexcept { return columns_; }
  // Handles that let the cells be written, also those of a table that is only looked at.
  NotebookRows Rows() const noexcept { return {const_cast<NotebookTable&>(*this), row_count_}; }
  // nullptr when there is none of this name.
  NotebookColumn* FindColumn(std::u16string_view name) const;
  // The row with this ID, else the row of this number; empty when there is neither.
  std::optional<NotebookRow> FindRow(std::u16string_view id_or_number) const;
  // Whether a row has exactly this id.
  bool HasRow(std::u16string_view id) const;

  // Both refuse (nullptr, empty) a name, or an id, that is in use.
  NotebookColumn* AddColumn(PropertyDefinition definition);
  std::optional<NotebookRow> AddRow(std::u16string_view id);
  // Adds rows whose ids are their numbers, to a table whose other rows have such ids too.
  void AddNumberedRows(std::size_t count);

  // What edits do, never while listeners write. Names and ids are free.

  // The column has a cell for each of the rows.
  void InsertColumn(const Ref<NotebookColumn>& column, std::size_t index);
  // Takes the column out, with its cells. The table keeps it until its own end: others may hold
  // something of it.
  Ref<NotebookColumn> TakeColumn(std::size_t index);
  void RenameColumn(const NotebookColumn& column, std::u16string_view name);
  // Each row takes what the row had that `sources` has in its place, of none twice. kNoRow stands
  // for one new row, of this id.
  void ArrangeRows(std::span<const std::size_t> sources, std::u16string_view new_id = {});
  void RenameRow(std::size_t row, std::u16string_view id);
  // Takes all others out, which costs nothing for those that stay.
  void KeepFirstRows(std::size_t count);
  // Takes the listener out, and keeps it as TakeColumn does.
  void TakeListener(Ref<ktformula::IKtFieldListener> listener);
  // Lets all listeners go, at the form's end.
  void TerminateListeners();

  // What NotebookRow tells of a row, which counts from 0.
  std::u16string IdOf(std::size_t row) const;
  const ktformula::Dictionary<std::u16string>& TagsOf(std::size_t row) const;
  bool AddTag(std::size_t row, std::u16string_view name, std::u16string_view value);
  Ref<RowObject> RowObjectAt(std::size_t row);
  // When rows came, for all columns.
  const ChangeList& RowChanges() const noexcept { return row_changes_; }

  using TableBinding::Resolve;

  // The table's listeners in position order.
  const std::vector<Ref<ktformula::IKtFieldListener>>& Listeners() const noexcept {
    return listeners_;
  }
  void AddListener(Ref<ktformula::IKtFieldListener> listener);
  // The first listener that computes the column; nullptr when none does. An entry without a formula
  // computes nothing.
  ktformula::IKtFormulaListener* ListenerComputing(const NotebookColumn& column) const;
  bool HasFormula(const NotebookColumn& column) const {
    return ListenerComputing(column) != nullptr;
  }

  const Ref<TableControl>& Control() const noexcept { return control_; }

  std::u16string TypeName() const override { return u"Table"; }
  bool ResolvesRelativeReferences() const noexcept override { return true; }
  Ref<NotebookObject> ResolveRelative(std::span<const std::u16string> parts) override {
    return Resolve(ktformula::ReferenceStart::kTable, parts, 0);
  }
  Ref<ktformula::PropertyScope> Scope() override;
  int ColumnCount() const override { return static_cast<int>(columns_.size()); }
  Ref<ktformula::TableProperty> Column(int index) const override;
  int RowCount() const override { return static_cast<int>(row_count_); }
  Ref<ktformula::TableRow> Row(int index) const override;
  ktformula::ReferenceBinding* Binding() override;

 private:
  using PositionOfName =
      std::unordered_map<std::u16string, std::size_t, ktformula::TextHash, std::equal_to<>>;

  std::uint64_t Stamp() const override;
  NotebookObject& BoundTable() override { return *this; }
  NotebookObject& BoundForm() override;
  NotebookObject* ColumnNamed(std::u16string_view name) override;
  std::optional<std::size_t> RowNamed(std::u16string_view id_or_number) override;
  Ref<NotebookObject> RowAt(std::size_t row) override;
  Ref<NotebookObject> CellAt(NotebookObject& column, std::size_t row) override;

  friend class NotebookForm;

  void AppendRows(std::size_t count);
  void SetRowIds(const std::vector<std::u16string>& ids);
  // The row, when it has an id of its own, has it no longer.
  void ForgetRowId(std::size_t row);
  void EmptyRemovedColumns();
  // Columns have other places.
  void RenumberColumns();

  NotebookForm& form_;
  std::u16string name_;
  std::int32_t key_;
  std::vector<Ref<NotebookColumn>> columns_;
  std::vector<Ref<NotebookColumn>> removed_columns_;
  PositionOfName column_positions_;
  std::size_t row_count_ = 0;
  // Only of rows whose id is not their number; and those ids by row, nullptr for all others and
  // none for rows beyond the end.
  PositionOfName row_positions_;
  std::vector<const std::u16string*> row_ids_;
  std::unordered_map<std::size_t, ktformula::Dictionary<std::u16string>> row_tags_;
  ChangeList row_changes_;
  LivingObjects<RowObject> row_objects_;
  std::vector<Ref<ktformula::IKtFieldListener>> listeners_;
  std::vector<Ref<ktformula::IKtFieldListener>> removed_listeners_;
  Ref<TableControl> control_;
};

class NotebookStructure final : public ktformula::ChemicalStructure {
 public:
  explicit NotebookStructure(std::u16string_view data) : data_(data) {}

  std::u16string TypeName() const override { return u"Structure"; }
  std::u16string Data() const override { return data_; }

 private:
  std::u16string data_;
};

// A field that holds a text and nothing else; it has no value for formulas.
class NotebookTextField final : public ktformula::NotebookObject {
 public:
  explicit NotebookTextField(std::u16string_view text) : text_(text) {}

  std::u16string TypeName() const override { return u"Field"; }
  const std::u16string& Text() const noexcept { return text_; }

 private:
  std::u16string text_;
};

// A field of a form: its name and exactly one of the three objects behind it.
class NotebookField final : public ktformula::Field {
 public:
  NotebookField(NotebookForm& form, std::u16string_view name, Ref<NotebookTable> table);
  NotebookField(NotebookForm& form, std::u16string_view name, Ref<NotebookStructure> structure);
  NotebookField(NotebookForm& form, std::u16string_view name, Ref<NotebookTextField> text);

  NotebookForm& Parent() const noexcept { return form_; }
  const std::u16string& Name() const noexcept { return name_; }
  // The field's place in its form, counted from 1; 0 outside of it.
  int Position() const noexcept { return position_; }
  const Ref<NotebookTable>& OwnTable() const noexcept { return table_; }
  const Ref<NotebookStructure>& Structure() const noexcept { return structure_; }
  const Ref<NotebookTextField>& TextField() const noexcept { return text_; }
  Ref<ktformula::NotebookObject> Content() const;
  // The key under which the field is stored; for a table not stored yet, its key in the file.
  void SetKey(std::int32_t key) noexcept {
    key_ = key;
    is_stored_ = true;
  }
  bool IsStored() const noexcept { return is_stored_; }

  std::u16string TypeName() const override { return u"Field"; }
  std::int32_t Key() const override { return key_; }
  std::u16string Description() const override;
  Ref<ktformula::Table> AsTable() override { return table_; }

 private:
  friend class NotebookForm;

  NotebookForm& form_;
  std::u16string name_;
  int position_ = 0;
  Ref<NotebookTable> table_;
  Ref<NotebookStructure> structure_;
  Ref<NotebookTextField> text_;
  std::int32_t key_ = 0;
  bool is_stored_ = false;
};

// What listeners keep about the entered cells of a form, and whether it still holds.
class EnteredCells final : public ktformula::EnteredCellsPromise {
 public:
  // An entered cell has changed.
  void NoteChange() noexcept { ++stamp_; }

  std::uint64_t Stamp() const override { return stamp_; }
  Ref<ktformula::HostObject> Kept() const override { return kept_; }
  void Keep(Ref<ktformula::HostObject> object) override { kept_ = std::move(object); }

 private:
  std::uint64_t stamp_ = 0;
  Ref<ktformula::HostObject> kept_;
};

// What happens while listeners write: how many cells were finished, and which ones changed.
struct WriteLog {
  std::uint64_t finished = 0;
  std::uint64_t changed = 0;
  // The changed cells, only while `keep_cells`.
  bool keep_cells = false;
  std::vector<NotebookCell> cells;
  // Called now and then with the number of finished cells; may be empty. What it throws ends the
  // recalculation; anything but a RaisedError does so from within a cell too.
  std::function<void(std::uint64_t)> on_progress;
  // The round of recalculation that is under way, from 1, and what was finished before it.
  int round = 0;
  std::uint64_t finished_before_round = 0;
  std::uint64_t rows_asked_for = 0;

  // What goes through rows may take long without finishing a cell. Many rows may be computed for
  // one that is asked for.
  void NoteRowAskedFor() {
    constexpr std::uint64_t kInterval = 16;
    if (++rows_asked_for % kInterval == 0 && on_progress) on_progress(finished);
  }
};

// Which promises a form's tables give; all of them, unless somebody wants to see what comes
// without.
struct Promises {
  bool binding = true;
  bool columns = true;
  bool changes = true;
};

class NotebookForm final : public ktformula::Form {
 public:
  NotebookForm(std::u16string_view name, Ref<NotebookUnitCatalogue> units);
  ~NotebookForm() override;

  const std::u16string& Name() const noexcept { return name_; }
  NotebookUnitCatalogue& Units() const noexcept { return *units_; }
  // What texts and formulas are kept in, whoever opens them. They stay as they are when it is set.
  const NamedLocale& OwnLocale() const noexcept { return locale_; }
  void SetLocale(NamedLocale locale) { locale_ = std::move(locale); }
  const std::vector<Ref<NotebookField>>& Fields() const noexcept { return fields_; }
  // The tables in document order.
  std::vector<NotebookTable*> Tables() const;
  NotebookField* FindField(std::u16string_view name) const;
  NotebookTable* FindTable(std::u16string_view name) const;
  WriteLog& Log() noexcept { return log_; }
  EnteredCells& Entered() noexcept { return entered_; }
  // Not to be changed while listeners are notified.
  Promises& Given() noexcept { return promises_; }
  // A number that was never given before, for a change of some cell.
  std::uint64_t NextChange() noexcept { return ++changes_; }
  std::uint64_t LastChange() const noexcept { return changes_; }
  // How often a field, column or row came or went, moved, or got another name.
  std::uint64_t Names() const noexcept { return names_; }
  void NoteName() noexcept { ++names_; }

  // Each refuses (nullptr) a name that is in use.
  NotebookTable* AddTable(std::u16string_view name, std::int32_t key);
  NotebookField* AddStructure(std::u16string_view name, std::u16string_view data);
  NotebookField* AddTextField(std::u16string_view name, std::u16string_view text);

  // What edits do, as the table's. A field that is taken out the form keeps until its own end.
  void InsertField(const Ref<NotebookField>& field, std::size_t index);
  Ref<NotebookField> TakeField(std::size_t index);
  void RenameField(NotebookField& field, std::u16string_view name);
  void SetName(std::u16string_view name) { name_ = name; }
  // Columns or rows of a table are others.
  void NoteStructure() noexcept;
  // Lets go what the cells of tables and columns hold that were taken out: they can not be put in
  // again.
  void EmptyRemoved();

  // What a listener of the field is initialised with.
  Ref<ktformula::OwnerCollection> OwnerOf(const NotebookField& field);

  std::u16string TypeName() const override { return u"Form"; }
  Ref<ktformula::PropertyScope> Scope() override { return scope_; }
  Ref<ktformula::ControlHolder> HolderOf(const ktformula::Field& field) override;

 private:
  NotebookField* AddField(const Ref<NotebookField>& field);

  std::u16string name_;
  Ref<NotebookUnitCatalogue> units_;
  NamedLocale locale_;
  std::vector<Ref<NotebookField>> fields_;
  std::vector<Ref<NotebookField>> removed_fields_;
  ktformula::Dictionary<NotebookField*> fields_by_name_;
  Ref<ktformula::PropertyScope> scope_;
  WriteLog log_;
  EnteredCells entered_;
  Promises promises_;
  std::uint64_t changes_ = 0;
  std::uint64_t names_ = 0;
};

}  // namespace ktnotebook
