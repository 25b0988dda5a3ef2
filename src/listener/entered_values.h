// What the values that the user typed in say about digits and units.
#pragma once

#include <cstdint>
#include <string_view>

#include "formats/formula_format.h"
#include "host/notebook_objects.h"

namespace ktformula {

// The state text of a cell that the user typed a quantity into; such a cell is never overwritten.
inline constexpr std::u16string_view kEnteredState = u"entered";

// ExaminedSigDig when nothing was entered anywhere.
inline constexpr std::int16_t kDefaultSignificantDigits = 4;

struct EnteredValues {
  // The smallest number of significant digits entered.
  std::int16_t ExaminedSigDig = kDefaultSignificantDigits;
  // The first unit entered for each quantity, completed by the units that go with it.
  ExaminedUnitsMap ExaminedUnits;
};

// Looks at the entered cells of all tables of the collection.
EnteredValues ExamineEnteredValues(const OwnerCollection& owner, UnitCatalogue& units);

// A typed text taken apart.
struct SplitText {
  // The text up to the unit, or all of it when there is no unit.
  std::u16string_view number;
  // Empty when the text has no unit of the catalogue.
  Ref<Unit> unit;
};

SplitText SplitUnitText(std::u16string_view text, UnitCatalogue& units);

}  // namespace ktformula
