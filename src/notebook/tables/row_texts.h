// Texts of a column's rows, kept together in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "values/dictionary.h"

namespace ktnotebook {

// In a list of rows, a row that is not there.
inline constexpr std::size_t kNoRow = std::numeric_limits<std::size_t>::max();

// For each of `sources` the item that stood at this index; an empty one where none did.
template <typename Item>
std::vector<Item> Arranged(const std::vector<Item>& items, std::span<const std::size_t> sources) {
  std::vector<Item> arranged(sources.size());
  for (std::size_t i = 0; i < sources.size(); ++i) {
    if (sources[i] < items.size()) arranged[i] = items[sources[i]];
  }
  return arranged;
}

// A text for each row, any texts: one behind the other in a pool, with the length in front. Rows
// may share a text. A text that is replaced leaves a gap; gaps are closed when they take more than
// half of the pool. Throws std::length_error when the pool would exceed 2^31 code units.
class RowTexts {
 public:
  // Where a text stands in the pool; 0 is the empty text.
  using Place = std::uint32_t;

  void Reserve(std::size_t rows) { places_.reserve(rows); }
  // Makes room for texts of so many code units, one more counted for each.
  void ReserveTexts(std::size_t units);
  void Append(std::size_t rows) { places_.resize(places_.size() + rows); }
  // Each row takes the text of the row that `sources` has in its place, of none twice.
  void Arrange(std::span<const std::size_t> sources) { places_ = Arranged(places_, sources); }
  void KeepFirst(std::size_t rows) { places_.resize(rows); }

  // Good until a text is set, shared or given up.
  std::u16string_view At(std::size_t row) const noexcept { return TextAt(places_[row]); }
  // The text may be one of these texts.
  void Set(std::size_t row, std::u16string_view text);

  // A row whose text is made from something else, and stands nowhere.
  bool IsMade(std::size_t row) const noexcept { return places_[row] == kMade; }
  void SetMade(std::size_t row) noexcept { places_[row] = kMade; }

  // Puts each text into the pool, for any number of rows. The places are good for SetPlace as long
  // as Moves() is the same.
  std::vector<Place> Share(std::span<const std::u16string_view> texts);
  void SetPlace(std::size_t row, Place place) noexcept { places_[row] = place; }
  Place PlaceOf(std::size_t row) const noexcept { return places_[row]; }
  std::uint64_t Moves() const noexcept { return moves_; }

  // The size of the pool in code units.
  std::size_t PoolSize() const noexcept { return pool_.size(); }

 private:
  static constexpr Place kMade = 0xFFFFFFFF;
  static constexpr Place kShared = 0x80000000;

  static std::size_t OffsetOf(Place place) noexcept { return place & ~kShared; }
  static bool IsOwn(Place place) noexcept { return place != 0 && (place & kShared) == 0; }
  std::u16string_view TextAt(Place place) const noexcept;
  Place Add(std::u16string_view text);
  Place ShareOne(std::u16string_view text);
  bool IsInPool(std::u16string_view text) const noexcept;
  // Makes room for so many code units more, closing gaps when that is worth it.
  void MakeRoom(std::size_t units);
  std::size_t LivingUnits() const;
  void CloseGaps(std::size_t living);

  std::vector<Place> places_;
  // Begins with a unit that is no text's, so that no text stands at 0.
  std::u16string pool_ = std::u16string(1, u'\0');
  // The row whose text was added last: equal texts often follow each other.
  std::size_t last_row_ = 0;
  using Places = std::unordered_map<std::u16string, Place, ktformula::TextHash, std::equal_to<>>;
  // Where short shared texts stand, so that they come to stand there once; nullptr for none.
  std::unique_ptr<Places> shared_;
  // The size of the pool at which to look for gaps.
  std::size_t next_look_ = 4096;
  std::uint64_t moves_ = 0;
};

// A text for each row out of a few different ones; "" unless set, and as long as all are "" they
// take no memory.
class FewTexts {
 public:
  // With a text of the program's, not "", that is number 1 whenever it comes.
  explicit FewTexts(std::u16string_view first) noexcept : first_(first) {}

  // Good until a text is set.
  const std::u16string& At(std::size_t row) const noexcept;
  // The number of the row's text; 0 is "".
  std::uint32_t NumberAt(std::size_t row) const noexcept {
    if (!set_) return 0;
    if (row < set_->narrow.size()) return set_->narrow[row];
    return row < set_->wide.size() ? set_->wide[row] : 0;
  }
  bool AllAreEmpty() const noexcept { return !set_; }
  // For a table of so many rows.
  void Set(std::size_t row, std::u16string_view text, std::size_t rows);
  // As those of RowTexts.
  void Arrange(std::span<const std::size_t> sources);
  void KeepFirst(std::size_t rows);

 private:
  struct Texts {
    // By number.
    std::vector<std::u16string> texts;
    std::uint32_t last_number = 0;
    // The numbers of all, once there are too many to look through.
    std::unique_ptr<std::map<std::u16string, std::uint32_t, std::less<>>> numbers;
    // The rows' numbers: one byte each as long as that suffices. Rows beyond the end have 0.
    std::vector<std::uint8_t> narrow;
    std::vector<std::uint32_t> wide;

    std::uint32_t NumberOf(std::u16string_view text);
    // As many as there are texts for one that is not among them.
    std::size_t Find(std::u16string_view text) const;
    void Add(std::u16string_view text);
  };

  std::u16string_view first_;
  std::unique_ptr<Texts> set_;
};

}  // namespace ktnotebook
