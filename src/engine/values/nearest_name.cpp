#include "values/nearest_name.h"

#include <algorithm>
#include <numeric>
#include <utility>
#include <vector>

#include "values/text.h"

namespace ktformula {

namespace {

// Names are short; what is longer is a mistake of another kind, and would take long to compare.
constexpr std::size_t kLongestName = 100;
// Fewer characters begin too many names, unless a blank follows, as in "OD (g)".
constexpr std::size_t kShortestBeginning = 3;

// How many characters have to be added, dropped, replaced or swapped with their neighbour to turn
// one text into the other.
std::size_t EditDistance(std::u16string_view from, std::u16string_view to) {
  // The distances between beginnings of `from`, of which there are three in use, and all of `to`'s.
  std::vector<std::size_t> before_last(to.size() + 1);
  std::vector<std::size_t> last(to.size() + 1);
  std::vector<std::size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 1; i <= from.size(); ++i) {
    std::swap(before_last, last);
    std::swap(last, row);
    row[0] = i;
    for (std::size_t j = 1; j <= to.size(); ++j) {
      const std::size_t replaced = last[j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
      row[j] = std::min({replaced, last[j] + 1, row[j - 1] + 1});
      const bool is_swapped =
          i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
      if (is_swapped) row[j] = std::min(row[j], before_last[j - 2] + 1);
    }
  }
  return row[to.size()];
}

bool Begins(std::u16string_view shorter, std::u16string_view longer) {
  if (shorter.empty() || !longer.starts_with(shorter)) return false;
  return shorter.size() >= kShortestBeginning || longer.substr(shorter.size()).starts_with(u' ');
}

// How far apart two names in capitals are; nothing when neither is meant by the other.
std::optional<std::size_t> Distance(std::u16string_view name, std::u16string_view candidate) {
  const auto [shorter, longer] = std::minmax({name.size(), candidate.size()});
  if (longer > kLongestName) return std::nullopt;
  const std::size_t most = std::max<std::size_t>(longer / 3, 1);
  const std::size_t distance = longer - shorter > most ? longer : EditDistance(name, candidate);
  if (distance <= most && distance < shorter) return distance;
  const bool begins =
      name.size() < candidate.size() ? Begins(name, candidate) : Begins(candidate, name);
  return begins ? std::optional(kLongestName) : std::nullopt;
}

}  // namespace

std::optional<std::u16string> NearestName(std::u16string_view name,
                                          std::span<const std::u16string> candidates) {
  const std::u16string wanted = UpperCase(name);
  const std::u16string* nearest = nullptr;
  std::size_t nearest_distance = kLongestName + 1;
  for (const std::u16string& candidate : candidates) {
    if (candidate == name) continue;
    const auto distance = Distance(wanted, UpperCase(candidate));
    if (!distance || *distance >= nearest_distance) continue;
    nearest = &candidate;
    nearest_distance = *distance;
  }
  return nearest == nullptr ? std::nullopt : std::optional(*nearest);
}

}  // namespace ktformula
