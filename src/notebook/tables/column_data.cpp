#include "notebook/tables/column_data.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

#include "listener/entered_values.h"
#include "values/platform.h"

namespace ktnotebook {

namespace {

// Whether one number says all: two zeros with different signs are two.
bool AreOne(double min, double max) noexcept {
  return std::bit_cast<std::uint64_t>(min) == std::bit_cast<std::uint64_t>(max) ||
         (std::isnan(min) && std::isnan(max));
}

}  // namespace

bool IsSameContent(const ContentView& left, const ContentView& right) noexcept {
  return IsSameNumber(left.min, right.min) && IsSameNumber(left.max, right.max) &&
         left.text == right.text && left.unit == right.unit;
}

std::optional<double> RoundedToGeneralForm(double value) {
  const double rounded = ktformula::RoundedToText(value);
  // Fifteen digits survive a double of the normal range, and no other.
  if (std::isnormal(rounded) || value == 0) return rounded;
  return std::nullopt;
}

ColumnData::ColumnData() : states_(ktformula::kEnteredState), tags_(ktformula::kEnteredState) {}

void ColumnData::Reserve(std::size_t rows) {
  min_.reserve(rows);
  texts_.Reserve(rows);
}

void ColumnData::Append(std::size_t rows) {
  min_.resize(min_.size() + rows);
  if (!max_.empty()) max_.resize(min_.size());
  texts_.Append(rows);
}

void ColumnData::Arrange(std::span<const std::size_t> sources) {
  min_ = Arranged(min_, sources);
  if (!max_.empty()) max_ = Arranged(max_, sources);
  texts_.Arrange(sources);
  units_.Arrange(sources);
  states_.Arrange(sources);
  tags_.Arrange(sources);
  ranges_ = entered_ = 0;
  for (std::size_t row = 0; row < Count(); ++row) {
    if (!max_.empty() && !AreOne(min_[row], max_[row])) ++ranges_;
    if (IsEntered(row)) ++entered_;
  }
}

void ColumnData::KeepFirst(std::size_t rows) {
  for (std::size_t row = rows; row < Count(); ++row) {
    if (!max_.empty() && !AreOne(min_[row], max_[row])) --ranges_;
    if (IsEntered(row)) --entered_;
  }
  min_.resize(rows);
  if (!max_.empty()) max_.resize(rows);
  texts_.KeepFirst(rows);
  units_.KeepFirst(rows);
  states_.KeepFirst(rows);
  tags_.KeepFirst(rows);
}

std::u16string_view ColumnData::Text(std::size_t row, std::u16string& buffer) const {
  if (!texts_.IsMade(row)) return texts_.At(row);
  // Room for any number, so that none has to be copied into its place.
  if (buffer.size() < ktformula::kNumberTextRoom) buffer.resize(ktformula::kNumberTextRoom);
  char16_t* const begin = buffer.data();
  char16_t* const end = ktformula::WriteNumberText(min_[row], begin);
  const char16_t separator = ktformula::UserLocale().decimal_separator;
  if (separator != decimal_separator_) std::replace(begin, end, separator, decimal_separator_);
  return {begin, end};
}

ContentView ColumnData::Content(std::size_t row, std::u16string& buffer) const {
  return {Text(row, buffer), min_[row], MaxNumbers()[row], units_.At(row)};
}

bool ColumnData::SetContent(std::size_t row, const ContentView& content) {
  std::u16string buffer;
  const bool is_same = IsSameContent(Content(row, buffer), content);
  SetNumbers(row, content.min, content.max);
  if (is_same) return false;
  texts_.Set(row, content.text);
  units_.Set(row, content.unit, Count());
  return true;
}

bool ColumnData::SetState(std::size_t row, std::u16string_view state, std::u16string_view tag) {
  if (State(row) == state && Tag(row) == tag) return false;
  if (IsEntered(row)) --entered_;
  states_.Set(row, state, Count());
  tags_.Set(row, tag, Count());
  if (IsEntered(row)) ++entered_;
  return true;
}

void ColumnData::SetNumbers(std::size_t row, double min, double max) {
  const bool was_range = ranges_ != 0 && !AreOne(min_[row], max_[row]);
  const bool is_range = !AreOne(min, max);
  if (is_range && max_.empty()) max_ = min_;
  min_[row] = min;
  if (!max_.empty()) max_[row] = max;
  ranges_ = ranges_ - (was_range ? 1 : 0) + (is_range ? 1 : 0);
}

bool ColumnData::SetGeneralNumber(std::size_t row, double number) {
  bool is_same = HasSameNumbers(row, number, number) && units_.NumberAt(row) == 0;
  if (is_same && !texts_.IsMade(row)) {
    is_same = texts_.At(row) == ktformula::NumberToText(number);
  }
  SetNumbers(row, number, number);
  texts_.SetMade(row);
  ClearUnit(row);
  return !is_same;
}

// Texts that are still to be made become texts as they would be now.
void ColumnData::MakeTextsReal() {
  std::u16string buffer;
  for (std::size_t row = 0; row < Count(); ++row) {
    if (texts_.IsMade(row)) texts_.Set(row, Text(row, buffer));
  }
}

ColumnData::GeneralNumbers::GeneralNumbers(ColumnData& data) : data_(data) {
  const char16_t separator = ktformula::UserLocale().decimal_separator;
  if (data_.decimal_separator_ == separator) return;
  data_.MakeTextsReal();
  data_.decimal_separator_ = separator;
}

ColumnData::SharedTexts::SharedTexts(ColumnData& data, std::span<const std::u16string_view> texts,
                                     std::span<const double> numbers)
    : data_(&data),
      texts_(texts),
      numbers_(numbers),
      places_(data.texts_.Share(texts)),
      moves_(data.texts_.Moves()) {}

bool ColumnData::SharedTexts::SetOther(std::size_t row, std::size_t which) {
  const double number = numbers_[which];
  std::u16string buffer;
  const bool is_same =
      IsSameContent(data_->Content(row, buffer), {texts_[which], number, number, {}});
  data_->SetNumbers(row, number, number);
  data_->texts_.SetPlace(row, places_[which]);
  data_->ClearUnit(row);
  return !is_same;
}

}  // namespace ktnotebook
