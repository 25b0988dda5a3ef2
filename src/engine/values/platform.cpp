#include "values/platform.h"

#include <array>
#include <atomic>
#include <charconv>
#include <chrono>
#include <cmath>
#include <ctime>
#include <limits>

#include "values/raised_error.h"
#include "values/text.h"

namespace ktformula {

namespace {

// In one number, which every processor reads and writes at once.
constexpr std::uint32_t Packed(const Locale& locale) noexcept {
  return std::uint32_t{locale.decimal_separator} << 16U | locale.thousands_separator;
}
std::atomic<std::uint32_t> user_locale = Packed(Locale{});

constexpr int kSignificantDigits = 15;

// Exponents are clamped here: far outside the range of a double, far inside that of an int.
constexpr int kExponentLimit = 100'000'000;

std::u16string_view TrimWhitespace(std::u16string_view text) noexcept {
  constexpr std::u16string_view kWhitespace = u" \t";
  const std::size_t first = text.find_first_not_of(kWhitespace);
  if (first == std::u16string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kWhitespace) - first + 1);
}

// Reads a numeral into the characters that std::from_chars understands.
class NumeralReader {
 public:
  NumeralReader(std::u16string_view text, const Locale& locale) : text_(text), locale_(locale) {}

  std::optional<double> Read() {
    ReadSign();
    if (!ReadMantissa() || !ReadExponent() || position_ != text_.size()) return std::nullopt;
    return Convert();
  }

 private:
  char16_t Peek(std::size_t ahead = 0) const noexcept {
    return position_ + ahead < text_.size() ? text_[position_ + ahead] : u'\0';
  }

  void ReadSign() {
    if (Peek() != u'+' && Peek() != u'-') return;
    if (Peek() == u'-') ascii_.push_back('-');
    ++position_;
  }

  void TakeDigit(bool integer_part) {
    const char digit = static_cast<char>(text_[position_++]);
    ascii_.push_back(digit);
    has_digits_ = true;
    if (digit != '0') has_nonzero_digit_ = true;
    if (integer_part && has_nonzero_digit_) ++magnitude_;
    if (!integer_part && !has_nonzero_digit_) --magnitude_;
  }

  bool ReadMantissa() {
    while (true) {
      if (IsDigit(Peek())) {
        TakeDigit(true);
      } else if (has_digits_ && Peek() == locale_.thousands_separator && IsDigit(Peek(1))) {
        ++position_;
      } else {
        break;
      }
    }
    if (Peek() == locale_.decimal_separator) {
      ++position_;
      ascii_.push_back('.');
      while (IsDigit(Peek()))
        TakeDigit(false);
    }
    return has_digits_;
  }

  bool ReadExponent() {
    if (Peek() != u'e' && Peek() != u'E') return true;
    ++position_;
    ascii_.push_back('e');
    const bool negative = Peek() == u'-';
    if (negative || Peek() == u'+') {
      if (negative) ascii_.push_back('-');
      ++position_;
    }
    if (!IsDigit(Peek())) return false;
    int exponent = 0;
    while (IsDigit(Peek())) {
      ascii_.push_back(static_cast<char>(Peek()));
      if (exponent < kExponentLimit) exponent = exponent * 10 + (Peek() - u'0');
      ++position_;
    }
    magnitude_ += negative ? -exponent : exponent;
    return true;
  }

  std::optional<double> Convert() const {
    double value = 0;
    const auto [end, error] = std::from_chars(ascii_.data(), ascii_.data() + ascii_.size(), value);
    if (error == std::errc()) return value;
    // Out of range: too small reads as zero, too large is no number.
    if (!has_nonzero_digit_ || magnitude_ < 0) return 0.0;
    return std::nullopt;
  }

  std::u16string_view text_;
  Locale locale_;
  std::size_t position_ = 0;
  std::string ascii_;
  bool has_digits_ = false;
  bool has_nonzero_digit_ = false;
  // The decimal exponent of the first digit that is not zero, plus one.
  std::int64_t magnitude_ = 0;
};

constexpr std::size_t kMaximumIntegerDigits = std::numeric_limits<double>::max_exponent10;

// Reads "NN" at the position, which moves behind it.
std::optional<int> TakeDigits(std::u16string_view text, std::size_t& position, std::size_t count) {
  int value = 0;
  for (std::size_t i = 0; i < count; ++i, ++position) {
    if (position >= text.size() || !IsDigit(text[position])) return std::nullopt;
    value = value * 10 + (text[position] - u'0');
  }
  return value;
}

bool TakeCharacter(std::u16string_view text, std::size_t& position, char16_t character) {
  if (position >= text.size() || text[position] != character) return false;
  ++position;
  return true;
}

constexpr double kSecondsPerDay = 86400;
constexpr std::chrono::sys_days kDateEpoch{std::chrono::year{1899} / 12 / 30};

std::optional<double> DayCount(std::u16string_view text, std::size_t& position) {
  const auto year = TakeDigits(text, position, 4);
  if (!year || !TakeCharacter(text, position, u'-')) return std::nullopt;
  const auto month = TakeDigits(text, position, 2);
  if (!month || !TakeCharacter(text, position, u'-')) return std::nullopt;
  const auto day = TakeDigits(text, position, 2);
  if (!day) return std::nullopt;
  const std::chrono::year_month_day date{std::chrono::year{*year},
                                         std::chrono::month{static_cast<unsigned>(*month)},
                                         std::chrono::day{static_cast<unsigned>(*day)}};
  if (!date.ok()) return std::nullopt;
  return static_cast<double>((std::chrono::sys_days{date} - kDateEpoch).count());
}

// The time of day in seconds, read to the end of the text.
std::optional<double> SecondsOfDay(std::u16string_view text, std::size_t& position) {
  const auto hours = TakeDigits(text, position, 2);
  if (!hours || *hours > 23 || !TakeCharacter(text, position, u':')) return std::nullopt;
  const auto minutes = TakeDigits(text, position, 2);
  if (!minutes || *minutes > 59) return std::nullopt;
  double seconds = 0;
  if (TakeCharacter(text, position, u':')) {
    const auto whole = TakeDigits(text, position, 2);
    if (!whole || *whole > 59) return std::nullopt;
    seconds = *whole;
    if (TakeCharacter(text, position, u'.')) {
      double place = 0.1;
      while (position < text.size() && IsDigit(text[position])) {
        seconds += place * (text[position++] - u'0');
        place /= 10;
      }
    }
  }
  return *hours * 3600.0 + *minutes * 60.0 + seconds;
}

void AppendPadded(std::u16string& text, std::int64_t number, std::size_t width) {
  const std::u16string digits = ToDecimalText(number);
  if (digits.size() < width) text.append(width - digits.size(), u'0');
  text.append(digits);
}

std::tm LocalTime(std::time_t time) {
  std::tm local{};
#ifdef _WIN32
  localtime_s(&local, &time);
#else
  localtime_r(&time, &local);
#endif
  return local;
}

// Local time minus universal time, in seconds, at the given minute since 1970.
std::int64_t LocalOffset(std::time_t minute) {
  const std::time_t time = minute * 60;
  const std::tm local = LocalTime(time);
  const std::chrono::sys_days day{std::chrono::year{local.tm_year + 1900} / (local.tm_mon + 1) /
                                  local.tm_mday};
  const std::chrono::seconds seconds = day.time_since_epoch() + std::chrono::hours(local.tm_hour) +
                                       std::chrono::minutes(local.tm_min) +
                                       std::chrono::seconds(local.tm_sec);
  return seconds.count() - time;
}

}  // namespace

Locale UserLocale() noexcept {
  const std::uint32_t packed = user_locale.load(std::memory_order_relaxed);
  return {static_cast<char16_t>(packed >> 16U), static_cast<char16_t>(packed)};
}
void SetUserLocale(const Locale& locale) noexcept {
  user_locale.store(Packed(locale), std::memory_order_relaxed);
}

std::optional<double> NumericValue(std::u16string_view text) {
  return NumeralReader(TrimWhitespace(text), UserLocale()).Read();
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
        !NumeralReader(text.substr(0, length + 1), locale).Read()) {
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

std::u16string NumberToText(double value) {
  if (!std::isfinite(value)) Raise(RuntimeError::kOverflow);
  if (value == 0) return u"0";
  std::array<char, 32> buffer{};
  const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                          std::chars_format::general, kSignificantDigits);
  std::u16string text = Widen({buffer.data(), static_cast<std::size_t>(end - buffer.data())});
  for (char16_t& unit : text) {
    if (unit == u'e') unit = u'E';
    if (unit == u'.') unit = UserLocale().decimal_separator;
  }
  return text;
}

std::optional<bool> BooleanText(std::u16string_view text) {
  const std::u16string lower = LowerCase(text);
  if (lower == u"true") return true;
  if (lower == u"false") return false;
  const std::optional<double> number = NumericValue(text);
  if (!number) return std::nullopt;
  return *number != 0;
}

std::optional<double> DateValue(std::u16string_view text) {
  text = TrimWhitespace(text);
  std::size_t position = 0;
  std::optional<double> date = DayCount(text, position);
  if (!date || position == text.size()) return date;
  if (!TakeCharacter(text, position, u' ') && !TakeCharacter(text, position, u'T')) {
    return std::nullopt;
  }
  const std::optional<double> seconds = SecondsOfDay(text, position);
  if (!seconds || position != text.size()) return std::nullopt;
  return *date + *seconds / kSecondsPerDay;
}

std::u16string DateToText(double date) {
  // The calendar type counts years from -32767 to 32767.
  constexpr double kLimit = 10'000'000;
  if (!(std::abs(date) < kLimit)) Raise(RuntimeError::kOverflow);
  const auto total = static_cast<std::int64_t>(std::llround(date * kSecondsPerDay));
  const auto per_day = static_cast<std::int64_t>(kSecondsPerDay);
  const std::int64_t seconds = (total % per_day + per_day) % per_day;
  const std::chrono::year_month_day day{kDateEpoch +
                                        std::chrono::days{(total - seconds) / per_day}};
  std::u16string text;
  AppendPadded(text, static_cast<int>(day.year()), 4);
  text.push_back(u'-');
  AppendPadded(text, static_cast<unsigned>(day.month()), 2);
  text.push_back(u'-');
  AppendPadded(text, static_cast<unsigned>(day.day()), 2);
  if (seconds == 0) return text;
  text.push_back(u' ');
  AppendPadded(text, seconds / 3600, 2);
  text.push_back(u':');
  AppendPadded(text, seconds / 60 % 60, 2);
  text.push_back(u':');
  AppendPadded(text, seconds % 60, 2);
  return text;
}

double CurrentDateTime() {
  using std::chrono::system_clock;
  const double seconds =
      std::chrono::duration<double>(system_clock::now().time_since_epoch()).count();
  // Clocks change on full minutes, so the offset is asked for once a minute: this runs for every
  // evaluated layer.
  thread_local std::time_t known_minute = -1;
  thread_local std::int64_t offset = 0;
  const auto minute = static_cast<std::time_t>(seconds / 60);
  if (minute != known_minute) {
    offset = LocalOffset(minute);
    known_minute = minute;
  }
  constexpr double kUnixEpoch = 25569;  // 1970-01-01 as a day count
  return kUnixEpoch + (seconds + static_cast<double>(offset)) / kSecondsPerDay;
}

std::int32_t RoundToInteger(double value) {
  const double below = std::floor(value);
  double rounded = below;
  const double fraction = value - below;
  if (fraction > 0.5 || (fraction == 0.5 && std::fmod(below, 2) != 0)) rounded += 1;
  if (!(rounded >= std::numeric_limits<std::int32_t>::min() &&
        rounded <= std::numeric_limits<std::int32_t>::max())) {
    Raise(RuntimeError::kOverflow);
  }
  return static_cast<std::int32_t>(rounded);
}

bool XMLBoolean(std::u16string_view text) {
  const std::u16string lower = LowerCase(text);
  if (lower == u"true" || lower == u"yes") return true;
  if (lower == u"false" || lower == u"no" || text.empty()) return false;
  if (IsNumericText(text)) return LeadingNumber(text) != 0;
  throw RaisedError(static_cast<std::int32_t>(RuntimeError::kTypeMismatch), u"XMLBoolean",
                    u"the string \"" + std::u16string(text) + u"\" is not a recognized boolean");
}

std::u16string XMLBooleanText(bool value) {
  return value ? u"true" : u"false";
}

}  // namespace ktformula
