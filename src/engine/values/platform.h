// The platform's booleans and dates, the same on every platform: which texts count as what, and how
// values become text; its numbers are in values/number_text.h. Nothing here depends on the C
// library's locale.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "values/number_text.h"

namespace ktformula {

// The words true and false in any letter case, or a numeric text (true when not 0).
std::optional<bool> BooleanText(std::u16string_view text);

// "YYYY-MM-DD", optionally followed by a blank or "T" and "HH:MM" or "HH:MM:SS" with decimals.
// The result counts days since 1899-12-30.
std::optional<double> DateValue(std::u16string_view text);
std::u16string DateToText(double date);

// The current local date and time as a day count; while a StoppedClock lives on this thread, the
// one at which it was asked first.
double CurrentDateTime();

// Lets this thread see one moment as long as it lives, and reads the clock at most once for that.
// Within another one it has a moment of its own. They end in the opposite order.
class StoppedClock {
 public:
  StoppedClock() noexcept;
  StoppedClock(const StoppedClock&) = delete;
  StoppedClock& operator=(const StoppedClock&) = delete;
  ~StoppedClock();

 private:
  friend double CurrentDateTime();

  std::optional<double> moment_;
  StoppedClock* outer_;
};

// Round half to even, as the conversion to a 32-bit integer does; raises error 6 outside its
// range.
std::int32_t RoundToInteger(double value);

// The texts "true" and "yes", "false" and "no" in any letter case, "" (false), or a numeric text.
// Raises error 13 from "XMLBoolean" for any other.
bool XMLBoolean(std::u16string_view text);

// "true" or "false".
std::u16string XMLBooleanText(bool value);

}  // namespace ktformula
