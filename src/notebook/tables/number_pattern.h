// Showing a number in a display pattern.
#pragma once

#include <string>
#include <string_view>

namespace ktnotebook {

// A pattern is a run of digit places with literal text around it:
//   0      a digit, shown in any case
//   #      a digit, shown unless it is an insignificant zero
//   .      the decimal separator, shown even when no place follows
//   ,      between integer places: thousands separators
//   E+00   an exponent of at least so many digits, always with its sign; "E-00": a minus only.
//          The mantissa has as many integer digits as there are integer places.
//   %      anywhere around the places: the number is shown times 100
// Integer digits beyond the places are all shown. Separators are the user's. The number is rounded
// half away from zero in its decimal form of 15 significant digits (2.675 in "0.00" is "2.68");
// what rounds to zero has no sign. A minus comes before the literal text.
//
// An empty pattern gives the general number form; one without any digit place is literal text
// only. Raises error 6 for a number that is not finite.
std::u16string FormatNumber(double value, std::u16string_view pattern);

}  // namespace ktnotebook
