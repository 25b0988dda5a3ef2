// What the cells of a column hold, kept together in memory.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "notebook/tables/row_texts.h"

namespace ktnotebook {

// What a cell shows and the numbers behind it, in base units; borrowed texts.
struct ContentView {
  std::u16string_view text;
  double min = 0;
  double max = 0;
  // The unit last typed or shown, "%" included; "" for none.
  std::u16string_view unit;
};

// The same, with texts of its own.
struct CellContent {
  std::u16string text;
  double min = 0;
  double max = 0;
  std::u16string unit;

  operator ContentView() const noexcept { return {text, min, max, unit}; }
  // Negative zero becomes zero: nobody types it, and not every database keeps it.
  void SetNumbers(double lower, double upper) noexcept {
    min = lower + 0.0;
    max = upper + 0.0;
  }
};

// Not-a-number equals itself here.
inline bool IsSameNumber(double left, double right) noexcept {
  return left == right || (std::isnan(left) && std::isnan(right));
}
bool IsSameContent(const ContentView& left, const ContentView& right) noexcept;

// The number that the general form of a finite number reads as, where that number's own general
// form is the same text again; empty where it is not, or where the text reads as no number.
std::optional<double> RoundedToGeneralForm(double value);

// A column's cells: numbers, text, unit, state and tag of each row, counted from 0. An empty cell
// has the text "" and the numbers 0. The text of a number in general form is made when it is read,
// always in the locale that it was set in.
class ColumnData {
 public:
  ColumnData();

  std::size_t Count() const noexcept { return min_.size(); }
  void Reserve(std::size_t rows);
  void ReserveTexts(std::size_t units) { texts_.ReserveTexts(units); }
  // Appends empty cells.
  void Append(std::size_t rows);
  // Each row takes the cell of the row that `sources` has in its place, of none twice; kNoRow
  // stands for an empty one.
  void Arrange(std::span<const std::size_t> sources);
  void KeepFirst(std::size_t rows);

  // One and the same when no cell has two different numbers.
  std::span<const double> MinNumbers() const noexcept { return min_; }
  std::span<const double> MaxNumbers() const noexcept { return ranges_ == 0 ? min_ : max_; }
  // May stand in `buffer`; good until that is used again or something is set.
  std::u16string_view Text(std::size_t row, std::u16string& buffer) const;
  // Whether the text is the general form of the number, and not an error's.
  bool IsGeneralNumber(std::size_t row) const noexcept { return texts_.IsMade(row); }
  const std::u16string& Unit(std::size_t row) const noexcept { return units_.At(row); }
  ContentView Content(std::size_t row, std::u16string& buffer) const;
  const std::u16string& State(std::size_t row) const noexcept { return states_.At(row); }
  const std::u16string& Tag(std::size_t row) const noexcept { return tags_.At(row); }
  // Whether it has a state or a tag.
  bool IsMarked(std::size_t row) const noexcept {
    return states_.NumberAt(row) != 0 || tags_.NumberAt(row) != 0;
  }
  // Whether the state is ktformula::kEnteredState, and of how many rows it is.
  bool IsEntered(std::size_t row) const noexcept { return states_.NumberAt(row) == kEntered; }
  std::size_t EnteredCount() const noexcept { return entered_; }

  // All that set something tell whether it was anything else before.
  bool SetContent(std::size_t row, const ContentView& content);
  bool SetState(std::size_t row, std::u16string_view state, std::u16string_view tag);

  // Sets content without a unit: numbers as RoundedToGeneralForm gives them, with the general form
  // for the text.
  class GeneralNumbers {
   public:
    explicit GeneralNumbers(ColumnData& data);
    bool Set(std::size_t row, double number) {
      const bool is_same = data_.texts_.IsMade(row) && data_.min_[row] == number &&
                           data_.ranges_ == 0 && data_.units_.AllAreEmpty();
      return !is_same && data_.SetGeneralNumber(row, number);
    }

   private:
    ColumnData& data_;
  };

  // Sets content without a unit out of a few texts, each with its number.
  class SharedTexts {
   public:
    // `texts` and `numbers` go together, and are borrowed.
    SharedTexts(ColumnData& data, std::span<const std::u16string_view> texts,
                std::span<const double> numbers);
    bool Set(std::size_t row, std::size_t which) {
      if (moves_ != data_->texts_.Moves()) *this = SharedTexts(*data_, texts_, numbers_);
      const double number = numbers_[which];
      const bool is_same = data_->texts_.PlaceOf(row) == places_[which] &&
                           data_->HasSameNumbers(row, number, number) &&
                           data_->units_.NumberAt(row) == 0;
      return !is_same && SetOther(row, which);
    }

   private:
    bool SetOther(std::size_t row, std::size_t which);

    ColumnData* data_;
    std::span<const std::u16string_view> texts_;
    std::span<const double> numbers_;
    std::vector<RowTexts::Place> places_;
    std::uint64_t moves_;
  };

 private:
  static constexpr std::uint32_t kEntered = 1;

  bool HasSameNumbers(std::size_t row, double min, double max) const noexcept {
    return IsSameNumber(min_[row], min) && IsSameNumber(MaxNumbers()[row], max);
  }
  void SetNumbers(std::size_t row, double min, double max);
  bool SetGeneralNumber(std::size_t row, double number);
  void ClearUnit(std::size_t row) {
    if (units_.NumberAt(row) != 0) units_.Set(row, u"", Count());
  }
  void MakeTextsReal();

  std::vector<double> min_;
  // Empty until a cell has two different numbers.
  std::vector<double> max_;
  // How many cells have two.
  std::size_t ranges_ = 0;
  RowTexts texts_;
  // How texts that are made show their decimals.
  char16_t decimal_separator_ = u'.';
  FewTexts units_{u"%"};
  FewTexts states_;
  FewTexts tags_;
  std::size_t entered_ = 0;
};

}  // namespace ktnotebook
