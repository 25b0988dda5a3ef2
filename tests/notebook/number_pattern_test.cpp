#include "notebook/tables/number_pattern.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <random>

#include "notebook/files/utf.h"
#include "notebook/tables/locale_names.h"
#include "values/describe.h"
#include "values/platform.h"
#include "values/raised_error.h"

namespace ktnotebook {
namespace {

class NumberPatternTest : public testing::Test {
 protected:
  void TearDown() override { ktformula::SetUserLocale({}); }

  // Rows of "VALUE as PATTERN -> TEXT".
  static void ExpectTexts(const std::vector<std::string>& rows) {
    ktformula::ExpectRows(rows, [](const std::string& row) {
      const std::size_t as = row.find(" as ");
      return ToUtf8(FormatNumber(std::stod(row), *FromUtf8(row.substr(as + 4))));
    });
  }
};

TEST_F(NumberPatternTest, RoundsTheDecimalFormHalfAwayFromZero) {
  ExpectTexts({
      "2.675 as 0.00 -> 2.68",
      "1.005 as 0.00 -> 1.01",
      "-2.675 as 0.00 -> -2.68",
      "0.5 as 0 -> 1",
      "1.5 as 0 -> 2",
      "2.5 as 0 -> 3",
      "0.49999 as 0 -> 0",
      "0.05 as 0.0 -> 0.1",
      "0.049 as 0.0 -> 0.0",
      "0.005 as 0.0 -> 0.0",
      "0.95 as 0.0 -> 1.0",
      "9.995 as 0.00 -> 10.00",
      "999.5 as 0 -> 1000",
      "0.30000000000000004 as 0.00000000000000000 -> 0.30000000000000000",
      "-0.004 as 0.00 -> 0.00",
      "-0.0 as 0.0 -> 0.0",
      "-0.005 as 0.00 -> -0.01",
  });
}

// n/64 has at most six decimals, so that integers give the rounded value exactly.
TEST_F(NumberPatternTest, AgreesWithIntegerArithmetic) {
  std::mt19937 random(20);
  const std::u16string patterns[] = {u"0", u"0.0", u"0.00", u"0.000", u"0.0000", u"0.00000"};
  for (int round = 0; round < 5000; ++round) {
    const std::size_t decimals = random() % std::size(patterns);
    const std::int64_t n = static_cast<std::int64_t>(random() % 2'000'000'000) >> (random() % 30);
    std::int64_t unit = 1;
    for (std::size_t i = decimals; i < 6; ++i)
      unit *= 10;
    std::string expected = std::to_string((n * 15625 + unit / 2) / unit);
    if (expected.size() <= decimals) expected.insert(0, decimals + 1 - expected.size(), '0');
    if (decimals > 0) expected.insert(expected.size() - decimals, 1, '.');
    EXPECT_EQ(ToUtf8(FormatNumber(static_cast<double>(n) / 64, patterns[decimals])), expected);
  }
}

TEST_F(NumberPatternTest, FillsDigitPlaces) {
  ExpectTexts({
      "5 as 0. -> 5.",
      "5 as 000 -> 005",
      "12345 as 0 -> 12345",
      "12345.678 as 00.0 -> 12345.7",
      "0.5 as #.## -> .5",
      "5 as 0.## -> 5.",
      "5.25 as 0.0## -> 5.25",
      "5 as 0.0## -> 5.0",
      "5.1 as 0.##0 -> 5.100",
      "0 as # -> ",
      "5 as 0# -> 05",
      "5 as #0 -> 5",
      "12.5 as .00 -> 12.50",
      "0.25 as .00 -> .25",
      "1234567 as #,##0 -> 1,234,567",
      "123 as #,##0 -> 123",
      "12 as 0,000 -> 0,012",
      "1234.5 as #,##0.00 -> 1,234.50",
      "1.5 as  -> 1.5",
  });
}

TEST_F(NumberPatternTest, LiteralsAndPercentSigns) {
  ExpectTexts({
      "0.1234 as 00.0% -> 12.3%",
      "0.07 as 0% -> 7%",
      "0.285 as 0% -> 29%",
      "0.07 as % 0.0000000000000000 -> % 7.0000000000000000",
      "-0.004 as 0% -> 0%",
      "-5 as EUR 0.00 net -> -EUR 5.00 net",
      "5 as 0 m3 (0.0) -> 5 m3 (0.0)",
      "5 as 0, -> 5,",
      "1.25 as 0.0,0 -> 1.3,0",
      "5 as ...0 -> ..5.0",
      "5 as 0E+ -> 5E+",
      "5 as - -> -",
  });
}

TEST_F(NumberPatternTest, Exponents) {
  ExpectTexts({
      "12345 as 0.00E+00 -> 1.23E+04",
      "0.00012355 as 0.00E+00 -> 1.24E-04",
      "-9.996e99 as 0.00E+00 -> -1.00E+100",
      "9.996e-10 as 0.00E-0 -> 1.00E-9",
      "9.996e10 as 0.00E-0 -> 1.00E11",
      "0 as 0.00E+00 -> 0.00E+00",
      "12345 as 00.0E+0 -> 12.3E+3",
      "99960 as 00.0E+0 -> 10.0E+4",
      "12345 as .00E+0 -> .12E+5",
      "1000 as #.##e+000 -> 1.e+003",
      "1e-300 as 0.0E+00 -> 1.0E-300",
      "0.5 as 0E+0% -> 5E+1%",
  });
}

TEST_F(NumberPatternTest, LargeNumbersAndLongPatterns) {
  EXPECT_EQ(FormatNumber(1e300, u"0.00"), u"1" + std::u16string(300, u'0') + u".00");
  EXPECT_EQ(FormatNumber(5e-324, u"0.00"), u"0.00");
  EXPECT_EQ(FormatNumber(1e-300, u"0." + std::u16string(300, u'0')),
            u"0." + std::u16string(299, u'0') + u"1");
  const std::u16string zeros(1'000'000, u'0');
  EXPECT_EQ(FormatNumber(5, zeros + u"." + zeros), zeros.substr(1) + u"5." + zeros);
  EXPECT_EQ(FormatNumber(5, zeros + u"E+" + zeros).size(), 2'000'002U);
  for (const std::u16string pattern : {u"", u"0.00", u"0E+0", u"text"}) {
    for (const double value : {std::numeric_limits<double>::infinity(), std::nan("")}) {
      try {
        FormatNumber(value, pattern);
        FAIL() << ToUtf8(pattern);
      } catch (const ktformula::RaisedError& error) {
        EXPECT_EQ(error.Number(), 6);
      }
    }
  }
}

TEST_F(NumberPatternTest, SeparatorsAreThoseOfTheNamedLocale) {
  const auto show = [](const std::string& name) {
    ktformula::SetUserLocale(FindLocale(name).value());
    return ToUtf8(FormatNumber(12345.6, u"#,##0.0"));
  };
  ktformula::ExpectLines(R"(
      C -> 12,345.6
      POSIX -> 12,345.6
      en_US -> 12,345.6
      en_GB.UTF-8 -> 12,345.6
      de_DE -> 12.345,6
      de -> 12.345,6
      de-DE -> 12.345,6
      de_DE@euro -> 12.345,6
      de_XX -> 12.345,6
      es_ES -> 12.345,6
      es_MX -> 12,345.6
      es_419 -> 12,345.6
      pt_BR -> 12.345,6
      ja_JP -> 12,345.6)",
                         show);
  ktformula::ExpectRows(
      {
          "de_CH -> 12\u2019345.6",
          "de_AT -> 12\u00A0345,6",
          "fr_FR.UTF-8 -> 12\u202F345,6",
          "sv_SE -> 12\u00A0345,6",
          "pt_PT -> 12\u00A0345,6",
      },
      show);
  for (const char* name : {"", "c", "xx_DE", "de_", "DE", "_DE", "de_de", "de_DE_x", "d", "e de"}) {
    EXPECT_FALSE(FindLocale(name)) << name;
  }
}

}  // namespace
}  // namespace ktnotebook
