// What the entered cells of a column say about digits and units, cell by cell, so that after a
// change only the cells that changed are looked at.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/notebook_objects.h"
#include "values/dictionary.h"

namespace ktformula {

// A cell with this many significant digits, or more, says nothing about digits.
inline constexpr std::int16_t kTooManyDigits = 999;

// The unit behind the numeral of an entered text, as it was typed; "" for none.
std::u16string_view UnitPart(std::u16string_view text);

struct UnitNames {
  std::u16string quantity;
  std::u16string unit;
};

// The units that entered texts name, each known by a number once the catalogue was asked for it.
class UnitNumbers {
 public:
  static constexpr std::uint16_t kNoUnit = 0;
  static constexpr std::size_t kMostUnits = 1000;

  explicit UnitNumbers(UnitCatalogue& catalogue) : catalogue_(&catalogue) {}

  const Ref<UnitCatalogue>& Catalogue() const noexcept { return catalogue_; }
  // kNoUnit for what is none; empty when there are more than kMostUnits.
  std::optional<std::uint16_t> NumberOf(std::u16string_view unit_text);
  const UnitNames& NamesOf(std::uint16_t number) const { return names_[number - 1U]; }

 private:
  Ref<UnitCatalogue> catalogue_;
  Dictionary<std::uint16_t> numbers_;
  std::vector<UnitNames> names_;
};

// How many cells have so many digits, by digits.
using DigitCounts = std::map<std::int16_t, std::size_t>;

class EnteredTally {
 public:
  // Brings the tally up to date with the column. False, and it tells nothing, when the cells name
  // more units than are numbered.
  bool Renew(const ColumnCells& cells, const ColumnChanges& changes, UnitNumbers& units);

  // Whether it was brought up to date.
  bool IsKnown() const noexcept { return stamp_.has_value(); }
  // At most kTooManyDigits.
  std::int16_t SmallestDigits() const;
  // Adds how many rows have so many digits, but for kTooManyDigits.
  void AddTo(DigitCounts& counts) const;
  // The first row with so many digits, of which there is one.
  std::size_t RowWith(std::int16_t digits) const;
  // The units of the column, in the order of the rows that name them first.
  std::vector<std::uint16_t> FirstUnits();

 private:
  // What a cell says; no digits for one that is not entered.
  struct Said {
    std::uint16_t digits = 0;
    std::uint16_t unit = UnitNumbers::kNoUnit;

    bool operator==(const Said&) const = default;
  };
  struct UnitUse {
    std::size_t rows = 0;
    // None of them comes before this one.
    std::size_t first = 0;
  };

  bool LookAtAll(const ColumnCells& cells, UnitNumbers& units);
  bool LookAt(std::size_t row, const ColumnCells& cells, UnitNumbers& units);
  void Set(std::size_t row, const Said& said);

  // The column's, when the tally was up to date; empty when it tells nothing.
  std::optional<std::uint64_t> stamp_;
  // By row; none while no cell is entered.
  std::vector<Said> said_;
  // How many rows have so many digits, and what the unit of this number is used for.
  std::vector<std::size_t> rows_with_digits_;
  std::vector<UnitUse> uses_;
};

}  // namespace ktformula
