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
// Texts that are looked through rather than looked up.
constexpr std::size_t kFewTexts = 16;

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
  if (!shared_) shared_ = std::make_unique<Places>();
  const auto found = shared_->find(text);
  if (found != shared_->end()) return found->second;
  const Place place = Add(text) | kShared;
  if (text.size() <= kLongestRemembered && shared_->size() < kMostRemembered) {
    shared_->emplace(text, place);
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
  shared_.reset();
  ++moves_;
}

const std::u16string& FewTexts::At(std::size_t row) const noexcept {
  static const std::u16string kEmpty;
  const std::uint32_t number = NumberAt(row);
  return number == 0 ? kEmpty : set_->texts[number];
}

void FewTexts::Set(std::size_t row, std::u16string_view text, std::size_t rows) {
  if (!set_) {
    if (text.empty()) return;
    set_ = std::make_unique<Texts>();
    set_->texts = {std::u16string(), std::u16string(first_)};
  }
  const std::uint32_t number = set_->NumberOf(text);
  if (number == NumberAt(row)) return;
  std::vector<std::uint8_t>& narrow = set_->narrow;
  std::vector<std::uint32_t>& wide = set_->wide;
  if (number > std::numeric_limits<std::uint8_t>::max() && wide.empty()) {
    wide.assign(narrow.begin(), narrow.end());
    narrow = {};
  }
  if (wide.empty()) {
    if (row >= narrow.size()) narrow.resize(rows);
    narrow[row] = static_cast<std::uint8_t>(number);
  } else {
    if (row >= wide.size()) wide.resize(rows);
    wide[row] = number;
  }
}

void FewTexts::Arrange(std::span<const std::size_t> sources) {
  if (!set_) return;
  if (set_->wide.empty()) {
    set_->narrow = Arranged(set_->narrow, sources);
  } else {
    set_->wide = Arranged(set_->wide, sources);
  }
}

void FewTexts::KeepFirst(std::size_t rows) {
  if (!set_) return;
  set_->narrow.resize(std::min(set_->narrow.size(), rows));
  set_->wide.resize(std::min(set_->wide.size(), rows));
}

std::uint32_t FewTexts::Texts::NumberOf(std::u16string_view text) {
  if (texts[last_number] == text) return last_number;
  const std::size_t number = Find(text);
  if (number == texts.size()) Add(text);
  return last_number = static_cast<std::uint32_t>(number);
}

std::size_t FewTexts::Texts::Find(std::u16string_view text) const {
  if (!numbers) {
    return static_cast<std::size_t>(std::find(texts.begin(), texts.end(), text) - texts.begin());
  }
  const auto found = numbers->find(text);
  return found == numbers->end() ? texts.size() : found->second;
}

void FewTexts::Texts::Add(std::u16string_view text) {
  texts.emplace_back(text);
  if (texts.size() <= kFewTexts) return;
  if (!numbers) numbers = std::make_unique<std::map<std::u16string, std::uint32_t, std::less<>>>();
  for (std::size_t number = numbers->size(); number < texts.size(); ++number)
    numbers->emplace(texts[number], static_cast<std::uint32_t>(number));
}

}  // namespace ktnotebook
