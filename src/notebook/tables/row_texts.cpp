#include "notebook/tables/row_texts.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <stdexcept>
#include <utility>

namespace ktnotebook {

namespace {

constexpr std::size_t kLargestPool = 0x7FFFFFF0;
// In front of a text that is longer than one unit can tell; its length follows in two.
constexpr char16_t kLongText = 0xFFFF;
constexpr std::size_t kFewUnits = 4096;
// Shared texts that are worth remembering.
constexpr std::size_t kLongestRemembered = 64;
constexpr std::size_t kMostRemembered = 1024;

std::size_t HeadOf(std::u16string_view text) noexcept {
  return text.size() < kLongText ? 1 : 3;
}

}  // namespace

std::u16string_view RowTexts::TextAt(Place place) const noexcept {
  if (place == 0) return {};
  const char16_t* head = pool_.data() + OffsetOf(place);
  if (*head != kLongText) return {head + 1, *head};
  return {head + 3, static_cast<std::size_t>(head[1]) << 16U | head[2]};
}

void RowTexts::ReserveTexts(std::size_t units) {
  pool_.reserve(pool_.size() + units);
  next_look_ = std::max(next_look_, pool_.size() + units);
}

void RowTexts::Set(std::size_t row, std::u16string_view text) {
  if (IsInPool(text)) return Set(row, std::u16string(text));
  Place& place = places_[row];
  if (text.empty()) {
    place = 0;
  } else if (IsOwn(place) && TextAt(place).size() == text.size()) {
    std::copy(text.begin(), text.end(), pool_.data() + OffsetOf(place) + HeadOf(text));
  } else if (last_row_ < places_.size() && !IsMade(last_row_) && At(last_row_) == text) {
    place = places_[last_row_] |= kShared;
  } else {
    // What the row had is a gap already.
    place = 0;
    place = Add(text);
    last_row_ = row;
  }
}

std::vector<RowTexts::Place> RowTexts::Share(std::span<const std::u16string_view> texts) {
  std::size_t units = 0;
  for (const std::u16string_view text : texts)
    units += HeadOf(text) + text.size();
  // Nothing may move while places are taken.
  MakeRoom(units);
  next_look_ = std::max(next_look_, pool_.size() + units);
  std::vector<Place> places;
  places.reserve(texts.size());
  for (const std::u16string_view text : texts)
    places.push_back(ShareOne(text));
  return places;
}

RowTexts::Place RowTexts::ShareOne(std::u16string_view text) {
  if (text.empty()) return 0;
  const auto found = shared_.find(text);
  if (found != shared_.end()) return found->second;
  const Place place = Add(text) | kShared;
  if (text.size() <= kLongestRemembered && shared_.size() < kMostRemembered) {
    shared_.emplace(text, place);
  }
  return place;
}

RowTexts::Place RowTexts::Add(std::u16string_view text) {
  MakeRoom(HeadOf(text) + text.size());
  const auto place = static_cast<Place>(pool_.size());
  if (HeadOf(text) == 1) {
    pool_ += static_cast<char16_t>(text.size());
  } else {
    pool_ +=
        {kLongText, static_cast<char16_t>(text.size() >> 16U), static_cast<char16_t>(text.size())};
  }
  pool_ += text;
  return place;
}

bool RowTexts::IsInPool(std::u16string_view text) const noexcept {
  const std::less<const char16_t*> before;
  return !text.empty() && !before(text.data(), pool_.data()) &&
         before(text.data(), pool_.data() + pool_.size());
}

void RowTexts::MakeRoom(std::size_t units) {
  if (pool_.size() + units > next_look_) {
    const std::size_t living = LivingUnits();
    if (living < pool_.size() / 2) CloseGaps(living);
    next_look_ = pool_.size() + pool_.size() / 2 + kFewUnits;
  }
  if (units > kLargestPool - pool_.size()) throw std::length_error("a column has too much text");
}

std::size_t RowTexts::LivingUnits() const {
  std::size_t units = 1;
  std::vector<Place> shared;
  const auto count = [&](Place place) {
    const std::u16string_view text = TextAt(place);
    units += HeadOf(text) + text.size();
  };
  for (const Place place : places_) {
    if (place == kMade || place == 0) continue;
    if (IsOwn(place)) {
      count(place);
    } else if (shared.empty() || shared.back() != place) {
      shared.push_back(place);
    }
  }
  std::sort(shared.begin(), shared.end());
  shared.erase(std::unique(shared.begin(), shared.end()), shared.end());
  std::for_each(shared.begin(), shared.end(), count);
  return units;
}

void RowTexts::CloseGaps(std::size_t living) {
  RowTexts closed;
  closed.pool_.reserve(living);
  closed.next_look_ = std::numeric_limits<std::size_t>::max();
  std::unordered_map<Place, Place> moved;
  for (Place& place : places_) {
    if (place == kMade || place == 0) continue;
    if (IsOwn(place)) {
      place = closed.Add(TextAt(place));
      continue;
    }
    const auto [found, is_new] = moved.try_emplace(place);
    if (is_new) found->second = closed.Add(TextAt(place)) | kShared;
    place = found->second;
  }
  pool_ = std::move(closed.pool_);
  shared_.clear();
  ++moves_;
}

FewTexts::FewTexts(std::u16string_view first) {
  NumberOf(u"");
  if (!first.empty()) NumberOf(first);
}

void FewTexts::Set(std::size_t row, std::u16string_view text, std::size_t rows) {
  const std::uint32_t number = NumberOf(text);
  if (number == NumberAt(row)) return;
  if (number > std::numeric_limits<std::uint8_t>::max() && wide_.empty()) {
    wide_.assign(narrow_.begin(), narrow_.end());
    narrow_ = {};
  }
  if (wide_.empty()) {
    if (row >= narrow_.size()) narrow_.resize(rows);
    narrow_[row] = static_cast<std::uint8_t>(number);
  } else {
    if (row >= wide_.size()) wide_.resize(rows);
    wide_[row] = number;
  }
}

std::uint32_t FewTexts::NumberOf(std::u16string_view text) {
  if (!texts_.empty() && *texts_[last_number_] == text) return last_number_;
  auto found = numbers_.find(text);
  if (found == numbers_.end()) {
    const auto number = static_cast<std::uint32_t>(texts_.size());
    found = numbers_.emplace(std::u16string(text), number).first;
    texts_.push_back(&found->first);
  }
  last_number_ = found->second;
  return last_number_;
}

}  // namespace ktnotebook
