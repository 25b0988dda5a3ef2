// The reference notebook's objects: forms with tables, structures and plain text fields.
//
// A form owns its fields, a table its columns, rows and cells, all through Ref; they point back
// with plain pointers, so none may be used after its form is gone. Indices count from 1.
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
#include "notebook/tables/unit_catalogue.h"
#include "values/dictionary.h"

namespace ktnotebook {

using ktformula::Ref;

class NotebookColumn;
class NotebookField;
class NotebookForm;
class NotebookRow;
class NotebookTable;
class TableControl;

enum class DataType { kString, kNumber, kDate, kBoolean, kStructure };

// "string", "number", "date", "Boolean", "structure"; exactly these.
std::u16string_view DataTypeText(DataType type) noexcept;
std::optional<DataType> FindDataType(std::u16string_view text) noexcept;

struct PropertyDefinition {
  std::int32_t key = 0;
  std::u16string name;
  DataType type = DataType::kString;
  // nullptr for none; numbers only. The catalogue owns it.
  const NotebookUnit* unit = nullptr;
  bool number_formatting = false;
};

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
  PropertyDefinition definition_;
};

// What a cell shows and the numbers behind it, in base units.
struct CellContent {
  std::u16string text;
  double min = 0;
  double max = 0;
  // The unit last typed or shown, "%" included; "" for none.
  std::u16string unit;

  // Negative zero becomes zero: nobody types it, and not every database keeps it.
  void SetNumbers(double lower, double upper) noexcept {
    min = lower + 0.0;
    max = upper + 0.0;
  }
  // Not-a-number equals itself here.
  bool IsSameAs(const CellContent& other) const noexcept;
};

class NotebookCell final : public ktformula::TableCell {
 public:
  NotebookCell(NotebookRow& row, NotebookColumn& column) : row_(row), column_(column) {}

  const CellContent& Content() const noexcept { return content_; }
  void SetContent(CellContent content);
  NotebookRow& OwningRow() const noexcept { return row_; }
  NotebookColumn& OwningColumn() const noexcept { return column_; }
  const PropertyDefinition& Definition() const noexcept;

  // Whether the text may be typed here: Booleans and dates take what reads as one, blanks around
  // it aside, other cells everything.
  bool Accepts(std::u16string_view typed) const;
  // Takes a text as typed by the user, less the blanks around it, with the numbers that it says;
  // state and tag follow, "" ends both.
  void Enter(std::u16string_view typed);
  // Takes a text with the numbers that it says, without a word about state and tag.
  void TakeTypedText(std::u16string_view text);
  // Takes a text that the table control wrote: a value in base units, or a mere text.
  void TakeWrittenText(std::u16string_view text, bool is_value);
  void SetState(std::u16string_view state, std::u16string_view tag);
  const std::u16string& State() const noexcept { return state_; }

  std::u16string TypeName() const override { return u"Cell"; }
  bool ResolvesRelativeReferences() const noexcept override { return true; }
  Ref<NotebookObject> ResolveRelative(std::span<const std::u16string> parts) override;
  Ref<ktformula::PropertyScope> Scope() override;
  Ref<ktformula::ELNProperty> Property() const override;
  Ref<ktformula::TableRow> Row() const override;
  std::u16string Text() const override { return content_.text; }
  double MinNumber() const override { return content_.min; }
  double MaxNumber() const override { return content_.max; }
  std::u16string StructureText() const override;
  std::u16string StateText() const override { return state_; }
  std::u16string Tag() const override { return tag_; }
  std::u16string Key() const override;
  std::u16string UnitName() const override;

 private:
  // Takes a text without a number: a formula must not go on as if it were 0.
  void TakeMereText(std::u16string_view text);
  // Tells the form that an entered cell changes, if this is one.
  void NoteChange();

  NotebookRow& row_;
  NotebookColumn& column_;
  CellContent content_;
  std::u16string state_;
  std::u16string tag_;
};

class NotebookColumn final : public ktformula::TableProperty {
 public:
  NotebookColumn(NotebookTable& table, std::size_t index, PropertyDefinition definition)
      : table_(table),
        index_(index),
        property_(ktformula::MakeRef<NotebookProperty>(std::move(definition))) {}

  const PropertyDefinition& Definition() const noexcept { return property_->Definition(); }
  const Ref<NotebookProperty>& OwnProperty() const noexcept { return property_; }
  NotebookTable& Parent() const noexcept { return table_; }
  // The column's place in its table, counted from 0.
  std::size_t Index() const noexcept { return index_; }

  std::u16string TypeName() const override { return u"TableProperty"; }
  Ref<ktformula::PropertyScope> Scope() override;
  Ref<ktformula::Table> OwningTable() const override;
  Ref<ktformula::ELNProperty> Property() const override { return property_; }
  int CellCount() const override;
  Ref<ktformula::TableCell> Cell(int index) const override;

 private:
  NotebookTable& table_;
  std::size_t index_;
  Ref<NotebookProperty> property_;
};

class NotebookRow final : public ktformula::TableRow {
 public:
  NotebookRow(NotebookTable& table, std::u16string_view id, int position);

  // Counted from 1.
  int Position() const noexcept { return position_; }
  const std::u16string& ID() const noexcept { return id_; }
  NotebookTable& Parent() const noexcept { return table_; }
  NotebookCell& CellAt(std::size_t column_index) const { return *cells_[column_index]; }
  // The tags that were given; the tag "ID" is the row's id unless it is among them.
  const ktformula::Dictionary<std::u16string>& Tags() const noexcept { return tags_; }
  // False when the row has a tag of this name.
  bool AddTag(std::u16string_view name, std::u16string_view value) {
    return tags_.Add(name, std::u16string(value));
  }
  // Appends the cell of a column that was added to the table.
  void AddCell(NotebookColumn& column);

  std::u16string TypeName() const override { return u"Row"; }
  bool ResolvesRelativeReferences() const noexcept override { return true; }
  Ref<NotebookObject> ResolveRelative(std::span<const std::u16string> parts) override;
  Ref<ktformula::PropertyScope> Scope() override;
  Ref<ktformula::Table> OwningTable() const override;
  Ref<ktformula::TableCell> Cell(const ktformula::TableProperty& column) const override;
  std::u16string Tag(std::u16string_view name) const override;

 private:
  NotebookTable& table_;
  std::u16string id_;
  int position_;
  ktformula::Dictionary<std::u16string> tags_;
  std::vector<Ref<NotebookCell>> cells_;
};

class NotebookTable final : public ktformula::Table {
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
  const std::vector<Ref<NotebookRow>>& Rows() const noexcept { return rows_; }
  // nullptr when there is none of this name.
  NotebookColumn* FindColumn(std::u16string_view name) const;
  // The row with this ID, else the row of this number; nullptr when there is neither.
  NotebookRow* FindRow(std::u16string_view id_or_number) const;

  // Both refuse (nullptr) a name, or an id, that is in use.
  NotebookColumn* AddColumn(PropertyDefinition definition);
  NotebookRow* AddRow(std::u16string_view id);

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
  Ref<NotebookObject> ResolveRelative(std::span<const std::u16string> parts) override;
  Ref<ktformula::PropertyScope> Scope() override;
  int ColumnCount() const override { return static_cast<int>(columns_.size()); }
  Ref<ktformula::TableProperty> Column(int index) const override;
  int RowCount() const override { return static_cast<int>(rows_.size()); }
  Ref<ktformula::TableRow> Row(int index) const override;

 private:
  using PositionOfName =
      std::unordered_map<std::u16string, std::size_t, ktformula::TextHash, std::equal_to<>>;

  NotebookForm& form_;
  std::u16string name_;
  std::int32_t key_;
  std::vector<Ref<NotebookColumn>> columns_;
  std::vector<Ref<NotebookRow>> rows_;
  PositionOfName column_positions_;
  PositionOfName row_positions_;
  std::vector<Ref<ktformula::IKtFieldListener>> listeners_;
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
  // The field's place in its form, counted from 1.
  int Position() const noexcept { return position_; }
  const Ref<NotebookTable>& OwnTable() const noexcept { return table_; }
  const Ref<NotebookStructure>& Structure() const noexcept { return structure_; }
  const Ref<NotebookTextField>& TextField() const noexcept { return text_; }
  Ref<ktformula::NotebookObject> Content() const;
  // The key under which the field is stored; for a table not stored yet, its key in the file.
  void SetKey(std::int32_t key) noexcept { key_ = key; }

  std::u16string TypeName() const override { return u"Field"; }
  std::int32_t Key() const override { return key_; }
  std::u16string Description() const override;
  Ref<ktformula::Table> AsTable() override { return table_; }

 private:
  // Of a field that is about to be added.
  static int NextPosition(const NotebookForm& form) noexcept;

  NotebookForm& form_;
  std::u16string name_;
  int position_ = NextPosition(form_);
  Ref<NotebookTable> table_;
  Ref<NotebookStructure> structure_;
  Ref<NotebookTextField> text_;
  std::int32_t key_ = 0;
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
  std::vector<NotebookCell*> cells;
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
  const std::vector<Ref<NotebookField>>& Fields() const noexcept { return fields_; }
  // The tables in document order.
  std::vector<NotebookTable*> Tables() const;
  NotebookField* FindField(std::u16string_view name) const;
  NotebookTable* FindTable(std::u16string_view name) const;
  WriteLog& Log() noexcept { return log_; }
  EnteredCells& Entered() noexcept { return entered_; }
  // Not to be changed while listeners are notified.
  Promises& Given() noexcept { return promises_; }

  // Each refuses (nullptr) a name that is in use.
  NotebookTable* AddTable(std::u16string_view name, std::int32_t key);
  NotebookField* AddStructure(std::u16string_view name, std::u16string_view data);
  NotebookField* AddTextField(std::u16string_view name, std::u16string_view text);

  // What a listener of the field is initialised with.
  Ref<ktformula::OwnerCollection> OwnerOf(const NotebookField& field);

  std::u16string TypeName() const override { return u"Form"; }
  Ref<ktformula::PropertyScope> Scope() override { return scope_; }
  Ref<ktformula::ControlHolder> HolderOf(const ktformula::Field& field) override;

 private:
  NotebookField* AddField(Ref<NotebookField> field);

  std::u16string name_;
  Ref<NotebookUnitCatalogue> units_;
  std::vector<Ref<NotebookField>> fields_;
  ktformula::Dictionary<NotebookField*> fields_by_name_;
  Ref<ktformula::PropertyScope> scope_;
  WriteLog log_;
  EnteredCells entered_;
  Promises promises_;
};

}  // namespace ktnotebook
