// Doubles and short decimal numbers, turned into each other with integers of 64 bits, correctly
// rounded. What such integers can not decide is left to the standard library: one number in
// thousands, and those next to the ends of a double's range.
#pragma once

#include <cstdint>
#include <string_view>

namespace ktformula {

// digits * 10^exponent.
struct Decimal {
  std::uint64_t digits = 0;
  int exponent = 0;
};

// The digits that a number's text has at most.
constexpr int kSignificantDigits = 15;

// The 15 significant digits of a number that is finite and greater than 0, a tie rounded to the
// even digit: 10^14 <= digits < 10^15.
Decimal ToDecimal(double value);

// The double nearest to the decimal; 0 where that is too small for a double, infinity where it is
// too large.
double NearestDouble(Decimal decimal);

// The same for any number of digits times 10^exponent; characters between the digits are left out.
double NearestDouble(std::u16string_view digits, int exponent);

}  // namespace ktformula
