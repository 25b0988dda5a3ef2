// Random notebooks show the same whatever their host promises and whatever was known before.
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <string>

#include "random_notebooks/comparison.h"
#include "random_notebooks/generator.h"

#include "values/text.h"

namespace random_notebooks {
namespace {

// In parts, which run side by side.
constexpr std::uint64_t kNotebooks = 1'000;
constexpr std::uint64_t kParts = 10;

class RandomNotebookParts : public testing::TestWithParam<std::uint64_t> {};

TEST_P(RandomNotebookParts, ShowTheSameInAllModes) {
  constexpr std::uint64_t kSeeds = kNotebooks / kParts;
  Totals totals;
  for (std::uint64_t seed = GetParam() * kSeeds; seed < (GetParam() + 1) * kSeeds; ++seed)
    ASSERT_EQ(Examine(seed, AllModes(), totals), "");
  // Most cells have a value to compare.
  EXPECT_LT(totals.errors * 10, totals.formula_cells * 4) << Describe(totals);
}

INSTANTIATE_TEST_SUITE_P(Part, RandomNotebookParts, testing::Range<std::uint64_t>(0, kParts));

// What chance rarely comes to: when definitions are asked for their values, and what the host's
// function POKE does in the middle of a pass.
TEST(RandomNotebooks, NotebooksMadeByHandShowTheSameInAllModes) {
  struct Row {
    // Of the columns "a", "b" and "shown", in this order.
    std::u16string_view a;
    std::u16string_view b;
    std::u16string_view shown;
    std::u16string_view d;
    // What POKE enters: the column of `x` or `w`, the row, the text; or the formula of a definition
    // "x".
    std::size_t poked_column = 0;
    std::size_t poked_row = 0;
    std::u16string_view poked = u"";
    EditKind poke = EditKind::kType;
  };
  const Row rows[] = {
      // Definitions keep the value that they have when a row first needs them, if one does.
      {u"SUM([d], [T], [w] > 5)+[x]", u"[d]", u"", u"[T:a:2]"},
      {u"COUNT([T], IF([x] > 9, [d], 1) > 0)+[x]", u"[d]", u"", u"[T:a:2]"},
      {u"[e]+[x]", u"[d]", u"", u"[T:a:2]"},
      // The host's function writes what later rows, and their conditions, read.
      {u"SUM(POKE([x]), [T], [w] > 0)", u"", u"", u"", 1, 1, u"1"},
      {u"SUM(IF([w] = 1, POKE(1), [x]), [T])", u"", u"", u"", 0, 3, u"30"},
      {u"COUNT([T], IF([w] = 1, POKE(0), [x] > 1))", u"", u"", u"", 0, 3, u"0"},
      {u"SUM(ONERROR([x]/([w]-1), POKE(1)), [T])", u"", u"", u"", 0, 3, u"30"},
      {u"SELECT([x], [T], IF([w] = 1, POKE(0) = 1, [x] > 3))", u"", u"", u"", 0, 3, u"1"},
      // It gives a name another meaning within the formula.
      {u"POKE(1)+SUM([x], [T])", u"", u"", u"", 0, 0, u"7", EditKind::kDefinition},
      // Units are looked for when the first number is shown.
      {u"", u"", u"POKE([x])", u"", 0, 3, u"5 mg"},
  };
  for (const Row& row : rows) {
    NotebookPlan plan;
    TablePlan& table = plan.tables.emplace_back();
    table.name = u"T";
    const auto column = [](std::u16string_view name, std::u16string_view unit) {
      return ColumnPlan{std::u16string(name), DataType::kNumber, std::u16string(unit),
                        !unit.empty(), false};
    };
    table.columns = {column(u"x", u""), column(u"w", u""), column(u"a", u""), column(u"b", u""),
                     column(u"shown", u"g")};
    for (const auto& [x, w] : {std::pair{u"1", u"1"}, {u"2", u"0"}, {u"3", u"1"}, {u"4", u"0"}})
      table.rows.push_back({ktformula::ToDecimalText(1 + std::ssize(table.rows)), {x, w}});
    ListenerPlan& listener = table.listeners.emplace_back();
    listener.formulas = {{2, std::u16string(row.a), u""},
                         {3, std::u16string(row.b), u""},
                         {4, std::u16string(row.shown), u""}};
    listener.definitions = {{u"d", std::u16string(row.d)}, {u"e", u"SUM([d], [T], [w] > 5)"}};
    Edit poke;
    poke.column = row.poked_column;
    poke.row = row.poked_row;
    poke.text = row.poked;
    poke.kind = row.poke;
    poke.more = u"x";
    if (!row.poked.empty()) plan.pokes = {poke};
    plan.steps.resize(2);
    Totals totals;
    const std::optional<Difference> difference = Compare(plan, AllModes(), totals);
    EXPECT_FALSE(difference) << difference->mode << ": " << difference->what;
  }
}

// A notebook with one cell, in which something is changed after each round of one mode: that much,
// and no less, is to be seen.
TEST(RandomNotebooks, FindTheSmallestDifference) {
  struct Row {
    std::string_view what;
    std::function<void(const ktnotebook::NotebookCell&)> change;
    bool is_seen;
  };
  const auto with_content = [](auto change) {
    return [change](const ktnotebook::NotebookCell& cell) {
      ktnotebook::CellContent content = cell.Content();
      change(content);
      cell.SetContent(content);
    };
  };
  const Row rows[] = {
      {"nothing", [](auto&) {}, false},
      {"text", with_content([](auto& content) { content.text += u" "; }), true},
      {"lower number", with_content([](auto& content) { content.min = std::nextafter(2.5, 3); }),
       true},
      {"upper number", with_content([](auto& content) { content.max = std::nextafter(2.5, 2); }),
       true},
      {"not a number",
       with_content([](auto& content) { content.min = std::numeric_limits<double>::quiet_NaN(); }),
       true},
      {"unit", with_content([](auto& content) { content.unit = u"mg"; }), true},
      {"state", [](auto& cell) { cell.SetState(u"noted", u"entered"); }, true},
      {"tag", [](auto& cell) { cell.SetState(u"entered", u"lot"); }, true},
  };
  NotebookPlan plan;
  plan.tables.push_back(
      {u"T", {{u"x", DataType::kNumber, u"", false, false}}, {{u"1", {u"2.5"}}}, {}});
  plan.steps.emplace_back();
  for (const Row& row : rows) {
    const Mode modes[] = {{"reference", {}},
                          {"changed", {}, false, [&row](ktnotebook::NotebookForm& form) {
                             row.change(form.Tables()[0]->Rows()[0].CellAt(0));
                           }}};
    Totals totals;
    EXPECT_EQ(Compare(plan, modes, totals).has_value(), row.is_seen) << row.what;
  }
}

}  // namespace
}  // namespace random_notebooks
