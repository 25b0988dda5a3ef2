// Counting the digits of a typed number, and patterns that show a number with that many.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ktformula {

// The digits of the text once a leading "-", leading zeros and zeros right behind a leading point
// are dropped. At least 1, except that with `bare_point_is_zero` a rest of "." or "" gives 0.
std::int16_t CountSignificantDigits(std::u16string_view text, bool bare_point_is_zero);

// The number pattern that shows `value` with `digits` significant digits; digits before the point
// are never dropped. Raises error 6 for a value that is not finite, error 5 where a negative digit
// count asks for a negative number of zeros.
std::u16string SignificantDigitMask(double value, std::int16_t digits);

}  // namespace ktformula
