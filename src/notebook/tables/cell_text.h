// What a user types into a number cell.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "notebook/tables/unit_catalogue.h"
#include "values/number_text.h"

namespace ktnotebook {

// The text without the blanks around it, spaces and tabs: typed texts are kept without them.
std::u16string_view TrimTypedText(std::u16string_view text) noexcept;

struct ParsedNumber {
  // In base units, both finite, min <= max.
  double min = 0;
  double max = 0;
  // The unit that the number was meant in; nullptr where the property has none. The catalogue or
  // the caller owns it.
  const NotebookUnit* unit = nullptr;
  // The catalogue's spelling of the unit that was typed, good as long as the unit; "%" for a
  // percentage, "" for none.
  std::u16string_view typed_unit;
};

// Reads NUMBER [UNIT], NUMBER ± NUMBER [UNIT] (also "+/-") and NUMBER .. NUMBER [UNIT]. A number
// without a unit is meant in the default unit, nullptr where the property has no unit; only there
// "%" may follow and divides by 100. Thousands separators count between groups of three digits.
// Nothing when the text is anything else: empty, an unknown unit or one of another quantity, a
// reversed range, a negative tolerance, a bound beyond the range of a double. Time is linear in the
// length of the text.
std::optional<ParsedNumber> ParseNumberText(
    std::u16string_view text, const NotebookUnit* default_unit,
    const NotebookUnitCatalogue& catalogue,
    const ktformula::Locale& locale = ktformula::UserLocale());

// The numeral at the start of the text and the one behind "±", "+/-" or ".." that follows, both as
// parts of the text and with their signs; empty where there is none.
using Numerals = std::array<std::u16string_view, 2>;
Numerals NumeralsIn(std::u16string_view text, const ktformula::Locale& locale);

}  // namespace ktnotebook
