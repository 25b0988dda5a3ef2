#include "notebook/number_pattern.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <random>

#include "notebook/locale_names.h"
#include "notebook/utf.h"
#include "values/platform.h"
#include "values/raised_error.h"

namespace ktnotebook {
namespace {

using ktformula::Locale;

struct Row {
  double value;
  std::u16string pattern;
  std::u16string text;
};

class NumberPatternTest : public testing::Test {
 protected:
  void TearDown() override { ktformula::SetUserLocale({}); }

  template <std::size_t count>
  static void ExpectTexts(const Row (&rows)[count]) {
    for (const Row& row : rows) {
      EXPECT_EQ(ToUtf8(FormatNumber(row.value, row.pattern)), ToUtf8(row.text))
          << row.value << " in " << ToUtf8(row.pattern);
    }
  }
};

TEST_F(NumberPatternTest, RoundsTheDecimalFormHalfAwayFromZero) {
  const Row rows[] = {
      {2.675, u"0.00", u"2.68"},   {1.005, u"0.00", u"1.01"},
      {-2.675, u"0.00", u"-2.68"}, {0.5, u"0", u"1"},
      {1.5, u"0", u"2"},           {2.5, u"0", u"3"},
      {0.49999, u"0", u"0"},       {0.05, u"0.0", u"0.1"},
      {0.049, u"0.0", u"0.0"},     {0.005, u"0.0", u"0.0"},
      {0.95, u"0.0", u"1.0"},      {9.995, u"0.00", u"10.00"},
      {999.5, u"0", u"1000"},      {0.1 + 0.2, u"0.00000000000000000", u"0.30000000000000000"},
      {-0.004, u"0.00", u"0.00"},  {-0.0, u"0.0", u"0.0"},
      {-0.005, u"0.00", u"-0.01"},
  };
  ExpectTexts(rows);
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
  const Row rows[] = {
      {5, u"0.", u"5."},
      {5, u"000", u"005"},
      {12345, u"0", u"12345"},
      {12345.678, u"00.0", u"12345.7"},
      {0.5, u"#.##", u".5"},
      {5, u"0.##", u"5."},
      {5.25, u"0.0##", u"5.25"},
      {5, u"0.0##", u"5.0"},
      {5.1, u"0.##0", u"5.100"},
      {0, u"#", u""},
      {5, u"0#", u"05"},
      {5, u"#0", u"5"},
      {12.5, u".00", u"12.50"},
      {0.25, u".00", u".25"},
      {1234567, u"#,##0", u"1,234,567"},
      {123, u"#,##0", u"123"},
      {12, u"0,000", u"0,012"},
      {1234.5, u"#,##0.00", u"1,234.50"},
      {1.5, u"", u"1.5"},
  };
  ExpectTexts(rows);
}

TEST_F(NumberPatternTest, LiteralsAndPercentSigns) {
  const Row rows[] = {
      {0.1234, u"00.0%", u"12.3%"},
      {0.07, u"0%", u"7%"},
      {0.285, u"0%", u"29%"},
      {0.07, u"% 0.0000000000000000", u"% 7.0000000000000000"},
      {-0.004, u"0%", u"0%"},
      {-5, u"EUR 0.00 net", u"-EUR 5.00 net"},
      {5, u"0 m3 (0.0)", u"5 m3 (0.0)"},
      {5, u"0,", u"5,"},
      {1.25, u"0.0,0", u"1.3,0"},
      {5, u"...0", u"..5.0"},
      {5, u"0E+", u"5E+"},
      {5, u"-", u"-"},
  };
  ExpectTexts(rows);
}

TEST_F(NumberPatternTest, Exponents) {
  const Row rows[] = {
      {12345, u"0.00E+00", u"1.23E+04"},       {0.00012355, u"0.00E+00", u"1.24E-04"},
      {-9.996e99, u"0.00E+00", u"-1.00E+100"}, {9.996e-10, u"0.00E-0", u"1.00E-9"},
      {9.996e10, u"0.00E-0", u"1.00E11"},      {0, u"0.00E+00", u"0.00E+00"},
      {12345, u"00.0E+0", u"12.3E+3"},         {99960, u"00.0E+0", u"10.0E+4"},
      {12345, u".00E+0", u".12E+5"},           {1000, u"#.##e+000", u"1.e+003"},
      {1e-300, u"0.0E+00", u"1.0E-300"},       {0.5, u"0E+0%", u"5E+1%"},
  };
  ExpectTexts(rows);
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
  const std::pair<std::string, std::u16string> rows[] = {
      {"C", u"12,345.6"},           {"POSIX", u"12,345.6"},      {"en_US", u"12,345.6"},
      {"en_GB.UTF-8", u"12,345.6"}, {"de_DE", u"12.345,6"},      {"de", u"12.345,6"},
      {"de-DE", u"12.345,6"},       {"de_DE@euro", u"12.345,6"}, {"de_XX", u"12.345,6"},
      {"de_CH", u"12\u2019345.6"},  {"de_AT", u"12\u00A0345,6"}, {"fr_FR.UTF-8", u"12\u202F345,6"},
      {"sv_SE", u"12\u00A0345,6"},  {"es_ES", u"12.345,6"},      {"es_MX", u"12,345.6"},
      {"es_419", u"12,345.6"},      {"pt_BR", u"12.345,6"},      {"pt_PT", u"12\u00A0345,6"},
      {"ja_JP", u"12,345.6"},
  };
  for (const auto& [name, text] : rows) {
    const std::optional<Locale> locale = FindLocale(name);
    ASSERT_TRUE(locale) << name;
    ktformula::SetUserLocale(*locale);
    EXPECT_EQ(ToUtf8(FormatNumber(12345.6, u"#,##0.0")), ToUtf8(text)) << name;
  }
  for (const char* name : {"", "c", "xx_DE", "de_", "DE", "_DE", "de_de", "de_DE_x", "d", "e de"}) {
    EXPECT_FALSE(FindLocale(name)) << name;
  }
}

}  // namespace
}  // namespace ktnotebook
