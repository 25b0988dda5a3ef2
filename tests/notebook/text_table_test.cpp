#include "notebook/commands/text_table.h"

#include <chrono>
#include <gtest/gtest.h>

namespace ktnotebook {
namespace {

TEST(TextTable, AlignsByDisplayWidthWithoutTrailingBlanks) {
  TextTable table({{u"ID"}, {u"Mass", Alignment::kRight}, {u"Remark"}, {u""}}, {});
  table.AddRow({{u"A"}, {u"1.22 g"}, {u"first  "}});
  table.AddRow({{u"\u6C34\u6C34"}, {u"5 \u00B5g"}});
  table.AddRow({{u"e\u0301"}, {}, {u"x"}, {}, {u"not shown"}});
  table.AddRow({});
  table.AddRow({{u"two\nlines\x1B[2J"}});
  EXPECT_EQ(table.Render(),
            "ID                    Mass  Remark\n"
            "------------------  ------  ------  -\n"
            "A                   1.22 g  first\n"
            "\u6C34\u6C34                  5 \u00B5g\n"
            "e\u0301                           x\n"
            "\n"
            "two\u23CElines\\u001b[2J\n");
}

TEST(TextTable, ColoursOnlyWhenAsked) {
  for (const bool coloured : {true, false}) {
    TextTable table({{u"a", Alignment::kRight}, {u"b"}}, {coloured});
    table.AddRow({{u"#Error", TextKind::kError}, {u"fine", TextKind::kComputed}});
    table.AddRow({{u"", TextKind::kError}, {u"#E", TextKind::kError}});
    const std::string plain =
        "     a  b\n"
        "------  ----\n"
        "#Error  fine\n"
        "        #E\n";
    const std::string in_colours =
        "     a  b\n"
        "------  ----\n"
        "\x1B[31m#Error\x1B[0m  \x1B[36mfine\x1B[0m\n"
        "        \x1B[31m#E\x1B[0m\n";
    EXPECT_EQ(table.Render(), coloured ? in_colours : plain);
  }
}

TEST(TextTable, EmptyTables) {
  EXPECT_EQ(TextTable({{u"Mass"}}, {}).Render(), "Mass\n----\n");
  TextTable no_columns({}, {});
  no_columns.AddRow({{u"a"}});
  EXPECT_EQ(no_columns.Render(), "");
}

TEST(TextTable, OnATerminalTheWidestTextsGiveWay) {
  const std::u16string text = u"0123456789abcdef";
  const std::u16string number = u"123456.789 mg";
  const struct {
    int width;
    std::string table;
  } cases[] = {
      {40,
       "ID  Text                     Number\n"
       "--  ----------------  -------------\n"
       "A   0123456789abcdef  123456.789 mg\n"},
      {30,
       "ID  Text                Number\n"
       "--  -----------  -------------\n"
       "A   0123456789\u2026  123456.789 mg\n"},
      {24,
       "ID  Text          Number\n"
       "--  -----  -------------\n"
       "A   0123\u2026  123456.789 mg\n"},
      // Numbers are wider than the terminal rather than cut.
      {10,
       "ID  Text         Number\n"
       "--  ----  -------------\n"
       "A   012\u2026  123456.789 mg\n"},
  };
  for (const auto& row : cases) {
    TextTable table({{u"ID"}, {u"Text"}, {u"Number", Alignment::kRight}}, {false, row.width});
    table.AddRow({{u"A"}, {text}, {number}});
    EXPECT_EQ(table.Render(), row.table) << row.width;
  }
}

TEST(TextTable, ElsewhereALongTextMovesItsOwnRowOnly) {
  TextTable table({{u"a"}, {u"b"}}, {});
  const std::u16string longest(200, u'x');
  table.AddRow({{u"short"}, {u"1"}});
  table.AddRow({{longest + u"y"}, {u"2"}});
  for (int i = 0; i < 10; ++i)
    table.AddRow({{u"short"}, {u"3"}});
  const std::string text = table.Render();
  const std::string cut = std::string(199, 'x') + "\u2026  2\n";
  EXPECT_NE(text.find("\nshort" + std::string(37, ' ') + "1\n" + cut + "short"), std::string::npos)
      << text;
}

TEST(TextTable, LongTablesShowTheirEndsUnlessAllIsAskedFor) {
  const auto number = [](std::size_t i) -> std::vector<TableText> {
    const std::string text = std::to_string(i + 1);
    return {{std::u16string(text.begin(), text.end())}};
  };
  const auto lines = [&](std::size_t rows, bool all) {
    TextTable table({{u"n"}}, {false, 0, all});
    table.AddRows(rows, number);
    return table.Render();
  };
  const std::string shortened = lines(1000, false);
  EXPECT_EQ(std::count(shortened.begin(), shortened.end(), '\n'), 43);
  EXPECT_NE(shortened.find("\n20\n\u2026 960 more rows; --all shows them\n981\n"),
            std::string::npos)
      << shortened;
  EXPECT_TRUE(shortened.ends_with("\n1000\n"));
  for (const std::string& whole : {lines(60, false), lines(1000, true)})
    EXPECT_EQ(whole.find("more rows"), std::string::npos) << whole;
}

TEST(TextTable, ManyRows) {
  constexpr std::size_t kRows = 100'000;
  const auto start = std::chrono::steady_clock::now();
  TextTable table({{u"n", Alignment::kRight}, {u"text"}}, {});
  for (std::size_t i = 0; i < kRows; ++i)
    table.AddRow({{u"12"}, {u"abc"}});
  const std::string text = table.Render();
  EXPECT_EQ(text.size(), std::string(" n  text\n--  ----\n").size() + kRows * 8);
  EXPECT_TRUE(text.ends_with("\n12  abc\n"));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

}  // namespace
}  // namespace ktnotebook
