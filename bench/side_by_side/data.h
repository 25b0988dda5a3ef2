// The data that all peers work on, and the two ways in which they write numbers down.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace side_by_side {

using Numbers = std::vector<double>;

// Measurements with one to four decimals; the same rows for the same seed, on every machine.
struct Data {
  Data(std::size_t rows, std::uint32_t seed);

  Numbers m, w, d, x, y;
  std::vector<std::uint8_t> f;
};

// Two sets of inputs of which each run takes the one that the run before did not take, so that
// nobody can keep what was computed.
template <typename Set>
class Alternating {
 public:
  explicit Alternating(std::size_t rows) : rows_(rows) {}

  // Made when it is first asked for.
  const Set& Of(std::size_t run) const {
    // No result of these is a limit that a formula compares it with, where the last digit decides.
    constexpr std::array<std::uint32_t, 2> kSeeds{20240117, 8};
    std::optional<Set>& set = sets_[run % 2];
    if (!set) set.emplace(rows_, kSeeds[run % 2]);
    return *set;
  }

 private:
  std::size_t rows_;
  mutable std::array<std::optional<Set>, 2> sets_;
};

// The number with 15 significant digits, as cells show it.
std::string TextOf(double number);

// A column of short texts as somebody keeps it who minds the time: all in one piece.
class TextColumn {
 public:
  explicit TextColumn(std::size_t rows) : slots_(rows) {}

  // With 15 significant digits.
  void PutNumber(std::size_t row, double number);
  // At most 23 characters.
  void Put(std::size_t row, std::string_view text);

  std::string_view At(std::size_t row) const {
    return {slots_[row].text.data(), slots_[row].length};
  }

 private:
  struct Slot {
    std::array<char, 23> text;
    std::uint8_t length;
  };

  std::vector<Slot> slots_;
};

// Cells write the exponent's mark as a capital; the standard library does not.
std::string AsCellsShow(std::string_view number);

}  // namespace side_by_side
