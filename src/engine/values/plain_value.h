// How operands read as numbers, and plain ones as dates and texts too.
#pragma once

#include <optional>
#include <string>

#include "values/cell_value.h"
#include "values/comparison_rules.h"

namespace ktformula {

// A number, a numeric text, or a boolean as -1 or 0.
std::optional<double> PlainNumber(const PlainValue& value);

// What an operand contributes where numbers meet: a CellValue its numbers, whatever its kind.
std::optional<Bounds> NumberBounds(Operand src);

// A date, or a text that reads as one.
std::optional<double> PlainDateValue(const PlainValue& value);

// The boolean of a text that says true or false in any letter case; nothing else will do.
std::optional<bool> PlainBoolean(const PlainValue& value);

// "" for a value that has no text. Raises error 6 for a number that is not finite.
std::u16string PlainText(const PlainValue& value);

}  // namespace ktformula
