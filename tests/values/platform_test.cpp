// Texts as booleans and dates, and back.
#include "values/platform.h"

#include <array>
#include <chrono>
#include <cmath>
#include <ctime>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "values/describe.h"
#include "values/text.h"

namespace ktformula {
namespace {

constexpr char kOverflow[] = "raised 6 KtFormula9: Overflow; ";

std::string Read(std::optional<double> number) {
  return number ? Range(*number, *number) : "none";
}

TEST(Dates, ReadAndWrite) {
  ExpectRows(
      {
          "1899-12-30 -> 0 1899-12-30",
          "1899-12-29 18:00 -> -0.25 1899-12-29 18:00:00",
          " 2024-02-29T12:00  -> 45351.5 2024-02-29 12:00:00",
          "2024-12-31 23:59:59.75 -> 45657.99999710648 2025-01-01",
          "0001-01-01 -> -693593 0001-01-01",
      },
      [](const std::string& text) {
        const std::optional<double> date = DateValue(Widen(text));
        return Read(date) + " " + Narrow(DateToText(date.value_or(0)));
      });
  for (const char16_t* text : {u"",
                               u"2023-02-29",
                               u"2024-13-01",
                               u"2024-00-10",
                               u"2024-1-1",
                               u"24-01-01",
                               u"2024-01-01x",
                               u"2024-01-01T",
                               u"2024-01-01 24:00",
                               u"2024-01-01 12:60",
                               u"2024-01-01 12:00:60",
                               u"2024-01-01 12:00 h",
                               u"2024-12/01",
                               u"2024-12-x1",
                               u"2024-01-01 12:x0",
                               u"2024-01-01 12:00:x0",
                               u"2024-01-01 12:00:00.5x",
                               u"2024-01-01 12",
                               u"12:00",
                               u"45351",
                               u"2024/01/01"})
    EXPECT_FALSE(DateValue(text).has_value()) << Narrow(text);
  EXPECT_EQ(Raised([] { DateToText(1e300); }), kOverflow);

  const std::time_t now = std::time(nullptr);
  std::array<char, 32> text{};
  ASSERT_NE(std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", std::localtime(&now)), 0U);
  EXPECT_NEAR(CurrentDateTime(), DateValue(Widen(text.data())).value(), 2.0 / 86400);
}

TEST(StoppedClock, ShowsOneMomentToItsThread) {
  const StoppedClock outer;
  const double moment = CurrentDateTime();
  const auto wait = [] { std::this_thread::sleep_for(std::chrono::milliseconds(2)); };
  wait();
  {
    const StoppedClock inner;
    EXPECT_GT(CurrentDateTime(), moment);
  }
  EXPECT_EQ(CurrentDateTime(), moment);
}

TEST(Booleans, HaveTwoReadings) {
  // The general one, and the one of stored texts.
  ExpectRows(
      {
          "TRUE -> true true",
          "False -> false false",
          "YES -> none true",
          "no -> none false",
          " -> none false",
          "0e5 -> false false",
          "-0.5 -> true true",
          "0,5 -> true false",
          " 1  -> true true",
          "\t0.5 -> true true",
          "maybe -> none raised 13 XMLBoolean: the string \"maybe\" is not a recognized "
          "boolean; ",
          "  -> none raised 13 XMLBoolean: the string \" \" is not a recognized boolean; ",
      },
      [](const std::string& text) {
        const std::optional<bool> general = BooleanText(Widen(text));
        std::string stored;
        const std::string raised =
            Raised([&] { stored = Narrow(XMLBooleanText(XMLBoolean(Widen(text)))); });
        return (general ? Narrow(XMLBooleanText(*general)) : "none") + " " + stored + raised;
      });
}

TEST(RoundToInteger, RoundsHalfToEvenWithin32Bits) {
  ExpectRows(
      {
          "0.5 -> 0",
          "1.5 -> 2",
          "2.5 -> 2",
          "-0.5 -> 0",
          "-1.5 -> -2",
          "-2.5 -> -2",
          "-7.6 -> -8",
          "0.49999999999999994 -> 0",
          "2147483647.4 -> 2147483647",
          "-2147483648.5 -> -2147483648",
      },
      [](const std::string& n) { return std::to_string(RoundToInteger(std::stod(n))); });
  for (const double number : {2147483647.5, -2147483648.6, -HUGE_VAL, std::nan("")})
    EXPECT_EQ(Raised([&] { RoundToInteger(number); }), kOverflow) << number;
}

}  // namespace
}  // namespace ktformula
