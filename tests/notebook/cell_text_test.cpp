#include "notebook/tables/cell_text.h"

#include <chrono>
#include <gtest/gtest.h>

#include "notebook/files/utf.h"
#include "values/platform.h"

namespace ktnotebook {
namespace {

using ktformula::MakeRef;
using ktformula::Ref;

class CellTextTest : public testing::Test {
 protected:
  void TearDown() override { ktformula::SetUserLocale({}); }

  // An empty default unit: the property has none.
  std::optional<ParsedNumber> Parse(std::u16string_view text, std::u16string_view default_unit) {
    return ParseNumberText(text, catalogue_->FindUnit(default_unit), *catalogue_);
  }

  Ref<NotebookUnitCatalogue> catalogue_ = MakeRef<NotebookUnitCatalogue>();
};

struct Row {
  std::u16string text;
  std::u16string default_unit;
  double min;
  double max;
  std::u16string typed_unit;
};

TEST_F(CellTextTest, ReadsNumbersInBaseUnits) {
  const Row rows[] = {
      {u"5", u"mg", 5e-6, 5e-6, u""},
      {u"5 mg", u"g", 5e-6, 5e-6, u"mg"},
      {u"5mg", u"g", 5e-6, 5e-6, u"mg"},
      {u" \t5  mg \t", u"g", 5e-6, 5e-6, u"mg"},
      {u"7 \u03BCg", u"g", 7e-9, 7e-9, u"\u00B5g"},
      {u"1e-3 g", u"kg", 1e-6, 1e-6, u"g"},
      {u"1E+3g", u"kg", 1, 1, u"g"},
      {u"+1,234.5 g", u"kg", 1.2345, 1.2345, u"g"},
      {u"-5 \u00B0C", u"K", 268.15, 268.15, u"\u00B0C"},
      {u".5", u"", 0.5, 0.5, u""},
      {u"5.", u"", 5, 5, u""},
      {u"12.5 %", u"", 0.125, 0.125, u"%"},
      {u"7%", u"", 0.07, 0.07, u"%"},
      {u"1e-400", u"", 0, 0, u""},
      {u"0.5\u00B10.1 g", u"mg", 0.0004, 0.0006, u"g"},
      {u"0.3 +/- 0.1", u"kg", 0.2, 0.4, u""},
      {u"5+/-1", u"", 4, 6, u""},
      {u"1.1 \u00B1 1.1", u"", 0, 2.2, u""},
      {u"-1 \u00B1 0", u"", -1, -1, u""},
      {u"0.12345678901234567 \u00B1 0", u"", 0.12345678901234567, 0.12345678901234567, u""},
      {u"1e300 \u00B1 1e299", u"", 9e299, 1.1e300, u""},
      {u"3e-310 \u00B1 1e-310", u"", 2e-310, 4e-310, u""},
      {u"50 \u00B1 10 %", u"", 0.4, 0.6, u"%"},
      {u"1..2", u"", 1, 2, u""},
      {u"1.5 .. 2.5 ml", u"l", 1.5e-6, 2.5e-6, u"ml"},
      {u"1.5..2.5ml", u"l", 1.5e-6, 2.5e-6, u"ml"},
      {u"-2..-1", u"", -2, -1, u""},
      {u"0...5", u"", 0, 0.5, u""},
      {u"3 .. 3 h", u"min", 10800, 10800, u"h"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(ToUtf8(row.text));
    const std::optional<ParsedNumber> number = Parse(row.text, row.default_unit);
    ASSERT_TRUE(number);
    EXPECT_EQ(number->min, row.min);
    EXPECT_EQ(number->max, row.max);
    EXPECT_EQ(number->typed_unit, row.typed_unit);
    const bool is_typed = !row.typed_unit.empty() && row.typed_unit != u"%";
    EXPECT_EQ(number->unit, catalogue_->FindUnit(is_typed ? row.typed_unit : row.default_unit));
  }
}

TEST_F(CellTextTest, RefusesEverythingElse) {
  const std::pair<std::u16string, std::u16string> rows[] = {
      {u"", u"g"},
      {u"  ", u"g"},
      {u"n.d.", u"g"},
      {u"mg", u"g"},
      {u"#Error: x", u""},
      {u"5 furlong", u"g"},
      {u"5 ml", u"g"},
      {u"5 mM", u"N"},
      {u"5 g", u""},
      {u"5 %", u"g"},
      {u"5 %%", u""},
      {u"5 G", u"g"},
      {u"5 m g", u"g"},
      {u"5 g 3", u"g"},
      {u"5 6", u"g"},
      {u"5-", u"g"},
      {u"- 5", u"g"},
      {u"--5", u"g"},
      {u".", u"g"},
      {u"5e", u"g"},
      {u"1,,2", u""},
      {u"2 .. 1", u""},
      {u"1..", u""},
      {u"..1", u""},
      {u"1..2..3", u""},
      {u"1 g .. 2 g", u"g"},
      {u"5 \u00B1 -1", u""},
      {u"5 \u00B1", u""},
      {u"\u00B1 5", u""},
      {u"5 \u00B1 1 .. 2", u""},
      {u"1e999", u""},
      {u"1e308 mol/g", u"mol/kg"},
      {u"1e308 \u00B1 1.7e308", u""},
      {u"inf", u""},
      {u"nan", u""},
      {u"0x10", u""},
  };
  for (const auto& [text, default_unit] : rows) {
    EXPECT_FALSE(Parse(text, default_unit)) << ToUtf8(text);
  }
}

TEST_F(CellTextTest, ReadsTheUsersSeparators) {
  ktformula::SetUserLocale({u',', u'.'});
  const Row rows[] = {
      {u"1.234,5", u"", 1234.5, 1234.5, u""},
      {u"1,5..2,5", u"", 1.5, 2.5, u""},
      {u"1.000..2.000", u"", 1000, 2000, u""},
      {u"0,3 \u00B1 0,1", u"", 0.2, 0.4, u""},
  };
  for (const Row& row : rows) {
    const std::optional<ParsedNumber> number = Parse(row.text, row.default_unit);
    ASSERT_TRUE(number) << ToUtf8(row.text);
    EXPECT_EQ(number->min, row.min) << ToUtf8(row.text);
    EXPECT_EQ(number->max, row.max) << ToUtf8(row.text);
  }
}

TEST_F(CellTextTest, LongTextsTakeLinearTime) {
  constexpr std::size_t kLength = 10'000'000;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Parse(u"0." + std::u16string(kLength, u'3'), u"")->max, 1.0 / 3);
  EXPECT_FALSE(Parse(std::u16string(kLength, u'9'), u"g"));
  EXPECT_FALSE(Parse(u"5 " + std::u16string(kLength, u'g'), u"g"));
  EXPECT_FALSE(Parse(u"1" + std::u16string(kLength, u'.'), u"g"));
  EXPECT_EQ(Parse(std::u16string(kLength, u' ') + u"5", u"")->min, 5);
  // Quadratic time would be hours.
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

}  // namespace
}  // namespace ktnotebook
