// Texts as numbers, booleans and dates, and back.
#include "values/platform.h"

#include <array>
#include <cmath>
#include <ctime>
#include <gtest/gtest.h>
#include <random>
#include <vector>

#include "values/describe.h"
#include "values/text.h"

namespace ktformula {
namespace {

constexpr Locale kGerman{u',', u'.'};
constexpr char kOverflow[] = "raised 6 KtFormula9: Overflow; ";

class LocaleGuard {
 public:
  explicit LocaleGuard(const Locale& locale) : previous_(UserLocale()) { SetUserLocale(locale); }
  LocaleGuard(const LocaleGuard&) = delete;
  LocaleGuard& operator=(const LocaleGuard&) = delete;
  ~LocaleGuard() { SetUserLocale(previous_); }

 private:
  Locale previous_;
};

std::string Read(std::optional<double> number) {
  return number ? Range(*number, *number) : "none";
}

std::string ReadNumber(const std::string& text) {
  return Read(NumericValue(Widen(text)));
}

TEST(NumericValue, AcceptsAndRejects) {
  const std::string zeros(400, '0');
  ExpectRows(
      {
          "007 -> 7",
          " \t-1.5e3  -> -1500",
          "+.5 -> 0.5",
          "5. -> 5",
          "5.e1 -> 50",
          "1,234,567.5 -> 1234567.5",
          "12,34 -> 1234",
          "1,000E-3 -> 1",
          "1E+2 -> 100",
          "9007199254740993 -> 9007199254740992",
          "1e00000000000000000001 -> 10",
          "0e9999999999999 -> 0",
          "1e-9999999999999 -> 0",
          "0.001e-322 -> 0",
          "1.7976931348623157e308 -> 1.7976931348623157e+308",
          "4.9e-324 -> 5e-324",
          "1" + zeros + "e-400 -> 1",
          "0." + zeros + "1e401 -> 1",
          "1" + zeros + " -> none",
          "1e400 -> none",
          "-1e9999999999 -> none",
      },
      ReadNumber);
  for (const char16_t* text :
       {u"",      u" ",    u"+",   u".",   u"-.",    u"e5",   u".e5",  u"abc",    u"1-",
        u"--1",   u"+-1",  u"- 1", u"1 2", u"1e",    u"1e+",  u"1e 5", u"1e5.5",  u"1e5,000",
        u"1.2.3", u"1,,2", u",1",  u"1,",  u"1.2,3", u"1,.5", u"5%",   u"$5",     u"5 g",
        u"0x10",  u"&H10", u"1d5", u"(5)", u"inf",   u"nan",  u"-inf", u"\u0665", u"\u00a05"})
    EXPECT_FALSE(IsNumericText(text)) << "\"" << Narrow(text) << "\"";
  EXPECT_EQ(TextToNumber(u" 2 "), 2);
  EXPECT_EQ(Raised([] { TextToNumber(u"2 g"); }), "raised 13 KtFormula9: Type mismatch; ");
  const LocaleGuard german(kGerman);
  ExpectRows(
      {
          "1.234,5 -> 1234.5",
          "1,5 -> 1.5",
          "1.5 -> 15",
          ",5e1 -> 5",
          "1,234.5 -> none",
          ".5 -> none",
          "1,2,3 -> none",
          "1. -> none",
          "1..5 -> none",
      },
      ReadNumber);
}

TEST(NumeralLength, TakesAnyDecimalSeparator) {
  EXPECT_EQ(NumeralLength(u""), 0U);
  const LocaleGuard arabic({u'\u066B', u'\u066C'});
  EXPECT_EQ(NumeralLength(u"\u066B5 g"), 2U);
}

TEST(NumeralLength, AgreesWithTestingEveryPrefix) {
  constexpr unsigned kSeed = 20240229;
  std::mt19937 random(kSeed);
  const auto pick = [&](std::size_t count) { return random() % count; };
  std::vector<std::u16string> texts;
  for (int i = 0; i < 20000; ++i) {
    constexpr std::u16string_view kAlphabet = u"0123456789.,eE+- ";
    // A digit or the point first, as the caller promises.
    std::u16string text(1, kAlphabet[pick(11)]);
    for (std::size_t length = pick(9); text.size() <= length;)
      text.push_back(kAlphabet[pick(kAlphabet.size())]);
    texts.push_back(std::move(text));
  }
  for (int i = 0; i < 60; ++i) {
    // Around the longest integers that are numbers.
    std::u16string text(pick(3), u'0');
    text.append(305 + pick(7), pick(2) == 0 ? u'1' : u'9');
    texts.push_back(text + (pick(2) == 0 ? u"" : u".5"));
  }
  for (const Locale& locale : {Locale{}, kGerman}) {
    const LocaleGuard guard(locale);
    for (const std::u16string& text : texts) {
      std::size_t length = 1;
      while (length < text.size() && text[length] != u' ' &&
             IsNumericText(text.substr(0, length + 1)))
        ++length;
      ASSERT_EQ(NumeralLength(text), length) << "\"" << Narrow(text) << "\", seed " << kSeed;
    }
  }
}

TEST(LeadingNumber, ReadsWithPointWhateverTheLocale) {
  const LocaleGuard german(kGerman);
  ExpectRows(
      {
          " -> 0",
          "abc -> 0",
          "- -> 0",
          ". -> 0",
          "12 g -> 12",
          " - 1 2.5 -> -12.5",
          "+3 -> 3",
          "+-3 -> 0",
          ".5.5 -> 0.5",
          "1,234 -> 1",
          "2e3x -> 2000",
          "2e -> 2",
          "inf -> 0",
          "-nan -> 0",
      },
      [](const std::string& text) { return Read(LeadingNumber(Widen(text))); });
  EXPECT_EQ(LeadingNumber(u"7\u00b5"), 7);
}

TEST(NumberToText, WritesGeneralForm) {
  const auto write = [](const std::string& number) {
    std::string text;
    return Raised([&] { text = Narrow(NumberToText(std::stod(number))); }) + text;
  };
  ExpectRows(
      {
          "0 -> 0",
          "-0.0 -> 0",
          "-1.5 -> -1.5",
          "0.30000000000000004 -> 0.3",
          "0.6666666666666666 -> 0.666666666666667",
          "999999999999999 -> 999999999999999",
          "999999999999999.9 -> 1E+15",
          "1e15 -> 1E+15",
          "0.0001 -> 0.0001",
          "0.00001 -> 1E-05",
          "-1.25e-300 -> -1.25E-300",
          std::string("nan -> ") + kOverflow,
          std::string("-inf -> ") + kOverflow,
      },
      write);
  const LocaleGuard german(kGerman);
  ExpectRows({"1234567.5 -> 1234567,5", "1.5e20 -> 1,5E+20"}, write);
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
