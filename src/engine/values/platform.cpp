#include "values/platform.h"

#include <array>
#include <chrono>
#include <cmath>
#include <ctime>
#include <limits>
#include <utility>

#include "values/raised_error.h"
#include "values/text.h"

namespace ktformula {

namespace {

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

thread_local StoppedClock* stopped_clock = nullptr;

double ReadClock() {
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

}  // namespace

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
  if (stopped_clock == nullptr) return ReadClock();
  std::optional<double>& moment = stopped_clock->moment_;
  if (!moment) moment = ReadClock();
  return *moment;
}

StoppedClock::StoppedClock() noexcept : outer_(std::exchange(stopped_clock, this)) {}

StoppedClock::~StoppedClock() {
  stopped_clock = outer_;
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
