// Texts as numbers and back.
#include "values/number_text.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdlib>
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
          "-." + zeros + "15e401 -> -1.5",
          "18446744073709551616 -> 18446744073709551616",
          "1,234,567,890,123,456,789,012 -> 1234567890123456774144",
          "-1e-400 -> 0",
          "-0.0 -> -0",
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

// What the standard library makes of numbers and their texts, as a definition of ours.
namespace standard {

std::string Text(double value, std::chars_format format, int precision) {
  std::array<char, 1200> buffer{};
  char* const begin = buffer.data();
  return {begin, std::to_chars(begin, begin + buffer.size(), value, format, precision).ptr};
}

std::string NumberToText(double value) {
  if (value == 0) return "0";
  std::string text = Text(value, std::chars_format::general, 15);
  if (const std::size_t exponent = text.find('e'); exponent != text.npos) text[exponent] = 'E';
  return text;
}

// NaN for what is beyond the range of a double.
double Value(const std::string& text) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  EXPECT_EQ(end, text.data() + text.size()) << text;
  if (error == std::errc()) return value;
  return text.find("e-") != text.npos ? 0 : std::nan("");
}

}  // namespace standard

// Finite doubles of all kinds, many where the last digit or bit decides.
class RandomNumbers {
 public:
  explicit RandomNumbers(std::uint64_t seed) : random_(seed) {}

  int Below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }

  double Next() {
    double number = Magnitude();
    // A neighbour now and then.
    for (int steps = Below(8); steps > 5; --steps)
      number = std::nextafter(number, Below(2) == 0 ? 0 : HUGE_VAL);
    if (!std::isfinite(number)) return Next();
    return Below(2) == 0 ? number : -number;
  }

 private:
  double Magnitude() {
    switch (Below(6)) {
      case 0: return std::abs(std::bit_cast<double>(random_()));
      case 1:
        return standard::Value(Digits(1 + Below(17)) + "e" + std::to_string(Below(640) - 330));
      case 2: return standard::Value(Digits(1 + Below(17)) + "e-" + std::to_string(Below(20)));
      case 3: return static_cast<double>(random_() >> Below(64));
      case 4: return Tie();
      default:
        return Below(2) == 0 ? std::ldexp(1, Below(2098) - 1074)
                             : standard::Value("1e" + std::to_string(Below(632) - 323));
    }
  }

  std::string Digits(int count) {
    std::string digits;
    while (static_cast<int>(digits.size()) < count)
      digits.push_back(static_cast<char>('0' + Below(10)));
    return digits;
  }

  // 16 digits, the last of them a 5: an odd number of halves, quarters, eighths...
  double Tie() {
    const int decimals = 1 + Below(15);
    const double integer = standard::Value(Digits(16 - decimals));
    return integer + std::ldexp(2 * Below(1 << (decimals - 1)) + 1, -decimals);
  }

  std::mt19937_64 random_;
};

bool AreSame(double left, double right) {
  return std::bit_cast<std::uint64_t>(left) == std::bit_cast<std::uint64_t>(right) ||
         (std::isnan(left) && std::isnan(right));
}

// KT_NUMBERS tells how many, for a longer run.
TEST(Numbers, AreReadAndWrittenAsByTheStandardLibrary) {
  constexpr int kSeed = 20260301;
  const char* const asked = std::getenv("KT_NUMBERS");
  const std::int64_t count = asked != nullptr ? std::atoll(asked) : 200'000;
  RandomNumbers random(kSeed);
  std::u16string text;
  for (std::int64_t i = 0; i < count; ++i) {
    const double number = random.Next();
    text.clear();
    AppendNumberText(number, text);
    const std::string general = standard::NumberToText(number);
    ASSERT_EQ(Narrow(text), general) << "seed " << kSeed;
    ASSERT_TRUE(AreSame(RoundedToText(number), standard::Value(general)))
        << general << ", seed " << kSeed;

    const auto format =
        random.Below(4) == 0 ? std::chars_format::fixed : std::chars_format::scientific;
    const std::string written = standard::Text(number, format, random.Below(22));
    ASSERT_TRUE(
        AreSame(NumericValue(Widen(written)).value_or(std::nan("")), standard::Value(written)))
        << written << ", seed " << kSeed;
  }
}

}  // namespace
}  // namespace ktformula
