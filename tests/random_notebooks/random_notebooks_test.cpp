// Random notebooks show the same whatever their host promises and whatever was known before.
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <string>

#include "random_notebooks/comparison.h"
#include "random_notebooks/generator.h"

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
