#include "values/number_text.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <utility>

#include "values/decimal.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktformula {

namespace {

// In one number, which every processor reads and writes at once.
constexpr std::uint32_t Packed(const Locale& locale) noexcept {
  return std::uint32_t{locale.decimal_separator} << 16U | locale.thousands_separator;
}
std::atomic<std::uint32_t> user_locale = Packed(Locale{});

// Of the innermost LocaleScope; nothing packs to 0, which stands for none.
thread_local std::uint32_t scope_locale = 0;

constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();

// Exponents are clamped here: far outside the range of a double, far inside that of an int.
constexpr int kExponentLimit = 100'000'000;

bool IsAt(const char16_t* position, const char16_t* end, char16_t unit) noexcept {
  return position < end && *position == unit;
}
bool IsDigitAt(const char16_t* position, const char16_t* end) noexcept {
  return position < end && IsDigit(*position);
}
bool IsSignAt(const char16_t* position, const char16_t* end) noexcept {
  return IsAt(position, end, u'-') || IsAt(position, end, u'+');
}

// Puts digits in a row behind those in `digits`, which wraps around behind 19 of them; tells where
// they end. So do those that take the other parts.
const char16_t* TakeDigits(const char16_t* next, const char16_t* end, std::uint64_t& digits) {
  for (; IsDigitAt(next, end); ++next)
    digits = digits * 10 + static_cast<unsigned>(*next - u'0');
  return next;
}

const char16_t* TakeMantissa(const char16_t* next, const char16_t* end, const Locale& locale,
                             Decimal& decimal) {
  const char16_t* const first = next;
  next = TakeDigits(next, end, decimal.digits);
  while (next != first && IsAt(next, end, locale.thousands_separator) && IsDigitAt(next + 1, end))
    next = TakeDigits(next + 1, end, decimal.digits);
  const char16_t separator = locale.decimal_separator;
  if (!IsAt(next, end, separator) || IsAt(next + 1, end, separator)) return next;
  const char16_t* const decimals = next + 1;
  next = TakeDigits(decimals, end, decimal.digits);
  decimal.exponent = static_cast<int>(decimals - next);
  return next;
}

const char16_t* TakeExponent(const char16_t* next, const char16_t* end, Decimal& decimal) {
  if (!IsAt(next, end, u'e') && !IsAt(next, end, u'E')) return next;
  const bool is_negative = IsAt(next + 1, end, u'-');
  const char16_t* digits = next + (IsSignAt(next + 1, end) ? 2 : 1);
  if (!IsDigitAt(digits, end)) return next;
  int exponent = 0;
  for (; IsDigitAt(digits, end); ++digits) {
    if (exponent < kExponentLimit) exponent = exponent * 10 + (*digits - u'0');
  }
  decimal.exponent += is_negative ? -exponent : exponent;
  return digits;
}

bool IsZero(std::u16string_view mantissa) {
  return std::none_of(mantissa.begin(), mantissa.end(),
                      [](char16_t unit) { return IsDigit(unit) && unit != u'0'; });
}

constexpr std::size_t kMaximumIntegerDigits = std::numeric_limits<double>::max_exponent10;

// The digits of a number below 10^8, with leading zeros, one in each byte, the first in the lowest.
std::uint64_t SpreadDigits(std::uint32_t number) {
  // Halves of four digits, of two, of one; each step divides all of them at once.
  std::uint64_t digits = number / 10000 | std::uint64_t{number % 10000} << 32U;
  const std::uint64_t hundreds = ((digits * 10486) >> 20U) & 0x0000'007F'0000'007F;
  digits = hundreds | (digits - hundreds * 100) << 16U;
  const std::uint64_t tens = ((digits * 103) >> 10U) & 0x000F'000F'000F'000F;
  return tens | (digits - tens * 10) << 8U;
}

// The 15 digits of a Decimal behind a 0, one in each byte, the first in the lowest byte of `upper`.
struct Digits {
  std::uint64_t upper;
  std::uint64_t lower;

  explicit Digits(std::uint64_t digits)
      : upper(SpreadDigits(static_cast<std::uint32_t>(digits / 100'000'000))),
        lower(SpreadDigits(static_cast<std::uint32_t>(digits % 100'000'000))) {}

  // Without zeros at the end.
  int Count() const noexcept {
    const int zeros = lower != 0 ? std::countl_zero(lower) / 8 : 8 + std::countl_zero(upper) / 8;
    return kSignificantDigits - zeros;
  }

  // Moves the 0 behind `count` digits, at least 1.
  void MoveZeroBehind(int count) noexcept {
    if (count >= 8) {
      upper = upper >> 8U | lower << 56U;
      lower = WithGap(lower, count - 8);
    } else {
      upper = WithGap(upper, count);
    }
  }

 private:
  // The first byte goes, what is behind `count` others stays where it is.
  static std::uint64_t WithGap(std::uint64_t bytes, int count) noexcept {
    const std::uint64_t behind = ~std::uint64_t{0xFF} << (8 * count);
    const std::uint64_t front = ~(~std::uint64_t{0} << (8 * count));
    return ((bytes >> 8U) & front) | (bytes & behind);
  }
};

void WriteAll(const Digits& digits, char16_t* target) noexcept {
  // The lowest byte comes first.
  static_assert(std::endian::native == std::endian::little);
  using Bytes = std::array<std::uint8_t, 16>;
  const auto bytes = std::bit_cast<Bytes>(std::array{digits.upper, digits.lower});
  for (std::size_t i = 0; i < bytes.size(); ++i)
    target[i] = static_cast<char16_t>(u'0' + bytes[i]);
}

// "1.5", with "." only between two digits; at least 1 digit stands in front of it.
char16_t* WritePlain(Digits digits, int integer_digits, char16_t separator, char16_t* target) {
  const int count = digits.Count();
  digits.MoveZeroBehind(integer_digits);
  WriteAll(digits, target);
  target[integer_digits] = separator;
  return target + (count > integer_digits ? count + 1 : integer_digits);
}

// "0.0015", with as many zeros, at most 4.
char16_t* WriteFraction(const Digits& digits, int zeros, char16_t separator, char16_t* target) {
  std::fill_n(target, 4, u'0');
  WriteAll(digits, target + zeros);
  target[1] = separator;
  return target + zeros + 1 + digits.Count();
}

// "E-05": two digits at least.
char16_t* WriteExponent(int exponent, char16_t* target) {
  *target++ = u'E';
  *target++ = exponent < 0 ? u'-' : u'+';
  const auto magnitude = static_cast<char16_t>(std::abs(exponent));
  if (magnitude >= 100) *target++ = static_cast<char16_t>(u'0' + magnitude / 100);
  *target++ = static_cast<char16_t>(u'0' + magnitude / 10 % 10);
  *target++ = static_cast<char16_t>(u'0' + magnitude % 10);
  return target;
}

}  // namespace

Locale UserLocale() noexcept {
  const std::uint32_t own = scope_locale;
  const std::uint32_t packed = own != 0 ? own : user_locale.load(std::memory_order_relaxed);
  return {static_cast<char16_t>(packed >> 16U), static_cast<char16_t>(packed)};
}
void SetUserLocale(const Locale& locale) noexcept {
  user_locale.store(Packed(locale), std::memory_order_relaxed);
}

LocaleScope::LocaleScope(const Locale& locale) noexcept
    : outer_(std::exchange(scope_locale, Packed(locale))) {}
LocaleScope::~LocaleScope() {
  scope_locale = outer_;
}

Numeral ReadNumeral(std::u16string_view text, const Locale& locale) {
  const char16_t* const begin = text.data();
  const char16_t* const end = begin + text.size();
  const char16_t* const first = begin + (IsSignAt(begin, end) ? 1 : 0);
  Decimal decimal;
  const char16_t* next = TakeMantissa(first, end, locale, decimal);
  const std::u16string_view mantissa(first, next);
  // A separator alone is no number.
  if (mantissa.empty() || (mantissa.size() == 1 && !IsDigit(mantissa[0]))) {
    return {static_cast<std::size_t>(next - begin), kNotANumber};
  }
  next = TakeExponent(next, end, decimal);
  const auto length = static_cast<std::size_t>(next - begin);
  constexpr std::size_t kMostDigits = std::numeric_limits<std::uint64_t>::digits10;
  const double magnitude = mantissa.size() <= kMostDigits
                               ? NearestDouble(decimal)
                               : NearestDouble(mantissa, decimal.exponent);
  if (!std::isfinite(magnitude)) return {length, kNotANumber};
  // What is too small for a double has no sign.
  const bool is_negative = *begin == u'-' && (magnitude != 0 || IsZero(mantissa));
  return {length, is_negative ? -magnitude : magnitude};
}

std::optional<double> NumericValue(std::u16string_view text) {
  text = TrimWhitespace(text);
  const Numeral numeral = ReadNumeral(text, UserLocale());
  if (numeral.length != text.size() || std::isnan(numeral.value)) return std::nullopt;
  return numeral.value;
}

std::size_t NumeralLength(std::u16string_view text, const Locale& locale) {
  if (text.empty()) return 0;
  // Thousands separators, exponents and signs never get in: the prefix that ends with one is not
  // numeric. What is left is digits around one decimal separator, inside a double's range.
  const char16_t separator = locale.decimal_separator;
  bool has_separator = text[0] == separator;
  if (!has_separator && !IsDigit(text[0])) return 1;
  std::size_t integer_digits = text[0] >= u'1' && text[0] <= u'9' ? 1 : 0;
  std::size_t length = 1;
  for (; length < text.size(); ++length) {
    const char16_t next = text[length];
    if (next == separator && !has_separator) {
      has_separator = true;
      continue;
    }
    if (!IsDigit(next)) break;
    if (has_separator || (integer_digits == 0 && next == u'0')) continue;
    if (++integer_digits > kMaximumIntegerDigits &&
        std::isnan(ReadNumeral(text.substr(0, length + 1), locale).value)) {
      break;
    }
  }
  return length;
}

double TextToNumber(std::u16string_view text) {
  const std::optional<double> value = NumericValue(text);
  if (!value) Raise(RuntimeError::kTypeMismatch);
  return *value;
}

double LeadingNumber(std::u16string_view text) {
  std::string ascii;
  for (const char16_t unit : text) {
    if (unit == u' ' || unit == u'\t') continue;
    if (unit >= 0x80) break;
    ascii.push_back(static_cast<char>(unit));
  }
  const char* begin = ascii.data();
  const char* end = begin + ascii.size();
  // from_chars would also read "inf" and "nan", and takes no "+".
  const char* first = begin != end && (*begin == '-' || *begin == '+') ? begin + 1 : begin;
  if (first == end || !(IsDigit(static_cast<unsigned char>(*first)) || *first == '.')) return 0;
  if (*begin == '+') begin = first;
  double value = 0;
  std::from_chars(begin, end, value);
  return value;
}

char16_t* WriteNumberText(double value, char16_t* begin) {
  if (!std::isfinite(value)) Raise(RuntimeError::kOverflow);
  if (value == 0) {
    *begin = u'0';
    return begin + 1;
  }
  if (value < 0) *begin++ = u'-';
  const Decimal decimal = ToDecimal(std::abs(value));
  const Digits digits(decimal.digits);
  const char16_t separator = UserLocale().decimal_separator;
  const int exponent = decimal.exponent + kSignificantDigits - 1;
  constexpr int kLeastPlainExponent = -4;
  if (exponent >= 0 && exponent < kSignificantDigits) {
    return WritePlain(digits, exponent + 1, separator, begin);
  }
  if (exponent < 0 && exponent >= kLeastPlainExponent) {
    return WriteFraction(digits, -exponent, separator, begin);
  }
  return WriteExponent(exponent, WritePlain(digits, 1, separator, begin));
}

void AppendNumberText(double value, std::u16string& text) {
  std::array<char16_t, kNumberTextRoom> buffer{};
  const char16_t* const begin = buffer.data();
  const char16_t* const end = WriteNumberText(value, buffer.data());
  text.append(begin, end);
}

std::u16string NumberToText(double value) {
  std::array<char16_t, kNumberTextRoom> buffer{};
  const char16_t* const begin = buffer.data();
  const char16_t* const end = WriteNumberText(value, buffer.data());
  return std::u16string(begin, end);
}

double RoundedToText(double value) {
  if (!std::isfinite(value)) return kNotANumber;
  if (value == 0) return 0;
  const double magnitude = NearestDouble(ToDecimal(std::abs(value)));
  if (!std::isfinite(magnitude)) return kNotANumber;
  return std::copysign(magnitude, value);
}

}  // namespace ktformula
