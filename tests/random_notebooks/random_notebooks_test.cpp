// Random notebooks show the same whatever their host promises and whatever was known before.
#include <gtest/gtest.h>

#include "random_notebooks/comparison.h"
#include "random_notebooks/generator.h"

namespace random_notebooks {
namespace {

// In parts, which run side by side.
constexpr std::uint64_t kNotebooks = 1'000;
constexpr std::uint64_t kParts = 10;

class RandomNotebooks : public testing::TestWithParam<std::uint64_t> {};

TEST_P(RandomNotebooks, ShowTheSameInAllModes) {
  constexpr std::uint64_t kSeeds = kNotebooks / kParts;
  Totals totals;
  for (std::uint64_t seed = GetParam() * kSeeds; seed < (GetParam() + 1) * kSeeds; ++seed)
    ASSERT_EQ(Examine(seed, AllModes(), totals), "");
  // Most cells have a value to compare.
  EXPECT_LT(totals.errors * 10, totals.formula_cells * 4) << Describe(totals);
}

INSTANTIATE_TEST_SUITE_P(Part, RandomNotebooks, testing::Range<std::uint64_t>(0, kParts));

}  // namespace
}  // namespace random_notebooks
