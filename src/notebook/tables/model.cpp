#include "notebook/tables/model.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "listener/entered_values.h"
#include "notebook/tables/cell_text.h"
#include "notebook/tables/localized_text.h"
#include "notebook/tables/table_control.h"
#include "notebook/tables/written_content.h"
#include "values/platform.h"
#include "values/text.h"

namespace ktnotebook {

using ktformula::MakeRef;
using ktformula::NotebookObject;

namespace {

constexpr std::array<std::u16string_view, 5> kDataTypeTexts{u"string", u"number", u"date",
                                                            u"Boolean", u"structure"};

template <typename Object>
void Erase(std::vector<Ref<Object>>& objects, const Ref<Object>& object) {
  std::erase_if(objects, [&](const Ref<Object>& each) { return each.get() == object.get(); });
}

// The fields of a form, as references find them.
class FormScope final : public ktformula::PropertyScope {
 public:
  explicit FormScope(const NotebookForm& form) : form_(form) {}

  std::u16string TypeName() const override { return u"FormScope"; }
  Ref<NotebookObject> FindHolder(std::u16string_view name) override {
    const NotebookField* field = form_.FindField(name);
    return field != nullptr ? field->Content() : nullptr;
  }
  Ref<NotebookObject> ValueObject(NotebookObject& holder) override {
    return Ref<NotebookObject>(&holder);
  }

 private:
  const NotebookForm& form_;
};

class ColumnProperties final : public ktformula::ELNProperties {
 public:
  explicit ColumnProperties(const NotebookTable& table) : table_(table) {}

  std::u16string TypeName() const override { return u"ELNProperties"; }
  int Count() const override { return table_.ColumnCount(); }
  Ref<ktformula::ELNProperty> Item(int index) const override {
    return table_.Column(index)->Property();
  }
  Ref<ktformula::ELNProperty> Find(std::u16string_view name) const override {
    const NotebookColumn* column = table_.FindColumn(name);
    return column != nullptr ? column->Property() : nullptr;
  }

 private:
  const NotebookTable& table_;
};

// A field without columns has no properties of its own to tell.
class NoProperties final : public ktformula::ELNProperties {
 public:
  std::u16string TypeName() const override { return u"ELNProperties"; }
  int Count() const override { return 0; }
  Ref<ktformula::ELNProperty> Item(int) const override { return nullptr; }
  Ref<ktformula::ELNProperty> Find(std::u16string_view) const override { return nullptr; }
};

Ref<ktformula::ELNProperties> PropertiesOf(const NotebookField& field) {
  if (!field.OwnTable()) return MakeRef<NoProperties>();
  return MakeRef<ColumnProperties>(*field.OwnTable());
}

class FieldHolder final : public ktformula::ControlHolder {
 public:
  explicit FieldHolder(const NotebookField& field) : field_(field) {}

  std::u16string TypeName() const override { return u"ControlHolder"; }
  Ref<ktformula::ELNProperties> Properties() override { return PropertiesOf(field_); }
  Ref<ktformula::GridControl> Object() override {
    if (!field_.OwnTable()) return nullptr;
    return field_.OwnTable()->Control();
  }

 private:
  const NotebookField& field_;
};

class FieldOwner final : public ktformula::OwnerCollection {
 public:
  explicit FieldOwner(const NotebookField& field) : field_(field) {}

  std::u16string TypeName() const override { return u"FormSection"; }
  int FieldCount() const override { return static_cast<int>(field_.Parent().Fields().size()); }
  Ref<ktformula::Field> FieldAt(int index) const override {
    return field_.Parent().Fields()[static_cast<std::size_t>(index) - 1];
  }
  Ref<ktformula::Field> WatchedField() const override {
    return Ref<ktformula::Field>(field_.Parent().FindField(field_.Name()));
  }
  Ref<ktformula::ELNProperties> WatchedProperties() const override { return PropertiesOf(field_); }
  ktformula::EnteredCellsPromise* EnteredCells() const override {
    return &field_.Parent().Entered();
  }
  std::u16string Description(int) const override {
    return field_.Description() + u" of form \"" + field_.Parent().Name() + u"\"";
  }

 private:
  const NotebookField& field_;
};

}  // namespace

std::u16string_view DataTypeText(DataType type) noexcept {
  return kDataTypeTexts[static_cast<std::size_t>(type)];
}

std::optional<DataType> FindDataType(std::u16string_view text) noexcept {
  const auto found = std::find(kDataTypeTexts.begin(), kDataTypeTexts.end(), text);
  if (found == kDataTypeTexts.end()) return std::nullopt;
  return static_cast<DataType>(found - kDataTypeTexts.begin());
}

Ref<ktformula::Unit> NotebookProperty::DefaultUnit() const {
  return Ref<ktformula::Unit>(const_cast<NotebookUnit*>(definition_.unit));
}

NotebookColumn::NotebookColumn(NotebookTable& table, std::size_t index,
                               PropertyDefinition definition)
    : table_(table),
      index_(index),
      property_(MakeRef<NotebookProperty>(std::move(definition))),
      changes_(table.Parent().NextChange()) {
  data_.Append(static_cast<std::size_t>(table.RowCount()));
}

Ref<CellObject> NotebookColumn::ObjectAt(std::size_t row) {
  return objects_.At(row, data_.Count(), NotebookCell(*this, row));
}

TypedMark NotebookColumn::TypedState() const {
  const bool is_quantity = Definition().type == DataType::kNumber || table_.HasFormula(*this);
  return is_quantity ? kQuantityMark : kNotedMark;
}

const ktformula::Locale& NotebookColumn::KeptIn() const noexcept {
  return table_.Parent().OwnLocale().separators;
}

TypedTexts NotebookColumn::TextsTypedIn(const ktformula::Locale& locale) const {
  return {Definition(), table_.Parent().Units(), KeptIn(), locale};
}

// A pattern may put something around a number, so the text of a number need not read as one.
bool NotebookColumn::ShowsNumber(std::size_t row, std::u16string_view text) const {
  switch (Definition().type) {
    case DataType::kNumber: return !std::isnan(data_.MinNumbers()[row]);
    case DataType::kBoolean:
      return ParseNumberText(text, nullptr, table_.Parent().Units(), KeptIn()).has_value();
    default: return false;
  }
}

std::u16string_view NotebookColumn::Localized(const ktformula::Locale& locale, std::size_t row,
                                              std::u16string_view text,
                                              std::u16string& buffer) const {
  if (locale == KeptIn() || text.empty() || !ShowsNumber(row, text)) return text;
  return WithSeparatorsOf(locale, text, KeptIn(), buffer);
}

bool NotebookColumn::Enter(std::size_t row, std::u16string_view typed, const TypedMark& mark,
                           const ktformula::Locale& locale) {
  // As it was, and as it will be.
  NoteEntered(row);
  const bool is_new = TextsTypedIn(locale).Enter(typed, mark, data_, row);
  NoteEntered(row);
  return is_new;
}

bool NotebookColumn::TakeTypedText(std::size_t row, std::u16string_view text) {
  return Take(row, TextsTypedIn(KeptIn()).Read(text));
}

ColumnData NotebookColumn::Adopt(ColumnData data) {
  if (data_.EnteredCount() + data.EnteredCount() > 0) table_.Parent().Entered().NoteChange();
  ColumnData before = std::exchange(data_, std::move(data));
  NoteChanges();
  return before;
}

void NotebookColumn::Exchange(ColumnData& data, std::size_t first) {
  if (data.Count() == data_.Count()) {
    data = Adopt(std::move(data));
    return;
  }
  std::u16string buffer;
  for (std::size_t i = 0; i < data.Count(); ++i) {
    const NotebookCell cell(*this, first + i);
    const CellContent content = cell.Content();
    // Copies: setting a state may move them.
    const std::pair<std::u16string, std::u16string> mark{cell.State(), cell.Tag()};
    cell.SetContent(data.Content(i, buffer));
    cell.SetState(data.State(i), data.Tag(i));
    data.SetContent(i, content);
    data.SetState(i, mark.first, mark.second);
  }
}

bool NotebookColumn::TakeWrittenText(std::size_t row, std::u16string_view text, bool is_value) {
  return Take(row, WrittenText(Definition().type, text, is_value));
}

bool NotebookColumn::Take(std::size_t row, const ContentView& content) {
  NoteEntered(row);
  return data_.SetContent(row, content);
}

bool NotebookColumn::TakeState(std::size_t row, std::u16string_view state,
                               std::u16string_view tag) {
  NoteEntered(row);
  const bool is_new = data_.SetState(row, state, tag);
  NoteEntered(row);
  return is_new;
}

void NotebookColumn::NoteEntered(std::size_t row) {
  if (data_.IsEntered(row)) table_.Parent().Entered().NoteChange();
}

void NotebookColumn::NoteChange(std::size_t row) {
  changes_.Note(row, table_.Parent().NextChange(), data_.Count());
}

void NotebookColumn::NoteChanges() {
  changes_.NoteAny(table_.Parent().NextChange());
}

void NotebookColumn::Arrange(std::span<const std::size_t> sources) {
  data_.Arrange(sources);
  objects_.Arrange(sources);
  NoteChanges();
}

void NotebookColumn::KeepFirstRows(std::size_t count) {
  if (count == 0) {
    data_ = ColumnData();
  } else {
    data_.KeepFirst(count);
  }
  objects_.KeepFirst(count);
  NoteChanges();
}

Ref<ktformula::PropertyScope> NotebookColumn::Scope() {
  return table_.Scope();
}

Ref<ktformula::Table> NotebookColumn::OwningTable() const {
  return Ref<ktformula::Table>(&table_);
}

Ref<ktformula::TableCell> NotebookColumn::Cell(int index) const {
  return table_.Columns()[index_]->ObjectAt(static_cast<std::size_t>(index) - 1);
}

ktformula::ColumnCells* NotebookColumn::Cells() {
  return table_.Parent().Given().columns ? this : nullptr;
}

ktformula::ColumnChanges* NotebookColumn::Changes() {
  return table_.Parent().Given().changes ? this : nullptr;
}

std::uint64_t NotebookColumn::Stamp() const {
  table_.Control()->NoteUnfinished();
  return std::max(changes_.Stamp(), table_.RowChanges().Stamp());
}

bool NotebookColumn::RowsChangedSince(std::uint64_t stamp, std::vector<std::size_t>& rows) const {
  table_.Control()->NoteUnfinished();
  if (!changes_.Knows(stamp) || !table_.RowChanges().Knows(stamp)) return false;
  changes_.AppendRowsSince(stamp, rows);
  table_.RowChanges().AppendRowsSince(stamp, rows);
  return true;
}

void NotebookColumn::WriteNumbers(std::size_t first, std::span<const double> numbers) {
  table_.Control()->WriteNumbers(*this, first, numbers);
}

void NotebookColumn::WriteTexts(std::size_t first, std::span<const std::uint32_t> which,
                                std::span<const std::u16string_view> texts, bool is_value) {
  table_.Control()->WriteTexts(*this, first, which, texts, is_value);
}

NotebookTable::NotebookTable(NotebookForm& form, std::u16string_view name, std::int32_t key)
    : form_(form),
      name_(name),
      key_(key),
      row_changes_(form.LastChange()),
      control_(MakeRef<TableControl>(form)) {}

NotebookTable::~NotebookTable() = default;

NotebookField& NotebookTable::OwnField() const {
  return *form_.FindField(name_);
}

NotebookColumn* NotebookTable::FindColumn(std::u16string_view name) const {
  const auto found = column_positions_.find(name);
  return found == column_positions_.end() ? nullptr : columns_[found->second].get();
}

std::optional<NotebookRow> NotebookTable::FindRow(std::u16string_view id_or_number) const {
  const auto found = row_positions_.find(id_or_number);
  if (found != row_positions_.end()) return Rows()[found->second];
  // All other rows have their number for an id.
  const std::optional<std::size_t> row = RowOfNumber(id_or_number, row_count_);
  return row ? std::optional(Rows()[*row]) : std::nullopt;
}

bool NotebookTable::HasRow(std::u16string_view id) const {
  const std::optional<NotebookRow> row = FindRow(id);
  return row && IdOf(row->Index()) == id;
}

NotebookColumn* NotebookTable::AddColumn(PropertyDefinition definition) {
  if (!column_positions_.try_emplace(definition.name, columns_.size()).second) return nullptr;
  columns_.push_back(MakeRef<NotebookColumn>(*this, columns_.size(), std::move(definition)));
  form_.NoteName();
  return columns_.back().get();
}

std::optional<NotebookRow> NotebookTable::AddRow(std::u16string_view id) {
  if (HasRow(id)) return std::nullopt;
  if (id != NumberOfRow(row_count_)) {
    row_ids_.resize(row_count_ + 1);
    row_ids_.back() = &row_positions_.emplace(id, row_count_).first->first;
  }
  AppendRows(1);
  row_changes_.Note(row_count_ - 1, form_.NextChange(), row_count_);
  return Rows()[row_count_ - 1];
}

void NotebookTable::AddNumberedRows(std::size_t count) {
  for (const Ref<NotebookColumn>& column : columns_)
    column->data_.Reserve(row_count_ + count);
  AppendRows(count);
  row_changes_.NoteAny(form_.NextChange());
}

void NotebookTable::AppendRows(std::size_t count) {
  for (const Ref<NotebookColumn>& column : columns_)
    column->data_.Append(count);
  row_count_ += count;
  form_.NoteName();
}

void NotebookTable::InsertColumn(const Ref<NotebookColumn>& column, std::size_t index) {
  control_->EndWrite();
  Erase(removed_columns_, column);
  columns_.insert(columns_.begin() + static_cast<std::ptrdiff_t>(index), column);
  RenumberColumns();
}

Ref<NotebookColumn> NotebookTable::TakeColumn(std::size_t index) {
  control_->EndWrite();
  Ref<NotebookColumn> column = columns_[index];
  columns_.erase(columns_.begin() + static_cast<std::ptrdiff_t>(index));
  removed_columns_.push_back(column);
  RenumberColumns();
  return column;
}

void NotebookTable::RenameColumn(const NotebookColumn& column, std::u16string_view name) {
  column.property_->definition_.name = name;
  RenumberColumns();
}

void NotebookTable::RenumberColumns() {
  column_positions_.clear();
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    columns_[i]->index_ = i;
    column_positions_.emplace(columns_[i]->Definition().name, i);
  }
  form_.NoteStructure();
}

void NotebookTable::ArrangeRows(std::span<const std::size_t> sources, std::u16string_view new_id) {
  control_->EndWrite();
  std::vector<std::u16string> ids;
  std::unordered_map<std::size_t, ktformula::Dictionary<std::u16string>> tags;
  for (std::size_t row = 0; row < sources.size(); ++row) {
    ids.push_back(sources[row] == kNoRow ? std::u16string(new_id) : IdOf(sources[row]));
    const auto found = row_tags_.find(sources[row]);
    if (found != row_tags_.end()) tags.emplace(row, std::move(found->second));
  }
  row_tags_ = std::move(tags);
  row_count_ = sources.size();
  SetRowIds(ids);
  row_objects_.Arrange(sources);
  for (const Ref<NotebookColumn>& column : columns_)
    column->Arrange(sources);
  row_changes_.NoteAny(form_.NextChange());
}

void NotebookTable::RenameRow(std::size_t row, std::u16string_view id) {
  ForgetRowId(row);
  if (id != NumberOfRow(row)) {
    row_ids_.resize(std::max(row_ids_.size(), row + 1));
    row_ids_[row] = &row_positions_.emplace(id, row).first->first;
  }
  form_.NoteStructure();
}

void NotebookTable::KeepFirstRows(std::size_t count) {
  control_->EndWrite();
  for (std::size_t row = count; row < row_count_; ++row) {
    row_tags_.erase(row);
    ForgetRowId(row);
  }
  row_ids_.resize(std::min(row_ids_.size(), count));
  row_count_ = count;
  row_objects_.KeepFirst(count);
  for (const Ref<NotebookColumn>& column : columns_)
    column->KeepFirstRows(count);
  row_changes_.NoteAny(form_.NextChange());
  form_.NoteStructure();
}

void NotebookTable::ForgetRowId(std::size_t row) {
  if (row >= row_ids_.size() || row_ids_[row] == nullptr) return;
  row_positions_.erase(row_positions_.find(*row_ids_[row]));
  row_ids_[row] = nullptr;
}

void NotebookTable::EmptyRemovedColumns() {
  for (const Ref<NotebookColumn>& column : removed_columns_)
    column->KeepFirstRows(0);
}

void NotebookTable::SetRowIds(const std::vector<std::u16string>& ids) {
  row_positions_.clear();
  row_ids_.clear();
  for (std::size_t row = 0; row < ids.size(); ++row) {
    if (ids[row] == NumberOfRow(row)) continue;
    row_ids_.resize(row + 1);
    row_ids_[row] = &row_positions_.emplace(ids[row], row).first->first;
  }
  form_.NoteStructure();
}

void NotebookTable::TakeListener(Ref<ktformula::IKtFieldListener> listener) {
  Erase(listeners_, listener);
  removed_listeners_.push_back(std::move(listener));
}

void NotebookTable::TerminateListeners() {
  for (const auto* const list : {&listeners_, &removed_listeners_}) {
    for (const auto& listener : *list)
      listener->Terminate();
  }
}

std::u16string NotebookTable::IdOf(std::size_t row) const {
  const std::u16string* id = row < row_ids_.size() ? row_ids_[row] : nullptr;
  return id != nullptr ? *id : NumberOfRow(row);
}

const ktformula::Dictionary<std::u16string>& NotebookTable::TagsOf(std::size_t row) const {
  static const ktformula::Dictionary<std::u16string> kNone;
  const auto found = row_tags_.find(row);
  return found == row_tags_.end() ? kNone : found->second;
}

bool NotebookTable::AddTag(std::size_t row, std::u16string_view name, std::u16string_view value) {
  return row_tags_[row].Add(name, std::u16string(value));
}

Ref<RowObject> NotebookTable::RowObjectAt(std::size_t row) {
  return row_objects_.At(row, row_count_, NotebookRow(*this, row));
}

void NotebookTable::AddListener(Ref<ktformula::IKtFieldListener> listener) {
  Erase(removed_listeners_, listener);
  const auto place =
      std::upper_bound(listeners_.begin(), listeners_.end(), listener->Position(),
                       [](std::int16_t position, const Ref<ktformula::IKtFieldListener>& other) {
                         return position < other->Position();
                       });
  listeners_.insert(place, std::move(listener));
}

ktformula::IKtFormulaListener* NotebookTable::ListenerComputing(
    const NotebookColumn& column) const {
  for (const Ref<ktformula::IKtFieldListener>& listener : listeners_) {
    auto* formulas = dynamic_cast<ktformula::IKtFormulaListener*>(listener.get());
    if (formulas == nullptr) continue;
    const auto entry = formulas->FormulaOf(column.Definition().key);
    if (entry && !entry->formula.empty()) return formulas;
  }
  return nullptr;
}

ktformula::ReferenceBinding* NotebookTable::Binding() {
  return form_.Given().binding ? this : nullptr;
}

std::uint64_t NotebookTable::Stamp() const {
  return form_.Names();
}

NotebookObject& NotebookTable::BoundForm() {
  return form_;
}

NotebookObject* NotebookTable::ColumnNamed(std::u16string_view name) {
  return FindColumn(name);
}

std::optional<std::size_t> NotebookTable::RowNamed(std::u16string_view id_or_number) {
  const std::optional<NotebookRow> row = FindRow(id_or_number);
  return row ? std::optional(row->Index()) : std::nullopt;
}

Ref<NotebookObject> NotebookTable::RowAt(std::size_t row) {
  return RowObjectAt(row);
}

Ref<NotebookObject> NotebookTable::CellAt(NotebookObject& column, std::size_t row) {
  return static_cast<NotebookColumn&>(column).ObjectAt(row);
}

Ref<ktformula::PropertyScope> NotebookTable::Scope() {
  return form_.Scope();
}

Ref<ktformula::TableProperty> NotebookTable::Column(int index) const {
  return columns_[static_cast<std::size_t>(index) - 1];
}

Ref<ktformula::TableRow> NotebookTable::Row(int index) const {
  form_.Log().NoteRowAskedFor();
  return Rows()[static_cast<std::size_t>(index) - 1].Object();
}

NotebookField::NotebookField(NotebookForm& form, std::u16string_view name, Ref<NotebookTable> table)
    : form_(form), name_(name), table_(std::move(table)), key_(table_->FileKey()) {}

NotebookField::NotebookField(NotebookForm& form, std::u16string_view name,
                             Ref<NotebookStructure> structure)
    : form_(form), name_(name), structure_(std::move(structure)) {}

NotebookField::NotebookField(NotebookForm& form, std::u16string_view name,
                             Ref<NotebookTextField> text)
    : form_(form), name_(name), text_(std::move(text)) {}

Ref<NotebookObject> NotebookField::Content() const {
  if (table_) return table_;
  if (structure_) return structure_;
  return text_;
}

std::u16string NotebookField::Description() const {
  std::u16string_view kind = u"field";
  if (table_) kind = u"table";
  if (structure_) kind = u"structure";
  return std::u16string(kind) + u" \"" + name_ + u"\"";
}

NotebookForm::NotebookForm(std::u16string_view name, Ref<NotebookUnitCatalogue> units)
    : name_(name), units_(std::move(units)), scope_(MakeRef<FormScope>(*this)) {}

// Listeners hold on to the objects that lead to them until they are told to let go.
NotebookForm::~NotebookForm() {
  for (const auto* const list : {&fields_, &removed_fields_}) {
    for (const Ref<NotebookField>& field : *list) {
      if (field->OwnTable()) field->OwnTable()->TerminateListeners();
    }
  }
}

std::vector<NotebookTable*> NotebookForm::Tables() const {
  std::vector<NotebookTable*> tables;
  for (const Ref<NotebookField>& field : fields_) {
    if (field->OwnTable()) tables.push_back(field->OwnTable().get());
  }
  return tables;
}

NotebookField* NotebookForm::FindField(std::u16string_view name) const {
  NotebookField* const* field = fields_by_name_.Find(name);
  return field != nullptr ? *field : nullptr;
}

NotebookTable* NotebookForm::FindTable(std::u16string_view name) const {
  const NotebookField* field = FindField(name);
  return field != nullptr ? field->OwnTable().get() : nullptr;
}

NotebookField* NotebookForm::AddField(const Ref<NotebookField>& field) {
  if (fields_by_name_.Contains(field->Name())) return nullptr;
  InsertField(field, fields_.size());
  return field.get();
}

void NotebookForm::InsertField(const Ref<NotebookField>& field, std::size_t index) {
  Erase(removed_fields_, field);
  fields_.insert(fields_.begin() + static_cast<std::ptrdiff_t>(index), field);
  fields_by_name_.Add(field->Name(), field.get());
  for (std::size_t i = index; i < fields_.size(); ++i)
    fields_[i]->position_ = static_cast<int>(i) + 1;
  NoteStructure();
}

Ref<NotebookField> NotebookForm::TakeField(std::size_t index) {
  Ref<NotebookField> field = fields_[index];
  fields_.erase(fields_.begin() + static_cast<std::ptrdiff_t>(index));
  fields_by_name_.Remove(field->Name());
  for (std::size_t i = index; i < fields_.size(); ++i)
    fields_[i]->position_ = static_cast<int>(i) + 1;
  field->position_ = 0;
  removed_fields_.push_back(field);
  NoteStructure();
  return field;
}

void NotebookForm::RenameField(NotebookField& field, std::u16string_view name) {
  fields_by_name_.Remove(field.name_);
  field.name_ = name;
  if (field.table_) field.table_->name_ = name;
  fields_by_name_.Add(field.name_, &field);
  NoteStructure();
}

void NotebookForm::NoteStructure() noexcept {
  NoteName();
  entered_.NoteChange();
}

void NotebookForm::EmptyRemoved() {
  for (const auto* const list : {&fields_, &removed_fields_}) {
    for (const Ref<NotebookField>& field : *list) {
      if (!field->OwnTable()) continue;
      field->OwnTable()->EmptyRemovedColumns();
      if (list == &removed_fields_) field->OwnTable()->KeepFirstRows(0);
    }
  }
}

NotebookTable* NotebookForm::AddTable(std::u16string_view name, std::int32_t key) {
  const NotebookField* field =
      AddField(MakeRef<NotebookField>(*this, name, MakeRef<NotebookTable>(*this, name, key)));
  return field != nullptr ? field->OwnTable().get() : nullptr;
}

NotebookField* NotebookForm::AddStructure(std::u16string_view name, std::u16string_view data) {
  return AddField(MakeRef<NotebookField>(*this, name, MakeRef<NotebookStructure>(data)));
}

NotebookField* NotebookForm::AddTextField(std::u16string_view name, std::u16string_view text) {
  return AddField(MakeRef<NotebookField>(*this, name, MakeRef<NotebookTextField>(text)));
}

Ref<ktformula::OwnerCollection> NotebookForm::OwnerOf(const NotebookField& field) {
  return MakeRef<FieldOwner>(field);
}

Ref<ktformula::ControlHolder> NotebookForm::HolderOf(const ktformula::Field& field) {
  return MakeRef<FieldHolder>(static_cast<const NotebookField&>(field));
}

}  // namespace ktnotebook
