#include "notebook/tables/cells.h"

#include <cmath>

#include "notebook/tables/cell_text.h"
#include "notebook/tables/localized_text.h"
#include "notebook/tables/model.h"
#include "notebook/tables/written_content.h"
#include "values/platform.h"
#include "values/raised_error.h"

namespace ktnotebook {

using ktformula::NotebookObject;

NotebookRow NotebookCell::OwningRow() const noexcept {
  return {column_->Parent(), row_};
}

const PropertyDefinition& NotebookCell::Definition() const noexcept {
  return column_->Definition();
}

CellContent NotebookCell::Content() const {
  std::u16string buffer;
  const ContentView content = column_->Data().Content(row_, buffer);
  return {std::u16string(content.text), content.min, content.max, std::u16string(content.unit)};
}

std::u16string NotebookCell::Text() const {
  std::u16string buffer;
  return std::u16string(column_->Data().Text(row_, buffer));
}

double NotebookCell::MinNumber() const noexcept {
  return column_->Data().MinNumbers()[row_];
}
double NotebookCell::MaxNumber() const noexcept {
  return column_->Data().MaxNumbers()[row_];
}
const std::u16string& NotebookCell::State() const noexcept {
  return column_->Data().State(row_);
}
const std::u16string& NotebookCell::Tag() const noexcept {
  return column_->Data().Tag(row_);
}

std::u16string NotebookCell::TextIn(const ktformula::Locale& locale) const {
  std::u16string buffer;
  return std::u16string(column_->Localized(locale, row_, Text(), buffer));
}

std::u16string NotebookCell::UnwrittenUnit() const {
  const CellContent content = Content();
  const NotebookUnit* unit = Definition().unit;
  const bool is_bare = unit != nullptr && content.unit.empty() && !content.text.empty() &&
                       !content.text.ends_with(u'%') && !std::isnan(content.min);
  if (!is_bare) return {};
  const auto typed =
      ParseNumberText(content.text, unit, column_->Parent().Parent().Units(), column_->KeptIn());
  const bool is_in_own_unit = typed && typed->min == content.min && typed->max == content.max;
  return is_in_own_unit ? unit->UnitText() : std::u16string(BaseUnitText(unit->MeasuredQuantity()));
}

bool NotebookCell::Accepts(std::u16string_view typed) const {
  return Accepts(typed, column_->KeptIn());
}

bool NotebookCell::Accepts(std::u16string_view typed, const ktformula::Locale& locale) const {
  const std::u16string_view text = TrimTypedText(typed);
  if (text.empty()) return true;
  if (Definition().type == DataType::kDate) return ktformula::DateValue(text).has_value();
  if (Definition().type != DataType::kBoolean) return true;
  const ktformula::LocaleScope kept_in(column_->KeptIn());
  try {
    ktformula::XMLBoolean(column_->TextsTypedIn(locale).ReadTyped(text).text);
  } catch (const ktformula::RaisedError&) {
    return false;
  }
  return true;
}

std::optional<std::u16string> NotebookCell::MeantNumber(std::u16string_view typed,
                                                        const ktformula::Locale& locale) const {
  const auto is_number = [&](const ktformula::Locale& other) {
    return !std::isnan(column_->TextsTypedIn(other).ReadTyped(typed).min);
  };
  if (Definition().type != DataType::kNumber || is_number(locale)) return std::nullopt;
  constexpr ktformula::Locale kPoint{u'.', u','};
  constexpr ktformula::Locale kComma{u',', u'.'};
  constexpr ktformula::Locale kSpace{u',', u'\u202F'};
  constexpr ktformula::Locale kApostrophe{u'.', u'\u2019'};
  for (const ktformula::Locale& other : {column_->KeptIn(), kPoint, kComma, kSpace, kApostrophe}) {
    if (!is_number(other)) continue;
    std::u16string own;
    std::u16string buffer;
    return std::u16string(WithSeparatorsOf(
        locale, WithOwnThousands(TrimTypedText(typed), other, own), other, buffer));
  }
  return std::nullopt;
}

void NotebookCell::Enter(std::u16string_view typed) const {
  Enter(typed, column_->KeptIn());
}

void NotebookCell::Enter(std::u16string_view typed, const ktformula::Locale& locale) const {
  if (column_->Enter(row_, typed, column_->TypedState(), locale)) column_->NoteChange(row_);
}

void NotebookCell::TakeTypedText(std::u16string_view text) const {
  if (column_->TakeTypedText(row_, text)) column_->NoteChange(row_);
}

void NotebookCell::TakeWrittenText(std::u16string_view text, bool is_value) const {
  if (column_->TakeWrittenText(row_, text, is_value)) column_->NoteChange(row_);
}

void NotebookCell::SetContent(const ContentView& content) const {
  if (column_->Take(row_, content)) column_->NoteChange(row_);
}

void NotebookCell::SetState(std::u16string_view state, std::u16string_view tag) const {
  if (column_->TakeState(row_, state, tag)) column_->NoteChange(row_);
}

Ref<CellObject> NotebookCell::Object() const {
  return column_->ObjectAt(row_);
}

std::u16string NotebookRow::ID() const {
  return table_->IdOf(index_);
}

NotebookCell NotebookRow::CellAt(std::size_t column_index) const {
  return {*table_->Columns()[column_index], index_};
}

const ktformula::Dictionary<std::u16string>& NotebookRow::Tags() const {
  return table_->TagsOf(index_);
}

std::u16string NotebookRow::Tag(std::u16string_view name) const {
  if (const std::u16string* value = Tags().Find(name)) return *value;
  return name == u"ID" ? ID() : std::u16string();
}

bool NotebookRow::AddTag(std::u16string_view name, std::u16string_view value) const {
  return table_->AddTag(index_, name, value);
}

Ref<RowObject> NotebookRow::Object() const {
  return table_->RowObjectAt(index_);
}

const NotebookCell& CellObject::Cell() const {
  if (cell_.RowIndex() == kNoRow) ktformula::Raise(ktformula::RuntimeError::kObjectNotSet);
  return cell_;
}

Ref<NotebookObject> CellObject::ResolveRelative(std::span<const std::u16string> parts) {
  return cell_.OwningColumn().Parent().Resolve(ktformula::ReferenceStart::kCell, parts,
                                               Cell().RowIndex());
}

Ref<ktformula::PropertyScope> CellObject::Scope() {
  return cell_.OwningColumn().Scope();
}
Ref<ktformula::ELNProperty> CellObject::Property() const {
  return cell_.OwningColumn().OwnProperty();
}
Ref<ktformula::TableRow> CellObject::Row() const {
  return Cell().OwningRow().Object();
}
Ref<ktformula::TableProperty> CellObject::Column() const {
  return Ref<ktformula::TableProperty>(&cell_.OwningColumn());
}

std::u16string CellObject::StructureText() const {
  return cell_.Definition().type == DataType::kStructure ? Text() : std::u16string();
}

std::u16string CellObject::Key() const {
  return DisplayKey(cell_.Definition().unit);
}

std::u16string CellObject::UnitName() const {
  return DisplayUnitName(cell_.Definition().unit, Cell().State(),
                         cell_.OwningColumn().Data().Unit(Cell().RowIndex()));
}

const NotebookRow& RowObject::Row() const {
  if (row_.Index() == kNoRow) ktformula::Raise(ktformula::RuntimeError::kObjectNotSet);
  return row_;
}

Ref<NotebookObject> RowObject::ResolveRelative(std::span<const std::u16string> parts) {
  return row_.Parent().Resolve(ktformula::ReferenceStart::kRow, parts, Row().Index());
}

Ref<ktformula::PropertyScope> RowObject::Scope() {
  return row_.Parent().Scope();
}
Ref<ktformula::Table> RowObject::OwningTable() const {
  return Ref<ktformula::Table>(&row_.Parent());
}

Ref<ktformula::TableCell> RowObject::Cell(const ktformula::TableProperty& column) const {
  const auto& own = static_cast<const NotebookColumn&>(column);
  if (&own.Parent() != &row_.Parent()) return nullptr;
  return Row().CellAt(own.Index()).Object();
}

}  // namespace ktnotebook
