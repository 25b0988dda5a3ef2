// Numbers that follow from a seed, the same on every platform.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace random_notebooks {

class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t Next() noexcept {
    state_ += 0x9E3779B97F4A7C15;
    std::uint64_t bits = state_;
    bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9;
    bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EB;
    return bits ^ (bits >> 31);
  }
  // 0 to `count` - 1; `count` is not 0.
  std::size_t Below(std::size_t count) noexcept { return static_cast<std::size_t>(Next() % count); }
  std::size_t Between(std::size_t low, std::size_t high) noexcept {
    return low + Below(high - low + 1);
  }
  bool Chance(std::size_t percent) noexcept { return Below(100) < percent; }

  template <typename T, std::size_t N>
  const T& Pick(const T (&items)[N]) noexcept {
    return items[Below(N)];
  }
  template <typename Items>
  const auto& Pick(const Items& items) noexcept {
    return items[Below(items.size())];
  }

  // The row of a table whose first member is its weight.
  template <typename Row, std::size_t N>
  const Row& PickWeighted(const Row (&rows)[N]) noexcept {
    std::size_t sum = 0;
    for (const Row& row : rows)
      sum += row.weight;
    std::size_t place = Below(sum);
    const Row* row = rows;
    while (place >= row->weight)
      place -= (row++)->weight;
    return *row;
  }

 private:
  std::uint64_t state_;
};

}  // namespace random_notebooks
