// What the values that the user typed in say about digits and units.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "formats/formula_format.h"
#include "host/notebook_objects.h"

namespace ktformula {

// The state text of a cell that the user typed a quantity into; such a cell is never overwritten.
inline constexpr std::u16string_view kEnteredState = u"entered";

// ExaminedSigDig when nothing was entered anywhere.
inline constexpr std::int16_t kDefaultSignificantDigits = 4;

struct EnteredValues {
  // The smallest number of significant digits entered; every digit behind the leading zeros counts,
  // those of a unit such as "m3" too.
  std::int16_t ExaminedSigDig = kDefaultSignificantDigits;
  // The first unit entered for each quantity, completed by the units that go with it.
  ExaminedUnitsMap ExaminedUnits;

  // Whether formats that find units by their quantities show the same: in any order.
  bool operator==(const EnteredValues& other) const;
};

// What the entered cells of all tables of the collection say. With the host's promise they are
// looked at only when they have changed, whichever listener asks.
EnteredValues ExamineEnteredValues(const OwnerCollection& owner, UnitCatalogue& units);

// The one entered cell that has fewer significant digits than each of the others.
struct FewestDigits {
  Ref<TableProperty> column;
  // Counted from 0.
  std::size_t row = 0;
  std::int16_t digits = 0;
  // The fewest of the others.
  std::int16_t others = 0;
};

// Empty when there is no such cell, or when it is the only entered one. With the host's promise
// this costs little while nothing was entered since ExamineEnteredValues.
std::optional<FewestDigits> FindFewestDigits(const OwnerCollection& owner, UnitCatalogue& units);

// The entered cells that made them what they are.
struct DecidingCells {
  // Of those with the fewest digits the first one, by table, row and column; empty when nothing was
  // entered.
  Ref<TableCell> digits;
  // By quantity: where its unit was entered, or the unit that it goes with.
  Dictionary<Ref<TableCell>> units;
};

// The same, from a look at all cells.
EnteredValues ExamineEnteredValues(const OwnerCollection& owner, UnitCatalogue& units,
                                   DecidingCells& deciding);

}  // namespace ktformula
