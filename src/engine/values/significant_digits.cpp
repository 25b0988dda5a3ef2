#include "values/significant_digits.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "values/raised_error.h"
#include "values/text.h"

namespace ktformula {

namespace {

std::u16string Zeros(int count) {
  if (count < 0) Raise(RuntimeError::kInvalidProcedureCall);
  return std::u16string(static_cast<std::size_t>(count), u'0');
}

}  // namespace

std::int16_t CountSignificantDigits(std::u16string_view text, bool bare_point_is_zero) {
  if (text.starts_with(u'-')) text.remove_prefix(1);
  while (text.starts_with(u'0'))
    text.remove_prefix(1);
  if (text.starts_with(u'.')) {
    // The point itself counts for nothing, so it goes together with the zeros behind it.
    std::u16string_view behind_point = text.substr(1);
    while (behind_point.starts_with(u'0'))
      behind_point.remove_prefix(1);
    if (behind_point.empty())
      text = {};
    else
      text = behind_point;
  }
  if (text.empty() && bare_point_is_zero) return 0;
  const auto count = std::count_if(text.begin(), text.end(), IsDigit);
  constexpr std::ptrdiff_t kMost = std::numeric_limits<std::int16_t>::max();
  return static_cast<std::int16_t>(std::clamp<std::ptrdiff_t>(count, 1, kMost));
}

std::u16string SignificantDigitMask(double value, std::int16_t digits) {
  if (!std::isfinite(value)) Raise(RuntimeError::kOverflow);
  double magnitude = std::abs(value);
  if (magnitude == 0) return digits == 0 ? u"0.0" : u"0." + Zeros(digits - 1);
  if (magnitude < 1) {
    std::u16string mask = u"0.";
    while (magnitude < 1) {
      mask.push_back(u'0');
      magnitude *= 10;
    }
    return mask + Zeros(digits - 1);
  }
  std::u16string mask = u"0";
  while (magnitude >= 10) {
    mask.push_back(u'0');
    magnitude /= 10;
  }
  const int missing = digits - static_cast<int>(mask.size());
  return missing > 0 ? mask + u"." + Zeros(missing) : mask;
}

}  // namespace ktformula
