#include "values/decimal.h"

#include <array>
#include <bit>
#include <cfloat>
#include <charconv>
#include <cstddef>
#include <limits>
#include <string>

#include "values/text.h"

namespace ktformula {

namespace {

// Products and quotients of doubles are rounded once.
static_assert(FLT_EVAL_METHOD == 0);

constexpr int kMantissaBits = std::numeric_limits<double>::digits;
constexpr int kExponentBias = std::numeric_limits<double>::max_exponent - 1;
constexpr std::uint64_t kHiddenBit = std::uint64_t{1} << (kMantissaBits - 1);
constexpr std::uint64_t kLowHalf = 0xFFFF'FFFF;

constexpr std::uint64_t IntegerPower(int exponent) {
  return exponent == 0 ? 1 : 10 * IntegerPower(exponent - 1);
}
constexpr std::uint64_t kLeastDigits = IntegerPower(kSignificantDigits - 1);

struct Wide {
  std::uint64_t high;
  std::uint64_t low;
};

constexpr Wide Multiply(std::uint64_t left, std::uint64_t right) {
#ifdef __SIZEOF_INT128__
  __extension__ using Integer = unsigned __int128;
  const Integer product = static_cast<Integer>(left) * right;
  return {static_cast<std::uint64_t>(product >> 64U), static_cast<std::uint64_t>(product)};
#else
  const std::uint64_t low = (left & kLowHalf) * (right & kLowHalf);
  const std::uint64_t cross = (left >> 32U) * (right & kLowHalf) + (low >> 32U);
  const std::uint64_t middle = (left & kLowHalf) * (right >> 32U) + (cross & kLowHalf);
  return {(left >> 32U) * (right >> 32U) + (cross >> 32U) + (middle >> 32U),
          middle << 32U | (low & kLowHalf)};
#endif
}

// Powers of ten as mantissa * 2^(BinaryExponent - 63), the mantissa's first bit set and what is
// behind its last one cut off.
constexpr int kLeastPower = -342;
constexpr int kMostPower = 340;
// 5^27 is the last that fits in 64 bits.
constexpr int kMostExactPower = 27;

// How far a mantissa is below the true one at most, in units of its last bit.
constexpr std::uint64_t kPowerError = 2;

// floor(log2(10^power)), over all powers here.
constexpr int BinaryExponent(int power) {
  return (power * 217706) >> 16;
}

// floor(log10(2^exponent)), over the exponents of all doubles.
constexpr int DecimalExponent(int exponent) {
  return (exponent * 1262611) >> 22;
}

// Ten times a mantissa of 128 bits, the first bit set again.
constexpr Wide TimesTen(Wide mantissa) {
  const Wide quarter = {mantissa.high >> 2U, mantissa.high << 62U | mantissa.low >> 2U};
  Wide sum = {mantissa.high + quarter.high, mantissa.low + quarter.low};
  if (sum.low < quarter.low) ++sum.high;
  if (sum.high >= mantissa.high) return sum;
  return {sum.high >> 1U | std::uint64_t{1} << 63U, sum.high << 63U | sum.low >> 1U};
}

constexpr Wide OverTen(Wide mantissa) {
  const std::uint64_t middle = (mantissa.high % 5) << 32U | mantissa.low >> 32U;
  const std::uint64_t rest = (middle % 5) << 32U | (mantissa.low & kLowHalf);
  const Wide fifth = {mantissa.high / 5, middle / 5 << 32U | rest / 5};
  const int shift = std::countl_zero(fifth.high);
  return {fifth.high << shift | fifth.low >> (64 - shift), fifth.low << shift};
}

// Each step of the chain of 128 bits loses a few of its last bits, all of them together none that
// reach the first 64 beyond kPowerError.
constexpr auto kPowers = [] {
  std::array<std::uint64_t, kMostPower - kLeastPower + 1> powers{};
  constexpr Wide kOne = {std::uint64_t{1} << 63U, 0};
  Wide mantissa = kOne;
  for (int power = 0; power <= kMostPower; ++power, mantissa = TimesTen(mantissa))
    powers[static_cast<std::size_t>(power - kLeastPower)] = mantissa.high;
  mantissa = kOne;
  for (int power = 0; power >= kLeastPower; --power, mantissa = OverTen(mantissa))
    powers[static_cast<std::size_t>(power - kLeastPower)] = mantissa.high;
  return powers;
}();

std::uint64_t PowerMantissa(int power) {
  return kPowers[static_cast<std::size_t>(power - kLeastPower)];
}

// A mantissa times a power of ten, cut off behind `shift` bits of the upper half and rounded.
struct Rounded {
  std::uint64_t integer;
  bool is_certain;
};

Rounded RoundedProduct(Wide product, int shift, int power) {
  const std::uint64_t integer = product.high >> shift;
  const std::uint64_t fraction = product.high - (integer << shift);
  const std::uint64_t half = std::uint64_t{1} << (shift - 1);
  const bool is_exact = power >= 0 && power <= kMostExactPower;
  const bool is_up =
      fraction > half || (fraction == half && (product.low != 0 || integer % 2 != 0));
  // The true product is less than kPowerError and the lower half above this one.
  const bool is_certain = is_exact || fraction > half || fraction + kPowerError < half;
  return {integer + (is_up ? 1 : 0), is_certain};
}

// For any number that is finite and greater than 0.
Decimal ToDecimalSlowly(double value) {
  std::array<char, 32> buffer{};
  const auto written = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                     std::chars_format::scientific, kSignificantDigits - 1);
  Decimal decimal;
  const char* next = buffer.data();
  for (; *next != 'e'; ++next) {
    if (*next != '.') decimal.digits = decimal.digits * 10 + static_cast<unsigned>(*next - '0');
  }
  // The sign of an exponent is always there; std::from_chars takes no "+".
  next += next[1] == '+' ? 2 : 1;
  std::from_chars(next, written.ptr, decimal.exponent);
  decimal.exponent -= kSignificantDigits - 1;
  return decimal;
}

// The number that an ASCII numeral above 0 reads as; beyond the range of a double its decimal
// exponent, or one near by, tells which end is meant.
double ReadMagnitude(std::string_view numeral, int exponent) {
  double value = 0;
  const auto read = std::from_chars(numeral.data(), numeral.data() + numeral.size(), value);
  if (read.ec == std::errc()) return value;
  return exponent < 0 ? 0 : std::numeric_limits<double>::infinity();
}

// For any digits that are not 0.
double NearestDoubleSlowly(Decimal decimal) {
  constexpr std::size_t kMostDigits = 20;
  std::array<char, 2 * kMostDigits> buffer{};
  char* const begin = buffer.data();
  char* next = std::to_chars(begin, begin + kMostDigits, decimal.digits).ptr;
  *next++ = 'e';
  next = std::to_chars(next, begin + buffer.size(), decimal.exponent).ptr;
  return ReadMagnitude({begin, next}, decimal.exponent);
}

}  // namespace

Decimal ToDecimal(double value) {
  const auto bits = std::bit_cast<std::uint64_t>(value);
  const auto stored_exponent = static_cast<int>(bits >> (kMantissaBits - 1));
  if (stored_exponent == 0) return ToDecimalSlowly(value);
  const std::uint64_t mantissa = (bits | kHiddenBit) << (64 - kMantissaBits);
  const int exponent = stored_exponent - kExponentBias;
  // A power of two is at least 10^magnitude; the number may be at least ten times that.
  int magnitude = DecimalExponent(exponent);
  const bool is_beyond =
      BinaryExponent(magnitude + 1) == exponent && mantissa >= PowerMantissa(magnitude + 1);
  magnitude += is_beyond ? 1 : 0;
  const int power = kSignificantDigits - 1 - magnitude;
  const int shift = 62 - exponent - BinaryExponent(power);
  const auto [digits, is_certain] =
      RoundedProduct(Multiply(mantissa, PowerMantissa(power)), shift, power);
  if (!is_certain) return ToDecimalSlowly(value);
  if (digits == 10 * kLeastDigits) return {kLeastDigits, 1 - power};
  return {digits, -power};
}

double NearestDouble(Decimal decimal) {
  static constexpr double kExactPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                            1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                            1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
  constexpr int kMostExactDouble = 22;
  const auto [digits, power] = decimal;
  if (digits == 0) return 0;
  if (digits <= 2 * kHiddenBit && power >= -kMostExactDouble && power <= kMostExactDouble) {
    const auto integer = static_cast<double>(static_cast<std::int64_t>(digits));
    return power < 0 ? integer / kExactPowers[-power] : integer * kExactPowers[power];
  }
  if (power < kLeastPower || power > kMostPower) return NearestDoubleSlowly(decimal);
  const int zeros = std::countl_zero(digits);
  const Wide product = Multiply(digits << zeros, PowerMantissa(power));
  const int carry = static_cast<int>(product.high >> 63U);
  const auto [integer, is_certain] = RoundedProduct(product, 63 - kMantissaBits + carry, power);
  // The rounded integer may have one bit more, which the sum below carries into the exponent.
  const int exponent = 63 - zeros + BinaryExponent(power) + carry + kExponentBias;
  if (!is_certain || exponent <= 0 || exponent >= 2 * kExponentBias) {
    return NearestDoubleSlowly(decimal);
  }
  return std::bit_cast<double>((static_cast<std::uint64_t>(exponent) << (kMantissaBits - 1)) +
                               (integer - kHiddenBit));
}

double NearestDouble(std::u16string_view digits, int exponent) {
  std::string ascii;
  for (const char16_t unit : digits) {
    if (IsDigit(unit) && (unit != u'0' || !ascii.empty())) ascii.push_back(static_cast<char>(unit));
  }
  if (ascii.empty()) return 0;
  const auto magnitude = static_cast<int>(ascii.size()) + exponent;
  return ReadMagnitude(ascii + "e" + std::to_string(exponent), magnitude);
}

}  // namespace ktformula
