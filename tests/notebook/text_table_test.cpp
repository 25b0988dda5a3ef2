#include "notebook/text_table.h"

#include <chrono>
#include <gtest/gtest.h>

namespace ktnotebook {
namespace {

TEST(TextTable, AlignsByDisplayWidthWithoutTrailingBlanks) {
  TextTable table({{u"ID"}, {u"Mass", Alignment::kRight}, {u"Remark"}, {u""}});
  table.AddRow({{u"A"}, {u"1.22 g"}, {u"first  "}});
  table.AddRow({{u"\u6C34\u6C34"}, {u"5 \u00B5g"}});
  table.AddRow({{u"e\u0301"}, {}, {u"x"}, {}, {u"not shown"}});
  table.AddRow({});
  table.AddRow({{u"two\nlines\x1B[2J"}});
  EXPECT_EQ(table.Render(false),
            "ID               Mass  Remark\n"
            "-------------  ------  ------  -\n"
            "A              1.22 g  first\n"
            "\u6C34\u6C34             5 \u00B5g\n"
            "e\u0301                      x\n"
            "\n"
            "two\u23CElines\u241B[2J\n");
}

TEST(TextTable, ColoursErrorsOnlyWhenAsked) {
  TextTable table({{u"a", Alignment::kRight}, {u"b"}});
  table.AddRow({{u"#Error", true}, {u"fine"}});
  table.AddRow({{u"", true}, {u"#E", true}});
  EXPECT_EQ(table.Render(true),
            "     a  b\n"
            "------  ----\n"
            "\x1B[31m#Error\x1B[0m  fine\n"
            "        \x1B[31m#E\x1B[0m\n");
  EXPECT_EQ(table.Render(false).find('\x1B'), std::string::npos);
}

TEST(TextTable, EmptyTables) {
  EXPECT_EQ(TextTable({{u"Mass"}}).Render(false), "Mass\n----\n");
  TextTable no_columns({});
  no_columns.AddRow({{u"a"}});
  EXPECT_EQ(no_columns.Render(false), "");
}

TEST(TextTable, ManyRows) {
  constexpr std::size_t kRows = 100'000;
  const auto start = std::chrono::steady_clock::now();
  TextTable table({{u"n", Alignment::kRight}, {u"text"}});
  for (std::size_t i = 0; i < kRows; ++i)
    table.AddRow({{u"12"}, {u"abc"}});
  const std::string text = table.Render(false);
  EXPECT_EQ(text.size(), std::string(" n  text\n--  ----\n").size() + kRows * 8);
  EXPECT_TRUE(text.ends_with("\n12  abc\n"));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

}  // namespace
}  // namespace ktnotebook
