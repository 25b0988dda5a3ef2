#include "notebook/tables/model.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "listener/entered_values.h"
#include "notebook/tables/cell_text.h"
#include "notebook/tables/table_control.h"
#include "values/platform.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktnotebook {

using ktformula::MakeRef;
using ktformula::NotebookObject;

namespace {

constexpr std::array<std::u16string_view, 5> kDataTypeTexts{u"string", u"number", u"date",
                                                            u"Boolean", u"structure"};

constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();

bool IsParent(std::u16string_view part) {
  return ktformula::LowerCase(part) == u"parent";
}

bool IsSameNumber(double left, double right) noexcept {
  return left == right || (std::isnan(left) && std::isnan(right));
}

Ref<NotebookObject> Answer(NotebookObject* object) {
  return Ref<NotebookObject>(object);
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

bool CellContent::IsSameAs(const CellContent& other) const noexcept {
  return text == other.text && unit == other.unit && IsSameNumber(min, other.min) &&
         IsSameNumber(max, other.max);
}

const PropertyDefinition& NotebookCell::Definition() const noexcept {
  return column_.Definition();
}

bool NotebookCell::Accepts(std::u16string_view typed) const {
  const std::u16string_view text = TrimTypedText(typed);
  if (text.empty()) return true;
  if (Definition().type == DataType::kDate) return ktformula::DateValue(text).has_value();
  if (Definition().type != DataType::kBoolean) return true;
  try {
    ktformula::XMLBoolean(text);
  } catch (const ktformula::RaisedError&) {
    return false;
  }
  return true;
}

void NotebookCell::Enter(std::u16string_view typed) {
  const std::u16string_view text = TrimTypedText(typed);
  TakeTypedText(text);
  if (text.empty()) {
    SetState(u"", u"");
    return;
  }
  const bool is_quantity =
      Definition().type == DataType::kNumber || column_.Parent().HasFormula(column_);
  SetState(is_quantity ? ktformula::kEnteredState : u"noted", ktformula::kEnteredState);
}

void NotebookCell::TakeTypedText(std::u16string_view text) {
  TakeMereText(text);
  if (Definition().type == DataType::kNumber) {
    const auto number = ParseNumberText(text, Definition().unit, column_.Parent().Parent().Units());
    if (!number) return;
    content_.SetNumbers(number->min, number->max);
    content_.unit = number->typed_unit;
  } else if (Definition().type == DataType::kDate) {
    content_.min = content_.max = ktformula::DateValue(text).value_or(0);
  }
}

void NotebookCell::TakeWrittenText(std::u16string_view text, bool is_value) {
  TakeMereText(text);
  if (!is_value) return;
  const std::optional<double> number = Definition().type == DataType::kDate
                                           ? ktformula::DateValue(text)
                                           : ktformula::NumericValue(text);
  if (number) content_.min = content_.max = *number;
}

void NotebookCell::TakeMereText(std::u16string_view text) {
  content_.text = text;
  content_.unit.clear();
  const bool is_unreadable = Definition().type == DataType::kNumber && !text.empty();
  content_.min = content_.max = is_unreadable ? kNotANumber : 0;
  NoteChange();
}

void NotebookCell::SetContent(CellContent content) {
  content_ = std::move(content);
  NoteChange();
}

void NotebookCell::SetState(std::u16string_view state, std::u16string_view tag) {
  // As it was, and as it will be.
  NoteChange();
  state_ = state;
  tag_ = tag;
  NoteChange();
}

void NotebookCell::NoteChange() {
  if (state_ == ktformula::kEnteredState) row_.Parent().Parent().Entered().NoteChange();
}

Ref<NotebookObject> NotebookCell::ResolveRelative(std::span<const std::u16string> parts) {
  if (!IsParent(parts.front())) {
    return parts.size() == 1 ? Answer(row_.Parent().FindColumn(parts.front())) : nullptr;
  }
  if (parts.size() == 1) return Answer(&row_);
  if (IsParent(parts[1])) return row_.ResolveRelative(parts.subspan(1));
  const NotebookColumn* column = row_.Parent().FindColumn(parts[1]);
  if (parts.size() > 2 || column == nullptr) return nullptr;
  return Answer(&row_.CellAt(column->Index()));
}

Ref<ktformula::PropertyScope> NotebookCell::Scope() {
  return row_.Scope();
}
Ref<ktformula::ELNProperty> NotebookCell::Property() const {
  return column_.OwnProperty();
}
Ref<ktformula::TableRow> NotebookCell::Row() const {
  return Ref<ktformula::TableRow>(&row_);
}

std::u16string NotebookCell::StructureText() const {
  return Definition().type == DataType::kStructure ? content_.text : std::u16string();
}

std::u16string NotebookCell::Key() const {
  return Definition().unit != nullptr ? Definition().unit->QuantityName() : std::u16string();
}

std::u16string NotebookCell::UnitName() const {
  const NotebookUnit* default_unit = Definition().unit;
  if (default_unit == nullptr) return {};
  // A computed cell starts from the default unit, whatever it was shown in before.
  const bool is_typed = !state_.empty() && !content_.unit.empty();
  return is_typed ? content_.unit : default_unit->UnitText();
}

Ref<ktformula::PropertyScope> NotebookColumn::Scope() {
  return table_.Scope();
}

Ref<ktformula::Table> NotebookColumn::OwningTable() const {
  return Ref<ktformula::Table>(&table_);
}

int NotebookColumn::CellCount() const {
  return table_.RowCount();
}

Ref<ktformula::TableCell> NotebookColumn::Cell(int index) const {
  return Ref<ktformula::TableCell>(
      &table_.Rows()[static_cast<std::size_t>(index) - 1]->CellAt(index_));
}

NotebookRow::NotebookRow(NotebookTable& table, std::u16string_view id, int position)
    : table_(table), id_(id), position_(position) {
  cells_.reserve(table.Columns().size());
  for (const Ref<NotebookColumn>& column : table.Columns())
    AddCell(*column);
}

void NotebookRow::AddCell(NotebookColumn& column) {
  cells_.push_back(MakeRef<NotebookCell>(*this, column));
}

Ref<NotebookObject> NotebookRow::ResolveRelative(std::span<const std::u16string> parts) {
  if (IsParent(parts.front())) {
    return parts.size() == 1 ? Answer(&table_) : table_.ResolveRelative(parts.subspan(1));
  }
  return parts.size() == 1 ? Answer(table_.FindColumn(parts.front())) : nullptr;
}

Ref<ktformula::PropertyScope> NotebookRow::Scope() {
  return table_.Scope();
}
Ref<ktformula::Table> NotebookRow::OwningTable() const {
  return Ref<ktformula::Table>(&table_);
}

Ref<ktformula::TableCell> NotebookRow::Cell(const ktformula::TableProperty& column) const {
  const auto& own = static_cast<const NotebookColumn&>(column);
  if (&own.Parent() != &table_) return nullptr;
  return cells_[own.Index()];
}

std::u16string NotebookRow::Tag(std::u16string_view name) const {
  if (const std::u16string* value = tags_.Find(name)) return *value;
  return name == u"ID" ? id_ : std::u16string();
}

NotebookTable::NotebookTable(NotebookForm& form, std::u16string_view name, std::int32_t key)
    : form_(form), name_(name), key_(key), control_(MakeRef<TableControl>(form)) {}

NotebookTable::~NotebookTable() = default;

NotebookField& NotebookTable::OwnField() const {
  return *form_.FindField(name_);
}

NotebookColumn* NotebookTable::FindColumn(std::u16string_view name) const {
  const auto found = column_positions_.find(name);
  return found == column_positions_.end() ? nullptr : columns_[found->second].get();
}

NotebookRow* NotebookTable::FindRow(std::u16string_view id_or_number) const {
  const auto found = row_positions_.find(id_or_number);
  if (found != row_positions_.end()) return rows_[found->second].get();
  const bool is_count = !id_or_number.empty() &&
                        std::all_of(id_or_number.begin(), id_or_number.end(), ktformula::IsDigit);
  if (!is_count) return nullptr;
  const double number = ktformula::NumericValue(id_or_number).value_or(0);
  if (number < 1 || number > static_cast<double>(rows_.size())) return nullptr;
  return rows_[static_cast<std::size_t>(number) - 1].get();
}

NotebookColumn* NotebookTable::AddColumn(PropertyDefinition definition) {
  if (!column_positions_.try_emplace(definition.name, columns_.size()).second) return nullptr;
  columns_.push_back(MakeRef<NotebookColumn>(*this, columns_.size(), std::move(definition)));
  for (const Ref<NotebookRow>& row : rows_)
    row->AddCell(*columns_.back());
  return columns_.back().get();
}

NotebookRow* NotebookTable::AddRow(std::u16string_view id) {
  if (!row_positions_.try_emplace(std::u16string(id), rows_.size()).second) return nullptr;
  rows_.push_back(MakeRef<NotebookRow>(*this, id, RowCount() + 1));
  return rows_.back().get();
}

void NotebookTable::AddListener(Ref<ktformula::IKtFieldListener> listener) {
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

Ref<NotebookObject> NotebookTable::ResolveRelative(std::span<const std::u16string> parts) {
  if (parts.size() == 1 && IsParent(parts.front())) return Answer(&form_);
  if (parts.size() > 2) return nullptr;
  NotebookColumn* column = FindColumn(parts.front());
  if (column == nullptr || parts.size() == 1) return Answer(column);
  const NotebookRow* row = FindRow(parts[1]);
  return row != nullptr ? Answer(&row->CellAt(column->Index())) : nullptr;
}

Ref<ktformula::PropertyScope> NotebookTable::Scope() {
  return form_.Scope();
}

Ref<ktformula::TableProperty> NotebookTable::Column(int index) const {
  return columns_[static_cast<std::size_t>(index) - 1];
}

Ref<ktformula::TableRow> NotebookTable::Row(int index) const {
  form_.Log().NoteRowAskedFor();
  return rows_[static_cast<std::size_t>(index) - 1];
}

NotebookField::NotebookField(NotebookForm& form, std::u16string_view name, Ref<NotebookTable> table)
    : form_(form), name_(name), table_(std::move(table)), key_(table_->FileKey()) {}

NotebookField::NotebookField(NotebookForm& form, std::u16string_view name,
                             Ref<NotebookStructure> structure)
    : form_(form), name_(name), structure_(std::move(structure)) {}

NotebookField::NotebookField(NotebookForm& form, std::u16string_view name,
                             Ref<NotebookTextField> text)
    : form_(form), name_(name), text_(std::move(text)) {}

int NotebookField::NextPosition(const NotebookForm& form) noexcept {
  return static_cast<int>(form.Fields().size()) + 1;
}

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
  for (NotebookTable* table : Tables()) {
    for (const auto& listener : table->Listeners())
      listener->Terminate();
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

NotebookField* NotebookForm::AddField(Ref<NotebookField> field) {
  if (!fields_by_name_.Add(field->Name(), field.get())) return nullptr;
  fields_.push_back(std::move(field));
  return fields_.back().get();
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
