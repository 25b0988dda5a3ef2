#include "notebook/tables/own_objects.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "notebook/tables/plain_framework.h"
#include "notebook/tables/written_content.h"
#include "values/raised_error.h"

namespace ktnotebook {

using ktformula::MakeRef;
using ktformula::NotebookObject;
using ktformula::RuntimeError;

// TypeName, which messages show, is what the notebook's own objects say.

namespace {

[[noreturn]] void Refuse(std::u16string_view description) {
  ktformula::Raise(u"OwnCellsHost", description);
}

std::u16string Quoted(std::u16string_view name) {
  return u"\"" + std::u16string(name) + u"\"";
}

class OwnScope final : public ktformula::PropertyScope {
 public:
  explicit OwnScope(const OwnForm& form) : form_(form) {}

  std::u16string TypeName() const override { return u"FormScope"; }
  Ref<NotebookObject> FindHolder(std::u16string_view name) override {
    return Ref<NotebookObject>(form_.FindField(name));
  }
  Ref<NotebookObject> ValueObject(NotebookObject& holder) override {
    return Ref<NotebookObject>(&holder);
  }

 private:
  const OwnForm& form_;
};

class OwnProperties final : public ktformula::ELNProperties {
 public:
  explicit OwnProperties(const OwnTableObject& table) : table_(table) {}

  std::u16string TypeName() const override { return u"ELNProperties"; }
  int Count() const override { return table_.ColumnCount(); }
  Ref<ktformula::ELNProperty> Item(int index) const override {
    return table_.Column(index)->Property();
  }
  Ref<ktformula::ELNProperty> Find(std::u16string_view name) const override {
    const OwnColumnObject* const column = table_.FindColumn(name);
    return column != nullptr ? column->Property() : nullptr;
  }

 private:
  const OwnTableObject& table_;
};

class OwnFieldObject final : public ktformula::Field {
 public:
  OwnFieldObject(OwnTableObject& table, std::int32_t key) : table_(table), key_(key) {}

  OwnTableObject& TableObject() const noexcept { return table_; }
  std::u16string TypeName() const override { return u"Field"; }
  std::int32_t Key() const override { return key_; }
  std::u16string Description() const override { return u"table " + Quoted(table_.Name()); }
  Ref<ktformula::Table> AsTable() override { return Ref<ktformula::Table>(&table_); }

 private:
  OwnTableObject& table_;
  std::int32_t key_;
};

class OwnHolder final : public ktformula::ControlHolder {
 public:
  explicit OwnHolder(const OwnTableObject& table) : table_(table) {}

  std::u16string TypeName() const override { return u"ControlHolder"; }
  Ref<ktformula::ELNProperties> Properties() override { return MakeRef<OwnProperties>(table_); }
  Ref<ktformula::GridControl> Object() override { return table_.Control(); }

 private:
  const OwnTableObject& table_;
};

// Only tables are fields to it: no other has cells.
class OwnSection final : public ktformula::OwnerCollection {
 public:
  explicit OwnSection(const OwnTableObject& table) : table_(table) {}

  std::u16string TypeName() const override { return u"FormSection"; }
  int FieldCount() const override { return static_cast<int>(table_.Parent().Tables().size()); }
  Ref<ktformula::Field> FieldAt(int index) const override {
    return table_.Parent().Tables()[static_cast<std::size_t>(index) - 1]->OwnField();
  }
  Ref<ktformula::Field> WatchedField() const override { return table_.OwnField(); }
  Ref<ktformula::ELNProperties> WatchedProperties() const override {
    return MakeRef<OwnProperties>(table_);
  }
  std::u16string Description(int) const override { return table_.OwnField()->Description(); }

 private:
  const OwnTableObject& table_;
};

// Keeps what is written into a cell until it is finished, and has the program write it then if it
// is anything else. What is never finished, since something was thrown, is not written.
class OwnGrid final : public ktformula::GridControl {
 public:
  explicit OwnGrid(OwnTableObject& table) : table_(table) {}

  std::u16string TypeName() const override { return u"TableControl"; }

  void WriteText(ktformula::TableCell& cell, std::u16string_view text, bool flag) override {
    WriteText(PlaceOfCell(cell), text, flag);
  }

  void WriteText(const OwnCellPlace& place, std::u16string_view text, bool flag) {
    Begin(place);
    const ContentView written = WrittenText(Property().Definition().type, text, flag);
    content_ = {std::u16string(written.text), written.min, written.max, {}};
  }

  void ClearNumber(ktformula::TableCell& cell) override {
    Begin(PlaceOfCell(cell));
    content_.SetNumbers(0, 0);
  }

  void SetValue(ktformula::TableCell& cell, double value, std::u16string_view pattern,
                std::u16string_view unit_name) override {
    Begin(PlaceOfCell(cell));
    content_ = WrittenNumber(Property(), value, pattern, unit_name, table_.Parent().Units());
  }

  void FinishCell(ktformula::TableCell& cell) override { Finish(PlaceOfCell(cell)); }

  void Finish(const OwnCellPlace& place) {
    Begin(place);
    place_.reset();
    if (Put(place) && table_.Parent().changes != nullptr) {
      table_.Parent().changes->push_back(place);
    }
  }

 private:
  const NotebookProperty& Property() const {
    return *table_.Columns()[place_->column]->OwnProperty();
  }

  CellContent Read(const OwnCellPlace& place) const {
    const OwnNumbers numbers = table_.Cells().Numbers(place.row, place.column);
    return {table_.Cells().Text(place.row, place.column), numbers.min, numbers.max, {}};
  }

  void Begin(const OwnCellPlace& place) {
    const std::uint64_t call = table_.Parent().Calls();
    if (place_ == place && call_ == call) return;
    place_.reset();
    content_ = before_ = Read(place);
    place_ = place;
    call_ = call;
  }

  // Tells whether the cell has another content afterwards.
  bool Put(const OwnCellPlace& place) {
    const TypedMark mark = table_.Cells().Mark(place.row, place.column);
    const bool is_marked = !mark.state.empty() || !mark.tag.empty();
    if (!is_marked && IsSame(content_)) return false;
    table_.Cells().Write(place.row, place.column, content_);
    const CellContent after = Read(place);
    table_.Columns()[place.column]->NoteWritten(place.row, {after.min, after.max}, is_marked);
    return !IsSame(after);
  }

  // The unit of a computed cell is part of its text.
  bool IsSame(const CellContent& content) const {
    return IsSameNumber(before_.min, content.min) && IsSameNumber(before_.max, content.max) &&
           before_.text == content.text;
  }

  OwnTableObject& table_;
  // The cell being written and in which call, what it held before and what it is to hold; empty
  // between cells.
  std::optional<OwnCellPlace> place_;
  std::uint64_t call_ = 0;
  CellContent before_;
  CellContent content_;
};

}  // namespace

class OwnColumnObject::CellObject final : public ktformula::TableCell,
                                          public LivingObject<CellObject> {
 public:
  CellObject(OwnColumnObject& column, std::size_t row) : column_(column), row_(row) {}

  OwnCellPlace Place() const {
    if (row_ == kNoRow) ktformula::Raise(RuntimeError::kObjectNotSet);
    return {&column_.Parent(), column_.Index(), row_};
  }
  void MoveTo(std::size_t row) { row_ = row; }

  std::u16string TypeName() const override { return u"Cell"; }
  bool ResolvesRelativeReferences() const noexcept override { return true; }
  Ref<NotebookObject> ResolveRelative(std::span<const std::u16string> parts) override {
    return column_.Parent().Resolve(ktformula::ReferenceStart::kCell, parts, Place().row);
  }
  Ref<ktformula::PropertyScope> Scope() override { return column_.Scope(); }
  Ref<ktformula::ELNProperty> Property() const override { return column_.OwnProperty(); }
  Ref<ktformula::TableRow> Row() const override {
    return column_.Parent().Row(static_cast<int>(Place().row) + 1);
  }
  Ref<ktformula::TableProperty> Column() const override {
    return Ref<ktformula::TableProperty>(&column_);
  }
  std::u16string Text() const override {
    const OwnCellPlace place = Place();
    return Cells().Text(place.row, place.column);
  }
  double MinNumber() const override { return Numbers().min; }
  double MaxNumber() const override { return Numbers().max; }
  std::u16string StructureText() const override {
    return Definition().type == DataType::kStructure ? Text() : std::u16string();
  }
  std::u16string StateText() const override { return std::u16string(Mark().state); }
  std::u16string Tag() const override { return std::u16string(Mark().tag); }
  std::u16string Key() const override { return DisplayKey(Definition().unit); }
  // What was typed is not computed, and what was computed last does not matter.
  std::u16string UnitName() const override { return DisplayUnitName(Definition().unit, u"", u""); }

 private:
  OwnTable& Cells() const { return column_.Parent().Cells(); }
  const PropertyDefinition& Definition() const { return column_.Definition(); }
  OwnNumbers Numbers() const {
    const OwnCellPlace place = Place();
    return Cells().Numbers(place.row, place.column);
  }
  TypedMark Mark() const {
    const OwnCellPlace place = Place();
    return Cells().Mark(place.row, place.column);
  }

  OwnColumnObject& column_;
  std::size_t row_;
};

OwnCellPlace PlaceOfCell(const ktformula::TableCell& cell) {
  return OwnColumnObject::PlaceOf(cell);
}

OwnCellPlace OwnColumnObject::PlaceOf(const ktformula::TableCell& cell) {
  return static_cast<const CellObject&>(cell).Place();
}

OwnColumnObject::OwnColumnObject(OwnTableObject& table, std::int32_t key)
    : table_(table), key_(key) {}

OwnColumnObject::~OwnColumnObject() = default;

std::size_t OwnColumnObject::Index() const {
  if (!index_) ktformula::Raise(RuntimeError::kObjectNotSet);
  return *index_;
}

void OwnColumnObject::Place(std::size_t index, Ref<NotebookProperty> property) {
  index_ = index;
  property_ = std::move(property);
}

void OwnColumnObject::KeepRows(std::span<const std::size_t> rows) {
  objects_.Arrange(rows);
}

Ref<ktformula::TableCell> OwnColumnObject::ObjectAt(std::size_t row) {
  return objects_.At(row, table_.Rows(), *this, row);
}

Ref<ktformula::PropertyScope> OwnColumnObject::Scope() {
  return table_.Scope();
}

Ref<ktformula::Table> OwnColumnObject::OwningTable() const {
  return Ref<ktformula::Table>(&table_);
}

int OwnColumnObject::CellCount() const {
  return table_.RowCount();
}

Ref<ktformula::TableCell> OwnColumnObject::Cell(int index) const {
  return table_.Columns()[Index()]->ObjectAt(static_cast<std::size_t>(index) - 1);
}

std::size_t OwnColumnObject::Count() const {
  return table_.Rows();
}

void OwnColumnObject::ReadNumbers() const {
  if (read_in_call_ == table_.Parent().Calls()) return;
  min_.assign(Count(), 0);
  max_.clear();
  for (std::size_t row = 0; row < min_.size(); ++row)
    SetNumbers(row, table_.Cells().Numbers(row, Index()));
  read_in_call_ = table_.Parent().Calls();
}

void OwnColumnObject::SetNumbers(std::size_t row, const OwnNumbers& numbers) const {
  min_[row] = numbers.min;
  const bool is_one = IsSameNumber(numbers.min, numbers.max) &&
                      std::signbit(numbers.min) == std::signbit(numbers.max);
  if (max_.empty() && is_one) return;
  if (max_.empty()) max_ = min_;
  max_[row] = numbers.max;
}

void OwnColumnObject::NoteWritten(std::size_t row, const OwnNumbers& numbers, bool had_mark) {
  if (had_mark) counted_in_call_ = 0;
  if (read_in_call_ == table_.Parent().Calls()) SetNumbers(row, numbers);
}

std::span<const double> OwnColumnObject::MinNumbers() const {
  ReadNumbers();
  return min_;
}

std::span<const double> OwnColumnObject::MaxNumbers() const {
  ReadNumbers();
  return max_.empty() ? min_ : max_;
}

std::u16string_view OwnColumnObject::Text(std::size_t row, std::u16string& buffer) const {
  return buffer = table_.Cells().Text(row, Index());
}

bool OwnColumnObject::IsEntered(std::size_t row) const {
  return table_.Cells().Mark(row, Index()).state == ktformula::kEnteredState;
}

std::size_t OwnColumnObject::EnteredCount() const {
  if (counted_in_call_ == table_.Parent().Calls()) return entered_;
  entered_ = 0;
  for (std::size_t row = 0; row < Count(); ++row)
    entered_ += IsEntered(row) ? 1 : 0;
  counted_in_call_ = table_.Parent().Calls();
  return entered_;
}

void OwnColumnObject::WriteText(std::size_t row, std::u16string_view text, bool is_value) {
  auto& grid = static_cast<OwnGrid&>(*table_.Control());
  grid.WriteText(OwnCellPlace{&table_, Index(), row}, text, is_value);
  grid.Finish({&table_, Index(), row});
}

void OwnColumnObject::WriteNumbers(std::size_t first, std::span<const double> numbers) {
  for (const double number : numbers)
    WriteText(first++, ktformula::NumberToText(number), true);
}

// A mere text leaves no number, so none has to be cleared before.
void OwnColumnObject::WriteTexts(std::size_t first, std::span<const std::uint32_t> which,
                                 std::span<const std::u16string_view> texts, bool is_value) {
  for (const std::uint32_t index : which)
    WriteText(first++, texts[index], is_value);
}

class OwnTableObject::RowObject final : public ktformula::TableRow, public LivingObject<RowObject> {
 public:
  RowObject(OwnTableObject& table, std::size_t row) : table_(table), row_(row) {}

  void MoveTo(std::size_t row) { row_ = row; }

  std::u16string TypeName() const override { return u"Row"; }
  bool ResolvesRelativeReferences() const noexcept override { return true; }
  Ref<NotebookObject> ResolveRelative(std::span<const std::u16string> parts) override {
    return table_.Resolve(ktformula::ReferenceStart::kRow, parts, Index());
  }
  Ref<ktformula::PropertyScope> Scope() override { return table_.Scope(); }
  Ref<ktformula::Table> OwningTable() const override { return Ref<ktformula::Table>(&table_); }
  Ref<ktformula::TableCell> Cell(const ktformula::TableProperty& column) const override {
    const auto& own = static_cast<const OwnColumnObject&>(column);
    if (&own.Parent() != &table_) return nullptr;
    return table_.columns_[own.Index()]->ObjectAt(Index());
  }
  std::u16string Tag(std::u16string_view name) const override {
    std::u16string tag = table_.Cells().RowTag(Index(), name);
    return tag.empty() && name == u"ID" ? table_.IdOf(Index()) : tag;
  }
  std::optional<std::size_t> Place() const override { return Index(); }

 private:
  std::size_t Index() const {
    if (row_ == kNoRow) ktformula::Raise(RuntimeError::kObjectNotSet);
    return row_;
  }

  OwnTableObject& table_;
  std::size_t row_;
};

OwnTableObject::OwnTableObject(OwnForm& form, std::u16string_view name, OwnTable& cells)
    : form_(form),
      name_(name),
      cells_(cells),
      field_(MakeRef<OwnFieldObject>(*this, form.NextKey())),
      control_(MakeRef<OwnGrid>(*this)) {}

OwnTableObject::~OwnTableObject() = default;

void OwnTableObject::Begin() {
  listener_ = MakeRef<ktformula::FormulaListener>(form_.Functions());
  listener_->Initialize(form_.Framework(), OwnerOf(*this), nullptr);
  listener_->SetProgramIdentifier(ktformula::kFormulaListenerIdentifier);
  listener_->SetName(u"Formulas");
  listener_->SetPosition(1);
}

std::u16string OwnTableObject::IdOf(std::size_t row) const {
  const bool has_id = row < row_ids_.size() && !row_ids_[row].empty();
  return has_id ? row_ids_[row] : NumberOfRow(row);
}

OwnColumnObject* OwnTableObject::FindColumn(std::u16string_view name) const {
  const Ref<OwnColumnObject>* const found = columns_by_name_.Find(name);
  return found != nullptr && (*found)->index_ ? found->get() : nullptr;
}

std::uint64_t OwnTableObject::FormulaCells() const {
  const auto columns = std::count_if(columns_.begin(), columns_.end(), [this](const auto& column) {
    const auto entry = listener_->FormulaOf(column->Key());
    return entry && !entry->formula.empty();
  });
  return static_cast<std::uint64_t>(columns) * row_count_;
}

void OwnTableObject::RefreshColumns() {
  std::vector<OwnColumn> told = cells_.Columns();
  if (told != told_columns_) TakeColumns(std::move(told));
}

Ref<NotebookProperty> OwnTableObject::PropertyOf(const OwnColumn& column, std::int32_t key) const {
  PropertyDefinition definition{key, column.name, column.type, nullptr, column.number_formatting};
  if (!column.unit.empty()) {
    if (column.type == DataType::kNumber) definition.unit = form_.Units().FindUnit(column.unit);
    if (definition.unit == nullptr) {
      Refuse(u"the column " + Quoted(column.name) + u" of table " + Quoted(name_) +
             u" can not have the unit " + Quoted(column.unit));
    }
  }
  return MakeRef<NotebookProperty>(std::move(definition));
}

void OwnTableObject::TakeColumns(std::vector<OwnColumn> columns) {
  std::vector<Ref<NotebookProperty>> properties;
  for (const OwnColumn& column : columns) {
    const bool is_taken = std::any_of(
        properties.begin(), properties.end(),
        [&](const Ref<NotebookProperty>& other) { return other->Name() == column.name; });
    if (is_taken) {
      Refuse(u"table " + Quoted(name_) + u" has two columns " + Quoted(column.name));
    }
    const Ref<OwnColumnObject>* const known = columns_by_name_.Find(column.name);
    properties.push_back(PropertyOf(column, known ? (*known)->Key() : form_.NextKey()));
  }
  for (const Ref<OwnColumnObject>& column : columns_)
    column->index_.reset();
  columns_.clear();
  for (const Ref<NotebookProperty>& property : properties) {
    const std::u16string name = property->Name();
    if (!columns_by_name_.Contains(name)) {
      columns_by_name_.Add(name, MakeRef<OwnColumnObject>(*this, property->Key()));
    }
    columns_.push_back(*columns_by_name_.Find(name));
    columns_.back()->Place(columns_.size() - 1, property);
  }
  told_columns_ = std::move(columns);
  form_.NoteNames();
}

void OwnTableObject::RefreshRows() {
  const std::size_t count = cells_.RowCount();
  std::vector<std::u16string> ids;
  for (std::size_t row = 0; row < count; ++row) {
    std::u16string id = cells_.RowId(row);
    if (id.empty()) continue;
    ids.resize(count);
    ids[row] = std::move(id);
  }
  if (count != row_count_) TakeRowCount(count);
  if (ids != row_ids_) TakeIds(std::move(ids));
}

void OwnTableObject::TakeRowCount(std::size_t count) {
  std::vector<std::size_t> rows(count);
  std::iota(rows.begin(), rows.end(), std::size_t{0});
  for (const auto& [name, column] : columns_by_name_)
    column->KeepRows(rows);
  row_objects_.Arrange(rows);
  row_count_ = count;
  form_.NoteNames();
}

void OwnTableObject::TakeIds(std::vector<std::u16string> ids) {
  row_ids_ = std::move(ids);
  rows_by_id_.clear();
  for (std::size_t row = 0; row < row_ids_.size(); ++row) {
    if (!row_ids_[row].empty()) rows_by_id_.emplace(row_ids_[row], row);
  }
  form_.NoteNames();
}

Ref<ktformula::PropertyScope> OwnTableObject::Scope() {
  return form_.Scope();
}

Ref<ktformula::TableRow> OwnTableObject::Row(int index) const {
  const std::size_t row = static_cast<std::size_t>(index) - 1;
  return row_objects_.At(row, row_count_, const_cast<OwnTableObject&>(*this), row);
}

std::uint64_t OwnTableObject::Stamp() const {
  return form_.Names();
}

NotebookObject& OwnTableObject::BoundForm() {
  return form_;
}

std::optional<std::size_t> OwnTableObject::RowNamed(std::u16string_view id_or_number) {
  const auto found = rows_by_id_.find(id_or_number);
  return found != rows_by_id_.end() ? found->second : RowOfNumber(id_or_number, row_count_);
}

Ref<NotebookObject> OwnTableObject::RowAt(std::size_t row) {
  return Row(static_cast<int>(row) + 1);
}

Ref<ktformula::OwnerCollection> OwnerOf(const OwnTableObject& table) {
  return MakeRef<OwnSection>(table);
}

OwnForm::OwnForm(std::span<const ktformula::FunctionClass> functions,
                 const ktformula::Locale& locale)
    : functions_(functions),
      locale_(locale),
      units_(MakeRef<NotebookUnitCatalogue>()),
      framework_(MakeRef<PlainFramework>(units_)),
      scope_(MakeRef<OwnScope>(*this)) {}

void OwnForm::End() {
  for (const Ref<OwnTableObject>& table : tables_)
    table->Listener()->Terminate();
}

OwnTableObject* OwnForm::FindTable(std::u16string_view name) const {
  const auto found = std::find_if(tables_.begin(), tables_.end(),
                                  [name](const auto& table) { return table->Name() == name; });
  return found != tables_.end() ? found->get() : nullptr;
}

NotebookObject* OwnForm::FindField(std::u16string_view name) const {
  const Ref<NotebookObject>* const found = fields_.Find(name);
  return found != nullptr ? found->get() : nullptr;
}

bool OwnForm::AddTable(std::u16string_view name, OwnTable& table) {
  if (fields_.Contains(name)) return false;
  tables_.push_back(MakeRef<OwnTableObject>(*this, name, table));
  tables_.back()->Begin();
  return AddField(name, tables_.back());
}

bool OwnForm::AddField(std::u16string_view name, Ref<NotebookObject> object) {
  NoteNames();
  return fields_.Add(name, std::move(object));
}

void OwnForm::Refresh() {
  ++calls_;
  for (const Ref<OwnTableObject>& table : tables_) {
    table->RefreshColumns();
    table->RefreshRows();
  }
}

Ref<ktformula::ControlHolder> OwnForm::HolderOf(const ktformula::Field& field) {
  return MakeRef<OwnHolder>(static_cast<const OwnFieldObject&>(field).TableObject());
}

}  // namespace ktnotebook
